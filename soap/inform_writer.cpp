#include <ctime>

#include "print_to_syslog.h"
#include "soap_writer.h"

static bool refuseInform(const char *message)
{
    printToSyslog("LOG_ERR", kWriterModule, "getConstructInformMsg", message);
    return false;
}

static bool writeDeviceId(MessageWriter &writer, const DeviceId &identity)
{
    writeLiteral(writer, "<DeviceId>");
    if (!writeKnownElement(writer, "Manufacturer", identity.manufacturer) ||
        !writeKnownElement(writer, "OUI", identity.oui) ||
        !writeKnownElement(writer, "ProductClass", identity.productClass) ||
        !writeKnownElement(writer, "SerialNumber", identity.serialNumber))
        return false;
    writeLiteral(writer, "</DeviceId>");
    return true;
}

static bool writeEvents(MessageWriter &writer, const InformEvent *events)
{
    if (events == nullptr || !writeArrayTag(writer, "Event", "cwmp:EventStruct", countRecords(events)))
        return false;
    for (; events != nullptr; events = events->next) {
        writeLiteral(writer, "<EventStruct>");
        if (!writeKnownElement(writer, "EventCode", events->eventCode) ||
            !writeKnownElement(writer, "CommandKey", events->commandKey))
            return false;
        writeLiteral(writer, "</EventStruct>");
    }
    writeLiteral(writer, "</Event>");
    return true;
}

// A time of 0 leaves the text empty. The time is UTC, and "-05:00" is a fixed part of the format, whatever
// the device's zone: it is no offset to compute.
static void formatCurrentTime(time_t time, char *text, size_t size)
{
    tm utc = {};
    if (time == 0 || gmtime_r(&time, &utc) == nullptr ||
        strftime(text, size, "%Y-%m-%dT%H:%M:%S-05:00", &utc) == 0)
        text[0] = '\0';
}

static bool writeInformBody(MessageWriter &writer, const InformRecord &inform, const char *currentTime,
                            int parameterCount)
{
    if (!writeDeviceId(writer, *inform.deviceId))
        return refuseInform("inform structure is null");
    if (!writeEvents(writer, inform.events))
        return refuseInform("max Envelopes if negative");
    if (!writeNumberElement(writer, "MaxEnvelopes", inform.maxEnvelopes))
        return refuseInform("Error while converting int to string max Envelopes");
    writeElement(writer, nullptr, "CurrentTime", currentTime);
    if (!writeNumberElement(writer, "RetryCount", inform.retryCount))
        return refuseInform("Error while converting int to string retry count");
    return getConstructParamStr(writer, inform.parameters, parameterCount) != 0;
}

char *construct_InformMessage(const InformRecord *inform, const SoapHeaderEntry *header, int *length)
{
    *length = 0;
    if (inform == nullptr || inform->deviceId == nullptr || inform->parameters == nullptr) {
        refuseInform("Device information in inform structure is NULL");
        return nullptr;
    }
    char currentTime[256];
    formatCurrentTime(inform->currentTime, currentTime, sizeof currentTime);
    const int parameterCount = countRecords(inform->parameters);
    const auto writeBody = [&](MessageWriter &writer) {
        return writeInformBody(writer, *inform, currentTime, parameterCount);
    };
    BuildStatus status = BuildStatus::built;
    char *message = buildEnvelope("Inform", kPlainName, header, length, writeBody, &status);
    if (status == BuildStatus::lengthMismatch)
        refuseInform("mismatch in length");
    return message;
}
