// What the library relies on in the calls of the family Sync, in the words of Windows.

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/Latch.h"

namespace Tallowmere::platform {
namespace {

constexpr DWORD kUntouchedError = 4711;

class SyncContract : public ::testing::Test {
protected:
    SyncContract() { os().SetLastError(kUntouchedError); }
    ~SyncContract() override {
        if (mutex != nullptr) {
            EXPECT_TRUE(os().CloseHandle(mutex));
        }
    }

    HANDLE mutex = os().CreateMutexW(nullptr, FALSE, nullptr);
};

void onAnotherThread(const std::function<void()>& body) {
    std::thread(body).join();
}

DWORD waitOnAnotherThread(HANDLE mutex) {
    DWORD answer = WAIT_FAILED;
    onAnotherThread([&] {
        answer = os().WaitForSingleObject(mutex, 0);
        if (answer == WAIT_OBJECT_0) {
            EXPECT_TRUE(os().ReleaseMutex(mutex));
        }
    });
    return answer;
}

TEST_F(SyncContract, ANewMutexIsFreeAndClearsTheLastError) {
    os().SetLastError(kUntouchedError);
    const HANDLE other = os().CreateMutexW(nullptr, FALSE, nullptr);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, os().GetLastError());
    ASSERT_NE(nullptr, other);
    EXPECT_NE(mutex, other);
    EXPECT_EQ(WAIT_OBJECT_0, waitOnAnotherThread(other));
    EXPECT_TRUE(os().CloseHandle(other));
}

TEST_F(SyncContract, AnEmptyNameIsNone) {
    const HANDLE first = os().CreateMutexW(nullptr, TRUE, L"");
    const HANDLE second = os().CreateMutexW(nullptr, FALSE, L"");
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, os().GetLastError());
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, waitOnAnotherThread(first));
    EXPECT_EQ(WAIT_OBJECT_0, waitOnAnotherThread(second));
    EXPECT_TRUE(os().CloseHandle(first));
    EXPECT_TRUE(os().CloseHandle(second));
}

TEST_F(SyncContract, AMutexCanBeOwnedFromTheStart) {
    const HANDLE owned = os().CreateMutexW(nullptr, TRUE, nullptr);
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, waitOnAnotherThread(owned));
    EXPECT_TRUE(os().ReleaseMutex(owned));
    EXPECT_FALSE(os().ReleaseMutex(owned));
    EXPECT_EQ(WAIT_OBJECT_0, waitOnAnotherThread(owned));
    EXPECT_TRUE(os().CloseHandle(owned));
}

TEST_F(SyncContract, ASuccessLeavesTheLastErrorAlone) {
    os().SetLastError(kUntouchedError);
    EXPECT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(mutex, 0));
    EXPECT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(mutex, 10));
    EXPECT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(mutex, INFINITE));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(os().ReleaseMutex(mutex));
    }
    EXPECT_EQ(kUntouchedError, os().GetLastError());
}

TEST_F(SyncContract, ATimeoutIsNoError) {
    ASSERT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(mutex, 0));
    onAnotherThread([this] {
        os().SetLastError(kUntouchedError);
        EXPECT_EQ(DWORD{WAIT_TIMEOUT}, os().WaitForSingleObject(mutex, 0));
        EXPECT_EQ(DWORD{WAIT_TIMEOUT}, os().WaitForSingleObject(mutex, 10));
        EXPECT_EQ(kUntouchedError, os().GetLastError());
    });
    EXPECT_TRUE(os().ReleaseMutex(mutex));
}

TEST_F(SyncContract, ReleasingWhatOneDoesNotOwnGives288) {
    EXPECT_FALSE(os().ReleaseMutex(mutex));
    EXPECT_EQ(288U, os().GetLastError());
    ASSERT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(mutex, 0));
    onAnotherThread([this] {
        os().SetLastError(kUntouchedError);
        EXPECT_FALSE(os().ReleaseMutex(mutex));
        EXPECT_EQ(288U, os().GetLastError());
    });
    EXPECT_TRUE(os().ReleaseMutex(mutex));
    EXPECT_FALSE(os().ReleaseMutex(mutex));
    EXPECT_EQ(288U, os().GetLastError());
}

TEST_F(SyncContract, AnAbandonedMutexIsOwnedOnceByTheNext) {
    onAnotherThread([this] {
        EXPECT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(mutex, 0));
        EXPECT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(mutex, 0));
    });
    // It is nobody's until somebody asks for it.
    EXPECT_FALSE(os().ReleaseMutex(mutex));
    EXPECT_EQ(288U, os().GetLastError());
    os().SetLastError(kUntouchedError);
    EXPECT_EQ(DWORD{WAIT_ABANDONED}, os().WaitForSingleObject(mutex, 0));
    EXPECT_EQ(kUntouchedError, os().GetLastError());
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, waitOnAnotherThread(mutex));
    EXPECT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(mutex, 0));
    EXPECT_TRUE(os().ReleaseMutex(mutex));
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, waitOnAnotherThread(mutex));
    EXPECT_TRUE(os().ReleaseMutex(mutex));
    EXPECT_FALSE(os().ReleaseMutex(mutex));
    EXPECT_EQ(WAIT_OBJECT_0, waitOnAnotherThread(mutex));
}

TEST_F(SyncContract, AMutexCanBeAbandonedAgainAndAgain) {
    for (int i = 0; i < 3; ++i) {
        onAnotherThread([&] {
            EXPECT_EQ(i == 0 ? WAIT_OBJECT_0 : DWORD{WAIT_ABANDONED},
                      os().WaitForSingleObject(mutex, INFINITE));
        });
    }
    EXPECT_EQ(DWORD{WAIT_ABANDONED}, os().WaitForSingleObject(mutex, INFINITE));
    EXPECT_TRUE(os().ReleaseMutex(mutex));
}

TEST_F(SyncContract, WhatIsNoMutexIsRefused) {
    const HANDLE closed = os().CreateMutexW(nullptr, FALSE, nullptr);
    ASSERT_TRUE(os().CloseHandle(closed));
    for (const HANDLE handle : {static_cast<HANDLE>(nullptr), closed,
                                reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(0x4B01))}) {
        os().SetLastError(kUntouchedError);
        EXPECT_EQ(DWORD{WAIT_FAILED}, os().WaitForSingleObject(handle, 0));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, os().GetLastError());
        os().SetLastError(kUntouchedError);
        EXPECT_FALSE(os().ReleaseMutex(handle));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, os().GetLastError());
        os().SetLastError(kUntouchedError);
        EXPECT_FALSE(os().CloseHandle(handle));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, os().GetLastError());
    }
}

TEST_F(SyncContract, ClosingLeavesTheLastErrorAlone) {
    const HANDLE other = os().CreateMutexW(nullptr, TRUE, nullptr);
    os().SetLastError(kUntouchedError);
    EXPECT_TRUE(os().CloseHandle(other));
    EXPECT_EQ(kUntouchedError, os().GetLastError());
}

TEST_F(SyncContract, AMutexMayBeClosedWhoeverOwnsIt) {
    platform::testing::Latch owned(1);
    platform::testing::Latch closed(1);
    const HANDLE other = os().CreateMutexW(nullptr, FALSE, nullptr);
    std::thread owner([&] {
        EXPECT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(other, INFINITE));
        EXPECT_EQ(WAIT_OBJECT_0, os().WaitForSingleObject(other, INFINITE));
        owned.count_down();
        closed.wait();
        // The handle's number may be another mutex's by now, which is not ours either.
        EXPECT_FALSE(os().ReleaseMutex(other));
    });
    owned.wait();
    EXPECT_TRUE(os().CloseHandle(other));
    // New ones are free, while that thread lives and after it.
    const HANDLE during = os().CreateMutexW(nullptr, FALSE, nullptr);
    EXPECT_EQ(WAIT_OBJECT_0, waitOnAnotherThread(during));
    closed.count_down();
    owner.join();
    const HANDLE after = os().CreateMutexW(nullptr, FALSE, nullptr);
    EXPECT_EQ(WAIT_OBJECT_0, waitOnAnotherThread(after));
    EXPECT_TRUE(os().CloseHandle(during));
    EXPECT_TRUE(os().CloseHandle(after));
}

TEST_F(SyncContract, ManyMutexesAreIndependent) {
    // Half of them are owned at once; the thread sanitizer keeps count of 64.
    std::vector<HANDLE> mutexes;
    for (int i = 0; i < 100; ++i) {
        mutexes.push_back(os().CreateMutexW(nullptr, i % 2, nullptr));
    }
    EXPECT_EQ(100U, std::set<HANDLE>(mutexes.begin(), mutexes.end()).size());
    onAnotherThread([&] {
        for (int i = 0; i < 100; ++i) {
            const HANDLE one = mutexes[static_cast<std::size_t>(i)];
            EXPECT_EQ(i % 2 == 0 ? WAIT_OBJECT_0 : DWORD{WAIT_TIMEOUT},
                      os().WaitForSingleObject(one, 0));
            EXPECT_EQ(i % 2 == 0, os().ReleaseMutex(one) != FALSE);
        }
    });
    for (const HANDLE one : mutexes) {
        EXPECT_TRUE(os().CloseHandle(one));
    }
}

TEST_F(SyncContract, EachLivingThreadHasANumberOfItsOwn) {
    constexpr int kThreads = 8;
    std::vector<DWORD> numbers(kThreads);
    platform::testing::Latch all(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            numbers[static_cast<std::size_t>(i)] = os().GetCurrentThreadId();
            all.arrive_and_wait();
            EXPECT_EQ(numbers[static_cast<std::size_t>(i)], os().GetCurrentThreadId());
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::set<DWORD> different(numbers.begin(), numbers.end());
    different.insert(os().GetCurrentThreadId());
    EXPECT_EQ(kThreads + 1U, different.size());
    EXPECT_EQ(0U, different.count(0));
}

}  // namespace
}  // namespace Tallowmere::platform
