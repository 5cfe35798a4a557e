#include "device_requests.h"

#include "bus_message.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "text.h"

// What the server is told of a transfer's end. The wording is the gateway's own, and two of the backend's
// codes are told as another one.
struct TransferOutcome {
    int backendCode;
    int code;
    const char *string;
};

constexpr TransferOutcome kOutcomes[] = {
    {9011, 9011, "Unable to connect to upload server"},
    {9010, 9010, "Download file from server failed"},
    {9015, 9011, "server is not allowed to write in"},
    {9801, 9010, "unable to connect to the server"},
    {9001, 9001, "Request denied!FileType is not supported."},
    {9012, 9012, "Authorization failed."},
    {9013, 9013, "Transfer protocol do not support."},
};

static TransferOutcome findOutcome(int backendCode)
{
    for (const TransferOutcome &outcome : kOutcomes) {
        if (outcome.backendCode == backendCode)
            return outcome;
    }
    return {backendCode, backendCode, ""};
}

static int readTransferComplete(BusReader &reply, TransferCompleteRecord *record)
{
    OwnedText commandKey(getMsg(readString(reply)));
    const TransferOutcome outcome = findOutcome(textToInt(readString(reply)));
    OwnedText startTime(getMsg(readString(reply)));
    OwnedText completeTime(getMsg(readString(reply)));
    OwnedText string(getMsg(outcome.string));
    if (commandKey == nullptr || startTime == nullptr || completeTime == nullptr || string == nullptr)
        return kFaultInternalError;
    record->commandKey = commandKey.release();
    record->startTime = startTime.release();
    record->completeTime = completeTime.release();
    record->fault->code = outcome.code;
    record->fault->string = string.release();
    return 0;
}

int SendXMLTransferComplete(TransferCompleteRecord *record)
{
    return exchange(kGetTransferComplete, writeNothing,
                    [=](BusReader &reply) { return readTransferComplete(reply, record); });
}

TransferCompleteRecord *getTCDS()
{
    Owned<TransferCompleteRecord, freeTCDS> record(makeRecord<TransferCompleteRecord>());
    if (record == nullptr)
        return nullptr;
    record->fault = makeRecord<TransferFault>();
    if (record->fault == nullptr)
        return nullptr;
    if (SendXMLTransferComplete(record.get()) != 0)
        printToSyslog("LOG_ERR", "TR069Module", __func__, "The transfer's end could not be read");
    return record.release();
}
