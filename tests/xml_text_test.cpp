#include "base64.h"
#include "xml_escape.h"

#include "failing_allocator.h"
#include "guarded_text.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

using std::string;
using Row = std::pair<const char *, const char *>;

TEST(Escape, GivesBackEveryByte)
{
    string everyByte = "a&b<c>\"d'e1234567<1234567>1234567&1234567'1234567\"&lt;";
    for (int c = 255; c > 0; --c)
        everyByte += static_cast<char>(c);
    forEachPrefix(everyByte, [](char *in, int length) {
        const GuardedText out(string(static_cast<size_t>(ILibXmlEscapeLength(in)) + 1, '#'));
        EXPECT_EQ(out.size - 1, ILibXmlEscape(out.text, in));
        EXPECT_EQ(strlen(out.text), strcspn(out.text, "<>\"'"));
        EXPECT_EQ(length >= 10, strstr(out.text, "a&amp;b&lt;c&gt;&quot;d&apos;e") == out.text);
        EXPECT_EQ(length, ILibInPlaceXmlUnEscape(out.text));
        EXPECT_STREQ(in, out.text);
    });
}

TEST(Escape, LeavesOtherEntitiesAlone)
{
    for (const auto &[text, expected] :
         {Row{"&amp;lt;", "&lt;"}, Row{"&#38;&copy;&amp&AMP;&&gt;", "&#38;&copy;&amp&AMP;&>"},
          Row{"&quo", "&quo"}, Row{"&&&apos;", "&&'"}}) {
        const GuardedText guarded(string(text) + '\0');
        EXPECT_EQ(static_cast<int>(strlen(expected)), ILibInPlaceXmlUnEscape(guarded.text));
        EXPECT_STREQ(expected, guarded.text);
    }
}

static const unsigned char *bytesOf(const char *text)
{
    return reinterpret_cast<const unsigned char *>(text);
}

static string encode(std::string_view bytes)
{
    const GuardedText guarded(bytes);
    char *text = nullptr;
    const int length = ILibBase64Encode(bytesOf(guarded.text), guarded.size, &text);
    string encoded = text;
    EXPECT_EQ(static_cast<size_t>(length), encoded.size());
    free(text);
    return encoded;
}

static string decode(std::string_view text)
{
    const GuardedText guarded(text);
    unsigned char *bytes = nullptr;
    const int length = ILibBase64Decode(bytesOf(guarded.text), guarded.size, &bytes);
    string decoded(reinterpret_cast<char *>(bytes), static_cast<size_t>(length));
    EXPECT_TRUE(bytes == nullptr || bytes[length] == '\0');
    free(bytes);
    return decoded;
}

TEST(Base64, GivesBackEveryByte)
{
    string everyByte;
    for (int c = 0; c < 256; ++c) {
        everyByte += static_cast<char>(c * 37);
        EXPECT_EQ(everyByte, decode(encode(everyByte)));
    }
    for (const auto &[plain, encoded] : {Row{"f", "Zg=="}, Row{"fo", "Zm8="}, Row{"\xfb\xff\xbf", "+/+/"}})
        EXPECT_EQ(encoded, encode(plain));
    EXPECT_EQ("foob", decode("\nZm-9,v=\x80Yg{"));
    EXPECT_EQ("foo", decode("Zm9vY"));
    EXPECT_EQ("", decode("===="));
}

TEST(Base64, HasNoOutputForNothing)
{
    char *text = nullptr;
    unsigned char *bytes = nullptr;
    failAllocation(1, true);
    for (const auto &[input, length] : {std::pair{"", 0}, {"abc", 3}, {nullptr, 3}}) {
        EXPECT_EQ(0, ILibBase64Encode(bytesOf(input), length, &text));
        EXPECT_EQ(0, ILibBase64Decode(bytesOf(input), length, &bytes));
        EXPECT_TRUE(text == nullptr && bytes == nullptr);
    }
    failAllocation(0, false);
}
