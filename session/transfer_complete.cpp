#include "transfer_complete.h"

#include "device_requests.h"
#include "http_client.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "session_header.h"
#include "session_state.h"
#include "soap_writer.h"
#include "text.h"

static void logError(const char *message)
{
    printToSyslog("LOG_ERR", "TR069Module", "sendTransferCompleteMsg", message);
}

int isTransferCompletePending(const InformEvent *events)
{
    constexpr char eventCode[] = "7 TRANSFER COMPLETE";
    for (const InformEvent *event = events; event != nullptr; event = event->next) {
        if (safeStrncmp(event->eventCode, eventCode, sizeof eventCode - 1) == 0)
            return 1;
    }
    return 0;
}

// The request's text under the session ID; null, with the reason logged, when it cannot be had.
static char *writeTransferComplete(const TransferCompleteRecord &record, const char *sessionId, int *length)
{
    if (sessionId == nullptr) {
        logError("Error fetching session ID");
        return nullptr;
    }
    SessionHeader header;
    char *message = nullptr;
    if (makeHeader(sessionId, header))
        message = construct_TrasferCompleteSoapMessage(&record, "TransferComplete", header.get(), length);
    if (message == nullptr)
        logError("Error contructing TC soap msg");
    return message;
}

char *sendTransferCompleteMsg([[maybe_unused]] int maxEnvelopes, int *status)
{
    *status = getState("HoldRequests", nullptr);
    if (*status != 0) {
        logError("ACS currently is not accepting any requests:Hold request variable set");
        return nullptr;
    }
    const Owned<TransferCompleteRecord, freeTCDS> record(getTCDS());
    if (record == nullptr) {
        logError("Error fetching TC msg values from BE");
        return nullptr;
    }
    const OwnedText sessionId(getNewSessionId());
    int length = 0;
    const OwnedText message(writeTransferComplete(*record, sessionId.get(), &length));
    if (message == nullptr)
        return nullptr;
    *status = setState("TransferComplete", 0, sessionId.get(), "RPC");
    return *status == 0 ? SendSoapMessage(message.get(), length, status) : nullptr;
}
