// Text files under a locale of more than one byte a character; contract/ has what both systems
// share.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

std::wstring firstLine(const std::string& content) {
    const testing::TempTree tree;
    tree.write("file", content);
    std::FILE* file = nullptr;
    EXPECT_EQ(0, os().fopen_s(&file, (tree / "file").c_str(), "r"));
    wchar_t line[100];
    EXPECT_EQ(line, os().fgetws(line, 100, file));
    EXPECT_EQ(0, os().fclose(file));
    return line;
}

TEST(LinuxTextFiles, TakesTheCharactersOfTheHostsLocale) {
    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, "C.UTF-8"));
    EXPECT_EQ(L"\u00E9\u65E5\U0001F600.\n", firstLine("\xC3\xA9\xE6\x97\xA5\xF0\x9F\x98\x80.\n"));
    // Bytes that begin no character, and characters that are cut short, count one by one.
    EXPECT_EQ(L"\u00FF\u00E9a\u00E6\u0097b\u00C3\n", firstLine("\xFF\xC3\xA9"
                                                               "a\xE6\x97"
                                                               "b\xC3\n"));
    EXPECT_EQ(L"\u00E6\u0097", firstLine("\xE6\x97"));
    std::setlocale(LC_CTYPE, "C");
}

TEST(LinuxTextFiles, GivesTheNumbersOfWindows) {
    const testing::TempTree tree;
    std::FILE* file = nullptr;
    const std::string tooLong(300, 'x');
    EXPECT_EQ(2, os().fopen_s(&file, (tree / tooLong).c_str(), "r"));
    ASSERT_EQ(0, ::symlink("loop", (tree / "loop").c_str()));
    EXPECT_EQ(22, os().fopen_s(&file, (tree / "loop").c_str(), "r"));
    EXPECT_EQ(EINVAL, errno);
    if (::geteuid() != 0) {
        tree.write("locked", "x");
        ASSERT_EQ(0, ::chmod((tree / "locked").c_str(), 0));
        EXPECT_EQ(13, os().fopen_s(&file, (tree / "locked").c_str(), "r"));
    }
    EXPECT_EQ(nullptr, file);
}

}  // namespace
}  // namespace Tallowmere::platform
