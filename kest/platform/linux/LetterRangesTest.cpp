#include "kest/platform/linux/LetterRanges.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "kest/platform/Characters.h"

namespace Tallowmere::platform {
namespace {

TEST(LetterRanges, AreAscendingAndApart) {
    int previous = -1;
    for (const LetterRange& range : kLetterRanges) {
        // Neighbours would be one run.
        EXPECT_GT(static_cast<int>(range.first), previous + 1) << range.first;
        EXPECT_LE(range.first, range.last);
        previous = range.last;
    }
}

TEST(LetterRanges, HoldExactlyTheLetters) {
    std::size_t inRanges = 0;
    for (const LetterRange& range : kLetterRanges) {
        inRanges += range.last - range.first + 1U;
        EXPECT_TRUE(isLetter(static_cast<wchar_t>(range.first)));
        EXPECT_TRUE(isLetter(static_cast<wchar_t>(range.last)));
        EXPECT_FALSE(isLetter(static_cast<wchar_t>(range.first - 1)));
        EXPECT_FALSE(isLetter(static_cast<wchar_t>(range.last + 1)));
    }
    std::size_t letters = 0;
    for (wchar_t c = 0; c <= 0xFFFF; ++c) {
        letters += isLetter(c) ? 1 : 0;
    }
    EXPECT_EQ(49027U, inRanges);
    EXPECT_EQ(49027U, letters);
}

TEST(LetterRanges, EndWithThePlane) {
    // Wherever the low 16 bits would point: letters of other planes are two units on Windows.
    for (const wchar_t c : {0x10000, 0x10041, 0x10400, 0x1D400, 0x20000, 0x10FFFF, -1}) {
        EXPECT_FALSE(isLetter(c)) << static_cast<long>(c);
        EXPECT_FALSE(isSpaceCharacter(c)) << static_cast<long>(c);
        EXPECT_EQ(static_cast<unsigned int>(c), lowerNarrow(c));
    }
    EXPECT_FALSE(isSpaceCharacter(0x85));
    EXPECT_FALSE(isSpaceCharacter(0x10020));
}

}  // namespace
}  // namespace Tallowmere::platform
