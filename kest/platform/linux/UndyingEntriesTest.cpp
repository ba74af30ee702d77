// Entries that the system keeps from being removed, though the directory around them can be
// renamed: they are refused before the commit. After it nothing could be done but to leave them
// behind and say that all is well.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Win32.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/text/Strings.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::TempTree;
namespace fs = std::filesystem;

constexpr uid_t kUser = 54324;
constexpr const char* kNoFlags =
    "the file system of the tests' folder keeps no such flag, or this root may not set it";

class UndyingEntries : public ::testing::Test {
protected:
    UndyingEntries() { Recorder::instance()->setStream(&m_nowhere, nullptr, false); }
    ~UndyingEntries() override {
        Recorder::destroy();
        for (const std::string& name : m_flagged) {
            (void)change(name, 0, FS_IMMUTABLE_FL | FS_APPEND_FL);
        }
    }

    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root can keep entries from being removed";
        }
        tree.write("from/file", "new");
        tree.write("to/sub/file", "old");
        tree.makeDirectory("to/empty");
    }

    bool change(const std::string& name, int set, int clear) const {
        const int file = ::open((tree / name).c_str(), O_RDONLY);
        int flags = 0;
        bool isDone = file >= 0 && ::ioctl(file, FS_IOC_GETFLAGS, &flags) == 0;
        flags = (flags | set) & ~clear;
        isDone = isDone && ::ioctl(file, FS_IOC_SETFLAGS, &flags) == 0;
        ::close(file);
        return isDone;
    }
    bool protect(const std::string& name, int flags) {
        m_flagged.push_back(name);
        if (change(name, flags, 0)) {
            return true;
        }
        // Anything else is no lack of the machine's.
        EXPECT_TRUE(errno == ENOTTY || errno == EOPNOTSUPP || errno == EPERM)
            << std::strerror(errno);
        return false;
    }

    /// What a deletion or a replacement says; empty when it is done.
    static std::string said(const std::function<void()>& operation) {
        try {
            operation();
            return "";
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
    }
    std::string deletion() {
        return said([&] { DeleteDirectoryTransacted(tree.wide("to")); });
    }
    std::string replacement() {
        return said([&] { CopyDirectoryTransacted(tree.wide("from"), tree.wide("to")); });
    }
    static std::string failed(const std::string& call, DWORD error) {
        return call + " failed: " + convertToString(getSystemErrorMessage(error, nullptr).c_str());
    }

    /// Both are refused with that text, and nothing has changed.
    void expectRefused(const std::string& text) {
        const auto before = tree.snapshot();
        EXPECT_EQ(text, deletion());
        EXPECT_EQ(before, tree.snapshot());
        EXPECT_EQ(text, replacement());
        EXPECT_EQ(before, tree.snapshot());
    }

    TempTree tree;

private:
    std::wostream m_nowhere{nullptr};
    std::vector<std::string> m_flagged;
};

TEST_F(UndyingEntries, AnImmutableFile) {
    if (!protect("to/sub/file", FS_IMMUTABLE_FL)) {
        GTEST_SKIP() << kNoFlags;
    }
    expectRefused(failed("DeleteFileTransacted", ERROR_ACCESS_DENIED));
}

TEST_F(UndyingEntries, AFileToWhichCanOnlyBeAppended) {
    if (!protect("to/sub/file", FS_APPEND_FL)) {
        GTEST_SKIP() << kNoFlags;
    }
    expectRefused(failed("DeleteFileTransacted", ERROR_ACCESS_DENIED));
}

TEST_F(UndyingEntries, ADirectoryToWhichCanOnlyBeAdded) {
    if (!protect("to/sub", FS_APPEND_FL)) {
        GTEST_SKIP() << kNoFlags;
    }
    expectRefused(failed("DeleteFileTransacted", ERROR_ACCESS_DENIED));
}

TEST_F(UndyingEntries, AnEmptyImmutableDirectory) {
    if (!protect("to/empty", FS_IMMUTABLE_FL)) {
        GTEST_SKIP() << kNoFlags;
    }
    fs::remove_all(tree / "to/sub");
    const std::string path = R"(\\?\)" + (tree / "to").string() + R"(\empty)";
    expectRefused(failed("RemoveDirectoryTransacted " + path, ERROR_ACCESS_DENIED));
}

TEST_F(UndyingEntries, BesideThemNothingIsBegunThatCouldNotBeCleared) {
    fs::remove_all(tree / "to");
    tree.makeDirectory("log");
    if (!protect("log", FS_APPEND_FL)) {
        GTEST_SKIP() << kNoFlags;
    }
    EXPECT_EQ(failed("CreateDirectoryTransacted", ERROR_ACCESS_DENIED),
              said([&] { CopyDirectoryTransacted(tree.wide("from"), tree.wide("log/to")); }));
    EXPECT_TRUE(tree.snapshot("log").empty());
}

TEST_F(UndyingEntries, AFileThatIsMountedOver) {
    tree.write("other", "mounted");
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount((tree / "other").c_str(), (tree / "to/sub/file").c_str(), nullptr, MS_BIND,
                nullptr) != 0) {
        ASSERT_EQ(EPERM, errno) << std::strerror(errno);
        GTEST_SKIP() << "this root may not mount, as in a container without that right";
    }
    expectRefused(failed("DeleteFileTransacted", ERROR_BUSY));
    EXPECT_EQ(0, ::umount2((tree / "to/sub/file").c_str(), MNT_DETACH));
}

TEST_F(UndyingEntries, AnothersFileInAFolderWhereEverybodyHasHisOwn) {
    fs::permissions(tree.root(), fs::perms::all);
    ASSERT_EQ(0, ::chown((tree / "to").c_str(), kUser, kUser));
    ASSERT_EQ(0, ::chmod((tree / "to/sub").c_str(), 01777));
    fs::remove(tree / "to/empty");
    const pid_t child = ::fork();
    if (child == 0) {
        if (::setgid(kUser) != 0 || ::setuid(kUser) != 0) {
            ::_exit(2);
        }
        expectRefused(failed("DeleteFileTransacted", ERROR_ACCESS_DENIED));
        ::_exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    // Root stands for everybody.
    EXPECT_EQ("", deletion());
    EXPECT_FALSE(tree.exists("to"));
}

}  // namespace
}  // namespace Tallowmere
