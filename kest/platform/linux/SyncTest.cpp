// What is particular to this system's mutexes; what they share with Windows is in contract/.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <new>
#include <thread>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/HandleTable.h"
#include "kest/platform/linux/testing/FailingAllocation.h"
#include "kest/platform/testing/Latch.h"
#include "kest/sync/Lock.h"

namespace Tallowmere::platform {
namespace {

using testing::FailingAllocation;

TEST(LinuxSync, RefusesANamedMutex) {
    EXPECT_EQ(nullptr, os().CreateMutexW(nullptr, FALSE, L"Tallowmere"));
    EXPECT_EQ(50U, os().GetLastError());
}

TEST(LinuxSync, RefusesAHandleOfAnotherKind) {
    int object = 0;
    const HANDLE transaction = issueHandle(HandleKind::Search, &object);
    EXPECT_EQ(WAIT_FAILED, os().WaitForSingleObject(transaction, 0));
    EXPECT_EQ(6U, os().GetLastError());
    os().SetLastError(0);
    EXPECT_FALSE(os().ReleaseMutex(transaction));
    EXPECT_EQ(6U, os().GetLastError());
    EXPECT_EQ(&object, retireHandle(transaction, HandleKind::Search));
}

TEST(LinuxSync, GivesEachHandleBack) {
    const int before = openHandles(HandleKind::Mutex);
    {
        const Lock first;
        const Lock second;
        EXPECT_EQ(before + 2, openHandles(HandleKind::Mutex));
    }
    EXPECT_EQ(before, openHandles(HandleKind::Mutex));
}

TEST(LinuxSync, DoesNotGiveAMutexToWhoWaitsWhileItIsClosed) {
    for (const DWORD timeout : {DWORD{60000}, INFINITE}) {
        const HANDLE mutex = os().CreateMutexW(nullptr, TRUE, nullptr);
        platform::testing::Latch started(1);
        std::thread waiting([&] {
            started.count_down();
            EXPECT_EQ(WAIT_FAILED, os().WaitForSingleObject(mutex, timeout));
            EXPECT_EQ(6U, os().GetLastError());
            EXPECT_FALSE(os().ReleaseMutex(mutex));
        });
        started.wait();
        EXPECT_TRUE(os().CloseHandle(mutex));
        waiting.join();
        // Whatever memory it has, the next one is free.
        const HANDLE next = os().CreateMutexW(nullptr, FALSE, nullptr);
        std::thread([&] {
            EXPECT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(next, INFINITE));
            EXPECT_TRUE(os().ReleaseMutex(next));
        }).join();
        EXPECT_TRUE(os().CloseHandle(next));
    }
}

TEST(LinuxSync, SaysSoWhenMemoryRunsOut) {
    const int before = openHandles(HandleKind::Mutex);
    // Until those that lie ready are used up: as many as were ever open at once in this process,
    // which other tests decide.
    constexpr std::size_t kMost = 1000000;
    std::vector<HANDLE> mutexes;
    mutexes.reserve(kMost);
    HANDLE failed = INVALID_HANDLE_VALUE;
    DWORD error = 0;
    {
        const FailingAllocation noMemory(1);
        while (mutexes.size() < kMost && failed != nullptr) {
            failed = os().CreateMutexW(nullptr, FALSE, nullptr);
            error = os().GetLastError();
            if (failed != nullptr) {
                mutexes.push_back(failed);
            }
        }
    }
    EXPECT_EQ(nullptr, failed);
    EXPECT_EQ(8U, error);
    EXPECT_EQ(before + static_cast<int>(mutexes.size()), openHandles(HandleKind::Mutex));
    for (const HANDLE mutex : mutexes) {
        EXPECT_TRUE(os().CloseHandle(mutex));
    }
}

TEST(LinuxSync, MakesALockThatCannotBeAcquiredWhenMemoryRunsOut) {
    alignas(Lock) unsigned char memory[sizeof(Lock)];
    Lock* lock = nullptr;
    int failed = 0;
    {
        const FailingAllocation noMemory(1);
        lock = new (memory) Lock;
        failed = noMemory.failed();
    }
    EXPECT_EQ(1, failed);
    EXPECT_FALSE(lock->acquire(0));
    EXPECT_FALSE(lock->release());
    EXPECT_FALSE(LockGuard(*lock, -1).acquired());
    lock->~Lock();
}

TEST(LinuxSync, ClosesWithoutMemory) {
    // More than were ever closed, so that the table of handles has had no need to keep so many in
    // mind.
    std::vector<HANDLE> mutexes(20000);
    for (HANDLE& mutex : mutexes) {
        mutex = os().CreateMutexW(nullptr, FALSE, nullptr);
        ASSERT_NE(nullptr, mutex);
    }
    const int before = openHandles(HandleKind::Mutex);
    int closed = 0;
    {
        const FailingAllocation noMemory(1);
        try {
            for (const HANDLE mutex : mutexes) {
                closed += os().CloseHandle(mutex) ? 1 : 0;
            }
        } catch (const std::bad_alloc&) {
        }
    }
    EXPECT_EQ(20000, closed);
    EXPECT_EQ(before - 20000, openHandles(HandleKind::Mutex));
}

TEST(LinuxSync, NumbersThreadsAsTheKernelDoes) {
    EXPECT_EQ(static_cast<DWORD>(gettid()), os().GetCurrentThreadId());
    std::thread([] { EXPECT_EQ(static_cast<DWORD>(gettid()), os().GetCurrentThreadId()); }).join();
}

TEST(LinuxSync, NumbersTheThreadOfAChildProcessAnew) {
    (void)os().GetCurrentThreadId();
    const pid_t child = fork();
    if (child == 0) {
        _exit(os().GetCurrentThreadId() == static_cast<DWORD>(gettid()) ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
}

TEST(LinuxSync, DoesNotLetAChildProcessReleaseWhatItsParentOwns) {
    const HANDLE mutex = os().CreateMutexW(nullptr, TRUE, nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const bool released = os().ReleaseMutex(mutex) != FALSE;
        _exit(!released && os().GetLastError() == ERROR_NOT_OWNER ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_TRUE(os().ReleaseMutex(mutex));
    EXPECT_TRUE(os().CloseHandle(mutex));
}

}  // namespace
}  // namespace Tallowmere::platform
