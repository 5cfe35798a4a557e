#pragma once

#include "socket_io.h"

/// The received bytes in hand: buffer[start] to buffer[end - 1], then a NUL.
struct AnswerInput {
    char *buffer; ///< size + 1 bytes, borrowed
    int size;     ///< bytes of one read at most
    int start;
    int end;
};

/// Reads from the session's socket into the given room, as readBytes; a diagnostics run counts the bytes.
/// @return bytes read; 0 or -1 when nothing came
int receiveBytes(char *room, int size, ReadMode mode, bool *timedOut);

/// Reads on behind what is in hand, once.
/// @return bytes read; 0 or less when nothing came or the buffer is full of what is still in hand
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
