// Deleting a tree: what is left, by which calls, and what the trace says.

#include <gtest/gtest.h>

#include <stdexcept>

#include "kest/platform/testing/ScriptedTree.h"
#include "kest/transacted/TransactedFS.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::testing::ScriptedTree;
using testing::failureLine;
using testing::failureText;

using Lines = std::vector<std::wstring>;
using Snapshot = std::map<std::wstring, std::wstring>;

class DeleteTree : public ::testing::Test {
protected:
    DeleteTree() { tree.directory(L"C:\\"); }

    /// What a deletion throws; "" when it succeeds.
    std::string remove(const std::wstring& path) {
        try {
            DeleteDirectoryTransacted(path);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "";
    }

    testing::TraceCapture trace;
    ScriptedTree tree;
};

TEST_F(DeleteTree, MakesExactlyTheseCalls) {
    tree.file(L"C:\\old\\sub\\b");
    tree.file(L"C:\\old\\a");
    tree.link(L"C:\\old\\link", L"C:\\real", true);
    tree.link(L"C:\\old\\filelink", L"C:\\real\\kept", false);
    tree.file(L"C:\\real\\kept", L"1");
    EXPECT_EQ("", remove(L"C:\\old"));
    EXPECT_EQ((Lines{
                  L"CreateTransaction(null, null, 0, 0, 0, 0, \"DeleteDirectoryTransacted\")",
                  L"GetFileAttributesTransactedW(\"C:\\old\", 0, data, T)",
                  L"FindFirstFileTransactedW(\"C:\\old\\*\", 0, data, 0, null, 0, T)",
                  L"FindNextFileW(S1, data)",
                  L"FindNextFileW(S1, data)",
                  L"FindFirstFileTransactedW(\"C:\\old\\sub\\*\", 0, data, 0, null, 0, T)",
                  L"FindNextFileW(S2, data)",
                  L"FindNextFileW(S2, data)",
                  L"DeleteFileTransactedW(\"C:\\old\\sub\\b\", T)",
                  L"FindNextFileW(S2, data)",
                  L"RemoveDirectoryTransactedW(\"\\\\?\\C:\\old\\sub\", T)",
                  L"FindNextFileW(S1, data)",
                  L"DeleteFileTransactedW(\"C:\\old\\a\", T)",
                  L"FindNextFileW(S1, data)",
                  L"RemoveDirectoryTransactedW(\"C:\\old\\link\", T)",
                  L"FindNextFileW(S1, data)",
                  L"DeleteFileTransactedW(\"C:\\old\\filelink\", T)",
                  L"FindNextFileW(S1, data)",
                  L"RemoveDirectoryTransactedW(\"\\\\?\\C:\\old\", T)",
                  L"CommitTransaction(T)",
              }),
              tree.calls());
    EXPECT_EQ((Lines{
                  L"INFO TransactedFS: DeleteFileTransacted C:\\old\\sub\\b",
                  L"INFO TransactedFS: RemoveDirectoryTransacted \\\\?\\C:\\old\\sub",
                  L"INFO TransactedFS: DeleteFileTransacted C:\\old\\a",
                  L"INFO TransactedFS: RemoveDirectoryTransacted C:\\old\\link",
                  L"INFO TransactedFS: DeleteFileTransacted C:\\old\\filelink",
                  L"INFO TransactedFS: RemoveDirectoryTransacted \\\\?\\C:\\old",
              }),
              trace.lines());
    EXPECT_EQ((Snapshot{{L"C:\\real", L"dir"}, {L"C:\\real\\kept", L"file 1"}}), tree.snapshot());
    EXPECT_EQ(1, tree.commits());
    EXPECT_EQ(0, tree.rollbacks());
    EXPECT_EQ(2U, tree.openSearches());
}

TEST_F(DeleteTree, AMissingTreeIsNoErrorButForATraceLine) {
    EXPECT_EQ("", remove(L"C:\\none"));
    EXPECT_EQ(
        (Lines{L"CreateTransaction(null, null, 0, 0, 0, 0, \"DeleteDirectoryTransacted\")",
               L"GetFileAttributesTransactedW(\"C:\\none\", 0, data, T)", L"CommitTransaction(T)"}),
        tree.calls());
    EXPECT_EQ((Lines{failureLine(L"GetFileAttributesTransacted", ERROR_FILE_NOT_FOUND)}),
              trace.lines());
    EXPECT_EQ(1, tree.commits());
}

TEST_F(DeleteTree, ABareDriveIsEmptiedAndNotRemoved) {
    tree.file(L"D:\\a");
    tree.file(L"D:\\sub\\b");
    tree.file(L"D:\\$Recycle.bin\\kept", L"1");
    for (const wchar_t* const drive : {L"D:", L"d:"}) {
        tree.keep();
        trace.clear();
        EXPECT_EQ("", remove(drive));
        EXPECT_EQ((Snapshot{{L"D:\\$Recycle.bin", L"dir"}, {L"D:\\$Recycle.bin\\kept", L"file 1"}}),
                  tree.snapshot())
            << drive;
        for (const std::wstring& call : tree.calls()) {
            EXPECT_NE(L"RemoveDirectoryTransactedW(\"\\\\?\\D", call.substr(0, 32));
        }
        tree.restore();
    }
}

TEST_F(DeleteTree, OfABareDriveTheTraceNamesNoRoot) {
    tree.file(L"D:\\a");
    tree.directory(L"D:\\sub");
    EXPECT_EQ("", remove(L"D:"));
    EXPECT_EQ((Lines{L"INFO TransactedFS: DeleteFileTransacted D:\\a",
                     L"INFO TransactedFS: RemoveDirectoryTransacted \\\\?\\D:\\sub"}),
              trace.lines());
    EXPECT_EQ(1, tree.commits());
}

TEST_F(DeleteTree, APathThatHasThePrefixGetsItTwiceFailsAndIsRolledBack) {
    tree.file(L"C:\\old\\a", L"1");
    const Snapshot before = tree.snapshot();
    const std::wstring text = L"RemoveDirectoryTransacted \\\\?\\\\\\?\\C:\\old";
    EXPECT_EQ(failureText(text, ERROR_INVALID_NAME), remove(L"\\\\?\\C:\\old"));
    EXPECT_EQ((Lines{L"INFO TransactedFS: DeleteFileTransacted \\\\?\\C:\\old\\a",
                     L"INFO TransactedFS: " + text, failureLine(text, ERROR_INVALID_NAME)}),
              trace.lines());
    EXPECT_EQ(L"RemoveDirectoryTransactedW(\"\\\\?\\\\\\?\\C:\\old\", T)",
              tree.calls()[tree.calls().size() - 2]);
    EXPECT_EQ(before, tree.snapshot());
    EXPECT_EQ(0, tree.commits());
    EXPECT_EQ(1, tree.rollbacks());
}

TEST_F(DeleteTree, ASeparatorAtTheEndIsKeptAndDoublesThatOfTheChildren) {
    tree.file(L"C:\\old\\a");
    EXPECT_EQ("", remove(L"C:\\old\\"));
    EXPECT_EQ((Lines{L"INFO TransactedFS: DeleteFileTransacted C:\\old\\\\a",
                     L"INFO TransactedFS: RemoveDirectoryTransacted \\\\?\\C:\\old\\"}),
              trace.lines());
    // With a directory in it the doubled separator is taken as it stands, which names nothing.
    tree.directory(L"C:\\old\\sub");
    EXPECT_EQ(failureText(L"RemoveDirectoryTransacted \\\\?\\C:\\old\\\\sub", ERROR_INVALID_NAME),
              remove(L"C:\\old\\"));
    EXPECT_EQ(1U, tree.snapshot().count(L"C:\\old\\sub"));
}

TEST_F(DeleteTree, SystemFoldersAreLeftAlone) {
    tree.file(L"D:\\System Volume Information\\kept", L"1");
    tree.file(L"D:\\sub\\System Volume Information\\gone", L"1");
    EXPECT_EQ("", remove(L"D:"));
    EXPECT_EQ((Snapshot{{L"D:\\System Volume Information", L"dir"},
                        {L"D:\\System Volume Information\\kept", L"file 1"}}),
              tree.snapshot());
}

TEST_F(DeleteTree, ATreeThatHoldsALeftOutFolderCannotBeRemoved) {
    // One level below what looks like a drive: the walk leaves it, and the folder is not empty.
    tree.file(L"\\\\server\\$RECYCLE.BIN\\kept", L"1");
    const Snapshot before = tree.snapshot();
    EXPECT_EQ(failureText(L"RemoveDirectoryTransacted \\\\?\\\\\\server", ERROR_INVALID_NAME),
              remove(L"\\\\server"));
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(DeleteTree, AnOrdinaryDirectoryWithAnotherReparseTagIsEmptied) {
    tree.entry(L"C:\\old\\cloud", FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT,
               0x9000001AU);
    tree.file(L"C:\\old\\cloud\\a");
    EXPECT_EQ("", remove(L"C:\\old"));
    EXPECT_EQ(Snapshot{}, tree.snapshot());
}

TEST_F(DeleteTree, WhatStandsInTheWayRollsTheWholeBack) {
    tree.file(L"C:\\old\\a", L"1");
    tree.entry(L"C:\\old\\readonly", FILE_ATTRIBUTE_READONLY, 0);
    const Snapshot before = tree.snapshot();
    EXPECT_EQ(failureText(L"DeleteFileTransacted", ERROR_ACCESS_DENIED), remove(L"C:\\old"));
    EXPECT_EQ((Lines{L"INFO TransactedFS: DeleteFileTransacted C:\\old\\a",
                     L"INFO TransactedFS: DeleteFileTransacted C:\\old\\readonly",
                     failureLine(L"DeleteFileTransacted", ERROR_ACCESS_DENIED)}),
              trace.lines());
    EXPECT_EQ(before, tree.snapshot());
}

struct FailingCall {
    const wchar_t* call;
    const wchar_t* text;
    DWORD error;
};

class DeleteTreeFailing : public DeleteTree, public ::testing::WithParamInterface<FailingCall> {};

TEST_P(DeleteTreeFailing, IsReportedWithTheSystemTextAndRolledBack) {
    tree.file(L"C:\\old\\sub\\a");
    tree.link(L"C:\\old\\link", L"C:\\real", true);
    const Snapshot before = tree.snapshot();
    tree.fail(GetParam().call, GetParam().error);
    EXPECT_EQ(failureText(GetParam().text, GetParam().error), remove(L"C:\\old"));
    ASSERT_FALSE(trace.lines().empty());
    EXPECT_EQ(failureLine(GetParam().text, GetParam().error), trace.lines().back());
    EXPECT_EQ(before, tree.snapshot());
    EXPECT_EQ(0, tree.commits());
    EXPECT_EQ(std::wstring(GetParam().call) == L"CreateTransaction" ? 0 : 1, tree.rollbacks());
    EXPECT_FALSE(tree.isTransactionOpen());
}

INSTANTIATE_TEST_SUITE_P(
    EachCall, DeleteTreeFailing,
    ::testing::Values(
        FailingCall{L"CreateTransaction", L"CreateTransaction", ERROR_ACCESS_DENIED},
        FailingCall{L"FindFirstFileTransactedW(\"C:\\old\\sub",
                    L"FindFirstFileTransacted C:\\old\\sub\\*", ERROR_ACCESS_DENIED},
        FailingCall{L"FindNextFileW(S2", L"FindNextFile", ERROR_FILE_CORRUPT},
        FailingCall{L"DeleteFileTransactedW", L"DeleteFileTransacted", ERROR_SHARING_VIOLATION},
        FailingCall{L"RemoveDirectoryTransactedW(\"C:\\old\\link\"", L"RemoveDirectoryTransacted",
                    ERROR_ACCESS_DENIED},
        FailingCall{L"RemoveDirectoryTransactedW(\"\\\\?\\C:\\old\\sub\"",
                    L"RemoveDirectoryTransacted \\\\?\\C:\\old\\sub", ERROR_DIR_NOT_EMPTY},
        FailingCall{L"CommitTransaction", L"CommitTransaction", ERROR_TRANSACTION_NOT_ACTIVE}));

TEST_F(DeleteTree, AForeignExceptionPassesAndLeavesTheTransactionOpen) {
    tree.file(L"C:\\old\\a");
    tree.before(L"DeleteFileTransactedW", [] { throw 42; });
    EXPECT_THROW(DeleteDirectoryTransacted(L"C:\\old"), int);
    EXPECT_TRUE(tree.isTransactionOpen());
    EXPECT_EQ(0, tree.rollbacks());
}

}  // namespace
}  // namespace Tallowmere
