// The picture language in a language of the test's own, so that each word's place shows.

#include "kest/platform/linux/DateTimePicture.h"

#include <gtest/gtest.h>

#include <string>

namespace Tallowmere::platform::picture {
namespace {

using language::Word;

const wchar_t* invented(Word word, int index) {
    switch (word) {
        case Word::Day:
            return index == 1 ? L"day-one" : L"day";
        case Word::ShortDay:
            return index == 1 ? L"d1" : L"d";
        case Word::Month:
            return index == 4 ? L"month-five" : L"month";
        case Word::ShortMonth:
            return index == 4 ? L"m5" : L"m";
        case Word::MonthOfDay:
            return index == 4 ? L"of-month-five" : L"of-month";
        case Word::ShortMonthOfDay:
            return index == 4 ? L"of-m5" : L"of-m";
        case Word::HalfDay:
            return index == 0 ? L"vorm" : L"nachm";
        case Word::Era:
            return L"era";
    }
    return L"";
}

/// A language without day halves and eras.
const wchar_t* silent(Word word, int index) {
    return word == Word::HalfDay || word == Word::Era ? L"" : invented(word, index);
}

/// A Monday.
constexpr SYSTEMTIME kTime = {2010, 5, 0xFFFF, 17, 8, 30, 0, 0};

using Write = void (*)(const wchar_t*, const SYSTEMTIME&, language::Language, Text&);

std::wstring written(Write write, const wchar_t* picture, const SYSTEMTIME& time = kTime,
                     language::Language words = &invented) {
    wchar_t buffer[128];
    Text text(buffer, std::size(buffer));
    write(picture, time, words, text);
    return std::wstring(buffer, text.length());
}

TEST(DateTimePicture, TakesTheWordsOfTheLanguage) {
    EXPECT_EQ(L"day-one d1", written(writeDate, L"dddd ddd"));
    EXPECT_EQ(L"month-five m5", written(writeDate, L"MMMM MMM"));
    EXPECT_EQ(L"era era", written(writeDate, L"g gg"));
    EXPECT_EQ(L"vorm v", written(writeTime, L"tt t"));
    SYSTEMTIME noon = kTime;
    noon.wHour = 12;
    EXPECT_EQ(L"nachm n", written(writeTime, L"tt t", noon));
}

TEST(DateTimePicture, AMonthBesideADayHasAFormOfItsOwn) {
    EXPECT_EQ(L"17 of-month-five", written(writeDate, L"d MMMM"));
    EXPECT_EQ(L"of-month-five 17", written(writeDate, L"MMMM dd"));
    EXPECT_EQ(L"17 of-m5", written(writeDate, L"d MMM"));
    EXPECT_EQ(L"day-one, of-month-five 17, 2010", written(writeDate, L"dddd, MMMM d, yyyy"));
    // Neither the name of a day nor a quoted d is a day of the month.
    EXPECT_EQ(L"day-one month-five", written(writeDate, L"dddd MMMM"));
    EXPECT_EQ(L"d month-five", written(writeDate, L"'d' MMMM"));
    EXPECT_EQ(L"5/17", written(writeDate, L"M/d"));
}

TEST(DateTimePicture, ALanguageMayDoWithoutAMarker) {
    EXPECT_EQ(L"8:30:00 ", written(writeTime, L"h':'mm':'ss tt", kTime, &silent));
    EXPECT_EQ(L"8", written(writeTime, L"ht", kTime, &silent));
    EXPECT_EQ(L"2010", written(writeDate, L"yyyygg", kTime, &silent));
}

TEST(DateTimePicture, TheDateAndTheTimeHaveLettersOfTheirOwn) {
    EXPECT_EQ(L"h H m s t", written(writeDate, L"h H m s t"));
    EXPECT_EQ(L"d M y g", written(writeTime, L"d M y g"));
}

TEST(DateTimePicture, NumbersGrowBeyondTheirWidth) {
    const SYSTEMTIME late = {30827, 12, 0, 31, 23, 59, 59, 999};
    EXPECT_EQ(L"30827 27 27 12 31", written(writeDate, L"yyyy yy y M d", late));
    const SYSTEMTIME early = {1601, 1, 0, 1, 0, 0, 0, 0};
    EXPECT_EQ(L"1601 01 01 1 01 1", written(writeDate, L"yyyy yy y M dd d", early));
}

TEST(DateTimePicture, CountsWhatDoesNotFit) {
    wchar_t buffer[4] = {L'~', L'~', L'~', L'~'};
    Text text(buffer, 3);
    writeDate(L"yyyy.MM", kTime, &invented, text);
    EXPECT_EQ(7U, text.length());
    EXPECT_EQ(L"201~", std::wstring(buffer, 4));
    Text nowhere(nullptr, 0);
    writeDate(L"yyyy.MM", kTime, &invented, nowhere);
    EXPECT_EQ(7U, nowhere.length());
}

TEST(DateTimePicture, ALongPictureIsRead) {
    const std::wstring letters(100'000, L'd');
    wchar_t buffer[8];
    Text text(buffer, std::size(buffer));
    writeDate(letters.c_str(), kTime, &invented, text);
    EXPECT_EQ(7U, text.length());
    Text quotes(buffer, std::size(buffer));
    writeDate(std::wstring(100'001, L'\'').c_str(), kTime, &invented, quotes);
    EXPECT_EQ(50'000U, quotes.length());
}

}  // namespace
}  // namespace Tallowmere::platform::picture
