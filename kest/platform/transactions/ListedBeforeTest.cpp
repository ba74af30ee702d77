#include "kest/platform/transactions/ListedBefore.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "kest/platform/testing/TempTree.h"
#include "kest/platform/transactions/Disk.h"
#include "kest/platform/transactions/Transaction.h"
#include "kest/platform/transactions/testing/Walk.h"

namespace Tallowmere::platform::transactions {
namespace {

using Snapshot = std::map<std::string, std::string>;

TEST(ListedBefore, GivesWhatItWasGivenOnce) {
    ListedBefore before;
    before.add(7, "seven");
    before.add(8, "");
    std::string entries = "x";
    EXPECT_FALSE(before.take(9, entries));
    EXPECT_EQ("x", entries);
    ASSERT_TRUE(before.take(7, entries));
    EXPECT_EQ("seven", entries);
    EXPECT_FALSE(before.take(7, entries));
    ASSERT_TRUE(before.take(8, entries));
    EXPECT_EQ("", entries);
    EXPECT_EQ(0U, before.size());
}

TEST(ListedBefore, OfTwoWithOneNumberKeepsTheFirst) {
    ListedBefore before;
    before.add(7, "seven");
    before.add(7, "another");
    std::string entries;
    ASSERT_TRUE(before.take(7, entries));
    EXPECT_EQ("seven", entries);
}

TEST(ListedBefore, TakesNoMoreThanAMebibyteHoweverManyDirectoriesThereAre) {
    ListedBefore before;
    constexpr std::size_t kEach = 1000;
    for (std::uint64_t number = 0; number < 100000; ++number) {
        before.add(number, std::string(kEach, 'x'));
    }
    const std::size_t held = before.size();
    EXPECT_GT(held, 900U);
    EXPECT_LE(held * kEach, std::size_t{1024} * 1024);
    // Many that hold nothing count, too.
    ListedBefore empty;
    for (std::uint64_t number = 0; number < 100000; ++number) {
        empty.add(number, std::string());
    }
    EXPECT_LT(empty.size(), 20000U);
    // What was taken makes room.
    std::string entries;
    ASSERT_TRUE(before.take(0, entries));
    before.add(100000, std::string(kEach, 'y'));
    EXPECT_EQ(held, before.size());
    EXPECT_TRUE(before.take(100000, entries));
    EXPECT_EQ(std::string(kEach, 'y'), entries);
}

/// A tree on a real disk that is about to go, and what others do to it until the commit.
class OldTree : public ::testing::Test {
protected:
    OldTree() {
        tree.write("beside", "stays");
        tree.write("old/a", "a");
        tree.write("old/b/c", "c");
        tree.write("old/b/d", "d");
        tree.makeDirectory("old/b/empty");
        tree.makeDirectory("old/bare");
    }
    void walk() { ASSERT_EQ(0U, testing::deleteTree(transaction, tree.wide("old"))); }
    void expectAllGone() {
        EXPECT_EQ(0U, testing::commit(transaction));
        EXPECT_EQ((Snapshot{{"beside", "file stays"}}), tree.snapshot());
    }

    platform::testing::TempTree tree;
    Transaction transaction{systemDisk()};
};

TEST_F(OldTree, Goes) {
    walk();
    expectAllGone();
}

TEST_F(OldTree, GoesWithWhatCameToItSinceItWasListed) {
    walk();
    tree.write("old/late", "late");
    tree.write("old/b/late", "late");
    tree.write("old/b/empty/deep/late", "late");
    tree.write("old/bare/late", "late");
    expectAllGone();
}

TEST_F(OldTree, GoesWithoutWhatSomebodyElseHasRemoved) {
    walk();
    std::filesystem::remove(tree / "old/a");
    std::filesystem::remove_all(tree / "old/b");
    expectAllGone();
}

TEST_F(OldTree, GoesWhenAFileHasBecomeADirectoryAndADirectoryAFile) {
    walk();
    std::filesystem::remove(tree / "old/b/c");
    tree.write("old/b/c/inner/file", "x");
    std::filesystem::remove(tree / "old/bare");
    tree.write("old/bare", "y");
    expectAllGone();
}

TEST_F(OldTree, GoesWhenItsDirectoriesHaveChangedTheirNames) {
    walk();
    std::filesystem::rename(tree / "old/b", tree / "old/renamed");
    std::filesystem::rename(tree / "old/bare", tree / "old/b");
    expectAllGone();
}

TEST_F(OldTree, StaysAsOthersHaveMadeItWhenTheTransactionIsRolledBack) {
    walk();
    tree.write("old/b/late", "late");
    const Snapshot now = tree.snapshot();
    transaction.rollBack();
    EXPECT_EQ(now, tree.snapshot());
}

}  // namespace
}  // namespace Tallowmere::platform::transactions
