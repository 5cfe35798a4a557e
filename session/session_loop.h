#pragma once

/// Serves the server's requests until it has no more, or until the first failure. The Inform must have been
/// taken.
void runSessionLoop();

/// Posts what opens the request phase: the pending TransferComplete, or the empty post that is due.
///
/// @param unused  not used
/// @param status  receives 0 when an empty post brought a body; what sendTransferCompleteMsg gave; else the
/// HTTP status of the empty post, -1 when no whole answer came, or 1 when nothing was due or sent
/// @return the server's first request, freed by the caller with free; null when there is none
char *sendEmptyTransferCompleteMessage(int unused, int maxEnvelopes, int *status);

/// Handles one received message.
///
/// @param body  NUL-terminated, parsed in place; may be null
/// @return 1 for an empty or invalid message, else what processMessage gave
int processACSRequestMsg(char *body, int maxEnvelopes);
