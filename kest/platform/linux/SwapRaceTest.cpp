// An attacker in the tree: while it is deleted and copied again and again, a folder in it and a
// link to somewhere else change places a hundred thousand times. What the link leads to survives,
// and nothing of it is copied.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <filesystem>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/Calls.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::ScopedCall;
using platform::testing::TempTree;
using Snapshot = std::map<std::string, std::string>;

constexpr int kSwaps = 100'000;
/// A thread sanitizer or a slow disk makes fewer.
constexpr auto kMostTime = std::chrono::seconds(30);

class SwapRace : public ::testing::Test {
protected:
    SwapRace() {
        Recorder::instance()->setStream(&m_nowhere, nullptr, false);
        tree.write("canary/bird", "sings");
        tree.write("canary/nest/egg", "whole");
        canary = tree.snapshot("canary");
    }
    ~SwapRace() override { Recorder::destroy(); }

    /// A tree with a folder and a file that a link takes the place of, at two depths. What is in
    /// the folder may stop a deletion before it does harm, so one of them is empty.
    void build(const std::string& top) const {
        for (const std::string& at : {top, top + "/deep/er"}) {
            for (int i = 0; i < 3; ++i) {
                tree.write(at + "/folder/nest/" + std::to_string(i), "ours");
            }
            tree.makeDirectory(at + "/empty");
            tree.write(at + "/file", "ours");
            for (const char* const link : {"/link", "/other link"}) {
                std::filesystem::create_directory_symlink(tree / "canary", tree / (at + link));
            }
            std::filesystem::create_symlink(tree / "canary/bird", tree / (at + "/short cut"));
        }
    }

    /// Swaps while `body` runs again and again, until it was done often enough.
    template <class Body>
    void race(const std::string& top, Body body) {
        std::atomic<bool> isOver{false};
        std::atomic<int> swaps{0};
        std::thread rival([&] {
            std::vector<std::string> names;
            for (const std::string& at : {top, top + "/deep/er"}) {
                for (const char* const name :
                     {"/folder", "/link", "/empty", "/other link", "/file", "/short cut"}) {
                    names.push_back((tree / (at + name)).string());
                }
            }
            for (std::size_t i = 0; !isOver; i = (i + 2) % names.size()) {
                if (::renameat2(AT_FDCWD, names[i].c_str(), AT_FDCWD, names[i + 1].c_str(),
                                RENAME_EXCHANGE) == 0) {
                    ++swaps;
                }
            }
        });
        const auto end = std::chrono::steady_clock::now() + kMostTime;
        while (swaps < kSwaps && std::chrono::steady_clock::now() < end) {
            body();
        }
        isOver = true;
        rival.join();
        EXPECT_GT(swaps, 1000);
        RecordProperty("swaps", swaps);
        EXPECT_EQ(canary, tree.snapshot("canary"));
    }

    template <class Operation>
    static bool succeeds(Operation operation) {
        try {
            operation();
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }

    TempTree tree;
    Snapshot canary;

private:
    std::wostream m_nowhere{nullptr};
};

/// The one moment that matters, every time: a folder was told to be one, and when it is entered a
/// link stands there.
class SwappedFolder : public SwapRace {
protected:
    SwappedFolder() { build("to"); }

    void swap(const std::string& name, const std::string& other) const {
        EXPECT_EQ(0, ::renameat2(AT_FDCWD, (tree / name).c_str(), AT_FDCWD, (tree / other).c_str(),
                                 RENAME_EXCHANGE));
    }
    /// Whether the pattern of a search is that of the folder.
    static bool isSearchOf(const wchar_t* pattern, const std::wstring& folder) {
        return std::wstring(pattern).ends_with(folder + L"\\*");
    }
};

TEST_F(SwappedFolder, IsNotEnteredByACopy) {
    const auto before = tree.snapshot();
    const ScopedCall<&Calls::FindFirstFileTransactedW> find(
        [&](const wchar_t* pattern, auto... rest) {
            if (isSearchOf(pattern, L"/to\\folder")) {
                swap("to/folder", "to/link");
            }
            return find.original(pattern, rest...);
        });
    EXPECT_FALSE(succeeds([&] { CopyDirectoryTransacted(tree.wide("to"), tree.wide("copy")); }));
    swap("to/folder", "to/link");
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(SwappedFolder, IsNotEnteredByADeletionAlsoWhenItIsBackAtTheEnd) {
    const auto before = tree.snapshot();
    bool isSwapped = false;
    const ScopedCall<&Calls::FindFirstFileTransactedW> find(
        [&](const wchar_t* pattern, auto... rest) {
            if (isSearchOf(pattern, L"/to\\empty") && !isSwapped) {
                swap("to/empty", "to/other link");
                isSwapped = true;
            }
            return find.original(pattern, rest...);
        });
    const ScopedCall<&Calls::RemoveDirectoryTransactedW> remove(
        [&](const wchar_t* path, HANDLE transaction) {
            if (isSwapped && std::wstring(path).ends_with(L"/to\\empty")) {
                swap("to/empty", "to/other link");
                isSwapped = false;
            }
            return remove.original(path, transaction);
        });
    EXPECT_FALSE(succeeds([&] { DeleteDirectoryTransacted(tree.wide("to")); }));
    if (isSwapped) {
        swap("to/empty", "to/other link");
    }
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(SwappedFolder, FarDownIsNotComeBackTo) {
    // So deep that the folder is put aside, and opened again by its name, before its other entries
    // are dealt with.
    std::string deep = "to/z/folder";
    tree.write(deep + "/z last", "ours");
    for (int i = 0; i < 40; ++i) {
        deep += "/a";
    }
    tree.write(deep + "/bottom", "ours");
    std::filesystem::create_directory_symlink(tree / "canary", tree / "to/z/link");
    const auto before = tree.snapshot();
    bool isSwapped = false;
    const ScopedCall<&Calls::FindFirstFileTransactedW> find(
        [&](const wchar_t* pattern, auto... rest) {
            const HANDLE search = find.original(pattern, rest...);
            if (std::wstring(pattern) == tree.wide(deep) + L"\\*" ||
                std::wstring(pattern).find(L"a\\a\\a\\a\\*") != std::wstring::npos) {
                if (!isSwapped && std::count(pattern, pattern + std::wcslen(pattern), L'\\') > 36) {
                    swap("to/z/folder", "to/z/link");
                    isSwapped = true;
                }
            }
            return search;
        });
    (void)succeeds([&] { DeleteDirectoryTransacted(tree.wide("to")); });
    EXPECT_TRUE(isSwapped);
    EXPECT_EQ(canary, tree.snapshot("canary"));
}

TEST_F(SwapRace, BesideADeletion) {
    build("to");
    int deleted = 0;
    int refused = 0;
    race("to", [&] {
        if (succeeds([&] { DeleteDirectoryTransacted(tree.wide("to")); })) {
            EXPECT_FALSE(tree.exists("to"));
            ++deleted;
            build("to");
        } else {
            ++refused;
        }
    });
    EXPECT_GT(deleted + refused, 0);
    RecordProperty("deleted", deleted);
    RecordProperty("refused", refused);
}

TEST_F(SwapRace, BesideACopy) {
    build("from");
    int copied = 0;
    int refused = 0;
    race("from", [&] {
        if (succeeds([&] { CopyDirectoryTransacted(tree.wide("from"), tree.wide("to")); })) {
            ++copied;
            for (const auto& [name, what] : tree.snapshot("to")) {
                EXPECT_TRUE(what == "dir" || what == "file ours" || what.starts_with("link "))
                    << name << " is " << what;
            }
        } else {
            ++refused;
        }
    });
    EXPECT_GT(copied + refused, 0);
    RecordProperty("copied", copied);
    RecordProperty("refused", refused);
}

TEST_F(SwapRace, BesideACopyOverIt) {
    tree.write("from/folder/nest/0", "new");
    tree.write("from/deep/er/folder/nest/0", "new");
    build("to");
    int copied = 0;
    int refused = 0;
    race("to", [&] {
        if (succeeds([&] { CopyDirectoryTransacted(tree.wide("from"), tree.wide("to")); })) {
            ++copied;
            std::filesystem::remove_all(tree / "to");
            build("to");
        } else {
            ++refused;
        }
    });
    EXPECT_GT(copied + refused, 0);
    RecordProperty("copied", copied);
    RecordProperty("refused", refused);
}

}  // namespace
}  // namespace Tallowmere
