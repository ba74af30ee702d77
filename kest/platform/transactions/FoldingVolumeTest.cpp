// A volume that finds names in any letter case on a system that tells them apart, as Linux does
// with the volumes of other systems: what was removed under one name must not turn up under
// another.

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace Tallowmere::platform::transactions::testing
