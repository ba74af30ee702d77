// The whole verb but for its arguments: files in, text out.

#include "trace/Trace.h"

#include <gtest/gtest.h>

#include "trace/testing/Fixtures.h"

namespace Tallowmere::command::trace {
namespace {

using testing::kPlace;
using testing::kStamp;
using testing::lineAt;
using testing::ScratchFolder;
using testing::TextOutput;

class TraceVerb : public ::testing::Test {
protected:
    /// What is written, with what goes to standard error behind "errors: ".
    std::string outcome(const Options& options, int status = 0) {
        TextOutput out;
        TextOutput err;
        EXPECT_EQ(status, run(options, out, err));
        return out.text() + (err.text().empty() ? "" : "errors: " + err.text());
    }

    Options of(std::vector<std::wstring> files) {
        Options options;
        options.files = std::move(files);
        return options;
    }

    ScratchFolder folder;
};

TEST_F(TraceVerb, ShowsATraceAsItIs) {
    const std::string text = lineAt("5:00:00.000 AM", "one\ttab") + "\n" +
                             lineAt("5:00:00.001 AM", "two", "CRITICAL", 4711) + "\n";
    EXPECT_EQ(text, outcome(of({folder.write(L"a.log", text)})));
    EXPECT_EQ("", outcome(of({folder.write(L"empty.log", "")})));
}

TEST_F(TraceVerb, ShowsWhatIsNoLineAsSuch) {
    const std::string one = lineAt("5:00:00.000 AM", "reading <a");
    const std::string bad = "b>\x1b[2J\xff";
    const std::string failed = lineAt("4:00:00.000 AM", "not found.");
    EXPECT_EQ(
        "Trace file rolled over\n" + one + "\n?? it does not begin with a time: b>\\x1b[2J\\xff\n" +
            failed + " [earlier than a line before it]\n?? no severity behind the time: " + kStamp +
            "lla\\x\n?? no place behind the thread: " + kStamp + "INFO    \tT1\tx [cut here]\n",
        outcome(of({folder.write(L"a.log", "Trace file rolled over\n" + one + "\n" + bad + "\n" +
                                               failed + "\r\n\n" + kStamp + "lla\\x\n" + kStamp +
                                               "INFO    \tT1\tx")})));
}

TEST_F(TraceVerb, MergesFilesBehindTheirNames) {
    const std::string one = lineAt("5:00:00.000 AM", "one");
    const std::string two = lineAt("5:00:01.000 AM", "two");
    const std::wstring a = folder.write(L"\u00DCbung \u65E5\u672C.log", two + "\n");
    const std::wstring b = folder.write(L"b.log", one + "\n");
    EXPECT_EQ("b.log\t" + one +
                  "\n\xC3\x9C"
                  "bung \xE6\x97\xA5\xE6\x9C\xAC.log\t" +
                  two + "\n",
              outcome(of({a, b})));
}

TEST_F(TraceVerb, ColoursATerminal) {
    TextOutput out(true);
    TextOutput err;
    EXPECT_EQ(0,
              run(of({folder.write(L"a.log", lineAt("5:00:00.000 AM", "m", "ERROR   ") + "\nx\n")}),
                  out, err));
    EXPECT_EQ(
        "\x1b[2mNovember 16, 2026, 5:00:00.000 AM\x1b[0m\t\x1b[31mERROR   \x1b[0m\tT1\t"
        "\x1b[36mConfigurable:L00064                 \x1b[0m\t\x1b[31mm\x1b[0m\n"
        "\x1b[35m?? it does not begin with a time:\x1b[0m x\n",
        out.text());
}

TEST_F(TraceVerb, WritesJson) {
    const std::wstring file = folder.write(
        L"a.log", lineAt("5:00:00.000 AM", "say \"hi\"\x1b", "WARNING ", 7) + "\nrest\xff\n" +
                      "Dezember 16, 2026, 5:35:54.123 \tINFO    \tT1\t" + kPlace + "m\r\n\n" +
                      lineAt("4:00:00.000 AM", "cut"));
    Options options = of({file});
    options.json = true;
    EXPECT_EQ(
        "{\"file\":\"a.log\",\"number\":1,\"kind\":\"line\",\"time\":\"2026-11-16T05:00:00.000\","
        "\"stamp\":\"November 16, 2026, 5:00:00.000 AM\",\"severity\":\"WARNING\",\"thread\":7,"
        "\"module\":\"Configurable\",\"line\":64,\"message\":\"say \\\"hi\\\"\\u001b\"}\n"
        "{\"file\":\"a.log\",\"number\":2,\"kind\":\"unreadable\",\"reason\":\"it does not begin "
        "with a time\",\"text\":\"rest\xEF\xBF\xBD\",\"bytes\":\"72657374ff\"}\n"
        "{\"file\":\"a.log\",\"number\":3,\"kind\":\"line\",\"time\":null,\"stamp\":\"Dezember 16, "
        "2026, 5:35:54.123 \",\"severity\":\"INFO\",\"thread\":1,\"module\":\"Configurable\","
        "\"line\":64,\"message\":\"m\\r\"}\n"
        "{\"file\":\"a.log\",\"number\":4,\"kind\":\"blank\"}\n"
        "{\"file\":\"a.log\",\"number\":5,\"kind\":\"line\",\"time\":\"2026-11-16T04:00:00.000\","
        "\"stamp\":\"November 16, 2026, 4:00:00.000 AM\",\"severity\":\"INFO\",\"thread\":1,"
        "\"module\":\"Configurable\",\"line\":64,\"message\":\"cut\",\"cut\":true,"
        "\"runsBack\":true}\n",
        outcome(options));
}

TEST_F(TraceVerb, ChoosesLines) {
    const std::string info = lineAt("5:00:00.000 AM", "Copying A") + "\n";
    const std::string warning = lineAt("5:00:01.500 AM", "Copying B", "WARNING ", 2) + "\n";
    const std::string error = lineAt("5:00:59.999 AM", "Failed", "ERROR   ", 3) + "\n";
    const std::string other =
        "November 16, 2026, 5:01:00.000 AM\tINFO    \tT1\tx:L00001           "
        "                 \tdone\n";
    const std::wstring file = folder.write(L"a.log", info + warning + error + other);
    const auto chosen = [&](auto set) {
        Options options = of({file});
        set(options);
        EXPECT_EQ(L"", mistakeIn(options));
        return outcome(options);
    };
    EXPECT_EQ(warning + error, chosen([](Options& o) { o.severity = L"Warning"; }));
    EXPECT_EQ("", chosen([](Options& o) { o.severity = L"critical"; }));
    EXPECT_EQ(warning + error + other, chosen([](Options& o) { o.since = L"2026-11-16 5:00:01"; }));
    EXPECT_EQ(info + warning + error, chosen([](Options& o) { o.until = L"2026-11-16 5:00"; }));
    EXPECT_EQ(warning, chosen([](Options& o) {
                  o.since = L"2026-11-16T05:00:01.500";
                  o.until = L"2026-11-16T05:00:01.500";
              }));
    EXPECT_EQ(info + error + other, chosen([](Options& o) { o.threads = {L"1", L"T3"}; }));
    EXPECT_EQ(other, chosen([](Options& o) { o.modules = {L"X"}; }));
    EXPECT_EQ(info + warning, chosen([](Options& o) { o.texts = {L"copying"}; }));
    EXPECT_EQ(warning, chosen([](Options& o) { o.texts = {L"copying", L"b"}; }));
    EXPECT_EQ(info + warning + error + other, chosen([](Options& o) { o.processes = {L"A."}; }));
}

TEST_F(TraceVerb, ShowsWhatIsNoLineWithTheLineThatItBelongsTo) {
    const std::string one = lineAt("5:00:00.000 AM", "reading <a");
    const std::string two = lineAt("5:00:01.000 AM", "done", "ERROR   ");
    Options options = of({folder.write(L"a.log", one + "\nb>\n" + two + "\ntail\n")});
    options.severity = L"error";
    EXPECT_EQ(two +
                  "\n?? it does not begin with a time: tail\n"
                  "errors: kest: not shown, behind lines that were not asked for: 1 "
                  "that cannot be read\n",
              outcome(options));
    options.severity = L"";
    options.texts = {L"b>"};
    EXPECT_EQ(
        "?? it does not begin with a time: b>\n"
        "errors: kest: not shown, behind lines that were not asked for: 1 "
        "that cannot be read\n",
        outcome(options));
}

TEST_F(TraceVerb, ShowsALineThatHoldsAWorseOne) {
    const std::string text =
        lineAt("5:00:00.000 AM", "reading ") + lineAt("5:00:00.000 AM", "failed", "ERROR   ");
    Options options = of({folder.write(L"a.log", text + "\n")});
    options.severity = L"error";
    EXPECT_EQ(text + " [another line stands in it: ERROR]\n", outcome(options));
    options.json = true;
    EXPECT_TRUE(outcome(options).ends_with(",\"within\":\"ERROR\"}\n"));
    options.severity = L"critical";
    EXPECT_EQ("", outcome(options));
}

TEST_F(TraceVerb, SaysWhichTimesItDoesNotKnow) {
    const std::string foreign = "Dezember 16, 2026, 5:35:54.123 \tINFO    \tT1\t" + kPlace + "m\n";
    Options options =
        of({folder.write(L"a.log", lineAt("5:00:00.000 AM", "one") + "\n" + foreign)});
    options.since = L"2026-11-17";
    EXPECT_EQ(
        "errors: kest: 1 with a time in another language, taken for that of the line before\n",
        outcome(options));
}

TEST_F(TraceVerb, SumsUp) {
    const std::wstring a = folder.write(
        L"a.log", "Trace file rolled over\n" + lineAt("5:00:00.000 AM", "<Entering run") + "\n" +
                      lineAt("5:00:00.500 AM", "<Entering step") + "\nrest\n" +
                      lineAt("5:00:02.000 AM", "Exiting step>") + "\n" +
                      lineAt("5:00:30.000 AM", "failed", "ERROR   ") + "\n" +
                      lineAt("5:00:32.000 AM", "Exiting run>") + "\n");
    const std::wstring b =
        folder.write(L"b.log", lineAt("5:00:01.000 AM", "hm", "WARNING ", 12) + "\n" +
                                   lineAt("4:59:00.000 AM", "done", "INFO    ", 12) + "\n");
    Options options = of({a, b});
    options.summary = true;
    EXPECT_EQ(
        "2 files, 7 lines, 1 that cannot be read, rolled over 1 time\n"
        "November 16, 2026, 5:00:00.000 AM to November 16, 2026, 5:00:32.000 AM: 32.000 s\n"
        "1 line is earlier than one before in the same file\n"
        "\n"
        "Severity      Lines\n"
        "CRITICAL          0\n"
        "ERROR             1\n"
        "WARNING           1\n"
        "INFO              5\n"
        "\n"
        "Module            Lines    WARNING      ERROR   CRITICAL\n"
        "Configurable          7          1          1          0\n"
        "\n"
        "Longest times between two lines of a thread, and the line before\n"
        "    28.000 s  November 16, 2026, 5:00:02.000 AM  a.log T1  Configurable:64  Exiting "
        "step>\n"
        "     2.000 s  November 16, 2026, 5:00:30.000 AM  a.log T1  Configurable:64  failed\n"
        "     1.500 s  November 16, 2026, 5:00:00.500 AM  a.log T1  Configurable:64  "
        "<Entering step\n"
        "     0.500 s  November 16, 2026, 5:00:00.000 AM  a.log T1  Configurable:64  "
        "<Entering run\n"
        "\n"
        "     Longest       Total       Calls  Function\n"
        "    32.000 s    32.000 s           1  run\n"
        "     1.500 s     1.500 s           1  step\n"
        "\n"
        "Thread         Lines  Deepest  |1.024 s each                                             "
        "   |\n"
        "a.log T1           5        2  |#:                           E :                         "
        "   |\n"
        "b.log T12          2        0  |W                                                        "
        "   |\n"
        "(. : # few and many lines, W E C with a warning, an error, a critical one)\n",
        outcome(options));
    options.json = true;
    EXPECT_EQ(
        "{\"files\":[\"a.log\",\"b.log\"],\"lines\":7,\"unreadable\":1,\"rolledOver\":1,"
        "\"runsBack\":1,\"timesNotKnown\":0,\"first\":\"2026-11-16T05:00:00.000\","
        "\"last\":\"2026-11-16T05:00:32.000\",\"severities\":{\"INFO\":5,\"WARNING\":1,"
        "\"ERROR\":1,\"CRITICAL\":0},\"modules\":[{\"name\":\"Configurable\",\"INFO\":5,"
        "\"WARNING\":1,\"ERROR\":1,\"CRITICAL\":0}],\"gaps\":["
        "{\"milliseconds\":28000,\"from\":\"2026-11-16T05:00:02.000\",\"file\":\"a.log\","
        "\"thread\":1,\"place\":\"Configurable:64\",\"message\":\"Exiting step>\"},"
        "{\"milliseconds\":2000,\"from\":\"2026-11-16T05:00:30.000\",\"file\":\"a.log\","
        "\"thread\":1,\"place\":\"Configurable:64\",\"message\":\"failed\"},"
        "{\"milliseconds\":1500,\"from\":\"2026-11-16T05:00:00.500\",\"file\":\"a.log\","
        "\"thread\":1,\"place\":\"Configurable:64\",\"message\":\"<Entering step\"},"
        "{\"milliseconds\":500,\"from\":\"2026-11-16T05:00:00.000\",\"file\":\"a.log\","
        "\"thread\":1,\"place\":\"Configurable:64\",\"message\":\"<Entering run\"}],"
        "\"functions\":[{\"name\":\"run\",\"calls\":1,\"longest\":32000,\"total\":32000},"
        "{\"name\":\"step\",\"calls\":1,\"longest\":1500,\"total\":1500}],"
        "\"linesOfOtherThreads\":0,\"threads\":["
        "{\"file\":\"a.log\",\"thread\":1,\"lines\":5,\"first\":\"2026-11-16T05:00:00.000\","
        "\"last\":\"2026-11-16T05:00:32.000\",\"deepest\":2,\"INFO\":4,\"WARNING\":0,\"ERROR\":1,"
        "\"CRITICAL\":0},{\"file\":\"b.log\",\"thread\":12,\"lines\":2,"
        "\"first\":\"2026-11-16T05:00:01.000\",\"last\":\"2026-11-16T05:00:01.000\",\"deepest\":0,"
        "\"INFO\":1,\"WARNING\":1,\"ERROR\":0,\"CRITICAL\":0}]}\n",
        outcome(options));
    EXPECT_EQ(
        "{\"files\":[\"e.log\"],\"lines\":0,\"unreadable\":0,\"rolledOver\":0,\"runsBack\":0,"
        "\"timesNotKnown\":0,\"first\":null,\"last\":null,\"severities\":{\"INFO\":0,"
        "\"WARNING\":0,\"ERROR\":0,\"CRITICAL\":0},\"modules\":[],\"gaps\":[],"
        "\"functions\":[],\"linesOfOtherThreads\":0,\"threads\":[]}\n",
        [&] {
            options.files = {folder.write(L"e.log", "")};
            return outcome(options);
        }());
}

TEST_F(TraceVerb, FollowsUntilNobodyWaits) {
    const std::string one = lineAt("5:00:00.000 AM", "one") + "\n";
    const std::string two = lineAt("5:00:01.000 AM", "two") + "\n";
    Options options = of({folder.write(L"a.log", one)});
    options.follow = true;
    TextOutput out;
    TextOutput err;
    int looks = 0;
    const auto wait = [&] {
        if (++looks == 1) {
            folder.write(L"a.log", "Trace file rolled over\n" + two);
        }
        return looks < 3;
    };
    EXPECT_EQ(0, run(options, out, err, wait));
    EXPECT_EQ(one +
                  "-- a.log was rolled over: at least 10,485,673 bytes were gone before they "
                  "could be read\nTrace file rolled over\n" +
                  two,
              out.text());
    EXPECT_EQ("", err.text());
}

TEST_F(TraceVerb, SaysWhichFileCannotBeRead) {
    const std::wstring missing = folder.path(L"missing.log");
    const std::string said = outcome(of({missing}), 1);
    EXPECT_TRUE(said.starts_with("errors: kest: cannot read ")) << said;
    EXPECT_NE(std::string::npos, said.find("missing.log: ")) << said;
    Options options = of({folder.write(L"a.log", "")});
    options.processes = {L"b"};
    EXPECT_EQ("errors: kest: no file has a name with the text that --process asks for\n",
              outcome(options, 1));
}

TEST_F(TraceVerb, KnowsMistakes) {
    const auto mistake = [&](auto set) {
        Options options = of({L"a.log"});
        set(options);
        return mistakeIn(options);
    };
    EXPECT_EQ(L"", mistake([](Options&) {}));
    EXPECT_EQ(L"trace needs a file", mistake([](Options& o) { o.files.clear(); }));
    EXPECT_EQ(L"a path is empty", mistake([](Options& o) { o.files.emplace_back(); }));
    EXPECT_EQ(L"a path is empty", mistake([](Options& o) { o.html = L""; }));
    EXPECT_EQ(L"--severity needs info, warning, error or critical, not bad",
              mistake([](Options& o) { o.severity = L"bad"; }));
    EXPECT_EQ(
        L"--since needs a time like 2026-11-16, \"2026-11-16 05:35\" or "
        L"2026-11-16T05:35:54.123, not now",
        mistake([](Options& o) { o.since = L"now"; }));
    EXPECT_EQ(
        L"--until needs a time like 2026-11-16, \"2026-11-16 05:35\" or "
        L"2026-11-16T05:35:54.123, not 2026-02-30",
        mistake([](Options& o) { o.until = L"2026-02-30"; }));
    EXPECT_EQ(L"--thread needs a thread's number like 4711 or T4711, not T-1",
              mistake([](Options& o) {
                  o.threads = {L"1", L"T-1"};
              }));
    EXPECT_EQ(L"--follow has no end, so that there is no --summary and no --html of it",
              mistake([](Options& o) { o.follow = o.summary = true; }));
    EXPECT_EQ(L"--html goes with neither --summary nor --json", mistake([](Options& o) {
                  o.html = L"x";
                  o.json = true;
              }));
}

}  // namespace
}  // namespace Tallowmere::command::trace
