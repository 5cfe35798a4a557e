#include "inform_parameters.h"

#include <cstring>

#include "bus_message.h"
#include "owned.h"
#include "parameter_requests.h"
#include "print_to_syslog.h"
#include "text.h"

const char *cl_conreq_url = nullptr;
const char *cl_xternal_ip = nullptr;

// The backend's request to be asked again.
constexpr int kAskAgain = 7007;
constexpr int kChangedValuesAttempts = 6;

enum class Step { kGoOn, kEndHere, kFail };

// The list so far, and what an earlier entry leaves for a later one.
struct InformWalk {
    ParameterValueRecord *head;  // owned
    ParameterValueRecord **tail; // where the next record goes
    char *userName;              // owned; the name to read in the user-name entry, null for none
};

static void append(InformWalk &walk, ParameterValueRecord *records)
{
    *walk.tail = records;
    while (*walk.tail != nullptr)
        walk.tail = &(*walk.tail)->next;
}

// The records of one name, freed by the caller with freeParamValueStr; null on a fault and when there are
// none.
static ParameterValueRecord *readOne(const char *name)
{
    int fault = 0;
    return getParamValue_Request(&name, 1, &fault);
}

static Step addRequired(InformWalk &walk, const char *name)
{
    ParameterValueRecord *records = readOne(name);
    if (records == nullptr) {
        printToSyslog("LOG_ERR", "TR069Module", __func__, name);
        return Step::kFail;
    }
    append(walk, records);
    return Step::kGoOn;
}

static Step addConnectionRequestUrl(InformWalk &walk, const char *name)
{
    ParameterValueRecord **added = walk.tail;
    const Step step = addRequired(walk, name);
    if (step != Step::kGoOn || safeStrlen(cl_conreq_url) == 0)
        return step;
    char *url = getMsg(cl_conreq_url);
    if (url == nullptr)
        return Step::kFail;
    free((*added)->value);
    (*added)->value = url;
    return Step::kGoOn;
}

static char *joinTexts(const char *first, const char *second)
{
    const size_t firstLength = strlen(first);
    const size_t secondLength = strlen(second);
    char *joined = static_cast<char *>(malloc(firstLength + secondLength + 1));
    if (joined == nullptr)
        return nullptr;
    memcpy(joined, first, firstLength);
    memcpy(joined + firstLength, second, secondLength);
    joined[firstLength + secondLength] = '\0';
    return joined;
}

// Appends what the backend has under name, or, when it has nothing, a record with the given value and type.
static Step addOrMakeUp(InformWalk &walk, const char *name, const char *value, const char *type)
{
    Owned<ParameterValueRecord, freeParamValueStr> record(readOne(name));
    if (record == nullptr) {
        record.reset(makeRecord<ParameterValueRecord>());
        if (record == nullptr)
            return Step::kFail;
        record->name = getMsg(name);
        record->value = getMsg(value);
        record->type = getMsg(type);
        if (record->name == nullptr || record->value == nullptr ||
            (type != nullptr && record->type == nullptr))
            return Step::kFail;
    }
    append(walk, record.release());
    return Step::kGoOn;
}

// The path of the WAN connection tells where its address, and with PPP its user name, stand.
static Step addWanAddress(InformWalk &walk, const char *name)
{
    const OwnedText path(getParamValue_Single(name));
    if (path == nullptr)
        return Step::kFail;
    const OwnedText addressName(joinTexts(path.get(), ".ExternalIPAddress"));
    if (addressName == nullptr)
        return Step::kFail;
    if (strstr(path.get(), "WANPPP") != nullptr) {
        walk.userName = joinTexts(path.get(), ".Username");
        if (walk.userName == nullptr)
            return Step::kFail;
    }
    const char *address = cl_xternal_ip != nullptr ? cl_xternal_ip : "";
    return addOrMakeUp(walk, addressName.get(), address, "string");
}

static Step addChangedValues(InformWalk &walk, const char *name)
{
    int status = 0;
    int fault = kAskAgain;
    for (int i = 0; i < kChangedValuesAttempts && fault == kAskAgain; ++i) {
        ParameterValueRecord *changed = nullptr;
        status = SendXMLGetParameterValue(&name, 1, kReadChangedValues, &changed, &fault);
        append(walk, changed);
    }
    return status == 0 ? Step::kGoOn : Step::kEndHere;
}

static Step addNothing(InformWalk &walk, const char *name)
{
    ParameterValueRecord *values = nullptr;
    int fault = 0;
    SendXMLGetParameterValue(&name, 1, kReadNothing, &values, &fault);
    append(walk, values);
    return Step::kGoOn;
}

// The record made up here has no type, and so fails the Inform: meant.
static Step addWanUserName(InformWalk &walk, const char *)
{
    return walk.userName == nullptr ? Step::kGoOn : addOrMakeUp(walk, walk.userName, "", nullptr);
}

struct InformEntry {
    const char *name;
    Step (*add)(InformWalk &walk, const char *name);
};

constexpr InformEntry kInformEntries[] = {
    {"InternetGatewayDevice.DeviceInfo.SpecVersion", addRequired},
    {"InternetGatewayDevice.DeviceInfo.HardwareVersion", addRequired},
    {"InternetGatewayDevice.DeviceInfo.SoftwareVersion", addRequired},
    {"InternetGatewayDevice.DeviceInfo.ProvisioningCode", addRequired},
    {"InternetGatewayDevice.ManagementServer.X_QXNV-COM_ManageWANConnectionPath", addWanAddress},
    {"InternetGatewayDevice.ManagementServer.ParameterKey", addRequired},
    {"InternetGatewayDevice.ManagementServer.ConnectionRequestURL", addConnectionRequestUrl},
    {"notificationChange", addChangedValues},
    {"notificationChange", addNothing},
    {"InternetGatewayDevice.ManagementServer.X_QXNV-COM_ManageWANConnectionPath", addWanUserName},
    {"InternetGatewayDevice.DeviceSummary", addRequired},
    {"InternetGatewayDevice.LANDevice.1.LANEthernetInterfaceConfig.1.MACAddress", addRequired},
};

ParameterValueRecord *SendXMLInformParameterList()
{
    InformWalk walk = {nullptr, nullptr, nullptr};
    walk.tail = &walk.head;
    Step step = Step::kGoOn;
    for (const InformEntry &entry : kInformEntries) {
        step = entry.add(walk, entry.name);
        if (step != Step::kGoOn)
            break;
    }
    free(walk.userName);
    if (step != Step::kFail)
        return walk.head;
    freeParamValueStr(walk.head);
    return nullptr;
}

ParameterValueRecord *getParameterList()
{
    return SendXMLInformParameterList();
}
