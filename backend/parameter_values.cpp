#include "parameter_requests.h"

#include <climits>
#include <cstring>

#include "bus_message.h"
#include "owned.h"
#include "parameter_changes.h"
#include "print_to_syslog.h"
#include "reply_text.h"
#include "text.h"
#include "xml_escape.h"

// The backend's own code for a refused parameter; the server is told 9007 in its place.
constexpr int kBackendValueRefused = 565535;

// An escaped value is at most six times as long, and its length has to fit an int.
constexpr size_t kLongestValue = (INT_MAX - 1) / 6;

// Sized exactly: a long answer holds many short values at once.
static char *escapeValue(const char *value)
{
    char *escaped = nullptr;
    if (strlen(value) <= kLongestValue)
        escaped = static_cast<char *>(malloc(static_cast<size_t>(ILibXmlEscapeLength(value)) + 1));
    // A value that could not be escaped is better than none.
    if (escaped == nullptr)
        return getMsg(value);
    ILibXmlEscape(escaped, value);
    return escaped;
}

// name ' ' type '=' value; what is missing at the end is "".
static int readValue(BusReader &reader, ParameterValueRecord **record)
{
    Owned<ParameterValueRecord, freeParamValueStr> made(makeRecord<ParameterValueRecord>());
    if (made == nullptr)
        return kFaultInternalError;
    const char *text = readString(reader);
    const char *nameEnd = endOfPiece(text, ' ');
    const char *type = skipSeparator(nameEnd);
    const char *typeEnd = endOfPiece(type, '=');
    made->name = copyBetween(text, nameEnd);
    made->type = copyBetween(type, typeEnd);
    made->value = escapeValue(skipSeparator(typeEnd));
    if (made->name == nullptr || made->type == nullptr || made->value == nullptr)
        return kFaultInternalError;
    *record = made.release();
    return 0;
}

int SendXMLGetParameterValue(const char *const *names, int count, int mode, ParameterValueRecord **values,
                             int *fault)
{
    *values = nullptr;
    *fault = 0;
    if (mode == kReadNothing)
        return 0;
    return exchange(
        mode == kReadChangedValues ? kGetChangedValues : kGetValues,
        [=](BusWriter &body) { putStrings(body, names, count); },
        [=](BusReader &reply) {
            *fault = readResult(reply);
            if (*fault != 0)
                return *fault;
            const uint32_t length = readU32(reply);
            return readRecords(reply, length, readValue, freeParamValueStr, values);
        });
}

ParameterValueRecord *getParamValue_Request(const char *const *names, int count, int *fault)
{
    ParameterValueRecord *values = nullptr;
    const int status = SendXMLGetParameterValue(names, count, kReadValues, &values, fault);
    *fault = faultOfRequest(*fault, status);
    return values;
}

char *getParamValue_Single(const char *name)
{
    int fault = 0;
    const Owned<ParameterValueRecord, freeParamValueStr> values(getParamValue_Request(&name, 1, &fault));
    return values == nullptr ? nullptr : getMsg(values->value);
}

// name '=' code [' ' text]
static int readFault(BusReader &reader, ParameterFaultRecord **record)
{
    Owned<ParameterFaultRecord, freeSetParamFaultStructure> made(makeRecord<ParameterFaultRecord>());
    if (made == nullptr)
        return kFaultInternalError;
    const char *text = readString(reader);
    const char *nameEnd = endOfPiece(text, '=');
    const char *code = skipSeparator(nameEnd);
    size_t codeLength = 0;
    readDecimal(code, strlen(code), &codeLength);
    made->faultCode = textToInt(code, codeLength);
    const char *reason = code + codeLength;
    made->parameterName = copyBetween(text, nameEnd);
    made->faultStr = getMsg(*reason == ' ' ? reason + 1 : "");
    if (made->parameterName == nullptr || made->faultStr == nullptr)
        return kFaultInternalError;
    *record = made.release();
    return 0;
}

static int readRefusal(BusReader &reply, ParameterFaultRecord **faults, int *fault)
{
    readU32(reply); // not used in a refusal
    const uint32_t count = readU32(reply);
    const int status = readRecords(reply, count, readFault, freeSetParamFaultStructure, faults);
    for (ParameterFaultRecord *record = *faults; record != nullptr; record = record->next) {
        if (record->faultCode != kBackendValueRefused)
            continue;
        record->faultCode = kFaultInvalidParameterValue;
        *fault = kFaultInvalidParameterValue;
    }
    return status;
}

static void writeValues(BusWriter &body, const ParamValueEntry *list)
{
    uint32_t count = 0;
    for (const ParamValueEntry *entry = list; entry != nullptr; entry = entry->next)
        ++count;
    putU32(body, count);
    for (const ParamValueEntry *entry = list; entry != nullptr; entry = entry->next) {
        putText(body, entry->Name);
        putText(body, "=");
        putString(body, entry->Value);
    }
}

int SendXMLSetParameterValue(const SetParamValStr *request, ParameterFaultRecord **faults, int *fault,
                             int *status, int *rebootFlag)
{
    *faults = nullptr;
    *fault = 0;
    *status = 0;
    bool answered = false;
    Owned<ParameterFaultRecord, freeSetParamFaultStructure> refused;
    const int done = exchange(
        kSetValues, [=](BusWriter &body) { writeValues(body, request->list); },
        [&](BusReader &reply) {
            answered = true;
            *fault = readResult(reply);
            if (*fault == 0) {
                *status = static_cast<int>(readU32(reply));
                return 0;
            }
            ParameterFaultRecord *list = nullptr;
            const int read = readRefusal(reply, &list, fault);
            refused.reset(list);
            return read;
        });
    if (!answered)
        return done;
    if (*status != 0)
        *rebootFlag = 1;

    // A commit follows in every case, also after a refusal: the order is part of the bus's protocol.
    const int committed = sendCommit();
    if (committed != 0)
        return committed;
    if (*fault != 0) {
        printToSyslog("LOG_ERR", "TR069Module", __func__, "The backend refused the values");
        *faults = refused.release();
        return done;
    }
    sendParameterKey(request->ParameterKey);
    return 0;
}

ParameterFaultRecord *setParamValue_Request(const SetParamValStr *request, int *fault, int *status,
                                            int *rebootFlag)
{
    ParameterFaultRecord *faults = nullptr;
    const int done = SendXMLSetParameterValue(request, &faults, fault, status, rebootFlag);
    *fault = faultOfRequest(*fault, done);
    return faults;
}
