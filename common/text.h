#pragma once

#include <cstddef>
#include <cstdint>

// Null-safe texts, copies and numbers: what every floor does with a NUL-terminated string.

/// Compares like strcmp, null first: 0 when both are null, -1 when only a is, 1 when only b is.
int safeStrcmp(const char *a, const char *b);

/// Compares at most n bytes like strncmp, with the null rule of safeStrcmp.
int safeStrncmp(const char *a, const char *b, size_t n);

/// The length of a text in bytes; 0 for null.
size_t safeStrlen(const char *text);

/// Writes a NUL at destination[size - 1], then copies at most size - 1 bytes of source and its NUL when it
/// fits. Does nothing when size is 0 or destination null; a null source copies nothing.
void safeStrncpy(char *destination, const char *source, size_t size);

/// A NUL-terminated heap copy of a counted text.
///
/// @param text    the bytes to copy; null gives null
/// @param length  how many bytes of text; -1 means up to its NUL
/// @return the copy, freed by the caller with free; null for a null text, a length below -1, or when memory
/// runs out
char *getMsg(const char *text, int length = -1);

/// A heap text with the value in decimal, freed by the caller with free.
///
/// @return null for a negative value; null, with a line on standard output, when memory runs out
char *intToStr(int value);

/// Bytes of any int in decimal with its NUL.
constexpr size_t kDecimalSize = sizeof "-2147483648";

/// Writes a number in decimal into the end of the buffer; returns where it begins. (The C library's formatted
/// output would bring another 64 KiB of it into memory.)
const char *writeDecimal(int value, char (&text)[kDecimalSize]);

/// Reads a decimal number: blanks, an optional sign, digits. The one conversion of the product; never reads
/// past length.
///
/// @param text      the bytes, not necessarily terminated; null counts as empty
/// @param length    how many bytes may be read; reading also stops at the first byte that is no digit
/// @param consumed  when not null, receives how many bytes were used; 0 when there was no digit
/// @return the number, held at the ends of int64_t on overflow; 0 when there was no digit
int64_t readDecimal(const char *text, size_t length, size_t *consumed = nullptr);

/// The number at the start of a NUL-terminated text (null counts as empty), held at the ends of int.
int textToInt(const char *text);

/// The number at the start of a counted text, held at the ends of int.
int textToInt(const char *text, size_t length);

/// The bytes of a text before the first of the given ones, or before its NUL. (The C library's tuned strcspn
/// would bring another 64 KiB of it into memory.)
size_t lengthBefore(const char *text, const char *ends);
