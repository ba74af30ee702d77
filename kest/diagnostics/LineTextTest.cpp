#include "kest/diagnostics/LineText.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace Tallowmere {
namespace {

wchar_t unit(std::uint32_t value) {
    return static_cast<wchar_t>(value);
}

std::string encoded(const std::wstring& text) {
    LineText line;
    line.append(text);
    line.finish();
    return std::string(line.bytes());
}

TEST(LineText, IsEmptyAtFirst) {
    LineText line;
    EXPECT_TRUE(line.empty());
    EXPECT_EQ("", line.bytes());
    line.finish();
    EXPECT_TRUE(line.empty());
}

TEST(LineText, EncodesWhereverACharacterStandsInABlock) {
    for (std::size_t before = 0; before < 40; ++before) {
        for (std::size_t after = 0; after < 40; ++after) {
            const std::wstring text =
                std::wstring(before, L'a') + unit(0xE9) + std::wstring(after, L'b');
            EXPECT_EQ(std::string(before, 'a') + "\xC3\xA9" + std::string(after, 'b'),
                      encoded(text));
        }
    }
}

TEST(LineText, KeepsNullCharacters) {
    EXPECT_EQ(std::string("a\0b", 3), encoded(std::wstring(L"a\0b", 3)));
}

TEST(LineText, JoinsPairsWhoseHalvesArriveApart) {
    LineText line;
    line.append(unit(0xD83D));
    EXPECT_TRUE(line.isPairOpen());
    EXPECT_FALSE(line.empty());
    line.append(unit(0xDE00));
    line.append(std::wstring(1, unit(0xD83D)));
    line.append(std::wstring(1, unit(0xDE00)) + L"x");
    EXPECT_EQ("\xF0\x9F\x98\x80\xF0\x9F\x98\x80x", line.bytes());
}

TEST(LineText, ReplacesHalfAPairBeforeAnythingElse) {
    LineText line;
    line.append(unit(0xD83D));
    line.appendNumber(std::int64_t{1});
    line.append(unit(0xD83D));
    line.appendBytes("b");
    line.append(unit(0xDE00));
    line.append(unit(0xD83D));
    line.finish();
    EXPECT_EQ(
        "\xEF\xBF\xBD"
        "1\xEF\xBF\xBD"
        "b\xEF\xBF\xBD\xEF\xBF\xBD",
        line.bytes());
}

TEST(LineText, TakesABytesValueForItsCharacter) {
    LineText line;
    line.appendBytes("a\x80\xFF");
    EXPECT_EQ("a\xC2\x80\xC3\xBF", line.bytes());
}

TEST(LineText, WritesAllNumbers) {
    LineText line;
    line.appendNumber(std::numeric_limits<std::int64_t>::min());
    line.append(L' ');
    line.appendNumber(std::numeric_limits<std::uint64_t>::max());
    line.append(L' ');
    line.appendNumber(std::int64_t{0});
    EXPECT_EQ("-9223372036854775808 18446744073709551615 0", line.bytes());
}

TEST(LineText, TakesAnotherWithItsOpenPair) {
    LineText first;
    LineText second;
    first.append(L"one ");
    second.append(L"two");
    second.append(unit(0xD83D));
    first.take(second);
    EXPECT_TRUE(second.empty());
    EXPECT_EQ("one two", first.bytes());
    first.append(unit(0xDE00));
    EXPECT_EQ("one two\xF0\x9F\x98\x80", first.bytes());
    LineText third;
    third.append(L"x");
    first.append(unit(0xD83D));
    first.take(third);
    EXPECT_EQ("one two\xF0\x9F\x98\x80\xEF\xBF\xBDx", first.bytes());
}

TEST(LineText, ForgetsBytesButNotAnOpenPair) {
    LineText line;
    line.append(L"gone");
    line.append(unit(0xD83D));
    line.clearBytes();
    line.append(unit(0xDE00));
    line.prependLineFeed();
    EXPECT_EQ("\n\xF0\x9F\x98\x80", line.bytes());
}

TEST(LineText, GrowsToAnySize) {
    LineText line;
    std::string expected;
    for (int i = 0; i < 100000; ++i) {
        line.append(L"0123456789");
        expected += "0123456789";
    }
    EXPECT_EQ(expected, line.bytes());
}

}  // namespace
}  // namespace Tallowmere
