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
    const char *next; ///< where to go on: a value's start for its reader; null when memory ran out
    const char *end;  ///< the head's NUL
    int status;
    int length;
    int chunked;
    CookieValue cookies[kMaximumCookies];
    int cookieCount;
};

static size_t countRest(const HeadReader *reader)
{
    return static_cast<size_t>(reader->end - reader->next);
}

static void readStatus(HeadReader *reader)
{
    reader->status = textToInt(reader->next, countRest(reader));
}

static void readCookie(HeadReader *reader)
{
    if (reader->cookieCount < kMaximumCookies)
        reader->cookies[reader->cookieCount++] = {reader->next, lengthBefore(reader->next, ";\r")};
}

static void readLength(HeadReader *reader)
{
    const int64_t length = readDecimal(reader->next, countRest(reader));
    reader->length = length < 0 || length >= INT_MAX ? -1 : static_cast<int>(length);
}

static void readConnection(HeadReader *reader)
{
    if (strncmp(reader->next, "Close", 5) == 0 || strncmp(reader->next, "close", 5) == 0)
        gHttpSession.closeRequested = true;
}

// The one value that is passed over; behind the start of any other the names are looked for again.
static void readChallenge(HeadReader *reader)
{
    const char *end = nullptr;
    reader->next = http_parse_challenge(reader->next, &gHttpAuth, &end) == 0 ? end : nullptr;
}

static void readCoding(HeadReader *reader)
{
    if (strncmp(reader->next, "chunked", 7) == 0)
        reader->chunked = 1;
}

struct HeaderName {
    const char *name;
    bool atLineStart; ///< not looked for elsewhere in a line
    void (*readValue)(HeadReader *reader);
};

static constexpr HeaderName kHeaderNames[] = {
    {"HTTP/1.1 ", true, readStatus},
    {"Set-Cookie: ", false, readCookie},
    {"Content-Length: ", false, readLength},
    {"Connection: ", false, readConnection},
    {"WWW-Authenticate: ", false, readChallenge},
    {"Transfer-Encoding: ", false, readCoding},
};

// Tries the names at one position.
static void readHeader(HeadReader *reader, bool lineStart)
{
    for (const HeaderName &header : kHeaderNames) {
        const size_t length = strlen(header.name);
        if ((lineStart || !header.atLineStart) && strncmp(reader->next, header.name, length) == 0) {
            reader->next += length;
            return header.readValue(reader);
        }
    }
    ++reader->next;
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
    reader.next = text;
    reader.end = text + strlen(text);
    LineEnd lineEnd = LineEnd::none;
    while (reader.next != nullptr && *reader.next != '\0' && lineEnd != LineEnd::blankLine) {
        const bool lineStart = reader.next == text || lineEnd == LineEnd::crLf;
        const char c = *reader.next;
        lineEnd = advanceLineEnd(lineEnd, c);
        if (lineEnd == LineEnd::none && c != '\n')
            readHeader(&reader, lineStart);
        else
            ++reader.next;
    }
    *status = reader.status;
    *length = reader.length;
    *chunked = reader.chunked;
    if (reader.next == nullptr || !storeCookies(&reader, cookie))
        return nullptr;
    return reader.next;
}
