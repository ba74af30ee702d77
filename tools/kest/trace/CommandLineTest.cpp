#include "trace/CommandLine.h"

#include <gtest/gtest.h>

namespace Tallowmere::command::trace {
namespace {

using Texts = std::vector<std::wstring>;

std::wstring mistakeIn(const Texts& arguments) {
    Options options;
    std::wstring mistake = L"nothing was stored";
    EXPECT_FALSE(readArguments(arguments, options, mistake));
    return mistake;
}

TEST(TraceCommandLine, ReadsEachOption) {
    Options options;
    std::wstring mistake;
    ASSERT_TRUE(readArguments(
        {L"a.log", L"--severity", L"error", L"--since=2026-11-16", L"--until", L"2026-11-17",
         L"--thread", L"1", L"--thread=T2", L"--module", L"m", L"--process", L"p", L"--text",
         L"a=b", L"--follow", L"--json", L"--", L"--b.log"},
        options, mistake));

    EXPECT_EQ((Texts{L"a.log", L"--b.log"}), options.files);
    EXPECT_EQ(L"error", options.severity);
    EXPECT_EQ(L"2026-11-16", options.since);
    EXPECT_EQ(L"2026-11-17", options.until);
    EXPECT_EQ((Texts{L"1", L"T2"}), options.threads);
    EXPECT_EQ(Texts{L"m"}, options.modules);
    EXPECT_EQ(Texts{L"p"}, options.processes);
    EXPECT_EQ(Texts{L"a=b"}, options.texts);
    EXPECT_TRUE(options.follow);
    EXPECT_TRUE(options.json);
    EXPECT_FALSE(options.summary);
    EXPECT_FALSE(options.html.has_value());
}

TEST(TraceCommandLine, SaysWhatIsWrong) {
    EXPECT_EQ(L"trace needs a file", mistakeIn({}));
    EXPECT_EQ(L"unknown option --tail", mistakeIn({L"a.log", L"--tail"}));
    EXPECT_EQ(L"unknown option --follow=1", mistakeIn({L"a.log", L"--follow=1"}));
    EXPECT_EQ(L"--text needs a value", mistakeIn({L"a.log", L"--text"}));
    EXPECT_EQ(L"--text needs a value", mistakeIn({L"a.log", L"--text="}));
    EXPECT_EQ(L"--severity needs info, warning, error or critical, not x",
              mistakeIn({L"a.log", L"--severity", L"x"}));
    EXPECT_EQ(L"", mistakeIn({L"a.log", L"--help"}));
}

}  // namespace
}  // namespace Tallowmere::command::trace
