#include "response_body.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

// chunked body = *( size [";" extension] CRLF size-bytes CRLF ) "0" [";" extension] CRLF *( trailer CRLF )
//                CRLF
// A line of it must fit into the input's buffer.

static constexpr useconds_t kRetryPauseMicroseconds = 100 * 1000;
static constexpr char kLineEnd[] = "\r\n";
static constexpr char kBlankLine[] = "\r\n\r\n";

static bool takeFromHand(AnswerInput *input, int *missing)
{
    const int inHand = input->end - input->start;
    const int count = inHand < *missing ? inHand : *missing;
    if (!putBytes(input->sink, input->buffer + input->start, count))
        return false;
    input->start += count;
    *missing -= count;
    return true;
}

static void pauseBeforeRetry(BodySink *sink)
{
    flushBodySink(sink);
    usleep(kRetryPauseMicroseconds);
}

enum class OnSilence { breakOff, waitOn };

static BodyResult readData(AnswerInput *input, int size, OnSilence onSilence)
{
    BodySink *sink = input->sink;
    int missing = size;
    if (!takeFromHand(input, &missing))
        return BodyResult::brokenOff;
    const ReadMode mode = sink->place == BodyPlace::nowhere ? ReadMode::discard : ReadMode::keep;
    while (missing > 0) {
        int room = 0;
        char *to = offerRoom(sink, missing, &room);
        if (to == nullptr)
            return BodyResult::brokenOff;
        bool timedOut = false;
        const int count = receiveBytes(input, to, room, mode, &timedOut);
        if (count > 0) {
            takeIn(sink, count);
            missing -= count;
            continue;
        }
        if (onSilence == OnSilence::breakOff)
            return BodyResult::brokenOff;
        if (!timedOut)
            pauseBeforeRetry(sink);
    }
    return BodyResult::complete;
}

// A body of known length is waited for until it is whole; meant: there is no deadline. A connection that is
// at its end answers at once, hence the pause.
BodyResult readCountedBody(AnswerInput *input)
{
    return readData(input, input->sink->expected, OnSilence::waitOn);
}

// The line end behind a chunk's data, if it is there.
static void skipLineEnd(AnswerInput *input)
{
    while (input->end - input->start < 2 && fillInput(input) > 0) {}
    if (input->end - input->start >= 2 && memcmp(input->buffer + input->start, kLineEnd, 2) == 0)
        input->start += 2;
}

struct ChunkSize {
    long long bytes;
    bool isNumber;
};

// Reads a size line; input->start is left at its line end.
static BodyResult readChunkSize(AnswerInput *input, ChunkSize *size)
{
    const int length = fillUntil(input, kLineEnd);
    if (length < 0)
        return input->start == input->end ? BodyResult::noNextChunk : BodyResult::brokenOff;
    char *line = input->buffer + input->start;
    const char lineEnd = line[length];
    line[length] = '\0';
    char *numberEnd = line;
    size->bytes = strtoll(line, &numberEnd, 16);
    size->isNumber = numberEnd != line;
    line[length] = lineEnd;
    input->start += length;
    return BodyResult::complete;
}

// Dropped, so that the next answer starts clean; a missing one does not spoil the body.
static void skipTrailer(AnswerInput *input)
{
    const int trailer = fillUntil(input, kBlankLine);
    input->start = trailer < 0 ? input->end : input->start + trailer + static_cast<int>(strlen(kBlankLine));
}

BodyResult readChunkedBody(AnswerInput *input)
{
    for (;;) {
        ChunkSize size = {};
        BodyResult result = readChunkSize(input, &size);
        if (result != BodyResult::complete)
            return result;
        if (size.bytes == 0 && size.isNumber)
            skipTrailer(input);
        if (size.bytes < 1)
            return BodyResult::complete;
        if (size.bytes > kLongestBody - input->sink->length)
            return BodyResult::brokenOff;
        input->start += static_cast<int>(strlen(kLineEnd));
        result = readData(input, static_cast<int>(size.bytes), OnSilence::breakOff);
        if (result != BodyResult::complete)
            return result;
        skipLineEnd(input);
    }
}
