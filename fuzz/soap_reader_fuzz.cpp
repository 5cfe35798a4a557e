#include "SOAPParser.h"
#include "fault_reader.h"
#include "owned.h"
#include "rpc_arguments.h"
#include "rpc_methods.h"
#include "xml_node_list.h"

#include <cstdlib>
#include <cstring>

// A whole message through the reader: parsed, checked, and its RPC read by every reader, whatever its name.

static void readArguments(XMLNode *envelope, const char *name)
{
    int count = 0;
    int nextLevel = 0;
    char **names = getParameterValues(envelope, name, kMessageRequest, &count);
    freeArray(names, count);
    freeSetParamValStr(getSetParamValAttr(envelope, "SetParameterValues", kMessageRequest));
    freeParamAttrStruct(getSetParameterAttr(envelope, name, kMessageRequest));
    freeText(processGetParameterNames(envelope, name, kMessageRequest, &nextLevel));
    freeAddDelObjStr(getAddDelObjectAttr(envelope, name, kMessageRequest));
    freeDownloadStr(getDownloadAttrs(envelope, name, kMessageRequest));
    freeUploadStr(getUploadAttrs(envelope, name, kMessageRequest));
    freeText(getRebootParameters(envelope, name, kMessageRequest));
    getInformRespAttr(envelope, name, kMessageResponse);
}

static void readEnvelope(XMLNode *envelope)
{
    int length = 0;
    int kind = 0;
    freeSoapHdr(processSoapHeader(envelope));
    isHeader(envelope);
    const char *raw = getRPCMethodName(envelope, &length, &kind);
    if (raw == nullptr)
        return;
    const OwnedText name(strndup(raw, static_cast<size_t>(length)));
    readArguments(envelope, name.get());
    getInformRespAttr(envelope, raw, kMessageResponse);
    FaultStr *fault = getFaultAttributes(envelope, kMessageFault);
    dumpFaultStr(fault);
    freeFaultStructure(fault);
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    const OwnedText text(static_cast<char *>(malloc(size + 1)));
    memcpy(text.get(), data, size);
    text.get()[size] = '\0';
    const Owned<XMLNode, ILibDestructXMLNodeList> list(parseSOAPMessage(text.get(), static_cast<int>(size)));
    if (list == nullptr)
        return 0;
    // Read even when it is refused: the session looks for a fault in an answer that nobody has checked.
    validateSOAPMessage(list.get(), 1);
    readEnvelope(getEnvelope(list.get(), 1));
    return 0;
}
