// A power cut on a file system without a journal, in the middle of a rename from one directory to
// another: the entry stands under both names. Whoever comes by next brings the rename to its end.

#include <gtest/gtest.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kest/platform/testing/TempTree.h"
#include "kest/platform/transactions/Disk.h"
#include "kest/platform/transactions/Journal.h"
#include "kest/platform/transactions/Stage.h"

namespace Tallowmere::platform {
namespace {

using testing::TempTree;
using transactions::Journal;
using transactions::JournalEntry;
using transactions::Stage;
using Snapshot = std::map<std::string, std::string>;

/// An orphan whose journal changes the entry "name" of a directory.
class TwinNames : public ::testing::Test {
protected:
    void SetUp() override {
        tree.write("to/beside", "stays");
        std::wstring canonical;
        ASSERT_EQ(0U, disk.openDirectory(tree.wide("to"), directory, canonical));
        ASSERT_EQ(0U, Stage::create(disk, directory, stage));
        path = "to/" + std::string(stage->name().begin(), stage->name().end());
    }

    void write(const std::string& slot, const std::string& content) {
        tree.write(path + "/" + slot, content);
    }
    void twin(const std::string& slot) {
        ASSERT_EQ(0, ::link((tree / path / slot).c_str(), (tree / "to/name").c_str()));
    }
    /// What the next one finds, and what it answers.
    DWORD meet(bool takesOld, bool putsNew, bool isGivenUp = false) {
        const Journal journal = {{L""}, {{0, L"name", L"name", L"slot-0", takesOld, putsNew}}};
        EXPECT_EQ(0U, transactions::writeDraft(disk, stage->directory(), journal));
        EXPECT_EQ(0U, transactions::commitDraft(disk, stage->directory()));
        if (isGivenUp) {
            EXPECT_EQ(0U, transactions::giveUpJournal(disk, stage->directory()));
        }
        stage.reset();
        std::vector<transactions::Met> met;
        return transactions::meetStages(disk, directory, L"", met);
    }
    Snapshot found() const { return tree.snapshot("to"); }

    TempTree tree;
    transactions::Disk& disk = transactions::systemDisk();
    transactions::DirectoryPtr directory;
    std::unique_ptr<Stage> stage;
    std::string path;
};

const Snapshot kOnlyBeside = {{"beside", "file stays"}};

TEST_F(TwinNames, ANewEntry) {
    write("slot-0", "new");
    twin("slot-0");
    EXPECT_EQ(0U, meet(false, true));
    EXPECT_EQ((Snapshot{{"beside", "file stays"}, {"name", "file new"}}), found());
}

TEST_F(TwinNames, ANewEntryThatReplacesAnOldOne) {
    write("slot-0", "new");
    write("slot-0-old", "old");
    twin("slot-0");
    EXPECT_EQ(0U, meet(true, true));
    EXPECT_EQ((Snapshot{{"beside", "file stays"}, {"name", "file new"}}), found());
}

TEST_F(TwinNames, AnOldEntryThatIsReplaced) {
    write("slot-0", "new");
    write("slot-0-old", "old");
    twin("slot-0-old");
    EXPECT_EQ(0U, meet(true, true));
    EXPECT_EQ((Snapshot{{"beside", "file stays"}, {"name", "file new"}}), found());
}

TEST_F(TwinNames, AnOldEntryThatGoes) {
    write("slot-0-old", "old");
    twin("slot-0-old");
    EXPECT_EQ(0U, meet(true, false));
    EXPECT_EQ(kOnlyBeside, found());
}

TEST_F(TwinNames, ANewEntryThatWasGivenUp) {
    write("slot-0", "new");
    twin("slot-0");
    EXPECT_EQ(0U, meet(false, true, true));
    EXPECT_EQ(kOnlyBeside, found());
}

TEST_F(TwinNames, ANewEntryThatWasGivenUpAndItsOldOneThatComesBack) {
    write("slot-0", "new");
    write("slot-0-old", "old");
    twin("slot-0");
    EXPECT_EQ(0U, meet(true, true, true));
    EXPECT_EQ((Snapshot{{"beside", "file stays"}, {"name", "file old"}}), found());
}

TEST_F(TwinNames, AnOldEntryThatHadComeBack) {
    write("slot-0", "new");
    write("slot-0-old", "old");
    twin("slot-0-old");
    EXPECT_EQ(0U, meet(true, true, true));
    EXPECT_EQ((Snapshot{{"beside", "file stays"}, {"name", "file old"}}), found());
}

/// Only of the same file: what somebody else has put there is not taken for ours.
TEST_F(TwinNames, AnotherFileOfTheSameContentIsNoTwin) {
    write("slot-0", "new");
    tree.write("to/name", "new");
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, meet(false, true));
    const Snapshot left = found();
    EXPECT_EQ("file new", left.at("name"));
    EXPECT_EQ("file new", left.at(path.substr(3) + "/slot-0"));
}

}  // namespace
}  // namespace Tallowmere::platform
