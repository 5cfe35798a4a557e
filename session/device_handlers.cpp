#include "SOAPParser.h"
#include "device_requests.h"
#include "fault_response.h"
#include "owned.h"
#include "rpc_arguments.h"
#include "rpc_handlers.h"
#include "session_header.h"
#include "session_limits.h"
#include "session_log.h"
#include "settings.h"
#include "soap_writer.h"
#include "text.h"
#include "transfer_requests.h"

static char *refuseRequest(const char *function, const char *reason)
{
    logError(function, reason);
    return nullptr;
}

// The empty answer, or the Fault of a non-zero code.
static char *answerResult(int fault, const char *methodName, const SessionHeader &header, int *length)
{
    if (fault != 0)
        return sendFaultResponse(fault, header.get(), nullptr, length);
    return construct_EmptySoapMessage(methodName, header.get(), length);
}

char *handle_GetRPCMethodsReq(XMLNode *, const char *methodName, const char *acsId, int, int *length, int *)
{
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    int fault = 0;
    char *answer = construct_GetRPCMethodSoapMessage(methodName, header.get(), length, &fault);
    if (answer == nullptr && fault > 0)
        return sendFaultResponse(fault, header.get(), nullptr, length);
    return answer;
}

// The backend is told before the answer is posted.
char *handle_RebootReq(XMLNode *envelope, const char *methodName, const char *acsId, int kind, int *length,
                       int *)
{
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    const OwnedText commandKey(getRebootParameters(envelope, methodName, kind));
    const int fault = commandKey == nullptr ? kFaultInvalidArguments : sendRebootSignal(commandKey.get());
    char *answer = answerResult(fault, methodName, header, length);
    if (answer != nullptr)
        gRebootDone = 1;
    return answer;
}

char *handle_FactoryResetReq(XMLNode *, const char *methodName, const char *acsId, int, int *length, int *)
{
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    return answerResult(factoryResetSignal(), methodName, header, length);
}

static int scheduleInform(XMLNode *body, const char *methodName)
{
    const OwnedText delay(getSoapTagValue(body, "DelaySeconds", methodName, 1));
    const OwnedText commandKey(getSoapTagValue(body, "CommandKey", methodName, 1));
    if (delay == nullptr || readDecimal(delay.get(), safeStrlen(delay.get())) >= kScheduleDelayLimit)
        return kFaultInvalidArguments;
    return SendScheduleDelay(delay.get(), commandKey == nullptr ? "" : commandKey.get());
}

char *handle_ScheduleInformReq(XMLNode *envelope, const char *methodName, const char *acsId, int, int *length,
                               int *)
{
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    XMLNode *body = getTagSoapNode(envelope, "Body", nullptr, 0);
    return answerResult(scheduleInform(body, methodName), methodName, header, length);
}

using TransferWriter = char *(int status, const char *startTime, const char *completeTime,
                              const SoapHeaderEntry *header, int *length);

// Orders a transfer of the backend, which answers with a Status of 0 or 1, or with a fault code.
template <typename Request>
static char *answerTransfer(const Request &request, int (*order)(const Request *, char *, char *),
                            TransferWriter *write, const char *acsId, int *length, int *accepted)
{
    SessionHeader header;
    if (!makeHeader(acsId, header))
        return nullptr;
    if (request.FileType == nullptr || request.URL == nullptr)
        return sendFaultResponse(kFaultInvalidArguments, header.get(), nullptr, length);
    char startTime[kTransferTimeSize] = "";
    char completeTime[kTransferTimeSize] = "";
    const int type = order(&request, startTime, completeTime);
    if (type != 0 && type != 1)
        return sendFaultResponse(type, header.get(), nullptr, length);
    *accepted = 1;
    return write(type, startTime, completeTime, header.get(), length);
}

char *handle_DownloadReq(XMLNode *envelope, const char *methodName, const char *acsId, int kind, int *length,
                         int *flag)
{
    const Owned<DownloadStr, freeDownloadStr> request(getDownloadAttrs(envelope, methodName, kind));
    if (request == nullptr)
        return refuseRequest("handle_DownloadReq", "Error while processing Download request");
    return answerTransfer(*request, getDownloadType, construct_DownloadRespose, acsId, length, flag);
}

char *handle_UploadReq(XMLNode *envelope, const char *methodName, const char *acsId, int kind, int *length,
                       int *)
{
    const Owned<UploadStr, freeUploadStr> request(getUploadAttrs(envelope, methodName, kind));
    if (request == nullptr)
        return refuseRequest("handle_UploadReq", "Error while processing Upload request");
    int accepted = 0; // nothing hangs on it
    return answerTransfer(*request, getUploadType, construct_UploadRespose, acsId, length, &accepted);
}
