#pragma once

// The client's reads and writes below http_read and http_write.

enum class ReadMode {
    keep,
    discard ///< only the count matters: of a TCP socket's bytes nothing is copied into the buffer
};

/// Waits and reads like http_read, but leaves the rest of the buffer alone: a body's buffer may be large, and
/// zeroing what is missing again with every read would grow with its square.
///
/// @param timedOut  receives whether the wait ran its full time
int readBytes(int descriptor, char *buffer, int size, ReadMode mode, bool *timedOut);

/// Writes head and body with one system call.
///
/// @param body  may be null when bodyLength is 0
/// @return true when all of it was taken
bool writeWhole(int descriptor, const char *head, int headLength, const char *body, int bodyLength);
