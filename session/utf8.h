#pragma once

/// Converts a text of the backend's single-byte letters (ISO-8859-1) to UTF-8. A text that already was UTF-8
/// is encoded a second time: the backend's values are bytes without a declared encoding.
///
/// @param text    owned heap text, taken over; null gives null
/// @param length  its length in bytes; receives the new one, 0 on failure
/// @return the converted text, freed by the caller with free; the text itself, with a line on standard
/// output, when the
///         system has no such conversion; null when memory runs out
char *convertToUtf8(char *text, int *length);
