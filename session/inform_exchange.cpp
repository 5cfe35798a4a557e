#include "inform_exchange.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "SOAPParser.h"
#include "acs_message.h"
#include "bus_message.h"
#include "device_requests.h"
#include "dispatch.h"
#include "fault_reader.h"
#include "http_client.h"
#include "inform_parameters.h"
#include "owned.h"
#include "rpc_arguments.h"
#include "rpc_methods.h"
#include "session_codes.h"
#include "session_header.h"
#include "session_log.h"
#include "session_state.h"
#include "settings.h"
#include "soap_writer.h"
#include "text.h"
#include "transfer_complete.h"

constexpr char kStatusFile[] = "/var/tmp/acsstatus";

void writeStatusFile()
{
    FILE *file = fopen(kStatusFile, "w+");
    if (file == nullptr) {
        logError("tr069_init", "File open fail");
        return;
    }
    fputs("ACS=0", file);
    fclose(file);
}

InformEvent *getEventStr(int)
{
    InformEvent *events = nullptr;
    SendXMLInformEvent(&events);
    if (events == nullptr)
        logError("getEventStr", "TR069 Event list is NULL");
    return events;
}

DeviceId *buildDeviceId()
{
    Owned<DeviceId, freeDeviceId> identity(static_cast<DeviceId *>(calloc(1, sizeof(DeviceId))));
    if (identity == nullptr)
        return nullptr;
    identity->manufacturer = getManufacturer();
    identity->oui = getOUI();
    identity->productClass = getProductClass();
    identity->serialNumber = getSerialNumber();
    const bool complete = identity->manufacturer != nullptr && identity->oui != nullptr &&
                          identity->productClass != nullptr && identity->serialNumber != nullptr;
    return complete ? identity.release() : nullptr;
}

InformRecord *buildInformRecord(int retryCount)
{
    InformRecord *inform = static_cast<InformRecord *>(calloc(1, sizeof *inform));
    if (inform == nullptr)
        return nullptr;
    inform->deviceId = buildDeviceId();
    inform->events = getEventStr(1);
    inform->maxEnvelopes = 1;
    inform->currentTime = time(nullptr);
    inform->retryCount = retryCount;
    inform->parameters = getParameterList();
    return inform;
}

char *sendSoapInformMsg(InformRecord *inform, int retryCount, const char *sessionId, int *status)
{
    *status = 1;
    if (inform == nullptr) {
        logError("sendSoapInformMsg", "Inform Structure is NULL");
        return nullptr;
    }
    inform->currentTime = time(nullptr);
    inform->retryCount = retryCount;
    transferCompletePending = isTransferCompletePending(inform->events);
    if (sessionId == nullptr) {
        logError("sendSoapInformMsg", "Error while fetching session ID");
        return nullptr;
    }
    SessionHeader header;
    if (!makeHeader(sessionId, header))
        return nullptr;
    int length = 0;
    const OwnedText message(construct_InformMessage(inform, header.get(), &length));
    return message == nullptr ? nullptr : SendSoapMessage(message.get(), length, status);
}

// Records a new session ID as the pending Inform's and posts it. status receives what setState or the post
// gave, and is left alone when there is no session ID; httpStatus receives the post's status, 0 when nothing
// was posted.
static char *postInform(Owned<InformRecord, freeInformRecord> &inform, int *retryCount, int *status,
                        int *httpStatus)
{
    *httpStatus = 0;
    const OwnedText sessionId(getNewSessionId());
    if (sessionId == nullptr)
        return nullptr;
    *status = setState("Inform", 0, sessionId.get(), "RPC");
    if (*status != 0)
        return nullptr;
    if (gRetryCountOverride != 0)
        *retryCount = gRetryCountOverride;
    if (inform == nullptr)
        inform.reset(buildInformRecord(*retryCount));
    char *body = sendSoapInformMsg(inform.get(), *retryCount, sessionId.get(), status);
    *httpStatus = *status;
    return body;
}

int tr069_init(int)
{
    informRetries = 0;
    int result = 1;
    int retryCount = 0;
    Owned<InformRecord, freeInformRecord> inform;
    while (result == 1) {
        // One answered attempt is all there is; the next run of the process tries again.
        if (informRetries > 0) {
            logError("tr069_init", "could not send the SOAP inform Message, Maxiumum retries reached");
            break;
        }
        int httpStatus = 0;
        const OwnedText body(postInform(inform, &retryCount, &result, &httpStatus));
        if (result == kPassedOn)
            break;
        const int length = static_cast<int>(safeStrlen(body.get()));
        if (length > 0) {
            result = processACSInformResponse(body.get(), length, retryCount);
        } else {
            result = 1;
            logError("tr069_init", "Invalid response from ACS");
        }
        if (httpStatus < 200 || httpStatus >= 300) {
            writeStatusFile();
            break;
        }
        retryCount = ++informRetries;
        if (resetState("Inform", "RPC") != 0) {
            result = 1;
            logError("tr069_init", "Error occured while reseting the state");
            break;
        }
    }
    return result;
}

// Tells the backend that the reported events were delivered; only the second message's result counts.
static int clearEvents()
{
    SendClearEvents_Cmd(kClearDeviceEvents.messageClass, kClearDeviceEvents.code);
    return SendClearEvents_Cmd(kClearParameterEvents.messageClass, kClearParameterEvents.code);
}

static int findFaultCode(XMLNode *tree, int result)
{
    const Owned<FaultStr, freeFaultStructure> fault(getFaultAttributes(tree, kMessageFault));
    if (fault != nullptr && fault->faultDetDesc != nullptr)
        result = fault->faultDetDesc->faultCode;
    printf("FE processACSInformResponse: ret code is %d\n", result);
    return result;
}

// A request behind the answer in the same message: processMessage refuses messages of several envelopes, so
// this is always a failure.
static int serveSecondEnvelope(XMLNode *tree, int count)
{
    const int retVal = processMessage(getEnvelope(tree, 2), count, getState("ACSMaxEnvelopes", nullptr));
    printf("2520: processACSInformResponse: processMessage retVal = %d \n", retVal);
    return retVal == 0 ? 0 : 4;
}

int processACSInformResponse(char *body, int length, [[maybe_unused]] int retryCount)
{
    if (body == nullptr)
        return 1;
    if (length < 1) {
        logError("processACSInformResponse", "Error while fetching values for inform message");
        return 1;
    }
    if (gVerbose != 0)
        printf("processACSInformResponse:\n%s\n", body);
    int count = 0;
    const Owned<XMLNode, ILibDestructXMLNodeList> tree(validateSoapRespMessage(body, length, &count));
    if (tree == nullptr || count < 1) {
        logError("processACSInformResponse", "Error while parsing the Response Message");
        return 1;
    }
    int result = processInformResponse(tree.get());
    if (result == 0)
        result = clearEvents();
    if (result != 0)
        result = findFaultCode(tree.get(), result);
    if (result == 0 && count != 1)
        result = serveSecondEnvelope(tree.get(), count);
    if (result == 0 && count == 1 && transferCompletePending == 0)
        sendEmptyPost = 1;
    return result;
}

// A response without an ID passes; one with another session's ID does not.
static bool isOurSession(const char *acsId)
{
    if (acsId == nullptr)
        return true;
    const char *cpeId = getSessionId("Inform");
    if (cpeId != nullptr && safeStrcmp(cpeId, acsId) == 0)
        return true;
    logError("processInformResponse", "Session ID mismatch while processiong inform Msg");
    printf(" --> sid cpe %d, sid acs %d\n", static_cast<int>(reinterpret_cast<intptr_t>(cpeId)),
           static_cast<int>(reinterpret_cast<intptr_t>(acsId)));
    return false;
}

static int storeMaxEnvelopes(XMLNode *envelope, const char *name)
{
    const int maxEnvelopes = getInformRespAttr(envelope, name, kMessageResponse);
    if (maxEnvelopes >= 0)
        return setState("ACSMaxEnvelopes", maxEnvelopes, nullptr, nullptr);
    logError("processInformResponse", "Error while fetching SOAP inform response");
    return 1;
}

int processInformResponse(XMLNode *tree)
{
    XMLNode *envelope = getEnvelope(tree, 1);
    if (envelope == nullptr) {
        logError("processInformResponse", "Error while fetching SOAP Envelope");
        return 1;
    }
    int headerStatus = 0;
    const OwnedText acsId(processSoapHdr(envelope, &headerStatus));
    if (headerStatus != 0) {
        logError("processInformResponse", "Error occured while processing soap Header");
        return headerStatus;
    }
    if (!isOurSession(acsId.get()))
        return 1;
    int nameLength = 0;
    int kind = kMessageNone;
    const char *name = getRPCMethodName(envelope, &nameLength, &kind);
    if (name == nullptr) {
        logError("processInformResponse", "INFORM Response not received from ACS");
        return 1;
    }
    const size_t compared = static_cast<size_t>(nameLength);
    if (kind == kMessageResponse && safeStrncmp(name, "Inform", compared) == 0)
        return storeMaxEnvelopes(envelope, name);
    if (kind == kMessageFault && safeStrncmp(name, "Fault", compared) == 0) {
        const Owned<FaultStr, freeFaultStructure> fault(getFaultAttributes(envelope, kind));
        const int code = reportServerFault(fault.get());
        return code > 0 ? code : 1;
    }
    logError("processInformResponse", "Invalid response received from ACS");
    return 1;
}
