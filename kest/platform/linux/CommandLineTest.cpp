#include "kest/platform/linux/CommandLine.h"

#include <gtest/gtest.h>

namespace Tallowmere::platform::commandline {
namespace {

using Texts = std::vector<std::wstring>;

/// Each candidate as "program|name|what follows".
Texts tried(std::wstring_view line, std::size_t most = 1000) {
    Texts texts;
    for (const Candidate& one : candidates(line, most)) {
        texts.push_back(one.program + L'|' + one.name + L'|' +
                        std::wstring(line.substr(one.arguments)));
    }
    return texts;
}

TEST(CommandLineCandidates, QuotedThereIsOne) {
    EXPECT_EQ(Texts{L"/a b/c|/a b/c| d e"}, tried(L"\"/a b/c\" d e"));
    EXPECT_EQ(Texts{L"a|a|"}, tried(L"\"a\""));
    EXPECT_EQ(Texts{L"a|a|\t\"b c\""}, tried(L"\"a\"\t\"b c\""));
    EXPECT_EQ(Texts{L"||"}, tried(L"\"\""));
}

TEST(CommandLineCandidates, AQuoteThatIsNotClosedReachesToTheEnd) {
    EXPECT_EQ(Texts{L"/a b c|/a b c|"}, tried(L"\"/a b c"));
    EXPECT_EQ(Texts{L"||"}, tried(L"\""));
}

TEST(CommandLineCandidates, TheNameGoesOnToTheNextBlank) {
    EXPECT_EQ(Texts{L"/a b|/a b-x| y"}, tried(L"\"/a b\"-x y"));
    EXPECT_EQ(Texts{L"/a b|/a bc d| y"}, tried(L"\"/a b\"\"c d\" y"));
    // Backslashes are nothing special there.
    EXPECT_EQ(Texts{L"\\a b\\|\\a b\\| y"}, tried(L"\"\\a b\\\" y"));
}

TEST(CommandLineCandidates, UnquotedEachPrefixInTurn) {
    EXPECT_EQ(Texts{L"a|a|"}, tried(L"a"));
    EXPECT_EQ((Texts{L"/my|/my| dir/prog -x", L"/my dir/prog|/my dir/prog| -x",
                     L"/my dir/prog -x|/my dir/prog -x|"}),
              tried(L"/my dir/prog -x"));
    EXPECT_EQ((Texts{L"a|a|\tb", L"a\tb|a\tb|"}), tried(L"a\tb"));
}

TEST(CommandLineCandidates, RunsOfBlanksEndNoNameTwice) {
    EXPECT_EQ((Texts{L"a|a|  b ", L"a  b|a  b| "}), tried(L"a  b "));
}

TEST(CommandLineCandidates, BlanksAtTheFrontAreSkipped) {
    EXPECT_EQ((Texts{L"a|a| b", L"a b|a b|"}), tried(L" \ta b"));
    EXPECT_EQ(Texts{L"a b|a b|"}, tried(L"  \"a b\""));
}

TEST(CommandLineCandidates, NothingAtAll) {
    EXPECT_EQ(Texts{}, tried(L""));
    EXPECT_EQ(Texts{}, tried(L" \t "));
}

TEST(CommandLineCandidates, NoneIsTooLong) {
    EXPECT_EQ((Texts{L"ab|ab| cd ef"}), tried(L"ab cd ef", 4));
    EXPECT_EQ((Texts{L"ab|ab| cd ef", L"ab cd|ab cd| ef"}), tried(L"ab cd ef", 5));
    EXPECT_EQ(Texts{}, tried(L"abcdef", 5));
}

TEST(CommandLineArguments, BlanksSeparate) {
    EXPECT_EQ((Texts{L"a", L"b", L"c"}), splitArguments(L" a\tb  c "));
    EXPECT_EQ(Texts{}, splitArguments(L""));
    EXPECT_EQ(Texts{}, splitArguments(L" \t"));
    EXPECT_EQ((Texts{L"a\nb\rc"}), splitArguments(L"a\nb\rc"));
}

TEST(CommandLineArguments, QuotesHoldTogether) {
    EXPECT_EQ((Texts{L"a b", L"c"}), splitArguments(L"\"a b\" c"));
    EXPECT_EQ((Texts{L"a b c"}), splitArguments(L"a\" b \"c"));
    EXPECT_EQ((Texts{L"", L"x", L""}), splitArguments(L"\"\" x \"\""));
    EXPECT_EQ((Texts{L"a b "}), splitArguments(L"\"a b "));
    EXPECT_EQ((Texts{L""}), splitArguments(L"\""));
}

TEST(CommandLineArguments, BackslashesCountBeforeAQuoteOnly) {
    const struct {
        const wchar_t* line;
        Texts arguments;
    } cases[] = {
        {LR"(a\b\\c\)", {LR"(a\b\\c\)"}},   {LR"(\"a b\")", {L"\"a", L"b\""}},
        {LR"(a\\"b c")", {LR"(a\b c)"}},    {LR"(a\\\"b c")", {LR"(a\"b)", L"c"}},
        {LR"(a\\\\"b c")", {LR"(a\\b c)"}}, {LR"("a\\" b)", {LR"(a\)", L"b"}},
        {LR"("a\" b)", {LR"(a" b)"}},       {LR"("C:\My Dir\\" x)", {LR"(C:\My Dir\)", L"x"}},
        {LR"(a\\\)", {LR"(a\\\)"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.arguments, splitArguments(c.line));
    }
}

TEST(CommandLineArguments, TwoQuotesWithinQuotesAreOne) {
    EXPECT_EQ((Texts{L"a\"b c"}), splitArguments(L"\"a\"\"b c\""));
    EXPECT_EQ((Texts{L"\""}), splitArguments(L"\"\"\"\""));
    EXPECT_EQ((Texts{L"a", L"b\""}), splitArguments(L"a \"b\"\"\""));
}

}  // namespace
}  // namespace Tallowmere::platform::commandline
