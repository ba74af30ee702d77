#include "kest/platform/linux/SwitchDate.h"

#include <gtest/gtest.h>

#include "kest/platform/linux/Calendar.h"
#include "kest/platform/linux/testing/ScopedZone.h"
#include "kest/platform/linux/testing/ZoneText.h"

namespace Tallowmere::platform::zone {
namespace {

using testing::ScopedZone;
using testing::switchText;

SYSTEMTIME onWeek(int month, int weekday, int week, int hour = 0) {
    SYSTEMTIME date{};
    date.wMonth = static_cast<WORD>(month);
    date.wDayOfWeek = static_cast<WORD>(weekday);
    date.wDay = static_cast<WORD>(week);
    date.wHour = static_cast<WORD>(hour);
    return date;
}

std::string onDay(const SYSTEMTIME& date, int year) {
    SYSTEMTIME day{};
    EXPECT_TRUE(calendar::fromTicks(switchTicks(date, year), day));
    return std::to_string(day.wYear) + "-" + std::to_string(day.wMonth) + "-" +
           std::to_string(day.wDay) + " " + std::to_string(day.wHour) + ":" +
           std::to_string(day.wMinute) + ":" + std::to_string(day.wSecond) + "." +
           std::to_string(day.wMilliseconds);
}

TEST(SwitchDate, FindsTheWeekOfTheMonth) {
    // March 2026 begins with a Sunday and has five of them; November begins with one and has five.
    EXPECT_EQ("2026-3-1 0:0:0.0", onDay(onWeek(3, 0, 1), 2026));
    EXPECT_EQ("2026-3-8 2:0:0.0", onDay(onWeek(3, 0, 2, 2), 2026));
    EXPECT_EQ("2026-3-22 0:0:0.0", onDay(onWeek(3, 0, 4), 2026));
    EXPECT_EQ("2026-3-29 0:0:0.0", onDay(onWeek(3, 0, 5), 2026));
    EXPECT_EQ("2026-3-25 0:0:0.0", onDay(onWeek(3, 3, 4), 2026));
    EXPECT_EQ("2026-3-25 0:0:0.0", onDay(onWeek(3, 3, 5), 2026));
    EXPECT_EQ("2026-3-7 0:0:0.0", onDay(onWeek(3, 6, 1), 2026));
    // A February of exactly four weeks, and one of a leap year.
    EXPECT_EQ("2026-2-22 0:0:0.0", onDay(onWeek(2, 0, 5), 2026));
    EXPECT_EQ("2024-2-29 0:0:0.0", onDay(onWeek(2, 4, 5), 2024));
    EXPECT_EQ("1601-1-1 0:0:0.0", onDay(onWeek(1, 1, 1), 1601));
    EXPECT_EQ("30827-12-31 0:0:0.0", onDay(onWeek(12, 5, 5), 30827));
}

TEST(SwitchDate, ADateWithAYearIsThatDate) {
    SYSTEMTIME date = onWeek(3, 0, 8, 2);
    date.wYear = 2026;
    date.wMinute = 3;
    date.wSecond = 4;
    date.wMilliseconds = 5;
    EXPECT_EQ("2026-3-8 2:3:4.5", onDay(date, 1999));
}

TEST(SwitchDate, KnowsWhatCanBeOne) {
    EXPECT_TRUE(isSwitchDate(onWeek(1, 0, 1)));
    EXPECT_TRUE(isSwitchDate(onWeek(12, 6, 5, 23)));
    EXPECT_FALSE(isSwitchDate(onWeek(0, 0, 1)));
    EXPECT_FALSE(isSwitchDate(onWeek(13, 0, 1)));
    EXPECT_FALSE(isSwitchDate(onWeek(1, 7, 1)));
    EXPECT_FALSE(isSwitchDate(onWeek(1, 0, 0)));
    EXPECT_FALSE(isSwitchDate(onWeek(1, 0, 6)));
    EXPECT_FALSE(isSwitchDate(onWeek(1, 0, 1, 24)));
    SYSTEMTIME dated = onWeek(2, 0, 29);
    dated.wYear = 2024;
    EXPECT_TRUE(isSwitchDate(dated));
    dated.wYear = 2026;
    EXPECT_FALSE(isSwitchDate(dated));
    dated.wYear = 1600;
    EXPECT_FALSE(isSwitchDate(dated));
}

TEST(SwitchDate, TheBeginningOfAYearIsTheFirstOfItsWeekdays) {
    for (const int year : {2023, 2024, 2025, 2026, 2027, 2028}) {
        const SYSTEMTIME date = beginningOf(year);
        EXPECT_EQ(0, date.wYear);
        EXPECT_EQ(std::to_string(year) + "-1-1 0:0:0.0", onDay(date, year));
    }
    EXPECT_EQ("first Thursday of 1 00:00:00.000", switchText(beginningOf(2026)));
}

TEST(SwitchDate, IsReadFromAChangeOnTheClockBeforeIt) {
    const ScopedZone scope("EST5EDT,M3.2.0,M11.1.0");
    const auto change = [](int month, int day, int hour) {
        return calendar::daysOf(2026, month, day) * 86400 + hour * 3600 -
               calendar::kSecondsFrom1601To1970;
    };
    EXPECT_EQ("second Sunday of 3 02:00:00.000", switchText(switchDate(change(3, 8, 7))));
    EXPECT_EQ("first Sunday of 11 02:00:00.000", switchText(switchDate(change(11, 1, 6))));
}

}  // namespace
}  // namespace Tallowmere::platform::zone
