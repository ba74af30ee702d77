// The calls about zones, in zones that only this system can be put into while it runs.

#include <gtest/gtest.h>

#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/linux/testing/ScopedZone.h"
#include "kest/platform/linux/testing/ZoneText.h"

namespace Tallowmere::platform {
namespace {

using testing::ScopedZone;
using testing::zoneText;

constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";

std::string text(const SYSTEMTIME& time) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d (%d) %02d:%02d:%02d", time.wYear,
                  time.wMonth, time.wDay, time.wDayOfWeek, time.wHour, time.wMinute, time.wSecond);
    return buffer;
}

constexpr SYSTEMTIME at(WORD month, WORD day, WORD hour, WORD minute = 0, WORD second = 0) {
    return {2026, month, 0xFFFF, day, hour, minute, second, 0};
}

std::string local(const SYSTEMTIME& time) {
    SYSTEMTIME result{};
    EXPECT_TRUE(os().SystemTimeToTzSpecificLocalTime(nullptr, &time, &result));
    return text(result);
}

std::string universal(const SYSTEMTIME& time) {
    SYSTEMTIME result{};
    EXPECT_TRUE(os().TzSpecificLocalTimeToSystemTime(nullptr, &time, &result));
    return text(result);
}

TEST(Zone, TheStateOfNowIsTheCLibrarys) {
    for (const char* const name : {kNewYork, "AEST-10AEDT,M10.1.0,M4.1.0/3"}) {
        const ScopedZone scope(name);
        const std::time_t now = std::time(nullptr);
        tm fields{};
        localtime_r(&now, &fields);
        TIME_ZONE_INFORMATION zone{};
        EXPECT_EQ(fields.tm_isdst > 0 ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD,
                  os().GetTimeZoneInformation(&zone));
    }
    const ScopedZone scope("IST-5:30");
    TIME_ZONE_INFORMATION zone{};
    EXPECT_EQ(TIME_ZONE_ID_UNKNOWN, os().GetTimeZoneInformation(&zone));
    EXPECT_EQ("-330 IST", zoneText(zone));
}

TEST(Zone, NoZoneMeansThatOfTheProcess) {
    const ScopedZone scope(kNewYork);
    EXPECT_EQ("2026-03-08 (0) 01:59:59", local(at(3, 8, 6, 59, 59)));
    EXPECT_EQ("2026-03-08 (0) 03:00:00", local(at(3, 8, 7)));
    EXPECT_EQ("2026-03-08 (0) 03:00:01", local(at(3, 8, 7, 0, 1)));
    EXPECT_EQ("2026-11-01 (0) 01:59:59", local(at(11, 1, 5, 59, 59)));
    EXPECT_EQ("2026-11-01 (0) 01:00:00", local(at(11, 1, 6)));
    EXPECT_EQ("2026-07-01 (3) 16:00:00", universal(at(7, 1, 12)));
    EXPECT_EQ("2026-03-08 (0) 06:30:00", universal(at(3, 8, 2, 30)));
    EXPECT_EQ("2026-11-01 (0) 05:30:00", universal(at(11, 1, 1, 30)));
}

TEST(Zone, TheRulesOfThisYearHoldForEveryYear) {
    // New York began its summer time in April until 2006; the record does not know.
    const ScopedZone scope("America/New_York");
    const SYSTEMTIME time = {2005, 3, 0xFFFF, 20, 12, 0, 0, 0};
    EXPECT_EQ("2005-03-20 (0) 08:00:00", local(time));
}

TEST(Zone, ANegativeSavingIsDaylightTimeInSummer) {
    const ScopedZone scope("IST-1GMT0,M10.5.0,M3.5.0/1");
    EXPECT_EQ("2026-03-29 (0) 00:59:59", local(at(3, 29, 0, 59, 59)));
    EXPECT_EQ("2026-03-29 (0) 02:00:00", local(at(3, 29, 1)));
    EXPECT_EQ("2026-10-25 (0) 01:59:59", local(at(10, 25, 0, 59, 59)));
    EXPECT_EQ("2026-10-25 (0) 01:00:00", local(at(10, 25, 1)));
    EXPECT_EQ("2026-10-25 (0) 00:30:00", universal(at(10, 25, 1, 30)));
}

TEST(Zone, MidnightSwitchesToTheMillisecond) {
    // The last Thursday of October at 24:00, which the record writes as a millisecond before.
    const ScopedZone scope("EET-2EEST,M4.5.5/0,M10.5.4/24");
    EXPECT_EQ("2026-10-29 (4) 23:59:58", local(at(10, 29, 20, 59, 58)));
    EXPECT_EQ("2026-10-29 (4) 23:59:59", local(at(10, 29, 20, 59, 59)));
    EXPECT_EQ("2026-10-29 (4) 23:00:00", local(at(10, 29, 21)));
    EXPECT_EQ("2026-04-23 (4) 23:59:59", local(at(4, 23, 21, 59, 59)));
    EXPECT_EQ("2026-04-24 (5) 01:00:00", local(at(4, 23, 22)));
}

TEST(Zone, AFileTimeIsShiftedByTheBiasOfNow) {
    const std::uint64_t count = 129185586000000000;
    FILETIME time{};
    time.dwLowDateTime = static_cast<DWORD>(count);
    time.dwHighDateTime = static_cast<DWORD>(count >> 32);
    const auto shifted = [&time] {
        FILETIME result{};
        SYSTEMTIME fields{};
        EXPECT_TRUE(os().FileTimeToLocalFileTime(&time, &result));
        EXPECT_TRUE(os().FileTimeToSystemTime(&result, &fields));
        return text(fields);
    };
    {
        const ScopedZone scope("IST-5:30");
        EXPECT_EQ("2010-05-17 (1) 14:00:00", shifted());
    }
    {
        const ScopedZone scope("UTC0");
        EXPECT_EQ("2010-05-17 (1) 08:30:00", shifted());
    }
    const ScopedZone scope(kNewYork);
    TIME_ZONE_INFORMATION zone{};
    EXPECT_EQ(os().GetTimeZoneInformation(&zone) == TIME_ZONE_ID_DAYLIGHT
                  ? "2010-05-17 (1) 04:30:00"
                  : "2010-05-17 (1) 03:30:00",
              shifted());
}

}  // namespace
}  // namespace Tallowmere::platform
