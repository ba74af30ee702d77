// A lock ends with the process that took it, not with the children that it has forked.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <memory>

#include "kest/platform/linux/LinuxDisk.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

class ForkedLocks : public ::testing::Test {
protected:
    void SetUp() override {
        std::wstring canonical;
        ASSERT_EQ(0U, disk.openDirectory(tree.root().wstring(), directory, canonical));
    }
    DWORD lock(std::unique_ptr<transactions::DirectoryLock>& lock) {
        return disk.lock(directory, lock);
    }

    testing::TempTree tree;
    LinuxDisk disk;
    transactions::DirectoryPtr directory;
};

TEST_F(ForkedLocks, AChildKeepsNone) {
    // The owner, a process of its own, takes the lock, forks a child that stays, and ends.
    std::array<int, 2> told{};
    ASSERT_EQ(0, ::pipe(told.data()));
    const pid_t owner = ::fork();
    ASSERT_NE(-1, owner);
    if (owner == 0) {
        std::unique_ptr<transactions::DirectoryLock> held;
        if (lock(held) != ERROR_SUCCESS) {
            ::_exit(2);
        }
        const pid_t child = ::fork();
        if (child == 0) {
            // Until the test says so, or has ended.
            const pid_t own = ::getpid();
            ::alarm(60);
            (void)!::write(told[1], &own, sizeof own);
            ::pause();
            ::_exit(0);
        }
        ::_exit(child == -1 ? 3 : 0);
    }
    int status = 0;
    ASSERT_EQ(owner, ::waitpid(owner, &status, 0));
    ASSERT_EQ(0, status);
    pid_t child = 0;
    ASSERT_EQ(static_cast<ssize_t>(sizeof child), ::read(told[0], &child, sizeof child));
    ASSERT_EQ(0, ::kill(child, 0));
    std::unique_ptr<transactions::DirectoryLock> mine;
    EXPECT_EQ(0U, lock(mine));
    ::kill(child, SIGKILL);
    ::close(told[0]);
    ::close(told[1]);
}

TEST_F(ForkedLocks, TheOwnersStaysWhenTheChildEnds) {
    std::unique_ptr<transactions::DirectoryLock> held;
    ASSERT_EQ(0U, lock(held));
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        // Neither taken over nor given back.
        std::unique_ptr<transactions::DirectoryLock> mine;
        const bool isHeld = lock(mine) == ERROR_LOCK_VIOLATION;
        held.reset();
        ::_exit(isHeld && lock(mine) == ERROR_LOCK_VIOLATION ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    std::unique_ptr<transactions::DirectoryLock> mine;
    EXPECT_EQ(DWORD{ERROR_LOCK_VIOLATION}, lock(mine));
    held.reset();
    EXPECT_EQ(0U, lock(mine));
}

}  // namespace
}  // namespace Tallowmere::platform
