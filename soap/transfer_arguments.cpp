#include "rpc_arguments.h"

#include "SOAPParser.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "rpc_methods.h"
#include "tag_reading.h"

#include <cstdlib>

// An element and the text of the record that it fills.
template <typename Record>
struct TextField {
    const char *tagName;
    char *Record::*text;
};

static constexpr TextField<DownloadStr> kDownloadFields[] = {
    {"CommandKey", &DownloadStr::CommandKey},
    {"FileType", &DownloadStr::FileType},
    {"URL", &DownloadStr::URL},
    {"Username", &DownloadStr::Username},
    {"Password", &DownloadStr::Password},
    {"FileSize", &DownloadStr::FileSize},
    {"TargetFileName", &DownloadStr::TargetFileName},
    {"DelaySeconds", &DownloadStr::DelaySeconds},
    {"SuccessURL", &DownloadStr::SuccessURL},
    {"FailureURL", &DownloadStr::FailureURL},
};
static constexpr TextField<UploadStr> kUploadFields[] = {
    {"CommandKey", &UploadStr::CommandKey},
    {"FileType", &UploadStr::FileType},
    {"URL", &UploadStr::URL},
    {"Username", &UploadStr::Username},
    {"Password", &UploadStr::Password},
    {"DelaySeconds", &UploadStr::DelaySeconds},
};

// The last field that is read in any case. Without FileType or URL the request is refused anyway, and what
// stands behind them is not read.
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

// Reads one field; a missing element leaves its text null. False when memory ran out.
static bool readField(XMLNode *rpcNode, const char *rpcName, const TransferMessages &messages,
                      const char *tagName, char **text)
{
    const int status = readTagText(rpcNode, tagName, rpcName, 1, text);
    if (status == kReadMissing && safeStrcmp(tagName, "DelaySeconds") == 0)
        printToSyslog("LOG_INFO", "soapResponseParser", messages.function, messages.noDelay);
    return status != kReadNoMemory;
}

template <typename Record, void (*freeRecord)(Record *), size_t count>
static Record *readTransfer(XMLNode *envelope, const char *rpcName, int kind,
                            const TransferMessages &messages, const TextField<Record> (&fields)[count])
{
    XMLNode *rpcNode = findRequest(envelope, rpcName, kind, messages);
    if (rpcNode == nullptr)
        return nullptr;
    Owned<Record, freeRecord> record(static_cast<Record *>(calloc(1, sizeof(Record))));
    if (record == nullptr) {
        logFailure(messages, messages.noMemory);
        return nullptr;
    }
    for (size_t i = 0; i < count; ++i) {
        if (i > kUrl && (record->FileType == nullptr || record->URL == nullptr))
            break;
        if (!readField(rpcNode, rpcName, messages, fields[i].tagName, &(record.get()->*fields[i].text)))
            return nullptr;
    }
    return record.release();
}

DownloadStr *getDownloadAttrs(XMLNode *envelope, const char *rpcName, int kind)
{
    return readTransfer<DownloadStr, freeDownloadStr>(envelope, rpcName, kind, kDownloadMessages,
                                                      kDownloadFields);
}

UploadStr *getUploadAttrs(XMLNode *envelope, const char *rpcName, int kind)
{
    return readTransfer<UploadStr, freeUploadStr>(envelope, rpcName, kind, kUploadMessages, kUploadFields);
}
