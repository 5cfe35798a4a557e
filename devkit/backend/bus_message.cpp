#include "bus_message.h"

#include "faults.h"

#include <cstring>

template <typename Integer>
static Integer integerAt(std::string_view bytes, size_t offset)
{
    Integer value;
    memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

template <typename Integer>
static void appendInteger(std::string &bytes, Integer value)
{
    char raw[sizeof value];
    memcpy(raw, &value, sizeof value);
    bytes.append(raw, sizeof raw);
}

MessageHeader readHeader(std::string_view message)
{
    return {integerAt<uint16_t>(message, 0), integerAt<uint16_t>(message, 2), integerAt<uint32_t>(message, 4),
            integerAt<uint16_t>(message, 8)};
}

std::string makeMessage(const MessageHeader &header, std::string_view body)
{
    std::string message;
    message.reserve(kHeaderLength + body.size());
    appendU16(message, header.source);
    appendU16(message, header.messageClass);
    appendU32(message, header.sequence);
    appendU16(message, header.operation);
    message.append(kHeaderLength - message.size(), '\0');
    message.append(body);
    return message;
}

template <typename Integer>
static Integer takeInteger(BodyReader &reader, const char *what)
{
    if (reader.rest.size() < sizeof(Integer))
        throw BadInput(std::string("the body ends before ") + what);
    const Integer value = integerAt<Integer>(reader.rest, 0);
    reader.rest.remove_prefix(sizeof value);
    return value;
}

uint8_t takeU8(BodyReader &reader)
{
    return takeInteger<uint8_t>(reader, "a byte");
}

uint32_t takeU32(BodyReader &reader)
{
    return takeInteger<uint32_t>(reader, "a number");
}

std::string_view takeText(BodyReader &reader)
{
    const size_t end = reader.rest.find('\0');
    if (end == std::string_view::npos)
        throw BadInput(reader.rest.empty() ? "the body ends before a string" : "a string without its NUL");
    const std::string_view text = reader.rest.substr(0, end);
    reader.rest.remove_prefix(end + 1);
    return text;
}

uint32_t takeCount(BodyReader &reader)
{
    const uint32_t count = takeInteger<uint32_t>(reader, "the count");
    if (count > reader.rest.size())
        throw BadInput("a count of " + std::to_string(count) + " with " + std::to_string(reader.rest.size()) +
                       " bytes to follow");
    return count;
}

void appendU16(std::string &body, uint16_t value)
{
    appendInteger(body, value);
}

void appendU32(std::string &body, uint32_t value)
{
    appendInteger(body, value);
}

void appendText(std::string &body, std::string_view text)
{
    body.append(text).push_back('\0');
}
