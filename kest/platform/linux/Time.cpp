// The clock, and file times as local time. The conversions between calendar fields and file times
// stand in Calendar.cpp.

#include <time.h>

#include "kest/platform/linux/Calendar.h"
#include "kest/platform/linux/Standins.h"
#include "kest/platform/linux/ZoneRecord.h"

namespace Tallowmere::platform::standin {

namespace {

/// The calendar is asked once a second: each trace line wants the time.
struct Second {
    time_t number;
    SYSTEMTIME fields;
};

thread_local constinit Second t_second{-1, {}};

[[gnu::noinline]] void begin(time_t second) {
    const std::int64_t seconds = std::int64_t{second} + calendar::kSecondsFrom1601To1970;
    // No clock of a computer that runs this is outside the calendar.
    (void)calendar::fromTicks(seconds * calendar::kTicksPerSecond, t_second.fields);
    t_second.number = second;
}

}  // namespace

[[gnu::hot]] void GetSystemTime(SYSTEMTIME* time) {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != t_second.number) {
        begin(now.tv_sec);
    }
    *time = t_second.fields;
    time->wMilliseconds = static_cast<WORD>(static_cast<std::uint32_t>(now.tv_nsec) / 1000000);
}

BOOL FileTimeToLocalFileTime(const FILETIME* time, FILETIME* result) {
    TIME_ZONE_INFORMATION zone{};
    const bool daylight = GetTimeZoneInformation(&zone) == TIME_ZONE_ID_DAYLIGHT;
    // The bias of now, whatever the date of `time` is: the system knows no better here.
    const std::int64_t bias =
        std::int64_t{zone.Bias} + (daylight ? zone.DaylightBias : zone.StandardBias);
    // Wraps around at both ends instead of failing; such a result is no calendar time.
    *result = calendar::split(calendar::join(*time) -
                              static_cast<std::uint64_t>(bias * calendar::kTicksPerMinute));
    return TRUE;
}

}  // namespace Tallowmere::platform::standin
