#pragma once

/// Encodes bytes in the standard alphabet with padding and without line breaks (RFC 4648, 4).
///
/// @param inputLength  bytes
/// @param output       receives the text, NUL-terminated, freed by the caller with free; null when there is
/// nothing to encode or memory runs out
/// @return characters, without the NUL; 0 when output is null
int ILibBase64Encode(const unsigned char *input, int inputLength, char **output);

/// Decodes text in the standard alphabet. Every other character is skipped, padding too; a last group of two
/// or three characters gives one or two bytes, one of a single character none.
///
/// @param inputLength  characters
/// @param output       receives the bytes and a NUL behind them, freed by the caller with free; null when
/// there is nothing to decode or memory runs out
/// @return bytes, without the NUL; 0 when output is null
int ILibBase64Decode(const unsigned char *input, int inputLength, unsigned char **output);
