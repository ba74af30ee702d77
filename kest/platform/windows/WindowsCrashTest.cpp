// What is found after a process has ended in the middle: at each change of the disk in turn, and by
// being ended from outside.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "kest/platform/testing/TempTree.h"
#include "kest/platform/transactions/Disk.h"
#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/testing/TreeTransaction.h"
#include "kest/platform/windows/testing/WatchedDisk.h"

namespace Tallowmere::platform::transactions {
namespace {

using testing::CurrentDisk;
using testing::TempTree;
using testing::TreeTransaction;
using testing::WatchedDisk;
using Snapshot = std::map<std::string, std::string>;

/// Whether anything is left over beside the entries of a test.
bool hasStrays(const Snapshot& snapshot) {
    return std::any_of(snapshot.begin(), snapshot.end(), [](const auto& entry) {
        return entry.first.find(".kest-") != std::string::npos;
    });
}

/// Runs a body on a disk that stops at the given change, from 1; at none for 0. Whether it came to
/// that.
bool runUntil(int change, const std::function<void()>& body) {
    int made = 0;
    WatchedDisk disk(systemDisk(), [&](const char*) {
        if (++made == change) {
            disk.stop();
        }
        return DWORD{ERROR_SUCCESS};
    });
    disk.setSyncing(false);
    const CurrentDisk current(disk);
    body();
    return disk.isStopped();
}

class WindowsCrash : public ::testing::Test {
protected:
    /// The same trees again, whatever has become of them.
    void makeTrees() {
        std::filesystem::remove_all(tree / "place");
        tree.write("from/a", "new");
        tree.write("from/sub/b", "new");
        tree.write("place/to/a", "old");
        tree.write("place/to/deep/er/c", "old");
        tree.write("place/beside", "beside");
        ASSERT_TRUE(::SetFileAttributesW(tree.wide("from/a").c_str(), FILE_ATTRIBUTE_HIDDEN));
        before = tree.snapshot("place");
    }
    /// What the next transaction finds and leaves.
    Snapshot recovered() {
        EXPECT_FALSE(runUntil(0, [&] {
            TreeTransaction transaction;
            EXPECT_NE(ERROR_OPERATION_ABORTED, transaction.look(tree.wide("place/to")));
            EXPECT_EQ(0U, transaction.commit());
        }));
        return tree.snapshot("place");
    }
    /// Stops `body` at each change in turn: afterwards the place must be as before or as after, and
    /// as after when the body was told so. How many changes there were.
    int sweep(const std::function<bool()>& body) {
        makeTrees();
        EXPECT_TRUE(body());
        const Snapshot after = tree.snapshot("place");
        EXPECT_NE(before, after);
        EXPECT_FALSE(hasStrays(after));
        for (int change = 1;; ++change) {
            makeTrees();
            bool isDone = false;
            const bool isStopped = runUntil(change, [&] { isDone = body(); });
            const Snapshot now = recovered();
            EXPECT_TRUE(now == after || (!isDone && now == before)) << "change " << change;
            if (!isStopped) {
                EXPECT_TRUE(isDone);
                return change - 1;
            }
        }
    }
    bool replace() {
        TreeTransaction transaction;
        return transaction.replaceTree(tree.wide("from"), tree.wide("place/to")) == 0 &&
               transaction.commit() == 0;
    }

    TempTree tree;
    Snapshot before;
};

TEST_F(WindowsCrash, AReplacementIsWholeWhereverItEnds) {
    // Making and locking the stage, two directories and two files, syncs, the journal, two renames,
    // the removal of five old entries, and the stage.
    EXPECT_LE(18, sweep([&] { return replace(); }));
}

TEST_F(WindowsCrash, ANewTreeIsWholeWhereverItEnds) {
    EXPECT_LE(8, sweep([&] {
                  TreeTransaction transaction;
                  return transaction.copyTree(tree.wide("from"), tree.wide("place/new")) == 0 &&
                         transaction.commit() == 0;
              }));
}

TEST_F(WindowsCrash, ADeletionIsWholeWhereverItEnds) {
    EXPECT_LE(8, sweep([&] {
                  TreeTransaction transaction;
                  return transaction.removeTree(tree.wide("place/to")) == 0 &&
                         transaction.commit() == 0;
              }));
}

TEST_F(WindowsCrash, SeveralChangesAreOneWhereverTheyEnd) {
    EXPECT_LE(18, sweep([&] {
                  TreeTransaction transaction;
                  return transaction.removeFile(tree.wide("place/BESIDE")) == 0 &&
                         transaction.copyFile(tree.wide("from/a"), tree.wide("place/file")) == 0 &&
                         transaction.replaceTree(tree.wide("from"), tree.wide("place/TO")) == 0 &&
                         transaction.commit() == 0;
              }));
}

TEST_F(WindowsCrash, ARecoveryMayEndAnywhereToo) {
    // Ended once in the replacement, at each change, and once in the recovery, at each change.
    int recoveries = 0;
    for (int change = 1;; ++change) {
        bool wasStopped = false;
        for (int again = 1;; ++again) {
            makeTrees();
            bool isDone = false;
            wasStopped = runUntil(change, [&] { isDone = replace(); });
            EXPECT_TRUE(wasStopped || isDone);
            const bool isStoppedAgain = runUntil(again, [&] {
                TreeTransaction transaction;
                (void)transaction.look(tree.wide("place/to"));
            });
            const Snapshot now = recovered();
            EXPECT_TRUE(now == before || (now.count("to/a") != 0 && now.at("to/a") == "file new"))
                << "change " << change << ", then " << again;
            EXPECT_FALSE(hasStrays(now)) << "change " << change << ", then " << again;
            EXPECT_EQ(now.count("to/deep"), now.count("to/sub") == 0 ? 1U : 0U);
            if (!isStoppedAgain) {
                break;
            }
            ++recoveries;
        }
        if (!wasStopped) {
            break;
        }
    }
    EXPECT_LE(30, recoveries);
}

/// Beside the tests: a process that replaces one tree by another over and over, and tells of each
/// change that it is about to make by a byte in a pipe.
constexpr wchar_t kFolder[] = L"KEST_TEST_CRASH_FOLDER";
constexpr wchar_t kPipe[] = L"KEST_TEST_CRASH_PIPE";

std::wstring variable(const wchar_t* name) {
    wchar_t value[1024];
    const DWORD length = ::GetEnvironmentVariableW(name, value, 1024);
    return length < 1024 ? std::wstring(value, length) : L"";
}

DWORD replaceOnceMore(const std::wstring& folder, int times) {
    TreeTransaction transaction;
    const DWORD error = transaction.replaceTree(folder + (times % 2 == 0 ? L"\\one" : L"\\two"),
                                                folder + L"\\place\\to");
    return error != ERROR_SUCCESS ? error : transaction.commit();
}

TEST(WindowsCrashProcess, ReplacesOverAndOver) {
    // Started by a test below it goes on until it is ended; by itself it does so four times.
    const std::wstring folder = variable(kFolder);
    if (folder.empty()) {
        TempTree tree;
        tree.write("one/a", "1");
        tree.write("two/b", "2");
        tree.makeDirectory("place");
        for (int times = 0; times < 4; ++times) {
            EXPECT_EQ(0U, replaceOnceMore(tree.root().wstring(), times));
            EXPECT_EQ(tree.snapshot(times % 2 == 0 ? "one" : "two"), tree.snapshot("place/to"));
        }
        return;
    }
    const HANDLE pipe =
        reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::stoull(variable(kPipe))));
    WatchedDisk disk(systemDisk(), [&](const char*) {
        DWORD written = 0;
        (void)::WriteFile(pipe, ".", 1, &written, nullptr);
        return DWORD{ERROR_SUCCESS};
    });
    const CurrentDisk current(disk);
    for (int times = 0; replaceOnceMore(folder, times) == ERROR_SUCCESS; ++times) {
    }
}

/// Runs that process and ends it after it has told of so many changes.
void endAfter(int changes, const std::wstring& folder) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE ends[2];
    ASSERT_TRUE(::CreatePipe(&ends[0], &ends[1], &inherited, 1));
    const Handle reading(ends[0]);
    Handle writing(ends[1]);
    ::SetHandleInformation(reading.get(), HANDLE_FLAG_INHERIT, 0);
    wchar_t program[1024];
    ASSERT_NE(0U, ::GetModuleFileNameW(nullptr, program, 1024));
    std::wstring line = L"\"" + std::wstring(program) +
                        L"\" --gtest_filter=WindowsCrashProcess.ReplacesOverAndOver";
    ::SetEnvironmentVariableW(kFolder, folder.c_str());
    ::SetEnvironmentVariableW(
        kPipe, std::to_wstring(reinterpret_cast<std::uintptr_t>(writing.get())).c_str());
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    const BOOL isStarted = ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                                            CREATE_NO_WINDOW, nullptr, nullptr, &start, &process);
    ::SetEnvironmentVariableW(kFolder, nullptr);
    ::SetEnvironmentVariableW(kPipe, nullptr);
    ASSERT_TRUE(isStarted);
    writing.close();
    char byte = 0;
    DWORD got = 0;
    int told = 0;
    while (told < changes && ::ReadFile(reading.get(), &byte, 1, &got, nullptr) && got == 1) {
        ++told;
    }
    EXPECT_EQ(changes, told) << "it ended by itself";
    EXPECT_TRUE(::TerminateProcess(process.hProcess, 9));
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(process.hProcess, INFINITE));
    ::CloseHandle(process.hProcess);
    ::CloseHandle(process.hThread);
}

TEST(WindowsCrashProcess, MayBeEndedAtAnyMoment) {
    TempTree tree;
    tree.write("one/a", "1");
    tree.write("one/sub/file", "1");
    tree.write("two/b", "2");
    tree.write("place/to/a", "0");
    const Snapshot zero = tree.snapshot("place/to");
    const Snapshot one = tree.snapshot("one");
    const Snapshot two = tree.snapshot("two");
    std::mt19937 random(20261121);
    for (int round = 0; round < 12; ++round) {
        const int changes = std::uniform_int_distribution<int>(1, 60)(random);
        endAfter(changes, tree.root().wstring());
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.look(tree.wide("place/to")));
        EXPECT_EQ(0U, transaction.commit());
        const Snapshot now = tree.snapshot("place/to");
        EXPECT_TRUE(now == zero || now == one || now == two) << "after " << changes;
        EXPECT_FALSE(hasStrays(tree.snapshot())) << "after " << changes;
    }
}

}  // namespace
}  // namespace Tallowmere::platform::transactions
