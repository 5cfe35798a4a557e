#include "rpc_arguments.h"

#include "SOAPParser.h"
#include "owned.h"
#include "rpc_methods.h"
#include "tag_reading.h"
#include "xml_escape.h"

#include <cstdio>
#include <cstdlib>
#include <strings.h>

// The lookups for an entry start at the entry's own record, where they end at its end tag: the time to read
// all entries grows with the message, not with its square.

static bool fillValueEntry(XMLNode *node, ParamValueEntry *entry)
{
    constexpr char kParent[] = "ParameterValueStruct";
    entry->Name = getSoapTagValue(node, "Name", kParent, 1);
    if (entry->Name == nullptr)
        return false;
    entry->Value = getSoapTagValue(node, "Value", kParent, 1);
    if (entry->Value == nullptr)
        return false;
    ILibInPlaceXmlUnEscape(entry->Value);
    return true;
}

static bool readValueEntries(XMLNode *listNode, SetParamValStr *request)
{
    const int declared = getArraySize(listNode, ":ParameterValueStruct");
    XMLNode *node = getTagSoapNode(listNode, "ParameterValueStruct", "ParameterList", 1);
    for (int read = 0; node != nullptr && read < declared; ++read, node = node->peer) {
        auto *entry = static_cast<ParamValueEntry *>(calloc(1, sizeof(ParamValueEntry)));
        if (entry == nullptr)
            return false;
        entry->next = request->list;
        request->list = entry;
        if (!fillValueEntry(node, entry))
            return false;
    }
    return request->list != nullptr;
}

SetParamValStr *getSetParamValAttr(XMLNode *envelope, const char *rpcName, int kind)
{
    constexpr char kMethod[] = "SetParameterValues";
    if (kind != kMessageRequest || safeStrncmp(rpcName, kMethod, sizeof kMethod - 1) != 0)
        return nullptr;
    XMLNode *rpcNode = getTagSoapNode(envelope, rpcName, "Body", 1);
    if (rpcNode == nullptr)
        return nullptr;
    Owned<SetParamValStr, freeSetParamValStr> request(
        static_cast<SetParamValStr *>(calloc(1, sizeof(SetParamValStr))));
    if (request == nullptr)
        return nullptr;
    if (readTagText(rpcNode, "ParameterKey", rpcName, 1, &request->ParameterKey) == kReadNoMemory)
        return nullptr;
    XMLNode *listNode = getTagSoapNode(rpcNode, "ParameterList", rpcName, 1);
    if (listNode == nullptr || !readValueEntries(listNode, request.get()))
        return nullptr;
    return request.release();
}

static int parseNextLevel(const char *text)
{
    if (*text >= '0' && *text <= '9')
        return textToInt(text);
    return strcasecmp(text, "true") == 0 ? 1 : 0;
}

char *processGetParameterNames(XMLNode *node, const char *rpcName, int kind, int *nextLevel)
{
    *nextLevel = 0;
    if (kind != kMessageRequest || rpcName == nullptr)
        return nullptr;
    char *text = nullptr;
    if (readTagText(node, "ParameterPath", rpcName, 1, &text) == kReadMissing)
        text = getMsg("InternetGatewayDevice");
    OwnedText path(text);
    if (path == nullptr)
        return nullptr;
    const OwnedText level(getSoapTagValue(node, "NextLevel", rpcName, 1));
    if (level == nullptr)
        return nullptr;
    *nextLevel = parseNextLevel(level.get());
    return path.release();
}

constexpr char kAttributesStruct[] = "SetParameterAttributesStruct";

// A required number; "true" reads as 0 like any other word, and so does an empty element.
static bool readNumber(XMLNode *node, const char *tagName, int32_t *number)
{
    const OwnedText text(getSoapTagValue(node, tagName, kAttributesStruct, 1));
    *number = textToInt(text.get());
    return text != nullptr;
}

static bool fillAccessList(XMLNode *node, ParamAttrEntry *entry)
{
    XMLNode *listNode = getTagSoapNode(node, "AccessList", kAttributesStruct, 1);
    if (listNode == nullptr) {
        puts("getTagSoapNode: failed on C_SETPARAMATTRACCLT tag");
        return false;
    }
    const int status =
        readStrings(listNode, "AccessList", "string", 1, &entry->AccessList, &entry->AccessListCount);
    if (status == kReadMissing)
        puts("getTagSoapNode: nothing in accessList array");
    return status != kReadNoMemory;
}

static bool fillAttributesEntry(XMLNode *node, ParamAttrEntry *entry)
{
    entry->Name = getSoapTagValue(node, "Name", kAttributesStruct, 1);
    return entry->Name != nullptr && readNumber(node, "NotificationChange", &entry->NotificationChange) &&
           readNumber(node, "Notification", &entry->Notification) &&
           readNumber(node, "AccessListChange", &entry->AccessListChange) && fillAccessList(node, entry);
}

// The ParameterList, or null after a line that says what is wrong.
static XMLNode *findAttributesList(XMLNode *envelope, const char *rpcName, int kind)
{
    if (kind != kMessageRequest) {
        puts("getSetParameterAttr: request code NotEq messageType");
        return nullptr;
    }
    if (rpcName == nullptr) {
        puts("getSetParameterAttr: RPC method name is NULL");
        return nullptr;
    }
    XMLNode *rpcNode = getTagSoapNode(envelope, rpcName, "Body", 1);
    XMLNode *listNode = rpcNode == nullptr ? nullptr : getTagSoapNode(rpcNode, "ParameterList", rpcName, 1);
    if (listNode == nullptr)
        puts("getSetParameterAttr: tmpActionNode is NULL");
    return listNode;
}

ParamAttrEntry *getSetParameterAttr(XMLNode *envelope, const char *rpcName, int kind)
{
    XMLNode *listNode = findAttributesList(envelope, rpcName, kind);
    if (listNode == nullptr)
        return nullptr;
    Owned<ParamAttrEntry, freeParamAttrStruct> list;
    XMLNode *node = getTagSoapNode(listNode, kAttributesStruct, "ParameterList", 1);
    for (; node != nullptr; node = node->peer) {
        auto *entry = static_cast<ParamAttrEntry *>(calloc(1, sizeof(ParamAttrEntry)));
        if (entry == nullptr)
            return nullptr;
        entry->next = list.release();
        list.reset(entry);
        if (!fillAttributesEntry(node, entry))
            return nullptr;
    }
    return list.release();
}

AddDelObjStr *getAddDelObjectAttr(XMLNode *envelope, const char *rpcName, int kind)
{
    if (kind != kMessageRequest || rpcName == nullptr)
        return nullptr;
    XMLNode *rpcNode = getTagSoapNode(envelope, rpcName, "Body", 1);
    if (rpcNode == nullptr)
        return nullptr;
    Owned<AddDelObjStr, freeAddDelObjStr> request(
        static_cast<AddDelObjStr *>(calloc(1, sizeof(AddDelObjStr))));
    if (request == nullptr)
        return nullptr;
    request->ObjectName = getSoapTagValue(rpcNode, "ObjectName", rpcName, 1);
    if (request->ObjectName == nullptr)
        return nullptr;
    if (readTagText(rpcNode, "ParameterKey", rpcName, 1, &request->ParameterKey) == kReadNoMemory)
        return nullptr;
    return request.release();
}
