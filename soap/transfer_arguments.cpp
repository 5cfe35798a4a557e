#include "rpc_arguments.h"

#include "SOAPParser.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "rpc_methods.h"
#include "tag_reading.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>

// An element and the text of the record that it fills.
struct TextField {
    const char *tagName;
    char **text;
};

// The first fields of both requests. Without FileType or URL the request is refused anyway, and what stands
// behind them is not read.
constexpr size_t kFileType = 1;
constexpr size_t kUrl = 2;

// What the two readers say, each in its own words.
struct TransferMessages {
    const char *function;
    const char *wrongKind;
    const char *noBody;
    const char *noMemory;
    const char *noDelay;
};

static constexpr TransferMessages kDownloadMessages = {
    "getDownloadAttrs",
    "Error Message type is not Request\tMessage",
    "Error occured while fetching BODY\ttag",
    "Error occured while allocating memory to structure downloadStr",
    "Download Delay not set",
};
static constexpr TransferMessages kUploadMessages = {
    "getUploadAttrs",
    "Error Message type is not Request Message",
    "Error occured while fetching BODY tag",
    "Error occured while allocating memory to structure uploadStr",
    "Upload Delay not set",
};

static void logFailure(const TransferMessages &messages, const char *message)
{
    printToSyslog("LOG_DEBUG", "soapResponseParser", messages.function, message);
}

static XMLNode *findRequest(XMLNode *envelope, const char *rpcName, int kind,
                            const TransferMessages &messages)
{
    if (kind != kMessageRequest) {
        logFailure(messages, messages.wrongKind);
        return nullptr;
    }
    if (rpcName == nullptr) {
        logFailure(messages, "RPC method name is NULL");
        return nullptr;
    }
    XMLNode *rpcNode = getTagSoapNode(envelope, rpcName, "Body", 1);
    if (rpcNode == nullptr)
        logFailure(messages, messages.noBody);
    return rpcNode;
}

// Reads the fields in their order; a missing element leaves its text null. False when memory ran out.
static bool readFields(XMLNode *rpcNode, const char *rpcName, const TransferMessages &messages,
                       const TextField *fields, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        if (i == kUrl + 1 && (*fields[kFileType].text == nullptr || *fields[kUrl].text == nullptr))
            return true;
        const int status = readTagText(rpcNode, fields[i].tagName, rpcName, 1, fields[i].text);
        if (status == kReadNoMemory)
            return false;
        if (status == kReadMissing && safeStrcmp(fields[i].tagName, "DelaySeconds") == 0)
            printToSyslog("LOG_INFO", "soapResponseParser", messages.function, messages.noDelay);
    }
    return true;
}

DownloadStr *getDownloadAttrs(XMLNode *envelope, const char *rpcName, int kind)
{
    XMLNode *rpcNode = findRequest(envelope, rpcName, kind, kDownloadMessages);
    if (rpcNode == nullptr)
        return nullptr;
    Owned<DownloadStr, freeDownloadStr> record(static_cast<DownloadStr *>(calloc(1, sizeof(DownloadStr))));
    if (record == nullptr) {
        logFailure(kDownloadMessages, kDownloadMessages.noMemory);
        return nullptr;
    }
    const TextField fields[] = {
        {"CommandKey", &record->CommandKey},
        {"FileType", &record->FileType},
        {"URL", &record->URL},
        {"Username", &record->Username},
        {"Password", &record->Password},
        {"FileSize", &record->FileSize},
        {"TargetFileName", &record->TargetFileName},
        {"DelaySeconds", &record->DelaySeconds},
        {"SuccessURL", &record->SuccessURL},
        {"FailureURL", &record->FailureURL},
    };
    const bool read = readFields(rpcNode, rpcName, kDownloadMessages, fields, std::size(fields));
    return read ? record.release() : nullptr;
}

UploadStr *getUploadAttrs(XMLNode *envelope, const char *rpcName, int kind)
{
    XMLNode *rpcNode = findRequest(envelope, rpcName, kind, kUploadMessages);
    if (rpcNode == nullptr)
        return nullptr;
    Owned<UploadStr, freeUploadStr> record(static_cast<UploadStr *>(calloc(1, sizeof(UploadStr))));
    if (record == nullptr) {
        logFailure(kUploadMessages, kUploadMessages.noMemory);
        return nullptr;
    }
    const TextField fields[] = {
        {"CommandKey", &record->CommandKey},
        {"FileType", &record->FileType},
        {"URL", &record->URL},
        {"Username", &record->Username},
        {"Password", &record->Password},
        {"DelaySeconds", &record->DelaySeconds},
    };
    const bool read = readFields(rpcNode, rpcName, kUploadMessages, fields, std::size(fields));
    return read ? record.release() : nullptr;
}

char *getRebootParameters(XMLNode *node, const char *rpcName, int kind)
{
    if (kind != kMessageRequest || rpcName == nullptr)
        return nullptr;
    return getSoapTagValue(node, "CommandKey", rpcName, 1);
}

// The element name at the start of a text that may go on with the rest of a message, with room for an ending.
static char *copyElementName(const char *text, const char *ending)
{
    const size_t nameLength = lengthBefore(text, " /><:\t\r\n");
    const size_t endingSize = strlen(ending) + 1;
    char *name = static_cast<char *>(malloc(nameLength + endingSize));
    if (name == nullptr)
        return nullptr;
    memcpy(name, text, nameLength);
    memcpy(name + nameLength, ending, endingSize);
    return name;
}

static int readMaxEnvelopes(XMLNode *rpcNode, const char *rpcName)
{
    const OwnedText text(getSoapTagValue(rpcNode, "MaxEnvelopes", rpcName, 1));
    return text == nullptr ? -1 : textToInt(text.get());
}

int getInformRespAttr(XMLNode *envelope, const char *rpcName, int kind)
{
    if (kind != kMessageResponse || rpcName == nullptr)
        return -1;
    // The method name alone has lost the "Response" that the element's name ends in; a name that still has it
    // is not tried with a second one.
    for (const char *ending : {"", "Response"}) {
        const OwnedText name(copyElementName(rpcName, ending));
        if (name == nullptr)
            return -1;
        XMLNode *rpcNode = getTagSoapNode(envelope, name.get(), "Body", 1);
        if (rpcNode != nullptr)
            return readMaxEnvelopes(rpcNode, name.get());
        if (strstr(name.get(), "Response") != nullptr)
            return -1;
    }
    return -1;
}
