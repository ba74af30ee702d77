// Rivals on a real disk: two that replace the same tree again and again while a reader walks it,
// and links that are put in the way.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <functional>
#include <new>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/Calls.h"
#include "kest/platform/linux/Descriptor.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::os;
using platform::testing::ScopedCall;
using platform::testing::TempTree;
using Snapshot = std::map<std::string, std::string>;

constexpr int kFolders = 4;
constexpr int kFiles = 5;
/// How often each rival replaces the tree at least. It goes on until the reader has seen a whole
/// one.
constexpr int kRounds = 10;
constexpr int kMostRounds = 300;

const char* const kStage = ".kest-0123456789abcdef0123456789abcdef";

/// What rivals and readers tell each other, in memory that processes share as well.
struct Shared {
    std::atomic<int> arrived{0};
    std::atomic<int> working{2};
    std::atomic<int> done[2]{};
    std::atomic<int> refused[2]{};
    std::atomic<int> seen[2]{};
    std::atomic<int> walks{0};
    std::atomic<int> absent{0};
    std::atomic<int> torn{0};
    /// A failure that says nothing about itself.
    std::atomic<int> unclear{0};
    std::array<char, 400> failure{};

    bool wasSeen() const { return seen[0] + seen[1] > 0; }
    void arrive() {
        ++arrived;
        while (arrived < 3) {
            std::this_thread::yield();
        }
    }
};

/// What one rival does: "a" or "b" becomes the tree, again and again.
void rival(const TempTree& tree, int who, Shared& shared) {
    shared.arrive();
    const std::wstring from = tree.wide(who == 0 ? "a" : "b");
    const std::wstring to = tree.wide("to");
    for (int round = 0; round < kRounds || (!shared.wasSeen() && round < kMostRounds); ++round) {
        try {
            CopyDirectoryTransacted(from, to);
            ++shared.done[who];
        } catch (const std::runtime_error& failure) {
            ++shared.refused[who];
            if (std::strstr(failure.what(), " failed: ") == nullptr && shared.unclear++ == 0) {
                std::strncpy(shared.failure.data(), failure.what(), shared.failure.size() - 1);
            }
        }
    }
    --shared.working;
}

/// Opens a file or directory below another one.
platform::Descriptor openBelow(int directory, const std::string& name, int flags) {
    return platform::Descriptor(::openat(directory, name.c_str(), flags | O_CLOEXEC));
}

/// One walk, from one opening of the tree on. False when what it found is of two trees, or less
/// than one while that tree still stands there.
bool walk(const std::string& path, Shared& shared) {
    const platform::Descriptor top = openBelow(AT_FDCWD, path, O_RDONLY | O_DIRECTORY);
    if (top.get() < 0) {
        ++shared.absent;
        return true;
    }
    std::array<int, 2> found{};
    for (int folder = 0; folder < kFolders; ++folder) {
        for (int file = 0; file < kFiles; ++file) {
            const std::string name = std::to_string(folder) + "/" + std::to_string(file);
            const platform::Descriptor opened = openBelow(top.get(), name, O_RDONLY);
            char mark = 0;
            if (opened.get() >= 0 && ::read(opened.get(), &mark, 1) == 1) {
                found.at(mark == 'a' ? 0 : 1) += 1;
            }
        }
    }
    if (found[0] != 0 && found[1] != 0) {
        return false;
    }
    if (found[0] + found[1] == kFolders * kFiles) {
        ++shared.seen[found[0] != 0 ? 0 : 1];
        return true;
    }
    // An old tree may be held while it is being removed, but then another stands in its place.
    struct stat held {};
    struct stat standing {};
    return ::fstat(top.get(), &held) == 0 && ::stat(path.c_str(), &standing) == 0 &&
           held.st_ino != standing.st_ino;
}

void read(const TempTree& tree, Shared& shared) {
    shared.arrive();
    const std::string path = (tree / "to").string();
    while (shared.working > 0) {
        ++shared.walks;
        shared.torn += walk(path, shared) ? 0 : 1;
    }
}

/// Sends the trace nowhere.
class Silence {
public:
    Silence() : m_nowhere(nullptr) { Recorder::instance()->setStream(&m_nowhere, nullptr, false); }
    ~Silence() { Recorder::destroy(); }

private:
    std::wostream m_nowhere;
};

class RivalsOnDisk : public ::testing::Test {
protected:
    RivalsOnDisk() {
        for (const char* const mark : {"a", "b"}) {
            for (int folder = 0; folder < kFolders; ++folder) {
                for (int file = 0; file < kFiles; ++file) {
                    tree.write(std::string(mark) + "/" + std::to_string(folder) + "/" +
                                   std::to_string(file),
                               mark);
                }
            }
        }
        CopyDirectoryTransacted(tree.wide("a"), tree.wide("to"));
        void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::runtime_error("no shared memory");
        }
        shared = new (memory) Shared;
    }
    ~RivalsOnDisk() override { ::munmap(shared, sizeof(Shared)); }

    /// How many entries stand beside each other, stages included.
    long entries() const {
        return std::distance(std::filesystem::directory_iterator(tree.root()), {});
    }
    void check() {
        std::printf("%d and %d replaced, %d and %d refused, %d walks\n", shared->done[0].load(),
                    shared->done[1].load(), shared->refused[0].load(), shared->refused[1].load(),
                    shared->walks.load());
        EXPECT_EQ(0, shared->absent) << "of " << shared->walks;
        EXPECT_EQ(0, shared->torn) << "of " << shared->walks;
        EXPECT_EQ(0, shared->unclear) << shared->failure.data();
        EXPECT_TRUE(shared->wasSeen());
        EXPECT_GT(shared->done[0], 0);
        EXPECT_GT(shared->done[1], 0);
        const Snapshot left = tree.snapshot("to");
        EXPECT_TRUE(left == tree.snapshot("a") || left == tree.snapshot("b"));
        // What one had to leave for the next is gone after one more look.
        CopyDirectoryTransacted(tree.wide("b"), tree.wide("to"));
        EXPECT_EQ(tree.snapshot("b"), tree.snapshot("to"));
        EXPECT_EQ(3, entries());
    }

    const Silence silence;
    TempTree tree;
    Shared* shared = nullptr;
};

TEST_F(RivalsOnDisk, TwoProcessesReplaceTheSameTreeWhileAnotherWalksIt) {
    std::vector<pid_t> children;
    for (int who = 0; who < 3; ++who) {
        const pid_t child = ::fork();
        if (child == 0) {
            who < 2 ? rival(tree, who, *shared) : read(tree, *shared);
            ::_exit(0);
        }
        ASSERT_GT(child, 0);
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(child, ::waitpid(child, &status, 0));
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(0, WEXITSTATUS(status));
    }
    check();
}

TEST_F(RivalsOnDisk, TwoThreadsReplaceTheSameTreeWhileAnotherWalksIt) {
    std::thread one([&] { rival(tree, 0, *shared); });
    std::thread two([&] { rival(tree, 1, *shared); });
    std::thread reader([&] { read(tree, *shared); });
    one.join();
    two.join();
    reader.join();
    check();
}

/// Something that a rival does while a transaction is under way, and canaries that show whether
/// anything was touched that is none of its business.
class LinksOnDisk : public ::testing::Test {
protected:
    LinksOnDisk() {
        tree.write("from/file", "new");
        tree.write("from/sub/file", "new");
        tree.write("to/file", "old");
        tree.write("to/sub/file", "old");
        tree.write("outside/file", "alive");
        tree.write("outside/sub/file", "alive");
        tree.write("outside/journal", "alive");
        outside = tree.snapshot("outside");
    }
    ~LinksOnDisk() override { EXPECT_EQ(outside, tree.snapshot("outside")); }

    void link(const std::string& relative) const {
        std::filesystem::create_directory_symlink(tree / "outside", tree / relative);
    }
    /// Puts a link to the canaries in the place of a directory, which is put aside.
    void swap(const std::string& relative) const {
        std::filesystem::rename(tree / relative, tree / "aside");
        link(relative);
    }
    static bool succeeds(const std::function<void()>& operation) {
        try {
            operation();
            return true;
        } catch (const std::runtime_error& failure) {
            EXPECT_NE(nullptr, std::strstr(failure.what(), " failed: ")) << failure.what();
            return false;
        }
    }
    bool replaces() const {
        return succeeds([&] { CopyDirectoryTransacted(tree.wide("from"), tree.wide("to")); });
    }
    bool deletes() const {
        return succeeds([&] { DeleteDirectoryTransacted(tree.wide("to")); });
    }
    bool hasStage() const {
        const auto entries = std::filesystem::directory_iterator(tree.root());
        return std::any_of(begin(entries), end(entries), [](const auto& entry) {
            return entry.path().filename().native().rfind(".kest-", 0) == 0;
        });
    }

    const Silence silence;
    TempTree tree;
    Snapshot outside;
};

TEST_F(LinksOnDisk, WithTheNameOfAStageLeadNowhere) {
    const std::string dangling = ".kest-00000000000000000000000000000000";
    const std::string file = ".kest-11111111111111111111111111111111";
    link(kStage);
    std::filesystem::create_symlink(tree / "nothing", tree / dangling);
    tree.write(file, "alive");
    link(std::string("to/") + kStage);
    EXPECT_TRUE(replaces());
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    link(std::string("to/sub/") + kStage);
    EXPECT_TRUE(deletes());
    EXPECT_FALSE(tree.exists("to"));
    EXPECT_TRUE(replaces());
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    for (const std::string& name : {std::string(kStage), dangling}) {
        EXPECT_TRUE(std::filesystem::is_symlink(tree / name)) << name;
    }
    EXPECT_EQ("alive", tree.read(file));
    EXPECT_EQ(6, std::distance(std::filesystem::directory_iterator(tree.root()), {}));
}

TEST_F(LinksOnDisk, InPlaceOfTheDestinationBeforeTheCommitLeadNowhere) {
    for (const bool isDeletion : {false, true}) {
        ScopedCall<&Calls::CommitTransaction> commit([&](HANDLE transaction) {
            swap("to");
            return commit.original(transaction);
        });
        const bool done = isDeletion ? deletes() : replaces();
        EXPECT_EQ(1, commit.count());
        EXPECT_EQ(outside, tree.snapshot("outside"));
        EXPECT_EQ("old", tree.read("aside/file"));
        EXPECT_FALSE(hasStage());
        if (done) {
            EXPECT_EQ(isDeletion, !tree.exists("to"));
            EXPECT_FALSE(std::filesystem::is_symlink(tree / "to"));
        } else {
            EXPECT_TRUE(std::filesystem::is_symlink(tree / "to"));
        }
        std::filesystem::remove_all(tree / "to");
        std::filesystem::rename(tree / "aside", tree / "to");
    }
}

TEST_F(LinksOnDisk, InPlaceOfADirectoryThatIsBeingDeletedLeadNowhere) {
    for (const bool isDeletion : {false, true}) {
        for (const char* const place : {"to", "to/sub"}) {
            ScopedCall<&Calls::DeleteFileTransactedW> remove(
                [&](const wchar_t* path, HANDLE transaction) {
                    if (remove.count() == 1) {
                        swap(place);
                    }
                    return remove.original(path, transaction);
                });
            (void)(isDeletion ? deletes() : replaces());
            EXPECT_GE(remove.count(), 1);
            EXPECT_EQ(outside, tree.snapshot("outside")) << place;
            EXPECT_FALSE(hasStage());
            std::filesystem::remove_all(tree / "to");
            std::filesystem::remove_all(tree / "aside");
            tree.write("to/file", "old");
            tree.write("to/sub/file", "old");
        }
    }
}

TEST_F(LinksOnDisk, InPlaceOfADirectoryThatIsBeingFilledLeadNowhere) {
    // The stage's slots can be found by listing the stage, which its owner alone may do.
    ScopedCall<&Calls::CopyFileTransactedW> copy([&](auto... arguments) {
        if (copy.count() == 1) {
            for (const auto& stage : std::filesystem::directory_iterator(tree.root())) {
                if (stage.path().filename().native().rfind(".kest-", 0) == 0) {
                    std::filesystem::rename(stage.path(), tree / "aside");
                    std::filesystem::create_directory_symlink(tree / "outside", stage.path());
                    break;
                }
            }
        }
        return copy.original(arguments...);
    });
    (void)replaces();
    EXPECT_TRUE(tree.exists("aside")) << "there was a stage";
    EXPECT_EQ(outside, tree.snapshot("outside"));
    const Snapshot to = tree.snapshot("to");
    EXPECT_TRUE(to == tree.snapshot("from") ||
                to == (Snapshot{{"file", "file old"}, {"sub", "dir"}, {"sub/file", "file old"}}));
}

TEST_F(LinksOnDisk, AStageOfAnotherUserIsLeftAlone) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can make a stage that belongs to another user";
    }
    tree.write(std::string(kStage) + "/journal", "theirs");
    tree.write(std::string(kStage) + "/slot-0/file", "theirs");
    link(std::string(kStage) + "/slot-1");
    const std::string stage = (tree / kStage).string();
    ASSERT_EQ(0, ::chmod(stage.c_str(), 0700));
    ASSERT_EQ(0, ::chown(stage.c_str(), 54321, 54321));
    const Snapshot planted = tree.snapshot(kStage);
    EXPECT_TRUE(replaces());
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    EXPECT_TRUE(deletes());
    EXPECT_TRUE(replaces());
    EXPECT_EQ(planted, tree.snapshot(kStage));
    struct stat status {};
    ASSERT_EQ(0, ::stat(stage.c_str(), &status));
    EXPECT_EQ(54321U, status.st_uid);
    EXPECT_EQ(0700U, status.st_mode & 07777U);
    EXPECT_EQ(4, std::distance(std::filesystem::directory_iterator(tree.root()), {}));
}

}  // namespace
}  // namespace Tallowmere
