#include "session_header.h"

#include <cstdio>
#include <cstdlib>

#include "SOAPParser.h"
#include "session_log.h"
#include "session_state.h"
#include "text.h"

SoapHeaderEntry *allocMem_SoapHdr(SoapHeaderEntry *list)
{
    SessionHeader rest(list);
    SoapHeaderEntry *entry = static_cast<SoapHeaderEntry *>(calloc(1, sizeof *entry));
    if (entry == nullptr) {
        logError("allocMem_SoapHdr", "Error occured while allocating memory to soap Header structure");
        return nullptr;
    }
    entry->next = rest.release();
    return entry;
}

SoapHeaderEntry *fillHdrStruct(SoapHeaderEntry *list, const char *name, const char *value)
{
    SessionHeader header(allocMem_SoapHdr(list));
    if (header == nullptr)
        return nullptr;
    if (name == nullptr || value == nullptr) {
        logError("fillHdrStruct", "Header Value or Name is NULL");
        return nullptr;
    }
    header->name = getMsg(name);
    if (header->name == nullptr) {
        logError("fillHdrStruct", "Header Name is NULL");
        return nullptr;
    }
    header->value = getMsg(value);
    if (header->value == nullptr)
        return nullptr;
    header->mustUnderstand = 1;
    return header.release();
}

SoapHeaderEntry *makeIdHeader(const char *sessionId)
{
    return sessionId == nullptr ? nullptr : fillHdrStruct(nullptr, "ID", sessionId);
}

bool makeHeader(const char *sessionId, SessionHeader &header)
{
    header.reset(makeIdHeader(sessionId));
    return sessionId == nullptr || header != nullptr;
}

// Compares over the received name's length, as all names from the server are compared: "I" and even an empty
// name match.
static bool isNamed(const SoapHeaderEntry &entry, const char *name)
{
    return safeStrncmp(entry.name, name, safeStrlen(entry.name)) == 0;
}

// An element without text counts as one without a value.
static bool isComplete(const SoapHeaderEntry &entry)
{
    return entry.name != nullptr && entry.value != nullptr && entry.value[0] != '\0';
}

// An incomplete entry is skipped, unless it has to be understood.
static bool mayBeSkipped(const SoapHeaderEntry &entry)
{
    if (entry.mustUnderstand == 0)
        return true;
    logError("processSoapHdr", "One of the variable in SOAP header has must understand variable set");
    printf("Variable %s can not be processed in soap Header\n",
           entry.name == nullptr ? "(null)" : entry.name);
    return false;
}

// Takes what the entry says; false when the header cannot be accepted.
static bool applyEntry(const SoapHeaderEntry &entry, OwnedText &id, int *status)
{
    if (!isComplete(entry))
        return mayBeSkipped(entry);
    if (isNamed(entry, "ID")) {
        id.reset(getMsg(entry.value));
        return id != nullptr; // an ID that cannot be kept must not pass for none
    }
    if (isNamed(entry, "HoldRequests"))
        *status = setState("HoldRequests", textToInt(entry.value), nullptr, nullptr);
    return true;
}

char *processSoapHdr(XMLNode *envelope, int *status)
{
    *status = 0;
    if (envelope == nullptr)
        return nullptr;
    if (isHeader(envelope) != 0) {
        logError("processSoapHdr", "No Header");
        return nullptr;
    }
    const SessionHeader entries(processSoapHeader(envelope));
    if (entries == nullptr) {
        logError("processSoapHdr", "Problem while processing SOAP Header");
        *status = 1;
        return nullptr;
    }

    OwnedText id;
    for (const SoapHeaderEntry *entry = entries.get(); entry != nullptr; entry = entry->next) {
        if (!applyEntry(*entry, id, status)) {
            *status = 1;
            break;
        }
    }
    return id.release();
}
