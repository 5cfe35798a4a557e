#pragma once

#include "child_process.h"
#include "gateway.h"

// The transfers that the server orders, carried out by the executable's file-transfer run mode.

/// Where and with what the platform works.
struct Workplace {
    std::string executable; ///< absolute path
    std::string folder;     ///< absolute path of the gateway's own: every run is started in it
};

/// Makes ready for a transfer: writes the file of an upload, takes away what an earlier transfer left.
///
/// @throws std::runtime_error when the file cannot be written
Command prepareTransfer(const Workplace &workplace, const Gateway &gateway, const TransferRow &transfer);

/// How a transfer came out.
struct TransferResult {
    int faultCode; ///< TR-069's; 0 when it went well
    std::string startTime, completeTime;
};

/// The fault code of a transfer whose run ended with that wait status.
int judgeTransfer(const TransferRow &transfer, int status);

/// Takes the transfer off the orders and has it reported: "7 TRANSFER COMPLETE", and "M Download" or
/// "M Upload" with its command key. A firmware image ends in a reboot, be it good or not.
void finishTransfer(Gateway &gateway, const TransferRow &transfer, const TransferResult &result);
