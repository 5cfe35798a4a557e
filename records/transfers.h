#pragma once

#include <cstdint>

// File transfers that the server orders, and the report of one that ended. Every free function accepts null.

/// A Download request; every text is owned and null when its element is missing.
struct DownloadStr {
    char *CommandKey;
    char *FileType;
    char *URL;
    char *Username;
    char *Password;
    char *FileSize; ///< bytes, decimal
    char *TargetFileName;
    char *DelaySeconds; ///< decimal
    char *SuccessURL;
    char *FailureURL;
};
void freeDownloadStr(DownloadStr *request);

/// An Upload request; every text is owned and null when its element is missing.
struct UploadStr {
    char *CommandKey;
    char *FileType;
    char *URL;
    char *Username;
    char *Password;
    char *DelaySeconds; ///< decimal
};
void freeUploadStr(UploadStr *request);

/// How a finished transfer ended; the list has one entry.
struct TransferFault {
    int32_t code; ///< 0 when the transfer succeeded
    char *string; ///< owned; null counts as ""
    TransferFault *next;
};

/// The pending TransferComplete.
struct TransferCompleteRecord {
    char *commandKey;     ///< owned; null when the backend could not be asked
    char *startTime;      ///< as the backend wrote it; owned; null as above
    char *completeTime;   ///< likewise
    TransferFault *fault; ///< owned
};
void freeTCDS(TransferCompleteRecord *record);
