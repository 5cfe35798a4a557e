#pragma once

#include "answer_input.h"

enum class BodyResult {
    complete,
    brokenOff, ///< a chunk broke off or was none, or memory ran out
    noNextChunk
};

/// Reads a body of input->sink->expected bytes into that sink. What never comes is waited for without an end.
BodyResult readCountedBody(AnswerInput *input);

/// Reads a chunked body into input->sink (RFC 2616 section 3.6.1) up to the blank line after its last chunk.
/// A size that is negative or no number ends the body at once; one past kLongestBody breaks it off.
BodyResult readChunkedBody(AnswerInput *input);
