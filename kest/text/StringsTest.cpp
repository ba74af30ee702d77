#include "kest/text/Strings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <locale>
#include <memory>
#include <random>

#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::ScopedCall;

using Positions = std::vector<std::uint64_t>;
using Fields = std::vector<std::wstring>;
using Shorts = std::basic_string<unsigned short>;

wchar_t unit(unsigned long value) {
    return static_cast<wchar_t>(value);
}

/// A text of a few letters from a small alphabet, so that hits are frequent.
std::wstring randomText(std::mt19937& random, std::size_t longest, const std::wstring& alphabet) {
    std::wstring text(random() % (longest + 1), L' ');
    for (wchar_t& c : text) {
        c = alphabet[random() % alphabet.size()];
    }
    return text;
}

TEST(ToLower, ChangesAToZAlone) {
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(L"", toLower(L""));
    EXPECT_EQ(L"abcdefghijklmnopqrstuvwxyz", toLower(L"ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
    EXPECT_EQ(L"@[`{ azAz09_.\\", toLower(L"@[`{ AZ").append(L"Az09_.\\"));
    EXPECT_EQ(L"\u00C4bc", toLower(L"\u00C4BC"));
}

TEST(ToLower, CopiesEveryOtherUnit) {
    std::setlocale(LC_ALL, "C");
    for (unsigned long value = 0; value <= 0xFFFF; ++value) {
        const unsigned long lower = value >= 'A' && value <= 'Z' ? value + 32 : value;
        ASSERT_EQ(std::wstring(1, unit(lower)), toLower(std::wstring(1, unit(value)))) << value;
    }
}

TEST(ToLower, KeepsZerosInsideTheText) {
    EXPECT_EQ(std::wstring(L"a\0b", 3), toLower(std::wstring(L"A\0B", 3)));
}

TEST(ToLower, CutsToSixteenBits) {
    // Where units have 16 bits these are U+F600 and U+0041 to begin with, and nothing is left to
    // cut.
    EXPECT_EQ(std::wstring(1, unit(0xF600)), toLower(std::wstring(1, unit(0x1F600))));
    const wchar_t wide = unit(0x10041);
    EXPECT_EQ(std::wstring(1, sizeof(wchar_t) == 2 ? L'a' : L'A'), toLower(std::wstring(1, wide)));
}

TEST(Chomp, StripsWhiteSpaceFromBothEnds) {
    EXPECT_EQ(L"", chomp(L""));
    EXPECT_EQ(L"", chomp(L"   "));
    EXPECT_EQ(L"", chomp(L"\t\r\n"));
    EXPECT_EQ(L"a b", chomp(L" a b "));
    EXPECT_EQ(L"a", chomp(L"a"));
    EXPECT_EQ(L"a", chomp(L" \t\n\v\f\ra"));
    EXPECT_EQ(L"a", chomp(L"a \t\n\v\f\r"));
    EXPECT_EQ(L"a \t\n b", chomp(L"\na \t\n b\n"));
}

TEST(Chomp, KnowsTheSpacesOfUnicode) {
    EXPECT_EQ(L"x", chomp(L"\u00A0\u1680\u2000\u2003\u2007x\u200A\u2028\u2029\u202F\u205F\u3000"));
    EXPECT_EQ(L"", chomp(L"\u3000\u00A0"));
}

TEST(Chomp, KeepsWhatIsNoWhiteSpace) {
    EXPECT_EQ(L"\u200Bx\uFEFF", chomp(L" \u200Bx\uFEFF "));
    EXPECT_EQ(std::wstring(L"\0", 1), chomp(std::wstring(L" \0 ", 3)));
}

TEST(FindStringDelimiters, FindsASingleDelimiter) {
    const struct {
        std::wstring text;
        Positions positions;
    } cases[] = {
        {L"", {}},   {L"abc", {}},    {L"a,b", {1, 3}}, {L"a,b,", {1, 3}},
        {L",", {0}}, {L",a", {0, 2}}, {L",,", {0, 1}},  {L",,a", {0, 1, 3}},
    };
    for (const auto& c : cases) {
        Positions positions = {7, 7, 7};
        findStringDelimiters(c.text, L',', positions);
        EXPECT_EQ(c.positions, positions) << c.text;
    }
}

TEST(FindStringDelimiters, FindsASetOfDelimiters) {
    const struct {
        std::wstring text;
        const wchar_t* set;
        Positions positions;
    } cases[] = {
        {L"a/b\\c/", L"\\/", {1, 3, 5}},
        {L"a\\b/c\\", L"\\/", {1, 3, 5, 6}},
        // The other order decides otherwise.
        {L"a/b\\c/", L"/\\", {1, 3, 5, 6}},
        {L"a\\b/c\\", L"/\\", {1, 3, 5}},
        // A member that does not occur does not decide.
        {L"a\\b\\", L"\\/", {1, 3}},
        {L"a/b/", L"/\\", {1, 3}},
        {L"abc", L"\\/", {}},
        {L"", L"\\/", {}},
        {L"a/b", L"", {}},
        {L"abc", L"cba", {0, 1, 2, 3}},
        {L"abc", L"abc", {0, 1, 2}},
        // A repeated member counts twice, and its last place in the set is what decides.
        {L"a,b", L",,", {1, 1, 3}},
        {L"a,b,", L",,", {1, 1, 3, 3}},
        {L"a,;", L";,;", {1, 2, 2}},
        {L"a;,", L";,;", {1, 1, 2, 3}},
    };
    for (const auto& c : cases) {
        Positions positions = {7, 7, 7};
        findStringDelimiters(c.text, c.set, positions);
        EXPECT_EQ(c.positions, positions) << c.text << L" at " << c.set;
    }
}

TEST(FindStringDelimiters, NeverFindsZero) {
    Positions positions = {1};
    findStringDelimiters(std::wstring(L"a\0b", 3), L'\0', positions);
    EXPECT_EQ(Positions(), positions);
}

/// The list made step by step, one search for each member of the set.
Positions delimitersByDefinition(const std::wstring& text, const std::wstring& set) {
    Positions positions;
    for (const wchar_t delimiter : set) {
        for (std::size_t at = text.find(delimiter); at != std::wstring::npos;
             at = text.find(delimiter, at + 1)) {
            positions.push_back(at);
        }
    }
    if (!positions.empty() && positions.back() != text.size() - 1) {
        positions.push_back(text.size());
    }
    std::sort(positions.begin(), positions.end());
    return positions;
}

TEST(FindStringDelimiters, AgreesWithASearchForEachMember) {
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        const std::wstring text = randomText(random, 12, L"abcd\\/\u00E9\uF05C");
        const std::wstring set = randomText(random, 5, L"ad\\/\u00E9\uF05C");
        Positions positions;
        findStringDelimiters(text, set.c_str(), positions);
        ASSERT_EQ(delimitersByDefinition(text, set), positions) << text << L" at " << set;
    }
}

TEST(FindStringDelimiters, TakesNoLongerForManyDelimiters) {
    // One search of the text for each member would be twenty thousand million steps.
    std::wstring set;
    for (unsigned long value = 1; value <= 20000; ++value) {
        set.push_back(unit(value));
    }
    const std::wstring text(1000000, L'\uF05C');
    Positions positions;
    findStringDelimiters(text, set.c_str(), positions);
    EXPECT_EQ(Positions(), positions);
    findStringDelimiters(text + L'a', set.c_str(), positions);
    EXPECT_EQ(Positions{1000000}, positions);
}

TEST(FindStringDelimiters, AgreesWithTheSetOfOne) {
    std::mt19937 random(2);
    for (int i = 0; i < 20000; ++i) {
        const std::wstring text = randomText(random, 12, L"aab\u00E9");
        const wchar_t delimiter = L"ab\u00E9\0"[random() % 4];
        Positions positions{7};
        findStringDelimiters(text, delimiter, positions);
        const std::wstring set(delimiter == L'\0' ? 0 : 1, delimiter);
        ASSERT_EQ(delimitersByDefinition(text, set), positions) << text;
    }
}

TEST(Split, AgreesWithTheDelimiters) {
    std::mt19937 random(3);
    for (int i = 0; i < 20000; ++i) {
        const std::wstring text = randomText(random, 14, L"a b,,\t\u3000");
        const wchar_t delimiter = L", a\0"[random() % 4];
        Positions positions;
        findStringDelimiters(text, delimiter, positions);
        Fields expected;
        std::size_t begin = 0;
        if (positions.empty()) {
            positions.push_back(text.size());
        }
        for (const std::uint64_t position : positions) {
            const std::wstring field = chomp(text.substr(begin, position - begin));
            if (!field.empty()) {
                expected.push_back(field);
            }
            begin = position + 1;
        }
        Fields fields{L"before"};
        split(text, delimiter, fields);
        ASSERT_EQ(expected, fields) << text;
    }
}

TEST(Split, CutsTrimsAndDropsWhatIsEmpty) {
    const struct {
        std::wstring text;
        wchar_t delimiter;
        Fields fields;
    } cases[] = {
        {L"a, b,,c ,", L',', {L"a", L"b", L"c"}},
        {L"", L',', {}},
        {L"   ", L',', {}},
        {L" whole text ", L',', {L"whole text"}},
        {L",,,", L',', {}},
        {L"x,", L',', {L"x"}},
        {L",x", L',', {L"x"}},
        {L" a ;b ", L';', {L"a", L"b"}},
        {L"a,b", L',', {L"a", L"b"}},
        {L" , \t,\u00A0", L',', {}},
        {L"a b", L' ', {L"a", L"b"}},
        {L"a,b c,d", L',', {L"a", L"b c", L"d"}},
        {std::wstring(L"a\0b", 3), L'\0', {std::wstring(L"a\0b", 3)}},
    };
    for (const auto& c : cases) {
        Fields fields = {L"old"};
        split(c.text, c.delimiter, fields);
        EXPECT_EQ(c.fields, fields) << c.text;
    }
}

TEST(StringReplace, ReplacesEachUnit) {
    const struct {
        std::wstring text;
        wchar_t from;
        wchar_t to;
        std::wstring result;
    } cases[] = {
        {L"a.b", L'.', L'/', L"a/b"},
        {L"...", L'.', L'/', L"///"},
        {L"abc", L'.', L'/', L"abc"},
        {L"", L'.', L'/', L""},
        {L"a.b.c", L'.', L'\0', L"abc"},
        {L"...", L'.', L'\0', L""},
        {L"..a..", L'.', L'\0', L"a"},
        {L"abc", L'.', L'\0', L"abc"},
        {std::wstring(L"a\0b", 3), L'\0', L'-', L"a-b"},
        {std::wstring(L"a\0\0b", 4), L'\0', L'\0', L"ab"},
    };
    for (const auto& c : cases) {
        std::wstring text = c.text;
        stringReplace(text, c.from, c.to);
        EXPECT_EQ(c.result, text) << c.text;
    }
}

TEST(StringReplace, EndsWithEqualUnits) {
    std::wstring text = L"a.b.";
    stringReplace(text, L'.', L'.');
    EXPECT_EQ(L"a.b.", text);
}

TEST(StringReplace, AgreesWithOneReplacementAtATime) {
    std::mt19937 random(2);
    const std::wstring alphabet(L"ab\0", 3);
    for (int i = 0; i < 5000; ++i) {
        const std::wstring before = randomText(random, 10, alphabet);
        const wchar_t from = alphabet[random() % 3];
        const wchar_t to = alphabet[random() % 3];
        if (from == to && to != L'\0') {
            continue;
        }
        std::wstring expected = before;
        for (std::size_t at = expected.find(from); at != std::wstring::npos;
             at = expected.find(from, at)) {
            if (to != L'\0') {
                expected[at] = to;
            } else {
                expected.erase(at, 1);
            }
        }
        std::wstring text = before;
        stringReplace(text, from, to);
        ASSERT_EQ(expected, text) << before;
    }
}

TEST(StringReplace, ErasesAMillionUnitsInOnePass) {
    std::wstring text(2000000, L'x');
    for (std::size_t i = 0; i < text.size(); i += 2) {
        text[i] = L'.';
    }
    stringReplace(text, L'.', L'\0');
    EXPECT_EQ(std::wstring(1000000, L'x'), text);
}

TEST(NextLine, WalksThroughLines) {
    const std::wstring text = L"a\r\nb";
    std::uint64_t position = 0;
    EXPECT_EQ(L"a\r", nextLine(text, position));
    EXPECT_EQ(3U, position);
    EXPECT_EQ(L"", nextLine(text, position));
    EXPECT_EQ(3U, position);
}

TEST(NextLine, MovesOverEmptyLines) {
    const std::wstring text = L"\n\n x \n";
    std::uint64_t position = 0;
    EXPECT_EQ(L"", nextLine(text, position));
    EXPECT_EQ(1U, position);
    EXPECT_EQ(L"", nextLine(text, position));
    EXPECT_EQ(2U, position);
    EXPECT_EQ(L" x ", nextLine(text, position));
    EXPECT_EQ(6U, position);
    EXPECT_EQ(L"", nextLine(text, position));
    EXPECT_EQ(6U, position);
}

TEST(NextLine, MayStartInsideALine) {
    std::uint64_t position = 2;
    EXPECT_EQ(L"c", nextLine(L"abc\nd\n", position));
    EXPECT_EQ(4U, position);
}

TEST(NextLine, StaysAtTheEndAndBeyond) {
    for (const std::uint64_t start : {std::uint64_t{2}, std::uint64_t{3}, std::uint64_t{1} << 40,
                                      static_cast<std::uint64_t>(std::wstring::npos)}) {
        std::uint64_t position = start;
        EXPECT_EQ(L"", nextLine(L"a\n", position));
        EXPECT_EQ(start, position);
    }
    std::uint64_t position = 0;
    EXPECT_EQ(L"", nextLine(L"", position));
    EXPECT_EQ(0U, position);
}

TEST(ConvertToString, KeepsTheLowByte) {
    EXPECT_EQ("", convertToString(L""));
    EXPECT_EQ("plain", convertToString(L"plain"));
    EXPECT_EQ("A", convertToString(L"\u0141"));
    EXPECT_EQ("\xE9\x0A", convertToString(L"\u00E9\u300A"));
    EXPECT_EQ("\xE9", convertToString(std::wstring(1, unit(0xFFE9)).c_str()));
}

TEST(ConvertToString, KeepsUnitsWhoseLowByteIsZero) {
    EXPECT_EQ(std::string("a\0b", 3), convertToString(L"a\u0100b"));
}

TEST(ConvertToWString, ExtendsTheSignToSixteenBits) {
    EXPECT_EQ(L"", convertToWString(""));
    EXPECT_EQ(L"plain", convertToWString("plain"));
    for (unsigned long byte = 1; byte <= 0xFF; ++byte) {
        const char text[] = {static_cast<char>(static_cast<unsigned char>(byte)), '\0'};
        const unsigned long expected = byte < 0x80 ? byte : 0xFF00 + byte;
        EXPECT_EQ(std::wstring(1, unit(expected)), convertToWString(text)) << byte;
    }
    EXPECT_EQ(std::wstring(1, unit(0xFFE9)), convertToWString("\xE9"));
}

TEST(ConvertToWString, ComesBackThroughConvertToString) {
    std::string all;
    for (int byte = 1; byte <= 0xFF; ++byte) {
        all.push_back(static_cast<char>(byte));
    }
    EXPECT_EQ(all, convertToString(convertToWString(all.c_str()).c_str()));
}

/// Whether `result` is the buffer that `out` has after the call.
template <class Text>
bool isBufferOf(const Text& out, const typename Text::value_type* result) {
    return result == out.c_str();
}

TEST(TranscodeToShorts, TakesATextOfOneUnit) {
    Shorts out;
    unsigned long length = 9;
    const unsigned short* const result = transcode(L"A", out, length);
    EXPECT_EQ(out.c_str(), result);
    EXPECT_EQ(1U, length);
    EXPECT_EQ(Shorts(1, 'A'), out);
    EXPECT_EQ(0, result[1]);
}

TEST(TranscodeToShorts, AppendsToWhatIsThere) {
    Shorts out(2, 'x');
    unsigned long length = 9;
    EXPECT_TRUE(isBufferOf(out, transcode(L"\uFFFD", out, length)));
    EXPECT_EQ(1U, length);
    EXPECT_EQ((Shorts{'x', 'x', 0xFFFD}), out);
}

TEST(TranscodeToShorts, TakesTheEmptyText) {
    Shorts out(2, 'x');
    unsigned long length = 9;
    EXPECT_TRUE(isBufferOf(out, transcode(L"", out, length)));
    EXPECT_EQ(0U, length);
    EXPECT_EQ(Shorts(2, 'x'), out);
}

TEST(TranscodeToShorts, RefusesLongerTexts) {
    for (const wchar_t* text : {L"AB", L"ABC", L"\u0001\u0001"}) {
        Shorts out(2, 'x');
        unsigned long length = 9;
        EXPECT_EQ(nullptr, transcode(text, out, length));
        EXPECT_EQ(0U, length);
        EXPECT_EQ(Shorts(2, 'x'), out);
    }
}

TEST(TranscodeToShorts, LooksAtSixteenBitsOfEachUnit) {
    // Where units are wider, one with 16 zero bits at its end does not make the one before it too
    // large. Where they are not, it ends the text.
    const wchar_t one[] = {L'A', unit(0x10000), L'\0'};
    Shorts out;
    unsigned long length = 9;
    EXPECT_TRUE(isBufferOf(out, transcode(one, out, length)));
    EXPECT_EQ(sizeof(wchar_t) == 2 ? 1U : 2U, length);
    const wchar_t two[] = {L'A', unit(0x10000), L'B', L'\0'};
    if (sizeof(wchar_t) > 2) {
        out.assign(1, 'x');
        EXPECT_EQ(nullptr, transcode(two, out, length));
        EXPECT_EQ(0U, length);
        EXPECT_EQ(Shorts(1, 'x'), out);
    }
}

TEST(TranscodeToShorts, RefusesANullText) {
    Shorts out(2, 'x');
    unsigned long length = 9;
    EXPECT_EQ(nullptr, transcode(static_cast<const wchar_t*>(nullptr), out, length));
    EXPECT_EQ(0U, length);
    EXPECT_EQ(Shorts(2, 'x'), out);
}

TEST(TranscodeToWide, AppendsEveryUnit) {
    const unsigned short text[] = {'A', 0x00E9, 0xD83D, 0xDE00, 0xFFFF, 0};
    std::wstring out = L"x";
    unsigned long length = 9;
    EXPECT_TRUE(isBufferOf(out, transcode(text, out, length)));
    EXPECT_EQ(5U, length);
    EXPECT_EQ((std::wstring{L'x', L'A', unit(0xE9), unit(0xD83D), unit(0xDE00), unit(0xFFFF)}),
              out);
}

TEST(TranscodeToWide, TakesTheEmptyTextAndRefusesNull) {
    std::wstring out = L"x";
    unsigned long length = 9;
    const unsigned short empty[] = {0};
    EXPECT_TRUE(isBufferOf(out, transcode(empty, out, length)));
    EXPECT_EQ(0U, length);
    length = 9;
    EXPECT_EQ(nullptr, transcode(static_cast<const unsigned short*>(nullptr), out, length));
    EXPECT_EQ(0U, length);
    EXPECT_EQ(L"x", out);
}

TEST(IsIpv4Address, ExaminesThreeFieldsBeforeThreeDots) {
    const struct {
        const wchar_t* text;
        bool address;
    } cases[] = {
        {L"192.168.1.1", true},
        {L"0.0.0.0", true},
        {L"255.255.255.255", true},
        {L"1.2.3.", true},
        {L"1.2.3.4.5", true},
        {L"10.0.0.x", true},
        {L"1.2.3.999", true},
        {L"+1.-0.01.x", true},
        {L"010.0000000000.255.", true},
        {L"-65535.1.1.1", true},
        {L"-65281.1.1.1", true},
        {L"", false},
        {L"1", false},
        {L"1.2", false},
        {L"192.168.1", false},
        {L"...", false},
        {L"1..2.3", false},
        {L".1.2.3", false},
        {L"256.1.1.1", false},
        {L"1.256.1.1", false},
        {L"1.1.256.1", false},
        {L"-1.1.1.1", false},
        {L"-65280.1.1.1", false},
        {L"65536.1.1.1", false},
        {L"-65536.1.1.1", false},
        {L"99999999999999999999.1.1.1", false},
        {L" 1.2.3.4", false},
        {L"1 .2.3.4", false},
        {L"1.2. 3.4", false},
        {L"0x1.2.3.4", false},
        {L"1e1.2.3.4", false},
        {L"a.2.3.4", false},
        {L"+.2.3.4", false},
        {L"-.2.3.4", false},
        {L"++1.2.3.4", false},
        {L"+-1.2.3.4", false},
        {L"1-.2.3.4", false},
        {L"1,0.2.3.4", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.address, isIpv4Address(c.text)) << c.text;
    }
}

TEST(IsIpv4Address, SeesTheLowByteOfEachUnit) {
    EXPECT_TRUE(isIpv4Address(L"\u0131.2.3.4"));
    // Narrowing ends at a zero.
    EXPECT_TRUE(isIpv4Address(std::wstring(L"1\0x.2.3.", 8)));
    EXPECT_FALSE(isIpv4Address(std::wstring(L"\0001.2.3.", 7)));
}

TEST(IsIpv4Address, TakesNoSeparatorsOfTheHostsLocale) {
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    EXPECT_FALSE(isIpv4Address(L"1,0.2.3.4"));
    EXPECT_TRUE(isIpv4Address(L"10.200.+3.4"));
    std::locale::global(before);
}

TEST(IsAlpha, KnowsLettersOfAllScripts) {
    for (const wchar_t c : std::wstring(L"AZaz\u00C4\u00E9\u0141\u0416\u03B1\u05D0\u3042\u65E5")) {
        EXPECT_TRUE(isAlpha(c)) << static_cast<unsigned long>(c);
    }
    for (const wchar_t c : std::wstring(L"\0@[`{09_: \u00A0\u0660\u2028", 14)) {
        EXPECT_FALSE(isAlpha(c)) << static_cast<unsigned long>(c);
    }
}

TEST(AllocateString, CopiesAWideText) {
    const CallLog log(platform::testing::Runtime);
    const std::unique_ptr<wchar_t[]> copy(allocateString(std::wstring(L"wide \u65E5")));
    EXPECT_STREQ(L"wide \u65E5", copy.get());
    EXPECT_EQ(std::vector<std::wstring>{L"wcscpy_s(#1, 7, \"wide \u65E5\")"}, log.calls());
}

TEST(AllocateString, WidensANarrowText) {
    const CallLog log(platform::testing::Runtime);
    const std::unique_ptr<wchar_t[]> copy(allocateString("caf\xE9"));
    const std::wstring wide = std::wstring(L"caf") + unit(0xFFE9);
    EXPECT_EQ(wide, copy.get());
    EXPECT_EQ(std::vector<std::wstring>{L"wcscpy_s(#1, 5, \"" + wide + L"\")"}, log.calls());
}

TEST(AllocateString, CopiesEmptyTexts) {
    const std::unique_ptr<wchar_t[]> wide(allocateString(std::wstring()));
    EXPECT_STREQ(L"", wide.get());
    const std::unique_ptr<wchar_t[]> narrow(allocateString(""));
    EXPECT_STREQ(L"", narrow.get());
}

TEST(AllocateString, EndsAtAZero) {
    const std::unique_ptr<wchar_t[]> copy(allocateString(std::wstring(L"a\0b", 3)));
    EXPECT_STREQ(L"a", copy.get());
}

TEST(AllocateString, GivesATextEvenWhenTheCopyFails) {
    const ScopedCall<&Calls::wcscpy_s> failed([](auto...) { return 34; });
    const std::unique_ptr<wchar_t[]> wide(allocateString(std::wstring(L"text")));
    EXPECT_STREQ(L"", wide.get());
    const std::unique_ptr<wchar_t[]> narrow(allocateString("text"));
    EXPECT_STREQ(L"", narrow.get());
    EXPECT_EQ(2, failed.count());
}

TEST(BoundedMemcpy, PassesItsArgumentsOn) {
    char destination[8] = "";
    const char source[] = "abc";
    const ScopedCall<&Calls::memcpy_s> call(
        [&](void* to, std::size_t size, const void* from, std::size_t count) {
            EXPECT_EQ(destination, to);
            EXPECT_EQ(8U, size);
            EXPECT_EQ(source, from);
            EXPECT_EQ(3U, count);
            return 22;
        });
    Tallowmere::memcpy(destination, 8, source, 3);
    EXPECT_EQ(1, call.count());
}

TEST(BoundedMemcpy, CopiesWhatFitsAndClearsWhatDoesNot) {
    char destination[8] = "1234567";
    Tallowmere::memcpy(destination, 8, "abc", 3);
    EXPECT_STREQ("abc4567", destination);
    Tallowmere::memcpy(destination, 4, "abcdefg", 5);
    EXPECT_EQ(std::string(4, '\0') + std::string("567\0", 4), std::string(destination, 8));
    Tallowmere::memcpy(nullptr, 4, "abc", 3);
    Tallowmere::memcpy(destination, 8, nullptr, 3);
    EXPECT_EQ(std::string(8, '\0'), std::string(destination, 8));
}

TEST(BoundedWcscpy, ReturnsTheDestinationOrNull) {
    wchar_t destination[5] = L"1234";
    EXPECT_EQ(destination, Tallowmere::wcscpy(destination, 5, L"abcd"));
    EXPECT_STREQ(L"abcd", destination);
    EXPECT_EQ(nullptr, Tallowmere::wcscpy(destination, 5, L"abcde"));
    EXPECT_STREQ(L"", destination);
    EXPECT_EQ(nullptr, Tallowmere::wcscpy(nullptr, 5, L"abc"));
    EXPECT_EQ(nullptr, Tallowmere::wcscpy(destination, 5, nullptr));
    EXPECT_EQ(nullptr, Tallowmere::wcscpy(destination, 0, L""));
}

TEST(BoundedWcscpy, TakesEveryErrorForAFailure) {
    wchar_t destination[5] = L"";
    for (const int error : {22, 34, 1, -1}) {
        const ScopedCall<&Calls::wcscpy_s> call([&](auto...) { return error; });
        EXPECT_EQ(nullptr, Tallowmere::wcscpy(destination, 5, L"abc"));
    }
}

}  // namespace
}  // namespace Tallowmere
