#pragma once

#include <climits>
#include <cstddef>
#include <cstring>

#include "soap_header.h"

// How an outgoing text comes about: one function writes it over a MessageWriter and is called twice, first to
// count, then to fill a buffer of exactly that size. No second sum of the same text exists.

/// The log module of every writer.
constexpr const char *kWriterModule = "soapMessageConstruct";

/// The longest message, in bytes without its NUL: its length and its buffer's size both fit an int.
constexpr size_t kLongestMessage = INT_MAX - 1;

/// The two forms of a method's tag: "Name" or "NameResponse".
constexpr int kPlainName = 0;
constexpr int kResponseName = 1;

/// Where the next byte of a text goes. Zero-initialised it only counts.
struct MessageWriter {
    char *buffer;    ///< borrowed; null: nothing is written, only the position moves
    size_t capacity; ///< bytes in buffer, the text's NUL included
    size_t position; ///< bytes of text so far, also those for which the buffer had no room
};

inline bool isWriting(const MessageWriter &writer)
{
    return writer.buffer != nullptr;
}

// A message is many short pieces: what appends them is inline also where the compiler is told to save space,
// since a call for each halves the speed.

/// Appends length bytes. Bytes that would not leave room for the NUL are counted and left out.
[[gnu::always_inline]] inline void writeBytes(MessageWriter &writer, const char *bytes, size_t length)
{
    // Not memcpy, which a compiler that saves space spells out as a slow copy byte by byte.
    if (writer.position + length < writer.capacity)
        memmove(writer.buffer + writer.position, bytes, length);
    writer.position += length;
}

/// Appends a string literal, whose length the compiler knows.
template <size_t size>
[[gnu::always_inline]] inline void writeLiteral(MessageWriter &writer, const char (&literal)[size])
{
    writeBytes(writer, literal, size - 1);
}

/// Appends a NUL-terminated text, which must not be null, as it is: nothing is escaped.
[[gnu::always_inline]] inline void writeText(MessageWriter &writer, const char *text)
{
    writeBytes(writer, text, strlen(text));
}

/// Appends what stands between an element's tags: nothing for null, "" and " ", else the text as it is.
[[gnu::always_inline]] inline void writeContent(MessageWriter &writer, const char *value)
{
    // A single blank counts as no value.
    const bool isEmpty = value == nullptr || value[0] == '\0' || (value[0] == ' ' && value[1] == '\0');
    if (!isEmpty)
        writeText(writer, value);
}

/// Appends a number in decimal.
///
/// @return false for a negative number, and then nothing is appended
[[nodiscard]] bool writeNumber(MessageWriter &writer, int value);

/// Appends "<prefixname>", the content (see writeContent) and "</prefixname>".
///
/// @param prefix  with its colon, e.g. "cwmp:"; null for none
/// @return how many bytes were appended
size_t writeElement(MessageWriter &writer, const char *prefix, const char *name, const char *value);

/// How many bytes writeElement appends without a prefix.
size_t sizeElement(const char *name, const char *value);

/// Appends an element without prefix whose value must be known.
///
/// @return false for a null value, and then nothing is appended
[[nodiscard]] bool writeKnownElement(MessageWriter &writer, const char *name, const char *value);

/// Appends an element without prefix that holds a number.
///
/// @return false for a negative number; the text is then of no use
[[nodiscard]] bool writeNumberElement(MessageWriter &writer, const char *name, int value);

/// Appends the start tag of a SOAP array (SOAP 1.1 section 5.4.2), "<name SOAP-ENC:arrayType="type[count]">".
///
/// @return false for a negative count; the text is then of no use
[[nodiscard]] bool writeArrayTag(MessageWriter &writer, const char *name, const char *type, int count);

/// Appends the envelope up to and including the method's start tag.
///
/// @param method        the method's name; null leaves out the body's and the method's start tag
/// @param header        borrowed; null leaves out the SOAP header
/// @param responseFlag  kResponseName appends "Response" to the name; with kPlainName a name that
///                      begins with "Fault" gets the SOAP prefix instead of the CWMP one
/// @return false, with a line on standard output, for a header entry without name or value; false when the
/// text has outgrown kLongestMessage
[[nodiscard]] bool writeEnvelopeOpen(MessageWriter &writer, const char *method, const SoapHeaderEntry *header,
                                     int responseFlag);

/// Appends the method's end tag (none for a null method) and the end of body and envelope.
///
/// @return false when the text has outgrown kLongestMessage
[[nodiscard]] bool writeEnvelopeClose(MessageWriter &writer, const char *method, int responseFlag);

/// How building a text ended.
enum class BuildStatus { built, refused, noMemory, lengthMismatch };

/// Writes one text over the writer, the same for the same context; false when it cannot be written.
using WriteText = bool (*)(MessageWriter &writer, const void *context);

/// Builds a text in one allocation of exactly its length plus 1: write is called to count, then to fill.
///
/// @param write    must report a text above kLongestMessage by false
/// @param length   receives the length, NUL not counted; 0 on failure
/// @param status   receives how it ended: refused when write gave false, lengthMismatch when its second text
///                 was longer or shorter than the first
/// @return the NUL-terminated text, freed by the caller with free; null on failure
char *buildTextOver(WriteText write, const void *context, int *length, BuildStatus *status);

/// buildTextOver, which is no template so that the passes stand once in the executable, for any callable bool
/// (MessageWriter &); status may be null.
template <typename Write>
char *buildText(const Write &write, int *length, BuildStatus *status = nullptr)
{
    BuildStatus unused = BuildStatus::built;
    const WriteText call = [](MessageWriter &writer, const void *context) {
        return (*static_cast<const Write *>(context))(writer);
    };
    return buildTextOver(call, &write, length, status != nullptr ? status : &unused);
}

/// Builds a whole envelope around what writeBody, a callable bool (MessageWriter &), writes between the
/// method's tags. The rest is as for writeEnvelopeOpen and buildTextOver; a null method is refused.
template <typename WriteBody>
char *buildEnvelope(const char *method, int responseFlag, const SoapHeaderEntry *header, int *length,
                    const WriteBody &writeBody, BuildStatus *status = nullptr)
{
    const auto write = [&](MessageWriter &writer) {
        return method != nullptr && writeEnvelopeOpen(writer, method, header, responseFlag) &&
               writeBody(writer) && writeEnvelopeClose(writer, method, responseFlag);
    };
    return buildText(write, length, status);
}

/// The number of records along next.
template <typename Record>
int countRecords(const Record *list)
{
    int count = 0;
    for (; list != nullptr; list = list->next)
        ++count;
    return count;
}
