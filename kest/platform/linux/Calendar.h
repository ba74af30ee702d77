#pragma once

#include <cstdint>

#include "kest/platform/Win32.h"

/// Arithmetic of the Gregorian calendar between calendar fields and ticks of 100 nanoseconds since
/// 1601-01-01 00:00:00, without regard to any time zone.
namespace Tallowmere::platform::calendar {

inline constexpr std::int64_t kTicksPerMillisecond = 10'000;
inline constexpr std::int64_t kTicksPerSecond = 1000 * kTicksPerMillisecond;
inline constexpr std::int64_t kTicksPerMinute = 60 * kTicksPerSecond;
inline constexpr std::int64_t kTicksPerHour = 60 * kTicksPerMinute;
inline constexpr std::int64_t kTicksPerDay = 24 * kTicksPerHour;

/// From 1601-01-01 to 1970-01-01, the epoch of the C library.
inline constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

inline constexpr int kFirstYear = 1601;
inline constexpr int kLastYear = 30827;

/// How many days the month has; `month` is 1 to 12.
int daysInMonth(int year, int month);

/// Days from 1601-01-01 to that date, which must be one of the calendar, in 1601 or later.
std::int64_t daysOf(int year, int month, int day);

/// 0 for a Sunday. `days` counts from 1601-01-01 and is not negative.
int weekdayOf(std::int64_t days);

/// Whether the date fields name a day from 1601-01-01 to 30827-12-31. The day of the week and the
/// clock fields are not looked at.
bool isDate(const SYSTEMTIME& time);

/// Whether the clock fields are in range: there is no hour 24 and no leap second.
bool isClock(const SYSTEMTIME& time);

/// The fields as ticks; the day of the week is not looked at. False, with `ticks` untouched, when
/// isDate or isClock is false.
bool toTicks(const SYSTEMTIME& time, std::int64_t& ticks);

/// The fields of a count of ticks, the day of the week included; what is finer than a millisecond is
/// cut off. False, with `time` untouched, for a negative count and one beyond the year 30827.
bool fromTicks(std::int64_t ticks, SYSTEMTIME& time);

/// The year of a count of ticks that is not negative.
int yearOf(std::int64_t ticks);

/// The two halves of a file time as one number, and back.
inline std::uint64_t join(const FILETIME& time) {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}
inline FILETIME split(std::uint64_t ticks) {
    FILETIME time{};
    time.dwLowDateTime = static_cast<DWORD>(ticks);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return time;
}

}  // namespace Tallowmere::platform::calendar
