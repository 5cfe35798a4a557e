#include "request_head.h"
#include "http_client.h"
#include "text.h"

#include <cstdarg>
#include <cstdlib>
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

void appendHead(HttpHead *head, const char *format, ...) // NOLINT(cert-dcl50-cpp): it formats as printf does
{
    va_list arguments;
    va_start(arguments, format);
    const int length =
        vsnprintf(nullptr, 0, format, arguments); // NOLINT(clang-analyzer-valist.Uninitialized)
    va_end(arguments);
    head->failed = head->failed || length < 0 || !growHead(head, static_cast<size_t>(length));
    if (head->failed)
        return;
    va_start(arguments, format);
    vsnprintf(head->text + head->length, static_cast<size_t>(length) + 1, format, arguments);
    va_end(arguments);
    head->length += static_cast<size_t>(length);
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
    char date[kDateSize];
    formatDate(date);
    switch (framing) {
    case HttpFraming::soap:
        return appendHead(head,
                          "%s %s HTTP/1.1\r\nHost: %s:%d\r\nAccept: */*\r\nSoapAction:\r\n"
                          "User-Agent:qxnv_http_client\r\nConnection: %s\r\nDate: %s\r\n",
                          s_pcTr069Method, session->path, session->host, session->port, session->connection,
                          date);
    case HttpFraming::empty:
        return appendHead(head,
                          "%s %s HTTP/1.1\r\nAccept: */*\r\nHost: %s:%d\r\n"
                          "User-Agent:qxnv_http_client\r\nConnection: %s\r\nDate: %s\r\n",
                          s_pcTr069Method, session->path, session->host, session->port, session->connection,
                          date);
    case HttpFraming::upload:
        return appendHead(head,
                          "%s %s HTTP/1.1\r\nAccept: */*\r\nTE: trailers\r\nHost: %s:%d\r\n"
                          "User-Agent:qxnv_http_client\r\nConnection: %s\r\nDate: %s\r\n",
                          s_pcTr069Method, session->path, session->host, session->port, session->connection,
                          date);
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
    switch (framing) {
    case HttpFraming::soap:
        if (safeStrcmp(s_pcTr069Method, "POST") == 0 ||
            (safeStrcmp(s_pcTr069Method, "PUT") == 0 && length == 0))
            return appendHead(head, "Content-Length: %d\r\n\r\n", length);
        return appendHead(head, "Content-Length: %d\r\nContent-Type: %s;charset=utf-8\r\n\r\n", length, type);
    case HttpFraming::empty:
        return appendHead(head, "Content-Length: 0\r\nContent-Type: %s\r\n\r\n", kBinaryType);
    case HttpFraming::upload:
        return appendHead(head, "Content-Length: %d\r\nContent-Type: %s\r\n\r\n", length, type);
    }
}

int buildRequestHead(HttpHead *head, HttpFraming framing, int length)
{
    appendFixedHeaders(head, framing);
    if (gHttpSession.cookie != nullptr)
        appendHead(head, "Cookie: %s\r\n", gHttpSession.cookie);
    if (needsAuthorization(framing)) {
        appendHead(head, "Authorization: ");
        if (http_build_auth(&gHttpAuth, head) != 0)
            head->failed = true;
    }
    appendBodyHeaders(head, framing, length);
    return head->failed ? -1 : 0;
}
