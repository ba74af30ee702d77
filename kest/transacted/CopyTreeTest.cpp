// Copying a tree: what comes out, by which calls, and what the trace says.

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

class CopyTree : public ::testing::Test {
protected:
    CopyTree() { tree.directory(L"C:\\"); }

    /// What a copy throws; "" when it succeeds.
    std::string copy(const std::wstring& source, const std::wstring& destination) {
        try {
            CopyDirectoryTransacted(source, destination);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "";
    }

    /// The calls made, without those by which the two places are compared beforehand.
    Lines walkCalls() const {
        Lines calls;
        for (const std::wstring& call : tree.calls()) {
            if (call.find(L"CreateFileW(") != 0 && call.find(L"GetFinalPathNameByHandleW(") != 0 &&
                call.find(L"CloseHandle(F") != 0) {
                calls.push_back(call);
            }
        }
        return calls;
    }

    bool wasMade(const std::wstring& text) const {
        for (const std::wstring& call : tree.calls()) {
            if (call.find(text) != std::wstring::npos) {
                return true;
            }
        }
        return false;
    }

    const std::wstring isMissing =
        failureLine(L"GetFileAttributesTransacted", ERROR_FILE_NOT_FOUND);
    testing::TraceCapture trace;
    ScriptedTree tree;
};

TEST_F(CopyTree, MakesExactlyTheseCallsForANewDestination) {
    tree.file(L"C:\\from\\sub\\deep.txt", L"1");
    tree.file(L"C:\\from\\file", L"2");
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(
        (Lines{
            L"CreateTransaction(null, null, 0, 0, 0, 0, \"CopyDirectoryTransacted\")",
            L"GetFileAttributesTransactedW(\"C:\\from\", 0, data, T)",
            // Whether the one is inside the other.
            L"CreateFileW(\"C:\\from\\\", 0, 7, null, 3, 33554432, null)",
            L"GetFinalPathNameByHandleW(F1, data, 32768, 0)",
            L"GetFinalPathNameByHandleW(F1, data, 32768, 1)",
            L"CloseHandle(F1)",
            L"CreateFileW(\"C:\\to\\\", 0, 7, null, 3, 33554432, null)",
            L"CreateFileW(\"C:\\\", 0, 7, null, 3, 33554432, null)",
            L"GetFinalPathNameByHandleW(F2, data, 32768, 0)",
            L"GetFinalPathNameByHandleW(F2, data, 32768, 1)",
            L"CloseHandle(F2)",
            // The old destination: there is none.
            L"GetFileAttributesTransactedW(\"C:\\to\", 0, data, T)",
            // The copy.
            L"GetFileAttributesTransactedW(\"C:\\to\", 0, data, T)",
            L"CreateDirectoryTransactedW(null, \"C:\\to\", null, T)",
            L"FindFirstFileTransactedW(\"C:\\from\\*\", 0, data, 0, null, 0, T)",
            L"FindNextFileW(S1, data)",
            L"FindNextFileW(S1, data)",
            L"GetFileAttributesTransactedW(\"C:\\to\\sub\", 0, data, T)",
            L"CreateDirectoryTransactedW(null, \"C:\\to\\sub\", null, T)",
            L"FindFirstFileTransactedW(\"C:\\from\\sub\\*\", 0, data, 0, null, 0, T)",
            L"FindNextFileW(S2, data)",
            L"FindNextFileW(S2, data)",
            L"CopyFileTransactedW(\"C:\\from\\sub\\deep.txt\", \"C:\\to\\sub\\deep.txt\", null, "
            L"null, null, 2048, T)",
            L"FindNextFileW(S2, data)",
            L"FindNextFileW(S1, data)",
            L"CopyFileTransactedW(\"C:\\from\\file\", \"C:\\to\\file\", null, null, null, 2048, T)",
            L"FindNextFileW(S1, data)",
            L"CommitTransaction(T)",
        }),
        tree.calls());
    EXPECT_EQ(1, tree.commits());
    EXPECT_EQ(0, tree.rollbacks());
    // Never closed: nobody could, there is no call for it.
    EXPECT_EQ(2U, tree.openSearches());
    EXPECT_EQ(0U, tree.openFiles());
}

TEST_F(CopyTree, TracesEachStep) {
    tree.file(L"C:\\from\\sub\\deep.txt");
    tree.file(L"C:\\from\\file");
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ((Lines{
                  isMissing,
                  L"INFO TransactedFS: CreateDirectoryTransacted C:\\to",
                  isMissing,
                  L"INFO TransactedFS: CopyFileTransacted C:\\from\\sub -> C:\\to\\sub",
                  L"INFO TransactedFS: CreateDirectoryTransacted C:\\to\\sub",
                  isMissing,
                  L"INFO TransactedFS: CopyFileTransacted C:\\from\\sub\\deep.txt -> "
                  L"C:\\to\\sub\\deep.txt",
                  L"INFO TransactedFS: CopyFileTransacted C:\\from\\file -> C:\\to\\file",
              }),
              trace.lines());
}

TEST_F(CopyTree, CopiesWhatThereIs) {
    tree.file(L"C:\\from\\a", L"1");
    tree.file(L"C:\\from\\sub\\b", L"2");
    tree.directory(L"C:\\from\\empty");
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ((Snapshot{{L"C:\\from", L"dir"},
                        {L"C:\\from\\a", L"file 1"},
                        {L"C:\\from\\empty", L"dir"},
                        {L"C:\\from\\sub", L"dir"},
                        {L"C:\\from\\sub\\b", L"file 2"},
                        {L"C:\\to", L"dir"},
                        {L"C:\\to\\a", L"file 1"},
                        {L"C:\\to\\empty", L"dir"},
                        {L"C:\\to\\sub", L"dir"},
                        {L"C:\\to\\sub\\b", L"file 2"}}),
              tree.snapshot());
}

TEST_F(CopyTree, RemovesTheOldDestinationFirstInTheSameTransaction) {
    tree.file(L"C:\\from\\a", L"new");
    tree.file(L"C:\\to\\a", L"old");
    tree.file(L"C:\\to\\gone", L"old");
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ((Lines{
                  L"CreateTransaction(null, null, 0, 0, 0, 0, \"CopyDirectoryTransacted\")",
                  L"GetFileAttributesTransactedW(\"C:\\from\", 0, data, T)",
                  L"GetFileAttributesTransactedW(\"C:\\to\", 0, data, T)",
                  L"FindFirstFileTransactedW(\"C:\\to\\*\", 0, data, 0, null, 0, T)",
                  L"FindNextFileW(S1, data)",
                  L"FindNextFileW(S1, data)",
                  L"DeleteFileTransactedW(\"C:\\to\\a\", T)",
                  L"FindNextFileW(S1, data)",
                  L"DeleteFileTransactedW(\"C:\\to\\gone\", T)",
                  L"FindNextFileW(S1, data)",
                  L"RemoveDirectoryTransactedW(\"\\\\?\\C:\\to\", T)",
                  L"GetFileAttributesTransactedW(\"C:\\to\", 0, data, T)",
                  L"CreateDirectoryTransactedW(null, \"C:\\to\", null, T)",
                  L"FindFirstFileTransactedW(\"C:\\from\\*\", 0, data, 0, null, 0, T)",
                  L"FindNextFileW(S2, data)",
                  L"FindNextFileW(S2, data)",
                  L"CopyFileTransactedW(\"C:\\from\\a\", \"C:\\to\\a\", null, null, null, 2048, T)",
                  L"FindNextFileW(S2, data)",
                  L"CommitTransaction(T)",
              }),
              walkCalls());
    EXPECT_EQ((Lines{
                  L"INFO TransactedFS: DeleteFileTransacted C:\\to\\a",
                  L"INFO TransactedFS: DeleteFileTransacted C:\\to\\gone",
                  L"INFO TransactedFS: RemoveDirectoryTransacted \\\\?\\C:\\to",
                  L"INFO TransactedFS: CreateDirectoryTransacted C:\\to",
                  isMissing,
                  L"INFO TransactedFS: CopyFileTransacted C:\\from\\a -> C:\\to\\a",
              }),
              trace.lines());
    EXPECT_EQ((Snapshot{{L"C:\\from", L"dir"},
                        {L"C:\\from\\a", L"file new"},
                        {L"C:\\to", L"dir"},
                        {L"C:\\to\\a", L"file new"}}),
              tree.snapshot());
}

TEST_F(CopyTree, AMissingSourceIsSaidPlainly) {
    tree.file(L"C:\\to\\a", L"old");
    const Snapshot before = tree.snapshot();
    EXPECT_EQ("Copy failed: C:\\from does not exist", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ((Lines{isMissing, L"ERROR Utilities: Copy failed: C:\\from does not exist"}),
              trace.lines());
    EXPECT_EQ((Lines{L"CreateTransaction(null, null, 0, 0, 0, 0, \"CopyDirectoryTransacted\")",
                     L"GetFileAttributesTransactedW(\"C:\\from\", 0, data, T)", L"CloseHandle(T)"}),
              tree.calls());
    EXPECT_EQ(before, tree.snapshot());
    EXPECT_EQ(1, tree.rollbacks());
}

TEST_F(CopyTree, WhateverKeepsTheSourceFromBeingFoundItCountsAsMissing) {
    tree.directory(L"C:\\from");
    tree.fail(L"GetFileAttributesTransactedW", ERROR_ACCESS_DENIED);
    EXPECT_EQ("Copy failed: C:\\from does not exist", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ((Lines{failureLine(L"GetFileAttributesTransacted", ERROR_ACCESS_DENIED),
                     L"ERROR Utilities: Copy failed: C:\\from does not exist"}),
              trace.lines());
}

TEST_F(CopyTree, WhateverKeepsTheDestinationFromBeingFoundItCountsAsNew) {
    tree.file(L"C:\\from\\a", L"new");
    tree.file(L"C:\\to\\b", L"old");
    tree.fail(L"GetFileAttributesTransactedW(\"C:\\to\"", ERROR_ACCESS_DENIED);
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ((Lines{failureLine(L"GetFileAttributesTransacted", ERROR_ACCESS_DENIED),
                     L"INFO TransactedFS: CreateDirectoryTransacted C:\\to",
                     L"INFO TransactedFS: CopyFileTransacted C:\\from\\a -> C:\\to\\a"}),
              trace.lines());
    Snapshot after = tree.snapshot();
    EXPECT_EQ(L"file new", after[L"C:\\to\\a"]);
    EXPECT_EQ(L"file old", after[L"C:\\to\\b"]);
}

TEST_F(CopyTree, ADirectoryThatIsAlreadyThereIsNotCreated) {
    tree.directory(L"C:\\from\\sub");
    // Somebody else's, that turns up while the copy is under way.
    tree.before(L"GetFileAttributesTransactedW(\"C:\\to\\sub\"", [&] {
        EXPECT_TRUE(platform::os().CreateDirectoryTransactedW(nullptr, L"C:\\to\\sub", nullptr,
                                                              tree.transactionHandle));
    });
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ((Lines{isMissing, L"INFO TransactedFS: CreateDirectoryTransacted C:\\to", isMissing,
                     L"INFO TransactedFS: CopyFileTransacted C:\\from\\sub -> C:\\to\\sub",
                     L"INFO TransactedFS: CreateDirectoryTransacted C:\\to\\sub"}),
              trace.lines());
}

TEST_F(CopyTree, ANullTransactionIsATransaction) {
    tree.file(L"C:\\from\\a", L"1");
    tree.transactionHandle = nullptr;
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(1, tree.commits());
    EXPECT_EQ(0, tree.rollbacks());
    tree.fail(L"CopyFileTransactedW", ERROR_DISK_FULL);
    EXPECT_EQ(failureText(L"CopyFileTransacted", ERROR_DISK_FULL), copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(1, tree.rollbacks());
}

// --- Links ---------------------------------------------------------------------------------------

TEST_F(CopyTree, AJunctionBecomesASymbolicLinkToItsResolvedTarget) {
    tree.file(L"D:\\Real\\content", L"1");
    tree.link(L"C:\\way", L"D:\\real", true);
    tree.link(L"C:\\from\\junction", L"C:\\way", true, IO_REPARSE_TAG_MOUNT_POINT);
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    Snapshot after = tree.snapshot();
    EXPECT_EQ(L"link \\\\?\\D:\\Real", after[L"C:\\to\\junction"]);
    EXPECT_EQ(L"junction C:\\way", after[L"C:\\from\\junction"]);
    // Met, not descended into.
    EXPECT_FALSE(wasMade(L"junction\\*"));
    EXPECT_FALSE(wasMade(L"CopyFileTransactedW"));
    Lines calls = tree.calls();
    calls.erase(calls.begin(), calls.end() - 6);
    EXPECT_EQ((Lines{
                  L"CreateFileW(\"C:\\from\\junction\", 2147483648, 1, null, 3, 33554432, null)",
                  L"GetFinalPathNameByHandleW(F3, data, 32768, 0)",
                  L"CloseHandle(F3)",
                  L"CreateSymbolicLinkTransactedW(\"C:\\to\\junction\", \"\\\\?\\D:\\Real\", 1, T)",
                  L"FindNextFileW(S1, data)",
                  L"CommitTransaction(T)",
              }),
              calls);
    EXPECT_EQ(L"INFO TransactedFS: CopyFileTransacted C:\\from\\junction -> C:\\to\\junction",
              trace.lines().back());
}

TEST_F(CopyTree, ALinkToADirectoryIsResolvedToo) {
    tree.directory(L"C:\\real");
    tree.link(L"C:\\from\\link", L"C:\\real", true);
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(L"link \\\\?\\C:\\real", tree.snapshot()[L"C:\\to\\link"]);
}

TEST_F(CopyTree, ALinkToAFileIsCopiedAsItIs) {
    tree.link(L"C:\\from\\link", L"C:\\nowhere", false);
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(L"link C:\\nowhere", tree.snapshot()[L"C:\\to\\link"]);
    EXPECT_TRUE(
        wasMade(L"CopyFileTransactedW(\"C:\\from\\link\", \"C:\\to\\link\", null, null, "
                L"null, 2048, T)"));
}

TEST_F(CopyTree, OtherReparseTagsAreOrdinary) {
    constexpr DWORD kCloud = 0x9000001AU;
    constexpr DWORD kReparse = FILE_ATTRIBUTE_REPARSE_POINT;
    tree.entry(L"C:\\from\\folder", FILE_ATTRIBUTE_DIRECTORY | kReparse, kCloud);
    tree.file(L"C:\\from\\folder\\inside", L"1");
    tree.entry(L"C:\\from\\untagged", FILE_ATTRIBUTE_DIRECTORY | kReparse, 0);
    tree.file(L"C:\\from\\untagged\\inside", L"2");
    tree.entry(L"C:\\from\\placeholder", FILE_ATTRIBUTE_ARCHIVE | kReparse, kCloud);
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    Snapshot after = tree.snapshot();
    EXPECT_EQ(L"dir", after[L"C:\\to\\folder"]);
    EXPECT_EQ(L"file 1", after[L"C:\\to\\folder\\inside"]);
    EXPECT_EQ(L"dir", after[L"C:\\to\\untagged"]);
    EXPECT_EQ(L"file 2", after[L"C:\\to\\untagged\\inside"]);
    EXPECT_EQ(L"other 1056 2415919130", after[L"C:\\to\\placeholder"]);
}

TEST_F(CopyTree, ALinksTagAloneMakesNoLink) {
    // The word is only meaningful together with the attribute.
    tree.entry(L"C:\\from\\folder", FILE_ATTRIBUTE_DIRECTORY, IO_REPARSE_TAG_SYMLINK);
    tree.file(L"C:\\from\\folder\\inside", L"1");
    tree.entry(L"C:\\from\\other", FILE_ATTRIBUTE_DIRECTORY, IO_REPARSE_TAG_MOUNT_POINT);
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(L"file 1", tree.snapshot()[L"C:\\to\\folder\\inside"]);
    EXPECT_EQ(L"dir", tree.snapshot()[L"C:\\to\\other"]);
    EXPECT_FALSE(wasMade(L"CreateSymbolicLinkTransactedW"));
}

TEST_F(CopyTree, OtherAttributesDoNotMatter) {
    constexpr DWORD kAll = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    tree.entry(L"C:\\from\\folder", FILE_ATTRIBUTE_DIRECTORY | kAll, 0);
    tree.entry(L"C:\\from\\file", FILE_ATTRIBUTE_NORMAL | kAll, 0);
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_TRUE(wasMade(L"FindFirstFileTransactedW(\"C:\\from\\folder\\*\""));
    EXPECT_TRUE(wasMade(L"CopyFileTransactedW(\"C:\\from\\file\""));
}

TEST_F(CopyTree, ASourceThatIsALinkIsWalkedThrough) {
    tree.file(L"C:\\real\\a", L"1");
    tree.link(L"C:\\from", L"C:\\real", true);
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(L"file 1", tree.snapshot()[L"C:\\to\\a"]);
}

// --- What is left out ----------------------------------------------------------------------------

TEST_F(CopyTree, SystemFoldersAreSkippedAtADrivesRootAlone) {
    tree.file(L"D:\\$recycle.bin\\x");
    tree.file(L"D:\\SYSTEM Volume Information\\x");
    tree.file(L"D:\\folder\\$RECYCLE.BIN\\x", L"1");
    EXPECT_EQ("", copy(L"D:", L"C:\\to"));
    EXPECT_EQ((Lines{
                  isMissing,
                  L"INFO TransactedFS: CreateDirectoryTransacted C:\\to",
                  isMissing,
                  L"INFO TransactedFS: CopyFileTransacted D:\\folder -> C:\\to\\folder",
                  L"INFO TransactedFS: CreateDirectoryTransacted C:\\to\\folder",
                  isMissing,
                  L"INFO TransactedFS: CopyFileTransacted D:\\folder\\$RECYCLE.BIN -> "
                  L"C:\\to\\folder\\$RECYCLE.BIN",
                  L"INFO TransactedFS: CreateDirectoryTransacted C:\\to\\folder\\$RECYCLE.BIN",
                  isMissing,
                  L"INFO TransactedFS: CopyFileTransacted D:\\folder\\$RECYCLE.BIN\\x -> "
                  L"C:\\to\\folder\\$RECYCLE.BIN\\x",
              }),
              trace.lines());
    EXPECT_FALSE(wasMade(L"D:\\$recycle.bin"));
    EXPECT_FALSE(wasMade(L"D:\\SYSTEM"));
}

TEST_F(CopyTree, AFileWithASystemFoldersNameIsSkippedToo) {
    tree.file(L"D:\\$Recycle.Bin", L"1");
    tree.file(L"D:\\a", L"2");
    EXPECT_EQ("", copy(L"D:", L"C:\\to"));
    EXPECT_EQ(1U, tree.snapshot().count(L"C:\\to\\a"));
    EXPECT_EQ(0U, tree.snapshot().count(L"C:\\to\\$Recycle.Bin"));
}

TEST_F(CopyTree, OnlyTheSourcesPathDecides) {
    // The copy of it would stand at the root of a drive, where the same walk would skip it.
    tree.file(L"C:\\from\\$RECYCLE.BIN\\x", L"1");
    tree.file(L"D:\\old");
    EXPECT_EQ("", copy(L"C:\\from", L"D:"));
    EXPECT_EQ(L"file 1", tree.snapshot()[L"D:\\$RECYCLE.BIN\\x"]);
}

TEST_F(CopyTree, SystemFoldersAreSkippedAtASnapshotsRoot) {
    const std::wstring snapshot = L"C:\\a\\b\\@GMT-2010.05.17-08.30.00";
    tree.file(snapshot + L"\\$RECYCLE.BIN\\x");
    tree.file(snapshot + L"\\deeper\\$RECYCLE.BIN\\y");
    EXPECT_EQ("", copy(snapshot, L"C:\\to"));
    EXPECT_EQ(0U, tree.snapshot().count(L"C:\\to\\$RECYCLE.BIN"));
    EXPECT_EQ(1U, tree.snapshot().count(L"C:\\to\\deeper\\$RECYCLE.BIN\\y"));
}

TEST_F(CopyTree, NamesThatBeginWithDotsAreNotTheDots) {
    tree.file(L"C:\\from\\...", L"1");
    tree.file(L"C:\\from\\.a", L"2");
    tree.file(L"C:\\from\\..a", L"3");
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    Snapshot after = tree.snapshot();
    EXPECT_EQ(L"file 1", after[L"C:\\to\\..."]);
    EXPECT_EQ(L"file 2", after[L"C:\\to\\.a"]);
    EXPECT_EQ(L"file 3", after[L"C:\\to\\..a"]);
}

// --- Paths as they are ---------------------------------------------------------------------------

TEST_F(CopyTree, ADoubledSeparatorStays) {
    tree.file(L"C:\\from\\a", L"1");
    EXPECT_EQ("", copy(L"C:\\from\\", L"C:\\to\\"));
    EXPECT_TRUE(wasMade(L"FindFirstFileTransactedW(\"C:\\from\\\\*\", 0, "));
    EXPECT_TRUE(wasMade(L"CopyFileTransactedW(\"C:\\from\\\\a\", \"C:\\to\\\\a\", "));
    EXPECT_EQ((Lines{isMissing, L"INFO TransactedFS: CreateDirectoryTransacted C:\\to\\", isMissing,
                     L"INFO TransactedFS: CopyFileTransacted C:\\from\\\\a -> C:\\to\\\\a"}),
              trace.lines());
}

TEST_F(CopyTree, APrefixOnBothSidesStaysToo) {
    tree.file(L"C:\\from\\sub\\a", L"1");
    EXPECT_EQ("", copy(L"\\\\?\\C:\\from", L"\\\\?\\C:\\to"));
    EXPECT_TRUE(
        wasMade(L"CopyFileTransactedW(\"\\\\?\\C:\\from\\sub\\a\", \"\\\\?\\C:\\to\\sub\\a\", "));
}

TEST_F(CopyTree, APathThatSpellsAMarkerIsTracedWhole) {
    tree.file(L"\\\\Fileserver\\Seven\\a", L"1");
    tree.directory(L"\\\\Linux01\\share");
    EXPECT_EQ("", copy(L"\\\\Fileserver\\Seven", L"\\\\Linux01\\share\\to"));
    EXPECT_EQ(
        (Lines{isMissing, L"INFO TransactedFS: CreateDirectoryTransacted \\\\Linux01\\share\\to",
               isMissing,
               L"INFO TransactedFS: CopyFileTransacted \\\\Fileserver\\Seven\\a -> "
               L"\\\\Linux01\\share\\to\\a"}),
        trace.lines());
}

TEST_F(CopyTree, ASourceInsideTheDestinationFailsByItselfAndIsRolledBack) {
    tree.file(L"C:\\to\\from\\a", L"the only one");
    tree.file(L"C:\\to\\b", L"old");
    const Snapshot before = tree.snapshot();
    EXPECT_EQ(failureText(L"FindFirstFileTransacted C:\\to\\from\\*", ERROR_PATH_NOT_FOUND),
              copy(L"C:\\to\\from", L"C:\\to"));
    EXPECT_EQ(before, tree.snapshot());
    EXPECT_EQ(1, tree.rollbacks());
    EXPECT_EQ(0, tree.commits());
}

TEST_F(CopyTree, ASourceThatIsAFileFailsWhenItIsSearched) {
    tree.file(L"C:\\from", L"1");
    const Snapshot before = tree.snapshot();
    EXPECT_EQ(failureText(L"FindFirstFileTransacted C:\\from\\*", ERROR_DIRECTORY),
              copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(CopyTree, AnEmptyDriveHasNothingToFindAndFails) {
    tree.directory(L"D:\\");
    EXPECT_EQ(failureText(L"FindFirstFileTransacted D:\\*", ERROR_FILE_NOT_FOUND),
              copy(L"D:", L"C:\\to"));
    tree.file(L"C:\\from\\a");
    EXPECT_EQ(failureText(L"FindFirstFileTransacted D:\\*", ERROR_FILE_NOT_FOUND),
              copy(L"C:\\from", L"D:"));
}

TEST_F(CopyTree, ADestinationThatIsAFileFailsWhenItIsSearched) {
    tree.file(L"C:\\from\\a", L"new");
    tree.file(L"C:\\to", L"old");
    const Snapshot before = tree.snapshot();
    EXPECT_EQ(failureText(L"FindFirstFileTransacted C:\\to\\*", ERROR_DIRECTORY),
              copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(CopyTree, ADestinationThatIsALinkIsEmptiedThroughTheLinkAsSearchesFollowIt) {
    tree.file(L"C:\\from\\a", L"new");
    tree.file(L"C:\\real\\b", L"old");
    tree.link(L"C:\\to", L"C:\\real", true);
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    Snapshot after = tree.snapshot();
    EXPECT_EQ(L"dir", after[L"C:\\to"]);
    EXPECT_EQ(L"file new", after[L"C:\\to\\a"]);
    EXPECT_EQ(0U, after.count(L"C:\\real\\b"));
}

TEST_F(CopyTree, CallsOneAfterTheOtherAreIndependent) {
    tree.file(L"C:\\from\\a", L"1");
    EXPECT_EQ("", copy(L"C:\\from", L"C:\\to"));
    EXPECT_EQ("", copy(L"C:\\to", L"C:\\again"));
    EXPECT_EQ("Copy failed: C:\\none does not exist", copy(L"C:\\none", L"C:\\again"));
    EXPECT_EQ("", copy(L"C:\\to", L"C:\\again"));
    EXPECT_EQ(3, tree.commits());
    EXPECT_EQ(1, tree.rollbacks());
    EXPECT_EQ(L"file 1", tree.snapshot()[L"C:\\again\\a"]);
}

// --- Failures ------------------------------------------------------------------------------------

/// A row of the table of failures: which call fails, and the text that it is reported with.
struct FailingCall {
    const wchar_t* call;
    const wchar_t* text;
    DWORD error;
};

class CopyTreeFailing : public CopyTree, public ::testing::WithParamInterface<FailingCall> {};

TEST_P(CopyTreeFailing, IsReportedWithTheSystemTextAndRolledBack) {
    tree.directory(L"C:\\real");
    tree.file(L"C:\\to\\old\\file");
    tree.link(L"C:\\to\\oldlink", L"C:\\real", true, IO_REPARSE_TAG_MOUNT_POINT);
    tree.file(L"C:\\from\\a");
    tree.link(L"C:\\from\\link", L"C:\\real", true);
    const Snapshot before = tree.snapshot();
    tree.fail(GetParam().call, GetParam().error);
    EXPECT_EQ(failureText(GetParam().text, GetParam().error), copy(L"C:\\from", L"C:\\to"));
    ASSERT_FALSE(trace.lines().empty());
    EXPECT_EQ(failureLine(GetParam().text, GetParam().error), trace.lines().back());
    EXPECT_EQ(before, tree.snapshot());
    EXPECT_EQ(0, tree.commits());
    const bool hadTransaction = std::wstring(GetParam().call) != L"CreateTransaction";
    EXPECT_EQ(hadTransaction ? 1 : 0, tree.rollbacks());
    EXPECT_EQ(hadTransaction, tree.calls().back() == L"CloseHandle(T)");
    EXPECT_FALSE(tree.isTransactionOpen());
    EXPECT_EQ(0U, tree.openFiles());
}

INSTANTIATE_TEST_SUITE_P(
    EachCall, CopyTreeFailing,
    ::testing::Values(
        FailingCall{L"CreateTransaction", L"CreateTransaction", ERROR_NO_SYSTEM_RESOURCES},
        FailingCall{L"FindFirstFileTransactedW(\"C:\\to\\*", L"FindFirstFileTransacted C:\\to\\*",
                    ERROR_ACCESS_DENIED},
        FailingCall{L"FindFirstFileTransactedW(\"C:\\from\\*",
                    L"FindFirstFileTransacted C:\\from\\*", ERROR_PATH_NOT_FOUND},
        FailingCall{L"FindNextFileW(S1", L"FindNextFile", ERROR_FILE_CORRUPT},
        FailingCall{L"FindNextFileW(S3", L"FindNextFile", ERROR_FILE_NOT_FOUND},
        FailingCall{L"DeleteFileTransactedW", L"DeleteFileTransacted", ERROR_ACCESS_DENIED},
        FailingCall{L"RemoveDirectoryTransactedW(\"C:\\to\\oldlink", L"RemoveDirectoryTransacted",
                    ERROR_ACCESS_DENIED},
        FailingCall{L"RemoveDirectoryTransactedW(\"\\\\?\\C:\\to\\old\"",
                    L"RemoveDirectoryTransacted \\\\?\\C:\\to\\old", ERROR_DIR_NOT_EMPTY},
        FailingCall{L"RemoveDirectoryTransactedW(\"\\\\?\\C:\\to\"",
                    L"RemoveDirectoryTransacted \\\\?\\C:\\to", ERROR_SHARING_VIOLATION},
        FailingCall{L"CreateDirectoryTransactedW", L"CreateDirectoryTransacted",
                    ERROR_TRANSACTIONAL_CONFLICT},
        FailingCall{L"CopyFileTransactedW", L"CopyFileTransacted", ERROR_DISK_FULL},
        FailingCall{L"CreateFileW(\"C:\\from\\link\"", L"CreateFile C:\\from\\link",
                    ERROR_SHARING_VIOLATION},
        FailingCall{L"GetFinalPathNameByHandleW(F4", L"GetFinalPathNameByHandle C:\\from\\link",
                    ERROR_PATH_NOT_FOUND},
        FailingCall{L"CreateSymbolicLinkTransactedW", L"CreateSymbolicLinkTransacted C:\\to\\link",
                    ERROR_PRIVILEGE_NOT_HELD},
        FailingCall{L"CommitTransaction", L"CommitTransaction", ERROR_TRANSACTION_NOT_ACTIVE}));

TEST_F(CopyTree, AClosingThatFailsDoesNotHideTheFailure) {
    tree.file(L"C:\\from\\a");
    tree.fail(L"CopyFileTransactedW", ERROR_DISK_FULL);
    tree.fail(L"CloseHandle(T)", ERROR_INVALID_HANDLE);
    EXPECT_EQ(failureText(L"CopyFileTransacted", ERROR_DISK_FULL), copy(L"C:\\from", L"C:\\to"));
}

TEST_F(CopyTree, AStandardExceptionOfAnyKindPassesUnchangedAndRollsBack) {
    tree.file(L"C:\\from\\a");
    tree.before(L"CopyFileTransactedW", [] { throw std::out_of_range("other"); });
    EXPECT_THROW(CopyDirectoryTransacted(L"C:\\from", L"C:\\to"), std::out_of_range);
    EXPECT_EQ(1, tree.rollbacks());
}

TEST_F(CopyTree, AForeignExceptionPassesAndLeavesTheTransactionOpen) {
    tree.file(L"C:\\from\\a");
    tree.before(L"CopyFileTransactedW", [] { throw 42; });
    EXPECT_THROW(CopyDirectoryTransacted(L"C:\\from", L"C:\\to"), int);
    EXPECT_EQ(0, tree.rollbacks());
    EXPECT_EQ(0, tree.commits());
    EXPECT_TRUE(tree.isTransactionOpen());
}

}  // namespace
}  // namespace Tallowmere
