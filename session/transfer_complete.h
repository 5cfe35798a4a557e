#pragma once

#include "inform.h"

/// 1 when the code of any event begins with "7 TRANSFER COMPLETE" (its first 19 characters), else 0.
int isTransferCompletePending(const InformEvent *events);

/// Reports the pending transfer to the server: posts a TransferComplete, recorded as pending under its
/// session ID until the server answers.
///
/// @param maxEnvelopes  not used
/// @param status        receives what the HTTP client made of the post; the "HoldRequests" value when the
/// server holds
///                      the device's requests; 0 when there was nothing to post; 1 when it could not be
///                      recorded
/// @return the server's reply, freed by the caller with free; null when there is none
char *sendTransferCompleteMsg(int maxEnvelopes, int *status);
