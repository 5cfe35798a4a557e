#pragma once

#include "inform.h"
#include "xml_node_list.h"

// The exchange that opens a session: one Inform and the server's answer to it.

/// The pending events, in the backend's order, freed with freeEventList; null when there are none.
InformEvent *getEventStr(int unused);

/// The device identity, freed with freeDeviceId; null when any of its four texts cannot be had.
DeviceId *buildDeviceId();

/// Asks the backend for all that an Inform says. What cannot be had is left null.
///
/// @return the record, freed with freeInformRecord; null only when the record itself cannot be allocated
InformRecord *buildInformRecord(int retryCount);

/// Posts the Inform under a session ID, dated now.
///
/// @param inform     may be null, and then nothing is sent
/// @param sessionId  likewise
/// @param status     receives the HTTP status of the post, -1 when no whole answer came; 1 when nothing was
/// sent
/// @return the answer's body, freed by the caller with free; null when there is none
char *sendSoapInformMsg(InformRecord *inform, int retryCount, const char *sessionId, int *status);

/// Runs the whole exchange. At most one Inform is posted. An HTTP status outside 200 to 299 writes the status
/// file.
///
/// @return 0 when the server took the Inform; 2 when the post gave that; the server's fault code; else 1 or
/// another
///         failure code
int tr069_init(int unused);

/// Reads the answer to the Inform; on success tells the backend to clear the reported events.
///
/// @param body    NUL-terminated, parsed in place; may be null
/// @param length  bytes of body
/// @return 0; the server's fault code; 1 for an answer that cannot be used; 4 when a second envelope failed
int processACSInformResponse(char *body, int length, int retryCount);

/// Checks the header, session ID and kind of the answer, and stores the server's MaxEnvelopes.
///
/// @return 0; the server's fault code; the header's status; else 1
int processInformResponse(XMLNode *tree);

/// Writes "ACS=0" to the status file: no session could be opened.
void writeStatusFile();
