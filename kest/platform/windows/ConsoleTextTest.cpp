#include "kest/platform/windows/ConsoleText.h"

#include <gtest/gtest.h>

namespace Tallowmere::platform::console {
namespace {

constexpr wchar_t kHigh = 0xD83D;
constexpr wchar_t kLow = 0xDE00;

TEST(ConsoleText, ReplacesHalfPairsOfSurrogates) {
    EXPECT_EQ(L"", wellFormed(L""));
    EXPECT_EQ(L"a\u00e9\u65e5", wellFormed(L"a\u00e9\u65e5"));
    EXPECT_EQ((std::wstring{kHigh, kLow}), wellFormed(std::wstring{kHigh, kLow}));
    EXPECT_EQ((std::wstring{0xFFFD, L'a'}), wellFormed(std::wstring{kHigh, L'a'}));
    EXPECT_EQ((std::wstring{L'a', 0xFFFD}), wellFormed(std::wstring{L'a', kHigh}));
    EXPECT_EQ((std::wstring{0xFFFD, 0xFFFD}), wellFormed(std::wstring{kLow, kHigh}));
    EXPECT_EQ((std::wstring{0xFFFD, kHigh, kLow}), wellFormed(std::wstring{kHigh, kHigh, kLow}));
}

TEST(ConsoleText, PutsACarriageReturnBeforeEachLineFeed) {
    EXPECT_EQ(L"a\r\n\r\nb", withLineEnds(L"a\n\nb"));
    EXPECT_EQ(L"a\r\r\n", withLineEnds(L"a\r\n"));
    EXPECT_EQ((std::wstring{0xFFFD, L'\r', L'\n'}), withLineEnds(std::wstring{kHigh, L'\n'}));
}

TEST(ConsoleText, IsWrittenInPieces) {
    EXPECT_EQ(0U, firstPiece(L""));
    EXPECT_EQ(16384U, firstPiece(std::wstring(16384, L'x')));
    EXPECT_EQ(16384U, firstPiece(std::wstring(16385, L'x')));
    std::wstring text(16383, L'x');
    text += kHigh;
    text += kLow;
    EXPECT_EQ(16383U, firstPiece(text));
}

}  // namespace
}  // namespace Tallowmere::platform::console
