#include "kest/time/TimeText.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <vector>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/time/testing/CapturedErrors.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::failing;
using platform::testing::ScopedCall;
using testing::CapturedErrors;

constexpr SYSTEMTIME kTime = {2010, 5, 0xFFFF, 17, 8, 30, 0, 7};

FILETIME fileTime(std::uint64_t ticks) {
    FILETIME time{};
    time.dwLowDateTime = static_cast<DWORD>(ticks);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return time;
}

/// English, whatever the machine's language is.
class TimeText : public ::testing::Test {
    ScopedCall<&Calls::GetThreadLocale> m_locale{[] { return LCID{0x0409}; }};
};

/// What a report of reportSystemError(0, nullptr) looks like when that was the last error.
std::wstring report(DWORD error) {
    return getSystemErrorMessage(error, nullptr) + L"\n";
}

TEST_F(TimeText, HumanWithTheDefaultFormats) {
    EXPECT_EQ(L"Monday, May 17, 2010, 8:30:00 AM",
              systemTimeToStringHuman(kTime, nullptr, nullptr));
    EXPECT_EQ(L"Saturday, January 1, 2000, 12:00:00 AM",
              systemTimeToStringHuman({2000, 1, 0, 1, 0, 0, 0, 0}, nullptr, nullptr));
    EXPECT_EQ(L"Wednesday, December 31, 2003, 11:59:59 PM",
              systemTimeToStringHuman({2003, 12, 0, 31, 23, 59, 59, 999}, nullptr, nullptr));
    EXPECT_EQ(L"Monday, May 17, 2010, 12:05:09 PM",
              systemTimeToStringHuman({2010, 5, 0, 17, 12, 5, 9, 0}, nullptr, nullptr));
}

TEST_F(TimeText, HumanWithFormatsOfOnesOwn) {
    EXPECT_EQ(L"May 17, 2010, 8:30:00 AM",
              systemTimeToStringHuman(kTime, L"MMMM d, yyyy", nullptr));
    EXPECT_EQ(L"Monday, May 17, 2010, 08-30", systemTimeToStringHuman(kTime, nullptr, L"HH-mm"));
    EXPECT_EQ(L"day 17, o'clock 8", systemTimeToStringHuman(kTime, L"'day' d", L"'o''clock' h"));
    EXPECT_EQ(L", ", systemTimeToStringHuman(kTime, L"", L""));
}

TEST_F(TimeText, FormatsArePassedOnUnchanged) {
    std::vector<std::wstring> seen;
    std::vector<LCID> locales;
    LCID locale = 0x0407;
    const ScopedCall<&Calls::GetThreadLocale> thread([&locale] { return locale++; });
    const auto remember = [&](LCID asked, DWORD flags, const SYSTEMTIME* time,
                              const wchar_t* picture, wchar_t* buffer, int size) {
        EXPECT_EQ(0U, flags);
        EXPECT_EQ(&kTime, time);
        EXPECT_EQ(64, size);
        seen.emplace_back(picture);
        locales.push_back(asked);
        std::wcscpy(buffer, L"<>");
        return 3;
    };
    const ScopedCall<&Calls::GetDateFormatW> date(remember);
    const ScopedCall<&Calls::GetTimeFormatW> time(remember);
    EXPECT_EQ(L"<>, <>", systemTimeToStringHuman(kTime, L"any'thing", L"at all"));
    EXPECT_EQ(L"<>, <>", systemTimeToStringHuman(kTime, nullptr, nullptr));
    EXPECT_EQ(L"<>-<>", systemTimeToStringCoded(kTime));
    EXPECT_EQ(
        (std::vector<std::wstring>{L"any'thing", L"at all", L"dddd, MMMM d, yyyy",
                                   L"h':'mm':'ss tt", L"yyyy.MM.dd", L"HH.mm.ss", L"yyyy.MM.dd"}),
        seen);
    // The locale is asked for anew each time. What is no year is asked for without one.
    EXPECT_EQ((std::vector<LCID>{0x0407, 0x0408, 0x0409, 0x040A, 0x040B, 0x040C, 0x007F}), locales);
}

TEST_F(TimeText, CodedIsInTheCalendarOfTheFieldsWhateverTheThreadsLanguage) {
    // As Windows writes them: Thailand counts 543 years more, Saudi Arabia the years of the Hijra.
    const ScopedCall<&Calls::GetDateFormatW> date(
        [](LCID locale, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t* buffer, int) {
            std::wcscpy(buffer, locale == 0x041E   ? L"2553.05.17"
                                : locale == 0x0401 ? L"1431.06.03"
                                                   : L"2010.05.17");
            return 11;
        });
    const ScopedCall<&Calls::GetTimeFormatW> time(
        [](LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t* buffer, int) {
            std::wcscpy(buffer, L"08.30.00");
            return 9;
        });
    for (const LCID language : {0x041E, 0x0401, 0x0409, 0x0407}) {
        const ScopedCall<&Calls::GetThreadLocale> thread([language] { return language; });
        EXPECT_EQ(L"2010.05.17-08.30.00", systemTimeToStringCoded(kTime));
    }
    // A text for a person is in that person's calendar.
    const ScopedCall<&Calls::GetThreadLocale> thread([] { return LCID{0x041E}; });
    EXPECT_EQ(L"2553.05.17, 08.30.00", systemTimeToStringHuman(kTime, L"yyyy.MM.dd", L"HH.mm.ss"));
}

TEST_F(TimeText, ADateThatCannotBeHadWithoutALanguageIsReportedAndEmpty) {
    const ScopedCall<&Calls::GetDateFormatW> date(
        [](LCID locale, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t* buffer, int) {
            std::wcscpy(buffer, L"2553.05.17");
            return locale == 0x007F ? failing(0, ERROR_ACCESS_DENIED) : 11;
        });
    const std::wstring expected = report(ERROR_ACCESS_DENIED);
    const CapturedErrors errors;
    EXPECT_EQ(L"-08.30.00", systemTimeToStringCoded(kTime));
    EXPECT_EQ(expected, errors.text());
}

TEST_F(TimeText, TheDateIsFormattedFirst) {
    CallLog log(platform::testing::Time);
    (void)systemTimeToStringCoded(kTime);
    EXPECT_EQ((std::vector<std::wstring>{L"GetThreadLocale", L"GetDateFormatW", L"GetThreadLocale",
                                         L"GetTimeFormatW"}),
              log.names());
}

TEST_F(TimeText, CodedHasTheSameWidthAlways) {
    EXPECT_EQ(L"2010.05.17-08.30.00", systemTimeToStringCoded(kTime));
    EXPECT_EQ(L"2010.01.02-03.04.05", systemTimeToStringCoded({2010, 1, 0, 2, 3, 4, 5, 0}));
    EXPECT_EQ(L"1601.12.31-23.59.59", systemTimeToStringCoded({1601, 12, 0, 31, 23, 59, 59, 999}));
}

TEST_F(TimeText, ADateThatCannotBeFormattedIsReportedAndEmpty) {
    const std::wstring refused = report(ERROR_INVALID_PARAMETER);
    const CapturedErrors errors;
    EXPECT_EQ(L", 8:30:00 AM",
              systemTimeToStringHuman({2010, 13, 0, 17, 8, 30, 0, 0}, nullptr, nullptr));
    EXPECT_EQ(refused, errors.text());
    EXPECT_EQ(L"-08.30.00", systemTimeToStringCoded({2010, 2, 0, 30, 8, 30, 0, 0}));
    EXPECT_EQ(refused + refused, errors.text());
}

TEST_F(TimeText, ATimeThatCannotBeFormattedIsReportedAndEmpty) {
    const std::wstring refused = report(ERROR_INVALID_PARAMETER);
    const CapturedErrors errors;
    EXPECT_EQ(L"Monday, May 17, 2010, ",
              systemTimeToStringHuman({2010, 5, 0, 17, 24, 30, 0, 0}, nullptr, nullptr));
    EXPECT_EQ(refused, errors.text());
    EXPECT_EQ(L"2010.05.17-", systemTimeToStringCoded({2010, 5, 0, 17, 8, 60, 0, 0}));
    EXPECT_EQ(refused + refused, errors.text());
}

TEST_F(TimeText, BothMayFailAndEachReportIsThatOfItsCall) {
    const ScopedCall<&Calls::GetDateFormatW> date(
        [](LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t* buffer, int) {
            std::wcscpy(buffer, L"left over");
            return failing(0, ERROR_ACCESS_DENIED);
        });
    const ScopedCall<&Calls::GetTimeFormatW> time(
        [](LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t* buffer, int) {
            std::wmemset(buffer, L'x', 64);
            return failing(0, ERROR_FILE_NOT_FOUND);
        });
    const std::wstring expected = report(ERROR_ACCESS_DENIED) + report(ERROR_FILE_NOT_FOUND);
    const CapturedErrors errors;
    EXPECT_EQ(L", ", systemTimeToStringHuman(kTime, nullptr, nullptr));
    EXPECT_EQ(L"-", systemTimeToStringCoded(kTime));
    EXPECT_EQ(expected + expected, errors.text());
}

TEST_F(TimeText, AFormatMayGiveUpTo63Characters) {
    const std::wstring most = L"'" + std::wstring(63, L'x') + L"'";
    const std::wstring tooMany = L"'" + std::wstring(64, L'x') + L"'";
    const std::wstring tooSmall = report(ERROR_INSUFFICIENT_BUFFER);
    const CapturedErrors errors;
    EXPECT_EQ(std::wstring(63, L'x') + L", " + std::wstring(63, L'x'),
              systemTimeToStringHuman(kTime, most.c_str(), most.c_str()));
    EXPECT_EQ(L"", errors.text());
    EXPECT_EQ(L", 8:30:00 AM", systemTimeToStringHuman(kTime, tooMany.c_str(), nullptr));
    EXPECT_EQ(tooSmall, errors.text());
    EXPECT_EQ(L"Monday, May 17, 2010, ", systemTimeToStringHuman(kTime, nullptr, tooMany.c_str()));
    EXPECT_EQ(tooSmall + tooSmall, errors.text());
}

constexpr std::uint64_t kTicks = 129185586000000000;

TEST_F(TimeText, AZeroFileTimeIsNoTime) {
    CallLog log(platform::testing::Time);
    for (const bool toLocalTime : {false, true}) {
        for (const bool human : {false, true}) {
            EXPECT_EQ(L"Null", filetimeToString(fileTime(0), toLocalTime, human));
        }
    }
    EXPECT_EQ(std::vector<std::wstring>{}, log.calls());
}

TEST_F(TimeText, OnlyAllBitsZeroAreNoTime) {
    EXPECT_EQ(L"1601.01.01-00.00.00", filetimeToString(fileTime(1), false, false));
    EXPECT_EQ(L"1601.01.01-00.07.09",
              filetimeToString(fileTime(std::uint64_t{1} << 32), false, false));
}

TEST_F(TimeText, AFileTimeInUtcAsksForNoZone) {
    CallLog log(platform::testing::Time);
    EXPECT_EQ(L"2010.05.17-08.30.00", filetimeToString(fileTime(kTicks), false, false));
    EXPECT_EQ(L"Monday, May 17, 2010, 8:30:00 AM", filetimeToString(fileTime(kTicks), false, true));
    EXPECT_EQ((std::vector<std::wstring>{L"FileTimeToSystemTime", L"GetThreadLocale",
                                         L"GetDateFormatW", L"GetThreadLocale", L"GetTimeFormatW",
                                         L"FileTimeToSystemTime", L"GetThreadLocale",
                                         L"GetDateFormatW", L"GetThreadLocale", L"GetTimeFormatW"}),
              log.names());
}

TEST_F(TimeText, AFileTimeInLocalTimeIsShiftedFirst) {
    const ScopedCall<&Calls::FileTimeToLocalFileTime> shift(
        [](const FILETIME* time, FILETIME* result) -> BOOL {
            EXPECT_EQ(kTicks, std::uint64_t{time->dwHighDateTime} << 32 | time->dwLowDateTime);
            *result = fileTime(kTicks + 72'000'000'000);
            return TRUE;
        });
    EXPECT_EQ(L"2010.05.17-10.30.00", filetimeToString(fileTime(kTicks), true, false));
    EXPECT_EQ(L"Monday, May 17, 2010, 10:30:00 AM", filetimeToString(fileTime(kTicks), true, true));
    EXPECT_EQ(2, shift.count());
}

TEST_F(TimeText, AFailedShiftLeavesUtcAndNoReport) {
    const ScopedCall<&Calls::FileTimeToLocalFileTime> shift(
        [](const FILETIME*, FILETIME*) { return failing<BOOL>(FALSE, ERROR_ACCESS_DENIED); });
    const CapturedErrors errors;
    EXPECT_EQ(L"2010.05.17-08.30.00", filetimeToString(fileTime(kTicks), true, false));
    EXPECT_EQ(L"", errors.text());
}

TEST_F(TimeText, AFailedConversionLeavesZeroFieldsWhichTheFormattingReports) {
    const std::wstring refused = report(ERROR_INVALID_PARAMETER);
    const CapturedErrors errors;
    EXPECT_EQ(L"-00.00.00", filetimeToString(fileTime(0x8000000000000000), false, false));
    EXPECT_EQ(refused, errors.text());
    EXPECT_EQ(L", 12:00:00 AM", filetimeToString(fileTime(~std::uint64_t{0}), false, true));
    EXPECT_EQ(refused + refused, errors.text());
}

}  // namespace
}  // namespace Tallowmere
