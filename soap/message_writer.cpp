#include "message_writer.h"
#include "text.h"

#include <cstdlib>

#include "owned.h"

bool writeNumber(MessageWriter &writer, int value)
{
    if (value < 0)
        return false;
    char digits[kDecimalSize];
    writeText(writer, writeDecimal(value, digits));
    return true;
}

static void writeName(MessageWriter &writer, const char *prefix, const char *name)
{
    if (prefix != nullptr)
        writeText(writer, prefix);
    writeText(writer, name);
    writeLiteral(writer, ">");
}

size_t writeElement(MessageWriter &writer, const char *prefix, const char *name, const char *value)
{
    const size_t start = writer.position;
    writeLiteral(writer, "<");
    writeName(writer, prefix, name);
    writeContent(writer, value);
    writeLiteral(writer, "</");
    writeName(writer, prefix, name);
    return writer.position - start;
}

size_t sizeElement(const char *name, const char *value)
{
    MessageWriter counter = {};
    return writeElement(counter, nullptr, name, value);
}

bool writeKnownElement(MessageWriter &writer, const char *name, const char *value)
{
    if (value == nullptr)
        return false;
    writeElement(writer, nullptr, name, value);
    return true;
}

bool writeNumberElement(MessageWriter &writer, const char *name, int value)
{
    writeLiteral(writer, "<");
    writeName(writer, nullptr, name);
    if (!writeNumber(writer, value))
        return false;
    writeLiteral(writer, "</");
    writeName(writer, nullptr, name);
    return true;
}

bool writeArrayTag(MessageWriter &writer, const char *name, const char *type, int count)
{
    writeLiteral(writer, "<");
    writeText(writer, name);
    writeLiteral(writer, " SOAP-ENC:arrayType=\"");
    writeText(writer, type);
    writeLiteral(writer, "[");
    if (!writeNumber(writer, count))
        return false;
    writeLiteral(writer, "]\">");
    return true;
}

// A guard: two passes that differ are a fault of the writer, which has then counted past its buffer or short
// of it, and the text is dropped.
static BuildStatus fillText(WriteText write, const void *context, size_t size, OwnedText &text)
{
    text.reset(static_cast<char *>(malloc(size + 1)));
    if (text == nullptr)
        return BuildStatus::noMemory;
    MessageWriter writer = {text.get(), size + 1, 0};
    if (!write(writer, context))
        return BuildStatus::refused;
    if (writer.position != size)
        return BuildStatus::lengthMismatch;
    text.get()[size] = '\0';
    return BuildStatus::built;
}

char *buildTextOver(WriteText write, const void *context, int *length, BuildStatus *status)
{
    *length = 0;
    *status = BuildStatus::refused;
    MessageWriter counter = {};
    if (!write(counter, context))
        return nullptr;
    OwnedText text;
    *status = fillText(write, context, counter.position, text);
    if (*status != BuildStatus::built)
        return nullptr;
    *length = static_cast<int>(counter.position);
    return text.release();
}
