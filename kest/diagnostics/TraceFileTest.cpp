#include "kest/diagnostics/TraceFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <locale>

#include "kest/diagnostics/testing/ScratchFile.h"

namespace Tallowmere {
namespace {

using testing::ScratchFile;

TEST(TraceFile, EmptiesTheFileAndWritesUtf8) {
    const ScratchFile scratch;
    std::ofstream(scratch.name()) << "old text that is longer than the new one";
    TraceFile file(scratch.name());
    EXPECT_TRUE(file.good());
    EXPECT_EQ("", scratch.text());
    file << L"a\u00E9\u65E5\U0001F600\n" << std::flush;
    EXPECT_EQ("a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x98\x80\n", scratch.text());
}

TEST(TraceFile, EndsLinesAsTextFilesOfTheSystemDo) {
    const ScratchFile reference;
    std::ofstream(reference.name()) << "one\ntwo\r\n";
    const ScratchFile scratch;
    TraceFile file(scratch.name());
    file << L"one\ntwo\r\n" << std::flush;
    EXPECT_EQ(reference.bytes(), scratch.bytes());
    EXPECT_FALSE(scratch.bytes().empty());
}

TEST(TraceFile, WidensNarrowTextByteByByte) {
    const ScratchFile scratch;
    TraceFile file(scratch.name());
    file << "a\xE9\x80\xFF" << '\xE9' << '\n' << std::flush;
    EXPECT_TRUE(file.good());
    EXPECT_EQ("a\xC3\xA9\xC2\x80\xC3\xBF\xC3\xA9\n", scratch.text());
}

/// Groups digits by threes, as many languages do.
class Grouping : public std::numpunct<wchar_t> {
protected:
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(TraceFile, WritesNumbersAlikeWhateverTheGlobalLocale) {
    const ScratchFile scratch;
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    {
        TraceFile file(scratch.name());
        file << 1234567 << L' ' << 1.5 << L' ' << true << L'\n';
    }
    std::locale::global(before);
    EXPECT_EQ("1234567 1.5 1\n", scratch.text());
}

TEST(TraceFile, IsFailedForGoodWhenItCannotBeOpened) {
    for (const std::string& name : {std::string(), std::filesystem::temp_directory_path().string(),
                                    ScratchFile().name() + "/no/such/folder"}) {
        TraceFile file(name);
        EXPECT_TRUE(file.fail()) << name;
        file.beginLine();
        file << L"lost\n" << std::flush;
        EXPECT_TRUE(file.fail()) << name;
    }
}

TEST(TraceFile, ForgetsTheFailureOfAPieceWithTheNextLine) {
    const ScratchFile scratch;
    TraceFile file(scratch.name());
    file << L"begun ";
    file.setstate(std::ios_base::badbit);
    file << L"lost\n";
    file.beginLine();
    file << L"next\n" << std::flush;
    EXPECT_EQ("begun next\n", scratch.text());
}

TEST(TraceFile, DeniesOthersNothing) {
    const ScratchFile scratch;
    TraceFile file(scratch.name());
    file << L"ours\n" << std::flush;
    std::ofstream(scratch.name(), std::ios_base::app) << "theirs\n";
    EXPECT_EQ("ours\ntheirs\n", scratch.text());
}

}  // namespace
}  // namespace Tallowmere
