#include "response_body.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

// chunked body = *( size [";" extension] CRLF size-bytes CRLF ) "0" [";" extension] CRLF *( trailer CRLF )
// CRLF A line of it must fit into the input's buffer.

static constexpr useconds_t kRetryPauseMicroseconds = 100 * 1000;
static constexpr char kLineEnd[] = "\r\n";
static constexpr char kBlankLine[] = "\r\n\r\n";

static bool takeFromHand(AnswerInput *input, BodySink *sink, int *missing)
{
    const int inHand = input->end - input->start;
    const int count = inHand < *missing ? inHand : *missing;
    if (!putBytes(sink, input->buffer + input->start, count))
        return false;
    input->start += count;
    *missing -= count;
    return true;
}

enum class OnSilence { breakOff, waitOn };

static BodyResult readData(AnswerInput *input, BodySink *sink, int size, OnSilence onSilence)
{
    int missing = size;
    if (!takeFromHand(input, sink, &missing))
        return BodyResult::brokenOff;
    const ReadMode mode = sink->place == BodyPlace::nowhere ? ReadMode::discard : ReadMode::keep;
    while (missing > 0) {
        int room = 0;
        char *to = offerRoom(sink, missing, &room);
        if (to == nullptr)
            return BodyResult::brokenOff;
        bool timedOut = false;
        const int count = receiveBytes(to, room, mode, &timedOut);
        takeIn(sink, count, room);
        if (count > 0)
            missing -= count;
        else if (onSilence == OnSilence::breakOff)
            return BodyResult::brokenOff;
        else if (!timedOut)
            usleep(kRetryPauseMicroseconds);
    }
    return BodyResult::complete;
}

// A body of known length is waited for until it is whole; its sender may be a file server on a line that
// hangs for minutes. A connection that is at its end answers at once, hence the pause.
BodyResult readCountedBody(AnswerInput *input, BodySink *sink)
{
    return readData(input, sink, sink->expected, OnSilence::waitOn);
}

// The line end behind a chunk's data, if it is there.
static void skipLineEnd(AnswerInput *input)
{
    while (input->end - input->start < 2 && fillInput(input) > 0) {}
    if (input->end - input->start >= 2 && memcmp(input->buffer + input->start, kLineEnd, 2) == 0)
        input->start += 2;
}

// Reads a size line; input->start is left at its line end.
static BodyResult readChunkSize(AnswerInput *input, long long *size)
{
    const int length = fillUntil(input, kLineEnd);
    if (length < 0)
        return input->start == input->end ? BodyResult::noNextChunk : BodyResult::brokenOff;
    char *line = input->buffer + input->start;
    const char lineEnd = line[length];
    line[length] = '\0';
    *size = strtoll(line, nullptr, 16);
    line[length] = lineEnd;
    input->start += length;
    return BodyResult::complete;
}

BodyResult readChunkedBody(AnswerInput *input, BodySink *sink)
{
    for (;;) {
        long long size = 0;
        BodyResult result = readChunkSize(input, &size);
        if (result != BodyResult::complete)
            return result;
        if (size < 1)
            break;
        if (size > kLongestBody - sink->length)
            return BodyResult::brokenOff;
        input->start += static_cast<int>(strlen(kLineEnd));
        result = readData(input, sink, static_cast<int>(size), OnSilence::breakOff);
        if (result != BodyResult::complete)
            return result;
        skipLineEnd(input);
    }
    // The trailer is dropped, so that the next answer starts clean; a missing one does not spoil the body.
    const int trailer = fillUntil(input, kBlankLine);
    input->start = trailer < 0 ? input->end : input->start + trailer + static_cast<int>(strlen(kBlankLine));
    return BodyResult::complete;
}
