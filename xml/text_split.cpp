#include "text_split.h"

#include <cstdlib>
#include <cstring>

namespace
{
struct Delimiter {
    const char *bytes;
    size_t length;
    bool isQuoteAware;
};
} // namespace

static bool beginsWith(const char *at, const char *end, const Delimiter &delimiter)
{
    return delimiter.length > 0 && static_cast<size_t>(end - at) >= delimiter.length &&
           memcmp(at, delimiter.bytes, delimiter.length) == 0;
}

// The first delimiter that splits, or end. A part always begins outside quotes, so the walk may start there.
static char *findDelimiter(char *from, char *end, const Delimiter &delimiter)
{
    char openQuote = '\0';
    for (char *at = from; at < end; ++at) {
        if (openQuote == '\0' && beginsWith(at, end, delimiter))
            return at;
        if (!delimiter.isQuoteAware || (*at != '"' && *at != '\''))
            continue;
        if (openQuote == '\0')
            openQuote = *at;
        else if (openQuote == *at)
            openQuote = '\0';
    }
    return end;
}

static size_t countParts(char *text, char *end, const Delimiter &delimiter)
{
    size_t count = 1;
    for (char *at = findDelimiter(text, end, delimiter); at < end; ++count)
        at = findDelimiter(at + delimiter.length, end, delimiter);
    return count;
}

// Results and fields are one block.
static SplitResults *split(char *text, char *end, const Delimiter &delimiter)
{
    const size_t count = countParts(text, end, delimiter);
    char *block = static_cast<char *>(malloc(sizeof(SplitResults) + count * sizeof(SplitField)));
    if (block == nullptr)
        return nullptr;
    SplitResults *results = reinterpret_cast<SplitResults *>(block);
    SplitField *fields = reinterpret_cast<SplitField *>(block + sizeof(SplitResults));
    char *begin = text;
    for (size_t i = 0; i < count; ++i) {
        char *found = findDelimiter(begin, end, delimiter);
        const bool isLast = i + 1 == count;
        fields[i] = {begin, static_cast<int32_t>(found - begin), isLast ? nullptr : &fields[i + 1]};
        if (!isLast)
            begin = found + delimiter.length;
    }
    *results = {fields, &fields[count - 1], static_cast<int32_t>(count)};
    return results;
}

static SplitResults *splitRange(char *text, int offset, int length, Delimiter delimiter)
{
    char *begin = text + offset;
    return split(begin, length > 0 ? begin + length : begin, delimiter);
}

static size_t clampLength(int length)
{
    return length > 0 ? static_cast<size_t>(length) : 0;
}

SplitResults *ILibSplitText(char *text, int offset, int length, const char *delimiter, int delimiterLength)
{
    return splitRange(text, offset, length, {delimiter, clampLength(delimiterLength), false});
}

SplitResults *ILibSplitTextQuoted(char *text, int offset, int length, const char *delimiter,
                                  int delimiterLength)
{
    return splitRange(text, offset, length, {delimiter, clampLength(delimiterLength), true});
}

void ILibFreeSplitResults(SplitResults *results)
{
    free(results);
}

static bool isTrimmed(char c)
{
    return c == ' ' || c == '\b';
}

int ILibTrimBlanks(char **text, int length)
{
    int leading = 0;
    while (leading < length && isTrimmed((*text)[leading]))
        ++leading;
    if (leading == length)
        return length;
    int end = length;
    while (isTrimmed((*text)[end - 1]))
        --end;
    *text += leading;
    return end - leading;
}
