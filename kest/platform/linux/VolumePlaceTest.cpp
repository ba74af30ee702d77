#include "kest/platform/linux/VolumePlace.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "kest/platform/linux/Descriptor.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

class VolumePlaces : public ::testing::Test {
protected:
    void SetUp() override {
        struct statx status {};
        ASSERT_EQ(0, statx(directory.get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &status));
        if ((status.stx_mask & STATX_MNT_ID) == 0) {
            GTEST_SKIP() << "this system does not number its mounts";
        }
        number = std::to_string(status.stx_mnt_id);
    }

    /// Where `path` stands by a list that has this line for the mount; the error when it does not.
    std::string placeOf(const std::string& line, const std::string& path) {
        tree.write("list", "1" + number + " 1 9:9 / / rw - x x rw\n" + line);
        VolumePlace place;
        const int error = findVolumePlace(directory.get(), path, place, list().c_str());
        return error == 0 ? place.volume + " " + place.path : std::to_string(error);
    }
    std::string list() const { return (tree / "list").string(); }

    testing::TempTree tree;
    Descriptor directory{::open(tree.root().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
    std::string number;
};

TEST_F(VolumePlaces, ThePointIsReplacedByTheRoot) {
    const std::string line =
        number + " 22 8:1 /data/src /mnt rw,noatime shared:1 - ext4 /dev/x rw\n";
    EXPECT_EQ("8:1 /data/src", placeOf(line, "/mnt"));
    EXPECT_EQ("8:1 /data/src/a/b", placeOf(line, "/mnt/a/b"));
    const std::string none = std::to_string(ENOENT);
    EXPECT_EQ(none, placeOf(line, "/mnt2"));
    EXPECT_EQ(none, placeOf(line, "/m"));
    EXPECT_EQ(none, placeOf(line, "/"));
}

TEST_F(VolumePlaces, ARootOnEitherSide) {
    EXPECT_EQ("0:7 /", placeOf(number + " 1 0:7 / / rw\n", "/"));
    EXPECT_EQ("0:7 /a", placeOf(number + " 1 0:7 / / rw\n", "/a"));
    EXPECT_EQ("0:7 /", placeOf(number + " 1 0:7 / /mnt rw\n", "/mnt"));
    EXPECT_EQ("0:7 /a", placeOf(number + " 1 0:7 / /mnt rw", "/mnt/a"));
    EXPECT_EQ("0:7 /home", placeOf(number + " 1 0:7 /home / rw\n", "/"));
    EXPECT_EQ("0:7 /home/a", placeOf(number + " 1 0:7 /home / rw\n", "/a"));
}

TEST_F(VolumePlaces, NamesThatTheListCannotHoldAsTheyAre) {
    EXPECT_EQ("0:7 /a b\\\t\n/f",
              placeOf(number + R"( 1 0:7 /a\040b\134\011\012 /m\040p rw)" + "\n", "/m p/f"));
    EXPECT_EQ(R"(0:7 /a\04/f)", placeOf(number + R"( 1 0:7 /a\04 /m rw)" + "\n", "/m/f"));
}

TEST_F(VolumePlaces, WhatTheListDoesNotTell) {
    const std::string none = std::to_string(ENOENT);
    EXPECT_EQ(none, placeOf("", "/a"));
    EXPECT_EQ(none, placeOf(number, "/a"));
    EXPECT_EQ(none, placeOf(number + "\n", "/a"));
    VolumePlace place;
    EXPECT_EQ(ENOENT, findVolumePlace(directory.get(), "/a", place, (tree / "no").c_str()));
    EXPECT_EQ(EBADF, findVolumePlace(-1, "/a", place, list().c_str()));
}

TEST_F(VolumePlaces, TheSystemsOwnListHoldsEveryMountThatCanBeReached) {
    VolumePlace place;
    ASSERT_EQ(0, findVolumePlace(directory.get(), tree.root().string(), place));
    EXPECT_NE("", place.volume);
    EXPECT_TRUE(place.path.ends_with("/" + tree.root().filename().string())) << place.path;
}

}  // namespace
}  // namespace Tallowmere::platform
