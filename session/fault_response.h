#pragma once

#include "faults.h"
#include "soap_header.h"

/// A fault record with faultcode "Client" and faultstring "CWMP Fault".
///
/// @param faultCode        the CWMP code of its detail
/// @param parameterFaults  taken over, also on failure; null for none
/// @return the record, freed by the caller with freeFaultStructure; null for a code without a fault string,
/// or when
///         memory runs out
FaultStr *constructFaultStruct(int faultCode, SetParamFaultStr *parameterFaults);

/// The text of a Fault answer.
///
/// @param header           borrowed
/// @param parameterFaults  taken over, also on failure; null for none
/// @param length           receives the length of the text, 0 on failure
/// @return the text, freed by the caller with free; null when constructFaultStruct or the writer fails. A
/// code that is
///         no CWMP fault, such as the bus's own error, so gives no answer at all, and the session ends
char *sendFaultResponse(int faultCode, const SoapHeaderEntry *header, SetParamFaultStr *parameterFaults,
                        int *length);
