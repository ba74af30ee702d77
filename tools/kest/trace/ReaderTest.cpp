#include "trace/Reader.h"

#include <gtest/gtest.h>

#include "trace/testing/Fixtures.h"

namespace Tallowmere::command::trace {
namespace {

using testing::lineAt;
using testing::TextBytes;

/// An entry in a few words.
std::string told(const Entry& entry) {
    std::string text = std::to_string(entry.number) + " ";
    switch (entry.kind) {
        case Entry::Kind::line:
            text += "line " + std::string(entry.line.message);
            break;
        case Entry::Kind::rolledOver:
            text += "rolled over";
            break;
        case Entry::Kind::blank:
            text += "blank";
            break;
        case Entry::Kind::restarted:
            text += "restarted";
            break;
        default:
            text += "?" + std::to_string(static_cast<int>(entry.flaw)) + " " +
                    std::string(entry.bytes.substr(0, 40));
    }
    text += entry.isUnfinished ? " (unfinished)" : "";
    text += entry.isPart ? " (part)" : "";
    text += entry.runsBack ? " (back)" : "";
    return text;
}

std::vector<std::string> entriesIn(const std::string& text, std::size_t block = 1U << 16) {
    TextBytes bytes(text, block);
    Reader reader(bytes, 0, false);
    std::vector<std::string> all;
    while (reader.next()) {
        all.push_back(told(reader.entry()));
    }
    return all;
}

using Entries = std::vector<std::string>;

TEST(TraceReader, ReadsLinesWhateverTheBlocks) {
    const std::string text =
        lineAt("5:35:54.123 AM", "one") + "\n" + lineAt("5:35:54.124 AM", "two\ttabs") + "\n";
    for (const std::size_t block : {1U, 2U, 7U, 64U, 4096U}) {
        EXPECT_EQ((Entries{"1 line one", "2 line two\ttabs"}), entriesIn(text, block));
    }
    EXPECT_EQ(Entries(), entriesIn(""));
}

TEST(TraceReader, TakesTheCarriageReturnsOfWindowsAway) {
    const std::string one = lineAt("5:35:54.123 AM", "one");
    const std::string failed = lineAt("5:35:54.123 AM", "failed: not found.");
    EXPECT_EQ((Entries{"1 line one", "2 line failed: not found.\r", "3 blank", "4 line one"}),
              entriesIn(one + "\r\n" + failed + "\r\r\n\r\n" + one + "\r\n"));
    // Elsewhere a carriage return belongs to the message.
    EXPECT_EQ((Entries{"1 line failed: not found.\r", "2 blank", "3 line one"}),
              entriesIn(failed + "\r\n\n" + one + "\n"));
}

TEST(TraceReader, PassesOverNothing) {
    const std::string one = lineAt("5:35:54.123 AM", "one");
    EXPECT_EQ((Entries{"1 ?1 ", "2 line one", "3 ?1 ", "4 ?1 tail of a name", "5 line one"}),
              entriesIn("\n" + one + "\n\ntail of a name\n" + one + "\n"));
    EXPECT_EQ((Entries{"1 ?1 half a line", "2 rolled over", "3 line one (unfinished)"}),
              entriesIn("half a line\nTrace file rolled over\n" + one));
    EXPECT_EQ((Entries{"1 ?4 " + one.substr(0, 40) + " (unfinished)"}),
              entriesIn(one.substr(0, 60)));
    EXPECT_EQ((Entries{"1 ?1 Trace file rolled over (unfinished)"}),
              entriesIn("Trace file rolled over"));
    EXPECT_EQ((Entries{"1 ?1 Trace file rolled over "}), entriesIn("Trace file rolled over \n"));
}

TEST(TraceReader, TellsWhatANameWithALineFeedHasForged) {
    const std::string name = "a\n" + lineAt("1:00:00.000 AM", "all is well", "CRITICAL", 9);
    EXPECT_EQ((Entries{"1 line reading a", "2 line all is well (back)", "3 line one"}),
              entriesIn(lineAt("5:35:54.123 AM", "reading " + name) + "\n" +
                        lineAt("5:35:54.124 AM", "one") + "\n"));
    EXPECT_EQ((Entries{"1 line reading a", "2 ?1 b> done", "3 line one"}),
              entriesIn(lineAt("5:35:54.123 AM", "reading a\nb> done") + "\n" +
                        lineAt("5:35:54.123 AM", "one") + "\n"));
}

TEST(TraceReader, CutsALineThatIsTooLong) {
    const std::string most(LineSplitter::kAtMost, 'x');
    const std::string begin = lineAt("5:35:54.123 AM", "");
    const std::string one = lineAt("5:35:54.123 AM", "one");
    const Entries entries = entriesIn(begin + most + most + "\n" + one + "\n");
    ASSERT_EQ(4U, entries.size());
    EXPECT_EQ("1 line " + most.substr(begin.size()) + " (part)", entries[0]);
    EXPECT_EQ("1 ?0 " + most.substr(0, 40) + " (part)", entries[1]);
    EXPECT_EQ("1 ?0 " + most.substr(0, 40), entries[2]);
    EXPECT_EQ("2 line one", entries[3]);
    // One that is just short enough is whole.
    EXPECT_EQ(2U, entriesIn(most + "\n" + one + "\n").size());
}

TEST(TraceReader, GivesEachEntryTheLatestTimeSoFar) {
    TextBytes bytes("?\n" + lineAt("5:00:00.000 AM", "a") + "\n?\n" +
                    lineAt("4:00:00.000 AM", "b") +
                    "\nDezember 16, 2026, 5:35:54.123 \tINFO    "
                    "\tT1\t" +
                    testing::kPlace + "c\n");
    Reader reader(bytes, 3, false);
    std::vector<std::string> times;
    while (reader.next()) {
        EXPECT_EQ(3U, reader.entry().file);
        times.push_back(reader.entry().when == kNever ? "never" : isoOf(reader.entry().when));
    }
    const std::string five = "2026-11-16T05:00:00.000";
    EXPECT_EQ((std::vector<std::string>{"never", five, five, five, five}), times);
}

TEST(TraceReader, WaitsForTheRestOfALineThatGrows) {
    const std::string one = lineAt("5:35:54.123 AM", "one");
    TextBytes bytes(one.substr(0, 50));
    Reader reader(bytes, 0, true);
    EXPECT_FALSE(reader.next());
    bytes.append(one.substr(50));
    EXPECT_FALSE(reader.next());
    bytes.append("\nx");
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("1 line one", told(reader.entry()));
    EXPECT_FALSE(reader.next());
}

}  // namespace
}  // namespace Tallowmere::command::trace
