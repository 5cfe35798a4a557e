#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Bus messages: a 16-byte header, then a body of host-order integers and NUL-terminated, packed strings.
// (u16 source module, u16 message class, u32 sequence, u16 operation, 6 bytes reserved)

constexpr size_t kHeaderLength = 16;          // bytes
constexpr size_t kMaximumMessage = 16U << 20; // bytes, header included, in both directions
constexpr uint16_t kParameterClass = 1028;    // requests on the parameter tree
constexpr uint16_t kDeviceClass = 1035;       // requests on the device and its management

struct MessageHeader {
    uint16_t source;
    uint16_t messageClass;
    uint32_t sequence;
    uint16_t operation;
};

/// Reads the header of a message of at least kHeaderLength bytes.
MessageHeader readHeader(std::string_view message);

/// A message with that header and body.
std::string makeMessage(const MessageHeader &header, std::string_view body);

/// Takes a body apart from the front. Each call takes one item off `rest`; it throws BadInput, saying what is
/// missing, when the item is not there whole. Texts are borrowed from the message.
struct BodyReader {
    std::string_view rest;
};
uint8_t takeU8(BodyReader &reader);
uint32_t takeU32(BodyReader &reader);
std::string_view takeText(BodyReader &reader);

/// A u32 count of strings to follow: never more than the rest of the body has bytes.
uint32_t takeCount(BodyReader &reader);

void appendU16(std::string &body, uint16_t value);
void appendU32(std::string &body, uint32_t value);
void appendText(std::string &body, std::string_view text); ///< with its NUL
