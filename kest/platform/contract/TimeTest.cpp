// What the library relies on in the calls of the family Time, in the words of Windows.

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/contract/Differs.h"

namespace Tallowmere::platform {
namespace {

static_assert(ERROR_INVALID_PARAMETER == 87 && ERROR_INSUFFICIENT_BUFFER == 122 &&
              ERROR_INVALID_FLAGS == 1004);
static_assert(TIME_ZONE_ID_UNKNOWN == 0 && TIME_ZONE_ID_STANDARD == 1 &&
              TIME_ZONE_ID_DAYLIGHT == 2 && TIME_ZONE_ID_INVALID == 0xFFFFFFFF);
static_assert(LOCALE_NEUTRAL == 0x0000 && LOCALE_USER_DEFAULT == 0x0400 &&
              LOCALE_SYSTEM_DEFAULT == 0x0800 && LOCALE_CUSTOM_DEFAULT == 0x0C00 &&
              LOCALE_CUSTOM_UNSPECIFIED == 0x1000);
static_assert(sizeof(SYSTEMTIME) == 16 && sizeof(FILETIME) == 8);

constexpr DWORD kUntouchedError = 12345;

SYSTEMTIME at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
              int milliseconds = 0) {
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDayOfWeek = 0xFFFF;
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    time.wSecond = static_cast<WORD>(second);
    time.wMilliseconds = static_cast<WORD>(milliseconds);
    return time;
}

/// "2010-5-17 (1) 8:30:0.0", all fields as they are.
std::string text(const SYSTEMTIME& time) {
    const auto number = [](WORD value) { return std::to_string(value); };
    return number(time.wYear) + "-" + number(time.wMonth) + "-" + number(time.wDay) + " (" +
           number(time.wDayOfWeek) + ") " + number(time.wHour) + ":" + number(time.wMinute) + ":" +
           number(time.wSecond) + "." + number(time.wMilliseconds);
}

FILETIME fileTime(std::uint64_t ticks) {
    FILETIME time{};
    time.dwLowDateTime = static_cast<DWORD>(ticks);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return time;
}

std::uint64_t ticks(const FILETIME& time) {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

/// What a conversion did: the value that it wrote, or the error that it gave. That a failure leaves
/// the result, and a success the last error alone, is expected here.
std::string toFileTime(const SYSTEMTIME& time) {
    const std::uint64_t marker = 0x1122334455667788;
    FILETIME result = fileTime(marker);
    os().SetLastError(kUntouchedError);
    const BOOL done = os().SystemTimeToFileTime(&time, &result);
    const DWORD error = os().GetLastError();
    if (done) {
        EXPECT_EQ(kUntouchedError, error);
        return std::to_string(ticks(result));
    }
    EXPECT_EQ(marker, ticks(result));
    return "error " + std::to_string(error);
}

std::string outcome(BOOL done, DWORD error, const SYSTEMTIME& result, const SYSTEMTIME& marker) {
    if (done) {
        EXPECT_EQ(kUntouchedError, error);
        return text(result);
    }
    EXPECT_EQ(text(marker), text(result));
    return "error " + std::to_string(error);
}

std::string toSystemTime(std::uint64_t count) {
    const SYSTEMTIME marker = at(1, 2, 3, 4, 5, 6, 7);
    SYSTEMTIME result = marker;
    const FILETIME time = fileTime(count);
    os().SetLastError(kUntouchedError);
    const BOOL done = os().FileTimeToSystemTime(&time, &result);
    return outcome(done, os().GetLastError(), result, marker);
}

std::string toLocal(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME& time) {
    const SYSTEMTIME marker = at(1, 2, 3, 4, 5, 6, 7);
    SYSTEMTIME result = marker;
    os().SetLastError(kUntouchedError);
    const BOOL done = os().SystemTimeToTzSpecificLocalTime(zone, &time, &result);
    return outcome(done, os().GetLastError(), result, marker);
}

std::string toUniversal(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME& time) {
    const SYSTEMTIME marker = at(1, 2, 3, 4, 5, 6, 7);
    SYSTEMTIME result = marker;
    os().SetLastError(kUntouchedError);
    const BOOL done = os().TzSpecificLocalTimeToSystemTime(zone, &time, &result);
    return outcome(done, os().GetLastError(), result, marker);
}

/// A switch date: month, day of the week (0 is Sunday), week (5 is the last), hour.
SYSTEMTIME onWeek(int month, int weekday, int week, int hour) {
    SYSTEMTIME date = at(0, month, week, hour);
    date.wDayOfWeek = static_cast<WORD>(weekday);
    return date;
}

TIME_ZONE_INFORMATION zoneOf(LONG bias, LONG daylightBias, const SYSTEMTIME& daylight,
                             const SYSTEMTIME& standard) {
    TIME_ZONE_INFORMATION zone{};
    zone.Bias = bias;
    zone.DaylightBias = daylightBias;
    zone.DaylightDate = daylight;
    zone.StandardDate = standard;
    return zone;
}

TIME_ZONE_INFORMATION newYork() {
    return zoneOf(300, -60, onWeek(3, 0, 2, 2), onWeek(11, 0, 1, 2));
}

TIME_ZONE_INFORMATION sydney() {
    return zoneOf(-600, -60, onWeek(10, 0, 1, 2), onWeek(4, 0, 1, 3));
}

TIME_ZONE_INFORMATION withoutDaylight(LONG bias) {
    TIME_ZONE_INFORMATION zone{};
    zone.Bias = bias;
    return zone;
}

// The conversions between fields and file times.

TEST(TimeContract, FieldsBecomeTicksSince1601) {
    EXPECT_EQ("0", toFileTime(at(1601, 1, 1)));
    EXPECT_EQ("10000", toFileTime(at(1601, 1, 1, 0, 0, 0, 1)));
    EXPECT_EQ("116444736000000000", toFileTime(at(1970, 1, 1)));
    EXPECT_EQ("125911584000000000", toFileTime(at(2000, 1, 1)));
    EXPECT_EQ("125963423999990000", toFileTime(at(2000, 2, 29, 23, 59, 59, 999)));
    EXPECT_EQ("129185586000000000", toFileTime(at(2010, 5, 17, 8, 30)));
    EXPECT_EQ("9223149887999990000", toFileTime(at(30827, 12, 31, 23, 59, 59, 999)));
}

TEST(TimeContract, TheDayOfTheWeekIsNotLookedAt) {
    SYSTEMTIME time = at(2010, 5, 17, 8, 30);
    for (const WORD weekday : {WORD{0}, WORD{1}, WORD{6}, WORD{7}, WORD{0xFFFF}}) {
        time.wDayOfWeek = weekday;
        EXPECT_EQ("129185586000000000", toFileTime(time));
    }
}

TEST(TimeContract, ImpossibleFieldsAreRefused) {
    const SYSTEMTIME impossible[] = {
        at(2010, 0, 1),
        at(2010, 13, 1),
        at(2010, 1, 0),
        at(2010, 1, 32),
        at(2010, 4, 31),
        at(2010, 2, 30),
        at(2012, 2, 30),
        at(2010, 1, 1, 24),
        at(2010, 1, 1, 0, 60),
        at(2010, 1, 1, 0, 0, 60),
        at(2010, 1, 1, 0, 0, 0, 1000),
        at(1600, 12, 31),
        at(0, 1, 1),
        at(0, 0, 0),
        at(32767, 32767, 32767, 32767),
        at(65535, 65535, 65535),
    };
    const TIME_ZONE_INFORMATION zone = newYork();
    for (const SYSTEMTIME& time : impossible) {
        EXPECT_EQ("error 87", toFileTime(time)) << text(time);
        EXPECT_EQ("error 87", toLocal(&zone, time)) << text(time);
        EXPECT_EQ("error 87", toLocal(nullptr, time)) << text(time);
        EXPECT_EQ("error 87", toUniversal(&zone, time)) << text(time);
        EXPECT_EQ("error 87", toUniversal(nullptr, time)) << text(time);
    }
}

TEST(TimeContract, The29thOfFebruaryNeedsALeapYear) {
    const TIME_ZONE_INFORMATION zone = newYork();
    for (const int year : {1604, 2000, 2004, 2400}) {
        EXPECT_NE("error 87", toFileTime(at(year, 2, 29))) << year;
        EXPECT_NE("error 87", toLocal(&zone, at(year, 2, 29))) << year;
    }
    for (const int year : {1700, 1900, 2001, 2011, 2100}) {
        const char* const reason = "it is taken for 1 March";
        KEST_DIFFERS_ON_WINE(reason, toFileTime(at(year, 2, 29)) == "error 87");
        KEST_DIFFERS_ON_WINE(reason, toLocal(&zone, at(year, 2, 29)) == "error 87");
        KEST_DIFFERS_ON_WINE(reason, toUniversal(&zone, at(year, 2, 29)) == "error 87");
    }
}

TEST(TimeContract, TheCalendarEndsWith30827) {
    const char* const reason = "the years end where 63 bits do, in 30828";
    KEST_DIFFERS_ON_WINE(reason, toFileTime(at(30828, 1, 1)) == "error 87");
    KEST_DIFFERS_ON_WINE(reason, toSystemTime(9223149888000000000U) == "error 87");
    KEST_DIFFERS_ON_WINE(reason, toSystemTime(0x7FFFFFFFFFFFFFFF) == "error 87");
    const TIME_ZONE_INFORMATION west = withoutDaylight(60);
    KEST_DIFFERS_ON_WINE(reason, toUniversal(&west, at(30827, 12, 31, 23)) == "error 87");
    const TIME_ZONE_INFORMATION east = withoutDaylight(-60);
    KEST_DIFFERS_ON_WINE(reason, toLocal(&east, at(30827, 12, 31, 23)) == "error 87");
}

TEST(TimeContract, TicksBecomeFieldsWithTheDayOfTheWeek) {
    EXPECT_EQ("1601-1-1 (1) 0:0:0.0", toSystemTime(0));
    EXPECT_EQ("1601-1-1 (1) 0:0:0.0", toSystemTime(9999));
    EXPECT_EQ("1601-1-1 (1) 0:0:0.1", toSystemTime(10000));
    EXPECT_EQ("1970-1-1 (4) 0:0:0.0", toSystemTime(116444736000000000));
    EXPECT_EQ("2000-1-1 (6) 0:0:0.0", toSystemTime(125911584000000000));
    EXPECT_EQ("2000-2-29 (2) 23:59:59.999", toSystemTime(125963423999999999));
    EXPECT_EQ("2010-5-17 (1) 8:30:0.0", toSystemTime(129185586000000000));
    EXPECT_EQ("30827-12-31 (5) 23:59:59.999", toSystemTime(9223149887999999999));
}

TEST(TimeContract, TicksWithTheTopBitAreRefused) {
    EXPECT_EQ("error 87", toSystemTime(0x8000000000000000));
    EXPECT_EQ("error 87", toSystemTime(0xFFFFFFFFFFFFFFFF));
}

TEST(TimeContract, TheClockIsInUtcAndKnowsItsWeekday) {
    SYSTEMTIME now = at(0, 0, 0);
    os().GetSystemTime(&now);
    FILETIME time{};
    ASSERT_TRUE(os().SystemTimeToFileTime(&now, &time));
    SYSTEMTIME again{};
    ASSERT_TRUE(os().FileTimeToSystemTime(&time, &again));
    EXPECT_EQ(text(again), text(now));
    EXPECT_GE(now.wYear, 2024);
}

// Zones.

TEST(TimeContract, DaylightTimeOfTheNorthBeginsAndEndsToTheMillisecond) {
    const TIME_ZONE_INFORMATION zone = newYork();
    EXPECT_EQ("2026-1-15 (4) 7:0:0.0", toLocal(&zone, at(2026, 1, 15, 12)));
    EXPECT_EQ("2026-3-8 (0) 1:59:59.999", toLocal(&zone, at(2026, 3, 8, 6, 59, 59, 999)));
    EXPECT_EQ("2026-3-8 (0) 3:0:0.0", toLocal(&zone, at(2026, 3, 8, 7)));
    EXPECT_EQ("2026-3-8 (0) 3:0:1.0", toLocal(&zone, at(2026, 3, 8, 7, 0, 1)));
    EXPECT_EQ("2026-7-15 (3) 8:0:0.0", toLocal(&zone, at(2026, 7, 15, 12)));
    EXPECT_EQ("2026-11-1 (0) 1:59:59.999", toLocal(&zone, at(2026, 11, 1, 5, 59, 59, 999)));
    EXPECT_EQ("2026-11-1 (0) 1:0:0.0", toLocal(&zone, at(2026, 11, 1, 6)));
    EXPECT_EQ("2026-11-1 (0) 1:0:1.0", toLocal(&zone, at(2026, 11, 1, 6, 0, 1)));
}

TEST(TimeContract, DaylightTimeOfTheSouthGoesOnOverNewYear) {
    const TIME_ZONE_INFORMATION zone = sydney();
    EXPECT_EQ("2026-1-1 (4) 10:59:59.999", toLocal(&zone, at(2025, 12, 31, 23, 59, 59, 999)));
    EXPECT_EQ("2026-1-1 (4) 11:0:0.0", toLocal(&zone, at(2026, 1, 1)));
    EXPECT_EQ("2026-4-5 (0) 2:59:59.999", toLocal(&zone, at(2026, 4, 4, 15, 59, 59, 999)));
    EXPECT_EQ("2026-4-5 (0) 2:0:0.0", toLocal(&zone, at(2026, 4, 4, 16)));
    EXPECT_EQ("2026-7-1 (3) 10:0:0.0", toLocal(&zone, at(2026, 7, 1)));
    EXPECT_EQ("2026-10-4 (0) 1:59:59.999", toLocal(&zone, at(2026, 10, 3, 15, 59, 59, 999)));
    EXPECT_EQ("2026-10-4 (0) 3:0:0.0", toLocal(&zone, at(2026, 10, 3, 16)));
}

TEST(TimeContract, TheSwitchDatesHoldForEveryYear) {
    const TIME_ZONE_INFORMATION zone = newYork();
    // In 2005 the real rule was another one: the record does not know.
    EXPECT_EQ("2005-3-20 (0) 8:0:0.0", toLocal(&zone, at(2005, 3, 20, 12)));
    EXPECT_EQ("1700-7-1 (4) 8:0:0.0", toLocal(&zone, at(1700, 7, 1, 12)));
    EXPECT_EQ("3000-1-1 (3) 7:0:0.0", toLocal(&zone, at(3000, 1, 1, 12)));
    // The last Sunday of a month with four and with five of them.
    const TIME_ZONE_INFORMATION berlin = zoneOf(-60, -60, onWeek(3, 0, 5, 2), onWeek(10, 0, 5, 3));
    EXPECT_EQ("2026-3-29 (0) 1:59:59.0", toLocal(&berlin, at(2026, 3, 29, 0, 59, 59)));
    EXPECT_EQ("2026-3-29 (0) 3:0:0.0", toLocal(&berlin, at(2026, 3, 29, 1)));
    EXPECT_EQ("2027-3-28 (0) 1:59:59.0", toLocal(&berlin, at(2027, 3, 28, 0, 59, 59)));
    EXPECT_EQ("2027-3-28 (0) 3:0:0.0", toLocal(&berlin, at(2027, 3, 28, 1)));
    EXPECT_EQ("2026-10-25 (0) 2:59:59.0", toLocal(&berlin, at(2026, 10, 25, 0, 59, 59)));
    EXPECT_EQ("2026-10-25 (0) 2:0:0.0", toLocal(&berlin, at(2026, 10, 25, 1)));
}

TEST(TimeContract, LocalTimeBecomesUtc) {
    const TIME_ZONE_INFORMATION zone = newYork();
    EXPECT_EQ("2026-1-15 (4) 17:0:0.0", toUniversal(&zone, at(2026, 1, 15, 12)));
    EXPECT_EQ("2026-7-15 (3) 16:0:0.0", toUniversal(&zone, at(2026, 7, 15, 12)));
    EXPECT_EQ("2027-1-1 (5) 4:30:0.0", toUniversal(&zone, at(2026, 12, 31, 23, 30)));
    EXPECT_EQ("2026-3-8 (0) 6:59:59.999", toUniversal(&zone, at(2026, 3, 8, 1, 59, 59, 999)));
    EXPECT_EQ("2026-3-8 (0) 7:0:0.0", toUniversal(&zone, at(2026, 3, 8, 3)));
    EXPECT_EQ("2026-11-1 (0) 4:59:59.0", toUniversal(&zone, at(2026, 11, 1, 0, 59, 59)));
    EXPECT_EQ("2026-11-1 (0) 7:0:0.0", toUniversal(&zone, at(2026, 11, 1, 2)));
    const TIME_ZONE_INFORMATION south = sydney();
    EXPECT_EQ("2025-12-31 (3) 13:0:0.0", toUniversal(&south, at(2026, 1, 1)));
    EXPECT_EQ("2026-4-4 (6) 17:0:0.0", toUniversal(&south, at(2026, 4, 5, 3)));
    EXPECT_EQ("2026-10-3 (6) 16:0:0.0", toUniversal(&south, at(2026, 10, 4, 3)));
}

TEST(TimeContract, AnHourThatTheClockLeapsOverCountsAsDaylightTime) {
    const TIME_ZONE_INFORMATION north = newYork();
    EXPECT_EQ("2026-3-8 (0) 6:0:0.0", toUniversal(&north, at(2026, 3, 8, 2)));
    EXPECT_EQ("2026-3-8 (0) 6:30:0.0", toUniversal(&north, at(2026, 3, 8, 2, 30)));
    const TIME_ZONE_INFORMATION south = sydney();
    EXPECT_EQ("2026-10-3 (6) 15:30:0.0", toUniversal(&south, at(2026, 10, 4, 2, 30)));
}

TEST(TimeContract, AnHourThatTheClockShowsTwiceCountsAsDaylightTime) {
    const TIME_ZONE_INFORMATION north = newYork();
    EXPECT_EQ("2026-11-1 (0) 5:0:0.0", toUniversal(&north, at(2026, 11, 1, 1)));
    EXPECT_EQ("2026-11-1 (0) 5:30:0.0", toUniversal(&north, at(2026, 11, 1, 1, 30)));
    const TIME_ZONE_INFORMATION south = sydney();
    EXPECT_EQ("2026-4-4 (6) 15:30:0.0", toUniversal(&south, at(2026, 4, 5, 2, 30)));
}

TEST(TimeContract, HalfAnHourOfDaylightTime) {
    const TIME_ZONE_INFORMATION zone = zoneOf(-630, -30, onWeek(10, 0, 1, 2), onWeek(4, 0, 1, 2));
    EXPECT_EQ("2026-4-5 (0) 1:59:59.0", toLocal(&zone, at(2026, 4, 4, 14, 59, 59)));
    EXPECT_EQ("2026-4-5 (0) 1:30:0.0", toLocal(&zone, at(2026, 4, 4, 15)));
    EXPECT_EQ("2026-10-4 (0) 1:59:59.0", toLocal(&zone, at(2026, 10, 3, 15, 29, 59)));
    EXPECT_EQ("2026-10-4 (0) 2:30:0.0", toLocal(&zone, at(2026, 10, 3, 15, 30)));
}

TEST(TimeContract, AZoneWithoutDaylightTimeHasOneBias) {
    TIME_ZONE_INFORMATION zone = withoutDaylight(-330);
    EXPECT_EQ("2026-7-1 (3) 5:30:0.0", toLocal(&zone, at(2026, 7, 1)));
    EXPECT_EQ("2026-6-30 (2) 18:30:0.0", toUniversal(&zone, at(2026, 7, 1)));
    // The other biases mean nothing then.
    zone.StandardBias = -10;
    zone.DaylightBias = -60;
    EXPECT_EQ("2026-7-1 (3) 5:30:0.0", toLocal(&zone, at(2026, 7, 1)));
    EXPECT_EQ("2026-1-1 (4) 5:30:0.0", toLocal(&zone, at(2026, 1, 1)));
}

TEST(TimeContract, TheStandardBiasCountsInAZoneWithDaylightTime) {
    TIME_ZONE_INFORMATION zone = newYork();
    zone.StandardBias = -30;
    EXPECT_EQ("2026-1-1 (4) 7:30:0.0", toLocal(&zone, at(2026, 1, 1, 12)));
    EXPECT_EQ("2026-7-1 (3) 8:0:0.0", toLocal(&zone, at(2026, 7, 1, 12)));
    EXPECT_EQ("2026-1-1 (4) 12:0:0.0", toUniversal(&zone, at(2026, 1, 1, 7, 30)));
}

TEST(TimeContract, LocalTimeBefore1601IsRefused) {
    const TIME_ZONE_INFORMATION west = newYork();
    EXPECT_EQ("error 87", toLocal(&west, at(1601, 1, 1)));
    EXPECT_EQ("error 87", toLocal(&west, at(1601, 1, 1, 4, 59, 59, 999)));
    EXPECT_EQ("1601-1-1 (1) 0:0:0.0", toLocal(&west, at(1601, 1, 1, 5)));
    const TIME_ZONE_INFORMATION east = withoutDaylight(-60);
    EXPECT_EQ("1601-1-1 (1) 1:0:0.0", toLocal(&east, at(1601, 1, 1)));
    EXPECT_EQ("error 87", toUniversal(&east, at(1601, 1, 1, 0, 59, 59, 999)));
    EXPECT_EQ("1601-1-1 (1) 0:0:0.0", toUniversal(&east, at(1601, 1, 1, 1)));
}

TEST(TimeContract, AZoneWithAnImpossibleSwitchIsRefused) {
    TIME_ZONE_INFORMATION zone = newYork();
    zone.StandardDate.wMonth = 0;
    EXPECT_EQ("error 87", toLocal(&zone, at(2026, 7, 1)));
    EXPECT_EQ("error 87", toUniversal(&zone, at(2026, 7, 1)));
    for (const WORD week : {WORD{0}, WORD{6}}) {
        zone = newYork();
        zone.StandardDate.wDay = week;
        EXPECT_EQ("error 87", toLocal(&zone, at(2026, 7, 1)));
        zone = newYork();
        zone.DaylightDate.wDay = week;
        EXPECT_EQ("error 87", toUniversal(&zone, at(2026, 7, 1)));
    }
    zone = newYork();
    zone.StandardDate.wMonth = 13;
    KEST_DIFFERS_ON_WINE("the month is not checked", toLocal(&zone, at(2026, 7, 1)) == "error 87");
    zone = newYork();
    zone.Bias = 0x7FFFFFFF;
    EXPECT_EQ("error 87", toLocal(&zone, at(2026, 7, 1)));
}

TEST(TimeContract, ASwitchDateMayHaveMilliseconds) {
    TIME_ZONE_INFORMATION zone = newYork();
    zone.StandardDate = at(0, 10, 5, 23, 59, 59, 999);
    zone.StandardDate.wDayOfWeek = 4;
    KEST_DIFFERS_ON_WINE(
        "switches are rounded to the minute",
        toLocal(&zone, at(2026, 10, 30, 3, 59, 59, 998)) == "2026-10-29 (4) 23:59:59.998");
    EXPECT_EQ("2026-10-29 (4) 23:0:0.0", toLocal(&zone, at(2026, 10, 30, 4)));
}

TEST(TimeContract, ADatedSwitchHappensOnce) {
    TIME_ZONE_INFORMATION zone = newYork();
    zone.DaylightDate = at(2026, 3, 8, 2);
    zone.StandardDate = at(2026, 11, 1, 2);
    EXPECT_EQ("2026-7-1 (3) 8:0:0.0", toLocal(&zone, at(2026, 7, 1, 12)));
    EXPECT_EQ("2026-12-1 (2) 7:0:0.0", toLocal(&zone, at(2026, 12, 1, 12)));
    KEST_DIFFERS_ON_WINE("the year of a switch is not looked at",
                         toLocal(&zone, at(2025, 7, 1, 12)) == "2025-7-1 (2) 7:0:0.0");
    KEST_DIFFERS_ON_WINE("the year of a switch is not looked at",
                         toUniversal(&zone, at(2027, 7, 1, 12)) == "2027-7-1 (4) 17:0:0.0");
}

TEST(TimeContract, TheResultMayStandInThePlaceOfTheArgument) {
    const TIME_ZONE_INFORMATION zone = newYork();
    SYSTEMTIME time = at(2026, 7, 1, 12);
    ASSERT_TRUE(os().SystemTimeToTzSpecificLocalTime(&zone, &time, &time));
    EXPECT_EQ("2026-7-1 (3) 8:0:0.0", text(time));
    ASSERT_TRUE(os().TzSpecificLocalTimeToSystemTime(&zone, &time, &time));
    EXPECT_EQ("2026-7-1 (3) 12:0:0.0", text(time));
}

/// The record, with the last error known to be left alone.
TIME_ZONE_INFORMATION record(DWORD& state) {
    TIME_ZONE_INFORMATION zone;
    std::memset(&zone, 0x11, sizeof zone);
    state = os().GetTimeZoneInformation(&zone);
    return zone;
}

TEST(TimeContract, TheRecordAndTheStateOfNowAgree) {
    DWORD state = TIME_ZONE_ID_INVALID;
    const TIME_ZONE_INFORMATION zone = record(state);
    ASSERT_TRUE(state == TIME_ZONE_ID_UNKNOWN || state == TIME_ZONE_ID_STANDARD ||
                state == TIME_ZONE_ID_DAYLIGHT)
        << state;
    EXPECT_EQ(state == TIME_ZONE_ID_UNKNOWN, zone.DaylightDate.wMonth == 0);
    EXPECT_EQ(zone.DaylightDate.wMonth == 0, zone.StandardDate.wMonth == 0);
    EXPECT_NE(nullptr, std::wmemchr(zone.StandardName, L'\0', std::size(zone.StandardName)));
    EXPECT_NE(nullptr, std::wmemchr(zone.DaylightName, L'\0', std::size(zone.DaylightName)));
}

TEST(TimeContract, NoZoneMeansThePresentRecord) {
    DWORD state = TIME_ZONE_ID_INVALID;
    const TIME_ZONE_INFORMATION zone = record(state);
    for (int month = 1; month <= 12; ++month) {
        for (const int year : {1970, 2010, 2026, 2100}) {
            const SYSTEMTIME time = at(year, month, 15, 12);
            EXPECT_EQ(toLocal(&zone, time), toLocal(nullptr, time));
            EXPECT_EQ(toUniversal(&zone, time), toUniversal(nullptr, time));
        }
    }
}

TEST(TimeContract, AFileTimeBecomesLocalByTheBiasOfNow) {
    DWORD state = TIME_ZONE_ID_INVALID;
    const TIME_ZONE_INFORMATION zone = record(state);
    std::int64_t bias = zone.Bias;
    if (state == TIME_ZONE_ID_STANDARD) {
        bias += zone.StandardBias;
    } else if (state == TIME_ZONE_ID_DAYLIGHT) {
        bias += zone.DaylightBias;
    }
    const std::uint64_t shift = static_cast<std::uint64_t>(bias * 600'000'000);
    // January, May, and the ends, where the count wraps around.
    for (const std::uint64_t count :
         {std::uint64_t{129067992000000000}, std::uint64_t{129185586000000000}, std::uint64_t{0},
          ~std::uint64_t{0}}) {
        const FILETIME time = fileTime(count);
        FILETIME local{};
        os().SetLastError(kUntouchedError);
        EXPECT_TRUE(os().FileTimeToLocalFileTime(&time, &local));
        EXPECT_EQ(kUntouchedError, os().GetLastError());
        EXPECT_EQ(count - shift, ticks(local));
    }
}

// Texts.

constexpr LCID kEnglish = 0x0409;

using Format = int (*)(LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t*, int);

/// The text that a picture gives, or the error. Expects the count to include the terminator.
std::wstring formatted(Format format, const wchar_t* picture, const SYSTEMTIME& time,
                       LCID locale = kEnglish) {
    wchar_t buffer[64];
    std::wmemset(buffer, L'~', std::size(buffer));
    os().SetLastError(kUntouchedError);
    const int count =
        format(locale, 0, &time, picture, buffer, static_cast<int>(std::size(buffer)));
    const DWORD error = os().GetLastError();
    if (count == 0) {
        EXPECT_EQ(L'~', buffer[0]);
        return L"error " + std::to_wstring(error);
    }
    EXPECT_EQ(kUntouchedError, error);
    EXPECT_EQ(static_cast<std::size_t>(count), std::wcslen(buffer) + 1);
    EXPECT_EQ(count, format(locale, 0, &time, picture, nullptr, 0));
    return buffer;
}

std::wstring date(const wchar_t* picture, const SYSTEMTIME& time) {
    return formatted(os().GetDateFormatW, picture, time);
}

std::wstring clock(const wchar_t* picture, const SYSTEMTIME& time) {
    return formatted(os().GetTimeFormatW, picture, time);
}

TEST(TimeContract, TheThreadsLocaleIsEnglishUnlessSet) {
    EXPECT_EQ(kEnglish, os().GetThreadLocale());
}

TEST(TimeContract, DatePictures) {
    const SYSTEMTIME time = at(2009, 5, 7, 8, 3, 5, 7);
    const std::pair<const wchar_t*, const wchar_t*> pictures[] = {
        {L"d dd ddd dddd", L"7 07 Thu Thursday"},
        {L"M MM MMM MMMM", L"5 05 May May"},
        {L"y yy yyyy", L"09 09 2009"},
        {L"g", L"AD"},
        {L"dddd, MMMM d, yyyy", L"Thursday, May 7, 2009"},
        {L"MMMM d, yyyy", L"May 7, 2009"},
        {L"yyyy.MM.dd", L"2009.05.07"},
        // Too many letters: the longest form.
        {L"ddddd dddddd", L"Thursday Thursday"},
        {L"MMMMM", L"May"},
        {L"yyy yyyyy yyyyyy", L"2009 2009 2009"},
        // Without anything between.
        {L"ddMMyyyy", L"07052009"},
        {L"dMd", L"757"},
        // Letters that mean nothing in a date, and other characters.
        {L"D Y m h H s t", L"D Y m h H s t"},
        {L"\\d/%-", L"\\7/%-"},
        {L"d\u00E4\u65E5", L"7\u00E4\u65E5"},
        {L"", L""},
    };
    for (const auto& [picture, expected] : pictures) {
        EXPECT_EQ(expected, date(picture, time)) << picture;
    }
    KEST_DIFFERS_ON_WINE("each letter gives the era", date(L"gg ggg", time) == L"AD AD");
}

TEST(TimeContract, QuotesInPictures) {
    const SYSTEMTIME time = at(2009, 5, 7, 8, 3, 5, 7);
    const std::pair<const wchar_t*, const wchar_t*> pictures[] = {
        {L"'day' d", L"day 7"},
        {L"d'd'd", L"7d7"},
        {L"'a''b'", L"a'b"},
        {L"'''x'''", L"'x'"},
        {L"''", L""},
        {L"''''", L"'"},
        {L"d''d", L"77"},
        {L"'open dd", L"open dd"},
        {L"'", L""},
        {L"'abc'''", L"abc'"},
        {L"'''", L"'"},
    };
    for (const auto& [picture, expected] : pictures) {
        EXPECT_EQ(expected, date(picture, time)) << picture;
    }
    EXPECT_EQ(L"o'clock 8", clock(L"'o''clock' h", time));
    EXPECT_EQ(L"'8", clock(L"''''h", time));
    EXPECT_EQ(L"8h open", clock(L"h'h open", time));
    EXPECT_EQ(L"8:03:05 AM", clock(L"h':'mm':'ss tt", time));
}

TEST(TimeContract, TimePictures) {
    struct Row {
        SYSTEMTIME time;
        const wchar_t* hours;
        const wchar_t* rest;
        const wchar_t* marker;
    };
    const Row rows[] = {
        {at(2010, 1, 1, 0, 5, 9), L"12 12 0 00", L"5 05 9 09", L"A AM"},
        {at(2010, 1, 1, 1, 0, 0), L"1 01 1 01", L"0 00 0 00", L"A AM"},
        {at(2010, 1, 1, 11, 59, 59), L"11 11 11 11", L"59 59 59 59", L"A AM"},
        {at(2010, 1, 1, 12, 5, 9), L"12 12 12 12", L"5 05 9 09", L"P PM"},
        {at(2010, 1, 1, 13, 10, 0), L"1 01 13 13", L"10 10 0 00", L"P PM"},
        {at(2010, 1, 1, 23, 0, 10), L"11 11 23 23", L"0 00 10 10", L"P PM"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.hours, clock(L"h hh H HH", row.time));
        EXPECT_EQ(row.rest, clock(L"m mm s ss", row.time));
        EXPECT_EQ(row.marker, clock(L"t tt", row.time));
    }
    const SYSTEMTIME time = at(2010, 1, 1, 8, 3, 5, 7);
    EXPECT_EQ(L"08 08 03 05 AM AM", clock(L"hhh HHH mmm sss ttt tttt", time));
    // There is no letter for milliseconds, and none for a date.
    EXPECT_EQ(L"08:03:05.fff d M y g", clock(L"HH:mm:ss.fff d M y g", time));
    EXPECT_EQ(L"", clock(L"", time));
}

TEST(TimeContract, ADateKnowsItsOwnWeekday) {
    SYSTEMTIME time = at(2010, 5, 17);
    for (const WORD weekday : {WORD{0xFFFF}, WORD{1}, WORD{3}}) {
        time.wDayOfWeek = weekday;
        EXPECT_EQ(L"Monday Mon", date(L"dddd ddd", time));
    }
}

TEST(TimeContract, NamesOfAllMonthsAndDays) {
    const wchar_t* const months[] = {L"January Jan", L"February Feb", L"March Mar",
                                     L"April Apr",   L"May May",      L"June Jun",
                                     L"July Jul",    L"August Aug",   L"September Sep",
                                     L"October Oct", L"November Nov", L"December Dec"};
    for (int month = 1; month <= 12; ++month) {
        EXPECT_EQ(months[month - 1], date(L"MMMM MMM", at(2010, month, 1)));
    }
    const wchar_t* const days[] = {L"Sunday Sun",   L"Monday Mon", L"Tuesday Tue", L"Wednesday Wed",
                                   L"Thursday Thu", L"Friday Fri", L"Saturday Sat"};
    for (int day = 0; day < 7; ++day) {
        EXPECT_EQ(days[day], date(L"dddd ddd", at(2010, 5, 16 + day)));
    }
}

TEST(TimeContract, WithoutAPictureTheLocaleDecides) {
    const SYSTEMTIME time = at(2010, 5, 7, 20, 3, 5);
    EXPECT_EQ(L"5/7/2010", date(nullptr, time));
    EXPECT_EQ(L"8:03:05 PM", clock(nullptr, time));
    constexpr LCID kInvariant = 0x007F;
    EXPECT_EQ(L"05/07/2010", formatted(os().GetDateFormatW, nullptr, time, kInvariant));
    EXPECT_EQ(L"20:03:05", formatted(os().GetTimeFormatW, nullptr, time, kInvariant));
}

TEST(TimeContract, LocalesThatMeanTheUsersOwn) {
    const SYSTEMTIME time = at(2010, 5, 17, 20, 3, 5);
    for (const LCID locale :
         {LCID{LOCALE_NEUTRAL}, LCID{LOCALE_USER_DEFAULT}, LCID{LOCALE_SYSTEM_DEFAULT},
          LCID{LOCALE_CUSTOM_DEFAULT}, LCID{LOCALE_CUSTOM_UNSPECIFIED}}) {
        EXPECT_EQ(L"Monday, May 17", formatted(os().GetDateFormatW, L"dddd, MMMM d", time, locale));
        EXPECT_EQ(L"8:03 PM", formatted(os().GetTimeFormatW, L"h:mm tt", time, locale));
    }
}

TEST(TimeContract, ALocaleThatDoesNotExistIsRefused) {
    const SYSTEMTIME time = at(2010, 5, 17);
    EXPECT_EQ(L"error 87", formatted(os().GetDateFormatW, L"d", time, 0xFFFF));
    EXPECT_EQ(L"error 87", formatted(os().GetTimeFormatW, L"h", time, 0xFFFF));
}

TEST(TimeContract, ImpossibleDatesAreNotFormatted) {
    for (const SYSTEMTIME& time : {at(2010, 13, 1), at(2010, 2, 30), at(2010, 1, 0),
                                   at(1600, 12, 31), at(0, 0, 0), at(65535, 65535, 65535)}) {
        EXPECT_EQ(L"error 87", date(L"yyyy", time));
    }
    KEST_DIFFERS_ON_WINE("it is taken for 1 March", date(L"d", at(2011, 2, 29)) == L"error 87");
    KEST_DIFFERS_ON_WINE("the calendar goes on", date(L"d", at(30828, 1, 1)) == L"error 87");
    // The clock fields do not matter to a date.
    EXPECT_EQ(L"2010", date(L"yyyy", at(2010, 1, 1, 25, 70, 70, 2000)));
    EXPECT_EQ(L"1601 30827",
              date(L"yyyy", at(1601, 1, 1)) + L" " + date(L"yyyy", at(30827, 12, 31)));
}

TEST(TimeContract, ImpossibleTimesAreNotFormatted) {
    for (const SYSTEMTIME& time : {at(2010, 1, 1, 24), at(2010, 1, 1, 0, 60),
                                   at(2010, 1, 1, 0, 0, 60), at(2010, 1, 1, 0, 0, 0, 1000)}) {
        EXPECT_EQ(L"error 87", clock(L"HH", time));
    }
    // The date fields do not matter to a time.
    EXPECT_EQ(L"05", clock(L"HH", at(0, 0, 0, 5)));
    EXPECT_EQ(L"05", clock(L"HH", at(2010, 13, 40, 5)));
}

TEST(TimeContract, ATextOf63CharactersFitsIntoABufferOf64) {
    const SYSTEMTIME time = at(2010, 5, 17, 8, 30);
    const std::wstring fits = L"'" + std::wstring(63, L'x') + L"'";
    EXPECT_EQ(std::wstring(63, L'x'), date(fits.c_str(), time));
    EXPECT_EQ(std::wstring(63, L'x'), clock(fits.c_str(), time));

    const std::wstring tooLong = L"'" + std::wstring(64, L'x') + L"'";
    for (const Format format : {os().GetDateFormatW, os().GetTimeFormatW}) {
        wchar_t buffer[65];
        buffer[64] = L'~';
        os().SetLastError(kUntouchedError);
        const int count = format(kEnglish, 0, &time, tooLong.c_str(), buffer, 64);
        const DWORD error = os().GetLastError();
        EXPECT_EQ(0, count);
        EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, error);
        EXPECT_EQ(L'~', buffer[64]);
        EXPECT_EQ(65, format(kEnglish, 0, &time, tooLong.c_str(), nullptr, 0));
    }
}

TEST(TimeContract, ABufferThatIsOneTooSmall) {
    const SYSTEMTIME time = at(2010, 5, 17, 8, 30);
    const std::pair<Format, const wchar_t*> calls[] = {{os().GetDateFormatW, L"yyyy.MM.dd"},
                                                       {os().GetTimeFormatW, L"HH.mm.ss tt"}};
    for (const auto& [format, picture] : calls) {
        const int needed = format(kEnglish, 0, &time, picture, nullptr, 0);
        ASSERT_GT(needed, 1);
        for (int size = 1; size <= needed; ++size) {
            std::vector<wchar_t> buffer(static_cast<std::size_t>(needed) + 1, L'~');
            os().SetLastError(kUntouchedError);
            const int count = format(kEnglish, 0, &time, picture, buffer.data(), size);
            const DWORD error = os().GetLastError();
            EXPECT_EQ(size == needed ? needed : 0, count);
            EXPECT_EQ(size == needed ? kUntouchedError : DWORD{ERROR_INSUFFICIENT_BUFFER}, error);
            EXPECT_EQ(L'~', buffer[static_cast<std::size_t>(size)]);
        }
    }
}

TEST(TimeContract, BuffersAndFlagsThatMakeNoSense) {
    const SYSTEMTIME time = at(2010, 5, 17, 8, 30);
    for (const Format format : {os().GetDateFormatW, os().GetTimeFormatW}) {
        wchar_t buffer[64];
        EXPECT_EQ(0, format(kEnglish, 0, &time, L"", buffer, -1));
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, os().GetLastError());
        EXPECT_EQ(0, format(kEnglish, 0, &time, L"", nullptr, 64));
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, os().GetLastError());
        // LOCALE_NOUSEROVERRIDE does not go with a picture.
        EXPECT_EQ(0, format(kEnglish, 0x80000000U, &time, L"", buffer, 64));
        EXPECT_EQ(DWORD{ERROR_INVALID_FLAGS}, os().GetLastError());
    }
}

TEST(TimeContract, NoTimeMeansNow) {
    SYSTEMTIME before{};
    SYSTEMTIME after{};
    os().GetSystemTime(&before);
    wchar_t year[64];
    ASSERT_EQ(5, os().GetDateFormatW(kEnglish, 0, nullptr, L"yyyy", year, 64));
    os().GetSystemTime(&after);
    ASSERT_TRUE(os().SystemTimeToTzSpecificLocalTime(nullptr, &before, &before));
    ASSERT_TRUE(os().SystemTimeToTzSpecificLocalTime(nullptr, &after, &after));
    EXPECT_TRUE(year == std::to_wstring(before.wYear) || year == std::to_wstring(after.wYear));
}

}  // namespace
}  // namespace Tallowmere::platform
