// Places that a transaction is asked for in an unusual way: through a link into what it has changed
// itself, and the root of the disk.

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "kest/platform/testing/MemoryDisk.h"
#include "kest/platform/transactions/Transaction.h"

namespace Tallowmere::platform::transactions {
namespace {

using platform::testing::MemoryDisk;
using platform::testing::MemoryOptions;
using platform::testing::MemoryStore;
using Snapshot = std::map<std::string, std::string>;

class TransactionPlaces : public ::testing::Test {
protected:
    TransactionPlaces() {
        store.makeDirectory(L"/home");
        store.makeDirectory(L"/home/dir");
        store.makeLink(L"/home/link", L"/home/dir", true);
        store.write(L"/home/file", "content");
    }
    DWORD ask(const wchar_t* path) {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        return transaction.attributes(path, data);
    }
    /// All that is on the disk, but for the stage.
    Snapshot visible() const {
        Snapshot result = store.snapshot(L"/home");
        std::erase_if(result, [](const auto& entry) { return entry.first.starts_with(".kest-"); });
        return result;
    }

    MemoryStore store{MemoryOptions::linux()};
    MemoryDisk disk{store};
    Transaction transaction{disk};
};

TEST_F(TransactionPlaces, ALinkLeadsToTheDirectoryThatHasTakenItsTargetsPlace) {
    ASSERT_EQ(0U, transaction.removeDirectory(L"/home/dir"));
    ASSERT_EQ(0U, transaction.createDirectory(L"/home/dir"));
    ASSERT_EQ(0U, transaction.createDirectory(L"/home/dir/inner"));
    EXPECT_EQ(0U, ask(L"/home/link/inner"));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, ask(L"/home/link/other"));
    EXPECT_EQ(0U, transaction.copyFile(L"/home/file", L"/home/link/inner/copy", 0));
    EXPECT_EQ(0U, ask(L"/home/dir/inner/copy"));
    // Nothing of it is on the disk before the end.
    EXPECT_EQ((Snapshot{{"dir", "dir"}, {"file", "file content"}, {"link", "link /home/dir"}}),
              visible());
    ASSERT_EQ(0U, transaction.commit());
    EXPECT_EQ((Snapshot{{"dir", "dir"},
                        {"dir/inner", "dir"},
                        {"dir/inner/copy", "file content"},
                        {"file", "file content"},
                        {"link", "link /home/dir"}}),
              visible());
}

TEST_F(TransactionPlaces, ALinkToADirectoryThatIsRemovedLeadsNowhere) {
    ASSERT_EQ(0U, transaction.removeDirectory(L"/home/dir"));
    EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND}, ask(L"/home/link/inner"));
    EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND}, transaction.createDirectory(L"/home/link/inner"));
    ASSERT_EQ(0U, transaction.commit());
    EXPECT_EQ((Snapshot{{"file", "file content"}, {"link", "link /home/dir"}}), visible());
}

TEST_F(TransactionPlaces, NothingIsDoneThroughALinkThatIsNotOnTheDiskYet) {
    ASSERT_EQ(0U, transaction.createLink(L"/home/new", L"/home/dir", true));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, transaction.createDirectory(L"/home/new/inner"));
    transaction.rollBack();
    EXPECT_EQ((Snapshot{{"dir", "dir"}, {"file", "file content"}, {"link", "link /home/dir"}}),
              visible());
}

TEST_F(TransactionPlaces, TheRootIsNeitherMadeNorReplacedNorRemoved) {
    EXPECT_EQ(0U, ask(L"/"));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, transaction.createDirectory(L"/"));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, transaction.createLink(L"/", L"/home", true));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, transaction.copyFile(L"/home/file", L"/", 0));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, transaction.copyFile(L"/", L"/home/copy", 0));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, transaction.deleteFile(L"/"));
    EXPECT_EQ(DWORD{ERROR_BUSY}, transaction.removeDirectory(L"/"));
    ASSERT_EQ(0U, transaction.commit());
    EXPECT_EQ((Snapshot{{"dir", "dir"}, {"file", "file content"}, {"link", "link /home/dir"}}),
              visible());
}

}  // namespace
}  // namespace Tallowmere::platform::transactions
