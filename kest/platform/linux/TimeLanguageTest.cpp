#include "kest/platform/linux/TimeLanguage.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "kest/platform/Calls.h"
#include "kest/platform/linux/testing/ScopedLanguage.h"

namespace Tallowmere::platform::language {
namespace {

using testing::ScopedLanguage;

constexpr const char* kHalves = "am_pm \"prep\";\"posl\"";
constexpr const char* kNoHalves = "am_pm \"\";\"\"";

/// 17 May 2010, a Monday, in the afternoon.
constexpr SYSTEMTIME kTime = {2010, 5, 0xFFFF, 17, 20, 3, 5, 0};

std::wstring date(const wchar_t* picture, LCID locale) {
    wchar_t buffer[64] = L"";
    const int count = os().GetDateFormatW(locale, 0, &kTime, picture, buffer, 64);
    return count == 0 ? L"error " + std::to_wstring(os().GetLastError()) : buffer;
}

std::wstring clock(const wchar_t* picture, LCID locale) {
    wchar_t buffer[64] = L"";
    const int count = os().GetTimeFormatW(locale, 0, &kTime, picture, buffer, 64);
    return count == 0 ? L"error " + std::to_wstring(os().GetLastError()) : buffer;
}

TEST(TimeLanguage, NumbersOfLocales) {
    EXPECT_EQ(0x0409U, numberOf("C"));
    EXPECT_EQ(0x0409U, numberOf("C.UTF-8"));
    EXPECT_EQ(0x0409U, numberOf("POSIX"));
    EXPECT_EQ(0x0409U, numberOf("en_US.UTF-8"));
    EXPECT_EQ(0x0809U, numberOf("en_GB"));
    EXPECT_EQ(0x0407U, numberOf("de_DE.utf8"));
    EXPECT_EQ(0x0407U, numberOf("de_DE@euro"));
    EXPECT_EQ(0x0407U, numberOf("de_DE.ISO-8859-15@euro"));
    EXPECT_EQ(0x0C07U, numberOf("de_AT"));
    EXPECT_EQ(0x0419U, numberOf("ru_RU.UTF-8"));
    EXPECT_EQ(0x0411U, numberOf("ja_JP.UTF-8"));
    EXPECT_EQ(0x0436U, numberOf("af_ZA"));
    EXPECT_EQ(0x0404U, numberOf("zh_TW"));
    EXPECT_EQ(0x281AU, numberOf("sr_RS"));
    EXPECT_EQ(0x241AU, numberOf("sr_RS.UTF-8@latin"));
    EXPECT_EQ(0x1000U, numberOf("eo"));
    EXPECT_EQ(0x1000U, numberOf("de_XX"));
    EXPECT_EQ(0x1000U, numberOf("ca_ES@valencia"));
    EXPECT_EQ(0x1000U, numberOf(""));
}

TEST(TimeLanguage, IsThatOfTheCallingThread) {
    const ScopedLanguage scope("ru_RU", kHalves);
    ASSERT_TRUE(scope.isThere());
    const LCID locale = os().GetThreadLocale();
    EXPECT_EQ(0x0419U, locale);
    EXPECT_EQ(L"Ponedelnik Po", date(L"dddd ddd", locale));
    EXPECT_EQ(L"posl p", clock(L"tt t", locale));
    // Another thread keeps its own.
    std::thread([] {
        EXPECT_EQ(0x0409U, os().GetThreadLocale());
        EXPECT_EQ(L"Monday", date(L"dddd", os().GetThreadLocale()));
        EXPECT_EQ(L"error 87", date(L"dddd", 0x0419));
    }).join();
}

TEST(TimeLanguage, MonthsBesideADayAreInTheGenitive) {
    const ScopedLanguage scope("ru_RU", kHalves);
    ASSERT_TRUE(scope.isThere());
    EXPECT_EQ(L"17 \u043C\u0430\u044F 2010", date(L"d MMMM yyyy", 0x0419));
    EXPECT_EQ(L"\u043C\u0430\u0439 2010", date(L"MMMM yyyy", 0x0419));
    EXPECT_EQ(L"17 maj-a", date(L"d MMM", 0x0419));
    EXPECT_EQ(L"maj", date(L"MMM", 0x0419));
}

TEST(TimeLanguage, MayHaveNoDayHalvesAndNoEra) {
    const ScopedLanguage scope("de_DE", kNoHalves);
    ASSERT_TRUE(scope.isThere());
    EXPECT_EQ(0x0407U, os().GetThreadLocale());
    EXPECT_EQ(L"8:03:05 ", clock(L"h':'mm':'ss tt", 0x0407));
    EXPECT_EQ(L"2010 ", date(L"yyyy gg", 0x0407));
}

TEST(TimeLanguage, WritesAsTheCLibraryDoesWithoutAPicture) {
    const ScopedLanguage scope("de_DE", kNoHalves);
    ASSERT_TRUE(scope.isThere());
    EXPECT_EQ(L"17.05.2010", date(nullptr, 0x0407));
    EXPECT_EQ(L"20-03-05", clock(nullptr, 0x0407));
    EXPECT_EQ(L"17.05.2010", date(nullptr, LOCALE_USER_DEFAULT));
}

TEST(TimeLanguage, EnglishIsAlwaysThereAndNothingElseIs) {
    const ScopedLanguage scope("de_DE", kNoHalves);
    ASSERT_TRUE(scope.isThere());
    EXPECT_EQ(L"Monday, May 17", date(L"dddd, MMMM d", 0x0409));
    EXPECT_EQ(L"05/17/2010", date(nullptr, 0x007F));
    EXPECT_EQ(L"8 PM", clock(L"h tt", 0x0409));
    EXPECT_EQ(L"error 87", date(L"dddd", 0x0419));
    EXPECT_EQ(L"error 87", clock(L"h", 0x0419));
}

TEST(TimeLanguage, ALocaleWithoutANumberHasItsWordsAllTheSame) {
    const ScopedLanguage scope("eo", kHalves);
    ASSERT_TRUE(scope.isThere());
    EXPECT_EQ(LOCALE_CUSTOM_UNSPECIFIED, os().GetThreadLocale());
    EXPECT_EQ(L"Ponedelnik", date(L"dddd", os().GetThreadLocale()));
    EXPECT_EQ(L"Ponedelnik", date(L"dddd", LOCALE_USER_DEFAULT));
    EXPECT_EQ(L"Ponedelnik", date(L"dddd", LOCALE_NEUTRAL));
}

}  // namespace
}  // namespace Tallowmere::platform::language
