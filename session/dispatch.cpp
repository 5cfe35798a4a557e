#include "dispatch.h"

#include <cstdio>

#include "SOAPParser.h"
#include "acs_message.h"
#include "device_requests.h"
#include "fault_reader.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "request_queue.h"
#include "rpc_handlers.h"
#include "rpc_methods.h"
#include "session_codes.h"
#include "session_header.h"
#include "session_state.h"
#include "text.h"

struct Method {
    const char *name;
    RpcHandler *handle;
};

// A shortened name is served by the first row that it begins, so the order counts.
constexpr Method kMethods[] = {
    {"AddObject", handle_ADDObjReq},
    {"DeleteObject", handle_ADDObjReq},
    {"SetParameterValues", handle_SetParamValReq},
    {"GetParameterValues", handle_GetParamValReq},
    {"GetParameterNames", handle_GetParamNamesReq},
    {"SetParameterAttributes", handle_GetSetParamAttrReq},
    {"GetParameterAttributes", handle_GetSetParamAttrReq},
    {"Reboot", handle_RebootReq},
    {"GetRPCMethods", handle_GetRPCMethodsReq},
    {"FactoryReset", handle_FactoryResetReq},
    {"ScheduleInform", handle_ScheduleInformReq},
};

static void logError(const char *message)
{
    printToSyslog("LOG_ERR", "TR069Module", "processMessage", message);
}

static bool isName(const char *name, int nameLength, const char *wanted)
{
    return safeStrncmp(name, wanted, static_cast<size_t>(nameLength)) == 0;
}

static char *handleRequest(XMLNode *envelope, const char *name, int nameLength, const char *acsId,
                           int *length, int *rebootFlag)
{
    for (const Method &method : kMethods) {
        if (!isName(name, nameLength, method.name))
            continue;
        const OwnedText methodName(getMsg(name, nameLength));
        if (methodName == nullptr)
            return nullptr;
        return method.handle(envelope, methodName.get(), acsId, kMessageRequest, length, rebootFlag);
    }
    return nullptr;
}

static void takeTransferCompleteResponse(XMLNode *envelope)
{
    int status = 0;
    const OwnedText acsId(processSoapHdr(envelope, &status));
    if (acsId != nullptr && safeStrcmp(acsId.get(), getSessionId("TransferComplete")) == 0)
        resetState("TransferComplete", "RPC");
}

static void takeFault(XMLNode *envelope)
{
    const Owned<FaultStr, freeFaultStructure> fault(getFaultAttributes(envelope, kMessageFault));
    reportServerFault(fault.get());
    resetState("TransferComplete", "RPC");
}

char *dispatchRequest(XMLNode *envelope, const char *name, int nameLength, int kind, const char *acsId,
                      int *length, int *rebootFlag)
{
    *length = 0;
    if (name == nullptr || envelope == nullptr)
        return nullptr;
    if (kind == kMessageRequest)
        return handleRequest(envelope, name, nameLength, acsId, length, rebootFlag);
    if (kind == kMessageResponse && isName(name, nameLength, "TransferComplete"))
        takeTransferCompleteResponse(envelope);
    else if (kind == kMessageFault)
        takeFault(envelope);
    return nullptr;
}

// A transfer is told by its name alone, before the message kind is looked at.
static char *answerMessage(XMLNode *envelope, const char *name, int nameLength, int kind, const char *acsId,
                           int *length, int *rebootFlag, int *downloadFlag)
{
    *length = 0;
    const bool uploads = isName(name, nameLength, "Upload");
    if (!uploads && !isName(name, nameLength, "Download"))
        return dispatchRequest(envelope, name, nameLength, kind, acsId, length, rebootFlag);
    const OwnedText methodName(getMsg(name, nameLength));
    if (methodName == nullptr)
        return nullptr;
    RpcHandler *handle = uploads ? handle_UploadReq : handle_DownloadReq;
    return handle(envelope, methodName.get(), acsId, kind, length, downloadFlag);
}

static int postAnswer(const char *answer, int length, bool isDownload)
{
    const int ret = sendSoapMsgBuf(&answer, length, 1);
    if (isDownload) {
        // Only said: the session stays open, and whatever the post gave, a request that came back is served.
        puts("Session Closed");
        printToSyslog("LOG_ERR", "TR069Module", "Session Closed", nullptr);
        return 0;
    }
    if (ret == kHttpNoContent)
        printToSyslog("LOG_INFO", "TR069Module", "processMessage",
                      "Recevice 204 Request from ACS while sending the Soap Response Message");
    else if (ret != kHandled && ret != kPassedOn)
        logError("Error while sending the Soap Response Message");
    return ret;
}

static int serveEnvelope(XMLNode *envelope, int *rebootFlag)
{
    int ret = 1;
    const OwnedText acsId(processSoapHdr(envelope, &ret));
    int nameLength = 0;
    int kind = kMessageNone;
    const char *name = getRPCMethodName(envelope, &nameLength, &kind);
    if (ret != 0 || name == nullptr) {
        logError("Error while processing the SOAP Header or getting RPC Method Name");
        return ret != 0 ? ret : 1;
    }

    int length = 0;
    int downloadFlag = 0;
    const OwnedText answer(
        answerMessage(envelope, name, nameLength, kind, acsId.get(), &length, rebootFlag, &downloadFlag));
    if (answer != nullptr)
        return postAnswer(answer.get(), length, downloadFlag != 0);
    if (isName(name, nameLength, "TransferCompleteResponse"))
        return kPostEmpty;
    logError("Error while processing the envelopes");
    return 1;
}

int processMessage(XMLNode *tree, int envelopeCount, [[maybe_unused]] int maxEnvelopes)
{
    if (envelopeCount < 1)
        return 0;
    if (envelopeCount > 1)
        return 1;
    XMLNode *envelope = getEnvelope(tree, 1);
    if (envelope == nullptr) {
        logError("Error while getting the envelope");
        return 1;
    }
    int rebootFlag = 0;
    const int ret = serveEnvelope(envelope, &rebootFlag);
    if (rebootFlag != 0)
        sendRebootSignal("");
    return ret;
}
