// The transaction manager through its calls, on a real disk, on every system.

#include "kest/platform/transactions/Transaction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/HandleTable.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/platform/transactions/Journal.h"
#include "kest/platform/transactions/SystemDisk.h"
#include "kest/platform/transactions/TransactionCalls.h"

namespace Tallowmere::platform::transactions {
namespace {

using testing::TempTree;
using Snapshot = std::map<std::string, std::string>;

/// A transaction of ours, closed at the end of its scope as a failing caller closes it.
class Open {
public:
    Open() : m_handle(CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, m_name)) {}
    ~Open() { close(); }
    HANDLE get() const { return m_handle; }
    operator HANDLE() const { return m_handle; }
    bool commit() const { return CommitTransaction(m_handle) != FALSE; }
    void close() {
        if (m_handle != INVALID_HANDLE_VALUE) {
            EXPECT_TRUE(closeTransaction(m_handle));
            m_handle = INVALID_HANDLE_VALUE;
        }
    }

private:
    wchar_t m_name[5] = L"test";
    HANDLE m_handle;
};

class TransactionTest : public ::testing::Test {
protected:
    /// The last error of a call that failed, 0 for one that did not.
    template <class Result>
    static DWORD outcome(Result result) {
        return result ? 0 : os().GetLastError();
    }

    DWORD attributes(HANDLE transaction, const std::string& path, DWORD* value = nullptr) {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        const DWORD error = outcome(transactions::GetFileAttributesTransactedW(
            tree.wide(path).c_str(), GetFileExInfoStandard, &data, transaction));
        if (value != nullptr) {
            *value = data.dwFileAttributes;
        }
        return error;
    }
    DWORD makeDirectory(HANDLE transaction, const std::string& path) {
        return outcome(
            CreateDirectoryTransactedW(nullptr, tree.wide(path).c_str(), nullptr, transaction));
    }
    DWORD copy(HANDLE transaction, const std::string& from, const std::string& to,
               DWORD flags = COPY_FILE_COPY_SYMLINK) {
        return outcome(CopyFileTransactedW(tree.wide(from).c_str(), tree.wide(to).c_str(), nullptr,
                                           nullptr, nullptr, flags, transaction));
    }
    DWORD removeFile(HANDLE transaction, const std::string& path) {
        return outcome(DeleteFileTransactedW(tree.wide(path).c_str(), transaction));
    }
    DWORD removeDirectory(HANDLE transaction, const std::string& path) {
        return outcome(RemoveDirectoryTransactedW(tree.wide(path).c_str(), transaction));
    }
    /// The names that a search gives, sorted, or the error of its opening as the only name.
    std::vector<std::string> names(HANDLE transaction, const std::string& path) {
        WIN32_FIND_DATAW data{};
        const HANDLE search = transactions::FindFirstFileTransactedW(
            (tree.wide(path) + L"\\*").c_str(), FindExInfoStandard, &data, FindExSearchNameMatch,
            nullptr, 0, transaction);
        if (search == INVALID_HANDLE_VALUE) {
            return {"error " + std::to_string(os().GetLastError())};
        }
        std::vector<std::string> result;
        do {
            const std::wstring name = data.cFileName;
            result.emplace_back(name.begin(), name.end());
        } while (transactions::FindNextFileW(search, &data));
        EXPECT_EQ(ERROR_NO_MORE_FILES, os().GetLastError());
        std::sort(result.begin(), result.end());
        return result;
    }
    /// What the tree walk does to a tree that is to go.
    void removeTree(HANDLE transaction, const std::string& path) {
        for (const std::string& name : names(transaction, path)) {
            if (name == "." || name == "..") {
                continue;
            }
            DWORD value = 0;
            ASSERT_EQ(0U, attributes(transaction, path + "/" + name, &value));
            if ((value & FILE_ATTRIBUTE_DIRECTORY) != 0) {
                removeTree(transaction, path + "/" + name);
            } else {
                ASSERT_EQ(0U, removeFile(transaction, path + "/" + name));
            }
        }
        ASSERT_EQ(0U, removeDirectory(transaction, path));
    }
    /// Names beside the test's own entries, which must be none.
    std::vector<std::string> strays(const std::string& path = "") {
        std::vector<std::string> result;
        for (const auto& [name, what] : tree.snapshot(path)) {
            if (name.find(".kest-") != std::string::npos) {
                result.push_back(name);
            }
        }
        return result;
    }

    TempTree tree;
};

const Snapshot kNew = {{"a.txt", "file new"}, {"sub", "dir"}, {"sub/b.txt", "file b"}};

class TransactionWithTrees : public TransactionTest {
protected:
    void SetUp() override {
        tree.write("source/a.txt", "new");
        tree.write("source/sub/b.txt", "b");
        tree.write("old/a.txt", "old");
        tree.write("old/deep/er/c.txt", "c");
        before = tree.snapshot();
    }
    void fill(HANDLE transaction, const std::string& path) {
        ASSERT_EQ(0U, makeDirectory(transaction, path));
        ASSERT_EQ(0U, copy(transaction, "source/a.txt", path + "/a.txt"));
        ASSERT_EQ(0U, makeDirectory(transaction, path + "/sub"));
        ASSERT_EQ(0U, copy(transaction, "source/sub/b.txt", path + "/sub/b.txt"));
    }
    Snapshot before;
};

TEST_F(TransactionWithTrees, WhatWasMadeJustBeforeAListingMayGoBeforeItEnds) {
    // A directory that is made just before another one is listed takes over what the system keeps
    // about that one, when the listing ends.
    Open transaction;
    ASSERT_EQ(0U, makeDirectory(transaction, "old/made"));
    WIN32_FIND_DATAW data{};
    const HANDLE search = transactions::FindFirstFileTransactedW(
        (tree.wide("old") + L"\\*").c_str(), FindExInfoStandard, &data, FindExSearchNameMatch,
        nullptr, 0, transaction);
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    ASSERT_EQ(0U, removeDirectory(transaction, "old/made"));
    while (transactions::FindNextFileW(search, &data)) {
    }
    EXPECT_EQ(ERROR_NO_MORE_FILES, os().GetLastError());
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(TransactionWithTrees, ANewTreeAppearsAtTheCommit) {
    Open transaction;
    fill(transaction, "fresh");
    EXPECT_FALSE(tree.exists("fresh"));
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ(kNew, tree.snapshot("fresh"));
    EXPECT_EQ(std::vector<std::string>{}, strays());
}

TEST_F(TransactionWithTrees, AnOldTreeIsReplacedAtTheCommit) {
    Open transaction;
    removeTree(transaction, "old");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, attributes(transaction, "old"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, attributes(transaction, "old/a.txt"));
    fill(transaction, "old");
    EXPECT_EQ((std::vector<std::string>{".", "..", "a.txt", "sub"}), names(transaction, "old"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, attributes(transaction, "old/deep"));
    EXPECT_EQ("old", tree.read("old/a.txt"));
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ(kNew, tree.snapshot("old"));
    EXPECT_EQ(std::vector<std::string>{}, strays());
}

TEST_F(TransactionWithTrees, ATreeGoesAtTheCommit) {
    Open transaction;
    removeTree(transaction, "old");
    EXPECT_TRUE(tree.exists("old/deep/er/c.txt"));
    EXPECT_TRUE(transaction.commit());
    EXPECT_FALSE(tree.exists("old"));
    EXPECT_EQ(std::vector<std::string>{}, strays());
}

TEST_F(TransactionWithTrees, ClosingWithoutACommitLeavesEverythingAsItWas) {
    Open transaction;
    removeTree(transaction, "old");
    fill(transaction, "old");
    fill(transaction, "fresh");
    transaction.close();
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(TransactionWithTrees, ADirectoryWithEntriesLeftIsNotRemoved) {
    Open transaction;
    EXPECT_EQ(ERROR_DIR_NOT_EMPTY, removeDirectory(transaction, "old"));
    EXPECT_EQ(0U, removeFile(transaction, "old/a.txt"));
    EXPECT_EQ(ERROR_DIR_NOT_EMPTY, removeDirectory(transaction, "old"));
    fill(transaction, "fresh");
    EXPECT_EQ(ERROR_DIR_NOT_EMPTY, removeDirectory(transaction, "fresh"));
    EXPECT_EQ(ERROR_DIR_NOT_EMPTY, removeDirectory(transaction, "fresh/sub"));
}

TEST_F(TransactionWithTrees, WhatWasMadeInATransactionCanBeUnmadeInIt) {
    Open transaction;
    fill(transaction, "fresh");
    removeTree(transaction, "fresh");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, attributes(transaction, "fresh"));
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(TransactionWithTrees, SeveralChangesAreOneCommit) {
    Open transaction;
    EXPECT_EQ(0U, removeFile(transaction, "old/a.txt"));
    EXPECT_EQ(0U, copy(transaction, "source/a.txt", "old/new.txt"));
    EXPECT_EQ(0U, copy(transaction, "source/sub/b.txt", "old/deep/er/c.txt"));
    fill(transaction, "old/tree");
    EXPECT_EQ((std::vector<std::string>{".", "..", "deep", "new.txt", "tree"}),
              names(transaction, "old"));
    EXPECT_EQ(before, [&] {
        Snapshot now = tree.snapshot();
        for (auto at = now.begin(); at != now.end();) {
            at = at->first.find(".kest-") != std::string::npos ? now.erase(at) : std::next(at);
        }
        return now;
    }());
    EXPECT_TRUE(transaction.commit());
    Snapshot expected = {{"deep", "dir"},
                         {"deep/er", "dir"},
                         {"deep/er/c.txt", "file b"},
                         {"new.txt", "file new"},
                         {"tree", "dir"}};
    for (const auto& [name, what] : kNew) {
        expected["tree/" + name] = what;
    }
    EXPECT_EQ(expected, tree.snapshot("old"));
    EXPECT_EQ(std::vector<std::string>{}, strays());
}

TEST_F(TransactionWithTrees, AFileIsCopiedOverAnExistingOne) {
    Open transaction;
    EXPECT_EQ(ERROR_FILE_EXISTS, copy(transaction, "source/a.txt", "old/a.txt",
                                      COPY_FILE_COPY_SYMLINK | COPY_FILE_FAIL_IF_EXISTS));
    EXPECT_EQ(0U, copy(transaction, "source/a.txt", "old/a.txt"));
    EXPECT_EQ(0U, copy(transaction, "source/sub/b.txt", "old/a.txt"));
    fill(transaction, "fresh");
    EXPECT_EQ(0U, copy(transaction, "source/sub/b.txt", "fresh/a.txt"));
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ("b", tree.read("old/a.txt"));
    EXPECT_EQ("b", tree.read("fresh/a.txt"));
    EXPECT_EQ(std::vector<std::string>{}, strays());
}

TEST_F(TransactionWithTrees, EachMistakeHasTheErrorOfWindows) {
    Open transaction;
    EXPECT_EQ(ERROR_ALREADY_EXISTS, makeDirectory(transaction, "old"));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, makeDirectory(transaction, "old/a.txt"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, makeDirectory(transaction, "none/below"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, makeDirectory(transaction, "old/a.txt/below"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, attributes(transaction, "none"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, attributes(transaction, "none/below"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, copy(transaction, "none", "old/x"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, copy(transaction, "none/x", "old/x"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, copy(transaction, "source/a.txt", "none/x"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, copy(transaction, "source/sub", "old/x"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, copy(transaction, "source/a.txt", "old/deep"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, removeFile(transaction, "old/none"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, removeFile(transaction, "old/deep"));
    EXPECT_EQ(ERROR_DIRECTORY, removeDirectory(transaction, "old/a.txt"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, removeDirectory(transaction, "old/none"));
    EXPECT_EQ(std::vector<std::string>{"error 3"}, names(transaction, "none"));
    EXPECT_EQ(std::vector<std::string>{"error 3"}, names(transaction, "none/below"));
    EXPECT_EQ(std::vector<std::string>{"error 267"}, names(transaction, "old/a.txt"));
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(TransactionWithTrees, APrefixIsUnderstoodOnce) {
    Open transaction;
    const std::wstring path = tree.wide("old");
    WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_TRUE(transactions::GetFileAttributesTransactedW(
        (L"\\\\?\\" + path).c_str(), GetFileExInfoStandard, &data, transaction));
    EXPECT_FALSE(transactions::GetFileAttributesTransactedW(
        (L"\\\\?\\\\\\?\\" + path).c_str(), GetFileExInfoStandard, &data, transaction));
    EXPECT_EQ(ERROR_INVALID_NAME, os().GetLastError());
    removeTree(transaction, "old/deep");
    EXPECT_EQ(0U, outcome(RemoveDirectoryTransactedW((L"\\\\?\\" + tree.wide("source/sub")).c_str(),
                                                     transaction)) == ERROR_DIR_NOT_EMPTY
                      ? 0U
                      : 1U);
}

TEST_F(TransactionWithTrees, DoubledSeparatorsAndDotsAreTheSamePlace) {
    Open transaction;
    const std::wstring odd = tree.wide("") + L"\\\\old/.//";
    WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_TRUE(transactions::GetFileAttributesTransactedW(
        (odd + L"a.txt").c_str(), GetFileExInfoStandard, &data, transaction));
    EXPECT_TRUE(DeleteFileTransactedW((odd + L"..\\old\\a.txt").c_str(), transaction));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, attributes(transaction, "old/a.txt"));
}

TEST_F(TransactionWithTrees, ATransactionEndsOnce) {
    Open transaction;
    fill(transaction, "fresh");
    EXPECT_TRUE(transaction.commit());
    EXPECT_FALSE(transaction.commit());
    EXPECT_EQ(ERROR_TRANSACTION_ALREADY_COMMITTED, os().GetLastError());
    EXPECT_EQ(ERROR_TRANSACTION_NOT_ACTIVE, attributes(transaction, "old"));
    EXPECT_EQ(ERROR_TRANSACTION_NOT_ACTIVE, makeDirectory(transaction, "x"));
    EXPECT_EQ(ERROR_TRANSACTION_NOT_ACTIVE, copy(transaction, "source/a.txt", "x"));
    EXPECT_EQ(ERROR_TRANSACTION_NOT_ACTIVE, removeFile(transaction, "old/a.txt"));
    EXPECT_EQ(ERROR_TRANSACTION_NOT_ACTIVE, removeDirectory(transaction, "old"));
    EXPECT_EQ(std::vector<std::string>{"error 6701"}, names(transaction, "old"));
    const HANDLE closed = transaction;
    transaction.close();
    EXPECT_EQ(kNew, tree.snapshot("fresh"));
    EXPECT_EQ(ERROR_INVALID_HANDLE, attributes(closed, "old"));
    EXPECT_FALSE(closeTransaction(closed));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
    EXPECT_FALSE(CommitTransaction(INVALID_HANDLE_VALUE));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
    EXPECT_FALSE(CommitTransaction(nullptr));
}

TEST_F(TransactionWithTrees, ASearchThatEndedStaysAtItsEndAndKeepsNothing) {
    // Other tests of the same process let the closing of searches fail.
    const int others = openHandles(HandleKind::Search);
    Open transaction;
    WIN32_FIND_DATAW data{};
    const HANDLE search = transactions::FindFirstFileTransactedW(
        (tree.wide("source/sub") + L"\\*").c_str(), FindExInfoStandard, &data,
        FindExSearchNameMatch, nullptr, 0, transaction);
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    EXPECT_STREQ(L".", data.cFileName);
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, data.dwFileAttributes);
    EXPECT_EQ(others + 1, openHandles(HandleKind::Search));
    ASSERT_TRUE(transactions::FindNextFileW(search, &data));
    EXPECT_STREQ(L"..", data.cFileName);
    ASSERT_TRUE(transactions::FindNextFileW(search, &data));
    EXPECT_STREQ(L"b.txt", data.cFileName);
    EXPECT_EQ(0U,
              data.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT));
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(transactions::FindNextFileW(search, &data));
        EXPECT_EQ(ERROR_NO_MORE_FILES, os().GetLastError());
        EXPECT_EQ(others, openHandles(HandleKind::Search));
    }
    EXPECT_FALSE(transactions::FindNextFileW(nullptr, &data));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
}

TEST_F(TransactionWithTrees, AClosedTransactionTakesItsSearchesAlong) {
    WIN32_FIND_DATAW data{};
    // Committed transactions of other tests stay open, and searches whose closing they let fail.
    const int others = openHandles(HandleKind::Transaction);
    const int searches = openHandles(HandleKind::Search);
    {
        Open transaction;
        ASSERT_NE(INVALID_HANDLE_VALUE,
                  transactions::FindFirstFileTransactedW(
                      (tree.wide("source") + L"\\*").c_str(), FindExInfoStandard, &data,
                      FindExSearchNameMatch, nullptr, 0, transaction));
        EXPECT_EQ(searches + 1, openHandles(HandleKind::Search));
    }
    EXPECT_EQ(searches, openHandles(HandleKind::Search));
    EXPECT_EQ(others, openHandles(HandleKind::Transaction));
}

TEST_F(TransactionWithTrees, ANameThatAppearsMeanwhileIsNotReplaced) {
    Open transaction;
    fill(transaction, "fresh");
    tree.write("fresh", "a rival's");
    EXPECT_FALSE(transaction.commit());
    EXPECT_EQ(ERROR_ALREADY_EXISTS, os().GetLastError());
    EXPECT_EQ("a rival's", tree.read("fresh"));
    EXPECT_EQ(std::vector<std::string>{}, strays());
    EXPECT_FALSE(transaction.commit());
    EXPECT_EQ(ERROR_TRANSACTION_ALREADY_ABORTED, os().GetLastError());
}

/// Leaves a stage behind as a process does that dies: with the given files in it, unlocked.
class TransactionAfterACrash : public TransactionWithTrees {
protected:
    static constexpr const char* kStage = ".kest-0123456789abcdef0123456789abcdef";

    void SetUp() override {
        TransactionWithTrees::SetUp();
        Disk& disk = systemDisk();
        std::wstring canonical;
        ASSERT_EQ(0U, disk.openDirectory(tree.root().generic_wstring(), root, text));
        ASSERT_EQ(0U, disk.makePrivateDirectory(root, wideStage()));
        ASSERT_EQ(0U, disk.openBelow(root, wideStage(), Links::Refuse, stage));
    }
    static std::wstring wideStage() {
        const std::string name = kStage;
        return {name.begin(), name.end()};
    }
    /// Brings the stage into the state "journal", for entries of the directory in which it stands.
    void writeJournal(std::vector<JournalEntry> entries) {
        const Journal journal = {{L""}, std::move(entries)};
        ASSERT_EQ(0U, writeDraft(systemDisk(), stage, journal));
        ASSERT_EQ(0U, commitDraft(systemDisk(), stage));
    }
    void look(const std::string& path) {
        Open transaction;
        (void)attributes(transaction, path);
    }

    DirectoryPtr root;
    DirectoryPtr stage;
    std::wstring text;
};

TEST_F(TransactionAfterACrash, AnOrphanWithoutAJournalIsDiscarded) {
    tree.write(std::string(kStage) + "/slot-0/a.txt", "half");
    stage.reset();
    look("old");
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(TransactionAfterACrash, AJournalIsCarriedOut) {
    tree.write(std::string(kStage) + "/slot-0/a.txt", "new");
    tree.write(std::string(kStage) + "/slot-1", "file");
    writeJournal({{0, L"old", L"old", L"slot-0", true, true},
                  {0, L"fresh", L"fresh", L"slot-1", false, true},
                  {0, L"source", L"source", L"slot-2", true, false}});
    stage.reset();
    look("old");
    EXPECT_EQ((Snapshot{{"old", "dir"}, {"old/a.txt", "file new"}, {"fresh", "file file"}}),
              tree.snapshot());
}

TEST_F(TransactionAfterACrash, AHalfDoneJournalIsFinished) {
    // The old tree is taken away, the new one not yet put in its place.
    tree.write(std::string(kStage) + "/slot-0/a.txt", "new");
    writeJournal({{0, L"old", L"old", L"slot-0", true, true}});
    ASSERT_EQ(0U, systemDisk().rename(root, L"old", stage, L"slot-0-old"));
    stage.reset();
    Open transaction;
    EXPECT_EQ(0U, attributes(transaction, "old"));
    EXPECT_EQ("new", tree.read("old/a.txt"));
    EXPECT_EQ(std::vector<std::string>{}, strays());
}

TEST_F(TransactionAfterACrash, ADoneJournalChangesNothingMore) {
    writeJournal({{0, L"old", L"old", L"slot-0", true, true}});
    tree.write(std::string(kStage) + "/slot-0-old/a.txt", "older");
    stage.reset();
    look("old");
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(TransactionAfterACrash, AJournalThatIsNotOursIsAnErrorAndNothingIsTouched) {
    tree.write(std::string(kStage) + "/journal", "KESTJOURNAL1 but not really");
    tree.write(std::string(kStage) + "/slot-0/a.txt", "somebody's only copy");
    stage.reset();
    Open transaction;
    const Snapshot whole = tree.snapshot();
    EXPECT_EQ(ERROR_FILE_CORRUPT, attributes(transaction, "old"));
    EXPECT_EQ(whole, tree.snapshot());
}

TEST_F(TransactionAfterACrash, ALiveStageIsLeftAloneAndNotShown) {
    tree.write(std::string(kStage) + "/slot-0/a.txt", "in the making");
    std::unique_ptr<DirectoryLock> lock;
    ASSERT_EQ(0U, systemDisk().lock(stage, lock));
    Open transaction;
    EXPECT_EQ(0U, attributes(transaction, "old"));
    EXPECT_EQ((std::vector<std::string>{".", "..", "old", "source"}), names(transaction, ""));
    EXPECT_TRUE(tree.exists(std::string(kStage) + "/slot-0/a.txt"));
}

TEST_F(TransactionAfterACrash, AStageInAListedDirectoryIsMet) {
    tree.write(std::string(kStage) + "/slot-0/a.txt", "half");
    stage.reset();
    Open transaction;
    EXPECT_EQ((std::vector<std::string>{".", "..", "old", "source"}), names(transaction, ""));
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(TransactionTest, OrdinaryEntriesWithSuchNamesAreOrdinary) {
    tree.write("in/.kest-0123456789abcdef0123456789abcdef", "a file");
    tree.write("in/.kest-0123456789abcdef/x", "short");
    tree.write("in/.kest-ABCDEF0123456789ABCDEF0123456789/x", "upper");
    Open transaction;
    EXPECT_EQ((std::vector<std::string>{".", "..", ".kest-0123456789abcdef",
                                        ".kest-0123456789abcdef0123456789abcdef",
                                        ".kest-ABCDEF0123456789ABCDEF0123456789"}),
              names(transaction, "in"));
}

TEST_F(TransactionTest, ADeepTreeIsMadeReplacedAndRemoved) {
    // Deeper than what is held open at once, and than the levels that a removal keeps.
    tree.write("file", "x");
    const auto build = [&](HANDLE transaction) {
        std::string path = "top";
        for (int i = 0; i < 80; ++i) {
            ASSERT_EQ(0U, makeDirectory(transaction, path));
            ASSERT_EQ(0U, copy(transaction, "file", path + "/f"));
            path += "/d";
        }
        // Back up again, where the upper directories have been put aside.
        ASSERT_EQ(0U, makeDirectory(transaction, "top/d/d/late"));
        ASSERT_EQ(0U, copy(transaction, "file", "top/late"));
    };
    {
        Open transaction;
        build(transaction);
        ASSERT_TRUE(transaction.commit());
    }
    const Snapshot first = tree.snapshot("top");
    EXPECT_EQ(80U + 79U + 2U, first.size());
    {
        Open transaction;
        removeTree(transaction, "top");
        build(transaction);
        ASSERT_TRUE(transaction.commit());
    }
    EXPECT_EQ(first, tree.snapshot("top"));
    {
        Open transaction;
        removeTree(transaction, "top");
        ASSERT_TRUE(transaction.commit());
    }
    EXPECT_EQ((Snapshot{{"file", "file x"}}), tree.snapshot());
}

TEST_F(TransactionTest, ALargeDirectoryIsListedWhole) {
    std::set<std::string> expected = {".", ".."};
    for (int i = 0; i < 3000; ++i) {
        const std::string name = "a-rather-long-name-for-a-file-" + std::to_string(i);
        tree.write("large/" + name, "");
        expected.insert(name);
    }
    Open transaction;
    const std::vector<std::string> found = names(transaction, "large");
    EXPECT_EQ(expected.size(), found.size());
    EXPECT_EQ(expected, std::set<std::string>(found.begin(), found.end()));
    removeTree(transaction, "large");
    ASSERT_TRUE(transaction.commit());
    EXPECT_EQ(Snapshot{}, tree.snapshot());
}

/// A search that a test reads step by step.
class Steps {
public:
    Steps(HANDLE transaction, const std::wstring& directory)
        : m_search(transactions::FindFirstFileTransactedW(
              (directory + L"\\*").c_str(), FindExInfoStandard, &m_data, FindExSearchNameMatch,
              nullptr, 0, transaction)) {}
    /// The next name but the dots, empty at the end.
    std::wstring next() {
        while (transactions::FindNextFileW(m_search, &m_data)) {
            const std::wstring name = m_data.cFileName;
            if (name != L"." && name != L"..") {
                return name;
            }
        }
        return L"";
    }

private:
    WIN32_FIND_DATAW m_data{};
    HANDLE m_search;
};

TEST_F(TransactionTest, WhatASearchGaveIsGoneOnceItIsRemoved) {
    for (const char* const name : {"all/a", "all/b", "all/c", "all/d"}) {
        tree.write(name, name);
    }
    Open transaction;
    const std::wstring all = tree.wide("all");
    Steps first(transaction, all);
    Steps second(transaction, all);
    std::set<std::wstring> given;
    const std::wstring gone = first.next();
    given.insert(gone);
    const std::wstring path = all + L"\\" + gone;
    ASSERT_TRUE(DeleteFileTransactedW(path.c_str(), transaction));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND},
              outcome(DeleteFileTransactedW(path.c_str(), transaction)));
    // Also for a search that began before, and for one that begins now.
    for (Steps* const steps : {&second}) {
        std::set<std::wstring> others;
        for (std::wstring name = steps->next(); !name.empty(); name = steps->next()) {
            others.insert(name);
        }
        EXPECT_EQ(others.size(), 3U);
        EXPECT_EQ(others.count(gone), 0U);
    }
    EXPECT_EQ(names(transaction, "all").size(), 5U);
    // A name that the first search has still to give is removed by somebody else.
    std::wstring next;
    for (const wchar_t* const name : {L"a", L"b", L"c", L"d"}) {
        if (name != gone) {
            next = name;
        }
    }
    ASSERT_TRUE(DeleteFileTransactedW((all + L"\\" + next).c_str(), transaction));
    for (std::wstring name = first.next(); !name.empty(); name = first.next()) {
        EXPECT_TRUE(given.insert(name).second);
        EXPECT_NE(name, next);
        ASSERT_TRUE(DeleteFileTransactedW((all + L"/" + name).c_str(), transaction));
    }
    EXPECT_EQ(given.size(), 3U);
    EXPECT_EQ(names(transaction, "all"), (std::vector<std::string>{".", ".."}));
    EXPECT_EQ(0U, removeDirectory(transaction, "all"));
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ(tree.snapshot(), Snapshot{});
}

TEST_F(TransactionTest, APathMeansTheSameHoweverItsSeparatorsAreWritten) {
    tree.write("from/in/a", "1");
    tree.write("from/in/b", "2");
    tree.write("from/in/.c", "3");
    Open transaction;
    ASSERT_EQ(0U, makeDirectory(transaction, "to"));
    ASSERT_EQ(0U, makeDirectory(transaction, "to/in"));
    const std::wstring from = tree.wide("from");
    const std::wstring to = tree.wide("to");
    const auto copyFile = [&](const std::wstring& source, const std::wstring& target) {
        return outcome(CopyFileTransactedW((from + source).c_str(), (to + target).c_str(), nullptr,
                                           nullptr, nullptr, COPY_FILE_COPY_SYMLINK, transaction));
    };
    EXPECT_EQ(0U, copyFile(L"\\in\\a", L"\\in\\1"));
    EXPECT_EQ(0U, copyFile(L"\\in\\a", L"\\in\\2"));
    EXPECT_EQ(0U, copyFile(L"\\in\\b", L"\\in\\3"));
    EXPECT_EQ(0U, copyFile(L"/in/b", L"/in/4"));
    EXPECT_EQ(0U, copyFile(L"\\in/.c", L"\\in/.5"));
    EXPECT_EQ(0U, copyFile(L"\\in\\.c", L"\\in\\.6"));
    EXPECT_EQ(0U, copyFile(L"\\in\\..\\in\\a", L"\\in\\7"));
    EXPECT_EQ(0U, copyFile(L"\\in\\\\a", L"\\in\\\\8"));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, copyFile(L"\\in\\none", L"\\in\\9"));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, copyFile(L"\\in\\a", L"\\in\\."));
    // What a ".." leads to is, or is not, asked of the disk, where "in" is not yet.
    EXPECT_NE(0U, copyFile(L"\\in\\a", L"\\in\\.."));
    EXPECT_TRUE(transaction.commit());
    EXPECT_EQ(tree.snapshot("to/in"), (Snapshot{{"1", "file 1"},
                                                {"2", "file 1"},
                                                {"3", "file 2"},
                                                {"4", "file 2"},
                                                {".5", "file 3"},
                                                {".6", "file 3"},
                                                {"7", "file 1"},
                                                {"8", "file 1"}}));
}

TEST_F(TransactionTest, NoPathIsNoPlace) {
    Open transaction;
    const DWORD nowhere = ERROR_PATH_NOT_FOUND;
    WIN32_FILE_ATTRIBUTE_DATA data{};
    const std::wstring here = tree.wide("a");
    EXPECT_EQ(nowhere, outcome(DeleteFileTransactedW(nullptr, transaction)));
    EXPECT_EQ(nowhere, outcome(RemoveDirectoryTransactedW(nullptr, transaction)));
    EXPECT_EQ(nowhere, outcome(CreateDirectoryTransactedW(nullptr, nullptr, nullptr, transaction)));
    EXPECT_EQ(nowhere, outcome(CopyFileTransactedW(nullptr, here.c_str(), nullptr, nullptr, nullptr,
                                                   0, transaction)));
    EXPECT_EQ(nowhere, outcome(transactions::GetFileAttributesTransactedW(
                           nullptr, GetFileExInfoStandard, &data, transaction)));
}

TEST_F(TransactionTest, WhatIsNotKnownIsRefused) {
    wchar_t name[] = L"test";
    EXPECT_EQ(INVALID_HANDLE_VALUE, CreateTransaction(nullptr, nullptr, 1, 0, 0, 0, name));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
    Open transaction;
    tree.write("file", "x");
    EXPECT_EQ(ERROR_INVALID_PARAMETER, copy(transaction, "file", "other", 0x10000));
    WIN32_FIND_DATAW data{};
    EXPECT_EQ(INVALID_HANDLE_VALUE, transactions::FindFirstFileTransactedW(
                                        (tree.wide("") + L"\\f?le").c_str(), FindExInfoStandard,
                                        &data, FindExSearchNameMatch, nullptr, 0, transaction));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, os().GetLastError());
    EXPECT_FALSE(CreateDirectoryTransactedW(tree.wide("").c_str(), tree.wide("x").c_str(), nullptr,
                                            transaction));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, os().GetLastError());
    WIN32_FILE_ATTRIBUTE_DATA attributesOfEmpty{};
    EXPECT_FALSE(transactions::GetFileAttributesTransactedW(L"", GetFileExInfoStandard,
                                                            &attributesOfEmpty, transaction));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, os().GetLastError());
}

}  // namespace
}  // namespace Tallowmere::platform::transactions
