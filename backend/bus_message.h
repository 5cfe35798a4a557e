#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "faults.h"
#include "platform_services.h"

// Messages to the configuration backend over the platform's bus, and the one exchange that sends them.
//
// A message is a 16-byte header and a body; all integers are in host byte order and nothing is aligned:
//   0 u16 source module, 2 u16 message class, 4 u32 sequence, 8 u16 operation, 10 six bytes of the bus's own
// Strings are NUL-terminated and packed back to back. A received message carries no length: a reader can stop
// at counts and NULs only.

/// This executable's module on the bus.
constexpr uint16_t kCwmpModule = 2305;

constexpr uint16_t kParameterClass = 1028;
constexpr uint16_t kDeviceClass = 1035;

/// Message class and operation code: together they name a request.
struct BusOperation {
    uint16_t messageClass;
    uint16_t code;
};

constexpr BusOperation kGetValues = {kParameterClass, 10};
constexpr BusOperation kSetValues = {kParameterClass, 11};
constexpr BusOperation kAddObject = {kParameterClass, 12};
constexpr BusOperation kDeleteObject = {kParameterClass, 13};
constexpr BusOperation kGetNames = {kParameterClass, 14};
constexpr BusOperation kGetAttributes = {kParameterClass, 15};
constexpr BusOperation kSetAttributes = {kParameterClass, 16};
constexpr BusOperation kGetChangedValues = {kParameterClass, 18};
constexpr BusOperation kClearParameterEvents = {kParameterClass, 19};
constexpr BusOperation kCommit = {kParameterClass, 23};
constexpr BusOperation kSetParameterKey = {kDeviceClass, 44};
constexpr BusOperation kGetEvents = {kDeviceClass, 45};
constexpr BusOperation kClearDeviceEvents = {kDeviceClass, 46};
constexpr BusOperation kDownload = {kDeviceClass, 47};
constexpr BusOperation kUpload = {kDeviceClass, 48};
constexpr BusOperation kReboot = {kDeviceClass, 49};
constexpr BusOperation kFactoryReset = {kDeviceClass, 50};
constexpr BusOperation kScheduleInform = {kDeviceClass, 51};
constexpr BusOperation kGetTransferComplete = {kDeviceClass, 52};

/// A body under construction. Without a buffer it only counts, so one function both sizes and writes.
struct BusWriter {
    char *body;    ///< borrowed; null to count only
    size_t length; ///< bytes put so far
};

void putU8(BusWriter &writer, uint8_t value);
void putU32(BusWriter &writer, uint32_t value);
/// The number at the start of a decimal text, as a u32: 0 for null and for text without a number, held at
/// UINT32_MAX and INT32_MIN, a negative one in two's complement.
void putNumber(BusWriter &writer, const char *text);
/// A text without its NUL, as a piece of a string; null counts as "".
void putText(BusWriter &writer, const char *text);
/// A text with its NUL; null counts as "".
void putString(BusWriter &writer, const char *text);
/// A u32 count and that many strings; a negative count is 0.
void putStrings(BusWriter &writer, const char *const *strings, int count);

/// A position in a reply's body.
struct BusReader {
    const char *at; ///< borrowed from the reply
};

uint16_t readU16(BusReader &reader);
uint32_t readU32(BusReader &reader);
/// Steps over a string; borrowed, valid until the reply is released.
const char *readString(BusReader &reader);

/// The fault code in a reply's result word.
///
/// @return 0 for a result of 0; else its low 16 bits, or 9002 when these are 0, so that no refusal passes for
/// success
int faultOfResult(uint32_t result);

/// The fault of a request that has a fault output: the backend's own code where it gave one, else the code of
/// what failed.
inline int faultOfRequest(int backendFault, int status)
{
    return backendFault != 0 ? backendFault : status;
}

/// Reads the result word that a reply begins with: returns its faultOfResult.
int readResult(BusReader &reader);

/// A new message with its header filled, which takes the next sequence number.
///
/// @param bodyLength  bytes behind the header
/// @return the message, given back by postRequest; null when the bus has none
void *createRequest(BusOperation operation, size_t bodyLength);

/// The body of a message of createRequest, with room for its bodyLength.
BusWriter bodyOfRequest(void *message);

/// Sends a message of createRequest and gives it back to the bus, whatever came of it.
///
/// @return 0, or the bus's own error
int postRequest(void *message);

/// Waits for the reply.
///
/// @param reply  receives the message, given back with MSG_ReleaseMessage; null on failure
/// @return 0; the bus's own error; or 9002 when the bus stored nothing
int receiveReply(void **reply);

/// The body of a reply.
BusReader bodyOfReply(const void *reply);

/// The body of a request that has none.
inline void writeNothing(BusWriter &) {}

/// Sends a request, without waiting for a reply.
///
/// @param writeBody  void(BusWriter &), called once to size and once to write; both must put the same
/// @return 0; 9002 when there is no message, and then nothing was sent; or the bus's own error
template <typename WriteBody>
int sendRequest(BusOperation operation, WriteBody writeBody)
{
    BusWriter size = {nullptr, 0};
    writeBody(size);
    void *message = createRequest(operation, size.length);
    if (message == nullptr)
        return kFaultInternalError;
    BusWriter body = bodyOfRequest(message);
    writeBody(body);
    return postRequest(message);
}

/// Receives the reply to the request sent last, and gives it back to the bus once it was read.
///
/// @param read  int(BusReader &), called once for a reply at the start of its body; must copy what it keeps
/// @return the code of receiveReply when there is no reply; else what read returned
template <typename ReadReply>
int readReply(ReadReply read)
{
    void *reply = nullptr;
    const int received = receiveReply(&reply);
    if (received != 0)
        return received;
    BusReader body = bodyOfReply(reply);
    const int status = read(body);
    MSG_ReleaseMessage(reply);
    return status;
}

/// Sends a request and reads its reply.
///
/// @return the code of sendRequest when it is not 0; else that of readReply
template <typename WriteBody, typename ReadReply>
int exchange(BusOperation operation, WriteBody writeBody, ReadReply read)
{
    const int sent = sendRequest(operation, writeBody);
    return sent == 0 ? readReply(read) : sent;
}

/// Reads count items into a list, in their order. Memory grows with the items that are there, never with the
/// count alone.
///
/// @param readItem     makes one record and steps over its item: 0, or a code, and then no record is stored
/// @param freeRecords  the list's free function
/// @param records      receives the list, which the caller frees with freeRecords; null on failure
/// @return 0, or the first code of readItem
template <typename Record>
int readRecords(BusReader &reader, uint32_t count, int (*readItem)(BusReader &reader, Record **record),
                void (*freeRecords)(Record *list), Record **records)
{
    *records = nullptr;
    Record *head = nullptr;
    Record **tail = &head;
    for (uint32_t i = 0; i < count; ++i) {
        Record *record = nullptr;
        const int status = readItem(reader, &record);
        if (status != 0) {
            freeRecords(head);
            return status;
        }
        *tail = record;
        tail = &record->next;
    }
    *records = head;
    return 0;
}

/// A zeroed record on the heap, freed with its own free function; null when memory runs out.
template <typename Record>
Record *makeRecord()
{
    return static_cast<Record *>(calloc(1, sizeof(Record)));
}
