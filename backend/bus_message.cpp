#include "bus_message.h"

#include <algorithm>
#include <cstring>

#include "print_to_syslog.h"
#include "text.h"

constexpr size_t kSourceAt = 0;
constexpr size_t kClassAt = 2;
constexpr size_t kSequenceAt = 4;
constexpr size_t kOperationAt = 8;
constexpr size_t kHeaderSize = 16;

// The bus counts a whole message in 32 bits.
constexpr size_t kLongestBody = UINT32_MAX - kHeaderSize;

constexpr int kReceiveTimeout = 20;

static uint16_t busSequence = 0;

static void putBytes(BusWriter &writer, const void *bytes, size_t size)
{
    if (writer.body != nullptr && size != 0)
        memcpy(writer.body + writer.length, bytes, size);
    writer.length += size;
}

void putU8(BusWriter &writer, uint8_t value)
{
    putBytes(writer, &value, sizeof value);
}

void putU32(BusWriter &writer, uint32_t value)
{
    putBytes(writer, &value, sizeof value);
}

void putNumber(BusWriter &writer, const char *text)
{
    const int64_t value = readDecimal(text, safeStrlen(text));
    putU32(writer, static_cast<uint32_t>(std::clamp<int64_t>(value, INT32_MIN, UINT32_MAX)));
}

void putText(BusWriter &writer, const char *text)
{
    putBytes(writer, text, safeStrlen(text));
}

void putString(BusWriter &writer, const char *text)
{
    putText(writer, text);
    putU8(writer, 0);
}

void putStrings(BusWriter &writer, const char *const *strings, int count)
{
    if (count < 0)
        count = 0;
    putU32(writer, static_cast<uint32_t>(count));
    for (int i = 0; i < count; ++i)
        putString(writer, strings[i]);
}

uint16_t readU16(BusReader &reader)
{
    uint16_t value = 0;
    memcpy(&value, reader.at, sizeof value);
    reader.at += sizeof value;
    return value;
}

uint32_t readU32(BusReader &reader)
{
    uint32_t value = 0;
    memcpy(&value, reader.at, sizeof value);
    reader.at += sizeof value;
    return value;
}

const char *readString(BusReader &reader)
{
    const char *text = reader.at;
    reader.at += strlen(text) + 1;
    return text;
}

int faultOfResult(uint32_t result)
{
    if (result == 0)
        return 0;
    const uint32_t code = result & 0xFFFF;
    return code == 0 ? kFaultInternalError : static_cast<int>(code);
}

int readResult(BusReader &reader)
{
    return faultOfResult(readU32(reader));
}

static void setHeader16(char *message, size_t at, uint16_t value)
{
    memcpy(message + at, &value, sizeof value);
}

void *createRequest(BusOperation operation, size_t bodyLength)
{
    void *created =
        bodyLength > kLongestBody ? nullptr : MSG_CreateMessage(static_cast<unsigned int>(bodyLength));
    if (created == nullptr) {
        printToSyslog("LOG_ERR", "TR069Module", __func__, "Error while creating the message");
        return nullptr;
    }
    char *message = static_cast<char *>(created);
    const uint32_t sequence = (static_cast<uint32_t>(kCwmpModule) << 16) | busSequence++;
    setHeader16(message, kSourceAt, kCwmpModule);
    setHeader16(message, kClassAt, operation.messageClass);
    memcpy(message + kSequenceAt, &sequence, sizeof sequence);
    setHeader16(message, kOperationAt, operation.code);
    return message;
}

BusWriter bodyOfRequest(void *message)
{
    return {static_cast<char *>(message) + kHeaderSize, 0};
}

int postRequest(void *message)
{
    const int sent = MSG_SendMessage(message);
    MSG_ReleaseMessage(message);
    if (sent != 0)
        printToSyslog("LOG_ERR", "TR069Module", __func__, "Error while sending the message");
    return sent;
}

int receiveReply(void **reply)
{
    // Null before the call: a bus that fails stores nothing, and then there is nothing to give back.
    *reply = nullptr;
    const int received = MSG_ReceiveMessage(reply, kReceiveTimeout);
    if (received == 0 && *reply != nullptr)
        return 0;
    printToSyslog("LOG_ERR", "TR069Module", __func__, "Error while receiving the reply");
    *reply = nullptr;
    return received != 0 ? received : kFaultInternalError;
}

BusReader bodyOfReply(const void *reply)
{
    return {static_cast<const char *>(reply) + kHeaderSize};
}
