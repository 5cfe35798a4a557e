#include "answer_input.h"
#include "http_client.h"
#include "http_diagnostics.h"

#include <cstring>

int receiveBytes(const AnswerInput *input, char *room, int size, ReadMode mode, bool *timedOut)
{
    *timedOut = false;
    int count = readPresent(gHttpSession.socket, room, size, mode);
    if (count == kNothingYet) {
        if (input->sink != nullptr)
            flushBodySink(input->sink);
        count = awaitBytes(gHttpSession.socket, room, size, mode, timedOut);
    }
    if (gHttpTransfer.diagnostics && count > 0)
        recordHttpMark(HttpDiagMark::bytesReceived, count);
    return count;
}

int fillInput(AnswerInput *input)
{
    if (input->ended)
        return 0;
    if (input->start == input->end || input->end == input->size) {
        const int inHand = input->end - input->start;
        memmove(input->buffer, input->buffer + input->start, static_cast<size_t>(inHand));
        input->start = 0;
        input->end = inHand;
    }
    bool timedOut = false;
    const int room = input->size - input->end;
    const int count = receiveBytes(input, input->buffer + input->end, room, ReadMode::keep, &timedOut);
    if (count > 0)
        input->end += count;
    input->ended = room > 0 && count <= 0;
    input->buffer[input->end] = '\0';
    return count;
}

int fillUntil(AnswerInput *input, const char *mark)
{
    const int markLength = static_cast<int>(strlen(mark));
    for (int searched = 0;;) {
        const char *start = input->buffer + input->start;
        const int inHand = input->end - input->start;
        const void *found = memmem(start + searched, static_cast<size_t>(inHand - searched), mark,
                                   static_cast<size_t>(markLength));
        if (found != nullptr)
            return static_cast<int>(static_cast<const char *>(found) - start);
        searched = inHand < markLength ? 0 : inHand - markLength + 1;
        if (fillInput(input) <= 0)
            return -1;
    }
}
