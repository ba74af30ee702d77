#include "kest/platform/linux/Calendar.h"

namespace Tallowmere::platform::calendar {
namespace {

// The year is taken to begin in March, as Howard Hinnant describes: a leap year's day is the last
// of it then, the lengths of its months follow a straight line, and nothing has to be asked for.
// Days are counted from 1600-03-01, which begins a cycle of 400 years.

constexpr std::uint32_t kDaysPer4Years = 1461;
constexpr std::uint32_t kDaysPer400Years = 146097;
constexpr std::uint32_t kCycleYear = 1600;
/// From there to 1601-01-01.
constexpr std::uint32_t kDaysToFirstYear = 306;

/// The days of a March year before its month, 0 for March. Five months have 153 days, and again.
constexpr std::uint32_t daysBeforeMonth(std::uint32_t month) {
    return (153 * month + 2) / 5;
}

constexpr int kDaysInMonth[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

bool isLeapYear(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

struct Date {
    std::uint32_t year;
    std::uint32_t month;
    std::uint32_t day;
};

/// The date that is so many days after 1601-01-01.
Date dateOf(std::uint32_t days) {
    // Four times as many, so that a quarter of a day is a whole number: a century has 36524 and a
    // quarter of them, a year 365 and a quarter.
    const std::uint32_t quarters = 4 * (days + kDaysToFirstYear) + 3;
    const std::uint32_t century = quarters / kDaysPer400Years;
    const std::uint32_t within = quarters % kDaysPer400Years | 3;
    const std::uint32_t year = within / kDaysPer4Years;
    const std::uint32_t day = within % kDaysPer4Years / 4;
    const std::uint32_t month = (5 * day + 2) / 153;
    const std::uint32_t isNextYear = month >= 10 ? 1 : 0;
    return {kCycleYear + 100 * century + year + isNextYear, month + 3 - 12 * isNextYear,
            day - daysBeforeMonth(month) + 1};
}

}  // namespace

int daysInMonth(int year, int month) {
    return month == 2 && isLeapYear(year) ? 29 : kDaysInMonth[month - 1];
}

std::int64_t daysOf(int year, int month, int day) {
    const std::uint32_t isNextYear = month <= 2 ? 1 : 0;
    const std::uint32_t years = static_cast<std::uint32_t>(year) - kCycleYear - isNextYear;
    const std::uint32_t days =
        365 * years + years / 4 - years / 100 + years / 400 +
        daysBeforeMonth(static_cast<std::uint32_t>(month) + 12 * isNextYear - 3) +
        static_cast<std::uint32_t>(day) - 1;
    return std::int64_t{days} - kDaysToFirstYear;
}

int weekdayOf(std::int64_t days) {
    return static_cast<int>((days + 1) % 7);
}

bool isDate(const SYSTEMTIME& time) {
    return time.wYear >= kFirstYear && time.wYear <= kLastYear && time.wMonth >= 1 &&
           time.wMonth <= 12 && time.wDay >= 1 &&
           (time.wDay <= 28 || time.wDay <= daysInMonth(time.wYear, time.wMonth));
}

bool isClock(const SYSTEMTIME& time) {
    return time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
}

bool toTicks(const SYSTEMTIME& time, std::int64_t& ticks) {
    if (!isDate(time) || !isClock(time)) {
        return false;
    }
    ticks = daysOf(time.wYear, time.wMonth, time.wDay) * kTicksPerDay + time.wHour * kTicksPerHour +
            time.wMinute * kTicksPerMinute + time.wSecond * kTicksPerSecond +
            time.wMilliseconds * kTicksPerMillisecond;
    return true;
}

bool fromTicks(std::int64_t ticks, SYSTEMTIME& time) {
    if (ticks < 0) {
        return false;
    }
    // The days of all ticks fit 32 bits, and so do the milliseconds of a day; dividing is cheaper
    // there.
    const auto days = static_cast<std::uint32_t>(static_cast<std::uint64_t>(ticks) / kTicksPerDay);
    const auto clock = static_cast<std::uint32_t>(
        (static_cast<std::uint64_t>(ticks) - std::uint64_t{days} * kTicksPerDay) /
        kTicksPerMillisecond);
    const Date date = dateOf(days);
    if (date.year > kLastYear) {
        return false;
    }
    const auto field = [](std::uint32_t value) { return static_cast<WORD>(value); };
    time.wYear = field(date.year);
    time.wMonth = field(date.month);
    time.wDayOfWeek = field((days + 1) % 7);
    time.wDay = field(date.day);
    const std::uint32_t seconds = clock / 1000;
    const std::uint32_t minutes = seconds / 60;
    time.wHour = field(minutes / 60);
    time.wMinute = field(minutes % 60);
    time.wSecond = field(seconds % 60);
    time.wMilliseconds = field(clock % 1000);
    return true;
}

int yearOf(std::int64_t ticks) {
    return static_cast<int>(dateOf(static_cast<std::uint32_t>(ticks / kTicksPerDay)).year);
}

}  // namespace Tallowmere::platform::calendar
