// What the library relies on in the calls that make directories and links, and in those that ask
// whether something is there and where the process works.

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/contract/Differs.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

namespace fs = std::filesystem;

using testing::TempTree;

class FileMakingContract : public ::testing::Test {
protected:
    FileMakingContract() { os().SetLastError(kUntouched); }

    /// The error of making a directory, 0 when there is none.
    static DWORD directoryError(const std::wstring& path) {
        return os().CreateDirectoryW(path.c_str(), nullptr) ? 0 : os().GetLastError();
    }

    static DWORD linkError(const std::wstring& path, const std::wstring& target, DWORD flags = 0) {
        return os().CreateSymbolicLinkW(path.c_str(), target.c_str(), flags) != FALSE
                   ? 0
                   : os().GetLastError();
    }

    /// 0, or the errno value behind -1.
    static int access(const std::wstring& path, int mode) {
        errno = 0;
        const int answer = os()._waccess(path.c_str(), mode);
        EXPECT_TRUE(answer == 0 || answer == -1);
        return answer == 0 ? 0 : errno;
    }

    static constexpr DWORD kUntouched = 54321;
    TempTree tree;
};

TEST_F(FileMakingContract, TheAttributesAlone) {
    tree.write("file", "x");
    tree.makeDirectory("directory");
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + 0U, os().GetFileAttributesW(tree.wide("file").c_str()));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY + 0U,
              os().GetFileAttributesW(tree.wide("directory").c_str()));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY + 0U,
              os().GetFileAttributesW((tree.wide("directory") + L"\\").c_str()));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, os().GetFileAttributesW(tree.wide("none").c_str()));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND + 0U, os().GetLastError());
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, os().GetFileAttributesW(tree.wide("none/file").c_str()));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, os().GetLastError());
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, os().GetFileAttributesW(L""));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, os().GetLastError());
}

TEST_F(FileMakingContract, ADirectoryIsMade) {
    EXPECT_EQ(0U, directoryError(tree.wide("one")));
    EXPECT_EQ(0U, directoryError(tree.wide("one") + L"/two"));
    EXPECT_EQ(0U, directoryError(tree.wide("one") + L"\\Gr\u00FC\u00DFe \u65E5"));
    EXPECT_EQ(0U, directoryError(tree.wide("three") + L"\\"));
    EXPECT_EQ(0U, directoryError(L"\\\\?\\" + tree.wide("four")));
    EXPECT_EQ(5U, tree.snapshot().size());
    EXPECT_TRUE(fs::is_directory(tree / "one/two"));
    EXPECT_TRUE(fs::is_directory(tree / "three"));
    EXPECT_TRUE(fs::is_directory(tree / "four"));
}

TEST_F(FileMakingContract, NotWhereSomethingStands) {
    tree.write("file", "x");
    tree.makeDirectory("directory");
    EXPECT_EQ(ERROR_ALREADY_EXISTS + 0U, directoryError(tree.wide("directory")));
    EXPECT_EQ(ERROR_ALREADY_EXISTS + 0U, directoryError(tree.wide("directory") + L"\\"));
    EXPECT_EQ(ERROR_ALREADY_EXISTS + 0U, directoryError(tree.wide("file")));
    EXPECT_EQ("x", tree.read("file"));
}

TEST_F(FileMakingContract, NotWhereThereIsNoPlace) {
    tree.write("file", "x");
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, directoryError(tree.wide("none/one")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, directoryError(tree.wide("file/one")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, directoryError(L""));
    EXPECT_EQ(1U, tree.snapshot().size());
}

TEST_F(FileMakingContract, ThePrefixAloneIsNoName) {
    EXPECT_NE(0U, directoryError(L"\\\\?"));
    EXPECT_NE(0U, linkError(L"\\\\?", tree.wide("target")));
    EXPECT_FALSE(fs::exists("/?"));
}

TEST_F(FileMakingContract, ALinkThatCannotBeMade) {
    tree.write("file", "x");
    tree.makeDirectory("directory");
    for (const char* const name : {"file", "directory"}) {
        EXPECT_EQ(ERROR_ALREADY_EXISTS + 0U, linkError(tree.wide(name), tree.wide("target")));
    }
    KEST_DIFFERS_ON_WINE(
        "makes no links, and says so in our own words",
        linkError(tree.wide("none/link"), tree.wide("file")) == ERROR_PATH_NOT_FOUND);
    EXPECT_EQ("x", tree.read("file"));
    EXPECT_EQ(2U, tree.snapshot().size());
}

TEST_F(FileMakingContract, ALinkThatIsMadeIsThere) {
    tree.write("file", "x");
    const DWORD error = linkError(tree.wide("link"), tree.wide("file"));
    KEST_DIFFERS_ON_WINE("has no links and says yes to each; here that is an error",
                         error == ERROR_SUCCESS || error == ERROR_PRIVILEGE_NOT_HELD);
    EXPECT_EQ(error == ERROR_SUCCESS, tree.exists("link"));
}

TEST_F(FileMakingContract, WhetherSomethingMayBeUsed) {
    tree.write("file", "x");
    tree.write("readonly", "x");
    tree.makeDirectory("directory");
    fs::permissions(tree / "readonly",
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    for (const int mode : {0, 2, 4, 6}) {
        EXPECT_EQ(0, access(tree.wide("file"), mode)) << mode;
        EXPECT_EQ(0, access(tree.wide("directory"), mode)) << mode;
        EXPECT_EQ((mode & 2) != 0 ? EACCES : 0, access(tree.wide("readonly"), mode)) << mode;
        EXPECT_EQ(ENOENT, access(tree.wide("none"), mode)) << mode;
        EXPECT_EQ(ENOENT, access(tree.wide("none/file"), mode)) << mode;
        EXPECT_EQ(ENOENT, access(tree.wide("file/below"), mode)) << mode;
        EXPECT_EQ(ENOENT, access(L"", mode)) << mode;
    }
    fs::permissions(tree / "readonly", fs::perms::owner_write, fs::perm_options::add);
    EXPECT_EQ(0, access(tree.wide("readonly"), 6));
}

TEST_F(FileMakingContract, AReadOnlyDirectoryMayBeRead) {
    tree.makeDirectory("directory");
    fs::permissions(tree / "directory", fs::perms::owner_write, fs::perm_options::remove);
    EXPECT_EQ(0, access(tree.wide("directory"), 4));
    fs::permissions(tree / "directory", fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(FileMakingContract, TheCurrentDirectory) {
    const std::wstring expected = fs::current_path().wstring();
    const auto length = static_cast<DWORD>(expected.size());
    std::wstring buffer(length + 2, L'#');
    // Too small: the size that would do, with the terminator, and nothing is written.
    for (const DWORD size : {DWORD{0}, DWORD{1}, length}) {
        EXPECT_EQ(length + 1, os().GetCurrentDirectoryW(size, buffer.data())) << size;
        EXPECT_EQ(std::wstring(length + 2, L'#'), buffer) << size;
    }
    EXPECT_EQ(length, os().GetCurrentDirectoryW(length + 1, buffer.data()));
    EXPECT_EQ(expected + L'\0' + L'#', buffer);
}

}  // namespace
}  // namespace Tallowmere::platform
