#include "kest/platform/linux/ZoneRecord.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kest/platform/linux/Calendar.h"
#include "kest/platform/linux/Standins.h"
#include "kest/platform/linux/testing/ScopedZone.h"
#include "kest/platform/linux/testing/ZoneText.h"

namespace Tallowmere::platform::zone {
namespace {

using testing::ScopedZone;
using testing::zoneText;

std::time_t universal(int year, int month, int day, int hour = 0) {
    return calendar::daysOf(year, month, day) * 86400 + hour * 3600 -
           calendar::kSecondsFrom1601To1970;
}

long offsetAt(std::time_t at) {
    tm local{};
    localtime_r(&at, &local);
    return local.tm_gmtoff;
}

std::string recordOf(const char* zone, std::time_t now) {
    const ScopedZone scope(zone);
    return zoneText(deriveRecord(now).zone);
}

/// Rules in the POSIX form, which need no database.
TEST(ZoneRecord, OfRulesThatTheVariableSpells) {
    const std::time_t now = universal(2026, 11, 21);
    EXPECT_EQ(
        "300 EST, EDT -60 from second Sunday of 3 02:00:00.000 to first Sunday of 11 "
        "02:00:00.000",
        recordOf("EST5EDT,M3.2.0,M11.1.0", now));
    EXPECT_EQ(
        "-60 CET, CEST -60 from last Sunday of 3 02:00:00.000 to last Sunday of 10 "
        "03:00:00.000",
        recordOf("CET-1CEST,M3.5.0,M10.5.0/3", now));
    EXPECT_EQ(
        "-600 AEST, AEDT -60 from first Sunday of 10 02:00:00.000 to first Sunday of 4 "
        "03:00:00.000",
        recordOf("AEST-10AEDT,M10.1.0,M4.1.0/3", now));
    EXPECT_EQ(
        "-630 +1030, +11 -30 from first Sunday of 10 02:00:00.000 to first Sunday of 4 "
        "02:00:00.000",
        recordOf("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", now));
    EXPECT_EQ("-330 IST", recordOf("IST-5:30", now));
    EXPECT_EQ("0 UTC", recordOf("UTC0", now));
}

TEST(ZoneRecord, OfNamedZones) {
    // A year that is over: later editions of the database no longer change it.
    const std::time_t now = universal(2025, 7, 1);
    const std::pair<const char*, const char*> zones[] = {
        {"America/New_York",
         "300 EST, EDT -60 from second Sunday of 3 02:00:00.000 to first Sunday of 11 "
         "02:00:00.000"},
        {"Europe/Berlin",
         "-60 CET, CEST -60 from last Sunday of 3 02:00:00.000 to last Sunday of 10 "
         "03:00:00.000"},
        {"Europe/London",
         "0 GMT, BST -60 from last Sunday of 3 01:00:00.000 to last Sunday of 10 02:00:00.000"},
        {"Australia/Sydney",
         "-600 AEST, AEDT -60 from first Sunday of 10 02:00:00.000 to first Sunday of 4 "
         "03:00:00.000"},
        {"Pacific/Auckland",
         "-720 NZST, NZDT -60 from last Sunday of 9 02:00:00.000 to first Sunday of 4 "
         "03:00:00.000"},
        {"Pacific/Chatham",
         "-765 +1245, +1345 -60 from last Sunday of 9 02:45:00.000 to first Sunday of 4 "
         "03:45:00.000"},
        {"Asia/Kolkata", "-330 IST"},
        {"Asia/Tokyo", "-540 JST"},
        {"Asia/Kathmandu", "-345 +0545"},
        {"UTC", "0 UTC"},
        {"Etc/GMT+12", "720 -12"},
    };
    for (const auto& [name, expected] : zones) {
        EXPECT_EQ(expected, recordOf(name, now)) << name;
    }
}

TEST(ZoneRecord, HalfAnHourOfDaylightTime) {
    EXPECT_EQ(
        "-630 +1030, +11 -30 from first Sunday of 10 02:00:00.000 to first Sunday of 4 "
        "02:00:00.000",
        recordOf("Australia/Lord_Howe", universal(2025, 7, 1)));
}

TEST(ZoneRecord, WinterTimeThatTheDatabaseTakesForTheSpecialOne) {
    const char* const ireland =
        "0 GMT, IST -60 from last Sunday of 3 01:00:00.000 to last Sunday of 10 02:00:00.000";
    EXPECT_EQ(ireland, recordOf("Europe/Dublin", universal(2025, 7, 1)));
    EXPECT_EQ(ireland, recordOf("Europe/Dublin", universal(2025, 12, 1)));
    EXPECT_EQ(ireland, recordOf("IST-1GMT0,M10.5.0,M3.5.0/1", universal(2026, 7, 1)));
}

TEST(ZoneRecord, OneMonthOfTheYearThatIsBehind) {
    // Morocco is at UTC + 1 but for Ramadan, 23 February to 6 April 2025.
    const char* const morocco =
        "0 +00, +01 -60 from first Sunday of 4 02:00:00.000 to last Sunday of 2 03:00:00.000";
    for (const int month : {1, 3, 7, 12}) {
        EXPECT_EQ(morocco, recordOf("Africa/Casablanca", universal(2025, month, 15))) << month;
    }
}

TEST(ZoneRecord, ASwitchAtTheEndOfADayBelongsToThatDay) {
    // The last Thursday of October at 24:00, and the first Saturday at 24:00.
    const std::time_t now = universal(2025, 7, 1);
    EXPECT_EQ(
        "-120 EET, EEST -60 from last Friday of 4 00:00:00.000 to last Thursday of 10 "
        "23:59:59.999",
        recordOf("EET-2EEST,M4.5.5/0,M10.5.4/24", now));
    EXPECT_EQ(
        "240 -04, -03 -60 from first Saturday of 9 23:59:59.999 to first Saturday of 4 "
        "23:59:59.999",
        recordOf("<-04>4<-03>,M9.1.6/24,M4.1.6/24", now));
    // The last Sunday at 0:00 stays with the Sunday.
    EXPECT_EQ(
        "-120 EET, EEST -60 from last Sunday of 3 00:00:00.000 to last Sunday of 10 "
        "00:00:00.000",
        recordOf("EET-2EEST,M3.5.0/0,M10.5.0/0", now));
}

TEST(ZoneRecord, TheFourthWeekAndTheLastOneAreToldApartByOtherYears) {
    // In 2026 the fourth Sunday of October is the last one, the 25th; in 2027 it is the 24th.
    for (const int year : {2026, 2027, 2028, 2029, 2030, 2031}) {
        EXPECT_EQ(
            "300 EST, EDT -60 from fourth Sunday of 3 02:00:00.000 to fourth Sunday of 10 "
            "02:00:00.000",
            recordOf("EST5EDT,M3.4.0,M10.4.0", universal(year, 7, 1)));
        EXPECT_EQ(
            "300 EST, EDT -60 from last Sunday of 3 02:00:00.000 to last Sunday of 10 "
            "02:00:00.000",
            recordOf("EST5EDT,M3.5.0,M10.5.0", universal(year, 7, 1)));
    }
}

TEST(ZoneRecord, AChangeForGoodCountsFromTheBeginningOfTheYear) {
    // Almaty went from UTC + 6 to UTC + 5 on 1 March 2024.
    const char* const almaty =
        "-300 +05, +06 -60 from first Monday of 1 00:00:00.000 to first Friday of 3 00:00:00.000";
    EXPECT_EQ(almaty, recordOf("Asia/Almaty", universal(2024, 1, 15)));
    EXPECT_EQ(almaty, recordOf("Asia/Almaty", universal(2024, 7, 1)));
    EXPECT_EQ("-360 +06", recordOf("Asia/Almaty", universal(2023, 7, 1)));
    EXPECT_EQ("-300 +05", recordOf("Asia/Almaty", universal(2025, 7, 1)));
    // Peru put its clocks forward at the very beginning of 1987.
    EXPECT_EQ(
        "300 -05, -04 -60 from first Thursday of 1 00:00:00.000 to first Wednesday of 4 "
        "00:00:00.000",
        recordOf("America/Lima", universal(1987, 2, 1)));
    // Turkey kept its summer time of 2016.
    EXPECT_EQ(
        "-120 EET, EEST -60 from last Sunday of 3 03:00:00.000 to first Friday of 1 "
        "00:00:00.000",
        recordOf("Europe/Istanbul", universal(2016, 12, 1)));
}

TEST(ZoneRecord, MoreThanTwoChangesGiveTheTwoAroundNow) {
    // Egypt in 2014: forward on 15 May, back for Ramadan on 26 June, forward on 31 July, back on
    // 25 September, always at the end of the day.
    const auto cairo = [](int month, int day) {
        return recordOf("Africa/Cairo", universal(2014, month, day));
    };
    const char* const spring =
        "-120 EET, EEST -60 from third Friday of 5 00:00:00.000 to last Friday of 6 00:00:00.000";
    const char* const ramadan =
        "-120 EET, EEST -60 from first Friday of 8 00:00:00.000 to last Friday of 6 00:00:00.000";
    EXPECT_EQ(spring, cairo(1, 1));
    EXPECT_EQ(spring, cairo(6, 1));
    EXPECT_EQ(ramadan, cairo(7, 10));
    const ScopedZone scope("Africa/Cairo");
    // Whatever the dates look like, now is right on every day of the year.
    for (std::time_t now = universal(2014, 1, 2); now < universal(2014, 12, 30); now += 86400) {
        tm local{};
        localtime_r(&now, &local);
        const Record record = deriveRecord(now);
        SYSTEMTIME time{};
        ASSERT_TRUE(calendar::fromTicks(
            (now + calendar::kSecondsFrom1601To1970) * calendar::kTicksPerSecond, time));
        ASSERT_TRUE(standin::SystemTimeToTzSpecificLocalTime(&record.zone, &time, &time));
        ASSERT_EQ(local.tm_hour, time.wHour) << now << " " << zoneText(record.zone);
    }
}

TEST(ZoneRecord, AJumpOverADay) {
    // Samoa left out 30 December 2011.
    EXPECT_EQ(
        "600 -10, +14 -1440 from last Friday of 12 00:00:00.000 to last Saturday of 9 "
        "03:00:00.000",
        recordOf("Pacific/Apia", universal(2011, 12, 31)));
}

TEST(ZoneRecord, NoZoneAndNonsenseAreUtc) {
    const std::time_t now = universal(2026, 7, 1);
    EXPECT_EQ("0 UTC", recordOf("", now));
    EXPECT_EQ("0 UTC", recordOf(":", now));
    EXPECT_EQ("0 Nonsense", recordOf("Nonsense", now));
    EXPECT_EQ("0 Nowhere", recordOf("Nowhere/At_All", now));
    // A name that is too long for the record is cut.
    const std::string name(40, 'x');
    EXPECT_EQ("60 " + std::string(31, 'x'), recordOf((name + "1").c_str(), now));
}

TEST(ZoneRecord, SecondsOfAnOffsetAreCutOff) {
    EXPECT_EQ("90 XXX", recordOf("XXX1:30:45", universal(2026, 7, 1)));
    EXPECT_EQ("-90 XXX", recordOf("XXX-1:30:45", universal(2026, 7, 1)));
}

TEST(ZoneRecord, HoldsUntilTheNextSwitchOrTheEndOfTheYear) {
    const ScopedZone scope("EST5EDT,M3.2.0,M11.1.0");
    Record record = deriveRecord(universal(2026, 2, 1));
    EXPECT_EQ(universal(2026, 1, 1, 5), record.validFrom);
    EXPECT_EQ(universal(2026, 3, 8, 7), record.validUntil);
    record = deriveRecord(universal(2026, 7, 1));
    EXPECT_EQ(universal(2026, 3, 8, 7), record.validFrom);
    EXPECT_EQ(universal(2026, 11, 1, 6), record.validUntil);
    record = deriveRecord(universal(2026, 12, 1));
    EXPECT_EQ(universal(2026, 11, 1, 6), record.validFrom);
    EXPECT_EQ(universal(2027, 1, 1, 5), record.validUntil);
    // The year is the local one.
    record = deriveRecord(universal(2027, 1, 1, 4));
    EXPECT_EQ(universal(2027, 1, 1, 5), record.validUntil);
}

/// Every half hour of the year, and one second around it, as the database has it.
TEST(ZoneRecord, MakesTheSameLocalTimesAsTheDatabase) {
    const char* const zones[] = {
        "America/New_York",    "Europe/Berlin",     "Europe/Dublin",    "Australia/Sydney",
        "Australia/Lord_Howe", "Africa/Casablanca", "Africa/Cairo",     "America/Santiago",
        "America/Nuuk",        "Asia/Jerusalem",    "Asia/Kolkata",     "Asia/Tokyo",
        "America/St_Johns",    "Pacific/Chatham",   "Antarctica/Troll", "UTC"};
    for (const char* const name : zones) {
        const ScopedZone scope(name);
        const Record record = deriveRecord(universal(2025, 7, 1));
        for (std::time_t slot = universal(2024, 12, 31, 12); slot < universal(2026, 1, 1, 12);
             slot += 1800) {
            for (const std::time_t at : {slot - 1, slot, slot + 1}) {
                tm local{};
                localtime_r(&at, &local);
                if (local.tm_year != 125) {
                    continue;
                }
                SYSTEMTIME time{};
                ASSERT_TRUE(calendar::fromTicks(
                    (at + calendar::kSecondsFrom1601To1970) * calendar::kTicksPerSecond, time));
                ASSERT_TRUE(standin::SystemTimeToTzSpecificLocalTime(&record.zone, &time, &time));
                ASSERT_TRUE(time.wYear == 2025 && time.wMonth == local.tm_mon + 1 &&
                            time.wDay == local.tm_mday && time.wDayOfWeek == local.tm_wday &&
                            time.wHour == local.tm_hour && time.wMinute == local.tm_min &&
                            time.wSecond == local.tm_sec)
                    << name << " at " << at;
            }
        }
    }
}

/// Local times that exist once come back to where they came from.
TEST(ZoneRecord, LeadsBackFromLocalTime) {
    for (const char* const name : {"EST5EDT,M3.2.0,M11.1.0", "AEST-10AEDT,M10.1.0,M4.1.0/3",
                                   "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "IST-5:30"}) {
        const ScopedZone scope(name);
        const Record record = deriveRecord(universal(2026, 7, 1));
        for (std::time_t at = universal(2026, 1, 2); at < universal(2026, 12, 30); at += 1800) {
            SYSTEMTIME time{};
            ASSERT_TRUE(calendar::fromTicks(
                (at + calendar::kSecondsFrom1601To1970) * calendar::kTicksPerSecond, time));
            ASSERT_TRUE(standin::SystemTimeToTzSpecificLocalTime(&record.zone, &time, &time));
            ASSERT_TRUE(standin::TzSpecificLocalTimeToSystemTime(&record.zone, &time, &time));
            // Of a local time that comes twice, the first is meant.
            std::time_t first = at;
            for (const std::time_t earlier : {at - 1800, at - 3600}) {
                if (earlier + offsetAt(earlier) == at + offsetAt(at)) {
                    first = earlier;
                }
            }
            std::int64_t ticks = 0;
            ASSERT_TRUE(calendar::toTicks(time, ticks));
            ASSERT_EQ(first, ticks / calendar::kTicksPerSecond - calendar::kSecondsFrom1601To1970)
                << name;
        }
    }
}

TEST(ZoneRecord, IsReadAgainWhenTheVariableChanges) {
    {
        const ScopedZone scope("IST-5:30");
        EXPECT_EQ("-330 IST", zoneText(currentRecord()));
        EXPECT_EQ("-330 IST", zoneText(currentRecord()));
    }
    {
        const ScopedZone scope("JST-9");
        EXPECT_EQ("-540 JST", zoneText(currentRecord()));
    }
    {
        // Without a tzset of the host's: the variable alone decides.
        const ScopedZone scope("UTC0");
        setenv("TZ", "XST3", 1);
        EXPECT_EQ("180 XST", zoneText(currentRecord()));
    }
    std::string machine;
    {
        const ScopedZone scope(nullptr);
        machine = zoneText(currentRecord());
        EXPECT_EQ(machine, zoneText(deriveRecord(std::time(nullptr)).zone));
    }
    const ScopedZone scope("XST3");
    EXPECT_EQ("180 XST", zoneText(currentRecord()));
}

TEST(ZoneRecord, MayBeReadOnSeveralThreads) {
    const ScopedZone scope("EST5EDT,M3.2.0,M11.1.0");
    const std::string expected = zoneText(deriveRecord(std::time(nullptr)).zone);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&expected] {
            for (int j = 0; j < 200; ++j) {
                EXPECT_EQ(expected, zoneText(currentRecord()));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace Tallowmere::platform::zone
