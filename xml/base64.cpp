#include "base64.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <endian.h>

static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
static constexpr int8_t kSkipped = -1;

namespace
{
/// The value of each alphabet character; kSkipped for every other byte.
struct DecodeTable {
    int8_t value[256];
};
} // namespace

static constexpr DecodeTable makeDecodeTable()
{
    DecodeTable table = {};
    for (int8_t &value : table.value)
        value = kSkipped;
    for (int8_t i = 0; i < 64; ++i)
        table.value[static_cast<unsigned char>(kAlphabet[i])] = i;
    return table;
}

static constexpr DecodeTable kDecode = makeDecodeTable();

// Encodes the first six of eight bytes into eight characters; written out, since -Os does not unroll.
static void encodeSixBytes(const unsigned char *bytes, char *out)
{
    uint64_t word;
    memcpy(&word, bytes, sizeof word);
    word = be64toh(word);
    out[0] = kAlphabet[word >> 58];
    out[1] = kAlphabet[word >> 52 & 63];
    out[2] = kAlphabet[word >> 46 & 63];
    out[3] = kAlphabet[word >> 40 & 63];
    out[4] = kAlphabet[word >> 34 & 63];
    out[5] = kAlphabet[word >> 28 & 63];
    out[6] = kAlphabet[word >> 22 & 63];
    out[7] = kAlphabet[word >> 16 & 63];
}

static void encodeThreeBytes(const unsigned char *bytes, char *out)
{
    out[0] = kAlphabet[bytes[0] >> 2];
    out[1] = kAlphabet[(bytes[0] << 4 | bytes[1] >> 4) & 63];
    out[2] = kAlphabet[(bytes[1] << 2 | bytes[2] >> 6) & 63];
    out[3] = kAlphabet[bytes[2] & 63];
}

int ILibBase64Encode(const unsigned char *input, int inputLength, char **output)
{
    *output = nullptr;
    if (input == nullptr || inputLength < 1)
        return 0;
    const size_t length = static_cast<size_t>(inputLength);
    // Four thirds of the length, which times four might pass 32 bits.
    char *text = static_cast<char *>(malloc(length + length / 3 + 5));
    if (text == nullptr)
        return 0;
    char *out = text;
    size_t at = 0;
    for (; at + sizeof(uint64_t) <= length; at += 6, out += 8)
        encodeSixBytes(input + at, out);
    for (; at + 3 <= length; at += 3, out += 4)
        encodeThreeBytes(input + at, out);

    const size_t left = length - at;
    if (left > 0) {
        unsigned char last[3] = {0, 0, 0};
        memcpy(last, input + at, left);
        encodeThreeBytes(last, out);
        memset(out + left + 1, '=', 3 - left);
        out += 4;
    }
    *out = '\0';
    *output = text;
    return static_cast<int>(out - text);
}

int ILibBase64Decode(const unsigned char *input, int inputLength, unsigned char **output)
{
    *output = nullptr;
    if (input == nullptr || inputLength < 1)
        return 0;
    const size_t length = static_cast<size_t>(inputLength);
    unsigned char *bytes = static_cast<unsigned char *>(malloc(length / 4 * 3 + length % 4 * 3 / 4 + 4));
    if (bytes == nullptr)
        return 0;
    size_t at = 0;
    size_t decoded = 0;
    for (;;) {
        uint32_t group = 0;
        size_t characters = 0;
        for (; at < length && characters < 4; ++at) {
            if (kDecode.value[input[at]] == kSkipped)
                continue;
            group |= static_cast<uint32_t>(kDecode.value[input[at]]) << (18 - 6 * characters);
            ++characters;
        }
        if (characters == 0)
            break;
        bytes[decoded] = static_cast<unsigned char>(group >> 16);
        bytes[decoded + 1] = static_cast<unsigned char>(group >> 8);
        bytes[decoded + 2] = static_cast<unsigned char>(group);
        decoded += characters - 1;
    }
    bytes[decoded] = '\0';
    *output = bytes;
    return static_cast<int>(decoded);
}
