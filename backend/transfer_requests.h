#pragma once

#include "transfers.h"

// File transfers that the server orders: the backend is asked to do them, now or later.

/// Room for a time text, its NUL included; a longer one is cut.
constexpr int kTransferTimeSize = 64;

/// Orders a download.
///
/// @param request       absent texts are sent as "", an absent FileSize or DelaySeconds as 0
/// @param startTime     kTransferTimeSize bytes; receives the start when the download was taken, else ""
/// @param completeTime  kTransferTimeSize bytes; likewise the end
/// @return TR-069's Status: 0 done, 1 to be done later; else the fault code that refuses it, 9002 when the
/// backend gave none or could not be asked
int getDownloadType(const DownloadStr *request, char *startTime, char *completeTime);

/// The request itself, as getDownloadType.
///
/// @param status  receives what getDownloadType returns
/// @return 0 when the backend answered; else 9002 or the bus's own error
int SendXMLDownload(const DownloadStr *request, char *startTime, char *completeTime, int *status);

/// Orders an upload; as for a download.
int getUploadType(const UploadStr *request, char *startTime, char *completeTime);
int SendXMLUpload(const UploadStr *request, char *startTime, char *completeTime, int *status);
