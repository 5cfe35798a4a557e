#include "rpc_arguments.h"

#include "SOAPParser.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "rpc_methods.h"
#include "tag_reading.h"

#include <cstdlib>
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
