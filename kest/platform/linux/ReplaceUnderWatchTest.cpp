// A tree that is replaced while another process looks, and while the replacing process is killed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::TempTree;

/// Sends the trace nowhere, since the lines of a large tree are not what is looked at.
class Silence {
public:
    Silence() : m_nowhere(nullptr) { Recorder::instance()->setStream(&m_nowhere, nullptr, false); }
    ~Silence() { Recorder::destroy(); }

private:
    std::wostream m_nowhere;
};

void fill(const TempTree& tree, const std::string& top, const std::string& mark, int folders,
          int files) {
    for (int folder = 0; folder < folders; ++folder) {
        const std::string path = top + "/" + std::to_string(folder);
        tree.makeDirectory(path);
        for (int file = 0; file < files; ++file) {
            std::ofstream(tree / (path + "/" + mark + std::to_string(file))) << mark;
        }
    }
}

/// What a look at a tree of one mark finds: the number of its files, or -1 when it is anything else
/// than wholly of one mark.
int lookAt(const std::filesystem::path& top, char& mark) {
    int count = 0;
    mark = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(top)) {
        if (entry.is_directory()) {
            continue;
        }
        const char found = entry.path().filename().native().front();
        if (mark != 0 && mark != found) {
            return -1;
        }
        mark = found;
        std::ifstream file(entry.path());
        if (file.get() != found) {
            return -1;
        }
        ++count;
    }
    return count;
}

struct Watched {
    std::atomic<long> looks{0};
    std::atomic<long> absent{0};
    std::atomic<long> mixed{0};
    std::atomic<long> oldTrees{0};
    std::atomic<long> newTrees{0};
    std::atomic<bool> stop{false};
};

/// Looks again and again: opens the destination once and then works relative to it, as a careful
/// reader does, at a few files only so that a look is short.
void watch(const std::filesystem::path& top, Watched& seen) {
    while (!seen.stop) {
        ++seen.looks;
        const int directory = open(top.c_str(), O_RDONLY | O_DIRECTORY);
        if (directory < 0) {
            ++seen.absent;
            continue;
        }
        int olds = 0;
        int news = 0;
        for (int folder = 0; folder < 400; folder += 39) {
            struct stat status {};
            const std::string path = std::to_string(folder) + "/";
            olds += fstatat(directory, (path + "o7").c_str(), &status, 0) == 0 ? 1 : 0;
            news += fstatat(directory, (path + "n7").c_str(), &status, 0) == 0 ? 1 : 0;
        }
        close(directory);
        // A look that began in the old tree may find it being removed: what it must never find is
        // something of both, or less than all of the new one.
        if (news != 0 && (olds != 0 || news != 11)) {
            ++seen.mixed;
        }
        (news == 11 ? seen.newTrees : seen.oldTrees) += 1;
    }
}

TEST(ReplaceUnderWatch, AnotherProcessSeesTheOldTreeOrTheNewOneAndNothingElse) {
    const TempTree tree;
    fill(tree, "to", "o", 400, 50);
    fill(tree, "from", "n", 400, 50);
    void* const shared =
        mmap(nullptr, sizeof(Watched), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, shared);
    Watched& seen = *new (shared) Watched;
    const pid_t watcher = fork();
    if (watcher == 0) {
        watch(tree / "to", seen);
        _exit(0);
    }
    {
        const Silence silence;
        CopyDirectoryTransacted(tree.wide("from"), tree.wide("to"));
    }
    while (seen.newTrees == 0) {
        std::this_thread::yield();
    }
    seen.stop = true;
    ASSERT_EQ(watcher, waitpid(watcher, nullptr, 0));
    EXPECT_EQ(0, seen.absent) << "of " << seen.looks;
    EXPECT_EQ(0, seen.mixed) << "of " << seen.looks;
    EXPECT_GT(seen.oldTrees, 0);
    std::printf("%ld looks: %ld old, %ld new, %ld absent, %ld mixed\n", seen.looks.load(),
                seen.oldTrees.load(), seen.newTrees.load(), seen.absent.load(), seen.mixed.load());
    char mark = 0;
    EXPECT_EQ(20000, lookAt(tree / "to", mark));
    EXPECT_EQ('n', mark);
    munmap(shared, sizeof(Watched));
}

TEST(ReplaceUnderWatch, AHundredKillsLeaveAWholeTreeAndTheNextCopyLeavesNothingElse) {
    const TempTree tree;
    constexpr int kFolders = 10;
    constexpr int kFiles = 20;
    fill(tree, "a", "a", kFolders, kFiles);
    fill(tree, "b", "b", kFolders, kFiles);
    fill(tree, "to", "a", kFolders, kFiles);
    const Silence silence;
    std::mt19937 random(20261121);
    // How long an undisturbed replace takes decides how late a kill may come.
    const auto start = std::chrono::steady_clock::now();
    CopyDirectoryTransacted(tree.wide("a"), tree.wide("to"));
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - start);
    std::uniform_int_distribution<long> moment(0, whole.count() + whole.count() / 5);
    int interrupted = 0;
    char before = 'a';
    for (int round = 0; round < 100; ++round) {
        const char wanted = round % 2 == 0 ? 'b' : 'a';
        const pid_t worker = fork();
        if (worker == 0) {
            CopyDirectoryTransacted(tree.wide(std::string(1, wanted)), tree.wide("to"));
            _exit(0);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
        kill(worker, SIGKILL);
        int status = 0;
        ASSERT_EQ(worker, waitpid(worker, &status, 0));
        interrupted += WIFSIGNALED(status) ? 1 : 0;
        char mark = 0;
        ASSERT_EQ(kFolders * kFiles, lookAt(tree / "to", mark)) << "round " << round;
        ASSERT_TRUE(mark == before || mark == wanted) << "round " << round;
        before = mark;
    }
    CopyDirectoryTransacted(tree.wide("b"), tree.wide("to"));
    char mark = 0;
    EXPECT_EQ(kFolders * kFiles, lookAt(tree / "to", mark));
    EXPECT_EQ('b', mark);
    EXPECT_EQ(3, std::distance(std::filesystem::directory_iterator(tree.root()), {}));
    EXPECT_GT(interrupted, 10);
    std::printf("%d of 100 rounds were interrupted\n", interrupted);
}

}  // namespace
}  // namespace Tallowmere
