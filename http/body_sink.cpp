#include "body_sink.h"
#include "http_client.h"

#include <cstdlib>
#include <cstring>

static constexpr int kSmallestText = 4096;

// A download reads in pieces of this many bytes.
static constexpr int kDownloadPiece = 10240;

// A file's pieces are gathered up to this many bytes.
static constexpr int kFileGather = 64 * 1024;

static bool growBytes(BodySink *sink, int size)
{
    char *bytes = static_cast<char *>(realloc(sink->bytes, static_cast<size_t>(size) + 1));
    if (bytes == nullptr)
        return false;
    sink->bytes = bytes;
    sink->size = size;
    return true;
}

static bool growText(BodySink *sink)
{
    if (sink->size == 0)
        return growBytes(sink, sink->expected > 0 ? sink->expected : kSmallestText);
    return growBytes(sink, sink->size > kLongestBody / 2 ? kLongestBody : sink->size * 2);
}

// After a failed write nothing more is written: the file stays a beginning of the body.
void flushBodySink(BodySink *sink)
{
    if (sink->place == BodyPlace::memory)
        return;
    FILE *file = gHttpTransfer.downloadFile;
    const int gathered = sink->used - sink->written;
    if (sink->place == BodyPlace::file && gathered > 0 && ferror(file) == 0) {
        fwrite(sink->bytes + sink->written, 1, static_cast<size_t>(gathered), file);
        fflush(file);
    }
    sink->written = sink->used;
}

static char *offerPiece(BodySink *sink, int wanted, int *room)
{
    if (sink->size == 0 && !growBytes(sink, sink->place == BodyPlace::file ? kFileGather : kDownloadPiece))
        return nullptr;
    *room = wanted < kDownloadPiece ? wanted : kDownloadPiece;
    if (sink->size - sink->used < *room)
        flushBodySink(sink);
    if (sink->written == sink->used)
        sink->written = sink->used = 0;
    return sink->bytes + sink->used;
}

char *offerRoom(BodySink *sink, int wanted, int *room)
{
    if (sink->place != BodyPlace::memory)
        return offerPiece(sink, wanted, room);
    if (sink->used == sink->size && !growText(sink))
        return nullptr;
    *room = sink->size - sink->used;
    if (*room > wanted)
        *room = wanted;
    return sink->bytes + sink->used;
}

void takeIn(BodySink *sink, int count)
{
    sink->used += count;
    sink->length += count;
}

bool putBytes(BodySink *sink, const char *bytes, int count)
{
    if (sink->place == BodyPlace::nowhere) {
        sink->length += count;
        return true;
    }
    while (count > 0) {
        int room = 0;
        char *to = offerRoom(sink, count, &room);
        if (to == nullptr)
            return false;
        memcpy(to, bytes, static_cast<size_t>(room));
        takeIn(sink, room);
        bytes += room;
        count -= room;
    }
    return true;
}

char *closeBodySink(BodySink *sink)
{
    if (sink->place != BodyPlace::memory || sink->length == 0) {
        dropBodySink(sink);
        return nullptr;
    }
    // Shrinking in place does not fail in practice; if it does, the larger block serves.
    char *shrunk = static_cast<char *>(realloc(sink->bytes, static_cast<size_t>(sink->used) + 1));
    char *text = shrunk == nullptr ? sink->bytes : shrunk;
    text[sink->used] = '\0';
    sink->bytes = nullptr;
    return text;
}

void dropBodySink(BodySink *sink)
{
    flushBodySink(sink);
    free(sink->bytes);
    sink->bytes = nullptr;
}
