#include "kest/platform/linux/Names.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::names {
namespace {

/// The wide form of a byte that cannot stand for itself.
std::wstring escaped(const std::string& bytes) {
    std::wstring wide;
    for (const char byte : bytes) {
        wide.push_back(static_cast<wchar_t>(0xF000 + static_cast<unsigned char>(byte)));
    }
    return wide;
}

/// The bytes of a wide name, or a text that no test expects.
std::string bytesOf(const std::wstring& wide) {
    std::string native;
    return narrow(wide, native) ? native : "(not a name)";
}

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values) {
        text.push_back(static_cast<char>(value));
    }
    return text;
}

TEST(Names, ValidUtf8StandsForItself) {
    const struct {
        std::string native;
        std::wstring wide;
    } cases[] = {
        {"", L""},
        {"plain name.txt", L"plain name.txt"},
        {"a/b", L"a/b"},
        {"caf\xC3\xA9", L"caf\u00E9"},
        {"\xC2\x80", L"\u0080"},
        {"\xDF\xBF", L"\u07FF"},
        {"\xE0\xA0\x80", L"\u0800"},
        {"\xE6\x97\xA5\xE6\x9C\xAC", L"\u65E5\u672C"},
        {"\xED\x9F\xBF", L"\uD7FF"},
        {"\xEE\x80\x80", L"\uE000"},
        {"\xEF\xBF\xBF", std::wstring(1, 0xFFFF)},
        {"\xF0\x90\x80\x80", L"\U00010000"},
        {"\xF0\x9F\x98\x80", L"\U0001F600"},
        {"\xF4\x8F\xBF\xBF", std::wstring(1, 0x10FFFF)},
        {"\x01\x7F\n", L"\x01\x7F\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.wide, widen(c.native)) << c.native;
        EXPECT_EQ(c.native, bytesOf(c.wide)) << c.native;
    }
}

TEST(Names, BytesThatAreNoUtf8AreEscaped) {
    const struct {
        std::string native;
        std::wstring wide;
    } cases[] = {
        {"\xE9", escaped("\xE9")},
        {"caf\xE9!", L"caf" + escaped("\xE9") + L"!"},
        {"\x80", escaped("\x80")},
        {"\xFF\xFE", escaped("\xFF\xFE")},
        // Overlong forms of the slash, of zero, and of a character of two and three bytes.
        {"\xC0\xAF", escaped("\xC0\xAF")},
        {"\xE0\x80\xAF", escaped("\xE0\x80\xAF")},
        {"\xF0\x80\x80\xAF", escaped("\xF0\x80\x80\xAF")},
        {"\xC0\x80", escaped("\xC0\x80")},
        {"\xC1\xBF", escaped("\xC1\xBF")},
        {"\xE0\x9F\xBF", escaped("\xE0\x9F\xBF")},
        {"\xF0\x8F\xBF\xBF", escaped("\xF0\x8F\xBF\xBF")},
        // Surrogates, alone and in pairs, and beyond the last character.
        {"\xED\xA0\x80", escaped("\xED\xA0\x80")},
        {"\xED\xBF\xBF", escaped("\xED\xBF\xBF")},
        {"\xED\xA0\xBD\xED\xB8\x80", escaped("\xED\xA0\xBD\xED\xB8\x80")},
        {"\xF4\x90\x80\x80", escaped("\xF4\x90\x80\x80")},
        {"\xF5\x80\x80\x80", escaped("\xF5\x80\x80\x80")},
        {"\xF8\x88\x80\x80\x80", escaped("\xF8\x88\x80\x80\x80")},
        // Cut short by the end or by another character, which is not swallowed.
        {"\xC3", escaped("\xC3")},
        {"\xE2\x82", escaped("\xE2\x82")},
        {"\xE2\x82"
         "a",
         escaped("\xE2\x82") + L"a"},
        {"\xF0\x9F\x98/", escaped("\xF0\x9F\x98") + L"/"},
        {"\xE2\xC3\xA9", escaped("\xE2") + L"\u00E9"},
        {"\xC3\xA9\xA9", L"\u00E9" + escaped("\xA9")},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.wide, widen(c.native)) << ::testing::PrintToString(c.native);
        EXPECT_EQ(c.native, bytesOf(c.wide)) << ::testing::PrintToString(c.native);
    }
}

TEST(Names, ABackslashIsEscaped) {
    EXPECT_EQ(L"a\uF05Cb", widen("a\\b"));
    EXPECT_EQ("a\\b", bytesOf(L"a\uF05Cb"));
    EXPECT_EQ(L"\uF05C\uF05C?\uF05C", widen("\\\\?\\"));
    EXPECT_EQ("\\\\?\\", bytesOf(L"\uF05C\uF05C?\uF05C"));
}

TEST(Names, ANameThatHoldsAnEscapeCharacterIsEscapedByteByByte) {
    // U+F05C, U+F080 and U+F0FF, as they stand in a name.
    for (const char* native : {"\xEF\x81\x9C", "\xEF\x82\x80", "\xEF\x83\xBF"}) {
        EXPECT_EQ(escaped(native), widen(native));
        EXPECT_EQ(native, bytesOf(widen(native)));
    }
    EXPECT_EQ(L"a" + escaped("\xEF\x81\x9C") + L"\uF05C", widen("a\xEF\x81\x9C\\"));
    EXPECT_EQ("a\xEF\x81\x9C\\", bytesOf(widen("a\xEF\x81\x9C\\")));
    // Their neighbours stand for themselves: no other byte is ever escaped.
    for (const wchar_t c : {0xF000, 0xF02F, 0xF05B, 0xF05D, 0xF07F, 0xF100}) {
        const std::wstring wide(1, c);
        EXPECT_EQ(wide, widen(bytesOf(wide)));
        EXPECT_EQ(3U, bytesOf(wide).size());
    }
}

TEST(Names, NoWideNameTurnsIntoASeparatorOrAnEnd) {
    for (std::int32_t c = 1; c <= 0x10FFFF; ++c) {
        std::string native;
        if (c != L'/' && narrow(std::wstring(1, c), native)) {
            ASSERT_EQ(std::string::npos, native.find('/')) << c;
            ASSERT_EQ(std::string::npos, native.find('\0')) << c;
        }
    }
}

TEST(Names, EveryNameOfOneOrTwoBytesComesBackAndIsToldFromAllOthers) {
    std::set<std::wstring> seen;
    for (int first = 0; first <= 0xFF; ++first) {
        const std::string one = bytes({first});
        ASSERT_EQ(one, bytesOf(widen(one))) << first;
        ASSERT_TRUE(seen.insert(widen(one)).second) << first;
        for (int second = 0; second <= 0xFF; ++second) {
            const std::string two = bytes({first, second});
            ASSERT_EQ(two, bytesOf(widen(two))) << first << " " << second;
            ASSERT_TRUE(seen.insert(widen(two)).second) << first << " " << second;
        }
    }
}

TEST(Names, EveryCharacterComesBack) {
    for (std::int32_t plane = 0; plane <= 0x10; ++plane) {
        std::string native;
        std::wstring wide;
        for (std::int32_t c = plane << 16; c <= (plane << 16 | 0xFFFF); ++c) {
            const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
            const bool escape = c == 0xF05C || (c >= 0xF080 && c <= 0xF0FF);
            if (!surrogate && !escape && c != L'\\') {
                wide.push_back(c);
            }
        }
        ASSERT_TRUE(narrow(wide, native));
        EXPECT_TRUE(wide == widen(native)) << plane;
    }
}

TEST(Names, RandomBytesComeBack) {
    // Bytes with which the forms of UTF-8 begin, go on and break off, among others.
    const std::string alphabet =
        bytes({'a',  '\\', 0x80, 0x81, 0x9C, 0xBF, 0xC1, 0xC3, 0xE0, 0xE2,
               0xED, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF, 0x82, 0x83, 0xA0, 0x90});
    std::mt19937 random(3);
    for (int i = 0; i < 50000; ++i) {
        std::string native(random() % 12, ' ');
        for (char& c : native) {
            c = alphabet[random() % alphabet.size()];
        }
        ASSERT_EQ(native, bytesOf(widen(native)));
    }
}

TEST(Names, RefusesUnitsThatNoNameHolds) {
    for (const wchar_t c : {0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0x110000, 0x7FFFFFFF, -1}) {
        std::string native;
        EXPECT_FALSE(narrow(std::wstring(L"a") + c + L"b", native)) << static_cast<long>(c);
    }
}

TEST(Names, AppendsToTheBytesThatAreThere) {
    std::string native = "dir/";
    EXPECT_TRUE(narrow(L"n\u00E4me", native));
    EXPECT_EQ("dir/n\xC3\xA4me", native);
}

TEST(ToNativePath, TurnsSeparatorsAndDropsOnePrefix) {
    const struct {
        const wchar_t* wide;
        const char* native;
    } cases[] = {
        {L"/tmp/a", "/tmp/a"},
        {L"\\tmp\\a", "/tmp/a"},
        {L"a\\b/c", "a/b/c"},
        {L"\\\\?\\/tmp\\a", "/tmp/a"},
        {L"\\\\?\\a", "a"},
        {L"\\\\server\\share", "//server/share"},
        // Only with backslashes is it the prefix.
        {L"//?/a", "//?/a"},
        {L"\\\\?/a", "//?/a"},
        {L"\\\\?", "//?"},
        // Elsewhere it is a path like others.
        {L"a\\\\?\\b", "a//?/b"},
        {L"dir\\na\uF05Cme\uF0E9", "dir/na\\me\xE9"},
        {L"\u00E9\\\U0001F600", "\xC3\xA9/\xF0\x9F\x98\x80"},
    };
    for (const auto& c : cases) {
        std::string native = "old";
        EXPECT_EQ(ERROR_SUCCESS, toNativePath(c.wide, native)) << c.wide;
        EXPECT_EQ(c.native, native) << c.wide;
    }
}

TEST(ToNativePath, RefusesWhatIsNoPath) {
    const struct {
        std::wstring wide;
        DWORD error;
    } cases[] = {
        {L"", ERROR_PATH_NOT_FOUND},
        {L"\\\\?\\", ERROR_PATH_NOT_FOUND},
        {L"\\\\?\\\\\\?\\", ERROR_INVALID_NAME},
        {L"\\\\?\\\\\\?\\/tmp/a", ERROR_INVALID_NAME},
        {L"\\\\?\\\\\\?\\\\\\?\\a", ERROR_INVALID_NAME},
        {std::wstring(L"/tmp/") + static_cast<wchar_t>(0xD800), ERROR_INVALID_NAME},
        {std::wstring(L"/tmp/") + static_cast<wchar_t>(0x110000), ERROR_INVALID_NAME},
    };
    for (const auto& c : cases) {
        std::string native = "old";
        EXPECT_EQ(c.error, toNativePath(c.wide.c_str(), native)) << c.wide;
    }
}

}  // namespace
}  // namespace Tallowmere::platform::names
