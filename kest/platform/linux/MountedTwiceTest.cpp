// A folder that is mounted in a second place has two paths. A copy must not take the one for
// something else than the other: its source would be removed with the old destination, or would
// grow by its own copy.

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Win32.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/text/Strings.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::TempTree;

class MountedTwice : public ::testing::Test {
protected:
    MountedTwice() { Recorder::instance()->setStream(&m_nowhere, nullptr, false); }
    ~MountedTwice() override {
        Recorder::destroy();
        if (m_isMounted) {
            (void)::umount2(m_point.c_str(), MNT_DETACH);
        }
    }

    void SetUp() override {
        for (const char* const name : {"from/file", "from/sub/deep/file"}) {
            tree.write(name, "new");
        }
        for (const char* const name : {"to/file", "to/sub/deep/file", "other/file"}) {
            tree.write(name, "old");
        }
        tree.makeDirectory("mnt");
        tree.makeDirectory("from/mnt");
        // Nobody else sees the mounts, and they end with the process.
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            GTEST_SKIP() << "only root can mount a folder a second time: " << std::strerror(errno);
        }
    }

    void mountTwice(const std::string& folder, const std::string& point) {
        m_point = (tree / point).string();
        ASSERT_EQ(0, ::mount((tree / folder).c_str(), m_point.c_str(), nullptr, MS_BIND, nullptr))
            << std::strerror(errno);
        m_isMounted = true;
    }

    std::string copy(const std::string& from, const std::string& to) const {
        try {
            CopyDirectoryTransacted(tree.wide(from), tree.wide(to));
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "";
    }
    std::string path(const std::string& name) const { return (tree / name).string(); }

    void expectRefused(const std::string& from, const std::string& to, const std::string& text) {
        const auto before = tree.snapshot();
        EXPECT_EQ(text, copy(from, to));
        EXPECT_EQ(before, tree.snapshot());
    }
    std::string told(const std::string& left, const char* how, const std::string& right) const {
        return "Copy failed: " + path(left) + how + path(right);
    }
    /// What is said when a mount below the source is entered.
    std::string entered(const std::string& name) const {
        return "FindFirstFileTransacted " + path("from") + R"(\)" + name + R"(\* failed: )" +
               convertToString(
                   getSystemErrorMessage(ERROR_TRANSACTIONAL_CONFLICT, nullptr).c_str());
    }

    TempTree tree;

private:
    std::wostream m_nowhere{nullptr};
    std::string m_point;
    bool m_isMounted = false;
};

TEST_F(MountedTwice, ASourceThatIsAFolderOfTheDestination) {
    mountTwice("to/sub", "mnt");
    expectRefused("mnt", "to", told("mnt", " is inside ", "to"));
    expectRefused("mnt/deep", "to", told("mnt/deep", " is inside ", "to"));
    // As plainly as by its own path.
    EXPECT_EQ("", copy("mnt/deep", "new"));
    EXPECT_EQ(tree.snapshot("to/sub/deep"), tree.snapshot("new"));
}

TEST_F(MountedTwice, ASourceThatIsTheDestination) {
    mountTwice("to", "mnt");
    expectRefused("mnt", "to", told("to", " is the same as ", "mnt"));
    expectRefused("to", "mnt", told("mnt", " is the same as ", "to"));
    expectRefused("mnt/sub", "to", told("mnt/sub", " is inside ", "to"));
}

TEST_F(MountedTwice, ADestinationInsideTheSource) {
    mountTwice("from/sub", "mnt");
    expectRefused("from", "mnt", told("mnt", " is inside ", "from"));
    expectRefused("from", "mnt/deep", told("mnt/deep", " is inside ", "from"));
    expectRefused("from", "mnt/new", told("mnt/new", " is inside ", "from"));
}

TEST_F(MountedTwice, AFolderOfTheDestinationMountedInTheSource) {
    mountTwice("to/sub", "from/mnt");
    expectRefused("from", "to", entered("mnt"));
}

TEST_F(MountedTwice, TheDestinationMountedInTheSource) {
    mountTwice("to", "from/mnt");
    expectRefused("from", "to", entered("mnt"));
}

TEST_F(MountedTwice, TheFolderAroundTheDestinationMountedInTheSource) {
    tree.makeDirectory("around");
    mountTwice("around", "from/mnt");
    // Nothing is there yet: the copy would be put into what is being copied.
    expectRefused("from", "around/new", entered("mnt"));
    tree.write("around/old/file", "old");
    expectRefused("from", "around/old", entered("mnt"));
}

TEST_F(MountedTwice, WhatIsElsewhereMayBeMountedTwice) {
    mountTwice("other", "from/mnt");
    EXPECT_EQ("", copy("from", "to"));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    EXPECT_EQ("old", tree.read("other/file"));
    EXPECT_EQ("", copy("from/mnt", "to"));
    EXPECT_EQ(tree.snapshot("other"), tree.snapshot("to"));
}

TEST_F(MountedTwice, BothByAnotherWay) {
    tree.makeDirectory("all");
    tree.write("all/src/file", "new");
    tree.write("all/dst/file", "old");
    mountTwice("all", "mnt");
    EXPECT_EQ("", copy("mnt/src", "all/dst"));
    EXPECT_EQ("new", tree.read("all/dst/file"));
    EXPECT_EQ("", copy("other", "mnt/dst"));
    EXPECT_EQ("old", tree.read("all/dst/file"));
    EXPECT_EQ("", copy("all/src", "mnt/dst"));
    EXPECT_EQ("new", tree.read("all/dst/file"));
    EXPECT_EQ("new", tree.read("all/src/file"));
}

}  // namespace
}  // namespace Tallowmere
