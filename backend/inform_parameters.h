#pragma once

#include "parameters.h"

// The parameters that every Inform carries.

/// The connection request URL that this run reports in place of the backend's (null or "" leaves the
/// backend's), and the external address that it reports when the backend has none. Borrowed: set once at
/// start-up, kept until exit.
extern const char *cl_conreq_url;
extern const char *cl_xternal_ip;

/// Collects the parameters of an Inform: the required ones, the WAN address, what changed since the last
/// session, and for a PPP connection its user name. When the changed values cannot be read, the list ends in
/// front of them.
///
/// @return the list, freed by the caller with freeParamValueStr; null when a required parameter or the path
/// of the WAN connection cannot be read, or memory runs out. A user name that could not be read stands in it
/// with a null type
ParameterValueRecord *getParameterList();
ParameterValueRecord *SendXMLInformParameterList();
