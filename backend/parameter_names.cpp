#include "parameter_requests.h"

#include <cstring>

#include "bus_message.h"
#include "owned.h"
#include "print_to_syslog.h"
#include "reply_text.h"

constexpr int kNamesNotReadable = -1;

// name ' ' "Writable" '=' '"' digit, without a closing quote
static int readName(BusReader &reader, ParameterNameRecord **record)
{
    const char *text = readString(reader);
    const char *nameEnd = strchr(text, ' ');
    const char *flag = nameEnd == nullptr ? nullptr : skipWord(nameEnd + 1, "Writable");
    if (flag == nullptr) {
        printToSyslog("LOG_ERR", "TR069Module", __func__, "A name does not say whether it is writable");
        return kNamesNotReadable;
    }
    Owned<ParameterNameRecord, freeParamNameRecords> made(makeRecord<ParameterNameRecord>());
    if (made == nullptr)
        return kFaultInternalError;
    made->name = copyBetween(text, nameEnd);
    made->writable = skipWord(flag, "=\"1") != nullptr;
    if (made->name == nullptr)
        return kFaultInternalError;
    *record = made.release();
    return 0;
}

int SendXMLGetParameterNames(const char *path, int nextLevel, ParameterNameRecord **names, int *fault)
{
    *names = nullptr;
    *fault = 0;
    return exchange(
        kGetNames,
        [=](BusWriter &body) {
            putU8(body, nextLevel > 0);
            putString(body, path);
        },
        [=](BusReader &reply) {
            *fault = readResult(reply);
            if (*fault != 0)
                return kNamesNotReadable;
            const uint32_t count = readU32(reply);
            return readRecords(reply, count, readName, freeParamNameRecords, names);
        });
}

ParameterNameRecord *getParamNames_Request(const char *path, int nextLevel, int *fault)
{
    ParameterNameRecord *names = nullptr;
    const int status = SendXMLGetParameterNames(path, nextLevel, &names, fault);
    *fault = faultOfRequest(*fault, status);
    return names;
}
