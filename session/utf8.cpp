#include "utf8.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iconv.h>

#include "owned.h"

/// One letter becomes at most two bytes; the room is generous, and untouched pages cost nothing.
constexpr size_t kRoomPerByte = 4;

static char *convert(iconv_t converter, char *text, int *length)
{
    size_t left = static_cast<size_t>(*length);
    const size_t size = kRoomPerByte * left + 1;
    char *converted = static_cast<char *>(calloc(size, 1));
    if (converted == nullptr)
        return nullptr;
    char *out = converted;
    size_t room = size;
    iconv(converter, &text, &left, &out, &room);
    *length = static_cast<int>(size - room);
    return converted;
}

char *convertToUtf8(char *text, int *length)
{
    OwnedText latin1(text);
    if (latin1 == nullptr || *length > INT_MAX / static_cast<int>(kRoomPerByte)) {
        *length = 0;
        return nullptr;
    }
    const iconv_t converter = iconv_open("UTF-8", "ISO-8859-1");
    // NOLINTNEXTLINE(performance-no-int-to-ptr): so iconv_open says that it failed
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        printf("iconv_open start! open failed\n");
        return latin1.release();
    }
    char *utf8 = convert(converter, latin1.get(), length);
    iconv_close(converter);
    if (utf8 == nullptr)
        *length = 0;
    return utf8;
}
