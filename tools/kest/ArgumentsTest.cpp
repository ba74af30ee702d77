#include "Arguments.h"

#include <gtest/gtest.h>

#include <set>

namespace Tallowmere::command {
namespace {

using Kind = Request::Kind;
using Texts = std::vector<std::wstring>;
using Flags = std::set<std::wstring>;

Request accepted(const Texts& arguments) {
    Mistake mistake;
    const std::optional<Request> request = parse(arguments, mistake);
    EXPECT_EQ(L"", mistake.text);
    EXPECT_TRUE(request.has_value());
    return request.value_or(Request());
}

/// The names of the options that were given.
Flags flagsOf(const Texts& arguments) {
    Flags names;
    for (const auto& [name, values] : accepted(arguments).options) {
        EXPECT_EQ(Texts{}, values);
        names.insert(name);
    }
    return names;
}

std::wstring mistakeIn(const Texts& arguments) {
    Mistake mistake;
    EXPECT_FALSE(parse(arguments, mistake).has_value());
    return mistake.text;
}

TEST(Arguments, ReadsACopy) {
    const Request request = accepted({L"copy", L"from", L"to"});
    EXPECT_EQ(Kind::verb, request.kind);
    EXPECT_EQ(&copyTree, request.verb->perform);
    EXPECT_EQ((Texts{L"from", L"to"}), request.operands);
    EXPECT_FALSE(request.traceFile.has_value());
}

TEST(Arguments, ReadsADelete) {
    const Request request = accepted({L"delete", L"tree"});
    EXPECT_EQ(Kind::verb, request.kind);
    EXPECT_EQ(&deleteTree, request.verb->perform);
    EXPECT_EQ(Texts{L"tree"}, request.operands);
}

TEST(Arguments, ReadsTheOthers) {
    EXPECT_EQ(&copyLink, accepted({L"link", L"from", L"to"}).verb->perform);
    EXPECT_EQ((Texts{L"from", L"to"}), accepted({L"link", L"from", L"to"}).operands);
    EXPECT_EQ(&tellAbout, accepted({L"about"}).verb->perform);
    EXPECT_EQ(&listShares, accepted({L"shares"}).verb->perform);
    EXPECT_EQ(Texts{}, accepted({L"shares"}).operands);
    EXPECT_EQ(Texts{L"server"}, accepted({L"shares", L"server"}).operands);
    EXPECT_EQ(Texts{L""}, accepted({L"shares", L""}).operands);
    EXPECT_EQ(&runProgram, accepted({L"run", L"a b"}).verb->perform);
    EXPECT_EQ(Texts{L"a -b"}, accepted({L"run", L"a -b"}).operands);
}

TEST(Arguments, ReadsTheVerbsOfTwoWords) {
    EXPECT_EQ(&tellRegistryValue, accepted({L"registry", L"get", L"k"}).verb->perform);
    EXPECT_EQ((Texts{L"k", L"n"}), accepted({L"registry", L"get", L"k", L"n"}).operands);
    EXPECT_EQ(&listRegistryKeys, accepted({L"registry", L"keys", L"k"}).verb->perform);
    EXPECT_EQ(&listRegistryValues, accepted({L"registry", L"values", L"k"}).verb->perform);
}

TEST(Arguments, ReadsTheVerbsOfRestorePoints) {
    EXPECT_EQ(&listRestorePoints, accepted({L"restore-points"}).verb->perform);
    const Request request = accepted({L"restore", L"12"});
    EXPECT_EQ(&restore, request.verb->perform);
    EXPECT_EQ(Texts{L"12"}, request.operands);
    EXPECT_TRUE(request.options.empty());
    EXPECT_EQ((Flags{L"--yes"}), flagsOf({L"restore", L"--yes", L"0"}));
    EXPECT_EQ((Flags{L"--yes"}), flagsOf({L"restore", L"4294967295", L"--yes", L"--yes"}));
    EXPECT_EQ(L"t", accepted({L"restore-points", L"--trace=t"}).traceFile);
}

TEST(Arguments, ReadsTheNumberOfARestorePoint) {
    unsigned long number = 1;
    EXPECT_TRUE(readNumber(L"0", number));
    EXPECT_EQ(0U, number);
    EXPECT_TRUE(readNumber(L"4294967295", number));
    EXPECT_EQ(4294967295U, number);
    EXPECT_FALSE(readNumber(L"4294967296", number));
    EXPECT_FALSE(readNumber(L"", number));
}

TEST(Arguments, TakesTheTraceFileAnywhereAndInBothForms) {
    const std::vector<Texts> forms = {{L"copy", L"a", L"b", L"--trace", L"t"},
                                      {L"copy", L"--trace", L"t", L"a", L"b"},
                                      {L"--trace", L"t", L"copy", L"a", L"b"},
                                      {L"copy", L"a", L"--trace=t", L"b"},
                                      {L"copy", L"a", L"b", L"--trace=x", L"--trace", L"t"}};
    for (const Texts& form : forms) {
        const Request request = accepted(form);
        EXPECT_EQ((Texts{L"a", L"b"}), request.operands);
        EXPECT_EQ(L"t", request.traceFile);
    }
}

TEST(Arguments, TakesTheFollowingArgumentAsTraceFileWhateverItIs) {
    EXPECT_EQ(L"--", accepted({L"delete", L"a", L"--trace", L"--"}).traceFile);
    EXPECT_EQ(L"a=b", accepted({L"delete", L"a", L"--trace=a=b"}).traceFile);
}

TEST(Arguments, EndsTheOptionsAtTwoHyphens) {
    EXPECT_EQ((Texts{L"--trace", L"--"}), accepted({L"copy", L"--", L"--trace", L"--"}).operands);
    EXPECT_EQ((Texts{L"--json", L"[a,b]"}),
              accepted({L"copy", L"--", L"--json", L"[a,b]"}).operands);
}

TEST(Arguments, TakesTextsAsTheyAreWhateverTheyMeanToTheParser) {
    for (const wchar_t* text :
         {L"[a,b]",    L"[]",     L"{}",       L"",    L"%%",      L"++",
          L"a=b",      L"=",      L"#1",       L"'x'", L"\"x y\"", L"/x",
          L"/trace:x", L"copy",   L"registry", L"get", L"a\nb",    L"Gr\u00FC\u00DFe",
          L"\uF05C",   L"\xD800", L"true",     L"-"}) {
        EXPECT_EQ((Texts{text, text}), accepted({L"property", text, text}).operands);
        EXPECT_EQ(Texts{text}, accepted({L"shares", text}).operands);
        if (*text != L'\0') {
            EXPECT_EQ(text, accepted({L"shares", L"--trace", text}).traceFile);
            EXPECT_EQ(text, accepted({L"shares", L"--trace=" + std::wstring(text)}).traceFile);
        }
    }
    EXPECT_EQ(L"-1", accepted({L"shares", L"--trace", L"-1"}).traceFile);
    EXPECT_EQ((Texts{L"k", L"keys"}), accepted({L"registry", L"get", L"k", L"keys"}).operands);
}

TEST(Arguments, ReadsTheVerbsOwnOptions) {
    EXPECT_EQ((Flags{L"--dry-run", L"--verify"}),
              flagsOf({L"copy", L"--verify", L"a", L"--dry-run", L"b"}));
    EXPECT_EQ(Flags{L"--json"}, flagsOf({L"registry", L"keys", L"k", L"--json"}));
    EXPECT_EQ(L"t", accepted({L"registry", L"--trace=t", L"keys", L"k"}).traceFile);
}

TEST(Arguments, ReadsOptionsWithValues) {
    const Request request =
        accepted({L"trace", L"a.log", L"--severity", L"error", L"--since=2026-11-16", L"--thread",
                  L"1", L"--thread=T2", L"--text", L"[a=b]", L"--follow", L"--", L"--b.log"});
    EXPECT_EQ((Texts{L"a.log", L"--b.log"}), request.operands);
    EXPECT_EQ((Options{{L"--severity", {L"error"}},
                       {L"--since", {L"2026-11-16"}},
                       {L"--thread", {L"1", L"T2"}},
                       {L"--text", {L"[a=b]"}},
                       {L"--follow", {}}}),
              request.options);
    EXPECT_EQ(L"trace needs a file", mistakeIn({L"trace"}));
    EXPECT_EQ(L"unknown option --tail", mistakeIn({L"trace", L"a.log", L"--tail"}));
    EXPECT_EQ(L"--follow takes no value", mistakeIn({L"trace", L"a.log", L"--follow=1"}));
    EXPECT_EQ(L"--text needs a value", mistakeIn({L"trace", L"a.log", L"--text"}));
    EXPECT_EQ(L"--text needs a value", mistakeIn({L"trace", L"a.log", L"--text="}));
    EXPECT_EQ(L"--severity needs info, warning, error or critical, not x",
              mistakeIn({L"trace", L"a.log", L"--severity", L"x"}));
}

TEST(Arguments, NamesTheVerbThatWasMeant) {
    Mistake mistake;
    EXPECT_FALSE(parse({L"copy", L"a"}, mistake));
    EXPECT_EQ(L"copy", mistake.name);
    EXPECT_FALSE(parse({L"registry", L"set"}, mistake));
    EXPECT_EQ(L"registry", mistake.name);
    EXPECT_FALSE(parse({L"move"}, mistake));
    EXPECT_EQ(L"", mistake.name);
    EXPECT_EQ(&copyTree, accepted({L"copy", L"--help"}).verb->perform);
    EXPECT_EQ(nullptr, accepted({L"registry", L"--help"}).verb);
    EXPECT_EQ(L"registry", accepted({L"registry", L"--help"}).name);
    EXPECT_EQ(&listRegistryKeys, accepted({L"registry", L"keys", L"-h"}).verb->perform);
    EXPECT_EQ(L"", accepted({L"--help"}).name);
}

TEST(Arguments, EndsTheOptionsWhereverTheHyphensStand) {
    EXPECT_EQ((Texts{L"a", L"-b"}), accepted({L"copy", L"a", L"--", L"-b"}).operands);
    EXPECT_EQ((Texts{L"a", L"--"}), accepted({L"copy", L"--verify", L"a", L"--", L"--"}).operands);
    EXPECT_EQ((Texts{L"k", L"-h"}), accepted({L"registry", L"get", L"k", L"--", L"-h"}).operands);
    EXPECT_EQ(L"--since", accepted({L"delete", L"a", L"--trace", L"--since", L"--"}).traceFile);
}

TEST(Arguments, TakesASingleHyphenForAPath) {
    EXPECT_EQ(Texts{L"-"}, accepted({L"delete", L"-"}).operands);
}

TEST(Arguments, AnswersHelpAndVersionWhateverElseIsThere) {
    EXPECT_EQ(Kind::help, accepted({L"--help"}).kind);
    EXPECT_EQ(Kind::help, accepted({L"copy", L"--help"}).kind);
    EXPECT_EQ(Kind::version, accepted({L"--version"}).kind);
    EXPECT_EQ(Texts{L"--help"}, accepted({L"delete", L"--", L"--help"}).operands);
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
    EXPECT_EQ(L"link needs a source and a destination", mistakeIn({L"link"}));
    EXPECT_EQ(L"link needs a destination", mistakeIn({L"link", L"a"}));
    EXPECT_EQ(L"one argument too many: c", mistakeIn({L"link", L"a", L"b", L"c"}));
    EXPECT_EQ(L"one argument too many: a", mistakeIn({L"about", L"a"}));
    EXPECT_EQ(L"one argument too many: b", mistakeIn({L"shares", L"a", L"b"}));
    EXPECT_EQ(L"run needs a command line", mistakeIn({L"run"}));
    EXPECT_EQ(L"one argument too many: b", mistakeIn({L"run", L"a", L"b"}));
    EXPECT_EQ(L"the command line is empty", mistakeIn({L"run", L""}));
    EXPECT_EQ(L"a path is empty", mistakeIn({L"link", L"", L"b"}));
    EXPECT_EQ(L"property needs a file and a property's name", mistakeIn({L"property", L"f"}));
    EXPECT_EQ(L"registry needs get, keys or values", mistakeIn({L"registry"}));
    EXPECT_EQ(L"unknown command registry set", mistakeIn({L"registry", L"set", L"k"}));
    EXPECT_EQ(L"registry get needs a key", mistakeIn({L"registry", L"get"}));
    EXPECT_EQ(L"one argument too many: n", mistakeIn({L"registry", L"keys", L"k", L"n"}));
    EXPECT_EQ(L"one argument too many: b", mistakeIn({L"programs", L"a", L"b"}));
    EXPECT_EQ(L"one argument too many: 12", mistakeIn({L"restore-points", L"12"}));
    EXPECT_EQ(L"one argument too many: 13", mistakeIn({L"restore", L"12", L"13"}));
    EXPECT_EQ(L"restore needs a restore point's number", mistakeIn({L"restore", L"--yes"}));
    for (const wchar_t* text : {L"", L"x", L"1x", L"+1", L" 1", L"4294967296", L"99999999999"}) {
        EXPECT_EQ(L"not a restore point's number: " + std::wstring(text),
                  mistakeIn({L"restore", text}));
    }
    EXPECT_EQ(L"unknown option -1", mistakeIn({L"restore", L"-1"}));
    EXPECT_EQ(L"unknown option ---x", mistakeIn({L"delete", L"---x"}));
    EXPECT_EQ(L"unknown option -[a]", mistakeIn({L"delete", L"-[a]"}));
    EXPECT_EQ(L"unknown option --f\u00FCr=x", mistakeIn({L"delete", L"a", L"--f\u00FCr=x"}));
    EXPECT_EQ(L"unknown option --force=a=b", mistakeIn({L"delete", L"a", L"--force=a=b"}));
    EXPECT_EQ(L"unknown option -xy", mistakeIn({L"delete", L"a", L"-xy"}));
    EXPECT_EQ(L"unknown option --json", mistakeIn({L"run", L"a", L"--json"}));
    EXPECT_EQ(L"--json takes no value", mistakeIn({L"about", L"--json=x"}));
    EXPECT_EQ(L"--json takes no value", mistakeIn({L"about", L"--json", L"--json=true"}));
    EXPECT_EQ(L"--help takes no value", mistakeIn({L"about", L"--help=x"}));
    EXPECT_EQ(L"unknown command delete", mistakeIn({L"--", L"delete", L"x"}));
    EXPECT_EQ(L"unknown option --yes", mistakeIn({L"delete", L"a", L"--yes"}));
    EXPECT_EQ(L"unknown option --yes", mistakeIn({L"restore-points", L"--yes"}));
    EXPECT_EQ(L"a path is empty", mistakeIn({L"delete", L""}));
    EXPECT_EQ(L"a path is empty", mistakeIn({L"copy", L"a", L""}));
}

}  // namespace
}  // namespace Tallowmere::command
