#include "rpc_arguments.h"

#include "SOAPParser.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "rpc_methods.h"
#include "soap_limits.h"
#include "tag_reading.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <syslog.h>

// A part of the document: not terminated, null when there is none.
struct TextRange {
    const char *text;
    int length;
};

static TextRange cutForReport(TextRange type)
{
    if (type.text == nullptr)
        return {"(null)", sizeof "(null)" - 1};
    return {type.text, type.length > kMostTypeShown ? kMostTypeShown : type.length};
}

static void reportOddAttribute(const char *reason, TextRange actual, const char *expected)
{
    const TextRange shown = cutForReport(actual);
    printToSyslog("LOG_DEBUG", "soapResponseParser", "getArraySize", reason);
    syslog(LOG_DEBUG, "Actual = %.*s\n", shown.length, shown.text);
    syslog(LOG_DEBUG, "Expected = %s\n", expected);
    printf("Expected = %s\n", expected);
    printf("Actual = %.*s\n", shown.length, shown.text);
}

static const char *findInValue(const XMLAttribute *attribute, char byte)
{
    if (attribute->valueLength < 1)
        return nullptr;
    return static_cast<const char *>(
        memchr(attribute->value, byte, static_cast<size_t>(attribute->valueLength)));
}

// An array's element type as written, from the colon behind its prefix on.
static TextRange readTypeText(const XMLAttribute *attribute)
{
    const char *colon = findInValue(attribute, ':');
    if (colon == nullptr)
        return {attribute->value, attribute->valueLength};
    return {colon, attribute->valueLength - static_cast<int>(colon - attribute->value)};
}

static bool beginsWith(TextRange range, const char *beginning)
{
    const size_t length = strlen(beginning);
    return static_cast<size_t>(range.length) >= length && memcmp(range.text, beginning, length) == 0;
}

// Sets size to the number between the brackets, if they are in order.
static void readSize(const XMLAttribute *attribute, int *size)
{
    const char *open = findInValue(attribute, '[');
    if (open == nullptr) {
        printToSyslog("LOG_DEBUG", "soapResponseParser", "getArraySize", "No array element found");
        return;
    }
    const char *close = findInValue(attribute, ']');
    if (close != nullptr && close > open)
        *size = textToInt(open + 1, static_cast<size_t>(close - open - 1));
}

// getArraySize, with kReadNoMemory told apart; size is set on every path.
static int readArraySize(XMLNode *node, const char *expectedType, int *size)
{
    *size = -1;
    XMLAttribute *head = nullptr;
    const int status = readAttributes(node, &head);
    if (status == kReadMissing) {
        printToSyslog("LOG_DEBUG", "soapResponseParser", "getArraySize", "Array tag missing in tag");
        printf("%.*s\n", node->nameLength, node->name);
        *size = 0;
    }
    const Owned<XMLAttribute, ILibDestructXMLAttributeList> attributes(head);
    TextRange type = {nullptr, 0};
    for (const XMLAttribute *attribute = head; attribute != nullptr; attribute = attribute->next) {
        if (safeStrncmp(attribute->name, "arrayType", sizeof "arrayType" - 1) != 0) {
            reportOddAttribute("Tag mismatch", type, "arrayType");
            continue;
        }
        type = readTypeText(attribute);
        if (beginsWith(type, expectedType))
            readSize(attribute, size);
        else
            reportOddAttribute("Tag value mismatch", type, expectedType);
    }
    return status;
}

int getArraySize(XMLNode *node, const char *expectedType)
{
    if (node == nullptr)
        return -1;
    int size = -1;
    readArraySize(node, expectedType, &size);
    return size;
}

// An array of one string.
static int makeSingleString(const char *string, char ***strings, int *count)
{
    OwnedText copy(getMsg(string));
    char **single = static_cast<char **>(malloc(sizeof *single));
    if (copy == nullptr || single == nullptr) {
        free(single);
        return kReadNoMemory;
    }
    *single = copy.release();
    *strings = single;
    *count = 1;
    return kReadDone;
}

// These two are read even without a usable size: none or 0 reads the first item, an unreadable one asks for
// the empty name.
static bool mayLackSize(const XMLNode *arrayNode)
{
    return safeStrncmp(arrayNode->name, "AccessList", sizeof "AccessList" - 1) == 0 ||
           safeStrncmp(arrayNode->name, "ParameterNames", sizeof "ParameterNames" - 1) == 0;
}

static bool hasItems(const XMLNode *item, const char *itemName, int wanted)
{
    int found = 0;
    for (; item != nullptr && found < wanted; item = item->peer)
        found += isNamed(item, itemName) ? 1 : 0;
    return found == wanted;
}

// Reads the first wanted items; filled says on failure too how many strings the array holds.
static int fillStrings(const XMLNode *item, const char *itemName, int wanted, int allowEmpty, char **strings,
                       int *filled)
{
    for (; item != nullptr && *filled < wanted; item = item->peer) {
        if (!isNamed(item, itemName))
            continue;
        int length = 0;
        const char *value = getTagValue(item, &length, allowEmpty);
        if (value == nullptr)
            return kReadMissing;
        strings[*filled] = getMsg(value, length);
        if (strings[*filled] == nullptr)
            return kReadNoMemory;
        ++*filled;
    }
    return kReadDone;
}

int readStrings(XMLNode *arrayNode, const char *parentName, const char *itemName, int allowEmpty,
                char ***strings, int *count)
{
    *strings = nullptr;
    *count = 0;
    if (arrayNode == nullptr || parentName == nullptr || itemName == nullptr)
        return kReadMissing;
    int wanted = -1;
    if (readArraySize(arrayNode, ":string", &wanted) == kReadNoMemory)
        return kReadNoMemory;
    if (wanted < 1 && !mayLackSize(arrayNode))
        return kReadMissing;
    if (wanted < 0)
        return makeSingleString("", strings, count);
    if (wanted == 0)
        wanted = 1;

    // The declared size is the server's word only: nothing is allocated before that many items are seen.
    const XMLNode *item = getTagSoapNode(arrayNode, itemName, parentName, 1);
    if (!hasItems(item, itemName, wanted))
        return kReadMissing;
    char **array = static_cast<char **>(calloc(static_cast<size_t>(wanted), sizeof *array));
    if (array == nullptr)
        return kReadNoMemory;
    int filled = 0;
    const int status = fillStrings(item, itemName, wanted, allowEmpty, array, &filled);
    if (status != kReadDone) {
        freeArray(array, filled);
        return status;
    }
    *strings = array;
    *count = wanted;
    return kReadDone;
}

char **readStringArray(XMLNode *arrayNode, const char *parentName, const char *itemName, int *count,
                       int allowEmpty)
{
    char **strings = nullptr;
    readStrings(arrayNode, parentName, itemName, allowEmpty, &strings, count);
    return strings;
}

char **getParameterValues(XMLNode *node, const char *rpcName, int kind, int *count)
{
    *count = -1;
    if (kind != kMessageRequest || rpcName == nullptr)
        return nullptr;
    *count = 0;
    char **names = nullptr;
    XMLNode *arrayNode = getTagSoapNode(node, "ParameterNames", rpcName, 1);
    if (arrayNode == nullptr)
        makeSingleString("InternetGatewayDevice", &names, count);
    else
        readStrings(arrayNode, "ParameterNames", "string", 0, &names, count);
    return names;
}

char **getParamAttrNames(XMLNode *node, const char *rpcName, int kind, int *count)
{
    return getParameterValues(node, rpcName, kind, count);
}
