// The Windows disk, in terms of what the transaction manager asks of a disk.

#include "kest/platform/windows/WindowsDisk.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <vector>

#include "kest/platform/testing/TempTree.h"
#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/UnixLinks.h"
#include "kest/platform/windows/testing/UnixSide.h"

namespace Tallowmere::platform {
namespace {

using testing::runOnUnix;
using testing::TempTree;
using testing::unixPath;
using transactions::DirectoryLock;
using transactions::DirectoryPtr;
using transactions::Disk;
using transactions::Kind;
using transactions::Links;
using transactions::Record;

class WindowsDiskTest : public ::testing::Test {
protected:
    void SetUp() override { open(root, ""); }

    /// The text of a path below the test's folder.
    std::wstring text(const std::string& relative) {
        std::wstring result;
        EXPECT_EQ(0U, disk.normalize(tree.wide(relative).c_str(), result));
        return result;
    }
    void open(DirectoryPtr& directory, const std::string& relative) {
        std::wstring canonical;
        ASSERT_EQ(0U, disk.openDirectory(text(relative), directory, canonical));
    }
    DirectoryPtr opened(const std::string& relative) {
        DirectoryPtr directory;
        open(directory, relative);
        return directory;
    }
    std::vector<Record> records(const DirectoryPtr& directory) {
        std::vector<Record> result;
        std::unique_ptr<transactions::Listing> listing;
        EXPECT_EQ(0U, disk.list(directory, listing));
        Record record;
        DWORD error = ERROR_SUCCESS;
        while (listing != nullptr && (error = listing->next(record)) == ERROR_SUCCESS) {
            result.push_back(record);
        }
        EXPECT_EQ(ERROR_NO_MORE_FILES, error);
        return result;
    }
    std::set<std::wstring> names(const DirectoryPtr& directory) {
        std::set<std::wstring> result;
        for (const Record& record : records(directory)) {
            EXPECT_TRUE(result.insert(record.name).second) << "twice";
        }
        return result;
    }
    DWORD attributes(const std::string& relative) {
        return ::GetFileAttributesW(tree.wide(relative).c_str());
    }
    void setAttributes(const std::string& relative, DWORD value) {
        ASSERT_TRUE(::SetFileAttributesW(tree.wide(relative).c_str(), value));
    }
    /// Opens a file as a program does that shares it with nobody.
    Handle hold(const std::string& relative, DWORD share = 0) {
        Handle handle(::CreateFileW(tree.wide(relative).c_str(), GENERIC_READ, share, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
        EXPECT_TRUE(handle);
        return handle;
    }

    TempTree tree;
    Disk& disk = transactions::systemDisk();
    DirectoryPtr root;
};

TEST_F(WindowsDiskTest, ADirectoryIsOpenedAndTellsWhereItStands) {
    tree.makeDirectory("Some/Where");
    DirectoryPtr directory;
    std::wstring canonical;
    const std::wstring expected = text("Some/Where");
    EXPECT_EQ(0U, disk.openDirectory(text("some") + L"/WHERE", directory, canonical));
    EXPECT_EQ(expected, canonical);
    EXPECT_EQ(0U, disk.openDirectory(expected.substr(0, 2), directory, canonical));
    EXPECT_EQ(expected.substr(0, 2), canonical);
    EXPECT_TRUE(disk.isRoot(canonical));
    EXPECT_FALSE(records(directory).empty());
    Kind kind{};
    EXPECT_EQ(0U, disk.describe(directory, L".", kind, nullptr));
    EXPECT_EQ(Kind::Directory, kind);
}

TEST_F(WindowsDiskTest, WhatIsNoDirectoryIsNotOpened) {
    tree.write("file", "x");
    DirectoryPtr directory;
    std::wstring canonical;
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.openDirectory(text("none"), directory, canonical));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, disk.openDirectory(text("none/x"), directory, canonical));
    EXPECT_EQ(ERROR_DIRECTORY, disk.openDirectory(text("file"), directory, canonical));
    for (const Links links : {Links::Refuse, Links::Follow}) {
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.openBelow(root, L"none", links, directory));
        EXPECT_EQ(ERROR_DIRECTORY, disk.openBelow(root, L"file", links, directory));
    }
}

TEST_F(WindowsDiskTest, ADirectoryIsOpenedBelowAnother) {
    tree.write("one/two/three/file", "x");
    DirectoryPtr directory;
    for (const Links links : {Links::Refuse, Links::Follow}) {
        EXPECT_EQ(0U, disk.openBelow(root, L"one/two/three", links, directory));
        EXPECT_EQ((std::set<std::wstring>{L"file"}), names(directory));
    }
}

TEST_F(WindowsDiskTest, AnEntryIsDescribed) {
    tree.write("file", "12345");
    tree.makeDirectory("directory");
    setAttributes("file", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    Kind kind{};
    WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_EQ(0U, disk.describe(root, L"file", kind, &data));
    EXPECT_EQ(Kind::File, kind);
    EXPECT_EQ(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN,
              data.dwFileAttributes & ~DWORD{FILE_ATTRIBUTE_ARCHIVE});
    EXPECT_EQ(5U, data.nFileSizeLow);
    EXPECT_EQ(0U, data.nFileSizeHigh);
    WIN32_FILE_ATTRIBUTE_DATA expected{};
    ASSERT_TRUE(
        ::GetFileAttributesExW(tree.wide("file").c_str(), GetFileExInfoStandard, &expected));
    EXPECT_EQ(0, ::CompareFileTime(&expected.ftLastWriteTime, &data.ftLastWriteTime));
    EXPECT_EQ(0, ::CompareFileTime(&expected.ftCreationTime, &data.ftCreationTime));
    EXPECT_EQ(0U, disk.describe(root, L"directory", kind, &data));
    EXPECT_EQ(Kind::Directory, kind);
    EXPECT_NE(0U, data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(0U, disk.describe(root, L".", kind, nullptr));
    EXPECT_EQ(Kind::Directory, kind);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.describe(root, L"none", kind, nullptr));
    EXPECT_EQ(ERROR_INVALID_NAME, disk.describe(root, L"a|b", kind, nullptr));
    setAttributes("file", FILE_ATTRIBUTE_NORMAL);
}

TEST_F(WindowsDiskTest, ADirectoryIsListedWithWhatItsEntriesAre) {
    tree.write("file", "x");
    tree.makeDirectory("directory");
    for (const Record& record : records(root)) {
        if (record.name == L"file") {
            EXPECT_EQ(Kind::File, record.kind);
            EXPECT_EQ(0U, record.attributes & FILE_ATTRIBUTE_DIRECTORY);
        } else {
            EXPECT_EQ(L"directory", record.name);
            EXPECT_EQ(Kind::Directory, record.kind);
            EXPECT_NE(0U, record.attributes & FILE_ATTRIBUTE_DIRECTORY);
        }
        EXPECT_EQ(0U, record.reparseTag);
    }
    EXPECT_EQ((std::set<std::wstring>{L"file", L"directory"}), names(root));
    EXPECT_TRUE(records(opened("directory")).empty());
    const DirectoryPtr gone = opened("directory");
    std::filesystem::remove(tree / "directory");
    std::unique_ptr<transactions::Listing> listing;
    EXPECT_NE(0U, disk.list(gone, listing));
    EXPECT_EQ(nullptr, listing);
}

TEST_F(WindowsDiskTest, NamesOfAnyScriptComeThrough) {
    const std::vector<std::wstring> scripts = {
        L"\u00E4\u00F6\u00FC.txt", L"\u65E5\u672C\u8A9E", L"\u0416\u0437",
        L"\xD83D\xDE00 face",      L"with blank",         L".hidden"};
    std::set<std::wstring> expected;
    for (const std::wstring& name : scripts) {
        EXPECT_EQ(0U, disk.makeDirectory(root, name));
        expected.insert(name);
    }
    EXPECT_EQ(expected, names(root));
    for (const std::wstring& name : scripts) {
        DirectoryPtr directory;
        EXPECT_EQ(0U, disk.openBelow(root, name, Links::Refuse, directory));
        EXPECT_EQ(name, disk.spelling(root, name));
        EXPECT_EQ(0U, disk.mayRemove(root, name));
        EXPECT_EQ(0U, disk.removeDirectory(root, name));
    }
    EXPECT_TRUE(records(root).empty());
}

TEST_F(WindowsDiskTest, AListingStandsInNobodysWay) {
    tree.write("listed/one", "x");
    tree.write("listed/two", "x");
    std::unique_ptr<transactions::Listing> listing;
    ASSERT_EQ(0U, disk.list(opened("listed"), listing));
    Record record;
    ASSERT_EQ(0U, listing->next(record));
    EXPECT_EQ(0U, disk.rename(root, L"listed", root, L"renamed"));
    EXPECT_EQ(0U, listing->next(record));
    EXPECT_EQ(ERROR_NO_MORE_FILES, listing->next(record));
    EXPECT_EQ(ERROR_NO_MORE_FILES, listing->next(record));
}

TEST_F(WindowsDiskTest, AnOpenDirectoryStandsInNobodysWay) {
    tree.write("one/two/file", "x");
    const DirectoryPtr one = opened("one");
    const DirectoryPtr two = opened("one/two");
    EXPECT_EQ(0U, disk.rename(root, L"one", root, L"renamed"));
    EXPECT_EQ("x", tree.read("renamed/two/file"));
}

TEST_F(WindowsDiskTest, AnotherDirectoryOfTheSameNameIsNotTheSame) {
    tree.makeDirectory("one");
    const DirectoryPtr one = opened("one");
    EXPECT_EQ(0U, disk.checkEntry(root, L"one", one));
    EXPECT_EQ(0U, disk.checkEntry(root, L"ONE", one));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.checkEntry(root, L"none", one));
    ASSERT_EQ(0U, disk.rename(root, L"one", root, L"two"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.checkEntry(root, L"one", one));
    EXPECT_EQ(0U, disk.checkEntry(root, L"two", one));
    tree.makeDirectory("one");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.checkEntry(root, L"one", one));
}

TEST_F(WindowsDiskTest, TwoDrivesAreTwoVolumes) {
    tree.makeDirectory("one/two");
    EXPECT_EQ(0U, disk.checkSameVolume(root, opened("one/two")));
    EXPECT_EQ(0U, disk.checkSameVolume(opened("one"), root));
    DirectoryPtr other;
    std::wstring canonical;
    for (wchar_t letter = L'C'; letter <= L'Z'; ++letter) {
        const std::wstring drive = {letter, L':'};
        if (text("").substr(0, 2) != drive &&
            disk.openDirectory(drive, other, canonical) == ERROR_SUCCESS && canonical == drive) {
            EXPECT_EQ(ERROR_NOT_SAME_DEVICE, disk.checkSameVolume(root, other));
            EXPECT_EQ(ERROR_NOT_SAME_DEVICE, disk.checkSameVolume(other, root));
            EXPECT_EQ(0U, disk.checkSameVolume(other, other));
            return;
        }
    }
    GTEST_SKIP() << "this machine has one drive only";
}

TEST_F(WindowsDiskTest, ADirectoryIsMadeOnce) {
    tree.write("file", "x");
    EXPECT_EQ(0U, disk.makeDirectory(root, L"new"));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, disk.makeDirectory(root, L"new"));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, disk.makeDirectory(root, L"file"));
    EXPECT_EQ((std::map<std::string, std::string>{{"file", "file x"}, {"new", "dir"}}),
              tree.snapshot());
}

TEST_F(WindowsDiskTest, AFileIsCopiedWithWhatTheSystemKeepsAboutIt) {
    tree.write("file", std::string(100000, 'x') + '\0' + "end");
    tree.write("empty", "");
    setAttributes("file", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    for (const Links links : {Links::Refuse, Links::Follow}) {
        EXPECT_EQ(0U, disk.copyFile(root, L"file", root, L"copy", links, nullptr));
        EXPECT_EQ(tree.read("file"), tree.read("copy"));
        WIN32_FILE_ATTRIBUTE_DATA one{};
        WIN32_FILE_ATTRIBUTE_DATA two{};
        Kind kind{};
        EXPECT_EQ(0U, disk.describe(root, L"file", kind, &one));
        EXPECT_EQ(0U, disk.describe(root, L"copy", kind, &two));
        EXPECT_EQ(one.dwFileAttributes | FILE_ATTRIBUTE_ARCHIVE,
                  two.dwFileAttributes | FILE_ATTRIBUTE_ARCHIVE);
        EXPECT_EQ(0, ::CompareFileTime(&one.ftLastWriteTime, &two.ftLastWriteTime));
        EXPECT_EQ(0U, disk.removeFile(root, L"copy"));
        EXPECT_EQ(0U, disk.copyFile(root, L"empty", root, L"copy", links, nullptr));
        EXPECT_EQ("", tree.read("copy"));
        EXPECT_EQ(0U, disk.removeFile(root, L"copy"));
    }
    setAttributes("file", FILE_ATTRIBUTE_NORMAL);
}

TEST_F(WindowsDiskTest, ACopyThatFailsLeavesNothingAndTouchesNothing) {
    tree.write("file", "new");
    tree.write("taken", "old");
    tree.makeDirectory("directory");
    const auto before = tree.snapshot();
    const auto copy = [&](const wchar_t* from, const wchar_t* to) {
        return disk.copyFile(root, from, root, to, Links::Refuse, nullptr);
    };
    EXPECT_EQ(ERROR_ALREADY_EXISTS, copy(L"file", L"taken"));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, copy(L"file", L"TAKEN"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, copy(L"none", L"taken"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, copy(L"none", L"other"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, copy(L"directory", L"other"));
    EXPECT_NE(0U, copy(L"file", L"directory"));
    {
        const Handle held = hold("file");
        EXPECT_EQ(ERROR_SHARING_VIOLATION, copy(L"file", L"other"));
        EXPECT_EQ(ERROR_SHARING_VIOLATION, copy(L"file", L"taken"));
    }
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(WindowsDiskTest, ACopyThatBreaksOffLeavesNothing) {
    DirectoryPtr source;
    std::wstring name;
    Handle held;
    if (isWine()) {
        // A file that claims to hold more than can be read.
        std::wstring canonical;
        ASSERT_EQ(0U, disk.openDirectory(L"Z:/sys/kernel", source, canonical));
        name = L"uevent_seqnum";
    } else {
        tree.write("source/file", "content");
        source = opened("source");
        name = L"file";
        held = hold("source/file", kShareAll);
        ASSERT_TRUE(::LockFile(held.get(), 0, 0, 7, 0));
    }
    const auto before = tree.snapshot();
    EXPECT_NE(0U, disk.copyFile(source, name, root, L"copy", Links::Follow, nullptr));
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(WindowsDiskTest, ALinkIsMadeOrRefusedAndNeverJustClaimed) {
    tree.makeDirectory("target");
    const DWORD error = disk.makeLink(root, L"link", tree.wide("target").c_str(), true);
    Kind kind{};
    if (error == ERROR_SUCCESS) {
        EXPECT_EQ(0U, disk.describe(root, L"link", kind, nullptr));
        EXPECT_EQ(Kind::DirectoryLink, kind);
        EXPECT_EQ(0U, disk.removeDirectory(root, L"link"));
    } else {
        EXPECT_EQ(isWine() ? ERROR_NOT_SUPPORTED : ERROR_PRIVILEGE_NOT_HELD, error);
    }
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.describe(root, L"link", kind, nullptr));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, disk.makeLink(root, L"target", L"C:\\", true));
}

TEST_F(WindowsDiskTest, AFileIsRemoved) {
    tree.write("file", "x");
    tree.write("readonly", "x");
    tree.write("in/readonly", "x");
    setAttributes("readonly", FILE_ATTRIBUTE_READONLY);
    setAttributes("in/readonly", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    EXPECT_EQ(0U, disk.removeFile(root, L"file"));
    EXPECT_EQ(0U, disk.removeFile(root, L"READONLY"));
    EXPECT_EQ(0U, disk.removeFile(root, L"in/readonly"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.removeFile(root, L"file"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, disk.removeFile(root, L"in"));
    EXPECT_EQ((std::map<std::string, std::string>{{"in", "dir"}}), tree.snapshot());
}

TEST_F(WindowsDiskTest, AFileThatIsHeldIsNotRemoved) {
    tree.write("file", "x");
    setAttributes("file", FILE_ATTRIBUTE_READONLY);
    {
        const Handle held = hold("file");
        EXPECT_EQ(ERROR_SHARING_VIOLATION, disk.removeFile(root, L"file"));
    }
    EXPECT_NE(0U, attributes("file") & FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ("x", tree.read("file"));
    setAttributes("file", FILE_ATTRIBUTE_NORMAL);
}

TEST_F(WindowsDiskTest, ADirectoryIsRemovedWhenItIsEmpty) {
    tree.write("full/file", "x");
    tree.makeDirectory("empty");
    EXPECT_EQ(ERROR_DIR_NOT_EMPTY, disk.removeDirectory(root, L"full"));
    EXPECT_EQ(ERROR_DIRECTORY, disk.removeDirectory(root, L"full/file"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.removeDirectory(root, L"none"));
    EXPECT_EQ(0U, disk.removeDirectory(root, L"empty"));
    EXPECT_EQ((std::map<std::string, std::string>{{"full", "dir"}, {"full/file", "file x"}}),
              tree.snapshot());
}

TEST_F(WindowsDiskTest, WhatCouldNotBeRemovedIsKnownBefore) {
    tree.write("file", "x");
    tree.write("readonly", "x");
    tree.makeDirectory("directory");
    tree.makeDirectory("kept");
    setAttributes("readonly", FILE_ATTRIBUTE_READONLY);
    if (isWine()) {
        runOnUnix("/bin/chmod", {"555", unixPath(tree.wide("kept"))});
    } else {
        setAttributes("kept", FILE_ATTRIBUTE_READONLY);
    }
    EXPECT_EQ(0U, disk.mayRemoveFrom(root));
    EXPECT_EQ(0U, disk.mayRemove(root, L"file"));
    EXPECT_EQ(0U, disk.mayRemove(root, L"directory"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, disk.mayRemove(root, L"readonly"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, disk.mayRemove(root, L"kept"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.mayRemove(root, L"none"));
    {
        const Handle held = hold("file", FILE_SHARE_READ | FILE_SHARE_WRITE);
        const Handle heldDirectory = hold("directory", FILE_SHARE_READ | FILE_SHARE_WRITE);
        EXPECT_EQ(ERROR_SHARING_VIOLATION, disk.mayRemove(root, L"file"));
        EXPECT_EQ(ERROR_SHARING_VIOLATION, disk.mayRemove(root, L"directory"));
    }
    EXPECT_EQ(0U, disk.mayRemove(root, L"file"));
    EXPECT_EQ(4U, tree.snapshot().size());
    setAttributes("readonly", FILE_ATTRIBUTE_NORMAL);
    if (isWine()) {
        runOnUnix("/bin/chmod", {"755", unixPath(tree.wide("kept"))});
    } else {
        setAttributes("kept", FILE_ATTRIBUTE_DIRECTORY);
    }
}

TEST_F(WindowsDiskTest, ARenameNeverReplaces) {
    tree.write("file", "new");
    tree.write("taken", "old");
    tree.write("tree/sub/file", "deep");
    tree.makeDirectory("empty");
    tree.makeDirectory("to");
    const auto before = tree.snapshot();
    EXPECT_EQ(ERROR_ALREADY_EXISTS, disk.rename(root, L"file", root, L"taken"));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, disk.rename(root, L"file", root, L"empty"));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, disk.rename(root, L"tree", root, L"empty"));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, disk.rename(root, L"tree", root, L"taken"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.rename(root, L"none", root, L"other"));
    EXPECT_EQ(before, tree.snapshot());
    EXPECT_EQ(0U, disk.rename(root, L"file", opened("to"), L"moved"));
    EXPECT_EQ(0U, disk.rename(root, L"tree", opened("to"), L"tree2"));
    EXPECT_EQ("new", tree.read("to/moved"));
    EXPECT_EQ("deep", tree.read("to/tree2/sub/file"));
    EXPECT_FALSE(tree.exists("file"));
    EXPECT_FALSE(tree.exists("tree"));
}

TEST_F(WindowsDiskTest, NothingIsExchanged) {
    tree.write("one", "1");
    tree.write("two", "2");
    EXPECT_EQ(ERROR_NOT_SUPPORTED, disk.exchange(root, L"one", root, L"two"));
    EXPECT_EQ("1", tree.read("one"));
}

TEST_F(WindowsDiskTest, ATreeIsFlushedWithoutBeingChanged) {
    tree.write("tree/sub/file", "content");
    tree.write("tree/readonly", "content");
    tree.makeDirectory("tree/empty");
    setAttributes("tree/readonly", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    const auto before = tree.snapshot();
    const DWORD attributesBefore = attributes("tree/readonly");
    const DirectoryPtr directory = opened("tree");
    EXPECT_EQ(0U, disk.syncVolume(directory));
    EXPECT_EQ(0U, disk.syncDirectory(directory));
    EXPECT_EQ(0U, disk.syncDirectory(root));
    EXPECT_EQ(before, tree.snapshot());
    EXPECT_EQ(attributesBefore, attributes("tree/readonly"));
    setAttributes("tree/readonly", FILE_ATTRIBUTE_NORMAL);
    std::filesystem::remove_all(tree / "tree");
    EXPECT_NE(0U, disk.syncDirectory(directory));
}

TEST_F(WindowsDiskTest, AFileIsWrittenAndReadWhole) {
    const std::string content = std::string(3000000, 'x') + '\0' + "\r\n\x1A end";
    std::string read;
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.readFile(root, L"file", read));
    EXPECT_EQ(0U, disk.writeFile(root, L"file", content));
    EXPECT_EQ(0U, disk.readFile(root, L"file", read));
    EXPECT_EQ(content, read);
    EXPECT_EQ(0U, disk.writeFile(root, L"file", "short"));
    EXPECT_EQ(0U, disk.readFile(root, L"file", read));
    EXPECT_EQ("short", read);
    EXPECT_EQ(0U, disk.writeFile(root, L"file", ""));
    EXPECT_EQ(0U, disk.readFile(root, L"file", read));
    EXPECT_EQ("", read);
    tree.makeDirectory("directory");
    EXPECT_EQ(ERROR_ACCESS_DENIED, disk.readFile(root, L"directory", read));
}

TEST_F(WindowsDiskTest, ALockHasOneOwnerAndIsNoEntry) {
    tree.write("locked/file", "x");
    const DirectoryPtr first = opened("locked");
    const DirectoryPtr second = opened("locked");
    std::unique_ptr<DirectoryLock> lock;
    std::unique_ptr<DirectoryLock> other;
    EXPECT_EQ(0U, disk.lock(first, lock));
    EXPECT_EQ(ERROR_LOCK_VIOLATION, disk.lock(second, other));
    EXPECT_EQ(ERROR_LOCK_VIOLATION, disk.lock(first, other));
    EXPECT_EQ((std::set<std::wstring>{L"file"}), names(first));
    lock.reset();
    EXPECT_EQ((std::map<std::string, std::string>{{"file", "file x"}}), tree.snapshot("locked"));
    EXPECT_EQ(0U, disk.lock(second, other));
    EXPECT_EQ((std::set<std::wstring>{L"file"}), names(second));
}

TEST_F(WindowsDiskTest, ALockThatAPowerCutLeftBehindIsTakenOver) {
    tree.write("locked/lock", "");
    const DirectoryPtr directory = opened("locked");
    std::unique_ptr<DirectoryLock> lock;
    EXPECT_EQ(0U, disk.lock(directory, lock));
    EXPECT_TRUE(records(directory).empty());
    lock.reset();
    EXPECT_TRUE(tree.snapshot("locked").empty());
}

TEST_F(WindowsDiskTest, ALockedDirectoryIsRemovedWithItsLock) {
    tree.makeDirectory("locked");
    tree.write("full/file", "x");
    DirectoryPtr directory = opened("locked");
    std::unique_ptr<DirectoryLock> lock;
    ASSERT_EQ(0U, disk.lock(directory, lock));
    EXPECT_EQ(ERROR_DIR_NOT_EMPTY, disk.removeDirectory(root, L"locked"));
    EXPECT_EQ(0U, disk.removeLocked(root, L"locked", std::move(lock)));
    EXPECT_FALSE(tree.exists("locked"));
    directory = opened("full");
    ASSERT_EQ(0U, disk.lock(directory, lock));
    EXPECT_EQ(ERROR_DIR_NOT_EMPTY, disk.removeLocked(root, L"full", std::move(lock)));
    EXPECT_EQ((std::map<std::string, std::string>{{"full", "dir"}, {"full/file", "file x"}}),
              tree.snapshot());
}

TEST_F(WindowsDiskTest, LongPathsAreNothingSpecial) {
    const std::wstring name(100, L'n');
    std::vector<DirectoryPtr> levels{root};
    for (int i = 0; i < 12; ++i) {
        ASSERT_EQ(0U, disk.makeDirectory(levels.back(), name));
        DirectoryPtr next;
        ASSERT_EQ(0U, disk.openBelow(levels.back(), name, Links::Refuse, next));
        levels.push_back(next);
    }
    std::wstring path = text("");
    for (int i = 0; i < 12; ++i) {
        path += L"/" + name;
    }
    DirectoryPtr deep;
    std::wstring canonical;
    ASSERT_EQ(0U, disk.openDirectory(path, deep, canonical));
    EXPECT_EQ(path, canonical);
    EXPECT_EQ(0U, disk.writeFile(deep, L"file", "content"));
    EXPECT_EQ(0U, disk.copyFile(deep, L"file", deep, L"copy", Links::Refuse, nullptr));
    EXPECT_EQ(0U, disk.rename(deep, L"copy", root, L"up"));
    EXPECT_EQ("content", tree.read("up"));
    EXPECT_EQ((std::set<std::wstring>{L"file"}), names(deep));
    EXPECT_EQ(0U, disk.checkEntry(levels[11], name, deep));
    EXPECT_EQ(0U, disk.checkSameVolume(root, deep));
    EXPECT_EQ(0U, disk.mayRemove(deep, L"file"));
    EXPECT_EQ(0U, disk.syncVolume(levels[10]));
    EXPECT_EQ(0U, disk.removeFile(deep, L"file"));
    while (levels.size() > 1) {
        levels.pop_back();
        EXPECT_EQ(0U, disk.removeDirectory(levels.back(), name));
    }
    EXPECT_EQ((std::map<std::string, std::string>{{"up", "file content"}}), tree.snapshot());
}

TEST_F(WindowsDiskTest, TheLastErrorIsTheCallers) {
    tree.write("file", "x");
    tree.makeDirectory("directory");
    const DirectoryPtr directory = opened("directory");
    DirectoryPtr other;
    std::wstring buffer;
    std::string bytes;
    Kind kind{};
    Record record;
    std::unique_ptr<transactions::Listing> listing;
    std::unique_ptr<DirectoryLock> lock;
    std::unique_ptr<DirectoryLock> none;
    const std::vector<std::function<void()>> operations = {
        [&] { (void)disk.normalize(L"x~1\\y", buffer); },
        [&] { (void)disk.fold(L"\u00E4"); },
        [&] { (void)disk.openDirectory(L"Q:/none", other, buffer); },
        [&] { (void)disk.openDirectory(text("directory"), other, buffer); },
        [&] { (void)disk.openBelow(root, L"none", Links::Refuse, other); },
        [&] { (void)disk.openBelow(root, L"directory", Links::Refuse, other); },
        [&] { (void)disk.describe(root, L"none", kind, nullptr); },
        [&] { (void)disk.list(root, listing); },
        [&] { (void)listing->next(record); },
        [&] { (void)disk.mayRemove(root, L"none"); },
        [&] { (void)disk.spelling(root, L"none"); },
        [&] { (void)disk.checkSameVolume(root, directory); },
        [&] { (void)disk.checkEntry(root, L"none", directory); },
        [&] { (void)disk.makeDirectory(root, L"file"); },
        [&] { (void)disk.makePrivateDirectory(root, L"file"); },
        [&] { (void)disk.makePrivateDirectory(root, L"private"); },
        [&] { (void)disk.copyFile(root, L"none", root, L"x", Links::Refuse, nullptr); },
        [&] { (void)disk.copyFile(root, L"file", root, L"copy", Links::Refuse, nullptr); },
        [&] { (void)disk.makeLink(root, L"link", L"C:\\none", false); },
        [&] { (void)disk.removeFile(root, L"none"); },
        [&] { (void)disk.removeFile(root, L"copy"); },
        [&] { (void)disk.removeDirectory(root, L"none"); },
        [&] { (void)disk.rename(root, L"none", root, L"other"); },
        [&] { (void)disk.syncVolume(directory); },
        [&] { (void)disk.syncDirectory(directory); },
        [&] { (void)disk.writeFile(root, L"directory", "x"); },
        [&] { (void)disk.readFile(root, L"none", bytes); },
        [&] { (void)disk.lock(directory, lock); },
        [&] { (void)disk.lock(directory, none); },
        [&] { (void)disk.checkPrivateOfOurs(directory); },
        [&] { (void)disk.removeLocked(root, L"directory", std::move(lock)); },
        [&] { (void)disk.randomName(); },
    };
    for (std::size_t i = 0; i < operations.size(); ++i) {
        ::SetLastError(4711);
        operations[i]();
        EXPECT_EQ(4711U, ::GetLastError()) << "operation " << i;
    }
}

TEST(WindowsFailure, WithoutAReasonIsNoSuccess) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, failure());
    ::SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(DWORD{ERROR_INTERNAL_ERROR}, failure());
}

TEST_F(WindowsDiskTest, RandomNamesAreThirtyTwoDigitsAndDiffer) {
    std::set<std::wstring> seen;
    for (int i = 0; i < 100; ++i) {
        const std::wstring name = disk.randomName();
        EXPECT_EQ(32U, name.size());
        EXPECT_EQ(std::wstring::npos, name.find_first_not_of(L"0123456789abcdef"));
        EXPECT_TRUE(seen.insert(name).second);
    }
}

}  // namespace
}  // namespace Tallowmere::platform
