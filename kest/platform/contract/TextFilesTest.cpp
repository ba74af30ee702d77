#include <gtest/gtest.h>

#include <clocale>
#include <fstream>
#include <string>
#include <vector>

#include "kest/diagnostics/testing/ScratchFile.h"
#include "kest/platform/Calls.h"
#include "kest/platform/testing/TempTree.h"

// The C runtime's text files: how they are opened, and what the lines of one are.

namespace Tallowmere::platform {
namespace {

using Tallowmere::testing::ScratchFile;

int opened(const std::string& name) {
    std::FILE* file = nullptr;
    const int result = os().fopen_s(&file, name.c_str(), "r");
    EXPECT_EQ(result == 0, file != nullptr);
    if (file != nullptr) {
        EXPECT_EQ(0, os().fclose(file));
    }
    return result;
}

/// What reading gives for a file with that content, piece by piece; zeros stay in the pieces, which
/// are cut at the text's end.
std::vector<std::wstring> pieces(const std::string& content, int size = 100) {
    const ScratchFile scratch;
    std::ofstream(scratch.name(), std::ios_base::binary) << content;
    std::FILE* file = nullptr;
    EXPECT_EQ(0, os().fopen_s(&file, scratch.name().c_str(), "r"));
    std::vector<std::wstring> result;
    std::vector<wchar_t> buffer(static_cast<std::size_t>(size), L'~');
    while (os().fgetws(buffer.data(), size, file) == buffer.data()) {
        result.emplace_back(buffer.data());
    }
    // Again nothing, once the end was met.
    EXPECT_EQ(nullptr, os().fgetws(buffer.data(), size, file));
    EXPECT_EQ(0, os().fclose(file));
    return result;
}

using Pieces = std::vector<std::wstring>;

TEST(FopenS, OpensWhatIsThere) {
    const ScratchFile scratch;
    EXPECT_EQ(2, opened(scratch.name()));
    std::ofstream(scratch.name()) << "x";
    EXPECT_EQ(0, opened(scratch.name()));
    EXPECT_EQ(2, opened(""));
    EXPECT_EQ(2, opened(scratch.name() + "/below"));
}

TEST(FopenS, TakesEitherSeparator) {
    const testing::TempTree tree;
    tree.makeDirectory("folder");
    tree.write("folder/file", "x");
    EXPECT_EQ(0, opened(tree.root().string() + "\\folder/file"));
}

TEST(FopenS, RefusesAFolder) {
    const testing::TempTree tree;
    EXPECT_EQ(13, opened(tree.root().string()));
}

TEST(FopenS, RefusesWhatIsNoRequest) {
    std::FILE* file = nullptr;
    EXPECT_EQ(22, os().fopen_s(&file, nullptr, "r"));
    EXPECT_EQ(22, os().fopen_s(&file, "x", nullptr));
    EXPECT_EQ(22, os().fopen_s(nullptr, "x", "r"));
    EXPECT_EQ(nullptr, file);
}

TEST(Fgetws, GivesLinesWithALineFeedEach) {
    EXPECT_EQ((Pieces{L"one\n", L"\n", L"two\n", L"three"}), pieces("one\n\r\ntwo\r\nthree"));
    EXPECT_EQ((Pieces{L"a\rb\n", L"\r\n", L"c\r"}), pieces("a\rb\n\r\r\nc\r"));
    EXPECT_EQ(Pieces(), pieces(""));
}

TEST(Fgetws, CutsALineWhereTheBufferEnds) {
    EXPECT_EQ((Pieces{L"abc", L"def", L"\n", L"gh\n"}), pieces("abcdef\ngh\n", 4));
}

TEST(Fgetws, GivesAUnitForAByte) {
    std::string bytes;
    std::wstring units;
    for (int value = 1; value <= 0xFF; ++value) {
        if (value != '\n' && value != '\r' && value != 0x1A) {
            bytes.push_back(static_cast<char>(value));
            units.push_back(static_cast<wchar_t>(value));
        }
    }
    EXPECT_EQ(Pieces{units}, pieces(bytes, 300));
}

TEST(Fgetws, KeepsAZeroByte) {
    EXPECT_EQ((Pieces{L"a", L"c\n"}), pieces(std::string("a\0b\nc\n", 6)));
}

TEST(Fgetws, EndsAtTheEndOfTextSign) {
    EXPECT_EQ((Pieces{L"a\n", L"b"}), pieces("a\nb\x1A"
                                             "c\nd\n"));
}

}  // namespace
}  // namespace Tallowmere::platform
