// Whether something is there and may be used, on a Linux disk: links, permissions, odd names.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/system/FileSystem.h"

namespace Tallowmere::platform {
namespace {

namespace fs = std::filesystem;

using testing::TempTree;

class LinuxAccess : public ::testing::Test {
protected:
    std::wstring wide(const std::string& relative) const {
        return names::widen((tree / relative).native());
    }

    /// 0, or the errno value behind -1.
    int ask(const std::string& relative, int mode) const {
        errno = 0;
        return os()._waccess(wide(relative).c_str(), mode) == 0 ? 0 : errno;
    }

    /// Runs `body`, which answers 0 when all is right, as a user who is not root.
    template <class Body>
    static int asAnother(Body body) {
        if (geteuid() != 0) {
            return body();
        }
        const pid_t child = fork();
        if (child == 0) {
            _exit(seteuid(54321) == 0 ? body() : 77);
        }
        int status = 0;
        EXPECT_EQ(child, waitpid(child, &status, 0));
        return WIFEXITED(status) ? WEXITSTATUS(status) : 78;
    }

    TempTree tree;
};

TEST_F(LinuxAccess, ALinkIsThereItself) {
    tree.write("file", "x");
    fs::create_symlink("file", tree / "link");
    fs::create_symlink("nowhere", tree / "dangling");
    fs::create_symlink("loop", tree / "loop");
    for (const char* const name : {"link", "dangling", "loop"}) {
        EXPECT_EQ(0, ask(name, 0)) << name;
        EXPECT_TRUE(exists(wide(name).c_str())) << name;
    }
    for (const int mode : {2, 4, 6}) {
        EXPECT_EQ(0, ask("link", mode));
        EXPECT_EQ(ENOENT, ask("dangling", mode));
        EXPECT_EQ(ENOENT, ask("loop", mode));
    }
    EXPECT_EQ(ENOENT, ask("dangling/", 0));
}

TEST_F(LinuxAccess, ASeparatorAtTheEndIsForDirectories) {
    tree.write("directory/file", "x");
    fs::create_symlink("directory", tree / "link");
    EXPECT_EQ(0, ask("directory/", 0));
    EXPECT_EQ(0, ask("link/", 0));
    EXPECT_EQ(ENOENT, ask("directory/file/", 0));
    EXPECT_EQ(ENOENT, ask("directory/file/", 4));
}

TEST_F(LinuxAccess, AReadOnlyFileIsThatForEverybody) {
    tree.write("file", "x");
    fs::create_symlink("file", tree / "link");
    ASSERT_EQ(0, chmod((tree / "file").c_str(), 0444));
    for (const char* const name : {"file", "link"}) {
        EXPECT_EQ(0, ask(name, 0));
        EXPECT_EQ(0, ask(name, 4));
        EXPECT_EQ(EACCES, ask(name, 2));
        EXPECT_EQ(EACCES, ask(name, 6));
    }
}

TEST_F(LinuxAccess, WhatMayNotBeReadExistsAllTheSame) {
    tree.write("open/closed", "x");
    tree.write("locked/file", "x");
    ASSERT_EQ(0, chmod((tree / "open/closed").c_str(), 0));
    ASSERT_EQ(0, chmod((tree / "locked").c_str(), 0));
    ASSERT_EQ(0, chmod(tree.root().c_str(), 0755));
    EXPECT_EQ(0, asAnother([&] {
                  if (!exists(wide("open/closed").c_str()) || ask("open/closed", 4) != EACCES ||
                      ask("open/closed", 2) != EACCES || ask("open/closed", 6) != EACCES) {
                      return 1;
                  }
                  if (exists(wide("locked/file").c_str()) || ask("locked/file", 0) != EACCES) {
                      return 2;
                  }
                  return exists(wide("locked").c_str()) ? 0 : 3;
              }));
    ASSERT_EQ(0, chmod((tree / "locked").c_str(), 0755));
}

TEST_F(LinuxAccess, ModesAndPathsThatAreNone) {
    tree.write("file", "x");
    for (const int mode : {1, 7, 8, -1, 0x100}) {
        EXPECT_EQ(EINVAL, ask("file", mode)) << mode;
        EXPECT_EQ(-1, access(wide("file").c_str(), mode)) << mode;
    }
    errno = 0;
    EXPECT_EQ(-1, os()._waccess(nullptr, 0));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, os()._waccess(L"\xD800", 0));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(ENOENT, ask(std::string(5000, 'n'), 0));
}

TEST_F(LinuxAccess, NamesOfEveryKindAndPathsOfAnyLength) {
    std::string deep = std::string(200, 'd');
    for (int i = 0; i < 12; ++i) {
        deep += "/" + std::string(200, 'd');
    }
    for (const std::string& name : {std::string("Gr\xC3\xBC\xC3\x9F"
                                                "e \xE6\x97\xA5"),
                                    std::string("back\\slash\xFF"), deep}) {
        createDirectory(wide(name));
        createDirectory(wide(name));
        EXPECT_TRUE(isDirectory(wide(name)));
        EXPECT_TRUE(exists(wide(name).c_str()));
        EXPECT_EQ(0, access(wide(name).c_str(), 6));
        tree.write(name + "/file", "12345");
        std::uint64_t size = 0;
        EXPECT_TRUE(getFileSize(wide(name + "/file"), size));
        EXPECT_EQ(5U, size);
        EXPECT_FALSE(isDirectory(wide(name + "/file")));
        EXPECT_TRUE(tree.exists(name + "/file"));
    }
}

TEST_F(LinuxAccess, ALinkToADirectoryIsADirectory) {
    tree.makeDirectory("directory");
    fs::create_symlink("directory", tree / "link");
    fs::create_symlink("nowhere", tree / "dangling");
    EXPECT_TRUE(isDirectory(wide("link")));
    EXPECT_FALSE(isDirectory(wide("dangling")));
    createDirectory(wide("link/below/more"));
    EXPECT_TRUE(tree.exists("directory/below/more"));
}

TEST_F(LinuxAccess, ADirectoryIsMadeAsTheProcessIsUsedTo) {
    const mode_t before = umask(027);
    createDirectory(wide("one/two"));
    (void)umask(before);
    for (const char* const name : {"one", "one/two"}) {
        EXPECT_EQ(0750, static_cast<int>(fs::status(tree / name).permissions())) << name;
    }
}

TEST_F(LinuxAccess, WhereNothingMayBeMade) {
    tree.makeDirectory("place");
    ASSERT_EQ(0, chmod((tree / "place").c_str(), 0555));
    ASSERT_EQ(0, chmod(tree.root().c_str(), 0755));
    EXPECT_EQ(0, asAnother([&] {
                  const bool made =
                      os().CreateDirectoryW(wide("place/new").c_str(), nullptr) != FALSE;
                  return !made && os().GetLastError() == ERROR_ACCESS_DENIED ? 0 : 1;
              }));
    ASSERT_EQ(0, chmod((tree / "place").c_str(), 0755));
    EXPECT_TRUE(fs::is_empty(tree / "place"));
}

TEST_F(LinuxAccess, ThePrefixOfALiteralPathIsNoDirectory) {
    EXPECT_THROW(createDirectory(L"\\\\?\\" + wide("one/two")), std::runtime_error);
    EXPECT_FALSE(fs::exists("/?"));
    EXPECT_FALSE(tree.exists("one"));
}

TEST_F(LinuxAccess, WhatTheLibraryNeverAsksForIsRefused) {
    int security = 0;
    EXPECT_FALSE(os().CreateDirectoryW(wide("new").c_str(),
                                       reinterpret_cast<SECURITY_ATTRIBUTES*>(&security)));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, os().GetLastError());
    EXPECT_FALSE(os().CreateDirectoryW(nullptr, nullptr));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, os().GetLastError());
    EXPECT_FALSE(os().CreateSymbolicLinkW(wide("new").c_str(), L"x", 2));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
    EXPECT_FALSE(os().CreateSymbolicLinkW(nullptr, L"x", 0));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
    EXPECT_FALSE(os().CreateSymbolicLinkW(wide("new").c_str(), nullptr, 0));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
    EXPECT_FALSE(os().CreateSymbolicLinkW(wide("new").c_str(), L"", 0));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, os().GetLastError());
    EXPECT_FALSE(os().CreateSymbolicLinkW((wide("new") + L"/").c_str(), L"x", 0));
    EXPECT_EQ(ERROR_INVALID_NAME, os().GetLastError());
    EXPECT_FALSE(
        os().CreateSymbolicLinkW(wide("new").c_str(), std::wstring(5000, L'x').c_str(), 0));
    EXPECT_EQ(ERROR_FILENAME_EXCED_RANGE, os().GetLastError());
    EXPECT_FALSE(tree.exists("new"));
    EXPECT_TRUE(os().CreateSymbolicLinkW((wide("new") + L"\\").c_str(), L"\\\\?\\/a\\b", 1));
    EXPECT_EQ("/a/b", fs::read_symlink(tree / "new"));
}

}  // namespace
}  // namespace Tallowmere::platform
