#include "base64.h"
#include "xml_escape.h"

#include "failing_allocator.h"
#include "guarded_text.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

TEST(Escape, GivesBackEveryByte)
{
    std::string everyByte = "a&b<c>\"d'e1234567<1234567>1234567&1234567'1234567\"&lt;";
    for (int c = 255; c > 0; --c)
        everyByte += static_cast<char>(c);
    forEachPrefix(everyByte, [](char *in, int length) {
        const GuardedText out = guardText(std::string(static_cast<size_t>(ILibXmlEscapeLength(in)) + 1, '#'));
        EXPECT_EQ(out.size - 1, ILibXmlEscape(out.text, in));
        EXPECT_EQ(strlen(out.text), strcspn(out.text, "<>\"'"));
        EXPECT_EQ(length >= 10, strstr(out.text, "a&amp;b&lt;c&gt;&quot;d&apos;e") == out.text);
        EXPECT_EQ(length, ILibInPlaceXmlUnEscape(out.text));
        EXPECT_STREQ(in, out.text);
        freeGuardedText(out);
    });
}

TEST(Escape, LeavesOtherEntitiesAlone)
{
    for (const auto &[text, expected] : {std::pair{"&amp;lt;", "&lt;"},
                                         {"&#38;&copy;&amp&AMP;&&gt;", "&#38;&copy;&amp&AMP;&>"},
                                         {"&quo", "&quo"},
                                         {"&&&apos;", "&&'"}}) {
        const GuardedText guarded = guardText(std::string(text) + '\0');
        EXPECT_EQ(static_cast<int>(strlen(expected)), ILibInPlaceXmlUnEscape(guarded.text));
        EXPECT_STREQ(expected, guarded.text);
        freeGuardedText(guarded);
    }
}

static const unsigned char *bytesOf(const char *text)
{
    return reinterpret_cast<const unsigned char *>(text);
}

static std::string decode(std::string_view text)
{
    const GuardedText guarded = guardText(text);
    unsigned char *bytes = nullptr;
    const int length = ILibBase64Decode(bytesOf(guarded.text), guarded.size, &bytes);
    std::string decoded(reinterpret_cast<char *>(bytes), static_cast<size_t>(length));
    EXPECT_TRUE(bytes == nullptr || bytes[length] == '\0');
    free(bytes);
    freeGuardedText(guarded);
    return decoded;
}

TEST(Base64, GivesBackEveryByte)
{
    std::string everyByte;
    for (int c = 0; c < 256; ++c)
        everyByte += static_cast<char>(c * 37);
    for (size_t size = 1; size <= everyByte.size(); ++size) {
        const GuardedText guarded = guardText(everyByte.substr(0, size));
        char *text = nullptr;
        const int length = ILibBase64Encode(bytesOf(guarded.text), guarded.size, &text);
        EXPECT_EQ((size + 2) / 3 * 4, static_cast<size_t>(length));
        EXPECT_EQ(everyByte.substr(0, size), decode(text));
        free(text);
        freeGuardedText(guarded);
    }
}

TEST(Base64, FollowsItsVectors)
{
    for (const auto &[plain, encoded] : {std::pair{"f", "Zg=="},
                                         {"fo", "Zm8="},
                                         {"foo", "Zm9v"},
                                         {"foob", "Zm9vYg=="},
                                         {"\xfb\xff\xbf", "+/+/"}}) {
        char *text = nullptr;
        EXPECT_EQ(static_cast<int>(strlen(encoded)),
                  ILibBase64Encode(bytesOf(plain), static_cast<int>(strlen(plain)), &text));
        EXPECT_STREQ(encoded, text);
        free(text);
        EXPECT_EQ(plain, decode(encoded));
    }
    EXPECT_EQ("foob", decode("\nZm-9,v=\x80Yg{"));
    EXPECT_EQ("foo", decode("Zm9vY"));
    EXPECT_EQ("", decode("===="));
}

TEST(Base64, HasNoOutputForNothing)
{
    char *text = nullptr;
    unsigned char *bytes = nullptr;
    failAllocation(1, true);
    for (const char *input : {"", "abc", static_cast<const char *>(nullptr)}) {
        const int length = input == nullptr ? 3 : static_cast<int>(strlen(input));
        EXPECT_EQ(0, ILibBase64Encode(bytesOf(input), length, &text));
        EXPECT_EQ(0, ILibBase64Decode(bytesOf(input), length, &bytes));
        EXPECT_TRUE(text == nullptr && bytes == nullptr);
    }
    failAllocation(0, false);
}
