#include "SOAPParser.h"

#include "attribute_walk.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "rpc_methods.h"
#include "soap_limits.h"
#include "tag_reading.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

XMLNode *parseSOAPMessage(char *buffer, int length)
{
    if (buffer == nullptr || length < 1)
        return nullptr;
    XMLNode *first = ILibParseXML(buffer, 0, length);
    if (first == nullptr) {
        printToSyslog("LOG_DEBUG", "SOAPParser", "parseSOAPMessage()", "ILibParseXML returned NULL");
        return nullptr;
    }
    if (ILibProcessXMLNodeList(first) != 0) {
        printToSyslog("LOG_DEBUG", "SOAPParser", "parseSOAPMessage()",
                      "ILibProcessXMLNodeList returned NULL");
        ILibDestructXMLNodeList(first);
        return nullptr;
    }
    return first;
}

static bool isEnvelopeStart(const XMLNode *node)
{
    return node->isStartTag != 0 && isNamed(node, "Envelope");
}

int getNoOfEnvelopes(const XMLNode *first)
{
    int count = 0;
    for (const XMLNode *node = first; node != nullptr; node = node->next)
        count += isEnvelopeStart(node) ? 1 : 0;
    return count;
}

XMLNode *getEnvelope(XMLNode *first, int n)
{
    int count = 0;
    for (XMLNode *node = first; node != nullptr; node = node->next) {
        if (isEnvelopeStart(node) && ++count == n)
            return node;
    }
    return nullptr;
}

XMLNode *getSoapNode(XMLNode *envelope, const char *tagName)
{
    if (envelope == nullptr)
        return nullptr;
    if (tagName == nullptr || strncmp(tagName, "Envelope", strlen(tagName)) == 0)
        return envelope;
    for (XMLNode *node = envelope->next; node != nullptr && node->name != nullptr; node = node->next) {
        if (node->isStartTag == 0 && isNamed(node, envelope->name))
            return nullptr;
        if (node->isStartTag != 0 && isNamed(node, tagName))
            return node;
    }
    return nullptr;
}

int isHeader(XMLNode *envelope)
{
    const XMLNode *header = getSoapNode(envelope, "Header");
    return header != nullptr && header->isEmptyTag == 0 ? 0 : 1;
}

// Where reading the content of an element has to stop: inside its end tag, or at the message's NUL.
static const char *findContentEnd(const XMLNode *node)
{
    if (node->closingTag != nullptr && node->closingTag->textPos != nullptr)
        return node->closingTag->textPos;
    return node->name + strlen(node->name);
}

static const char *findByte(const char *from, char byte, const char *end)
{
    if (from >= end)
        return nullptr;
    return static_cast<const char *>(memchr(from, byte, static_cast<size_t>(end - from)));
}

static bool isBlankOrNul(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\0';
}

// getTagValue for a start record; scannedTo receives where the scan that begins at its name stopped.
static const char *scanTagValue(const XMLNode *node, int *length, int allowEmpty, const char **scannedTo)
{
    *length = 0;
    *scannedTo = node->name;
    if (node->isEmptyTag != 0) {
        *length = 1;
        return "";
    }
    const char *end = findContentEnd(node);
    *scannedTo = end;
    const char *bracket = findByte(node->name, '>', end);
    if (bracket == nullptr || bracket + 1 == end)
        return nullptr;

    const char *text = bracket + 1;
    if (*text == '<') {
        *scannedTo = text;
        *length = allowEmpty == 1 ? 1 : 0;
        return allowEmpty == 1 ? "" : nullptr;
    }
    const char *firstByte = text;
    while (firstByte < end && isBlankOrNul(*firstByte))
        ++firstByte;
    const char *textEnd = findByte(firstByte, '<', end);
    if (textEnd == nullptr)
        return nullptr;
    *scannedTo = textEnd;
    if (textEnd == firstByte)
        return nullptr;
    *length = static_cast<int>(textEnd - text);
    return text;
}

const char *getTagValue(const XMLNode *node, int *length, int allowEmpty)
{
    *length = 0;
    if (node == nullptr || node->isStartTag == 0)
        return nullptr;
    const char *scannedTo = nullptr;
    return scanTagValue(node, length, allowEmpty, &scannedTo);
}

// A NUL inside the name ends it here, as in the comparisons of names.
static const char *findResponse(const char *name, int length)
{
    constexpr char kResponse[] = "Response";
    const size_t searched = strnlen(name, static_cast<size_t>(length));
    return static_cast<const char *>(memmem(name, searched, kResponse, sizeof kResponse - 1));
}

const char *getRPCMethodName(XMLNode *envelope, int *nameLength, int *kind)
{
    *nameLength = 0;
    *kind = kMessageNone;
    const XMLNode *body = getSoapNode(envelope, "Body");
    // For an empty Body the record behind it is its own end, which then counts as a method that nobody knows.
    const XMLNode *method = body == nullptr ? nullptr : body->next;
    if (method == nullptr || method->name == nullptr)
        return nullptr;

    const char *response = findResponse(method->name, method->nameLength);
    if (isNamed(method, "Fault")) {
        *nameLength = method->nameLength;
        *kind = kMessageFault;
    } else if (response != nullptr) {
        *nameLength = static_cast<int>(response - method->name);
        *kind = kMessageResponse;
    } else {
        *nameLength = method->nameLength;
        *kind = kMessageRequest;
    }
    return method->name;
}

XMLNode *getTagSoapNode(XMLNode *envelope, const char *tagName, const char *parentName, int depth)
{
    if (envelope == nullptr || tagName == nullptr) {
        printToSyslog("LOG_DEBUG", "soapResponseParser", "getTagSoapNode", "Error NULL Value currentEnv");
        printf("currentEnv is NULL, tag %s\n", textOrNull(tagName));
        return nullptr;
    }
    XMLNode *node = getSoapNode(envelope, tagName);
    if (node == nullptr) {
        printToSyslog("LOG_DEBUG", "soapResponseParser", "getTagSoapNode", "Error NULL Value tmp_XMLNode");
        printf("tmp_XMLNode tag [%s]\n", tagName);
        return nullptr;
    }
    if (parentName == nullptr)
        return depth == 0 ? node : nullptr;
    if (depth < 1)
        return nullptr;
    const XMLNode *ancestor = node;
    for (int level = 0; level < depth && ancestor != nullptr; ++level)
        ancestor = ancestor->parent;
    return ancestor != nullptr && isNamed(ancestor, parentName) ? node : nullptr;
}

int readTagText(XMLNode *envelope, const char *tagName, const char *parentName, int depth, char **text)
{
    *text = nullptr;
    const XMLNode *node = getTagSoapNode(envelope, tagName, parentName, depth);
    if (node == nullptr)
        return kReadMissing;
    int length = 0;
    const char *value = getTagValue(node, &length, 0);
    *text = value == nullptr ? getMsg("") : getMsg(value, length);
    return *text == nullptr ? kReadNoMemory : kReadDone;
}

char *getSoapTagValue(XMLNode *envelope, const char *tagName, const char *parentName, int depth)
{
    char *text = nullptr;
    readTagText(envelope, tagName, parentName, depth, &text);
    return text;
}

static bool hasAttribute(XMLNode *node)
{
    AttributeWalk walk;
    if (!openAttributeWalk(&walk, node))
        return false;
    bool found = false;
    XMLAttribute attribute;
    while (readNextAttribute(&walk, &attribute))
        found = true;
    return found;
}

int readAttributes(XMLNode *node, XMLAttribute **attributes)
{
    *attributes = ILibGetXMLAttributes(node);
    if (*attributes != nullptr)
        return kReadDone;
    return hasAttribute(node) ? kReadNoMemory : kReadMissing;
}

// The first attribute of that name in the list's order decides, whatever its prefix; -1 when memory runs out.
static int readMustUnderstand(XMLNode *node)
{
    XMLAttribute *head = nullptr;
    if (readAttributes(node, &head) == kReadNoMemory)
        return -1;
    const Owned<XMLAttribute, ILibDestructXMLAttributeList> attributes(head);
    for (const XMLAttribute *attribute = attributes.get(); attribute != nullptr;
         attribute = attribute->next) {
        if (safeStrncmp(attribute->name, "mustUnderstand", static_cast<size_t>(attribute->nameLength)) == 0)
            return attribute->valueLength == 1 && attribute->value[0] == '1' ? 1 : 0;
    }
    return 0;
}

static SoapHeaderEntry *makeHeaderEntry(XMLNode *node, const char *value, int valueLength)
{
    Owned<SoapHeaderEntry, freeSoapHdr> entry(
        static_cast<SoapHeaderEntry *>(calloc(1, sizeof(SoapHeaderEntry))));
    if (entry == nullptr)
        return nullptr;
    entry->name = getMsg(node->name, node->nameLength);
    entry->value = getMsg(value, valueLength);
    entry->mustUnderstand = readMustUnderstand(node);
    if (entry->name == nullptr || entry->value == nullptr || entry->mustUnderstand < 0)
        return nullptr;
    return entry.release();
}

SoapHeaderEntry *processSoapHeader(XMLNode *envelope)
{
    const XMLNode *header = getSoapNode(envelope, "Header");
    if (header == nullptr)
        return nullptr;
    Owned<SoapHeaderEntry, freeSoapHdr> list;
    const char *value = "";
    int length = 1;
    ptrdiff_t bytesLeft = kMostHeaderCopies * (findContentEnd(header) - header->name);

    for (XMLNode *node = header->next; node != nullptr && node->name != nullptr; node = node->next) {
        if (isNamed(node, "Header")) {
            if (node->isStartTag == 0)
                return list.release();
            continue;
        }
        if (node->isStartTag != 0) {
            const char *scannedTo = nullptr;
            value = scanTagValue(node, &length, 0, &scannedTo);
            bytesLeft -= scannedTo - node->name;
        }
        if (value == nullptr) {
            value = "";
            length = 1;
        }
        bytesLeft -= node->nameLength + length;
        SoapHeaderEntry *entry = bytesLeft < 0 ? nullptr : makeHeaderEntry(node, value, length);
        if (entry == nullptr)
            return nullptr;
        entry->next = list.release();
        list.reset(entry);
    }
    return nullptr;
}
