// Text files under a locale of more than one byte a character; contract/ has what both systems
// share.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <functional>
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
    EXPECT_EQ(nullptr, file);
}

TEST(LinuxTextFiles, ThePrefixOfALongPathIsNoPartOfIt) {
    const testing::TempTree tree;
    tree.write("file", "x");
    std::FILE* file = nullptr;
    EXPECT_EQ(0, os().fopen_s(&file, ("\\\\?\\" + (tree / "file").string()).c_str(), "r"));
    EXPECT_EQ(0, os().fclose(file));
}

/// The number with which `name` is refused in a process of its own, once that has been prepared.
int refusal(const std::string& name, const std::function<bool()>& prepare) {
    const pid_t child = ::fork();
    if (child == 0) {
        std::FILE* file = nullptr;
        const int number = prepare() ? os().fopen_s(&file, name.c_str(), "r") : 99;
        ::_exit(file == nullptr ? number : 98);
    }
    int status = 0;
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : 97;
}

TEST(LinuxTextFiles, GivesTheNumbersOfWindowsWhereRightsOrDescriptorsAreMissing) {
    const testing::TempTree tree;
    tree.write("locked", "x");
    ASSERT_EQ(0, ::chmod((tree / "locked").c_str(), 0));
    ASSERT_EQ(0, ::chmod(tree.root().c_str(), 0755));
    EXPECT_EQ(13,
              refusal(tree / "locked", [] { return ::geteuid() != 0 || ::seteuid(54321) == 0; }));
    EXPECT_EQ(24, refusal(tree / "locked", [] {
                  const rlimit none = {0, 0};
                  return ::setrlimit(RLIMIT_NOFILE, &none) == 0;
              }));
}

TEST(LinuxTextFiles, NothingIsReadOrClosedWithoutAFileOrRoom) {
    const testing::TempTree tree;
    tree.write("file", "x\n");
    std::FILE* file = nullptr;
    ASSERT_EQ(0, os().fopen_s(&file, (tree / "file").c_str(), "r"));
    wchar_t line[10];
    const auto isRefused = [](const wchar_t* answer) {
        const bool isSo = answer == nullptr && errno == EINVAL;
        errno = 0;
        return isSo;
    };
    errno = 0;
    EXPECT_TRUE(isRefused(os().fgetws(nullptr, 10, file)));
    EXPECT_TRUE(isRefused(os().fgetws(line, 10, nullptr)));
    EXPECT_TRUE(isRefused(os().fgetws(line, 0, file)));
    EXPECT_TRUE(isRefused(os().fgetws(line, -1, file)));
    // Nothing was taken.
    EXPECT_EQ(line, os().fgetws(line, 10, file));
    EXPECT_STREQ(L"x\n", line);
    EXPECT_EQ(0, os().fclose(file));
    EXPECT_EQ(EOF, os().fclose(nullptr));
    EXPECT_EQ(EINVAL, errno);
}

}  // namespace
}  // namespace Tallowmere::platform
