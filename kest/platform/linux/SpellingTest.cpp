#include "kest/platform/linux/Spelling.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "kest/platform/linux/Descriptor.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

using testing::TempTree;

TEST(Spelling, IsTheNameItselfWhereItIsListed) {
    TempTree tree;
    tree.write("one", "x");
    // Another name of the same file, wherever it is listed, is no other spelling.
    std::filesystem::create_hard_link(tree / "one", tree / "another");
    const Descriptor directory(open((tree / ".").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    EXPECT_EQ("one", spellingOf(directory.get(), "one"));
    EXPECT_EQ("another", spellingOf(directory.get(), "another"));
    EXPECT_EQ("none", spellingOf(directory.get(), "none"));
}

TEST(Spelling, IsThatOfTheEntryWhichIsFoundByAnotherName) {
    TempTree tree;
    tree.makeDirectory("folder");
    tree.write("folder/entry", "x");
    const Descriptor directory(open((tree / "folder").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Found, but not listed so.
    EXPECT_EQ("entry", spellingOf(directory.get(), "./entry"));
}

TEST(Spelling, NeedsNoLookWhereAllNamesAreToldApart) {
    TempTree tree;
    const Descriptor directory(open((tree / ".").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    EXPECT_FALSE(mayFoldNames(directory.get())) << "ext4, xfs, btrfs, tmpfs and overlays";
    const Descriptor system(open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    EXPECT_TRUE(mayFoldNames(system.get()));
}

}  // namespace
}  // namespace Tallowmere::platform
