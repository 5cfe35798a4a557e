#include "device_requests.h"

#include "bus_message.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "reply_text.h"

// Events follow each other without a NUL, so an item must never be read as a string: it ends at its own
// separators, and a NUL in front of them means that the backend counted more items than it sent.
static const char *findInItem(const char *text, char separator)
{
    while (*text != separator && *text != '\0')
        ++text;
    return *text == separator ? text : nullptr;
}

// eventCode '=' commandKey ';'
static int readEvent(BusReader &reader, InformEvent **event)
{
    const char *codeEnd = findInItem(reader.at, '=');
    const char *keyEnd = codeEnd == nullptr ? nullptr : findInItem(codeEnd + 1, ';');
    if (keyEnd == nullptr) {
        printToSyslog("LOG_ERR", "TR069Module", __func__, "An event is cut short");
        return kFaultInternalError;
    }
    Owned<InformEvent, freeEventList> made(makeRecord<InformEvent>());
    if (made == nullptr)
        return kFaultInternalError;
    made->eventCode = copyBetween(reader.at, codeEnd);
    made->commandKey = copyBetween(codeEnd + 1, keyEnd);
    if (made->eventCode == nullptr || made->commandKey == nullptr)
        return kFaultInternalError;
    reader.at = keyEnd + 1;
    *event = made.release();
    return 0;
}

int SendXMLInformEvent(InformEvent **events)
{
    *events = nullptr;
    return exchange(kGetEvents, writeNothing, [=](BusReader &reply) {
        const uint16_t count = readU16(reply);
        return readRecords(reply, count, readEvent, freeEventList, events);
    });
}
