#include "transfer_requests.h"

#include <initializer_list>

#include "bus_message.h"
#include "text.h"

constexpr uint32_t kTransferDone = 0;
constexpr uint32_t kTransferLater = 1;

static int readTransferReply(BusReader &reply, char *startTime, char *completeTime)
{
    const uint32_t result = readU32(reply);
    if (result != kTransferDone && result != kTransferLater) {
        // A code of 0 or 1 would read as an accepted transfer.
        const int code = faultOfResult(readU32(reply));
        return code > static_cast<int>(kTransferLater) ? code : kFaultInternalError;
    }
    safeStrncpy(startTime, readString(reply), kTransferTimeSize);
    safeStrncpy(completeTime, readString(reply), kTransferTimeSize);
    return static_cast<int>(result);
}

template <typename WriteBody>
static int orderTransfer(BusOperation operation, WriteBody writeBody, char *startTime, char *completeTime,
                         int *status)
{
    startTime[0] = '\0';
    completeTime[0] = '\0';
    *status = kFaultInternalError;
    return exchange(operation, writeBody, [=](BusReader &reply) {
        *status = readTransferReply(reply, startTime, completeTime);
        return 0;
    });
}

int SendXMLDownload(const DownloadStr *request, char *startTime, char *completeTime, int *status)
{
    const auto writeBody = [=](BusWriter &body) {
        putNumber(body, request->FileSize);
        putNumber(body, request->DelaySeconds);
        for (const char *text :
             {request->CommandKey, request->FileType, request->URL, request->Username, request->Password,
              request->TargetFileName, request->SuccessURL, request->FailureURL})
            putString(body, text);
    };
    return orderTransfer(kDownload, writeBody, startTime, completeTime, status);
}

int SendXMLUpload(const UploadStr *request, char *startTime, char *completeTime, int *status)
{
    const auto writeBody = [=](BusWriter &body) {
        putNumber(body, request->DelaySeconds);
        for (const char *text :
             {request->CommandKey, request->FileType, request->URL, request->Username, request->Password})
            putString(body, text);
    };
    return orderTransfer(kUpload, writeBody, startTime, completeTime, status);
}

int getDownloadType(const DownloadStr *request, char *startTime, char *completeTime)
{
    int status = 0;
    SendXMLDownload(request, startTime, completeTime, &status);
    return status;
}

int getUploadType(const UploadStr *request, char *startTime, char *completeTime)
{
    int status = 0;
    SendXMLUpload(request, startTime, completeTime, &status);
    return status;
}
