#pragma once

#include "faults.h"
#include "xml_node_list.h"

/// Turns a received body into a validated tree that holds exactly one envelope.
///
/// @param body           NUL-terminated, written to while it is parsed; must outlive the tree
/// @param length         bytes of body before its NUL
/// @param envelopeCount  receives the number of envelopes, 0 on failure
/// @return the tree, freed by the caller with ILibDestructXMLNodeList; null when the body is no valid message
XMLNode *validateSoapRespMessage(char *body, int length, int *envelopeCount);

/// Prints the detail of a Fault that the server sent, when it has a positive code.
///
/// @param fault  may be null, as may its detail
/// @return that code, else 0
int reportServerFault(const FaultStr *fault);
