#include "kest/platform/testing/ScopedCall.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Tallowmere::platform::testing {
namespace {

using ThreadIdCall = ScopedCall<&Calls::GetCurrentThreadId>;

TEST(ScopedCall, ReplacesACallForItsScopeAndRestoresIt) {
    const auto before = g_calls.GetCurrentThreadId;
    {
        const ThreadIdCall call([] { return DWORD{17}; });
        EXPECT_EQ(17U, os().GetCurrentThreadId());
        EXPECT_NE(before, g_calls.GetCurrentThreadId);
    }
    EXPECT_EQ(before, g_calls.GetCurrentThreadId);
}

TEST(ScopedCall, LeavesTheOtherCallsAlone) {
    const Calls before = g_calls;
    const ThreadIdCall call([] { return DWORD{17}; });
    EXPECT_EQ(before.GetLastError, g_calls.GetLastError);
    EXPECT_EQ(before.memcpy_s, g_calls.memcpy_s);
}

TEST(ScopedCall, CountsTheCalls) {
    const ThreadIdCall call([] { return DWORD{17}; });
    EXPECT_EQ(0, call.count());
    (void)os().GetCurrentThreadId();
    EXPECT_EQ(1, call.count());
    (void)os().GetCurrentThreadId();
    EXPECT_EQ(2, call.count());
}

TEST(ScopedCall, HandsOnTheArgumentsAndTheResult) {
    wchar_t buffer[8] = L"unused";
    const ScopedCall<&Calls::_itow_s> call(
        [&](int value, wchar_t* given, std::size_t size, int radix) {
            EXPECT_EQ(-3, value);
            EXPECT_EQ(buffer, given);
            EXPECT_EQ(8U, size);
            EXPECT_EQ(16, radix);
            return 99;
        });
    EXPECT_EQ(99, os()._itow_s(-3, buffer, 8, 16));
    EXPECT_STREQ(L"unused", buffer);
}

TEST(ScopedCall, ReachesWhatItReplacedThroughOriginal) {
    ScopedCall<& Calls::wcscpy_s>* self = nullptr;
    ScopedCall<&Calls::wcscpy_s> call(
        [&](wchar_t* destination, std::size_t size, const wchar_t* source) {
            return self->original(destination, size, (std::wstring(source) + L"!").c_str());
        });
    self = &call;
    wchar_t buffer[8] = L"";
    EXPECT_EQ(0, os().wcscpy_s(buffer, 8, L"text"));
    EXPECT_STREQ(L"text!", buffer);
    EXPECT_EQ(1, call.count());
}

TEST(ScopedCall, NestsForOneCall) {
    const ThreadIdCall outer([] { return DWORD{1}; });
    {
        const ThreadIdCall inner([] { return DWORD{2}; });
        EXPECT_EQ(2U, os().GetCurrentThreadId());
        EXPECT_EQ(0, outer.count());
        EXPECT_EQ(1, inner.count());
    }
    EXPECT_EQ(1U, os().GetCurrentThreadId());
    EXPECT_EQ(1, outer.count());
}

TEST(ScopedCall, GoesDownThroughAllScopesOfOneCall) {
    ThreadIdCall* selves[3] = {};
    ThreadIdCall bottom([] { return DWORD{1}; });
    ThreadIdCall middle([&] { return selves[1]->original() * 10 + 2; });
    ThreadIdCall top([&] { return selves[2]->original() * 10 + 3; });
    selves[1] = &middle;
    selves[2] = &top;
    EXPECT_EQ(123U, os().GetCurrentThreadId());
    EXPECT_EQ(1, bottom.count());
    EXPECT_EQ(1, middle.count());
    EXPECT_EQ(1, top.count());
}

TEST(ScopedCall, MayMakeOtherReplacedCallsMeanwhile) {
    ScopedCall<&Calls::GetLastError> lastError([] { return DWORD{5}; });
    const ThreadIdCall call([] { return os().GetLastError() + 1; });
    EXPECT_EQ(6U, os().GetCurrentThreadId());
    EXPECT_EQ(1, lastError.count());
}

TEST(ScopedCall, MayBeMadeFromItsOwnReplacement) {
    ThreadIdCall* self = nullptr;
    ThreadIdCall call(
        [&]() -> DWORD { return self->count() < 3 ? os().GetCurrentThreadId() + 1 : 0; });
    self = &call;
    EXPECT_EQ(2U, os().GetCurrentThreadId());
    EXPECT_EQ(3, call.count());
}

TEST(ScopedCall, IsRestoredWhenItsScopeEndsByAnException) {
    const auto before = g_calls.GetCurrentThreadId;
    EXPECT_THROW(
        {
            const ThreadIdCall call([]() -> DWORD { throw std::runtime_error("no thread"); });
            (void)os().GetCurrentThreadId();
        },
        std::runtime_error);
    EXPECT_EQ(before, g_calls.GetCurrentThreadId);
}

TEST(ScopedCall, RefusesANinthScopeOfOneCall) {
    std::vector<std::unique_ptr<ThreadIdCall>> scopes;
    for (DWORD level = 0; level < 8; ++level) {
        scopes.push_back(std::make_unique<ThreadIdCall>([level] { return level; }));
        EXPECT_EQ(level, os().GetCurrentThreadId());
    }
    EXPECT_THROW(ThreadIdCall([] { return DWORD{8}; }), std::length_error);
    EXPECT_EQ(7U, os().GetCurrentThreadId());
    while (!scopes.empty()) {
        EXPECT_EQ(scopes.size() - 1, os().GetCurrentThreadId());
        scopes.pop_back();
    }
}

TEST(ScopedCall, CountsTheCallsOfSeveralThreads) {
    ThreadIdCall* self = nullptr;
    ThreadIdCall outer([] { return DWORD{40}; });
    ThreadIdCall inner([&] { return self->original() + 2; });
    self = &inner;
    std::vector<std::thread> threads;
    std::vector<int> wrong(4);
    for (int& failures : wrong) {
        threads.emplace_back([&failures] {
            for (int i = 0; i < 1000; ++i) {
                failures += os().GetCurrentThreadId() == 42 ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::vector<int>(4), wrong);
    EXPECT_EQ(4000, outer.count());
    EXPECT_EQ(4000, inner.count());
}

TEST(Failing, SetsTheLastErrorAndGivesTheFailureValue) {
    DWORD lastError = 0;
    const ScopedCall<&Calls::SetLastError> set([&](DWORD code) { lastError = code; });
    EXPECT_EQ(INVALID_HANDLE_VALUE, failing(INVALID_HANDLE_VALUE, ERROR_ACCESS_DENIED));
    EXPECT_EQ(5U, lastError);
    EXPECT_EQ(FALSE, failing<BOOL>(FALSE, ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(2U, lastError);
    EXPECT_EQ(2, set.count());
}

}  // namespace
}  // namespace Tallowmere::platform::testing
