#pragma once

// The client's reads and writes below http_read and http_write.

enum class ReadMode {
    keep,
    discard ///< only the count matters: of a TCP socket's bytes nothing is copied into the buffer
};

// The two halves of http_read. Both leave the rest of the buffer alone: a body's buffer may be large, and
// zeroing what is missing again with every read would grow with its square.

constexpr int kNothingYet = -2;

/// Reads what is there already. In a transfer the next bytes mostly are, and then no wait is asked for.
/// @return bytes read; 0 at the end of the stream or for a size below 1; -1 when the read failed; kNothingYet
int readPresent(int descriptor, char *buffer, int size, ReadMode mode);

/// Waits up to 30 s, then reads once; also when the wait failed.
///
/// @param timedOut  receives whether the wait ran its full time
/// @return bytes read; 0 at the end of the stream or when the wait timed out; -1 when the read failed
int awaitBytes(int descriptor, char *buffer, int size, ReadMode mode, bool *timedOut);

/// Writes head and body with one system call.
///
/// @param body  may be null when bodyLength is 0
/// @return true when all of it was taken
bool writeWhole(int descriptor, const char *head, int headLength, const char *body, int bodyLength);
