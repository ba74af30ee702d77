#include "kest/platform/linux/Calendar.h"

#include <gtest/gtest.h>

#include <limits>

namespace Tallowmere::platform::calendar {
namespace {

SYSTEMTIME at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
              int milliseconds = 0) {
    const auto field = [](int value) { return static_cast<WORD>(value); };
    return {field(year), field(month),  0xFFFF,        field(day),
            field(hour), field(minute), field(second), field(milliseconds)};
}

TEST(Calendar, CountsDaysOneByOneThroughTwelveCenturies) {
    std::int64_t days = 0;
    int weekday = 1;  // 1601 begins with a Monday.
    for (int year = 1601; year <= 2801; ++year) {
        for (int month = 1; month <= 12; ++month) {
            for (int day = 1; day <= daysInMonth(year, month); ++day) {
                ASSERT_EQ(days, daysOf(year, month, day));
                ASSERT_EQ(weekday, weekdayOf(days));
                SYSTEMTIME time{};
                ASSERT_TRUE(fromTicks(days * kTicksPerDay + kTicksPerDay - 1, time));
                ASSERT_EQ(year, time.wYear);
                ASSERT_EQ(month, time.wMonth);
                ASSERT_EQ(day, time.wDay);
                ASSERT_EQ(weekday, time.wDayOfWeek);
                ASSERT_EQ(23, time.wHour);
                ASSERT_EQ(59, time.wMinute);
                ASSERT_EQ(59, time.wSecond);
                ASSERT_EQ(999, time.wMilliseconds);
                ++days;
                weekday = (weekday + 1) % 7;
            }
        }
        ASSERT_EQ(year, yearOf(days * kTicksPerDay - 1));
    }
}

TEST(Calendar, KnowsTheLengthOfFebruary) {
    for (const int year : {1604, 2000, 2004, 2024, 2400}) {
        EXPECT_EQ(29, daysInMonth(year, 2)) << year;
    }
    for (const int year : {1601, 1700, 1800, 1900, 2023, 2100}) {
        EXPECT_EQ(28, daysInMonth(year, 2)) << year;
    }
}

TEST(Calendar, TicksAndFieldsGoThereAndBack) {
    for (int year = kFirstYear; year <= kLastYear; year += 7) {
        for (int month = 1; month <= 12; ++month) {
            const SYSTEMTIME time = at(year, month, 28, 13, 14, 15, 16);
            std::int64_t ticks = -1;
            ASSERT_TRUE(toTicks(time, ticks));
            SYSTEMTIME back{};
            ASSERT_TRUE(fromTicks(ticks, back));
            ASSERT_EQ(year, back.wYear);
            ASSERT_EQ(weekdayOf(ticks / kTicksPerDay), back.wDayOfWeek);
            ASSERT_EQ(month, back.wMonth);
            ASSERT_EQ(28, back.wDay);
            ASSERT_EQ(13, back.wHour);
            ASSERT_EQ(14, back.wMinute);
            ASSERT_EQ(15, back.wSecond);
            ASSERT_EQ(16, back.wMilliseconds);
        }
    }
}

TEST(Calendar, TheLastTickIsTheLastOf30827) {
    std::int64_t last = 0;
    ASSERT_TRUE(toTicks(at(30827, 12, 31, 23, 59, 59, 999), last));
    EXPECT_EQ(9'223'149'887'999'990'000, last);
    SYSTEMTIME time{};
    EXPECT_TRUE(fromTicks(last + kTicksPerMillisecond - 1, time));
    EXPECT_EQ(30827, time.wYear);
    time.wYear = 7;
    EXPECT_FALSE(fromTicks(last + kTicksPerMillisecond, time));
    EXPECT_FALSE(fromTicks(std::numeric_limits<std::int64_t>::max(), time));
    EXPECT_FALSE(fromTicks(-1, time));
    EXPECT_FALSE(fromTicks(std::numeric_limits<std::int64_t>::min(), time));
    EXPECT_EQ(7, time.wYear);
}

TEST(Calendar, ADateAndAClockAreCheckedApart) {
    EXPECT_TRUE(isDate(at(2010, 5, 17, 99, 99, 99, 9999)));
    EXPECT_FALSE(isClock(at(2010, 5, 17, 99, 99, 99, 9999)));
    EXPECT_TRUE(isClock(at(0, 0, 0, 23, 59, 59, 999)));
    EXPECT_FALSE(isDate(at(0, 0, 0, 23, 59, 59, 999)));
    std::int64_t ticks = 5;
    EXPECT_FALSE(toTicks(at(2010, 5, 17, 24), ticks));
    EXPECT_FALSE(toTicks(at(2010, 2, 29), ticks));
    EXPECT_EQ(5, ticks);
}

TEST(Calendar, SplitsAndJoinsTheHalvesOfAFileTime) {
    const FILETIME time = split(0x0123456789ABCDEF);
    EXPECT_EQ(0x01234567U, time.dwHighDateTime);
    EXPECT_EQ(0x89ABCDEFU, time.dwLowDateTime);
    EXPECT_EQ(0x0123456789ABCDEFU, join(time));
}

}  // namespace
}  // namespace Tallowmere::platform::calendar
