#pragma once

#include "answer_input.h"
#include "body_sink.h"

enum class BodyResult {
    complete,
    brokenOff, ///< a chunk broke off or was none, or memory ran out
    noNextChunk
};

/// Reads the rest of a body of sink->expected bytes. What never comes is waited for without an end.
BodyResult readCountedBody(AnswerInput *input, BodySink *sink);

/// Reads a chunked body (RFC 2616 section 3.6.1) up to the blank line after its last chunk. A size that is
/// negative or no number ends the body as a last chunk does; one past kLongestBody breaks it off.
BodyResult readChunkedBody(AnswerInput *input, BodySink *sink);
