#include "text.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The answer when at least one side is null; only then is it meaningful.
static int compareNulls(const char *a, const char *b)
{
    if (a == nullptr && b == nullptr)
        return 0;
    return a == nullptr ? -1 : 1;
}

int safeStrcmp(const char *a, const char *b)
{
    if (a == nullptr || b == nullptr)
        return compareNulls(a, b);
    return strcmp(a, b);
}

int safeStrncmp(const char *a, const char *b, size_t n)
{
    if (a == nullptr || b == nullptr)
        return compareNulls(a, b);
    return strncmp(a, b, n);
}

size_t safeStrlen(const char *text)
{
    return text == nullptr ? 0 : strlen(text);
}

void safeStrncpy(char *destination, const char *source, size_t size)
{
    if (destination == nullptr || size == 0)
        return;
    destination[size - 1] = '\0';
    if (source == nullptr)
        return;
    const size_t length = strnlen(source, size - 1);
    memcpy(destination, source, length);
    destination[length] = '\0';
}

char *getMsg(const char *text, int length)
{
    if (text == nullptr || length < -1)
        return nullptr;
    const size_t size = length == -1 ? strlen(text) : static_cast<size_t>(length);
    char *copy = static_cast<char *>(malloc(size + 1));
    if (copy == nullptr)
        return nullptr;
    memcpy(copy, text, size);
    copy[size] = '\0';
    return copy;
}

const char *writeDecimal(int value, char (&text)[kDecimalSize])
{
    // Counted in unsigned, which holds the magnitude of the lowest int too.
    unsigned rest = value < 0 ? 0U - static_cast<unsigned>(value) : static_cast<unsigned>(value);
    char *first = text + kDecimalSize;
    *--first = '\0';
    do {
        *--first = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    if (value < 0)
        *--first = '-';
    return first;
}

char *intToStr(int value)
{
    if (value < 0)
        return nullptr;
    char digits[kDecimalSize];
    char *text = getMsg(writeDecimal(value, digits));
    if (text == nullptr)
        puts(" could not allocate memory in inttoStr function");
    return text;
}

static bool isBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

int64_t readDecimal(const char *text, size_t length, size_t *consumed)
{
    if (consumed != nullptr)
        *consumed = 0;
    if (text == nullptr)
        return 0;
    size_t at = 0;
    while (at < length && isBlank(text[at]))
        ++at;
    const bool negative = at < length && text[at] == '-';
    if (at < length && (text[at] == '-' || text[at] == '+'))
        ++at;

    // Counted downwards, since the negative side of int64_t is the longer one.
    const size_t firstDigit = at;
    int64_t value = 0;
    bool overflow = false;
    for (; at < length && text[at] >= '0' && text[at] <= '9'; ++at) {
        overflow |= __builtin_mul_overflow(value, 10, &value);
        overflow |= __builtin_sub_overflow(value, text[at] - '0', &value);
    }
    if (at == firstDigit)
        return 0;
    if (consumed != nullptr)
        *consumed = at;
    if (negative)
        return overflow ? INT64_MIN : value;
    return overflow || value == INT64_MIN ? INT64_MAX : -value;
}

int textToInt(const char *text, size_t length)
{
    const int64_t value = readDecimal(text, length);
    if (value > INT_MAX)
        return INT_MAX;
    return value < INT_MIN ? INT_MIN : static_cast<int>(value);
}

int textToInt(const char *text)
{
    return textToInt(text, safeStrlen(text));
}

size_t lengthBefore(const char *text, const char *ends)
{
    size_t length = 0;
    while (text[length] != '\0' && strchr(ends, text[length]) == nullptr)
        ++length;
    return length;
}
