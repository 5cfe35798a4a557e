#pragma once

#include "faults.h"

struct XMLNode;

// Reads a SOAP Fault that the server sent (SOAP 1.1 section 4.4, detail as in TR-069 section 3.5): all of it
// or nothing. Numbers are what their text begins with, 0 without a digit.

/// Reads the Fault of an envelope whose message kind is kMessageFault.
///
/// @return freed by the caller with freeFaultStructure; faultDetDesc is null when the Fault has no detail
/// element. Null for a null envelope, another kind, no Fault under Body, a missing element, or when memory
/// runs out
FaultStr *getFaultAttributes(XMLNode *envelope, int kind);

/// Fills faultCode and faultStr from a SOAP Fault element.
///
/// @param record  its texts are null before; what was read stays in it on failure, the caller's to free
/// @return 0; 1 when an argument is null, an element is missing, or memory runs out
int fillFaultStr(XMLNode *faultNode, FaultStr *record);

/// Fills the code and string of the detail from the CWMP Fault element.
///
/// @param record  has a zeroed faultDetDesc, which keeps on failure what was read
/// @return 0; 1 as fillFaultStr
int fillFaultDetailStr(XMLNode *cwmpFaultNode, FaultStr *record);

/// Puts an entry for each SetParameterValuesFault of the CWMP Fault element at the head of the detail's list,
/// which so is in reverse document order. No such element is no failure.
///
/// @param record  has a faultDetDesc; keeps on failure the entries read before
/// @return 0; 1 as fillFaultStr
int fillSetParamFaults(XMLNode *cwmpFaultNode, FaultStr *record);

/// Prints a fault on standard output, for debugging; a missing text as "(null)", a missing detail not at all.
void dumpFaultStr(const FaultStr *record);
