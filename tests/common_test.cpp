#include "text.h"

#include "owned.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <tuple>

TEST(Text, ComparesAndCopiesSafely)
{
    EXPECT_EQ(0, safeStrcmp(nullptr, nullptr));
    EXPECT_EQ(-1, safeStrcmp(nullptr, ""));
    EXPECT_EQ(1, safeStrcmp("", nullptr));
    EXPECT_EQ(0, safeStrncmp("HoldRequestsX", "HoldRequests", 12));
    EXPECT_NE(0, safeStrncmp("HoldRequest", "HoldRequests", 12));
    EXPECT_EQ(1, safeStrncmp("x", nullptr, 0));
    safeStrncpy(nullptr, "x", 4);
    char buffer[4] = "#";
    for (const auto &[source, size, copy] :
         {std::tuple("abcdef", 0U, "#"), {"abcdef", 4U, "abc"}, {"x", 4U, "x"}}) {
        safeStrncpy(buffer, source, size);
        EXPECT_STREQ(copy, buffer);
    }
}

TEST(Text, AllocatesTexts)
{
    EXPECT_STREQ("Envelope", OwnedText(getMsg("Envelope>", 8)).get());
    EXPECT_STREQ("Body", OwnedText(getMsg("Body")).get());
    EXPECT_STREQ("", OwnedText(getMsg("Body", 0)).get());
    EXPECT_EQ(nullptr, getMsg(nullptr, 3));
    for (const int value : {0, 7, 1000, INT_MAX})
        EXPECT_EQ(std::to_string(value), OwnedText(intToStr(value)).get());
    EXPECT_EQ(nullptr, intToStr(-5));
}

TEST(Text, ReadsNumbersWithinTheirBound)
{
    using Row =
        std::tuple<const char *, size_t, int64_t, size_t>; // text and its length; value and its digits
    for (const auto &[text, length, value, digits] :
         {Row{"123", 3, 123, 3}, Row{"123", 2, 12, 2}, Row{" \t-7x", 5, -7, 4}, Row{"+9]", 3, 9, 2},
          Row{"", 0, 0, 0}, Row{"-", 1, 0, 0}, Row{"x1", 2, 0, 0},
          Row{"9223372036854775807", 19, INT64_MAX, 19}, Row{"9223372036854775808", 19, INT64_MAX, 19},
          Row{"-9223372036854775808", 20, INT64_MIN, 20}, Row{"-99999999999999999999", 21, INT64_MIN, 21}}) {
        size_t consumed = 99;
        EXPECT_EQ(value, readDecimal(text, length, &consumed)) << text;
        EXPECT_EQ(digits, consumed) << text;
    }
    EXPECT_EQ(INT_MAX, textToInt("2147483648"));
    EXPECT_EQ(INT_MIN, textToInt("-2147483649"));
    EXPECT_EQ(0, textToInt(nullptr));
}
