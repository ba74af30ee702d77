#include "kest/text/Integer.h"

#include <gtest/gtest.h>

#include <limits>

namespace Tallowmere {
namespace {

TEST(LeadingInteger, ReadsASignAndDigits) {
    EXPECT_EQ(0, leadingInteger(L"0"));
    EXPECT_EQ(12, leadingInteger(L"12"));
    EXPECT_EQ(12, leadingInteger(L"+12"));
    EXPECT_EQ(-12, leadingInteger(L"-12"));
    EXPECT_EQ(9, leadingInteger(L"0009"));
}

TEST(LeadingInteger, SkipsWhiteSpaceInFront) {
    EXPECT_EQ(7, leadingInteger(L" \t\r\n\v\f7"));
    EXPECT_EQ(7, leadingInteger(L"\u00A0\u30007"));
    EXPECT_EQ(0, leadingInteger(L"- 7"));
}

TEST(LeadingInteger, StopsAtTheFirstOtherCharacter) {
    EXPECT_EQ(7, leadingInteger(L"7up"));
    EXPECT_EQ(1, leadingInteger(L"1.9"));
    EXPECT_EQ(0, leadingInteger(L"0x1F"));
    EXPECT_EQ(1, leadingInteger(L"1 2"));
}

TEST(LeadingInteger, IsZeroWithoutADigit) {
    for (const wchar_t* text : {L"", L" ", L"-", L"+", L"--1", L"+-1", L"abc", L"\u00BD"}) {
        EXPECT_EQ(0, leadingInteger(text)) << text;
    }
}

TEST(LeadingInteger, ReadsDigitsOfOtherScripts) {
    EXPECT_EQ(2024, leadingInteger(L"\u0662\u0660\u0662\u0664"));
    EXPECT_EQ(10, leadingInteger(L"\uFF11\uFF10"));
}

TEST(LeadingInteger, StaysAtTheLimits) {
    constexpr int kLargest = std::numeric_limits<int>::max();
    constexpr int kSmallest = std::numeric_limits<int>::min();
    EXPECT_EQ(kLargest, leadingInteger(L"2147483647"));
    EXPECT_EQ(kLargest, leadingInteger(L"2147483648"));
    EXPECT_EQ(kSmallest, leadingInteger(L"-2147483648"));
    EXPECT_EQ(kSmallest, leadingInteger(L"-2147483649"));
    EXPECT_EQ(kLargest, leadingInteger(L"99999999999999999999999999999999999999"));
    EXPECT_EQ(kSmallest, leadingInteger(L"-99999999999999999999999999999999999999"));
}

}  // namespace
}  // namespace Tallowmere
