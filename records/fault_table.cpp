#include "faults.h"
#include "text.h"

constexpr int kFirstFaultCode = 9000;

// Several transfer failures deliberately share one string, and the last slot is empty.
static const char *const kFaultStrings[] = {
    "Method Not Supported",
    "Request denied",
    "Internal Error",
    "Invalid arguments",
    "Resource exceeded",
    "Invalid parameter name",
    "Invalid parameter type",
    "Invalid parameter value",
    "Attempt to set non writable Parameter",
    "Notification Request Rejected",
    "Unable to connect to the server",
    "Unable to connect to the server",
    "File transfer server authentication failure",
    "Unable to connect to the server",
    "Unable to connect to the server",
    "Unable to connect to the server",
    "",
};

char *getFaultString(int code)
{
    constexpr int count = sizeof kFaultStrings / sizeof kFaultStrings[0];
    if (code < kFirstFaultCode || code >= kFirstFaultCode + count)
        return nullptr;
    return getMsg(kFaultStrings[code - kFirstFaultCode]);
}
