#pragma once

#include <cstddef>
#include <initializer_list>

/// A request head while it is written. Its text becomes the receive buffer once the request is sent, so it is
/// kHttpBufferSize + 1 bytes, or larger when the head needs it.
struct HttpHead {
    char *text;    ///< owned (free); NUL-terminated
    size_t length; ///< bytes written
    size_t size;   ///< bytes of text, without its last one
    bool failed;   ///< memory ran out somewhere: the head is not to be used
};

/// What sets the three senders' heads apart.
enum class HttpFraming { soap, empty, upload };

/// Appends to the head, which grows as needed; after a failure nothing more happens.
///
/// @param format  text in which each "%s" stands for the next of the values, of which there are as many
void appendHead(HttpHead *head, const char *format, std::initializer_list<const char *> values = {});

/// Writes the whole head for the session's host, path, cookie, method and challenge.
///
/// @param head    all zero; its text is the caller's to free on every path
/// @param length  bytes of the body
/// @return 0; or -1 when memory ran out
int buildRequestHead(HttpHead *head, HttpFraming framing, int length);
