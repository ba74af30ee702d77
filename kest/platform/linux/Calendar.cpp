#include "kest/platform/linux/Calendar.h"

namespace Tallowmere::platform::calendar {
namespace {

constexpr std::int64_t kDaysPerYear = 365;
constexpr std::int64_t kDaysPer4Years = 4 * kDaysPerYear + 1;
constexpr std::int64_t kDaysPer100Years = 25 * kDaysPer4Years - 1;
constexpr std::int64_t kDaysPer400Years = 4 * kDaysPer100Years + 1;

constexpr int kDaysInMonth[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

/// The days of a year before each of its months, and all of them; first for years that are no leap
/// years.
constexpr std::int16_t kDaysBefore[2][13] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366}};

bool isLeapYear(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// The year that a day belongs to, and what is left of `days` within it. 1601 begins a cycle of 400
/// years, whose long parts, the fourth century and the fourth year, come last.
int takeYear(std::int64_t& days) {
    const std::int64_t cycles = days / kDaysPer400Years;
    days %= kDaysPer400Years;
    std::int64_t centuries = days / kDaysPer100Years;
    centuries = centuries == 4 ? 3 : centuries;
    days -= centuries * kDaysPer100Years;
    const std::int64_t quads = days / kDaysPer4Years;
    days %= kDaysPer4Years;
    std::int64_t years = days / kDaysPerYear;
    years = years == 4 ? 3 : years;
    days -= years * kDaysPerYear;
    return static_cast<int>(kFirstYear + 400 * cycles + 100 * centuries + 4 * quads + years);
}

}  // namespace

int daysInMonth(int year, int month) {
    return month == 2 && isLeapYear(year) ? 29 : kDaysInMonth[month - 1];
}

std::int64_t daysOf(int year, int month, int day) {
    const std::int64_t years = year - kFirstYear;
    return years * kDaysPerYear + years / 4 - years / 100 + years / 400 +
           kDaysBefore[isLeapYear(year) ? 1 : 0][month - 1] + day - 1;
}

int weekdayOf(std::int64_t days) {
    return static_cast<int>((days + 1) % 7);
}

bool isDate(const SYSTEMTIME& time) {
    return time.wYear >= kFirstYear && time.wYear <= kLastYear && time.wMonth >= 1 &&
           time.wMonth <= 12 && time.wDay >= 1 && time.wDay <= daysInMonth(time.wYear, time.wMonth);
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
    std::int64_t days = ticks / kTicksPerDay;
    // What is left fits 32 bits, in which dividing is cheaper.
    const auto clock = static_cast<std::uint32_t>(ticks % kTicksPerDay / kTicksPerMillisecond);
    const int weekday = weekdayOf(days);
    const int year = takeYear(days);
    if (year > kLastYear) {
        return false;
    }
    const std::int16_t* const before = kDaysBefore[isLeapYear(year) ? 1 : 0];
    // No month is longer than 32 days, and all together are shorter by less than a month: it is
    // this one or the next.
    int month = static_cast<int>(days / 32);
    month += days >= before[month + 1] ? 1 : 0;
    const auto field = [](std::int64_t value) { return static_cast<WORD>(value); };
    time.wYear = field(year);
    time.wMonth = field(month + 1);
    time.wDayOfWeek = field(weekday);
    time.wDay = field(days - before[month] + 1);
    const std::uint32_t seconds = clock / 1000;
    const std::uint32_t minutes = seconds / 60;
    time.wHour = field(minutes / 60);
    time.wMinute = field(minutes % 60);
    time.wSecond = field(seconds % 60);
    time.wMilliseconds = field(clock % 1000);
    return true;
}

int yearOf(std::int64_t ticks) {
    std::int64_t days = ticks / kTicksPerDay;
    return takeYear(days);
}

std::uint64_t join(const FILETIME& time) {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

FILETIME split(std::uint64_t ticks) {
    FILETIME time{};
    time.dwLowDateTime = static_cast<DWORD>(ticks);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return time;
}

}  // namespace Tallowmere::platform::calendar
