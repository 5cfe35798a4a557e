#include "parameter_requests.h"

#include <cstring>

#include "bus_message.h"
#include "parameter_changes.h"
#include "print_to_syslog.h"
#include "text.h"

constexpr int kStatusOfLostReply = 1;

// The method's name may come cut short, and must not add an object then; an empty one must not delete.
static bool isDeletion(const char *method)
{
    const size_t length = safeStrlen(method);
    return length != 0 && strncmp(method, "DeleteObject", length) == 0;
}

static int readObjectReply(BusReader &reply, bool deletion, int *instance, int *status)
{
    const int fault = readResult(reply);
    if (fault != 0)
        return fault;
    if (!deletion)
        *instance = static_cast<int>(readU32(reply));
    *status = static_cast<int>(readU32(reply));
    return 0;
}

int SendXMLAddDelObject(const AddDelObjStr *request, int *instance, const char *method, int *status,
                        int *rebootFlag)
{
    *instance = 0;
    *status = 0;
    const bool deletion = isDeletion(method);
    const int sent = sendRequest(deletion ? kDeleteObject : kAddObject,
                                 [=](BusWriter &body) { putString(body, request->ObjectName); });
    if (sent != 0)
        return sent;

    bool answered = false;
    const int fault = readReply([&](BusReader &reply) {
        answered = true;
        return readObjectReply(reply, deletion, instance, status);
    });
    // A lost reply is no failure; the reboot flag is left alone, since the backend did not ask for it.
    if (!answered) {
        printToSyslog("LOG_ERR", "TR069Module", __func__, "The reply was lost");
        *status = kStatusOfLostReply;
        return 0;
    }
    if (fault != 0)
        return fault;
    if (*status != 0)
        *rebootFlag = 1;

    // The key goes before the commit, the other way round than with values: both orders are meant. Without
    // its key nothing is committed.
    const int keySent = sendParameterKey(request->ParameterKey);
    return keySent != 0 ? keySent : sendCommit();
}

int addDelObject_Request(const AddDelObjStr *request, int *instance, const char *method, int *status,
                         int *rebootFlag)
{
    return SendXMLAddDelObject(request, instance, method, status, rebootFlag);
}
