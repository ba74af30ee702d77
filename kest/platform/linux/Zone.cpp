// The time zone's record and what a record makes of a time.

#include "kest/platform/linux/Calendar.h"
#include "kest/platform/linux/Standins.h"
#include "kest/platform/linux/SwitchDate.h"
#include "kest/platform/linux/ZoneRecord.h"

namespace Tallowmere::platform::standin {
namespace {

bool hasDaylight(const TIME_ZONE_INFORMATION& zone) {
    return zone.DaylightDate.wMonth != 0;
}

bool isZone(const TIME_ZONE_INFORMATION& zone) {
    return !hasDaylight(zone) ||
           (zone::isSwitchDate(zone.StandardDate) && zone::isSwitchDate(zone.DaylightDate));
}

/// Minutes to add to local time. A zone without daylight time has no use for the other two biases.
std::int64_t biasOf(const TIME_ZONE_INFORMATION& zone, bool daylight) {
    const std::int64_t bias = zone.Bias;
    return hasDaylight(zone) ? bias + (daylight ? zone.DaylightBias : zone.StandardBias) : bias;
}

/// False when the sum is beyond all numbers.
bool addMinutes(std::int64_t ticks, std::int64_t minutes, std::int64_t& sum) {
    return !__builtin_add_overflow(ticks, minutes * calendar::kTicksPerMinute, &sum);
}

/// Whether `at` lies in the daylight period, which may go on over the turn of the year.
bool isWithin(std::int64_t at, std::int64_t daylightBegins, std::int64_t daylightEnds) {
    return daylightBegins < daylightEnds ? daylightBegins <= at && at < daylightEnds
                                         : at < daylightEnds || daylightBegins <= at;
}

/// Whether daylight time holds at that moment of UTC. False in `fits` when a bias is beyond all use.
bool isDaylightAt(const TIME_ZONE_INFORMATION& zone, std::int64_t universal, bool& fits) {
    fits = true;
    if (!hasDaylight(zone)) {
        return false;
    }
    std::int64_t local = 0;
    fits = addMinutes(universal, -biasOf(zone, false), local);
    if (!fits) {
        return false;
    }
    // Near the calendar's beginning the standard time may still lie before it.
    const int year = calendar::yearOf(local < 0 ? 0 : local);
    std::int64_t begins = 0;
    std::int64_t ends = 0;
    // Each switch happens on the clock of the period that it ends.
    fits = addMinutes(zone::switchTicks(zone.DaylightDate, year), biasOf(zone, false), begins) &&
           addMinutes(zone::switchTicks(zone.StandardDate, year), biasOf(zone, true), ends);
    return fits && isWithin(universal, begins, ends);
}

/// Whether that local time is daylight time. Of the hour that the clock shows twice, the first is
/// meant; in the hour that it leaps over, it has been put forward already.
bool isDaylightOn(const TIME_ZONE_INFORMATION& zone, const SYSTEMTIME& time, std::int64_t local) {
    return hasDaylight(zone) &&
           isWithin(local, zone::switchTicks(zone.DaylightDate, time.wYear),
                    zone::switchTicks(zone.StandardDate, time.wYear));
}

BOOL failWith(DWORD error) {
    SetLastError(error);
    return FALSE;
}

}  // namespace

DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone) {
    *zone = zone::currentRecord();
    if (!hasDaylight(*zone)) {
        return TIME_ZONE_ID_UNKNOWN;
    }
    SYSTEMTIME now{};
    GetSystemTime(&now);
    std::int64_t ticks = 0;
    bool fits = calendar::toTicks(now, ticks);
    return isDaylightAt(*zone, ticks, fits) ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD;
}

BOOL SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal,
                                     SYSTEMTIME* local) {
    const TIME_ZONE_INFORMATION used = zone == nullptr ? zone::currentRecord() : *zone;
    std::int64_t ticks = 0;
    if (!isZone(used) || !calendar::toTicks(*universal, ticks)) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    bool fits = true;
    const bool daylight = isDaylightAt(used, ticks, fits);
    if (!fits || !addMinutes(ticks, -biasOf(used, daylight), ticks) ||
        !calendar::fromTicks(ticks, *local)) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    return TRUE;
}

BOOL TzSpecificLocalTimeToSystemTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* local,
                                     SYSTEMTIME* universal) {
    const TIME_ZONE_INFORMATION used = zone == nullptr ? zone::currentRecord() : *zone;
    std::int64_t ticks = 0;
    if (!isZone(used) || !calendar::toTicks(*local, ticks)) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    const bool daylight = isDaylightOn(used, *local, ticks);
    if (!addMinutes(ticks, biasOf(used, daylight), ticks) ||
        !calendar::fromTicks(ticks, *universal)) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    return TRUE;
}

}  // namespace Tallowmere::platform::standin
