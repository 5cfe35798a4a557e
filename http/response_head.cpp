#include "http_client.h"
#include "line_end.h"
#include "text.h"

#include <climits>
#include <cstdlib>
#include <cstring>

// Cookies of one answer beyond these are not kept.
static constexpr int kMaximumCookies = 20;
static constexpr char kCookieJoint[] = " ;";
static constexpr size_t kCookieJointLength = sizeof kCookieJoint - 1;

struct CookieValue {
    const char *text; ///< borrowed from the head
    size_t length;
};

/// What a head says, while it is read.
struct HeadReader {
    const char *end; ///< the head's NUL
    int status;
    int length;
    int chunked;
    CookieValue cookies[kMaximumCookies];
    int cookieCount;
};

static const char *readStatus(const char *value, HeadReader *reader)
{
    reader->status = textToInt(value, static_cast<size_t>(reader->end - value));
    return value;
}

static const char *readCookie(const char *value, HeadReader *reader)
{
    if (reader->cookieCount < kMaximumCookies)
        reader->cookies[reader->cookieCount++] = {value, strcspn(value, ";\r")};
    return value;
}

static const char *readLength(const char *value, HeadReader *reader)
{
    const int64_t length = readDecimal(value, static_cast<size_t>(reader->end - value));
    reader->length = length < 0 || length >= INT_MAX ? -1 : static_cast<int>(length);
    return value;
}

static const char *readConnection(const char *value, HeadReader * /*reader*/)
{
    if (strncmp(value, "Close", 5) == 0 || strncmp(value, "close", 5) == 0)
        gHttpSession.closeRequested = true;
    return value;
}

static const char *readChallenge(const char *value, HeadReader * /*reader*/)
{
    const char *end = nullptr;
    return http_parse_challenge(value, &gHttpAuth, &end) == 0 ? end : nullptr;
}

static const char *readCoding(const char *value, HeadReader *reader)
{
    if (strncmp(value, "chunked", 7) == 0)
        reader->chunked = 1;
    return value;
}

struct HeaderName {
    const char *name;
    bool atLineStart;                                                ///< not looked for elsewhere in a line
    const char *(*readValue)(const char *value, HeadReader *reader); ///< where to go on; null: no memory
};

static constexpr HeaderName kHeaderNames[] = {
    {"HTTP/1.1 ", true, readStatus},
    {"Set-Cookie: ", false, readCookie},
    {"Content-Length: ", false, readLength},
    {"Connection: ", false, readConnection},
    {"WWW-Authenticate: ", false, readChallenge},
    {"Transfer-Encoding: ", false, readCoding},
};

// Tries the names at one position. Returns where to go on; null when memory ran out.
static const char *readHeaderAt(const char *at, bool lineStart, HeadReader *reader)
{
    for (const HeaderName &header : kHeaderNames) {
        const size_t length = strlen(header.name);
        if ((lineStart || !header.atLineStart) && strncmp(at, header.name, length) == 0)
            return header.readValue(at + length, reader);
    }
    return at + 1;
}

// The session's cookie is this answer's, or stays. Blank, then semicolon: the joint is written back as it is.
static bool storeCookies(const HeadReader *reader, char **cookie)
{
    if (reader->cookieCount == 0)
        return true;
    size_t size = 1;
    for (int i = 0; i < reader->cookieCount; ++i)
        size += kCookieJointLength + reader->cookies[i].length;
    char *joined = static_cast<char *>(malloc(size));
    if (joined == nullptr)
        return false;
    char *to = joined;
    for (int i = 0; i < reader->cookieCount; ++i) {
        if (i > 0)
            to = static_cast<char *>(mempcpy(to, kCookieJoint, kCookieJointLength));
        to = static_cast<char *>(mempcpy(to, reader->cookies[i].text, reader->cookies[i].length));
    }
    *to = '\0';
    free(*cookie);
    *cookie = joined;
    return true;
}

const char *http_parse_headers(const char *text, int *status, int *length, int *chunked, char **cookie)
{
    HeadReader reader = {};
    reader.end = text + strlen(text);
    LineEnd lineEnd = LineEnd::none;
    const char *at = text;
    while (at != nullptr && *at != '\0' && lineEnd != LineEnd::blankLine) {
        const bool lineStart = at == text || lineEnd == LineEnd::crLf;
        lineEnd = advanceLineEnd(lineEnd, *at);
        at = lineEnd == LineEnd::none && *at != '\n' ? readHeaderAt(at, lineStart, &reader) : at + 1;
    }
    *status = reader.status;
    *length = reader.length;
    *chunked = reader.chunked;
    if (at == nullptr || !storeCookies(&reader, cookie))
        return nullptr;
    return at;
}
