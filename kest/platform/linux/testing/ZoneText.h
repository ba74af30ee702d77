#pragma once

#include <cstdio>
#include <string>

#include "kest/platform/Win32.h"

namespace Tallowmere::platform::testing {

/// A switch date: "last Sunday of 3 02:00:00.000".
inline std::string switchText(const SYSTEMTIME& date) {
    static const char* const kDays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                        "Thursday", "Friday", "Saturday"};
    static const char* const kWeeks[] = {"no", "first", "second", "third", "fourth", "last"};
    char clock[64];
    std::snprintf(clock, sizeof clock, " of %d %02d:%02d:%02d.%03d", date.wMonth, date.wHour,
                  date.wMinute, date.wSecond, date.wMilliseconds);
    return std::string(date.wYear == 0 ? "" : "dated ") + kWeeks[date.wDay % 6] + " " +
           kDays[date.wDayOfWeek % 7] + clock;
}

/// A whole record: "-330 IST", or "300 EST, EDT -60 from ... to ...". A standard bias, which a
/// record of ours never has, is told as well.
inline std::string zoneText(const TIME_ZONE_INFORMATION& zone) {
    const auto narrow = [](const wchar_t* name) {
        std::string text;
        for (; *name != L'\0'; ++name) {
            text += static_cast<char>(*name);
        }
        return text;
    };
    std::string text = std::to_string(zone.Bias) + " " + narrow(zone.StandardName);
    if (zone.StandardBias != 0) {
        text += " " + std::to_string(zone.StandardBias);
    }
    if (zone.DaylightDate.wMonth == 0 && zone.StandardDate.wMonth == 0) {
        return zone.DaylightBias == 0 && narrow(zone.DaylightName) == narrow(zone.StandardName)
                   ? text
                   : text + ", but a daylight bias";
    }
    return text + ", " + narrow(zone.DaylightName) + " " + std::to_string(zone.DaylightBias) +
           " from " + switchText(zone.DaylightDate) + " to " + switchText(zone.StandardDate);
}

}  // namespace Tallowmere::platform::testing
