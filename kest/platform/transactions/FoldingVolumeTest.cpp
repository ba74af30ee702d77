// A volume that finds names in any letter case on a system that tells them apart, as Linux does
// with the volumes of other systems: what was removed under one name must not turn up under
// another.

#include <gtest/gtest.h>

#include "kest/platform/HandleTable.h"
#include "kest/platform/testing/MemoryDisk.h"
#include "kest/platform/transactions/testing/Scenario.h"
#include "kest/platform/transactions/testing/Walk.h"

namespace Tallowmere::platform::transactions::testing {
namespace {

using platform::testing::MemoryDisk;
using platform::testing::MemoryStore;

platform::testing::MemoryOptions folding() {
    platform::testing::MemoryOptions options;
    options.ignoresCase = true;
    options.foldsUnknown = true;
    return options;
}

TEST(FoldingVolume, ANewFolderThatDiffersInCaseAloneTakesThePlaceOfTheOldOne) {
    MemoryStore store(folding());
    store.makeDirectory(L"/from");
    store.makeDirectory(L"/from/Photos");
    store.write(L"/from/Photos/new", "new");
    store.write(L"/from/NOTE", "new");
    store.makeDirectory(L"/usb");
    store.addVolume(L"/usb");
    store.makeDirectory(L"/usb/photos");
    store.write(L"/usb/photos/old", "old");
    store.write(L"/usb/note", "old");
    MemoryDisk disk(store);
    {
        Transaction transaction(disk);
        ASSERT_EQ(0U, replaceTree(transaction, L"/from", L"/usb"));
        ASSERT_EQ(0U, commit(transaction));
    }
    const Snapshot found = everything(store);
    Snapshot expected;
    for (const auto& [path, what] : found) {
        if (path.starts_with("/|from")) {
            expected[path] = what;
            expected["/|usb" + path.substr(6)] = what;
        }
    }
    EXPECT_EQ("", difference(expected, found));
    EXPECT_EQ(1U, found.count("/|usb/Photos/new"));
}

/// A source that tells letter case apart has "Dir" and "dir"; the volume does not.
class MergingVolume : public ::testing::TestWithParam<bool> {
protected:
    MergingVolume() {
        store.makeDirectory(L"/from");
        store.write(L"/from/a", "new");
        store.makeDirectory(L"/from/dir");
        store.makeDirectory(L"/usb");
        store.addVolume(L"/usb");
    }
    /// Reads the source until that entry comes.
    void meet(const std::wstring& name) {
        WIN32_FIND_DATAW record{};
        HANDLE search = INVALID_HANDLE_VALUE;
        DWORD error = transaction.findFirst(L"/from/*", record, search);
        while (error == ERROR_SUCCESS && record.cFileName != name) {
            void* const found = findHandle(search, HandleKind::Search);
            ASSERT_NE(nullptr, found);
            error = transaction.findNext(search, *static_cast<Search*>(found), record);
        }
        ASSERT_EQ(0U, error);
    }
    static platform::testing::MemoryOptions options() {
        platform::testing::MemoryOptions options = folding();
        options.foldsUnknown = GetParam();
        return options;
    }

    MemoryStore store{options()};
    MemoryDisk disk{store};
    Transaction transaction{disk};
    WIN32_FILE_ATTRIBUTE_DATA data{};
};

TEST_P(MergingVolume, TwoFoldersOfOneCopyDoNotBecomeOne) {
    ASSERT_EQ(0U, transaction.createDirectory(L"/usb/to"));
    ASSERT_EQ(0U, transaction.createDirectory(L"/usb/to/Dir"));
    ASSERT_EQ(0U, transaction.copyFile(L"/from/a", L"/usb/to/Dir/a", 0));
    // As the walk asks whether it has to make the second.
    meet(L"dir");
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, transaction.attributes(L"/usb/to/dir", data));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, transaction.createDirectory(L"/usb/to/dir"));
}

TEST_P(MergingVolume, NorAFileAndAFolder) {
    ASSERT_EQ(0U, transaction.createDirectory(L"/usb/to"));
    ASSERT_EQ(0U, transaction.copyFile(L"/from/a", L"/usb/to/DIR", 0));
    meet(L"dir");
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, transaction.attributes(L"/usb/to/dir", data));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, transaction.createDirectory(L"/usb/to/dir"));
}

TEST_P(MergingVolume, NorTwoThatStandInAVolumesRoot) {
    ASSERT_EQ(0U, transaction.createDirectory(L"/usb/Dir"));
    meet(L"dir");
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, transaction.attributes(L"/usb/dir", data));
    DWORD error = transaction.createDirectory(L"/usb/dir");
    if (error == ERROR_SUCCESS) {
        // Not known before the two are put in place.
        error = transaction.commit();
    }
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, error);
    transaction.rollBack();
    EXPECT_TRUE(store.snapshot(L"/usb").empty());
}

TEST_P(MergingVolume, AFolderIsFilledByTheNameThatItWasGiven) {
    ASSERT_EQ(0U, transaction.createDirectory(L"/usb/to"));
    ASSERT_EQ(0U, transaction.createDirectory(L"/usb/to/dir"));
    meet(L"dir");
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, transaction.attributes(L"/usb/to/dir", data));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, transaction.attributes(L"/usb/to/DIR", data));
}

TEST_P(MergingVolume, WhatTheDiskHadIsFoundInAnyLetterCase) {
    store.makeDirectory(L"/usb/Old");
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, transaction.attributes(L"/usb/old", data));
}

INSTANTIATE_TEST_SUITE_P(KnownOrNot, MergingVolume, ::testing::Bool());

}  // namespace
}  // namespace Tallowmere::platform::transactions::testing
