#pragma once

#include "kest/platform/Win32.h"

namespace Tallowmere::testing {

/// A switch date: month, day of the week (0 is Sunday), week (5 is the last), hour.
inline SYSTEMTIME switchDate(WORD month, WORD weekday, WORD week, WORD hour) {
    return {0, month, weekday, week, hour, 0, 0, 0};
}

/// The record of New York: UTC - 5, in summer UTC - 4.
inline TIME_ZONE_INFORMATION newYork() {
    TIME_ZONE_INFORMATION zone{};
    zone.Bias = 300;
    zone.DaylightBias = -60;
    zone.DaylightDate = switchDate(3, 0, 2, 2);
    zone.StandardDate = switchDate(11, 0, 1, 2);
    return zone;
}

/// The record of Berlin: UTC + 1, in summer UTC + 2.
inline TIME_ZONE_INFORMATION berlin() {
    TIME_ZONE_INFORMATION zone{};
    zone.Bias = -60;
    zone.DaylightBias = -60;
    zone.DaylightDate = switchDate(3, 0, 5, 2);
    zone.StandardDate = switchDate(10, 0, 5, 3);
    return zone;
}

}  // namespace Tallowmere::testing
