#include "kest/platform/Utf8.h"

#include <gtest/gtest.h>

#include <vector>

namespace Tallowmere::platform::utf8 {
namespace {

struct Character {
    std::uint32_t c;
    const char* bytes;
};

const Character kBorders[] = {
    {0x01, "\x01"},
    {0x7F, "\x7F"},
    {0x80, "\xC2\x80"},
    {0x7FF, "\xDF\xBF"},
    {0x800, "\xE0\xA0\x80"},
    {0xD7FF, "\xED\x9F\xBF"},
    {0xE000, "\xEE\x80\x80"},
    {0xFFFF, "\xEF\xBF\xBF"},
    {0x10000, "\xF0\x90\x80\x80"},
    {0x10FFFF, "\xF4\x8F\xBF\xBF"},
};

TEST(Utf8, EncodesAtTheBordersOfEachLength) {
    for (const Character& border : kBorders) {
        std::string out = "a";
        append(border.c, out);
        EXPECT_EQ(std::string("a") + border.bytes, out) << std::hex << border.c;
    }
}

TEST(Utf8, DecodesAtTheBordersOfEachLength) {
    for (const Character& border : kBorders) {
        const std::string text = std::string("ab") + border.bytes + "z";
        std::uint32_t c = 0;
        EXPECT_EQ(text.size() - 3, decode(text, 2, c)) << std::hex << border.c;
        EXPECT_EQ(border.c, c);
    }
}

TEST(Utf8, DecodesAZeroByte) {
    std::uint32_t c = 7;
    EXPECT_EQ(1U, decode(std::string_view("\0", 1), 0, c));
    EXPECT_EQ(0U, c);
}

TEST(Utf8, RefusesWhatIsNotValid) {
    const std::vector<std::string> wrong = {
        "\x80",              // a continuation alone
        "\xBF",              //
        "\xC0\x80",          // longer than need be
        "\xC1\xBF",          //
        "\xE0\x9F\xBF",      //
        "\xF0\x8F\xBF\xBF",  //
        "\xED\xA0\x80",      // surrogates
        "\xED\xBF\xBF",      //
        "\xF4\x90\x80\x80",  // beyond the last character
        "\xF5\x80\x80\x80",  //
        "\xFF",              //
        "\xC3",              // cut
        "\xE2\x82",          //
        "\xF0\x9F\x98",      //
        "\xC3z",             // a letter where a continuation belongs
        "\xE2\x82z",         //
    };
    for (const std::string& text : wrong) {
        std::uint32_t c = 0;
        EXPECT_EQ(0U, decode(text, 0, c)) << testing::PrintToString(text);
    }
}

TEST(Utf8, EncodesWideText) {
    EXPECT_EQ("", encode(L""));
    EXPECT_EQ("a\xC3\xA9\xE2\x82\xAC", encode(L"a\u00E9\u20AC"));
}

TEST(Utf8, EncodesAPairOfSurrogatesAsOneCharacter) {
    const wchar_t pair[] = {0xD83D, 0xDE00, L'z', 0};
    EXPECT_EQ("\xF0\x9F\x98\x80z", encode(pair));
}

TEST(Utf8, ReplacesHalfAPair) {
    const wchar_t text[] = {0xDE00, L'a', 0xD83D, 0xD83D, 0xDE00, 0xD83D, 0};
    EXPECT_EQ(
        "\xEF\xBF\xBD"
        "a"
        "\xEF\xBF\xBD"
        "\xF0\x9F\x98\x80"
        "\xEF\xBF\xBD",
        encode(text));
}

}  // namespace
}  // namespace Tallowmere::platform::utf8
