// Every call of a copy and of a deletion fails once, and from then on: each time the outcome is the
// one that the call's row of the table of failures says.

#include <gtest/gtest.h>

#include <stdexcept>

#include "kest/platform/testing/FaultSweep.h"
#include "kest/platform/testing/ScriptedTree.h"
#include "kest/transacted/TransactedFS.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::testing::Fault;
using platform::testing::FaultSpan;
using platform::testing::ScriptedTree;
using testing::failureText;

using Lines = std::vector<std::wstring>;
using Snapshot = std::map<std::wstring, std::wstring>;

/// The first quoted argument of a call.
std::wstring pathIn(const std::wstring& call) {
    const std::size_t start = call.find(L'"') + 1;
    return call.substr(start, call.find(L'"', start) - start);
}

/// What is thrown when the call fails that a clean run makes as `call`; "" when it does not matter.
std::string expectedFailure(const std::wstring& call, DWORD error) {
    const std::wstring name = call.substr(0, call.find(L'('));
    const std::wstring path = pathIn(call);
    if (name == L"FindFirstFileTransactedW") {
        return failureText(L"FindFirstFileTransacted " + path, error);
    }
    if (name == L"FindNextFileW") {
        return failureText(L"FindNextFile", error);
    }
    if (name == L"RemoveDirectoryTransactedW") {
        const bool isLink = path.find(L"\\\\?\\") != 0;
        return failureText(
            isLink ? L"RemoveDirectoryTransacted" : L"RemoveDirectoryTransacted " + path, error);
    }
    if (name == L"CreateSymbolicLinkTransactedW") {
        return failureText(L"CreateSymbolicLinkTransacted " + path, error);
    }
    if (name == L"CreateFileW") {
        // Access 0 is the look beforehand, which has another way to answer.
        const bool isLook = call.find(L"\", 0, 7, ") != std::wstring::npos;
        return isLook ? "" : failureText(L"CreateFile " + path, error);
    }
    if (name == L"CloseHandle" || name == L"GetFileAttributesTransactedW") {
        return "";
    }
    // DeleteFileTransactedW, CopyFileTransactedW and the like carry no path.
    const bool isWide = name.back() == L'W';
    return failureText(isWide ? name.substr(0, name.size() - 1) : name, error);
}

class WalkSweep : public ::testing::TestWithParam<FaultSpan> {
protected:
    WalkSweep() {
        tree.directory(L"C:\\real");
        tree.file(L"C:\\from\\a", L"new");
        tree.file(L"C:\\from\\sub\\b", L"new");
        tree.link(L"C:\\from\\junction", L"C:\\real", true, IO_REPARSE_TAG_MOUNT_POINT);
        tree.file(L"C:\\to\\a", L"old");
        tree.file(L"C:\\to\\sub\\c", L"old");
        tree.link(L"C:\\to\\link", L"C:\\real", true);
        tree.keep();
        before = tree.snapshot();
    }

    template <class Body>
    void run(const Body& body) {
        tree.restore();
        thrown.clear();
        try {
            body();
        } catch (const std::runtime_error& failure) {
            thrown = failure.what();
        }
    }

    testing::TraceCapture trace;
    ScriptedTree tree;
    Snapshot before;
    std::string thrown;
};

TEST_P(WalkSweep, OfACopy) {
    Lines clean;
    Snapshot copied;
    const int tried = platform::testing::sweepFaults(
        platform::testing::Transactions | platform::testing::Files, GetParam(),
        [&] { run([] { CopyDirectoryTransacted(L"C:\\from", L"C:\\to"); }); },
        [&](const Fault& fault) {
            if (fault.number == 0) {
                EXPECT_EQ("", thrown);
                clean = tree.calls();
                copied = tree.snapshot();
                EXPECT_NE(before, copied);
                return;
            }
            ASSERT_LE(static_cast<std::size_t>(fault.number), clean.size());
            const std::wstring& call = clean[static_cast<std::size_t>(fault.number) - 1];
            SCOPED_TRACE(std::string(call.begin(), call.end()));
            const bool began = call.find(L"CreateTransaction(") != 0;
            if (thrown.empty()) {
                EXPECT_EQ(1, tree.commits());
                EXPECT_EQ(0, tree.rollbacks());
            } else {
                EXPECT_EQ(before, tree.snapshot());
                EXPECT_EQ(0, tree.commits());
                EXPECT_EQ(began ? 1 : 0, tree.rollbacks());
            }
            EXPECT_FALSE(tree.isTransactionOpen());
            EXPECT_EQ(0U, tree.openFiles());
            if (GetParam() == FaultSpan::FromThereOn) {
                // Nothing works any more, so nothing can have been committed.
                EXPECT_NE("", thrown);
                return;
            }
            if (call == L"GetFileAttributesTransactedW(\"C:\\from\", 0, data, T)") {
                EXPECT_EQ("Copy failed: C:\\from does not exist", thrown);
            } else if (call.find(L"GetFileAttributesTransactedW(\"C:\\to\"") == 0 &&
                       thrown.empty()) {
                // The old destination was not found: what is in it stays beside the copy.
                EXPECT_EQ(L"file new", tree.snapshot()[L"C:\\to\\a"]);
            } else if (call.find(L"GetFinalPathNameByHandleW(F4") == 0) {
                EXPECT_EQ(failureText(L"GetFinalPathNameByHandle C:\\from\\junction", fault.error),
                          thrown);
            } else if (call.find(L"GetFinalPathNameByHandleW(") == 0) {
                EXPECT_EQ("", thrown);
                EXPECT_EQ(copied, tree.snapshot());
            } else {
                EXPECT_EQ(expectedFailure(call, fault.error), thrown);
                if (thrown.empty()) {
                    EXPECT_EQ(copied, tree.snapshot());
                }
            }
        });
    EXPECT_EQ(static_cast<std::size_t>(tried), clean.size());
    EXPECT_GT(tried, 40);
}

TEST_P(WalkSweep, OfADeletion) {
    Lines clean;
    Snapshot deleted;
    const int tried = platform::testing::sweepFaults(
        platform::testing::Transactions | platform::testing::Files, GetParam(),
        [&] { run([] { DeleteDirectoryTransacted(L"C:\\to"); }); },
        [&](const Fault& fault) {
            if (fault.number == 0) {
                EXPECT_EQ("", thrown);
                clean = tree.calls();
                deleted = tree.snapshot();
                EXPECT_EQ(0U, deleted.count(L"C:\\to"));
                return;
            }
            const std::wstring& call = clean[static_cast<std::size_t>(fault.number) - 1];
            SCOPED_TRACE(std::string(call.begin(), call.end()));
            const bool isMissing = fault.call == L"GetFileAttributesTransactedW";
            const bool isLast = fault.call == L"CommitTransaction";
            EXPECT_EQ(before, tree.snapshot());
            EXPECT_FALSE(tree.isTransactionOpen());
            if (isMissing && GetParam() == FaultSpan::FromThereOn) {
                EXPECT_EQ(failureText(L"CommitTransaction", ERROR_TRANSACTION_NOT_ACTIVE), thrown);
            } else {
                EXPECT_EQ(expectedFailure(call, fault.error), thrown);
            }
            EXPECT_EQ(thrown.empty() ? 1 : 0, tree.commits());
            EXPECT_EQ(thrown.empty() || fault.call == L"CreateTransaction" ? 0 : 1,
                      tree.rollbacks());
            EXPECT_EQ(thrown.empty(), isMissing && GetParam() == FaultSpan::Once);
            EXPECT_EQ(isLast, fault.number == static_cast<int>(clean.size()));
        });
    EXPECT_EQ(static_cast<std::size_t>(tried), clean.size());
    EXPECT_GT(tried, 15);
}

INSTANTIATE_TEST_SUITE_P(OnceAndForGood, WalkSweep,
                         ::testing::Values(FaultSpan::Once, FaultSpan::FromThereOn));

}  // namespace
}  // namespace Tallowmere
