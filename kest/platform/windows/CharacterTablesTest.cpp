// The tables that stand for the system's character classes elsewhere, held to what the system
// itself answers for every unit.

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <string>

#include "kest/platform/Characters.h"
#include "kest/platform/Win32.h"
#include "kest/platform/linux/LetterRanges.h"
#include "kest/platform/linux/UpperCase.h"

extern "C" NTSYSAPI WCHAR NTAPI RtlUpcaseUnicodeChar(WCHAR unit);

namespace Tallowmere::platform {
namespace {

TEST(CharacterTables, HoldTheSystemsLetters) {
    std::setlocale(LC_ALL, "C");
    for (unsigned value = 0; value <= 0xFFFF; ++value) {
        const bool isInTable =
            std::any_of(std::begin(kLetterRanges), std::end(kLetterRanges),
                        [&](const LetterRange& r) { return value >= r.first && value <= r.last; });
        EXPECT_EQ(isLetter(static_cast<wchar_t>(value)), isInTable) << value;
    }
}

TEST(CharacterTables, HoldTheSystemsUpperCase) {
    for (unsigned value = 0; value <= 0xFFFF; ++value) {
        EXPECT_EQ(static_cast<unsigned>(RtlUpcaseUnicodeChar(static_cast<WCHAR>(value))),
                  static_cast<unsigned>(upperCase(static_cast<char16_t>(value))))
            << value;
    }
}

}  // namespace
}  // namespace Tallowmere::platform
