#include "xml_escape.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace
{
struct Entity {
    const char *text;
    uint8_t length;
    char byte;
};

/// For each byte, the position of its entity in kEntities plus one; 0 for a byte that stays.
struct EntityTable {
    uint8_t entity[256];
};
} // namespace

static constexpr Entity kEntities[] = {
    {"&quot;", 6, '"'}, {"&apos;", 6, '\''}, {"&amp;", 5, '&'}, {"&lt;", 4, '<'}, {"&gt;", 4, '>'},
};

static constexpr EntityTable makeEntityTable()
{
    EntityTable table = {};
    uint8_t position = 0;
    for (const Entity &entity : kEntities)
        table.entity[static_cast<unsigned char>(entity.byte)] = ++position;
    return table;
}

static constexpr EntityTable kEntityOf = makeEntityTable();

static constexpr uint64_t kOnes = 0x0101010101010101;
static constexpr uint64_t kHighBits = kOnes << 7;

// Not 0 when a byte of the word is 0.
static uint64_t findZeroByte(uint64_t word)
{
    return (word - kOnes) & ~word & kHighBits;
}

// Whether one of eight bytes has an entity. "&" and "'" differ in bit 0 only, "<" and ">" in bit 1 only.
static bool holdsSpecial(uint64_t word)
{
    return (findZeroByte(word ^ (kOnes * '"')) | findZeroByte((word | kOnes) ^ (kOnes * '\'')) |
            findZeroByte((word | (kOnes << 1)) ^ (kOnes * '>'))) != 0;
}

// Writes some bytes with their entities.
static char *escapeBytes(char *out, const char *in, size_t length)
{
    for (size_t i = 0; i < length; ++i) {
        const uint8_t position = kEntityOf.entity[static_cast<unsigned char>(in[i])];
        if (position == 0) {
            *out++ = in[i];
            continue;
        }
        const Entity &entity = kEntities[position - 1];
        memcpy(out, entity.text, entity.length);
        out += entity.length;
    }
    return out;
}

int ILibXmlEscape(char *out, const char *in)
{
    char *at = out;
    size_t left = strlen(in);
    for (; left >= sizeof(uint64_t); left -= sizeof(uint64_t), in += sizeof(uint64_t)) {
        uint64_t word;
        memcpy(&word, in, sizeof word);
        if (holdsSpecial(word)) {
            at = escapeBytes(at, in, sizeof word);
        } else {
            memcpy(at, &word, sizeof word);
            at += sizeof word;
        }
    }
    at = escapeBytes(at, in, left);
    *at = '\0';
    return static_cast<int>(at - out);
}

int ILibXmlEscapeLength(const char *in)
{
    size_t length = 0;
    for (; *in != '\0'; ++in) {
        const uint8_t position = kEntityOf.entity[static_cast<unsigned char>(*in)];
        length += position == 0 ? 1 : kEntities[position - 1].length;
    }
    return static_cast<int>(length);
}

static const Entity *findEntity(const char *text, size_t length)
{
    for (const Entity &entity : kEntities)
        if (length >= entity.length && memcmp(text, entity.text, entity.length) == 0)
            return &entity;
    return nullptr;
}

int ILibInPlaceXmlUnEscape(char *text)
{
    const char *end = text + strlen(text);
    char *out = text;
    const char *in = text;
    while (in < end) {
        const size_t left = static_cast<size_t>(end - in);
        const Entity *entity = *in == '&' ? findEntity(in, left) : nullptr;
        *out++ = entity == nullptr ? *in : entity->byte;
        in += entity == nullptr ? 1 : entity->length;
    }
    *out = '\0';
    return static_cast<int>(out - text);
}
