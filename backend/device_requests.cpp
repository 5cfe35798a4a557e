#include "device_requests.h"

#include "bus_message.h"
#include "print_to_syslog.h"

/// The backend expects a 1 in front of the delay.
constexpr uint32_t kScheduleMark = 1;

static int refusedOrDone(const char *function, int fault)
{
    if (fault != 0)
        printToSyslog("LOG_ERR", "TR069Module", function, "The device did not take the request");
    return fault;
}

int SendXMLReboot(const char *commandKey)
{
    return exchange(
        kReboot, [=](BusWriter &body) { putString(body, commandKey); }, readResult);
}

int sendRebootSignal(const char *commandKey)
{
    return refusedOrDone(__func__, SendXMLReboot(commandKey));
}

int SendXMLFactoryReset()
{
    return exchange(kFactoryReset, writeNothing, readResult);
}

int factoryResetSignal()
{
    return refusedOrDone(__func__, SendXMLFactoryReset());
}

int SendXMLScheduleDelay(const char *delaySeconds, const char *commandKey)
{
    return exchange(
        kScheduleInform,
        [=](BusWriter &body) {
            putU32(body, kScheduleMark);
            putNumber(body, delaySeconds);
            putString(body, commandKey);
        },
        readResult);
}

int SendScheduleDelay(const char *delaySeconds, const char *commandKey)
{
    return refusedOrDone(__func__, SendXMLScheduleDelay(delaySeconds, commandKey));
}

int SendClearEvents_Cmd(int messageClass, int operation)
{
    return sendRequest({static_cast<uint16_t>(messageClass), static_cast<uint16_t>(operation)}, writeNothing);
}
