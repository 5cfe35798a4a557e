#include "request_queue.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "SOAPParser.h"
#include "acs_message.h"
#include "fault_reader.h"
#include "http_client.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "rpc_methods.h"
#include "session_limits.h"
#include "session_state.h"
#include "text.h"

constexpr int kLastSlot = kRingSlots - 1;
constexpr int kBeforeFirstSlot = -1;
constexpr int kRingFull = -2;

char *gSOAPReqBuf[kRingSlots];
int gSOAPReqBuf_Count = kBeforeFirstSlot;
int gSOAPReqBuf_RefCount = kBeforeFirstSlot;

// The pieces end to end in one text; null when they do not add up to totalLength or memory runs out.
static char *joinPieces(const char *const *pieces, int totalLength, int pieceCount)
{
    const size_t size = static_cast<size_t>(totalLength);
    OwnedText message(static_cast<char *>(malloc(size + 1)));
    if (message == nullptr)
        return nullptr;
    size_t written = 0;
    for (int i = 0; i < pieceCount; ++i) {
        const size_t length = safeStrlen(pieces[i]);
        if (pieces[i] == nullptr || length > size - written) {
            printToSyslog("LOG_ERR", "TR069Module", "sendSoapMsgBuf",
                          "Error while copying string to tmpString");
            return nullptr;
        }
        memcpy(message.get() + written, pieces[i], length);
        written += length;
    }
    if (written != size)
        return nullptr;
    message.get()[size] = '\0';
    return message.release();
}

// Moves the write index so that the next slot is free, or says that there is none.
static bool prepareSlot()
{
    if (gSOAPReqBuf_Count < kBeforeFirstSlot)
        return false;
    if (gSOAPReqBuf_Count == kLastSlot)
        gSOAPReqBuf_Count = gSOAPReqBuf_RefCount == kBeforeFirstSlot ? kRingFull : kBeforeFirstSlot;
    return gSOAPReqBuf_Count != kRingFull && gSOAPReqBuf[gSOAPReqBuf_Count + 1] == nullptr;
}

static void reportFullRing()
{
    gSOAPReqBuf_Count = kRingFull;
    printf("gSOAPReqBuf_RefCount = %d\n", gSOAPReqBuf_RefCount);
    printf("gSOAPReqBuf_Count => %d\n", gSOAPReqBuf_Count);
    printToSyslog("LOG_ERR", "TR069Module", "sendSoapMsgBuf", "Insufficient Memory Error");
}

static char *postUntilTaken(const char *message, int length, int *status)
{
    OwnedText reply(SendSoapMessage(message, length, status));
    for (int retry = 0; retry < kMostRetries && getResponseFaultCode(reply.get()) == kFaultRetryRequest;
         ++retry)
        reply.reset(SendSoapMessage(message, length, status));
    return reply.release();
}

int sendSoapMsgBuf(const char *const *pieces, int totalLength, int pieceCount)
{
    if (pieces == nullptr || totalLength < 1 || pieceCount < 1)
        return 1;
    const OwnedText message(joinPieces(pieces, totalLength, pieceCount));
    if (message == nullptr)
        return 1;

    int status = 0;
    const int lastWritten = gSOAPReqBuf_Count;
    if (!prepareSlot()) {
        reportFullRing();
        // The mark is cleared: the ring still counts as full while nothing was taken out of it.
        gSOAPReqBuf_Count = lastWritten < kBeforeFirstSlot ? kLastSlot : lastWritten;
        return status;
    }
    if (char *reply = postUntilTaken(message.get(), totalLength, &status))
        gSOAPReqBuf[++gSOAPReqBuf_Count] = reply;
    return status;
}

int getResponseFaultCode(char *body)
{
    const size_t length = safeStrlen(body);
    if (length == 0)
        return 0;
    int count = 0;
    const Owned<XMLNode, ILibDestructXMLNodeList> tree(
        validateSoapRespMessage(body, static_cast<int>(length), &count));
    if (tree == nullptr)
        return 0;
    XMLNode *envelope = getEnvelope(tree.get(), 1);
    int nameLength = 0;
    int kind = kMessageNone;
    if (envelope == nullptr || getRPCMethodName(envelope, &nameLength, &kind) == nullptr ||
        kind != kMessageFault)
        return 0;

    const Owned<FaultStr, freeFaultStructure> fault(getFaultAttributes(envelope, kind));
    if (fault == nullptr)
        return 1;
    resetState("TransferComplete", "RPC");
    const int code = reportServerFault(fault.get());
    return code > 0 ? code : 1;
}
