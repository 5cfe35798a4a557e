#include "exported.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <openssl/md5.h>
#include <openssl/rand.h>

// Stored credentials and the Digest arithmetic of RFC 2617. MD5 is called directly rather than through
// libcrypto's providers, whose loading costs more memory than a whole session.

// Shorter texts are taken as they stand: among four-letter words too many happen to decode to printable
// bytes.
static constexpr size_t kShortestEncoded = 8;
static constexpr size_t kNonceBytes = 16;
static constexpr size_t kHexDigestLength = size_t{2} * MD5_DIGEST_LENGTH;

static int valueOfBase64(char letter)
{
    static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const char *found = letter == '\0' ? nullptr : strchr(kAlphabet, letter);
    return found == nullptr ? -1 : static_cast<int>(found - kAlphabet);
}

/// Decodes four letters, of which the last two may be padding, into up to three bytes.
/// Returns how many, or 0 when they are no such group. Bits that padding leaves over must be 0.
static int decodeGroup(const char *group, unsigned char *bytes)
{
    const int padding = group[3] != '=' ? 0 : (group[2] != '=' ? 1 : 2);
    uint32_t bits = 0;
    for (int i = 0; i < 4; ++i) {
        const int value = i < 4 - padding ? valueOfBase64(group[i]) : 0;
        if (value < 0)
            return 0;
        bits = bits << 6 | static_cast<uint32_t>(value);
    }
    for (int i = 0; i < 3; ++i)
        bytes[i] = static_cast<unsigned char>(bits >> (16 - 8 * i));
    if ((padding > 0 && bytes[2] != 0) || (padding > 1 && bytes[1] != 0))
        return 0;
    return 3 - padding;
}

static bool isPrintable(unsigned char byte)
{
    return byte >= 0x20 && byte < 0x7F;
}

// A user name or password stands in the store either plain or encoded, and nothing marks which. Words such as
// "password" and "admin123" have the form of Base64, so the form is not enough: what counts as encoded is at
// least eight characters that decode to printable ASCII only, which such words practically never do.
int Safe_CheckBase64Encode(const char *text)
{
    const size_t length = text == nullptr ? 0 : strlen(text);
    if (length < kShortestEncoded || length % 4 != 0)
        return 0;
    for (size_t at = 0; at < length; at += 4) {
        unsigned char bytes[3] = {};
        const int count = decodeGroup(text + at, bytes);
        if (count == 0 || (count < 3 && at + 4 != length))
            return 0;
        for (int i = 0; i < count; ++i)
            if (!isPrintable(bytes[i]))
                return 0;
    }
    return 1;
}

int Safe_Base64Decode(const char *text, char *buffer)
{
    if (buffer == nullptr)
        return 0;
    int written = 0;
    const size_t length = text == nullptr ? 0 : strlen(text);
    for (size_t at = 0; at + 4 <= length; at += 4) {
        unsigned char bytes[3] = {};
        const int count = decodeGroup(text + at, bytes);
        memcpy(buffer + written, bytes, static_cast<size_t>(count));
        written += count;
        if (count < 3)
            break;
    }
    buffer[written] = '\0';
    return written;
}

static void writeHex(const unsigned char *bytes, size_t count, char *text)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    for (size_t i = 0; i < count; ++i) {
        text[2 * i] = kDigits[bytes[i] >> 4];
        text[2 * i + 1] = kDigits[bytes[i] & 15];
    }
    text[2 * count] = '\0';
}

char *CalcNonce(void)
{
    unsigned char bytes[kNonceBytes];
    char *nonce = static_cast<char *>(malloc(2 * kNonceBytes + 1));
    if (nonce == nullptr || RAND_bytes(bytes, sizeof bytes) != 1) {
        free(nonce);
        return nullptr;
    }
    writeHex(bytes, sizeof bytes, nonce);
    return nonce;
}

/// MD5 of the parts with a colon between them, in hexadecimal.
template <size_t count>
static void digestParts(const char *const (&parts)[count], char (&hex)[kHexDigestLength + 1])
{
    MD5_CTX context;
    MD5_Init(&context);
    for (size_t i = 0; i < count; ++i) {
        if (i > 0)
            MD5_Update(&context, ":", 1);
        if (parts[i] != nullptr)
            MD5_Update(&context, parts[i], strlen(parts[i]));
    }
    unsigned char digest[MD5_DIGEST_LENGTH];
    MD5_Final(digest, &context);
    writeHex(digest, sizeof digest, hex);
}

char *CalcDigest(const char *username, const char *password, const char *realm, const char *uri,
                 const char *nonce, const char *qop, const char *nonceCount, const char *clientNonce,
                 const char *method, char **response)
{
    char secret[kHexDigestLength + 1];
    char request[kHexDigestLength + 1];
    char whole[kHexDigestLength + 1];
    digestParts({username, realm, password}, secret);
    digestParts({method, uri}, request);
    digestParts({secret, nonce, nonceCount, clientNonce, qop, request}, whole);
    char *result = static_cast<char *>(malloc(sizeof whole));
    if (result != nullptr)
        memcpy(result, whole, sizeof whole);
    if (response != nullptr)
        *response = result;
    return result;
}
