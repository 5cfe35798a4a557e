#include "answer_input.h"
#include "http_client.h"
#include "http_diagnostics.h"

#include <cstring>

int receiveBytes(char *room, int size, ReadMode mode, bool *timedOut)
{
    const int count = readBytes(gHttpSession.socket, room, size, mode, timedOut);
    if (gHttpTransfer.diagnostics && count > 0)
        recordHttpMark(HttpDiagMark::bytesReceived, count);
    return count;
}

int fillInput(AnswerInput *input)
{
    if (input->start == input->end || input->end == input->size) {
        const int inHand = input->end - input->start;
        memmove(input->buffer, input->buffer + input->start, static_cast<size_t>(inHand));
        input->start = 0;
        input->end = inHand;
    }
    bool timedOut = false;
    const int count =
        receiveBytes(input->buffer + input->end, input->size - input->end, ReadMode::keep, &timedOut);
    if (count > 0)
        input->end += count;
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
