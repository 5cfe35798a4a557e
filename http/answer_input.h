#pragma once

#include "body_sink.h"
#include "socket_io.h"

/// The received bytes in hand: buffer[start] to buffer[end - 1], then a NUL.
struct AnswerInput {
    char *buffer; ///< size + 1 bytes, borrowed
    int size;     ///< bytes of one read at most
    int start;
    int end;
    bool ended;     ///< fillInput read nothing once: it does not wait again
    BodySink *sink; ///< borrowed: the body being read; null outside one. Flushed before each wait
};

/// Reads from the session's socket into the given room, after a wait if need be; a diagnostics run counts the
/// bytes.
///
/// @param timedOut  receives whether a wait ran its full time
/// @return bytes read; 0 or -1 when nothing came
int receiveBytes(const AnswerInput *input, char *room, int size, ReadMode mode, bool *timedOut);

/// Reads on behind what is in hand, once.
/// @return bytes read; 0 or less when nothing came, now or before, or the buffer is full of what is in hand
int fillInput(AnswerInput *input);

/// Reads on until what is in hand holds the mark.
///
/// @param mark  NUL-terminated, not empty
/// @return the mark's offset from input->start; -1 when nothing more came or the buffer is full
int fillUntil(AnswerInput *input, const char *mark);

/// http_rcv_parse over bytes that may be in hand already, from an answer before; then there is no pause.
///
/// What follows the answer stays in hand.
char *receiveAnswer(AnswerInput *input, int *status, int *length, char **cookie);
