#include "kest/platform/linux/Calendar.h"

#include <bit>
#include <cstring>

#include "kest/platform/linux/Standins.h"

namespace Tallowmere::platform::calendar {
namespace {

// The year is taken to begin in March, as Howard Hinnant describes: a leap year's day is the last
// of it then, the lengths of its months follow a straight line, and nothing has to be asked for.
// Days are counted from 1600-03-01, which begins a cycle of 400 years.

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

/// The date that is so many days after 1601-01-01. The divisions of a rest that is wanted as well
/// are multiplications by 2 to the power of 32 or 16 over the divisor, as Cassio Neri and Lorenz
/// Schneider describe: the whole part stands in the upper half then, and the rest in the lower one.
[[gnu::always_inline]] inline Date dateOf(std::uint32_t days) {
    // Four times as many, so that a quarter of a day is a whole number: a century has 36524 and a
    // quarter of them, a year 365 and a quarter.
    const std::uint32_t quarters = 4 * (days + kDaysToFirstYear) + 3;
    const std::uint32_t century = quarters / kDaysPer400Years;
    const std::uint32_t within = quarters % kDaysPer400Years | 3;
    constexpr std::uint32_t kOverYear = 2939745;  // 2^32 / 1461
    const std::uint64_t years = std::uint64_t{kOverYear} * within;
    const std::uint32_t day = static_cast<std::uint32_t>(years) / kOverYear / 4;
    // A month of 30.6 days, counted from March, the third one.
    constexpr std::uint32_t kOverMonth = 2141;  // 2^16 / 30.6
    const std::uint32_t months = kOverMonth * day + 197913;
    const std::uint32_t isNextYear = day >= kDaysToFirstYear ? 1 : 0;
    return {kCycleYear + 100 * century + static_cast<std::uint32_t>(years >> 32) + isNextYear,
            (months >> 16) - 12 * isNextYear, (months & 0xFFFF) / kOverMonth + 1};
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
    const std::uint32_t seconds = clock / 1000;
    const std::uint32_t minutes = seconds / 60;
    const std::uint32_t hours = minutes / 60;
    // In the same way as a date's parts; exact for some thousand million days. Whole weeks fall
    // away.
    constexpr std::uint32_t kOverWeek = 613566757;  // 2^32 / 7
    constexpr std::uint64_t kWeek = 7;
    const std::uint32_t intoWeek = kOverWeek * (days + 1);
    const std::uint64_t weekday = kWeek * intoWeek >> 32;
    // Half of the fields at once: they are read again before eight stores would be through.
    const auto four = [](std::uint64_t first, std::uint64_t second, std::uint64_t third,
                         std::uint64_t fourth) {
        return first | second << 16 | third << 32 | fourth << 48;
    };
    static_assert(std::endian::native == std::endian::little && sizeof(SYSTEMTIME) == 16);
    const std::uint64_t halves[] = {
        four(date.year, date.month, weekday, date.day),
        four(hours, minutes - 60 * hours, seconds - 60 * minutes, clock - 1000 * seconds)};
    std::memcpy(&time, halves, sizeof(time));
    return true;
}

int yearOf(std::int64_t ticks) {
    return static_cast<int>(dateOf(static_cast<std::uint32_t>(ticks / kTicksPerDay)).year);
}

}  // namespace Tallowmere::platform::calendar

namespace Tallowmere::platform::standin {

// With all of the above in themselves: a time is mostly converted there and back.

[[gnu::flatten]] BOOL SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* result) {
    std::int64_t ticks = 0;
    if (!calendar::toTicks(*time, ticks)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *result = calendar::split(static_cast<std::uint64_t>(ticks));
    return TRUE;
}

[[gnu::flatten]] BOOL FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* result) {
    if (!calendar::fromTicks(static_cast<std::int64_t>(calendar::join(*time)), *result)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return TRUE;
}

}  // namespace Tallowmere::platform::standin
