#pragma once

#include <cstdint>
#include <ctime>

#include "parameters.h"

// What an Inform says. Every free function accepts null.

/// Device identity; the four strings are owned and never null in a complete record.
struct DeviceId {
    char *manufacturer;
    char *oui; ///< six hexadecimal digits
    char *productClass;
    char *serialNumber;
};
void freeDeviceId(DeviceId *identity);

/// A pending event, in the backend's order.
struct InformEvent {
    char *eventCode;  ///< e.g. "7 TRANSFER COMPLETE"; owned
    char *commandKey; ///< "" when the event has none; owned
    InformEvent *next;
};
void freeEventList(InformEvent *list);

struct InformRecord {
    DeviceId *deviceId;   ///< owned; null when the identity could not be read
    InformEvent *events;  ///< owned; null when nothing is pending
    int32_t maxEnvelopes; ///< always 1
    time_t currentTime;   ///< seconds since the epoch; 0 leaves the element empty
    int32_t retryCount;
    ParameterValueRecord *parameters; ///< owned; null when the list could not be read
};
void freeInformRecord(InformRecord *inform);
