#include "kest/time/DateTime.h"

#include <gtest/gtest.h>

#include <boost/lexical_cast.hpp>
#include <iostream>
#include <limits>
#include <locale>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/time/testing/CapturedErrors.h"
#include "kest/time/testing/Zones.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::os;
using platform::testing::CallLog;
using platform::testing::failing;
using platform::testing::ScopedCall;
using testing::CapturedErrors;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
/// 30827-12-31 23:59:59.
constexpr std::int64_t kLastSecond = 922'314'988'799;

DateTime utc(unsigned short year, unsigned short month, unsigned short day, unsigned short hour = 0,
             unsigned short minute = 0, unsigned short second = 0) {
    return DateTime(year, month, day, hour, minute, second, false);
}

/// A time with milliseconds, which only the clock can give.
DateTime fromClock(const SYSTEMTIME& now) {
    const ScopedCall<&Calls::GetSystemTime> clock([&now](SYSTEMTIME* time) { *time = now; });
    return DateTime();
}

/// Local time is that of the record while it lives, instead of the machine's.
class LocalZone {
public:
    explicit LocalZone(const TIME_ZONE_INFORMATION& zone)
        : m_zone(zone),
          m_toLocal([this](const TIME_ZONE_INFORMATION* used, const SYSTEMTIME* time,
                           SYSTEMTIME* result) {
              EXPECT_EQ(nullptr, used);
              return m_toLocal.original(&m_zone, time, result);
          }),
          m_toUniversal([this](const TIME_ZONE_INFORMATION* used, const SYSTEMTIME* time,
                               SYSTEMTIME* result) {
              EXPECT_EQ(nullptr, used);
              return m_toUniversal.original(&m_zone, time, result);
          }) {}

private:
    TIME_ZONE_INFORMATION m_zone;
    ScopedCall<&Calls::SystemTimeToTzSpecificLocalTime> m_toLocal;
    ScopedCall<&Calls::TzSpecificLocalTimeToSystemTime> m_toUniversal;
};

/// The English texts, whatever the machine's language is.
class English {
public:
    English() : m_locale([] { return LCID{0x0409}; }) {}

private:
    ScopedCall<&Calls::GetThreadLocale> m_locale;
};

// From the clock.

TEST(DateTime, IsBuiltFromTheClockInUtc) {
    const English english;
    const ScopedCall<&Calls::GetSystemTime> clock(
        [](SYSTEMTIME* time) { *time = {2010, 5, 1, 17, 8, 30, 0, 7}; });
    const DateTime now;
    EXPECT_EQ(1, clock.count());
    EXPECT_EQ(L"Monday, May 17, 2010, 8:30:00.007 AM", now.toString(false, nullptr, nullptr, true));
    EXPECT_EQ(12918558600, now.getSecondsSinceEpoch());
}

// From seconds.

TEST(DateTime, ZeroSecondsAreTheBeginningOf1601) {
    const English english;
    const DateTime zero(0);
    EXPECT_EQ(L"Monday, January 1, 1601, 12:00:00.000 AM",
              zero.toString(false, nullptr, nullptr, true));
    EXPECT_EQ(0, zero.getSecondsSinceEpoch());
    EXPECT_TRUE(utc(1601, 1, 1) == zero);
}

TEST(DateTime, SecondsAreCountedFrom1601) {
    EXPECT_TRUE(utc(1970, 1, 1) == DateTime(11644473600));
    EXPECT_TRUE(utc(2000, 1, 1) == DateTime(12591158400));
    EXPECT_TRUE(utc(2000, 2, 29, 23, 59, 59) == DateTime(12596342399));
    EXPECT_TRUE(utc(30827, 12, 31, 23, 59, 59) == DateTime(kLastSecond));
    EXPECT_EQ(kLastSecond, DateTime(kLastSecond).getSecondsSinceEpoch());
}

TEST(DateTime, SecondsBecomeTicksOfTheSystem) {
    std::uint64_t ticks = 0;
    const ScopedCall<&Calls::FileTimeToSystemTime> convert(
        [&ticks](const FILETIME* time, SYSTEMTIME* result) -> BOOL {
            ticks = std::uint64_t{time->dwHighDateTime} << 32 | time->dwLowDateTime;
            *result = {2000, 1, 6, 1, 0, 0, 0, 0};
            return TRUE;
        });
    (void)DateTime(12591158400);
    EXPECT_EQ(125911584000000000U, ticks);
    (void)DateTime(1);
    EXPECT_EQ(10'000'000U, ticks);
    (void)DateTime(-1);
    EXPECT_EQ(static_cast<std::uint64_t>(-10'000'000), ticks);
    (void)DateTime(922'337'203'685);
    EXPECT_EQ(9'223'372'036'850'000'000U, ticks);
    EXPECT_EQ(4, convert.count());
}

/// What the system refuses, and what does not even fit its count, is invalid and stays so.
TEST(DateTime, SecondsThatTheSystemRefusesGiveTheInvalidValue) {
    const CapturedErrors errors;
    // The last four would be plausible times if the product simply wrapped around.
    for (const std::int64_t seconds :
         {std::int64_t{-1}, kLeast, kMost, std::int64_t{-922'337'203'685},
          std::int64_t{922'337'203'686}, std::int64_t{1'844'674'407'371},
          std::int64_t{1'844'674'407'371 + 12'591'158'400},
          std::int64_t{-1'844'674'407'371 + 12'591'158'400}, std::int64_t{1'844'674'407'371 * 2}}) {
        const DateTime time(seconds);
        EXPECT_TRUE(time == DateTime::s_invalid) << seconds;
        EXPECT_EQ(-1, time.getSecondsSinceEpoch()) << seconds;
        EXPECT_EQ(-1, time.getMicroSecondsSinceEpoch()) << seconds;
        EXPECT_EQ(L"", time.timestampString()) << seconds;
    }
    EXPECT_EQ(L"", errors.text());
}

TEST(DateTime, WhatAFailedConversionLeavesBehindIsNotTaken) {
    const ScopedCall<&Calls::FileTimeToSystemTime> convert([](const FILETIME*, SYSTEMTIME* result) {
        *result = {2000, 1, 6, 1, 0, 0, 0, 0};
        return failing<BOOL>(FALSE, ERROR_INVALID_PARAMETER);
    });
    EXPECT_TRUE(DateTime(0) == DateTime::s_invalid);
}

// From text.

TEST(DateTime, TextIsACountOfSeconds) {
    const std::pair<const wchar_t*, std::int64_t> texts[] = {
        {L"0", 0},
        {L"-0", 0},
        {L"+7", 7},
        {L"7", 7},
        {L"0007", 7},
        {L"12591158400", 12591158400},
        {L"11644473600", 11644473600},
        {L"922314988799", kLastSecond},
        {L"000000000000000000000000000000001", 1},
    };
    for (const auto& [text, seconds] : texts) {
        EXPECT_EQ(seconds, DateTime(std::wstring(text)).getSecondsSinceEpoch()) << text;
    }
    // The days of the week differ, the times do not.
    EXPECT_TRUE(DateTime(std::wstring(L"12591158400")) == utc(2000, 1, 1));
    EXPECT_TRUE(DateTime(L"12591158400") == utc(2000, 1, 1));
}

TEST(DateTime, TextOfACountThatTheSystemRefusesIsTheInvalidValue) {
    for (const wchar_t* const text :
         {L"-1", L"-12591158400", L"9223372036854775807", L"-9223372036854775808"}) {
        EXPECT_TRUE(DateTime(std::wstring(text)) == DateTime::s_invalid) << text;
    }
}

TEST(DateTime, OtherTextIsNotTaken) {
    const CapturedErrors errors;
    for (const wchar_t* const text : {L"",
                                      L" ",
                                      L" 5",
                                      L"5 ",
                                      L"5 5",
                                      L"\t5",
                                      L"5\n",
                                      L"1e3",
                                      L"1.0",
                                      L"1.5",
                                      L"1,000",
                                      L"0x10",
                                      L"+",
                                      L"-",
                                      L"--5",
                                      L"+-5",
                                      L"-+5",
                                      L"5-",
                                      L"abc",
                                      L"5a",
                                      L"nan",
                                      L"inf",
                                      L"9223372036854775808",
                                      L"-9223372036854775809",
                                      L"99999999999999999999999",
                                      L"\u0665",
                                      L"\uFF15"}) {
        EXPECT_THROW(DateTime{std::wstring(text)}, boost::bad_lexical_cast) << text;
    }
    EXPECT_THROW(DateTime{std::wstring(L"5\0", 2)}, boost::bad_lexical_cast);
    EXPECT_EQ(L"", errors.text());
}

/// Groups digits by two with points, as no locale does.
struct Grouping : std::numpunct<wchar_t> {
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\2"; }
};

struct GroupingNarrow : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\2"; }
};

TEST(DateTime, TheHostsLocaleChangesNoCount) {
    const std::locale before = std::locale::global(
        std::locale(std::locale(std::locale::classic(), new Grouping), new GroupingNarrow));
    const std::wstring written = DateTime(12591158400).timestampString();
    const bool taken = DateTime(L"12591158400") == utc(2000, 1, 1);
    EXPECT_THROW(DateTime{std::wstring(L"1.25.91.15.84.00")}, boost::bad_lexical_cast);
    const std::wstring text =
        fromClock({2010, 5, 1, 17, 8, 30, 0, 123}).toString(false, L"yyyy", L"HH:mm tt", true);
    std::locale::global(before);
    EXPECT_EQ(L"12591158400", written);
    EXPECT_TRUE(taken);
    EXPECT_NE(std::wstring::npos, text.find(L".123")) << text;
}

// From fields.

TEST(DateTime, FieldsInUtcAreTakenAsTheyAre) {
    const CapturedErrors errors;
    CallLog log(platform::testing::Time);
    const DateTime possible = utc(2010, 5, 17, 8, 30, 15);
    const DateTime impossible = utc(2000, 13, 0, 25, 61, 62);
    EXPECT_EQ(std::vector<std::wstring>{}, log.calls());
    EXPECT_EQ(12918558615, possible.getSecondsSinceEpoch());
    EXPECT_TRUE(impossible == utc(2000, 13, 0, 25, 61, 62));
    EXPECT_FALSE(impossible == utc(2000, 13, 0, 25, 61, 63));
    EXPECT_EQ(L"", errors.text());
}

TEST(DateTime, AnImpossibleDateIsKeptAndRefusesConversion) {
    const CapturedErrors errors;
    DateTime time = utc(2000, 13, 1);
    EXPECT_EQ(-1, time.getSecondsSinceEpoch());
    EXPECT_EQ(-1, time.getMicroSecondsSinceEpoch());
    EXPECT_EQ(L"", time.timestampString());
    time += 60;
    EXPECT_TRUE(time == utc(2000, 13, 1));
    EXPECT_EQ(L"", errors.text());
    for (const DateTime& other :
         {utc(2000, 1, 0), utc(2000, 2, 30), utc(2000, 1, 1, 24), utc(2000, 1, 1, 0, 60),
          utc(2000, 1, 1, 0, 0, 60), utc(1600, 12, 31), utc(0, 1, 1), utc(65535, 1, 1)}) {
        EXPECT_EQ(-1, other.getSecondsSinceEpoch());
    }
}

TEST(DateTime, FieldsInLocalTimeAreConvertedByTheRuleForTheirDate) {
    const LocalZone zone(testing::newYork());
    EXPECT_TRUE(DateTime(2010, 5, 17, 4, 30, 0, true) == utc(2010, 5, 17, 8, 30, 0));
    EXPECT_TRUE(DateTime(2010, 1, 17, 3, 30, 0, true) == utc(2010, 1, 17, 8, 30, 0));
    EXPECT_TRUE(DateTime(2009, 12, 31, 23, 0, 0, true) == utc(2010, 1, 1, 4, 0, 0));
}

TEST(DateTime, LocalFieldsGoToTheSystemWithoutZoneWeekdayAndMilliseconds) {
    const ScopedCall<&Calls::TzSpecificLocalTimeToSystemTime> convert(
        [](const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* local, SYSTEMTIME* result) -> BOOL {
            EXPECT_EQ(nullptr, zone);
            EXPECT_EQ(2010, local->wYear);
            EXPECT_EQ(5, local->wMonth);
            EXPECT_EQ(0xFFFF, local->wDayOfWeek);
            EXPECT_EQ(17, local->wDay);
            EXPECT_EQ(4, local->wHour);
            EXPECT_EQ(30, local->wMinute);
            EXPECT_EQ(15, local->wSecond);
            EXPECT_EQ(0, local->wMilliseconds);
            *result = {2011, 6, 2, 21, 9, 31, 16, 5};
            return TRUE;
        });
    EXPECT_TRUE(DateTime(2010, 5, 17, 4, 30, 15, true) ==
                fromClock({2011, 6, 2, 21, 9, 31, 16, 5}));
    EXPECT_EQ(1, convert.count());
}

TEST(DateTime, LocalFieldsThatTheSystemRefusesAreReportedAndInvalid) {
    const std::wstring refused = getSystemErrorMessage(ERROR_INVALID_PARAMETER, nullptr);
    const CapturedErrors errors;
    const DateTime time(2010, 13, 1, 0, 0, 0, true);
    EXPECT_TRUE(time == DateTime::s_invalid);
    EXPECT_EQ(refused, errors.text());
}

TEST(DateTime, TheReportIsThatOfTheFailedCall) {
    const std::wstring denied = getSystemErrorMessage(ERROR_ACCESS_DENIED, nullptr);
    const ScopedCall<&Calls::TzSpecificLocalTimeToSystemTime> convert(
        [](const TIME_ZONE_INFORMATION*, const SYSTEMTIME*, SYSTEMTIME* result) {
            // Partly written, as a system may.
            result->wYear = 1999;
            return failing<BOOL>(FALSE, ERROR_ACCESS_DENIED);
        });
    const CapturedErrors errors;
    const DateTime time(2010, 5, 17, 8, 30, 0, true);
    EXPECT_TRUE(time == DateTime::s_invalid);
    EXPECT_EQ(denied, errors.text());
}

TEST(DateTime, ReportsThrowNothingWhenTheHostsErrorStreamDoes) {
    class Broken : public std::wstreambuf {};
    Broken buffer;
    std::wstreambuf* const previous = std::wcerr.rdbuf(&buffer);
    std::wcerr.exceptions(std::ios_base::badbit);
    EXPECT_NO_THROW(EXPECT_TRUE(DateTime(2010, 13, 1, 0, 0, 0, true) == DateTime::s_invalid));
    EXPECT_TRUE(std::wcerr.bad());
    EXPECT_NO_THROW(EXPECT_EQ(L"", DateTime::s_end.toString(true, nullptr, nullptr, true)));
    std::wcerr.exceptions(std::ios_base::goodbit);
    std::wcerr.rdbuf(previous);
}

// Moving forward.

TEST(DateTime, MovesForwardBySeconds) {
    DateTime time = utc(2000, 2, 28, 12);
    DateTime& same = time += 86400;
    EXPECT_EQ(&time, &same);
    EXPECT_TRUE(time == utc(2000, 2, 29, 12));
    time += 86400;
    EXPECT_TRUE(time == utc(2000, 3, 1, 12));
    time += 1;
    EXPECT_TRUE(time == utc(2000, 3, 1, 12, 0, 1));
    time = utc(1999, 12, 31, 23, 59, 59);
    time += 1;
    EXPECT_TRUE(time == utc(2000, 1, 1));
    // All that 32 bits can count.
    time = utc(2000, 1, 1);
    time += 4294967295UL;
    EXPECT_TRUE(time == utc(2136, 2, 7, 6, 28, 15));
}

TEST(DateTime, MovingKeepsMilliseconds) {
    DateTime time = fromClock({2000, 1, 6, 1, 0, 0, 0, 123});
    time += 2;
    EXPECT_TRUE(time == fromClock({2000, 1, 6, 1, 0, 0, 2, 123}));
}

TEST(DateTime, MovesNeitherTheSentinelsNorBeyondTheCalendar) {
    const CapturedErrors errors;
    for (const DateTime& sentinel : {DateTime::s_begin, DateTime::s_end, DateTime::s_invalid}) {
        DateTime time = sentinel;
        time += 1;
        EXPECT_TRUE(time == sentinel);
    }
    const DateTime last(kLastSecond);
    DateTime time = last;
    time += 0;
    EXPECT_TRUE(time == last);
    // A year and more, behind what any system can count.
    time += 4294967295UL;
    EXPECT_TRUE(time == last);
    time += std::numeric_limits<unsigned long>::max();
    EXPECT_TRUE(time == last);
    EXPECT_EQ(L"", errors.text());
}

TEST(DateTime, MovingAsksTheSystemTwice) {
    DateTime time = utc(2000, 1, 1);
    {
        CallLog log(platform::testing::Time);
        time += 60;
        EXPECT_EQ((std::vector<std::wstring>{L"SystemTimeToFileTime", L"FileTimeToSystemTime"}),
                  log.names());
    }
    {
        const ScopedCall<&Calls::SystemTimeToFileTime> convert(
            [](const SYSTEMTIME*, FILETIME*) { return failing<BOOL>(FALSE, ERROR_ACCESS_DENIED); });
        CallLog log(platform::testing::Time);
        time += 60;
        EXPECT_EQ((std::vector<std::wstring>{L"SystemTimeToFileTime"}), log.names());
        EXPECT_TRUE(time == DateTime(12591158460)) << "unchanged";
    }
    const ScopedCall<&Calls::FileTimeToSystemTime> convert([](const FILETIME*, SYSTEMTIME* result) {
        result->wYear = 1999;
        return failing<BOOL>(FALSE, ERROR_ACCESS_DENIED);
    });
    time += 60;
    EXPECT_TRUE(time == utc(2000, 1, 1, 0, 1, 0)) << "unchanged";
}

TEST(DateTime, TicksWithTheTopBitAreSigned) {
    // A system may give them for a year behind the end of the calendar.
    std::uint64_t ticks = 0;
    const ScopedCall<&Calls::SystemTimeToFileTime> convert(
        [&ticks](const SYSTEMTIME*, FILETIME* result) -> BOOL {
            result->dwLowDateTime = static_cast<DWORD>(ticks);
            result->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
            return TRUE;
        });
    DateTime time = utc(40000, 1, 1);
    ticks = static_cast<std::uint64_t>(-25'000'000);
    EXPECT_EQ(-2, time.getSecondsSinceEpoch());
    EXPECT_EQ(-2'500'000, time.getMicroSecondsSinceEpoch());
    EXPECT_EQ(L"-2", time.timestampString());
    ticks = std::uint64_t{1} << 63;
    time += 1;
    EXPECT_TRUE(time == utc(40000, 1, 1));
}

// Counts.

TEST(DateTime, CountsSecondsAndMicroseconds) {
    EXPECT_EQ(0, utc(1601, 1, 1).getSecondsSinceEpoch());
    EXPECT_EQ(0, utc(1601, 1, 1).getMicroSecondsSinceEpoch());
    EXPECT_EQ(11644473600, utc(1970, 1, 1).getSecondsSinceEpoch());
    EXPECT_EQ(12591158400, utc(2000, 1, 1).getSecondsSinceEpoch());
    EXPECT_EQ(12591158400'000'000, utc(2000, 1, 1).getMicroSecondsSinceEpoch());
    const DateTime time = fromClock({2000, 1, 6, 1, 0, 0, 0, 999});
    EXPECT_EQ(12591158400, time.getSecondsSinceEpoch());
    EXPECT_EQ(12591158400'999'000, time.getMicroSecondsSinceEpoch());
}

TEST(DateTime, CountsAreMinusOneWhenTheSystemRefuses) {
    const CapturedErrors errors;
    const DateTime time = utc(2000, 1, 1);
    const ScopedCall<&Calls::SystemTimeToFileTime> convert(
        [](const SYSTEMTIME*, FILETIME*) { return failing<BOOL>(FALSE, ERROR_ACCESS_DENIED); });
    EXPECT_EQ(-1, time.getSecondsSinceEpoch());
    EXPECT_EQ(-1, time.getMicroSecondsSinceEpoch());
    EXPECT_EQ(L"", time.timestampString());
    EXPECT_EQ(3, convert.count());
    EXPECT_EQ(L"", errors.text());
}

TEST(DateTime, TheStampIsTheCountInDecimal) {
    EXPECT_EQ(L"0", utc(1601, 1, 1).timestampString());
    EXPECT_EQ(L"7", utc(1601, 1, 1, 0, 0, 7).timestampString());
    EXPECT_EQ(L"12591158400", utc(2000, 1, 1).timestampString());
    EXPECT_EQ(L"922314988799", utc(30827, 12, 31, 23, 59, 59).timestampString());
    const DateTime time = fromClock({2010, 5, 1, 17, 8, 30, 0, 999});
    EXPECT_EQ(L"12918558600", time.timestampString());
    EXPECT_TRUE(DateTime(time.timestampString()) == utc(2010, 5, 17, 8, 30));
}

// Text.

TEST(DateTime, IsWrittenForAPerson) {
    const English english;
    const DateTime time = utc(2010, 5, 17, 8, 30);
    EXPECT_EQ(L"Monday, May 17, 2010, 8:30:00 AM", time.toString(false, nullptr, nullptr, false));
    EXPECT_EQ(L"May 17, 2010, 8:30:00 AM", time.toString(false, L"MMMM d, yyyy", nullptr, false));
    EXPECT_EQ(L"Monday, May 17, 2010, 08.30", time.toString(false, nullptr, L"HH.mm", false));
    EXPECT_EQ(L"17.5., 8h", time.toString(false, L"d.M.", L"H'h'", false));
}

TEST(DateTime, IsWrittenInLocalTimeByTheRuleForItsDate) {
    const English english;
    const LocalZone zone(testing::berlin());
    EXPECT_EQ(L"Monday, May 17, 2010, 10:30:00 AM",
              utc(2010, 5, 17, 8, 30).toString(true, nullptr, nullptr, false));
    EXPECT_EQ(L"Sunday, January 17, 2010, 9:30:00 AM",
              utc(2010, 1, 17, 8, 30).toString(true, nullptr, nullptr, false));
    EXPECT_EQ(L"Friday, January 1, 2010, 12:30:00 AM",
              utc(2009, 12, 31, 23, 30).toString(true, nullptr, nullptr, false));
    EXPECT_EQ(L"Thursday, December 31, 2009, 11:30:00 PM",
              utc(2009, 12, 31, 23, 30).toString(false, nullptr, nullptr, false));
}

TEST(DateTime, ALocalTimeThatTheSystemRefusesIsReportedAndEmpty) {
    const std::wstring refused = getSystemErrorMessage(ERROR_INVALID_PARAMETER, nullptr);
    for (const DateTime& time : {utc(2000, 13, 1), DateTime::s_begin, DateTime::s_end,
                                 DateTime::s_invalid, DateTime(-1)}) {
        const CapturedErrors errors;
        EXPECT_EQ(L"", time.toString(true, nullptr, nullptr, true));
        EXPECT_EQ(refused, errors.text());
    }
    const std::wstring denied = getSystemErrorMessage(ERROR_ACCESS_DENIED, nullptr);
    const ScopedCall<&Calls::SystemTimeToTzSpecificLocalTime> convert(
        [](auto...) { return failing<BOOL>(FALSE, ERROR_ACCESS_DENIED); });
    const ScopedCall<&Calls::GetDateFormatW> format([](auto...) { return 0; });
    const CapturedErrors errors;
    EXPECT_EQ(L"", utc(2010, 5, 17).toString(true, nullptr, nullptr, false));
    EXPECT_EQ(denied, errors.text());
    EXPECT_EQ(0, format.count());
}

TEST(DateTime, TheBeginningOfTheCalendarHasNoLocalTimeInTheWest) {
    const LocalZone zone(testing::newYork());
    const CapturedErrors errors;
    EXPECT_EQ(L"", DateTime(0).toString(true, nullptr, nullptr, false));
    EXPECT_EQ(getSystemErrorMessage(ERROR_INVALID_PARAMETER, nullptr), errors.text());
}

TEST(DateTime, AnImpossibleDateInUtcIsReportedByTheFormatting) {
    const English english;
    const std::wstring refused = getSystemErrorMessage(ERROR_INVALID_PARAMETER, nullptr);
    const CapturedErrors errors;
    EXPECT_EQ(L", 8:30:00 AM", utc(2000, 13, 1, 8, 30).toString(false, nullptr, nullptr, false));
    EXPECT_EQ(refused + L"\n", errors.text());
}

/// Milliseconds go in front of the marker of the day's half.
TEST(DateTime, MillisecondsAreAlwaysThreeDigits) {
    const English english;
    const auto text = [](WORD hour, WORD milliseconds) {
        return fromClock({2010, 5, 1, 17, hour, 4, 5, milliseconds})
            .toString(false, L"d", nullptr, true);
    };
    EXPECT_EQ(L"17, 3:04:05.007 PM", text(15, 7));
    EXPECT_EQ(L"17, 3:04:05.007 AM", text(3, 7));
    EXPECT_EQ(L"17, 3:04:05.000 PM", text(15, 0));
    EXPECT_EQ(L"17, 3:04:05.045 PM", text(15, 45));
    EXPECT_EQ(L"17, 3:04:05.999 PM", text(15, 999));
}

TEST(DateTime, MillisecondsOfLocalTimeAreThoseOfTheTime) {
    const English english;
    const LocalZone zone(testing::berlin());
    EXPECT_EQ(L"17, 10:30:00.123 AM",
              fromClock({2010, 5, 1, 17, 8, 30, 0, 123}).toString(true, L"d", nullptr, true));
}

TEST(DateTime, MillisecondsGoInFrontOfTheFirstPmElseTheFirstAm) {
    const English english;
    const auto text = [](const wchar_t* datePicture, const wchar_t* timePicture) {
        return fromClock({2010, 5, 1, 17, 3, 4, 5, 7})
            .toString(false, datePicture, timePicture, true);
    };
    EXPECT_EQ(L"x.007 PM y, 3 AM", text(L"'x PM y'", L"h tt"));
    EXPECT_EQ(L"a AM b.007 PM c PM, 3 AM", text(L"'a AM b PM c PM'", L"h tt"));
    EXPECT_EQ(L"a.007 AM b, 3 AM", text(L"'a AM b'", L"h tt"));
    EXPECT_EQ(L"a.007 AMPLE, 3", text(L"'a AMPLE'", L"h"));
    EXPECT_EQ(L"17,.007 PMs", text(L"d", L"'PMs'"));
}

TEST(DateTime, WithoutAMarkerMillisecondsGoInFrontOfTheLastUnit) {
    const English english;
    const auto text = [](const wchar_t* timePicture) {
        return fromClock({2010, 5, 1, 17, 15, 4, 5, 7}).toString(false, L"d", timePicture, true);
    };
    // What a language without markers makes of the default picture, and the oddity that is kept.
    EXPECT_EQ(L"17, 3:04:05.007 ", text(L"h:mm:ss "));
    EXPECT_EQ(L"17, 3:04:0.0075", text(L"h:mm:ss"));
    EXPECT_EQ(L"17,.007 ", text(L""));
    EXPECT_EQ(L"17, 3:04.007P", text(L"h:mmt"));
}

TEST(DateTime, MillisecondsAreAddedToAnEmptyTextToo) {
    const ScopedCall<&Calls::GetDateFormatW> date([](auto...) { return 0; });
    const ScopedCall<&Calls::GetTimeFormatW> time([](auto...) { return 0; });
    const CapturedErrors errors;
    EXPECT_EQ(L",.000 ", utc(2010, 5, 17).toString(false, nullptr, nullptr, true));
}

// Comparisons.

TEST(DateTime, ComparesAllPairsByTheSevenFields) {
    // In their order; each differs from the one before in one field only, or follows a sentinel.
    const std::vector<DateTime> ordered = {
        DateTime::s_begin,
        utc(1601, 1, 1),
        utc(2009, 12, 31, 23, 59, 59),
        utc(2010, 5, 17, 8, 30, 0),
        fromClock({2010, 5, 1, 17, 8, 30, 0, 1}),
        fromClock({2010, 5, 1, 17, 8, 30, 0, 999}),
        utc(2010, 5, 17, 8, 30, 1),
        utc(2010, 5, 17, 8, 31, 0),
        utc(2010, 5, 17, 9, 0, 0),
        utc(2010, 5, 18, 0, 0, 0),
        utc(2010, 6, 1, 0, 0, 0),
        utc(2010, 13, 0),
        utc(2011, 1, 1, 0, 0, 0),
        utc(30827, 12, 31, 23, 59, 59),
        DateTime::s_end,
        utc(32768, 0, 0),
        DateTime::s_invalid,
    };
    for (std::size_t i = 0; i < ordered.size(); ++i) {
        for (std::size_t j = 0; j < ordered.size(); ++j) {
            const DateTime& left = ordered[i];
            const DateTime& right = ordered[j];
            EXPECT_EQ(i == j, left == right) << i << " " << j;
            EXPECT_EQ(i != j, left != right) << i << " " << j;
            EXPECT_EQ(i < j, left < right) << i << " " << j;
            EXPECT_EQ(i <= j, left <= right) << i << " " << j;
            EXPECT_EQ(i > j, left > right) << i << " " << j;
            EXPECT_EQ(i >= j, left >= right) << i << " " << j;
        }
    }
}

TEST(DateTime, ComparisonsDoNotLookAtTheWeekday) {
    const DateTime unknown = fromClock({2010, 5, 0xFFFF, 17, 8, 30, 0, 0});
    const DateTime monday = fromClock({2010, 5, 1, 17, 8, 30, 0, 0});
    EXPECT_TRUE(unknown == monday);
    EXPECT_FALSE(unknown != monday);
    EXPECT_FALSE(unknown < monday);
    EXPECT_FALSE(monday < unknown);
    EXPECT_TRUE(unknown <= monday);
    EXPECT_TRUE(unknown >= monday);
    EXPECT_FALSE(unknown > monday);
}

// The constants.

TEST(DateTime, TheConstantsEncloseEveryRealTime) {
    const DateTime now;
    EXPECT_TRUE(DateTime::s_begin < now);
    EXPECT_TRUE(now < DateTime::s_end);
    EXPECT_TRUE(DateTime::s_invalid > DateTime::s_end);
    EXPECT_TRUE(DateTime::s_invalid == DateTime::s_invalid);
    EXPECT_TRUE(DateTime::s_begin < DateTime(0));
    EXPECT_TRUE(DateTime(kLastSecond) < DateTime::s_end);
}

TEST(DateTime, TheConstantsHaveTheirFields) {
    EXPECT_TRUE(DateTime::s_begin == utc(0, 0, 0, 0, 0, 0));
    EXPECT_TRUE(DateTime::s_end == utc(32767, 32767, 32767, 32767, 32767, 32767));
    EXPECT_TRUE(DateTime::s_invalid == utc(65535, 65535, 65535, 65535, 65535, 65535));
}

TEST(DateTime, TheConstantsAreNoTimes) {
    const CapturedErrors errors;
    for (const DateTime* const time :
         {&DateTime::s_begin, &DateTime::s_end, &DateTime::s_invalid}) {
        EXPECT_EQ(-1, time->getSecondsSinceEpoch());
        EXPECT_EQ(-1, time->getMicroSecondsSinceEpoch());
        EXPECT_EQ(L"", time->timestampString());
    }
    EXPECT_EQ(L"", errors.text());
}

// Copies.

TEST(DateTime, CopiesShareNothing) {
    DateTime original = utc(2010, 5, 17);
    DateTime copy(original);
    DateTime assigned(0);
    DateTime& result = assigned = original;
    EXPECT_EQ(&assigned, &result);
    original += 60;
    EXPECT_TRUE(copy == utc(2010, 5, 17));
    EXPECT_TRUE(assigned == utc(2010, 5, 17));
    copy += 120;
    EXPECT_TRUE(original == utc(2010, 5, 17, 0, 1));
    EXPECT_TRUE(assigned == utc(2010, 5, 17));
}

TEST(DateTime, ACopyOutlivesItsOriginal) {
    auto original = std::make_unique<DateTime>(utc(2010, 5, 17));
    const DateTime copy = *original;
    original.reset();
    EXPECT_TRUE(copy == utc(2010, 5, 17));
}

TEST(DateTime, MayBeAssignedToItself) {
    DateTime time = utc(2010, 5, 17);
    const DateTime& same = time;
    time = same;
    EXPECT_TRUE(time == utc(2010, 5, 17));
}

TEST(DateTime, IsAsLargeAsAPointer) {
    EXPECT_EQ(sizeof(void*), sizeof(DateTime));
}

}  // namespace
}  // namespace Tallowmere
