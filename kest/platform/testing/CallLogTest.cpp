#include "kest/platform/testing/CallLog.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <thread>

#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere::platform::testing {
namespace {

using Texts = std::vector<std::wstring>;

HANDLE handle(std::uintptr_t number) {
    return reinterpret_cast<HANDLE>(number);
}

/// Calls that would do something, played.
struct Played {
    ScopedCall<&Calls::CreateTransaction> create{[](auto...) { return handle(0x20); }};
    ScopedCall<&Calls::CommitTransaction> commit{[](auto...) { return TRUE; }};
    ScopedCall<&Calls::CloseHandle> close{[](auto...) { return TRUE; }};
    ScopedCall<&Calls::DeleteFileTransactedW> remove{[](auto...) { return TRUE; }};
    ScopedCall<&Calls::GetFileAttributesExW> attributes{[](auto...) { return TRUE; }};
    ScopedCall<&Calls::CreateMutexW> mutex{[](auto...) { return handle(0x10); }};
    ScopedCall<&Calls::WaitForSingleObject> wait{[](auto...) { return DWORD{0}; }};
};

TEST(CallLog, RecordsCallsInOrderWithTheirArguments) {
    const Played played;
    const CallLog log(Transactions);
    wchar_t description[] = L"copy";
    const HANDLE transaction = os().CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, description);
    (void)os().DeleteFileTransactedW(L"a\\b", transaction);
    (void)os().CommitTransaction(transaction);
    (void)os().CloseHandle(transaction);
    EXPECT_EQ((Texts{L"CreateTransaction(null, null, 0, 0, 0, 0, #1)",
                     L"DeleteFileTransactedW(\"a\\b\", #2)", L"CommitTransaction(#2)",
                     L"CloseHandle(#2)"}),
              log.calls());
    EXPECT_EQ((Texts{L"CreateTransaction", L"DeleteFileTransactedW", L"CommitTransaction",
                     L"CloseHandle"}),
              log.names());
}

TEST(CallLog, WritesEachKindOfArgument) {
    const Played played;
    const CallLog log(Transactions | Files | Sync | Runtime | Errors);
    int data = 0;
    wchar_t digits[16];
    (void)os().GetFileAttributesExW(L"", GetFileExInfoStandard, &data);
    (void)os().GetFileAttributesExW(nullptr, GetFileExMaxInfoLevel, nullptr);
    (void)os().CloseHandle(INVALID_HANDLE_VALUE);
    (void)os().CloseHandle(nullptr);
    (void)os().CreateMutexW(nullptr, TRUE, L"caf\u00E9");
    (void)os().WaitForSingleObject(handle(0x10), INFINITE);
    (void)os()._itow_s(-7, digits, 16, 10);
    EXPECT_EQ((Texts{L"GetFileAttributesExW(\"\", 0, #1)", L"GetFileAttributesExW(null, 1, null)",
                     L"CloseHandle(invalid)", L"CloseHandle(null)",
                     L"CreateMutexW(null, 1, \"caf\u00E9\")",
                     L"WaitForSingleObject(#2, 4294967295)", L"_itow_s(-7, #3, 16, 10)"}),
              log.calls());
    EXPECT_STREQ(L"-7", digits);
}

TEST(CallLog, NumbersPointersInTheOrderOfTheirAppearance) {
    const Played played;
    CallLog log(Transactions);
    for (const std::uintptr_t number : {0x50, 0x40, 0x50, 0x60, 0x40}) {
        (void)os().CloseHandle(handle(number));
    }
    EXPECT_EQ((Texts{L"CloseHandle(#1)", L"CloseHandle(#2)", L"CloseHandle(#1)", L"CloseHandle(#3)",
                     L"CloseHandle(#2)"}),
              log.calls());
    log.clear();
    EXPECT_EQ(Texts(), log.calls());
    (void)os().CloseHandle(handle(0x60));
    EXPECT_EQ(Texts{L"CloseHandle(#3)"}, log.calls());
}

TEST(CallLog, WritesACallWithoutArguments) {
    const ScopedCall<&Calls::GetCurrentThreadId> thread([] { return DWORD{4}; });
    const CallLog log(Sync);
    EXPECT_EQ(4U, os().GetCurrentThreadId());
    EXPECT_EQ(Texts{L"GetCurrentThreadId()"}, log.calls());
    EXPECT_EQ(Texts{L"GetCurrentThreadId"}, log.names());
}

TEST(CallLog, RecordsItsFamiliesAlone) {
    const Played played;
    const CallLog log(Files);
    (void)os().CloseHandle(handle(0x10));
    (void)os().CreateMutexW(nullptr, FALSE, nullptr);
    int data = 0;
    (void)os().GetFileAttributesExW(L"x", GetFileExInfoStandard, &data);
    EXPECT_EQ(Texts{L"GetFileAttributesExW"}, log.names());
    EXPECT_EQ(1, played.close.count());
    EXPECT_EQ(1, played.mutex.count());
}

TEST(CallLog, MakesTheCallsAsBefore) {
    const CallLog log(Runtime);
    wchar_t text[8];
    EXPECT_EQ(0, os().wcscpy_s(text, 8, L"abc"));
    EXPECT_STREQ(L"abc", text);
    EXPECT_EQ(34, os().wcscpy_s(text, 3, L"abc"));
    EXPECT_EQ((Texts{L"wcscpy_s(#1, 8, \"abc\")", L"wcscpy_s(#1, 3, \"abc\")"}), log.calls());
}

TEST(CallLog, LeavesTheLastErrorAlone) {
    const CallLog log(Errors | Runtime);
    os().SetLastError(1234);
    wchar_t text[4];
    (void)os().wcscpy_s(text, 4, L"abc");
    EXPECT_EQ(1234U, os().GetLastError());
    EXPECT_EQ((Texts{L"SetLastError(1234)", L"wcscpy_s(#1, 4, \"abc\")", L"GetLastError()"}),
              log.calls());
}

TEST(CallLog, RestoresTheTable) {
    const auto close = g_calls.CloseHandle;
    const auto attributes = g_calls.GetFileAttributesExW;
    {
        const CallLog log(Transactions);
        EXPECT_NE(close, g_calls.CloseHandle);
        EXPECT_EQ(attributes, g_calls.GetFileAttributesExW);
    }
    EXPECT_EQ(close, g_calls.CloseHandle);
}

TEST(CallLog, NestsWithLogsAndReplacedCalls) {
    const Played played;
    CallLog outer(Transactions | Sync);
    (void)os().CloseHandle(handle(0x30));
    {
        ScopedCall<& Calls::CloseHandle>* self = nullptr;
        ScopedCall<&Calls::CloseHandle> between(
            [&](HANDLE closed) { return self->original(closed); });
        self = &between;
        CallLog inner(Transactions);
        (void)os().CloseHandle(handle(0x20));
        (void)os().CreateMutexW(nullptr, FALSE, nullptr);
        EXPECT_EQ(Texts{L"CloseHandle(#1)"}, inner.calls());
        EXPECT_EQ(1, between.count());
    }
    (void)os().CloseHandle(handle(0x20));
    // Each log has numbers of its own.
    EXPECT_EQ((Texts{L"CloseHandle(#1)", L"CloseHandle(#2)", L"CreateMutexW(null, 0, null)",
                     L"CloseHandle(#2)"}),
              outer.calls());
    EXPECT_EQ(3, played.close.count());
}

TEST(CallLog, SeesNothingThatIsReplacedInFrontOfIt) {
    const Played played;
    const CallLog log(Transactions);
    const ScopedCall<&Calls::CloseHandle> close([](HANDLE) { return FALSE; });
    EXPECT_EQ(FALSE, os().CloseHandle(handle(1)));
    EXPECT_EQ(Texts(), log.calls());
}

TEST(CallLog, RefusesAFifthLog) {
    const Played played;
    std::vector<std::unique_ptr<CallLog>> logs;
    for (int level = 0; level < 4; ++level) {
        logs.push_back(std::make_unique<CallLog>(Transactions));
    }
    EXPECT_THROW(CallLog{Transactions}, std::length_error);
    (void)os().CloseHandle(handle(1));
    while (!logs.empty()) {
        EXPECT_EQ(Texts{L"CloseHandle(#1)"}, logs.back()->calls());
        logs.pop_back();
    }
    EXPECT_EQ(1, played.close.count());
}

TEST(CallLog, RecordsTheCallsOfSeveralThreads) {
    const Played played;
    const CallLog log(Transactions);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (std::uintptr_t number = 1; number <= 100; ++number) {
                (void)os().CloseHandle(handle(number));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Texts(400, L"CloseHandle"), log.names());
}

}  // namespace
}  // namespace Tallowmere::platform::testing
