#include "trace/Line.h"

#include <gtest/gtest.h>

#include "trace/testing/Fixtures.h"

namespace Tallowmere::command::trace {
namespace {

using testing::kPlace;
using testing::kStamp;

const std::string kBefore = kStamp + "INFO    \tT4711\t";

Flaw flawIn(const std::string& text) {
    Line line;
    return readLine(text, line);
}

/// "module|number|message" of a line with that place and message, or the flaw.
std::string placed(const std::string& text) {
    const std::string whole = kBefore + text;
    Line line;
    const Flaw flaw = readLine(whole, line);
    if (flaw != Flaw::none) {
        return "flaw " + std::to_string(static_cast<int>(flaw));
    }
    return std::string(line.module) + "|" + std::to_string(line.number) + "|" +
           std::string(line.message);
}

const std::string kNoPlace = "flaw 4";

TEST(TraceLineReader, ReadsEachField) {
    const std::string text =
        kStamp + "INFO    \tT4711\t" + kPlace + "Reading file C:\\settings.xml";
    Line line;
    ASSERT_EQ(Flaw::none, readLine(text, line));
    EXPECT_EQ("November 16, 2026, 5:35:54.123 AM", line.time);
    EXPECT_TRUE(line.isTimeKnown);
    EXPECT_EQ("2026-11-16T05:35:54.123", isoOf(line.instant));
    EXPECT_EQ(Severity::info, line.severity);
    EXPECT_EQ(4711U, line.thread);
    EXPECT_EQ("Configurable:L00064                 ", line.place);
    EXPECT_EQ("Configurable", line.module);
    EXPECT_EQ(64, line.number);
    EXPECT_EQ("Reading file C:\\settings.xml", line.message);
}

TEST(TraceLineReader, ReadsTheFourSeveritiesAlone) {
    const auto severity = [](const std::string& column) {
        Line line;
        const std::string text = kStamp + column + "\tT1\t" + kPlace;
        return readLine(text, line) == Flaw::none ? std::string(nameOf(line.severity)) : "none";
    };
    EXPECT_EQ("INFO", severity("INFO    "));
    EXPECT_EQ("WARNING", severity("WARNING "));
    EXPECT_EQ("ERROR", severity("ERROR   "));
    EXPECT_EQ("CRITICAL", severity("CRITICAL"));
    for (const char* const column : {"INFO", "INFO   ", "INFO     ", " INFO   ", "info    ",
                                     "DEBUG   ", "INFO  x ", "CRITICAL ", "        ", ""}) {
        EXPECT_EQ("none", severity(column)) << column;
    }
}

TEST(TraceLineReader, ReadsAThreadOf32Bits) {
    const auto thread = [](const std::string& column) {
        Line line;
        const std::string text = kStamp + "INFO    \t" + column + "\t" + kPlace;
        return readLine(text, line) == Flaw::none ? std::to_string(line.thread) : "none";
    };
    EXPECT_EQ("0", thread("T0"));
    EXPECT_EQ("4294967295", thread("T4294967295"));
    for (const char* const column :
         {"T", "T00", "T01", "T-1", "T+1", "T4294967296", "4711", "t4711", "T4711 ", ""}) {
        EXPECT_EQ("none", thread(column)) << column;
    }
}

TEST(TraceLineReader, ReadsThePlace) {
    const std::string name30(30, 'n');
    EXPECT_EQ("x|5|m", placed("x:L00005                            \tm"));
    EXPECT_EQ("|5|m", placed(":L00005                             \tm"));
    EXPECT_EQ("a b:L1|12345|m", placed("a b:L1:L12345                       \tm"));
    EXPECT_EQ("x|123456|m", placed("x:L123456                           \tm"));
    EXPECT_EQ("x|-1|m", placed("x:L-0001                            \tm"));
    EXPECT_EQ("x|2147483647|", placed("x:L2147483647                       \t"));
    EXPECT_EQ("x|-2147483648|", placed("x:L-2147483648                      \t"));
    EXPECT_EQ(name30 + "|5|m", placed(name30 + ":L00005\tm"));
    EXPECT_EQ(name30 + "|123456|m", placed(name30 + ":L123456\tm"));
    // The column of the statement before, of which a statement without a file makes its name.
    EXPECT_EQ("Configurable:L00064           |7|m",
              placed("Configurable:L00064           :L00007\tm"));
}

TEST(TraceLineReader, ReadsAPlaceThatHasLostItsTab) {
    const std::string name30(30, 'n');
    EXPECT_EQ(name30 + "|1234567|message\tand", placed(name30 + ":L1234567message\tand"));
    EXPECT_EQ(name30 + "|1234567|", placed(name30 + ":L1234567"));
    // More digits than have room: the first ones.
    EXPECT_EQ(name30 + "|2147483|647", placed(name30 + ":L2147483647"));
    EXPECT_EQ(name30 + "|1234567|\tm", placed(name30 + ":L1234567\tm"));
    EXPECT_EQ(std::string(27, 'n') + "|2147483647|m",
              placed(std::string(27, 'n') + ":L2147483647m"));
    EXPECT_EQ(kNoPlace, placed(name30 + ":L123456message"));
}

TEST(TraceLineReader, CountsThePlaceAsEitherSystemDoes) {
    const std::string pair = "\xF0\x9F\x98\x80";
    EXPECT_EQ("\xC3\xBC|5|m", placed("\xC3\xBC:L00005                            \tm"));
    EXPECT_EQ(pair + "|5|m", placed(pair + ":L00005                            \tm"));
    EXPECT_EQ(pair + "|5|m", placed(pair + ":L00005                           \tm"));
    EXPECT_EQ(kNoPlace, placed(pair + ":L00005                          \tm"));
}

TEST(TraceLineReader, ReadsNoOtherPlace) {
    EXPECT_EQ(kNoPlace, placed(""));
    EXPECT_EQ(kNoPlace, placed("\t"));
    EXPECT_EQ(kNoPlace, placed("x:L00005"));
    EXPECT_EQ(kNoPlace, placed("x:L00005\tm"));
    EXPECT_EQ(kNoPlace, placed("x:L00005                             \tm"));
    EXPECT_EQ(kNoPlace, placed("x:L0005                             \tm"));
    EXPECT_EQ(kNoPlace, placed("x:L000005                           \tm"));
    EXPECT_EQ(kNoPlace, placed("x:L00x05                            \tm"));
    EXPECT_EQ(kNoPlace, placed("x:L-0000                            \tm"));
    EXPECT_EQ(kNoPlace, placed("x:L2147483648                       \tm"));
    EXPECT_EQ(kNoPlace, placed("x:00005                             \tm"));
    EXPECT_EQ(kNoPlace, placed(std::string(31, 'n') + ":L00005\tm"));
    EXPECT_EQ(kNoPlace, placed("a\tb:L00005                          \tm"));
}

TEST(TraceLineReader, LeavesTheMessageAsItIs) {
    const std::string message("\ttabs\t\x1b[31m\0\xff and all\r", 23);
    EXPECT_EQ("Configurable|64|" + message, placed(kPlace + message));
    EXPECT_EQ("Configurable|64|", placed(kPlace));
}

TEST(TraceLineReader, NamesTheFirstFieldThatIsWrong) {
    EXPECT_EQ(Flaw::time, flawIn(""));
    EXPECT_EQ(Flaw::time, flawIn("November 16, 2026, 5:35:54.123 AM"));
    EXPECT_EQ(Flaw::time, flawIn("second half of a name"));
    EXPECT_EQ(Flaw::time, flawIn("x\tINFO    \tT1\t" + kPlace));
    EXPECT_EQ(Flaw::severity, flawIn(kStamp));
    EXPECT_EQ(Flaw::severity, flawIn(kStamp + "lla\\share\\x\tT1\t"));
    EXPECT_EQ(Flaw::thread, flawIn(kStamp + "INFO    \t"));
    EXPECT_EQ(Flaw::thread, flawIn(kStamp + "INFO    \tT1"));
    EXPECT_EQ(Flaw::place, flawIn(kStamp + "INFO    \tT1\tConfig"));
}

TEST(TraceLineReader, FindsALineInTheMidstOfAMessage) {
    const auto within = [](const std::string& message) {
        const auto severity = severityWithin(message);
        return severity ? std::string(nameOf(*severity)) : "none";
    };
    EXPECT_EQ("none", within(""));
    EXPECT_EQ("none", within("a\tb\tERROR   \tTx\t"));
    EXPECT_EQ("none", within("a\tERROR  \tT1\t"));
    EXPECT_EQ("ERROR", within("x" + kStamp + "ERROR   \tT4294967295\t" + kPlace));
    EXPECT_EQ("INFO", within("x" + kStamp + "INFO    \tT1\t"));
    EXPECT_EQ("CRITICAL", within("\tCRITICAL\tT1\t" + kStamp + "INFO    \tT1\t"));
}

TEST(TraceLineReader, TakesATimeInAnotherLanguageAsItIs) {
    const std::string text = "Dezember 16, 2026, 5:35:54.123 \tERROR   \tT1\t" + kPlace + "m";
    Line line;
    ASSERT_EQ(Flaw::none, readLine(text, line));
    EXPECT_FALSE(line.isTimeKnown);
    EXPECT_EQ("Dezember 16, 2026, 5:35:54.123 ", line.time);
    EXPECT_EQ(Severity::error, line.severity);
}

}  // namespace
}  // namespace Tallowmere::command::trace
