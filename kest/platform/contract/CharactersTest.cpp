#include "kest/platform/Characters.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

// The character classes as Windows has them. They hold on both systems.

namespace Tallowmere::platform {
namespace {

TEST(IsSpaceCharacter, KnowsTheSpacesOfUnicode) {
    std::wstring spaces;
    for (unsigned long value = 0; value <= 0xFFFF; ++value) {
        // Left open: these two have been spaces in some versions of Windows and not in others.
        if (value == 0x85 || value == 0x180E) {
            continue;
        }
        if (isSpaceCharacter(static_cast<wchar_t>(value))) {
            spaces.push_back(static_cast<wchar_t>(value));
        }
    }
    EXPECT_EQ(
        L"\t\n\v\f\r \u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A"
        L"\u2028\u2029\u202F\u205F\u3000",
        spaces);
}

TEST(IsLetter, KnowsLettersOfAllScripts) {
    // Latin, a title-case letter, a modifier, Greek, Cyrillic, Hebrew, Arabic, Devanagari, Thai,
    // Georgian, a Roman numeral, kana, ideographs, Hangul, full width.
    for (const wchar_t c : std::wstring(
             L"AZaz\u00C0\u00C4\u00D6\u00D8\u00DF\u00E9\u00FF\u0100\u0141\u017F\u01C5\u02B0\u03A9"
             L"\u03B1\u0416\u044F\u05D0\u0627\u0905\u0E01\u10D0\u1100\u1E9E\u2160\u3042\u30AB\u4E00"
             L"\u65E5\u9FA5\uAC00\uD7A3\uFF21\uFF5A")) {
        EXPECT_TRUE(isLetter(c)) << static_cast<unsigned long>(c);
    }
}

TEST(IsLetter, RefusesEverythingElse) {
    // Controls, punctuation, symbols, digits of any script, spaces, marks, private use.
    for (const wchar_t c : std::wstring(
             L"\x01\t @[`{09_-.:$\x7F\u00A0\u00AA\u00B5\u00BA\u00B2\u00D7\u00F7\u0300\u0301\u0660"
             L"\u0969\u20AC\u2028\u2122\u24B6\u3001\uE000\uF05C\uFF10\uFFFD")) {
        EXPECT_FALSE(isLetter(c)) << static_cast<unsigned long>(c);
    }
    // The terminating zero, surrogates, and what is no character.
    for (const unsigned long value : {0x0UL, 0xD800UL, 0xDBFFUL, 0xDC00UL, 0xDFFFUL, 0xFFFFUL}) {
        EXPECT_FALSE(isLetter(static_cast<wchar_t>(value))) << value;
    }
}

TEST(LowerNarrow, LowersAsciiAlone) {
    std::setlocale(LC_ALL, "C");
    for (unsigned int value = 0; value <= 0xFFFF; ++value) {
        const unsigned int expected = value >= 'A' && value <= 'Z' ? value + 32 : value;
        ASSERT_EQ(expected, lowerNarrow(static_cast<wchar_t>(value)));
    }
}

}  // namespace
}  // namespace Tallowmere::platform
