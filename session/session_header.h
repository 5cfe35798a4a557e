#pragma once

#include "owned.h"
#include "soap_header.h"
#include "xml_node_list.h"

// The SOAP headers of the session: the "ID" that the device sends, and what it takes from the server's.

/// Puts a new empty entry at the head of a list, or starts one.
///
/// @param list  taken over; null starts a list
/// @return the list, freed with freeSoapHdr; null when memory runs out, and then list was freed
SoapHeaderEntry *allocMem_SoapHdr(SoapHeaderEntry *list);

/// Puts an entry with copies of name and value, and mustUnderstand 1, at the head of a list.
///
/// @param list  taken over; null starts a list
/// @return the list, freed with freeSoapHdr; null for a null name or value or when memory runs out, and then
/// list was
///         freed
SoapHeaderEntry *fillHdrStruct(SoapHeaderEntry *list, const char *name, const char *value);

/// The header of a message of the device: one "ID" entry. Null for a null session ID or when memory runs out.
SoapHeaderEntry *makeIdHeader(const char *sessionId);

using SessionHeader = Owned<SoapHeaderEntry, freeSoapHdr>;

/// makeIdHeader, which tells a message that needs no ID from one that cannot have it.
///
/// @return false when there is a session ID and memory runs out: the message must not go out without it
bool makeHeader(const char *sessionId, SessionHeader &header);

/// Applies a received header: stores "HoldRequests" in the session state and hands out the server's "ID".
///
/// @param envelope  null gives null
/// @param status    receives 0 when the header was acceptable (also when there is none), 1 when it was not,
/// or what
///                  setState gave for "HoldRequests"
/// @return the server's session ID, freed by the caller with free; null when there is none
char *processSoapHdr(XMLNode *envelope, int *status);
