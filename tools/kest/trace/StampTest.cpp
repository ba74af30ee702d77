#include "trace/Stamp.h"

#include <gtest/gtest.h>

namespace Tallowmere::command::trace {
namespace {

Instant instantIn(std::string_view text) {
    Instant instant = kNever;
    return readStamp(text, instant) ? instant : kNever;
}

TEST(TraceStampReader, ReadsTheTimeOfALine) {
    EXPECT_EQ(1794807354123, instantIn("November 16, 2026, 5:35:54.123 AM"));
    EXPECT_EQ(1794807354123 + 12 * 3600000, instantIn("November 16, 2026, 5:35:54.123 PM"));
    EXPECT_EQ(0, instantIn("January 1, 1970, 12:00:00.000 AM"));
    EXPECT_EQ(12 * 3600000, instantIn("January 1, 1970, 12:00:00.000 PM"));
    EXPECT_EQ(951782400000, instantIn("February 29, 2000, 12:00:00.000 AM"));
    EXPECT_EQ(-11644473600000, instantIn("January 1, 1601, 12:00:00.000 AM"));
}

TEST(TraceStampReader, ReadsNothingElse) {
    for (const char* const text : {"",
                                   "November 16, 2026, 5:35:54.123",
                                   "November 16, 2026, 5:35:54.123 AM ",
                                   " November 16, 2026, 5:35:54.123 AM",
                                   "november 16, 2026, 5:35:54.123 AM",
                                   "Nov 16, 2026, 5:35:54.123 AM",
                                   "November 06, 2026, 5:35:54.123 AM",
                                   "November 16, 2026, 05:35:54.123 AM",
                                   "November 16, 2026, 0:35:54.123 AM",
                                   "November 16, 2026, 13:35:54.123 PM",
                                   "November 16, 2026, 5:5:54.123 AM",
                                   "November 16, 2026, 5:35:60.123 AM",
                                   "November 16, 2026, 5:60:54.123 AM",
                                   "November 16, 2026, 5:35:54.12 AM",
                                   "November 16, 2026, 5:35:54.1234 AM",
                                   "November 16, 2026, 5:35:54 AM",
                                   "November 31, 2026, 5:35:54.123 AM",
                                   "February 29, 2026, 5:35:54.123 AM",
                                   "February 29, 1900, 5:35:54.123 AM",
                                   "November 0, 2026, 5:35:54.123 AM",
                                   "November 16, 226, 5:35:54.123 AM",
                                   "November 16, 1600, 5:35:54.123 AM",
                                   "November 16 2026, 5:35:54.123 AM",
                                   "November 16, 2026, 5:35:54,123 AM",
                                   "November 16, 2026, 5:35:54.123 am"}) {
        EXPECT_EQ(kNever, instantIn(text)) << text;
    }
}

TEST(TraceStampReader, WritesWhatItReads) {
    // Hours of a day, ends of months, leap years, years with and without a century.
    for (Instant instant = -11644473600000; instant < 253402300800000;
         instant += 86400000LL * 13 + 3723457) {
        EXPECT_EQ(instant, instantIn(stampOf(instant))) << stampOf(instant);
    }
    EXPECT_EQ("November 16, 2026, 12:00:00.007 AM",
              stampOf(instantIn("November 16, 2026, 12:00:00.007 AM")));
    EXPECT_EQ("2026-11-16T17:35:54.123", isoOf(instantIn("November 16, 2026, 5:35:54.123 PM")));
}

TEST(TraceStampReader, KnowsTheFormOfOtherLanguages) {
    EXPECT_TRUE(isForeignStamp("Dezember 16, 2026, 5:35:54.123 "));
    EXPECT_TRUE(isForeignStamp("Dezember 16, 2026, 5:35:5.1234"));
    EXPECT_TRUE(
        isForeignStamp("\xD0\xBD\xD0\xBE\xD1\x8F\xD0\xB1\xD1\x80\xD1\x8F 16, 2026, "
                       "5:35:54.123 AM"));
    EXPECT_TRUE(isForeignStamp("de novembre 16, 2026, 5:35:54 a.123."));
    EXPECT_FALSE(isForeignStamp(""));
    EXPECT_FALSE(isForeignStamp("16, 2026, 5:35:54.123 "));
    EXPECT_FALSE(isForeignStamp(" 16, 2026, 5:35:54.123 "));
    EXPECT_FALSE(isForeignStamp("Dezember 16, 2026, 5:35:54"));
    EXPECT_FALSE(isForeignStamp("Dezember 16, 2026, 15:35:54.123"));
    EXPECT_FALSE(isForeignStamp("Dezember 46, 2026, 5:35:54.123 "));
    EXPECT_FALSE(isForeignStamp("Dezember 16, 2026, 5:35:54.123 \x1b"));
}

TEST(TraceStampReader, ReadsTheTimesOfAPerson) {
    const auto range = [](std::string_view text) {
        Instant first = 0;
        Instant last = 0;
        return readTime(text, first, last) ? isoOf(first) + " " + isoOf(last) : "none";
    };
    EXPECT_EQ("2026-11-16T00:00:00.000 2026-11-16T23:59:59.999", range("2026-11-16"));
    EXPECT_EQ("2026-11-16T05:35:00.000 2026-11-16T05:35:59.999", range("2026-11-16 5:35"));
    EXPECT_EQ("2026-11-16T17:35:54.000 2026-11-16T17:35:54.999", range("2026-11-16T17:35:54"));
    EXPECT_EQ("2026-11-16T17:35:54.120 2026-11-16T17:35:54.120", range("2026-11-16 17:35:54.120"));
    EXPECT_EQ("2026-11-16T17:35:54.120 2026-11-16T17:35:54.120",
              range("November 16, 2026, 5:35:54.120 PM"));
    for (const char* const text : {"", "2026", "2026-11", "2026-13-01", "2026-02-29", "26-11-16",
                                   "2026-11-16 24:00", "2026-11-16 5", "2026-11-16 5:3",
                                   "2026-11-16 05:35:54.1", "2026-11-16 05:35 AM", "yesterday"}) {
        EXPECT_EQ("none", range(text)) << text;
    }
}

TEST(TraceStampReader, TellsSpansOfTime) {
    EXPECT_EQ("0.000 s", spanOf(0));
    EXPECT_EQ("59.999 s", spanOf(59999));
    EXPECT_EQ("1 min 0.000 s", spanOf(60000));
    EXPECT_EQ("25 h 0 min 5.877 s", spanOf(25 * 3600000LL + 5877));
}

}  // namespace
}  // namespace Tallowmere::command::trace
