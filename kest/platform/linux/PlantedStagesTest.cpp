// A folder where everybody may put something, as /tmp: another user has planted there whatever
// bears the name of a stage, journals and locks with it. Neither is the user's own change hindered
// nor is anything done that the other one wanted.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <ostream>
#include <stdexcept>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/platform/transactions/Journal.h"
#include "kest/platform/transactions/SystemDisk.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::TempTree;
namespace transactions = platform::transactions;
namespace fs = std::filesystem;

constexpr uid_t kAttacker = 54321;
constexpr uid_t kVictim = 54322;

/// A name as a stage's, a different one for each number.
std::string stageName(int number) {
    char name[64];
    std::snprintf(name, sizeof(name), ".kest-%032x", static_cast<unsigned>(number));
    return name;
}

/// Runs a body as another user, in a process of its own; whether it said that all was well.
bool runsAs(uid_t user, const std::function<bool()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::setgid(user) != 0 || ::setuid(user) != 0) {
            ::_exit(2);
        }
        bool isWell = false;
        try {
            isWell = body();
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "%s\n", failure.what());
        }
        ::_exit(isWell ? 0 : 1);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

/// A sound journal that takes `victim` away.
std::string journalAgainst(const std::wstring& victim) {
    TempTree scratch;
    const fs::path stage = scratch / "stage";
    fs::create_directory(stage);
    transactions::Disk& disk = transactions::systemDisk();
    transactions::DirectoryPtr directory;
    std::wstring canonical;
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, disk.openDirectory(stage.wstring(), directory, canonical));
    EXPECT_EQ(DWORD{ERROR_SUCCESS},
              transactions::writeDraft(disk, directory,
                                       {{L""}, {{0, victim, victim, L"slot-0", true, false}}}));
    return scratch.read("stage/journal-draft");
}

class PlantedStages : public ::testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root can be two users at once";
        }
        // Every directory on the way must let them pass.
        fs::permissions(tree.root(), fs::perms::all | fs::perms::sticky_bit);
        tree.write("canary/bird", "sings");
        fs::permissions(tree / "canary", fs::perms::all);
        ASSERT_TRUE(runsAs(kVictim, [&] {
            tree.write("from/a", "new");
            tree.write("to/a", "old");
            return true;
        }));
    }

    /// The victim replaces and deletes, and both work.
    void victimGoesAboutItsBusiness() {
        const auto silently = [](const std::function<void()>& operation) {
            std::wostream nowhere(nullptr);
            Recorder::destroy();
            Recorder::instance()->setStream(&nowhere, nullptr, false);
            operation();
            Recorder::destroy();
        };
        EXPECT_TRUE(runsAs(kVictim, [&] {
            silently([&] { CopyDirectoryTransacted(tree.wide("from"), tree.wide("to")); });
            return tree.read("to/a") == "new";
        }));
        EXPECT_TRUE(runsAs(kVictim, [&] {
            silently([&] { DeleteDirectoryTransacted(tree.wide("to")); });
            return !tree.exists("to");
        }));
        EXPECT_EQ("sings", tree.read("canary/bird"));
        EXPECT_EQ("new", tree.read("from/a"));
    }

    std::map<std::string, std::string> planted() const {
        std::map<std::string, std::string> result;
        for (const auto& [name, what] : tree.snapshot()) {
            if (name.starts_with(".kest-")) {
                result[name] = what;
            }
        }
        return result;
    }

    TempTree tree;
};

TEST_F(PlantedStages, WhatIsNoDirectory) {
    ASSERT_TRUE(runsAs(kAttacker, [&] {
        tree.write(stageName(1), "a file");
        fs::create_directory_symlink(tree / "canary", tree / stageName(2));
        fs::create_symlink(tree / "nowhere", tree / stageName(3));
        return ::mkfifo((tree / stageName(4)).c_str(), 0666) == 0;
    }));
    const auto before = planted();
    EXPECT_EQ(4U, before.size());
    victimGoesAboutItsBusiness();
    EXPECT_EQ(before, planted());
}

TEST_F(PlantedStages, WithSoundJournalsAndAnyRights) {
    const std::string journal = journalAgainst(L"from");
    ASSERT_TRUE(runsAs(kAttacker, [&] {
        for (const mode_t mode : {0700, 0755, 0777, 0000}) {
            const std::string name = stageName(static_cast<int>(mode) + 1);
            tree.write(name + "/journal", journal);
            tree.makeDirectory(name + "/slot-0");
            if (::chmod((tree / name).c_str(), mode) != 0) {
                return false;
            }
        }
        return true;
    }));
    const auto before = planted();
    EXPECT_EQ(12U, before.size());
    victimGoesAboutItsBusiness();
    EXPECT_EQ(before, planted());
}

TEST_F(PlantedStages, InTheVictimsNameButOpenToAll) {
    // What the victim has made itself, but others may have changed since.
    const std::string journal = journalAgainst(L"from");
    ASSERT_TRUE(runsAs(kVictim, [&] {
        tree.write(stageName(1) + "/journal", journal);
        return ::chmod((tree / stageName(1)).c_str(), 0777) == 0;
    }));
    const auto before = planted();
    victimGoesAboutItsBusiness();
    EXPECT_EQ(before, planted());
}

TEST_F(PlantedStages, HeldByALockForEver) {
    int ready[2];
    ASSERT_EQ(0, ::pipe(ready));
    const std::string journal = journalAgainst(L"to");
    const pid_t holder = ::fork();
    if (holder == 0) {
        if (::setgid(kAttacker) != 0 || ::setuid(kAttacker) != 0) {
            ::_exit(2);
        }
        // One of its own; one that the victim could take for its own by its rights alone.
        for (const mode_t mode : {0700, 0777}) {
            const std::string name = stageName(static_cast<int>(mode));
            tree.write(name + "/journal-draft", journal);
            (void)::chmod((tree / name).c_str(), mode);
            const int stage = ::open((tree / name).c_str(), O_RDONLY | O_DIRECTORY);
            if (stage < 0 || ::flock(stage, LOCK_EX | LOCK_NB) != 0) {
                ::_exit(3);
            }
        }
        (void)!::write(ready[1], "x", 1);
        ::pause();
        ::_exit(0);
    }
    char byte = 0;
    ::close(ready[1]);
    const bool isHeld = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
    EXPECT_TRUE(isHeld);
    const auto before = planted();
    victimGoesAboutItsBusiness();
    EXPECT_EQ(before, planted());
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
}

TEST_F(PlantedStages, APrivateFolderOfTheVictimGivenTheNameOfOne) {
    // Whoever may rename the entries of a folder cannot look into a private one, and must not find
    // somebody who empties it for him.
    fs::permissions(tree.root(), fs::perms::all);
    ASSERT_TRUE(runsAs(kVictim, [&] {
        tree.write("private/letter", "dear");
        return ::chmod((tree / "private").c_str(), 0700) == 0;
    }));
    ASSERT_TRUE(runsAs(kAttacker, [&] {
        return ::rename((tree / "private").c_str(), (tree / stageName(1)).c_str()) == 0;
    }));
    const auto before = planted();
    EXPECT_EQ(2U, before.size());
    victimGoesAboutItsBusiness();
    EXPECT_EQ(before, planted());
}

}  // namespace
}  // namespace Tallowmere
