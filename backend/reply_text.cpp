#include "reply_text.h"

#include <climits>
#include <cstddef>
#include <cstring>

#include "text.h"

const char *endOfPiece(const char *text, char separator)
{
    const char *end = strchr(text, separator);
    return end != nullptr ? end : text + strlen(text);
}

const char *skipSeparator(const char *end)
{
    return *end == '\0' ? end : end + 1;
}

const char *skipWord(const char *text, const char *word)
{
    const size_t length = strlen(word);
    return strncmp(text, word, length) == 0 ? text + length : nullptr;
}

char *copyBetween(const char *begin, const char *end)
{
    const ptrdiff_t length = end - begin;
    return length > INT_MAX ? nullptr : getMsg(begin, static_cast<int>(length));
}
