#include "kest/platform/linux/SwitchDate.h"

#include <time.h>

#include <array>

#include "kest/platform/linux/Calendar.h"

namespace Tallowmere::platform::zone {
namespace {

constexpr WORD kLastWeek = 5;

long offsetAt(std::time_t at) {
    tm local{};
    localtime_r(&at, &local);
    return local.tm_gmtoff;
}

/// The date of `day` as "the n-th weekday of the month", or as the last one, where it is.
SYSTEMTIME dateInMonth(const SYSTEMTIME& day, bool last) {
    SYSTEMTIME date = day;
    date.wYear = 0;
    date.wDay = last ? kLastWeek : static_cast<WORD>((day.wDay - 1) / 7 + 1);
    return date;
}

bool isLastWeek(const SYSTEMTIME& day) {
    return day.wDay + 7 > calendar::daysInMonth(day.wYear, day.wMonth);
}

/// In how many of the years around `year`, the one that `change` lies in, the offset changes in the
/// same way at `date`.
int agreement(const SYSTEMTIME& date, int year, std::time_t change, long before, long after) {
    constexpr int kYears = 5;
    int agreeing = 0;
    for (int other = year - kYears; other <= year + kYears; ++other) {
        // A date one millisecond before midnight stands for midnight.
        const std::int64_t wall =
            (switchTicks(date, other) + calendar::kTicksPerMillisecond) / calendar::kTicksPerSecond;
        const std::time_t at = wall - calendar::kSecondsFrom1601To1970 - before;
        // The end of a year is the beginning of the next one.
        if (at != change && offsetAt(at - 1) == before && offsetAt(at) == after) {
            ++agreeing;
        }
    }
    return agreeing;
}

}  // namespace

SYSTEMTIME switchDate(std::time_t change) {
    const long before = offsetAt(change - 1);
    const long after = offsetAt(change);
    const std::int64_t ticks =
        (change + before + calendar::kSecondsFrom1601To1970) * calendar::kTicksPerSecond;
    SYSTEMTIME day{};
    (void)calendar::fromTicks(ticks, day);

    std::array<SYSTEMTIME, 4> candidates{};
    std::size_t count = 0;
    const auto offer = [&](const SYSTEMTIME& candidate) {
        if (isLastWeek(candidate)) {
            candidates[count++] = dateInMonth(candidate, true);
        }
        // The fifth is always the last.
        if (candidate.wDay <= 28) {
            candidates[count++] = dateInMonth(candidate, false);
        }
    };
    offer(day);
    if (ticks % calendar::kTicksPerDay == 0) {
        // A rule such as "the last Thursday at 24:00" is no rule for the Friday after it. Windows
        // writes it as the end of the Thursday.
        SYSTEMTIME eve{};
        (void)calendar::fromTicks(ticks - calendar::kTicksPerMillisecond, eve);
        offer(eve);
    }

    std::size_t best = 0;
    int most = -1;
    for (std::size_t i = 0; i < count; ++i) {
        const int agreeing = agreement(candidates[i], day.wYear, change, before, after);
        if (agreeing > most) {
            most = agreeing;
            best = i;
        }
    }
    return candidates[best];
}

SYSTEMTIME beginningOf(int year) {
    SYSTEMTIME date{};
    date.wMonth = 1;
    date.wDay = 1;
    date.wDayOfWeek = static_cast<WORD>(calendar::weekdayOf(calendar::daysOf(year, 1, 1)));
    return date;
}

bool isSwitchDate(const SYSTEMTIME& date) {
    if (date.wYear != 0) {
        return calendar::isDate(date) && calendar::isClock(date);
    }
    return date.wMonth >= 1 && date.wMonth <= 12 && date.wDayOfWeek <= 6 && date.wDay >= 1 &&
           date.wDay <= kLastWeek && calendar::isClock(date);
}

std::int64_t switchTicks(const SYSTEMTIME& date, int year) {
    std::int64_t days = 0;
    if (date.wYear != 0) {
        days = calendar::daysOf(date.wYear, date.wMonth, date.wDay);
    } else {
        const std::int64_t first = calendar::daysOf(year, date.wMonth, 1);
        int day = (date.wDayOfWeek + 7 - calendar::weekdayOf(first)) % 7 + (date.wDay - 1) * 7;
        while (day >= calendar::daysInMonth(year, date.wMonth)) {
            day -= 7;
        }
        days = first + day;
    }
    return days * calendar::kTicksPerDay + date.wHour * calendar::kTicksPerHour +
           date.wMinute * calendar::kTicksPerMinute + date.wSecond * calendar::kTicksPerSecond +
           date.wMilliseconds * calendar::kTicksPerMillisecond;
}

}  // namespace Tallowmere::platform::zone
