#include "answer_input.h"
#include "http_client.h"
#include "line_end.h"
#include "response_body.h"

#include <cstdlib>
#include <unistd.h>

// The pause lets one read take a short answer whole.
static constexpr useconds_t kAnswerPauseMicroseconds = 100 * 1000;

/// What the head says of the body.
struct AnswerHead {
    int status;
    int length; ///< -1: no length that can be
    int chunked;
};

// Reads until the head's blank line (or a NUL, where the head parser stops too) is in hand, as long as bytes
// come and the buffer has room. False when nothing came at all.
static bool receiveHead(AnswerInput *input)
{
    if (input->start == input->end) {
        usleep(kAnswerPauseMicroseconds);
        if (fillInput(input) <= 0)
            return false;
    }
    LineEnd lineEnd = LineEnd::none;
    for (int scanned = 0;;) {
        for (; scanned < input->end - input->start; ++scanned) {
            const char c = input->buffer[input->start + scanned];
            lineEnd = advanceLineEnd(lineEnd, c);
            if (c == '\0' || lineEnd == LineEnd::blankLine)
                return true;
        }
        if (fillInput(input) <= 0)
            return true;
    }
}

// Two lengths contradict each other; the process ends in every build, and that is meant.
static void refuseTwoLengths(const AnswerHead *head)
{
    if (head->chunked != 1 || head->length == 0)
        return;
    fputs("http_client: http_rcv_parse: Assertion `!(iChunk == 1 && iContentLen != 0)' failed.\n", stderr);
    abort();
}

// The body of a refused download is kept out of the file, unless it is counted and comes in parts.
static BodyPlace chooseBodyPlace(const AnswerHead *head, const AnswerInput *input)
{
    if (gHttpTransfer.downloadFile == nullptr)
        return BodyPlace::memory;
    if (gHttpTransfer.diagnosticsDownload)
        return BodyPlace::nowhere;
    const bool wholeInHand = head->length <= input->end - input->start;
    return head->status == 401 && (head->chunked == 1 || wholeInHand) ? BodyPlace::nowhere : BodyPlace::file;
}

// Chunks of any other answer stay unread. A 204 never has a body (RFC 2616 section 10.2.5): what is in hand
// is decoded, but none is waited for.
static bool hasChunks(const AnswerHead *head, const AnswerInput *input)
{
    if (head->chunked != 1)
        return false;
    const bool bytesInHand = input->start != input->end;
    return head->status == 200 || head->status == 401 || (head->status == 204 && bytesInHand);
}

static BodyResult readBody(AnswerInput *input, const AnswerHead *head)
{
    if (hasChunks(head, input))
        return readChunkedBody(input);
    return head->length > 0 ? readCountedBody(input) : BodyResult::complete;
}

static char *receiveBody(AnswerInput *input, const AnswerHead *head, int *status, int *length)
{
    BodySink sink = {chooseBodyPlace(head, input), head->length, nullptr, 0, 0, 0, 0};
    input->sink = &sink;
    const BodyResult result = readBody(input, head);
    input->sink = nullptr;
    if (result != BodyResult::complete) {
        dropBodySink(&sink);
        if (result == BodyResult::brokenOff)
            *status = -1;
        return nullptr;
    }
    *status = head->status;
    *length = sink.length;
    return closeBodySink(&sink);
}

char *receiveAnswer(AnswerInput *input, int *status, int *length, char **cookie)
{
    *length = 0;
    AnswerHead head = {};
    const char *text = nullptr;
    const char *behindHead = nullptr;
    if (receiveHead(input)) {
        text = input->buffer + input->start;
        behindHead = http_parse_headers(text, &head.status, &head.length, &head.chunked, cookie);
    }
    if (behindHead == nullptr || head.length < 0) {
        *status = -1;
        return nullptr;
    }
    input->start += static_cast<int>(behindHead - text);
    refuseTwoLengths(&head);
    return receiveBody(input, &head, status, length);
}

char *http_rcv_parse(char *buffer, int size, int *status, int *length, char **cookie)
{
    AnswerInput input = {buffer, size, 0, 0, false, nullptr};
    return receiveAnswer(&input, status, length, cookie);
}
