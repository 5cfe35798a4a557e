#include "parameter_requests.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "bus_message.h"
#include "owned.h"
#include "parameter_changes.h"
#include "print_to_syslog.h"
#include "reply_text.h"
#include "text.h"

// Copies the entries between list and end, which single blanks separate: an empty list is one empty entry.
static int fillAccessList(ParameterAttributeRecord &record, const char *list, const char *end)
{
    const ptrdiff_t entries = 1 + std::count(list, end, ' ');
    if (entries > INT32_MAX)
        return kFaultInternalError;
    record.accessList = static_cast<char **>(calloc(static_cast<size_t>(entries), sizeof(char *)));
    if (record.accessList == nullptr)
        return kFaultInternalError;
    record.accessListCount = static_cast<int32_t>(entries);
    for (int32_t i = 0; i < record.accessListCount; ++i) {
        const char *entryEnd = std::find(list, end, ' ');
        record.accessList[i] = copyBetween(list, entryEnd);
        if (record.accessList[i] == nullptr)
            return kFaultInternalError;
        list = entryEnd + 1;
    }
    return 0;
}

// name ' ' Notification="digit" [' '] AccessList="entry{' 'entry} ['"']
// Backends differ in the second blank and in the last quote; the string's NUL ends it either way.
static int readAttributes(BusReader &reader, ParameterAttributeRecord **record)
{
    const char *text = readString(reader);
    const char *nameEnd = endOfPiece(text, ' ');
    const char *notification = skipWord(skipSeparator(nameEnd), "Notification=\"");
    if (notification == nullptr || *notification < '0' || *notification > '9')
        return kFaultInternalError;
    const char *rest = skipWord(notification + 1, "\"");
    if (rest == nullptr)
        return kFaultInternalError;
    const char *list = skipWord(*rest == ' ' ? rest + 1 : rest, "AccessList=\"");
    if (list == nullptr)
        return kFaultInternalError;

    Owned<ParameterAttributeRecord, freeParamAttrRecords> made(makeRecord<ParameterAttributeRecord>());
    if (made == nullptr)
        return kFaultInternalError;
    made->notification = *notification - '0';
    made->name = copyBetween(text, nameEnd);
    const int status = fillAccessList(*made, list, endOfPiece(list, '"'));
    if (made->name == nullptr || status != 0)
        return kFaultInternalError;
    *record = made.release();
    return 0;
}

int SendXMLGetParameterAttributes(const char *const *names, int count, ParameterAttributeRecord **attributes,
                                  int *fault)
{
    *attributes = nullptr;
    *fault = 0;
    return exchange(
        kGetAttributes, [=](BusWriter &body) { putStrings(body, names, count); },
        [=](BusReader &reply) {
            const uint32_t result = readU32(reply);
            *fault = faultOfResult(result);
            if (result != 0)
                return static_cast<int>(result);
            const uint32_t length = readU32(reply);
            return readRecords(reply, length, readAttributes, freeParamAttrRecords, attributes);
        });
}

ParameterAttributeRecord *getParamAttr_Request(const char *const *names, int count, int *fault)
{
    ParameterAttributeRecord *attributes = nullptr;
    const int status = SendXMLGetParameterAttributes(names, count, &attributes, fault);
    *fault = faultOfRequest(*fault, status);
    return attributes;
}

static bool changesAnything(const ParamAttrEntry &entry)
{
    return entry.NotificationChange != 0 || entry.AccessListChange != 0;
}

// The notification of these cannot be changed.
static bool keepsItsNotification(const char *name)
{
    constexpr char kAddress[] = "ExternalIPAddress";
    constexpr size_t kAddressLength = sizeof kAddress - 1;
    if (safeStrcmp(name, "InternetGatewayDevice.DeviceInfo.SoftwareVersion") == 0 ||
        safeStrcmp(name, "InternetGatewayDevice.DeviceInfo.ProvisioningCode") == 0)
        return true;
    const size_t length = safeStrlen(name);
    return length >= kAddressLength && strcmp(name + length - kAddressLength, kAddress) == 0;
}

static void putNotification(BusWriter &body, int notification)
{
    char digits[kDecimalSize];
    putText(body, " Notification=\"");
    putText(body, writeDecimal(notification, digits));
    putText(body, "\"");
}

// No closing quote: the backend expects the list like this.
static void putAccessList(BusWriter &body, const ParamAttrEntry &entry)
{
    putText(body, " AccessList=\"");
    for (int i = 0; i < entry.AccessListCount; ++i) {
        if (i > 0)
            putText(body, " ");
        putText(body, entry.AccessList[i]);
    }
}

static void writeAttributes(BusWriter &body, const ParamAttrEntry *list, uint32_t count)
{
    putU32(body, count);
    for (const ParamAttrEntry *entry = list; entry != nullptr; entry = entry->next) {
        if (!changesAnything(*entry))
            continue;
        putText(body, entry->Name);
        if (entry->NotificationChange == 1)
            putNotification(body, entry->Notification);
        if (entry->AccessListChange == 1)
            putAccessList(body, *entry);
        putU8(body, 0);
    }
}

int SendXMLSetParameterAttributes(const ParamAttrEntry *list)
{
    uint32_t count = 0;
    for (const ParamAttrEntry *entry = list; entry != nullptr; entry = entry->next) {
        if (entry->NotificationChange == 1 && keepsItsNotification(entry->Name)) {
            printToSyslog("LOG_ERR", "TR069Module", __func__, "Notification Request Rejected");
            return kFaultNotificationRejected;
        }
        if (changesAnything(*entry))
            ++count;
    }
    if (count == 0)
        return 0;

    bool answered = false;
    const int done = exchange(
        kSetAttributes, [=](BusWriter &body) { writeAttributes(body, list, count); },
        [&](BusReader &reply) {
            answered = true;
            return readResult(reply);
        });
    if (!answered)
        return done;
    const int committed = sendCommit();
    return done != 0 ? done : committed;
}

int setParamAttr_Request(const ParamAttrEntry *list)
{
    return SendXMLSetParameterAttributes(list);
}
