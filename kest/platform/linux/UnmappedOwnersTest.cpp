// Inside a user namespace, as of a container without root's rights, some owners have no number:
// files of theirs can be read but not given to them. A copy is then its maker's, as any copy of
// what cannot be given to its owner.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <ostream>
#include <stdexcept>
#include <string>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::TempTree;
namespace fs = std::filesystem;

constexpr uid_t kUser = 54326;
constexpr uid_t kOther = 54327;

bool put(const char* path, const std::string& text) {
    const int file = ::open(path, O_WRONLY);
    const bool isPut =
        file >= 0 && ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(file);
    return isPut;
}

/// Leaves all numbers behind but the own one, which becomes root's.
bool entersNamespace() {
    return ::unshare(CLONE_NEWUSER) == 0 && put("/proc/self/setgroups", "deny") &&
           put("/proc/self/uid_map", "0 " + std::to_string(kUser) + " 1") &&
           put("/proc/self/gid_map", "0 " + std::to_string(kUser) + " 1");
}

TEST(UnmappedOwners, ACopyIsItsMakers) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    const TempTree tree;
    tree.write("from/file", "x");
    tree.write("from/sub/lends", "y");
    ASSERT_EQ(0, ::mkfifo((tree / "from/fifo").c_str(), 0644));
    fs::create_symlink("file", tree / "from/link");
    for (const char* const name :
         {"from/file", "from/sub/lends", "from/sub", "from/fifo", "from/link", "from"}) {
        ASSERT_EQ(0, ::lchown((tree / name).c_str(), kOther, kOther));
    }
    // One whose group is known, too.
    ASSERT_EQ(0, ::chown((tree / "from/sub/lends").c_str(), kOther, kUser));
    ASSERT_EQ(0, ::chmod((tree / "from/sub/lends").c_str(), 06755));
    ASSERT_EQ(0, ::chown(tree.root().c_str(), kUser, kUser));

    constexpr int kNoNamespaces = 77;
    const pid_t child = ::fork();
    if (child == 0) {
        std::wostream nowhere{nullptr};
        if (::setgid(kUser) != 0 || ::setuid(kUser) != 0) {
            ::_exit(2);
        }
        // Whoever has changed his user is nobody that may be looked at, and the maps are such a
        // look.
        if (::prctl(PR_SET_DUMPABLE, 1, 0, 0, 0) != 0 || !entersNamespace()) {
            ::_exit(kNoNamespaces);
        }
        try {
            Recorder::instance()->setStream(&nowhere, nullptr, false);
            CopyDirectoryTransacted(tree.wide("from"), tree.wide("to"));
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "%s\n", failure.what());
            ::_exit(1);
        }
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNoNamespaces) {
        GTEST_SKIP()
            << "a user namespace of its own is not to be had here, or not by a process with "
               "threads, as the thread sanitizer makes each one";
    }
    ASSERT_EQ(0, status);
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    for (const char* const name : {"to", "to/file", "to/fifo", "to/link", "to/sub/lends"}) {
        struct stat made {};
        ASSERT_EQ(0, ::lstat((tree / name).c_str(), &made));
        EXPECT_EQ(kUser, made.st_uid) << name;
        EXPECT_EQ(kUser, made.st_gid) << name;
    }
    // Lent are the rights of the group that it got, not of the owner that it did not get.
    struct stat lends {};
    ASSERT_EQ(0, ::stat((tree / "to/sub/lends").c_str(), &lends));
    EXPECT_EQ(02755U, lends.st_mode & 07777);
}

}  // namespace
}  // namespace Tallowmere
