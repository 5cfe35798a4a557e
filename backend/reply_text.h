#pragma once

// The pieces of a reply's strings. Every function stays in front of the string's NUL.

/// The first separator in text, or its NUL when there is none.
const char *endOfPiece(const char *text, char separator);

/// Behind a separator that endOfPiece found; its NUL when it found none.
const char *skipSeparator(const char *end);

/// Behind the word that text starts with; null when it starts with something else.
const char *skipWord(const char *text, const char *word);

/// A heap copy of the bytes from begin up to end, NUL-terminated, freed by the caller with free.
///
/// @return null when memory runs out
char *copyBetween(const char *begin, const char *end);
