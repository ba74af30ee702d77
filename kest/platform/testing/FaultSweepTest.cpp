#include "kest/platform/testing/FaultSweep.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere::platform::testing {
namespace {

using Texts = std::vector<std::wstring>;

/// One transaction as the library makes it, against played calls; notes what reaches them and what
/// the caller sees.
class FaultSweepTest : public ::testing::Test {
protected:
    HANDLE transaction() const { return reinterpret_cast<HANDLE>(std::uintptr_t{0x70}); }

    /// Makes all four calls whatever fails.
    void stubborn() {
        m_made.clear();
        m_seen.clear();
        SYSTEMTIME now;
        os().GetSystemTime(&now);
        see(os().CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, nullptr) == transaction());
        see(os().DeleteFileTransactedW(L"f", transaction()) == TRUE);
        see(os().CommitTransaction(transaction()) == TRUE);
        see(os().CloseHandle(transaction()) == TRUE);
    }

    /// Stops at the first failure, but closes what is open.
    void careful() {
        m_made.clear();
        if (os().CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, nullptr) == INVALID_HANDLE_VALUE) {
            return;
        }
        if (os().DeleteFileTransactedW(L"f", transaction())) {
            (void)os().CommitTransaction(transaction());
        }
        (void)os().CloseHandle(transaction());
    }

    void see(bool good) { m_seen.push_back(good ? L"ok" : std::to_wstring(m_lastError)); }
    void note(const wchar_t* call) { m_made.push_back(call); }

    DWORD m_lastError = 0;
    Texts m_made;
    Texts m_seen;

    ScopedCall<&Calls::SetLastError> m_setLastError{[this](DWORD code) { m_lastError = code; }};
    ScopedCall<&Calls::GetSystemTime> m_now{[this](SYSTEMTIME*) { note(L"now"); }};
    ScopedCall<&Calls::CreateTransaction> m_create{[this](auto...) {
        note(L"create");
        return transaction();
    }};
    ScopedCall<&Calls::DeleteFileTransactedW> m_remove{[this](auto...) {
        note(L"delete");
        return TRUE;
    }};
    ScopedCall<&Calls::CommitTransaction> m_commit{[this](auto...) {
        note(L"commit");
        return TRUE;
    }};
    ScopedCall<&Calls::CloseHandle> m_close{[this](auto...) {
        note(L"close");
        return TRUE;
    }};
};

TEST_F(FaultSweepTest, FailsEachCallOnceAndTellsWhich) {
    std::vector<Fault> faults;
    std::vector<Texts> made;
    std::vector<Texts> seen;
    const int tried = sweepFaults(
        Transactions, FaultSpan::Once, [&] { stubborn(); },
        [&](const Fault& fault) {
            faults.push_back(fault);
            made.push_back(m_made);
            seen.push_back(m_seen);
        });
    EXPECT_EQ(4, tried);
    ASSERT_EQ(5U, faults.size());
    const Fault expected[] = {{0, L"", 0},
                              {1, L"CreateTransaction", 1450},
                              {2, L"DeleteFileTransactedW", 5},
                              {3, L"CommitTransaction", 6701},
                              {4, L"CloseHandle", 6}};
    for (std::size_t i = 0; i < faults.size(); ++i) {
        EXPECT_EQ(expected[i].number, faults[i].number);
        EXPECT_EQ(expected[i].call, faults[i].call);
        EXPECT_EQ(expected[i].error, faults[i].error);
    }
    // A failed call is not made, but for the one that gives something back.
    EXPECT_EQ((std::vector<Texts>{{L"now", L"create", L"delete", L"commit", L"close"},
                                  {L"now", L"delete", L"commit", L"close"},
                                  {L"now", L"create", L"commit", L"close"},
                                  {L"now", L"create", L"delete", L"close"},
                                  {L"now", L"create", L"delete", L"commit", L"close"}}),
              made);
    EXPECT_EQ((std::vector<Texts>{{L"ok", L"ok", L"ok", L"ok"},
                                  {L"1450", L"ok", L"ok", L"ok"},
                                  {L"ok", L"5", L"ok", L"ok"},
                                  {L"ok", L"ok", L"6701", L"ok"},
                                  {L"ok", L"ok", L"ok", L"6"}}),
              seen);
}

TEST_F(FaultSweepTest, CanFailAllCallsFromOneOn) {
    std::vector<Texts> seen;
    Texts calls;
    const int tried = sweepFaults(
        Transactions, FaultSpan::FromThereOn, [&] { stubborn(); },
        [&](const Fault& fault) {
            calls.push_back(fault.call);
            seen.push_back(m_seen);
        });
    EXPECT_EQ(4, tried);
    // Named is the first of them.
    EXPECT_EQ((Texts{L"", L"CreateTransaction", L"DeleteFileTransactedW", L"CommitTransaction",
                     L"CloseHandle"}),
              calls);
    EXPECT_EQ((std::vector<Texts>{{L"ok", L"ok", L"ok", L"ok"},
                                  {L"1450", L"5", L"6701", L"6"},
                                  {L"ok", L"5", L"6701", L"6"},
                                  {L"ok", L"ok", L"6701", L"6"},
                                  {L"ok", L"ok", L"ok", L"6"}}),
              seen);
}

TEST_F(FaultSweepTest, FollowsABodyThatStopsAtItsFirstFailure) {
    std::vector<Texts> made;
    const int tried = sweepFaults(
        Transactions, FaultSpan::Once, [&] { careful(); },
        [&](const Fault&) { made.push_back(m_made); });
    EXPECT_EQ(4, tried);
    EXPECT_EQ((std::vector<Texts>{{L"create", L"delete", L"commit", L"close"},
                                  {},
                                  {L"create", L"close"},
                                  {L"create", L"delete", L"close"},
                                  {L"create", L"delete", L"commit", L"close"}}),
              made);
}

TEST_F(FaultSweepTest, TriesAsManyFaultsAsTheBodyMakesCalls) {
    for (int calls = 0; calls <= 30; ++calls) {
        int checked = 0;
        const int tried = sweepFaults(
            Transactions, FaultSpan::Once,
            [&] {
                for (int i = 0; i < calls; ++i) {
                    (void)os().CommitTransaction(transaction());
                }
            },
            [&](const Fault& fault) {
                EXPECT_EQ(checked, fault.number);
                EXPECT_EQ(checked == 0 ? L"" : L"CommitTransaction", fault.call);
                ++checked;
            });
        EXPECT_EQ(calls, tried);
        EXPECT_EQ(calls + 1, checked);
    }
}

TEST_F(FaultSweepTest, EndsWithABodyThatTriesAgain) {
    const auto tryAgain = [&] {
        while (!os().CommitTransaction(transaction())) {
        }
    };
    EXPECT_EQ(1, sweepFaults(Transactions, FaultSpan::Once, tryAgain, [](const Fault&) {}));
}

TEST_F(FaultSweepTest, LeavesOtherFamiliesAndSafeCallsAlone) {
    int checked = 0;
    EXPECT_EQ(0, sweepFaults(
                     Files | Errors | Time | Sync, FaultSpan::FromThereOn,
                     [&] {
                         stubborn();
                         os().SetLastError(7);
                     },
                     [&](const Fault& fault) {
                         ++checked;
                         EXPECT_EQ(0, fault.number);
                     }));
    EXPECT_EQ(1, checked);
    EXPECT_EQ((Texts{L"ok", L"ok", L"ok", L"ok"}), m_seen);
}

TEST_F(FaultSweepTest, TakesSeveralFamilies) {
    Texts calls;
    wchar_t text[8];
    const auto body = [&] {
        (void)os().CommitTransaction(transaction());
        (void)os()._itow_s(1, text, 8, 10);
        (void)os().memcpy_s(text, 4, L"ab", 4);
        (void)os().wcscpy_s(text, 8, L"ab");
    };
    EXPECT_EQ(4, sweepFaults(Transactions | Runtime, FaultSpan::Once, body,
                             [&](const Fault& fault) { calls.push_back(fault.call); }));
    EXPECT_EQ((Texts{L"", L"CommitTransaction", L"_itow_s", L"memcpy_s", L"wcscpy_s"}), calls);
}

TEST_F(FaultSweepTest, GivesTheFailureValueOfTheCall) {
    std::vector<std::vector<int>> results;
    std::vector<int> run;
    wchar_t text[8];
    (void)sweepFaults(
        Runtime, FaultSpan::Once,
        [&] {
            run = {os()._itow_s(1, text, 8, 10), os().memcpy_s(text, 4, L"ab", 4),
                   os().wcscpy_s(text, 8, L"ab")};
        },
        [&](const Fault&) { results.push_back(run); });
    EXPECT_EQ((std::vector<std::vector<int>>{{0, 0, 0}, {22, 0, 0}, {0, 34, 0}, {0, 0, 34}}),
              results);
}

TEST_F(FaultSweepTest, ChecksWithTheTableAsItWas) {
    const auto commit = g_calls.CommitTransaction;
    (void)sweepFaults(
        Transactions, FaultSpan::FromThereOn,
        [&] {
            EXPECT_NE(commit, g_calls.CommitTransaction);
            stubborn();
        },
        [&](const Fault&) {
            EXPECT_EQ(commit, g_calls.CommitTransaction);
            EXPECT_EQ(TRUE, os().CommitTransaction(transaction()));
        });
    EXPECT_EQ(commit, g_calls.CommitTransaction);
}

TEST_F(FaultSweepTest, RestoresTheTableWhenTheBodyThrows) {
    const auto commit = g_calls.CommitTransaction;
    const auto body = [&] {
        if (!os().CommitTransaction(transaction())) {
            throw std::runtime_error("not committed");
        }
    };
    EXPECT_THROW(sweepFaults(Transactions, FaultSpan::Once, body, [](const Fault&) {}),
                 std::runtime_error);
    EXPECT_EQ(commit, g_calls.CommitTransaction);
    // The next sweep is not hindered by it.
    EXPECT_EQ(4, sweepFaults(
                     Transactions, FaultSpan::Once, [&] { stubborn(); }, [](const Fault&) {}));
}

TEST_F(FaultSweepTest, PassesOnWhatTheCheckThrows) {
    const auto check = [](const Fault& fault) {
        if (fault.number == 2) {
            throw std::out_of_range("two");
        }
    };
    EXPECT_THROW(sweepFaults(
                     Transactions, FaultSpan::Once, [&] { stubborn(); }, check),
                 std::out_of_range);
}

TEST_F(FaultSweepTest, RefusesASweepInsideItsBody) {
    const auto commit = g_calls.CommitTransaction;
    const auto nothing = [](const Fault&) {};
    const auto inner = [&] {
        (void)sweepFaults(
            Transactions, FaultSpan::Once, [] {}, nothing);
    };
    EXPECT_THROW(sweepFaults(Transactions, FaultSpan::Once, inner, nothing), std::logic_error);
    EXPECT_EQ(commit, g_calls.CommitTransaction);
    // In its check there may be one.
    int tried = 0;
    (void)sweepFaults(
        Transactions, FaultSpan::Once, [] {},
        [&](const Fault&) {
            tried = sweepFaults(
                Transactions, FaultSpan::Once, [&] { careful(); }, nothing);
        });
    EXPECT_EQ(4, tried);
}

TEST_F(FaultSweepTest, WorksBetweenLogs) {
    CallLog below(Transactions);
    std::vector<Texts> asked;
    Texts names;
    const int tried = sweepFaults(
        Transactions, FaultSpan::Once,
        [&] {
            const CallLog above(Transactions);
            careful();
            names = above.names();
        },
        [&](const Fault&) {
            asked.push_back(names);
            asked.push_back(below.names());
            below.clear();
        });
    EXPECT_EQ(4, tried);
    const Texts all = {L"CreateTransaction", L"DeleteFileTransactedW", L"CommitTransaction",
                       L"CloseHandle"};
    // In pairs: what the body asked for, what was made of it.
    EXPECT_EQ((std::vector<Texts>{all,
                                  all,
                                  {L"CreateTransaction"},
                                  {},
                                  {L"CreateTransaction", L"DeleteFileTransactedW", L"CloseHandle"},
                                  {L"CreateTransaction", L"CloseHandle"},
                                  all,
                                  {L"CreateTransaction", L"DeleteFileTransactedW", L"CloseHandle"},
                                  all,
                                  all}),
              asked);
}

}  // namespace
}  // namespace Tallowmere::platform::testing
