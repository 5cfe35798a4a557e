#include "request_head.h"
#include "http_client.h"
#include "text.h"

#include <cassert>
#include <cstdlib>
#include <cstring>
#include <ctime>

static constexpr size_t kDateSize = 64;
static constexpr char kXmlType[] = "text/xml";
static constexpr char kBinaryType[] = "application/octet-stream";

// Makes room for length more bytes and a terminator.
static bool growHead(HttpHead *head, size_t length)
{
    const size_t needed = head->length + length;
    size_t size = head->text == nullptr ? kHttpBufferSize : head->size;
    while (size < needed)
        size *= 2;
    if (head->text != nullptr && size == head->size)
        return true;
    char *text = static_cast<char *>(realloc(head->text, size + 1));
    if (text == nullptr)
        return false;
    head->text = text;
    head->size = size;
    return true;
}

static void appendBytes(HttpHead *head, const char *bytes, size_t length)
{
    head->failed = head->failed || !growHead(head, length);
    if (head->failed)
        return;
    memcpy(head->text + head->length, bytes, length);
    head->length += length;
    head->text[head->length] = '\0';
}

void appendHead(HttpHead *head, const char *format, std::initializer_list<const char *> values)
{
    for (const char *value : values) {
        const char *mark = strstr(format, "%s");
        assert(mark != nullptr);
        appendBytes(head, format, static_cast<size_t>(mark - format));
        appendBytes(head, value, strlen(value));
        format = mark + strlen("%s");
    }
    appendBytes(head, format, strlen(format));
}

static void formatDate(char date[kDateSize])
{
    date[0] = '\0';
    const time_t now = time(nullptr);
    const tm *utc = gmtime(&now);
    if (utc != nullptr)
        strftime(date, kDateSize, "%a, %d %b %Y %H:%M:%S GMT", utc);
}

// These lines are the device's fixed wire form and meant as they are: the port also when it is 80, the empty
// SoapAction, the agent without a blank. An empty path leaves two blanks in a row.
static void appendFixedHeaders(HttpHead *head, HttpFraming framing)
{
    const HttpSession *session = &gHttpSession;
    char digits[kDecimalSize];
    const char *port = writeDecimal(session->port, digits);
    char date[kDateSize];
    formatDate(date);
    switch (framing) {
    case HttpFraming::soap:
        return appendHead(head,
                          "%s %s HTTP/1.1\r\nHost: %s:%s\r\nAccept: */*\r\nSoapAction:\r\n"
                          "User-Agent:qxnv_http_client\r\nConnection: %s\r\nDate: %s\r\n",
                          {s_pcTr069Method, session->path, session->host, port, session->connection, date});
    case HttpFraming::empty:
        return appendHead(head,
                          "%s %s HTTP/1.1\r\nAccept: */*\r\nHost: %s:%s\r\n"
                          "User-Agent:qxnv_http_client\r\nConnection: %s\r\nDate: %s\r\n",
                          {s_pcTr069Method, session->path, session->host, port, session->connection, date});
    case HttpFraming::upload:
        return appendHead(head,
                          "%s %s HTTP/1.1\r\nAccept: */*\r\nTE: trailers\r\nHost: %s:%s\r\n"
                          "User-Agent:qxnv_http_client\r\nConnection: %s\r\nDate: %s\r\n",
                          {s_pcTr069Method, session->path, session->host, port, session->connection, date});
    }
}

// After a 401 without a challenge a download sends no credentials; the other two senders send Digest
// credentials of empty values.
static bool needsAuthorization(HttpFraming framing)
{
    if (gHttpAuth.type != kHttpAuthNone)
        return true;
    return framing != HttpFraming::empty && gHttpSession.lastStatus == 401;
}

// A POST, and a PUT of nothing, announce no type; that is meant.
static void appendBodyHeaders(HttpHead *head, HttpFraming framing, int length)
{
    const char *type = length != 0 ? kXmlType : kBinaryType;
    char digits[kDecimalSize];
    const char *lengthText = writeDecimal(length, digits);
    switch (framing) {
    case HttpFraming::soap:
        if (safeStrcmp(s_pcTr069Method, "POST") == 0 ||
            (safeStrcmp(s_pcTr069Method, "PUT") == 0 && length == 0))
            return appendHead(head, "Content-Length: %s\r\n\r\n", {lengthText});
        return appendHead(head, "Content-Length: %s\r\nContent-Type: %s;charset=utf-8\r\n\r\n",
                          {lengthText, type});
    case HttpFraming::empty:
        return appendHead(head, "Content-Length: 0\r\nContent-Type: %s\r\n\r\n", {kBinaryType});
    case HttpFraming::upload:
        return appendHead(head, "Content-Length: %s\r\nContent-Type: %s\r\n\r\n", {lengthText, type});
    }
}

int buildRequestHead(HttpHead *head, HttpFraming framing, int length)
{
    appendFixedHeaders(head, framing);
    if (gHttpSession.cookie != nullptr)
        appendHead(head, "Cookie: %s\r\n", {gHttpSession.cookie});
    if (needsAuthorization(framing)) {
        appendHead(head, "Authorization: ");
        if (http_build_auth(&gHttpAuth, head) != 0)
            head->failed = true;
    }
    appendBodyHeaders(head, framing, length);
    return head->failed ? -1 : 0;
}
