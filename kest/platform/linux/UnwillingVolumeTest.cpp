// Destinations that do not take a tree like any other: mount points, volumes that are read-only or
// full, volumes other than the source's.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Win32.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/text/Strings.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::TempTree;
using Snapshot = std::map<std::string, std::string>;

class UnwillingVolume : public ::testing::Test {
protected:
    UnwillingVolume() { Recorder::instance()->setStream(&m_nowhere, nullptr, false); }
    ~UnwillingVolume() override {
        Recorder::destroy();
        if (m_isMounted) {
            (void)::umount2(place().c_str(), MNT_DETACH);
        }
    }
    void SetUp() override {
        tree.write("from/file", "new");
        tree.write("from/sub/file", "new");
        tree.makeDirectory("volume");
        // Nobody else sees the mounts, and they end with the process.
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("none", place().c_str(), "tmpfs", 0, "size=256k,mode=755") != 0) {
            GTEST_SKIP() << "only root can mount a volume of the test's own: "
                         << std::strerror(errno);
        }
        m_isMounted = true;
        tree.write("volume/to/file", "old");
        tree.write("volume/to/gone/file", "old");
        before = tree.snapshot();
    }

    std::string place() const { return (tree / "volume").string(); }
    void makeReadOnly(bool isReadOnly) const {
        ASSERT_EQ(0, ::mount("none", place().c_str(), "tmpfs",
                             MS_REMOUNT | (isReadOnly ? unsigned{MS_RDONLY} : 0U), "size=256k"));
    }
    /// What the operation says when it fails, else nothing.
    static std::string failureOf(const std::function<void()>& operation) {
        try {
            operation();
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "";
    }
    std::string copy(const std::string& from, const std::string& to) const {
        return failureOf([&] { CopyDirectoryTransacted(tree.wide(from), tree.wide(to)); });
    }
    std::string remove(const std::string& path) const {
        return failureOf([&] { DeleteDirectoryTransacted(tree.wide(path)); });
    }
    static std::string message(const std::string& call, DWORD code) {
        return call + " failed: " + convertToString(getSystemErrorMessage(code, nullptr).c_str());
    }
    /// Blocks of the volume that are in use.
    fsblkcnt_t used() const {
        struct statvfs status {};
        EXPECT_EQ(0, ::statvfs(place().c_str(), &status));
        return status.f_blocks - status.f_bfree;
    }
    dev_t volumeOf(const std::string& relative) const {
        struct stat status {};
        EXPECT_EQ(0, ::lstat((tree / relative).c_str(), &status));
        return status.st_dev;
    }

    TempTree tree;
    Snapshot before;

private:
    std::wostream m_nowhere{nullptr};
    bool m_isMounted = false;
};

TEST_F(UnwillingVolume, AMountPointIsEmptiedAndFilledAndStays) {
    const dev_t volume = volumeOf("volume");
    EXPECT_NE(volume, volumeOf("from"));
    EXPECT_EQ("", copy("from", "volume"));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("volume"));
    EXPECT_EQ(volume, volumeOf("volume"));
    EXPECT_EQ("", copy("volume", "back"));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("back"));
}

TEST_F(UnwillingVolume, AMountPointIsNotDeleted) {
    EXPECT_EQ(message("CommitTransaction", ERROR_BUSY), remove("volume"));
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(UnwillingVolume, AMountPointInsideTheDestinationIsAClearError) {
    tree.write("file", "x");
    before = tree.snapshot();
    const TempTree around;
    const std::string failure =
        failureOf([&] { CopyDirectoryTransacted(around.root().wstring(), tree.root().wstring()); });
    EXPECT_NE(std::string::npos, failure.find(" failed: ")) << failure;
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(UnwillingVolume, AReadOnlyVolumeIsCopiedFromAndElseLeftAlone) {
    makeReadOnly(true);
    for (const char* const to : {"volume/to", "volume/new"}) {
        const std::string failure = copy("from", to);
        const std::string text =
            convertToString(getSystemErrorMessage(ERROR_WRITE_PROTECT, nullptr).c_str());
        EXPECT_NE(std::string::npos, failure.find(" failed: " + text)) << failure;
    }
    EXPECT_NE("", remove("volume/to"));
    EXPECT_NE("", copy("from", "volume"));
    EXPECT_EQ(before, tree.snapshot());
    EXPECT_EQ("", copy("volume/to", "copy"));
    EXPECT_EQ(tree.snapshot("volume/to"), tree.snapshot("copy"));
}

TEST_F(UnwillingVolume, AFullDiskKeepsTheOldTreeAndGetsItsRoomBack) {
    tree.write("large/first", "small");
    tree.write("large/sub/large", std::string(400 * 1024, 'x'));
    const fsblkcnt_t usedBefore = used();
    before = tree.snapshot();
    for (const char* const to : {"volume/to", "volume/new", "volume"}) {
        EXPECT_EQ(message("CopyFileTransacted", ERROR_DISK_FULL), copy("large", to)) << to;
        EXPECT_EQ(before, tree.snapshot()) << to;
        EXPECT_EQ(usedBefore, used()) << to;
    }
    EXPECT_EQ("", copy("from", "volume/to"));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("volume/to"));
}

TEST_F(UnwillingVolume, AVolumeWithoutRoomForAnythingMoreIsStillEmptied) {
    const std::string filling = place() + "/to/filling";
    const int file = ::open(filling.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    const std::string block(4096, 'x');
    while (::write(file, block.data(), block.size()) > 0) {
    }
    EXPECT_EQ(ENOSPC, errno);
    ::close(file);
    EXPECT_EQ("", remove("volume/to"));
    EXPECT_TRUE(tree.snapshot("volume").empty());
    EXPECT_EQ("", copy("from", "volume/to"));
}

TEST_F(UnwillingVolume, AnotherVolumeThanTheSourceIsReplacedLikeAnyOther) {
    EXPECT_EQ("", copy("from", "volume/to"));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("volume/to"));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(tree / "volume"), {}));
    tree.write("to/file", "old");
    EXPECT_EQ("", copy("volume/to", "to"));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    EXPECT_EQ(3, std::distance(std::filesystem::directory_iterator(tree.root()), {}));
}

}  // namespace
}  // namespace Tallowmere
