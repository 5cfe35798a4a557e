#include "session_loop.h"

#include <cstdio>
#include <cstdlib>

#include "acs_message.h"
#include "dispatch.h"
#include "http_client.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "request_queue.h"
#include "session_codes.h"
#include "session_log.h"
#include "session_state.h"
#include "settings.h"
#include "text.h"
#include "transfer_complete.h"

static void logInfo(const char *message)
{
    printToSyslog("LOG_INFO", "TR069Module", "main", message);
}

char *sendEmptyTransferCompleteMessage(int, int maxEnvelopes, int *status)
{
    *status = 1;
    if (transferCompletePending == 1) {
        char *body = sendTransferCompleteMsg(maxEnvelopes, status);
        logError("sendEmptyTransferCompleteMessage", "TransferComplete is to be sent");
        transferCompletePending = 0;
        return body;
    }
    if (sendEmptyPost == 0)
        return nullptr;
    char *body = SendSoapMessage(nullptr, 0, status);
    if (body != nullptr)
        *status = kHandled; // a body is a request, whatever the HTTP status
    return body;
}

int processACSRequestMsg(char *body, int maxEnvelopes)
{
    const int length = static_cast<int>(safeStrlen(body));
    if (length < 1) {
        logError("processACSRequestMsg", "SOAP Message Length is not valid");
        return 1;
    }
    if (gVerbose != 0)
        printf("processACSRequestMsg:\n%s\n", body);
    int count = 0;
    const Owned<XMLNode, ILibDestructXMLNodeList> tree(validateSoapRespMessage(body, length, &count));
    if (tree == nullptr || count < 1) {
        logError("processACSRequestMsg", "Error occured while validating the SOAP Buffer");
        logError("processACSRequestMsg", body);
        return 1;
    }
    const int ret = processMessage(tree.get(), count, maxEnvelopes);
    if (ret == kHttpNoContent)
        logError("processACSRequestMsg", "Recevice 204 Request from ACS while processing the envelopes");
    else if (ret > 0 && ret != kPassedOn && ret != kPostEmpty)
        logError("processACSRequestMsg", "Error while processing the envelopes");
    return ret;
}

// The first request was answered in a way that calls for a further empty post; its reply is the next request.
static int fetchNextRequest(int maxEnvelopes)
{
    int ret = kHandled;
    sendEmptyPost = 1;
    char *reply = sendEmptyTransferCompleteMessage(1, maxEnvelopes, &ret);
    if (reply != nullptr)
        gSOAPReqBuf[++gSOAPReqBuf_Count] = reply;
    return ret;
}

// Opens the request phase and serves the first request, which never enters the ring. False: the session has
// ended.
static bool serveFirstRequest(int maxEnvelopes, int *ret)
{
    const OwnedText body(sendEmptyTransferCompleteMessage(1, maxEnvelopes, ret));
    if (*ret != kHandled && *ret != kHttpOk) {
        if (*ret == kHttpNoContent)
            logInfo("Recevice 204 Request from ACS");
        else if (*ret != kPassedOn)
            logInfo("Error occured while sending Receiving SOAP Request");
        return false;
    }
    if (body == nullptr) {
        logInfo("NO Request from ACS");
        return true;
    }
    *ret = processACSRequestMsg(body.get(), maxEnvelopes);
    if (*ret == kPostEmpty)
        *ret = fetchNextRequest(maxEnvelopes);
    if (*ret == kHandled || *ret == kPassedOn || *ret == kHttpOk)
        return true;
    logInfo(*ret == kHttpNoContent ? "Recevice 204 Request from ACS"
                                   : "Error while processing the ACS request");
    return false;
}

static void discardRequests()
{
    for (; gSOAPReqBuf_RefCount < kRingSlots && gSOAPReqBuf_RefCount != gSOAPReqBuf_Count;
         ++gSOAPReqBuf_RefCount) {
        free(gSOAPReqBuf[gSOAPReqBuf_RefCount]);
        gSOAPReqBuf[gSOAPReqBuf_RefCount] = nullptr;
    }
}

// Serves the queued requests in turn until the ring runs dry or one fails; either way the session is over,
// result 1.
static int drainRequests(int maxEnvelopes)
{
    while (gSOAPReqBuf_RefCount < kRingSlots - 1) {
        char *&slot = gSOAPReqBuf[++gSOAPReqBuf_RefCount];
        if (slot == nullptr)
            return 1;
        const int ret = processACSRequestMsg(slot, maxEnvelopes);
        free(slot);
        slot = nullptr;
        if (ret != kHandled && ret != kPassedOn && ret != kHttpOk) {
            logInfo("Error occured while processing the soap Request");
            discardRequests();
            return 1;
        }
        // Only now: the answer that was just posted had to find slot 9 as the one being served.
        if (gSOAPReqBuf_RefCount == kRingSlots - 1)
            gSOAPReqBuf_RefCount = -1;
    }
    return 1;
}

void runSessionLoop()
{
    const int maxEnvelopes = getState("ACSMaxEnvelopes", nullptr);
    int ret = kHandled;
    while (ret == kHandled) {
        if (getState("NoMoreRequests", nullptr) > 0) {
            if (getOutStandingRequests() == 0) {
                puts("its safe to close session");
                return;
            }
            puts("Still OutStanding Request are there");
        }
        if (gSOAPReqBuf_Count == -1 && !serveFirstRequest(maxEnvelopes, &ret))
            return;
        ret = drainRequests(maxEnvelopes);
    }
}
