// What the calls of the family Files do with Linux files alone: links, odd names, special files,
// paths of any length.

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "kest/platform/Calls.h"
#include "kest/platform/HandleTable.h"
#include "kest/platform/TimesUnread.h"
#include "kest/platform/linux/FinalPath.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

namespace fs = std::filesystem;

using testing::TempTree;

class LinuxFiles : public ::testing::Test {
protected:
    ~LinuxFiles() override { EXPECT_EQ(0, openHandles(HandleKind::File)); }

    std::wstring wide(const std::string& relative) const {
        return names::widen((tree / relative).native());
    }

    DWORD attributes(const std::wstring& path) {
        return os().GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)
                   ? data.dwFileAttributes
                   : INVALID_FILE_ATTRIBUTES;
    }

    DWORD attributesError(const std::wstring& path) {
        return attributes(path) == INVALID_FILE_ATTRIBUTES ? os().GetLastError() : 0;
    }

    static HANDLE open(const std::wstring& path, DWORD access = GENERIC_READ) {
        return os().CreateFileW(path.c_str(), access, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    }

    /// The final path, or the error behind "error ".
    static std::wstring finalPath(const std::wstring& path, DWORD access = GENERIC_READ) {
        const HANDLE file = open(path, access);
        if (file == INVALID_HANDLE_VALUE) {
            return L"error " + std::to_wstring(os().GetLastError());
        }
        const std::wstring result = finalPathOf(file);
        EXPECT_TRUE(os().CloseHandle(file));
        return result;
    }

    static std::wstring finalPathOf(HANDLE file) {
        std::wstring buffer(32768, L'\0');
        const DWORD length = os().GetFinalPathNameByHandleW(file, buffer.data(), 32768, 0);
        return length == 0 ? L"error " + std::to_wstring(os().GetLastError())
                           : buffer.substr(0, length);
    }

    TempTree tree;
    WIN32_FILE_ATTRIBUTE_DATA data{};
};

TEST_F(LinuxFiles, ALinkIsDescribedItself) {
    tree.write("file", "x");
    tree.makeDirectory("directory");
    fs::create_symlink("file", tree / "tofile");
    fs::create_symlink("directory", tree / "todirectory");
    fs::create_symlink("todirectory", tree / "tolink");
    fs::create_symlink("nowhere", tree / "dangling");
    fs::create_symlink("loop", tree / "loop");
    EXPECT_EQ(FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_ARCHIVE, attributes(wide("tofile")));
    EXPECT_EQ(0U, data.nFileSizeLow);
    for (const char* const name : {"todirectory", "tolink", "todirectory/", "todirectory//"}) {
        EXPECT_EQ(FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY, attributes(wide(name)))
            << name;
    }
    EXPECT_EQ(FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_ARCHIVE, attributes(wide("dangling")));
    EXPECT_EQ(FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_ARCHIVE, attributes(wide("loop")));
    EXPECT_EQ(ERROR_INVALID_NAME, attributesError(wide("tofile/")));
}

TEST_F(LinuxFiles, OnTheWayLinksAreFollowed) {
    tree.write("directory/file", "x");
    fs::create_symlink("directory", tree / "link");
    fs::create_symlink("nowhere", tree / "dangling");
    fs::create_symlink("loop", tree / "loop");
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, attributes(wide("link/file")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, attributesError(wide("link/none")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, attributesError(wide("dangling/file")));
    EXPECT_EQ(ERROR_CANT_RESOLVE_FILENAME, attributesError(wide("loop/file")));
}

TEST_F(LinuxFiles, OpeningFollowsALinkToItsEnd) {
    tree.write("real/file", "x");
    fs::create_symlink("real", tree / "first");
    fs::create_symlink(tree / "first", tree / "second");
    fs::create_symlink("second/file", tree / "tofile");
    fs::create_symlink("nowhere", tree / "dangling");
    fs::create_symlink("loop", tree / "loop");
    for (const DWORD access : {GENERIC_READ, DWORD{0}}) {
        EXPECT_EQ(L"\\\\?\\" + wide("real"), finalPath(wide("second"), access));
        EXPECT_EQ(L"\\\\?\\" + wide("real"), finalPath(wide("second/"), access));
        EXPECT_EQ(L"\\\\?\\" + wide("real/file"), finalPath(wide("tofile"), access));
        EXPECT_EQ(L"error 2", finalPath(wide("dangling"), access));
        EXPECT_EQ(L"error 1921", finalPath(wide("loop"), access));
    }
}

TEST_F(LinuxFiles, SpecialFilesPassForFilesAndHoldNobodyUp) {
    ASSERT_EQ(0, mkfifo((tree / "fifo").c_str(), 0644));
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, attributes(wide("fifo")));
    EXPECT_EQ(0U, data.nFileSizeLow);
    // Nobody writes to it.
    EXPECT_EQ(L"\\\\?\\" + wide("fifo"), finalPath(wide("fifo")));
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, attributes(L"/dev/null"));
    EXPECT_EQ(L"\\\\?\\/dev/null", finalPath(L"/dev/null"));
}

TEST_F(LinuxFiles, ASocketCanBeNamedButNotRead) {
    const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string path = (tree / "s").native();
    ASSERT_LT(path.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    ASSERT_EQ(0, bind(listening, reinterpret_cast<struct sockaddr*>(&address), sizeof address));
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, attributes(wide("s")));
    EXPECT_EQ(INVALID_HANDLE_VALUE, open(wide("s")));
    EXPECT_EQ(L"\\\\?\\" + wide("s"), finalPath(wide("s"), 0));
    ::close(listening);
}

TEST_F(LinuxFiles, EveryNameOnDiskIsReachedAndComesBack) {
    for (const std::string name : {"back\\slash", "stray\xFF\xC3", "\xEF\x81\x9C", "line\nfeed",
                                   "a|b", "\xC3\xA4 \xE6\x97\xA5", "trailing. ", "x (deleted)"}) {
        tree.write(name + "/" + name, "x");
        EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, attributes(wide(name + "/" + name))) << name;
        EXPECT_EQ(L"\\\\?\\" + wide(name + "/" + name), finalPath(wide(name + "/" + name))) << name;
        EXPECT_EQ(L"\\\\?\\" + wide(name), finalPath(wide(name))) << name;
    }
    EXPECT_EQ(ERROR_INVALID_NAME, attributesError(L"/tmp/\xD800"));
}

TEST_F(LinuxFiles, UpperAndLowerCaseAreTwoNames) {
    tree.write("Name", "x");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, attributesError(wide("name")));
}

TEST_F(LinuxFiles, TheRootIsADirectory) {
    for (const wchar_t* const root : {L"/", L"\\", L"//", L"\\\\?\\/"}) {
        EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, attributes(root) & FILE_ATTRIBUTE_DIRECTORY);
        EXPECT_EQ(L"\\\\?\\/", finalPath(root));
    }
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, attributesError(L"/no-such-name-here"));
}

TEST_F(LinuxFiles, APathLongerThanTheSystemTakesAtOnce) {
    // 40 levels of 200 characters, made from inside.
    const std::string level(200, 'n');
    int at = ::open(tree.root().c_str(), O_RDONLY | O_DIRECTORY);
    std::string relative;
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(0, mkdirat(at, level.c_str(), 0755));
        const int next = openat(at, level.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(at);
        at = next;
        relative += (i == 0 ? "" : "/") + level;
    }
    ASSERT_EQ(0, symlinkat("target", at, "link"));
    ASSERT_EQ(0, mkdirat(at, "target", 0755));
    ::close(at);
    ASSERT_GT(relative.size(), static_cast<std::size_t>(PATH_MAX));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, attributes(wide(relative + "/target")));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT,
              attributes(wide(relative + "/link")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, attributesError(wide(relative + "/none")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, attributesError(wide(relative + "/none/file")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, attributesError(wide("none/" + relative + "/file")));
    // It can be opened, but no path that long could be the target of a link either.
    const HANDLE file = open(wide(relative + "/link"));
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    EXPECT_EQ(L"error 206", finalPathOf(file));
    EXPECT_TRUE(os().CloseHandle(file));
    // A single name of such a length cannot be.
    EXPECT_EQ(ERROR_INVALID_NAME, attributesError(wide(std::string(5000, 'n'))));
}

TEST_F(LinuxFiles, TheFinalPathIsWhereItStandsNow) {
    tree.write("before", "x");
    const HANDLE file = open(wide("before"));
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    fs::rename(tree / "before", tree / "after");
    EXPECT_EQ(L"\\\\?\\" + wide("after"), finalPathOf(file));
    fs::remove(tree / "after");
    EXPECT_EQ(L"error 2", finalPathOf(file));
    EXPECT_TRUE(os().CloseHandle(file));
}

TEST_F(LinuxFiles, ARemovedNameOfAFileThatHasAnotherIsNoPath) {
    tree.write("one", "x");
    fs::create_hard_link(tree / "one", tree / "two");
    const HANDLE file = open(wide("one"));
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    fs::remove(tree / "one");
    EXPECT_EQ(L"error 2", finalPathOf(file));
    EXPECT_TRUE(os().CloseHandle(file));
}

TEST_F(LinuxFiles, WithoutTheSystemsFolderOfDescriptorsThePathIsResolvedAgain) {
    tree.write("real/file", "x");
    fs::create_symlink("real", tree / "link");
    const std::string openedAs = (tree / "link/file").native();
    const int file = ::open(openedAs.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(file, 0);
    std::string path;
    EXPECT_EQ(0, findFinalPath(file, openedAs, path, "/nowhere/fd"));
    EXPECT_EQ((tree / "real/file").native(), path);
    path.clear();
    EXPECT_EQ(0, findFinalPath(file, openedAs, path));
    EXPECT_EQ((tree / "real/file").native(), path);
    // Another file stands there now.
    fs::rename(tree / "real", tree / "moved");
    tree.write("real/file", "y");
    EXPECT_EQ(ENOENT, findFinalPath(file, openedAs, path, "/nowhere/fd"));
    EXPECT_EQ(0, findFinalPath(file, openedAs, path));
    EXPECT_EQ((tree / "moved/file").native(), path);
    ::close(file);
}

TEST_F(LinuxFiles, TheTimesAreThoseOfTheFile) {
    tree.write("file", "x");
    const struct timespec times[2] = {{1000000001, 300}, {1234567890, 999999999}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, (tree / "file").c_str(), times, 0));
    ASSERT_NE(INVALID_FILE_ATTRIBUTES, attributes(wide("file")));
    const auto ticks = [](const FILETIME& time) {
        return (std::uint64_t{time.dwHighDateTime} << 32) + time.dwLowDateTime;
    };
    EXPECT_EQ(12644473601U * 10000000 + 3, ticks(data.ftLastAccessTime));
    EXPECT_EQ(12879041490U * 10000000 + 9999999, ticks(data.ftLastWriteTime));
    // Either when it was made, later than what it was set to, or the last write.
    EXPECT_GE(ticks(data.ftCreationTime), ticks(data.ftLastWriteTime));
}

TEST_F(LinuxFiles, TimesThatNobodyReadsAreNotThereAndAllElseIs) {
    tree.write("file", "four");
    {
        const TimesUnread outer;
        { const TimesUnread inner; }
        ASSERT_EQ(DWORD{FILE_ATTRIBUTE_ARCHIVE}, attributes(wide("file")));
        EXPECT_EQ(4U, data.nFileSizeLow);
        EXPECT_EQ(0U, data.ftLastWriteTime.dwHighDateTime);
        EXPECT_EQ(0U, data.ftCreationTime.dwHighDateTime);
        // Another thread reads them.
        std::thread([&] { ASSERT_NE(INVALID_FILE_ATTRIBUTES, attributes(wide("file"))); }).join();
        EXPECT_NE(0U, data.ftLastWriteTime.dwHighDateTime);
    }
    ASSERT_NE(INVALID_FILE_ATTRIBUTES, attributes(wide("file")));
    EXPECT_NE(0U, data.ftLastWriteTime.dwHighDateTime);
}

TEST_F(LinuxFiles, AFileThatMayNotBeReadCanStillBeNamed) {
    tree.write("closed/file", "x");
    const auto ask = [&] {
        if (chmod((tree / "closed/file").c_str(), 0) != 0) {
            return 1;
        }
        if (open(wide("closed/file")) != INVALID_HANDLE_VALUE ||
            os().GetLastError() != ERROR_ACCESS_DENIED) {
            return 2;
        }
        if (finalPath(wide("closed/file"), 0) != L"\\\\?\\" + wide("closed/file")) {
            return 3;
        }
        if (chmod((tree / "closed").c_str(), 0) != 0) {
            return 4;
        }
        if (attributesError(wide("closed/file")) != ERROR_ACCESS_DENIED) {
            return 5;
        }
        return chmod((tree / "closed").c_str(), 0700) == 0 ? 0 : 6;
    };
    if (geteuid() != 0) {
        EXPECT_EQ(0, ask());
        return;
    }
    // Root may do everything, so the question is put as another user.
    for (const char* const name : {".", "closed", "closed/file"}) {
        ASSERT_EQ(0, chown((tree / name).c_str(), 54321, 54321));
    }
    const pid_t child = fork();
    if (child == 0) {
        _exit(seteuid(54321) == 0 ? ask() : 7);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST_F(LinuxFiles, NothingIsHandedOnToOtherPrograms) {
    tree.write("file", "x");
    const HANDLE readable = open(wide("file"));
    const HANDLE nameable = open(wide("file"), 0);
    int found = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (fs::read_symlink(entry.path(), gone) == tree / "file") {
            ++found;
            const int descriptor = std::stoi(entry.path().filename().string());
            EXPECT_EQ(FD_CLOEXEC, fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
        }
    }
    EXPECT_EQ(2, found);
    EXPECT_EQ(2, openHandles(HandleKind::File));
    EXPECT_TRUE(os().CloseHandle(readable));
    EXPECT_TRUE(os().CloseHandle(nameable));
}

TEST_F(LinuxFiles, WhatTheLibraryNeverAsksForIsRefused) {
    tree.write("file", "x");
    const std::wstring path = wide("file");
    constexpr DWORD kWrite = 0x40000000U;
    constexpr DWORD kCreateNew = 1;
    constexpr DWORD kOpenReparsePoint = 0x00200000U;
    const auto error = [&](DWORD access, DWORD disposition, DWORD flags, HANDLE pattern) {
        const HANDLE file = os().CreateFileW(path.c_str(), access, FILE_SHARE_READ, nullptr,
                                             disposition, flags, pattern);
        EXPECT_EQ(INVALID_HANDLE_VALUE, file);
        return os().GetLastError();
    };
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(kWrite, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(GENERIC_READ, kCreateNew, 0, nullptr));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(GENERIC_READ, OPEN_EXISTING, kOpenReparsePoint, nullptr));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(GENERIC_READ, OPEN_EXISTING, 0, INVALID_HANDLE_VALUE));
    EXPECT_FALSE(os().GetFileAttributesExW(path.c_str(), GetFileExMaxInfoLevel, &data));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
    EXPECT_FALSE(os().GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, nullptr));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
    EXPECT_FALSE(os().GetFileAttributesExW(nullptr, GetFileExInfoStandard, &data));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, os().GetLastError());
    const HANDLE file = open(path);
    EXPECT_EQ(0U, os().GetFinalPathNameByHandleW(file, nullptr, 5, 0));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
    wchar_t buffer[4] = L"abc";
    EXPECT_EQ(0U, os().GetFinalPathNameByHandleW(file, buffer, 4, 8));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
    EXPECT_TRUE(os().CloseHandle(file));
}

}  // namespace
}  // namespace Tallowmere::platform
