#include "Arguments.h"

#include <gtest/gtest.h>

namespace Tallowmere::command {
namespace {

using Verb = Request::Verb;
using Texts = std::vector<std::wstring>;

Request accepted(const Texts& arguments) {
    std::wstring mistake;
    const std::optional<Request> request = parse(arguments, mistake);
    EXPECT_EQ(L"", mistake);
    EXPECT_TRUE(request.has_value());
    return request.value_or(Request());
}

std::wstring mistakeIn(const Texts& arguments) {
    std::wstring mistake = L"nothing was stored";
    EXPECT_FALSE(parse(arguments, mistake).has_value());
    return mistake;
}

TEST(Arguments, ReadsACopy) {
    const Request request = accepted({L"copy", L"from", L"to"});
    EXPECT_EQ(Verb::copy, request.verb);
    EXPECT_EQ((Texts{L"from", L"to"}), request.paths);
    EXPECT_FALSE(request.traceFile.has_value());
}

TEST(Arguments, ReadsADelete) {
    const Request request = accepted({L"delete", L"tree"});
    EXPECT_EQ(Verb::remove, request.verb);
    EXPECT_EQ(Texts{L"tree"}, request.paths);
}

TEST(Arguments, ReadsTheVerbsOfRestorePoints) {
    EXPECT_EQ(Verb::restorePoints, accepted({L"restore-points"}).verb);
    const Request request = accepted({L"restore", L"12"});
    EXPECT_EQ(Verb::restore, request.verb);
    EXPECT_EQ(12U, request.number);
    EXPECT_FALSE(request.yes);
    EXPECT_EQ(Texts(), request.paths);
    EXPECT_TRUE(accepted({L"restore", L"--yes", L"0"}).yes);
    EXPECT_EQ(4294967295U, accepted({L"--yes", L"restore", L"4294967295"}).number);
    EXPECT_EQ(L"t", accepted({L"restore-points", L"--trace=t"}).traceFile);
}

TEST(Arguments, TakesTheTraceFileAnywhereAndInBothForms) {
    const std::vector<Texts> forms = {{L"copy", L"a", L"b", L"--trace", L"t"},
                                      {L"copy", L"--trace", L"t", L"a", L"b"},
                                      {L"--trace", L"t", L"copy", L"a", L"b"},
                                      {L"copy", L"a", L"--trace=t", L"b"},
                                      {L"copy", L"a", L"b", L"--trace=x", L"--trace", L"t"}};
    for (const Texts& form : forms) {
        const Request request = accepted(form);
        EXPECT_EQ((Texts{L"a", L"b"}), request.paths);
        EXPECT_EQ(L"t", request.traceFile);
    }
}

TEST(Arguments, TakesTheFollowingArgumentAsTraceFileWhateverItIs) {
    EXPECT_EQ(L"--", accepted({L"delete", L"a", L"--trace", L"--"}).traceFile);
    EXPECT_EQ(L"a=b", accepted({L"delete", L"a", L"--trace=a=b"}).traceFile);
}

TEST(Arguments, EndsTheOptionsAtTwoHyphens) {
    EXPECT_EQ((Texts{L"--trace", L"--"}), accepted({L"copy", L"--", L"--trace", L"--"}).paths);
    EXPECT_EQ(Texts{L"-x"}, accepted({L"--", L"delete", L"-x"}).paths);
}

TEST(Arguments, TakesASingleHyphenForAPath) {
    EXPECT_EQ(Texts{L"-"}, accepted({L"delete", L"-"}).paths);
}

TEST(Arguments, AnswersHelpAndVersionWhateverElseIsThere) {
    EXPECT_EQ(Verb::help, accepted({L"--help"}).verb);
    EXPECT_EQ(Verb::help, accepted({L"copy", L"--help"}).verb);
    EXPECT_EQ(Verb::version, accepted({L"--version"}).verb);
    EXPECT_EQ(Texts{L"--help"}, accepted({L"delete", L"--", L"--help"}).paths);
}

TEST(Arguments, SaysWhatIsWrong) {
    EXPECT_EQ(L"what to do is missing", mistakeIn({}));
    EXPECT_EQ(L"what to do is missing", mistakeIn({L"--trace", L"t"}));
    EXPECT_EQ(L"unknown command move", mistakeIn({L"move", L"a", L"b"}));
    EXPECT_EQ(L"unknown command ", mistakeIn({L""}));
    EXPECT_EQ(L"unknown option --force", mistakeIn({L"copy", L"--force", L"a", L"b"}));
    EXPECT_EQ(L"unknown option -t", mistakeIn({L"copy", L"a", L"b", L"-t"}));
    EXPECT_EQ(L"unknown option --tracefile", mistakeIn({L"copy", L"a", L"b", L"--tracefile"}));
    EXPECT_EQ(L"--trace needs a file", mistakeIn({L"copy", L"a", L"b", L"--trace"}));
    EXPECT_EQ(L"--trace needs a file", mistakeIn({L"copy", L"a", L"b", L"--trace="}));
    EXPECT_EQ(L"--trace needs a file", mistakeIn({L"copy", L"a", L"b", L"--trace", L""}));
    EXPECT_EQ(L"copy needs a source and a destination", mistakeIn({L"copy"}));
    EXPECT_EQ(L"copy needs a destination", mistakeIn({L"copy", L"a"}));
    EXPECT_EQ(L"delete needs a path", mistakeIn({L"delete"}));
    EXPECT_EQ(L"one argument too many: c", mistakeIn({L"copy", L"a", L"b", L"c", L"d"}));
    EXPECT_EQ(L"one argument too many: b", mistakeIn({L"delete", L"a", L"b"}));
    EXPECT_EQ(L"one argument too many: 12", mistakeIn({L"restore-points", L"12"}));
    EXPECT_EQ(L"one argument too many: 13", mistakeIn({L"restore", L"12", L"13"}));
    EXPECT_EQ(L"restore needs a restore point's number", mistakeIn({L"restore", L"--yes"}));
    for (const wchar_t* text : {L"", L"x", L"1x", L"+1", L" 1", L"4294967296", L"99999999999"}) {
        EXPECT_EQ(L"not a restore point's number: " + std::wstring(text),
                  mistakeIn({L"restore", text}));
    }
    EXPECT_EQ(L"unknown option -1", mistakeIn({L"restore", L"-1"}));
    EXPECT_EQ(L"unknown option --yes", mistakeIn({L"delete", L"a", L"--yes"}));
    EXPECT_EQ(L"unknown option --yes", mistakeIn({L"restore-points", L"--yes"}));
    EXPECT_EQ(L"a path is empty", mistakeIn({L"delete", L""}));
    EXPECT_EQ(L"a path is empty", mistakeIn({L"copy", L"a", L""}));
}

}  // namespace
}  // namespace Tallowmere::command
