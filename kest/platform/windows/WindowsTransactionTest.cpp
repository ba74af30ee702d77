// What is particular to transactions on Windows: what an entry has to say about its own removal,
// letter case, long paths, drives.

#include <gtest/gtest.h>

#include <vector>

#include "kest/platform/testing/TempTree.h"
#include "kest/platform/transactions/Disk.h"
#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/UnixLinks.h"
#include "kest/platform/windows/testing/ScopedPause.h"
#include "kest/platform/windows/testing/ScratchDrive.h"
#include "kest/platform/windows/testing/TreeTransaction.h"
#include "kest/platform/windows/testing/UnixSide.h"
#include "kest/platform/windows/testing/WatchedDisk.h"
#include "kest/transacted/TransactedFS.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere::platform::transactions {
namespace {

using testing::CurrentDisk;
using testing::runOnUnix;
using testing::ScopedPause;
using testing::ScratchDrive;
using testing::TempTree;
using testing::TreeTransaction;
using testing::unixPath;
using testing::WatchedDisk;
using Snapshot = std::map<std::string, std::string>;

class WindowsTransaction : public ::testing::Test {
protected:
    void setAttributes(const std::string& relative, DWORD value) {
        ASSERT_TRUE(::SetFileAttributesW(tree.wide(relative).c_str(), value));
    }
    DWORD attributes(const std::string& relative) {
        return ::GetFileAttributesW(tree.wide(relative).c_str());
    }
    /// The names of entries as the disk has them.
    std::vector<std::wstring> names(const std::string& relative) {
        std::vector<std::wstring> result;
        for (const auto& entry : std::filesystem::directory_iterator(tree / relative)) {
            result.push_back(entry.path().filename().wstring());
        }
        std::sort(result.begin(), result.end());
        return result;
    }

    TempTree tree;
};

TEST_F(WindowsTransaction, AReadOnlyFileIsNotDeletedAndNothingChanges) {
    tree.write("old/a", "1");
    tree.write("old/sub/kept", "2");
    setAttributes("old/sub/kept", FILE_ATTRIBUTE_READONLY);
    const Snapshot before = tree.snapshot();
    {
        TreeTransaction transaction;
        EXPECT_EQ(ERROR_ACCESS_DENIED, transaction.removeTree(tree.wide("old")));
    }
    EXPECT_EQ(before, tree.snapshot());
    EXPECT_NE(0U, attributes("old/sub/kept") & FILE_ATTRIBUTE_READONLY);
    {
        TreeTransaction transaction;
        EXPECT_EQ(ERROR_ACCESS_DENIED,
                  transaction.copyFile(tree.wide("old/a"), tree.wide("old/sub/kept")));
        EXPECT_EQ(0U, transaction.commit());
    }
    EXPECT_EQ(before, tree.snapshot());
    setAttributes("old/sub/kept", FILE_ATTRIBUTE_NORMAL);
}

TEST_F(WindowsTransaction, ReadOnlyFilesAreCopiedAndRolledBack) {
    tree.write("from/file", "content");
    setAttributes("from/file", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    const Snapshot before = tree.snapshot();
    {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.copyTree(tree.wide("from"), tree.wide("to")));
    }
    EXPECT_EQ(before, tree.snapshot());
    {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.copyTree(tree.wide("from"), tree.wide("to")));
        EXPECT_EQ(0U, transaction.commit());
    }
    EXPECT_EQ("content", tree.read("to/file"));
    EXPECT_EQ(attributes("from/file") | FILE_ATTRIBUTE_ARCHIVE,
              attributes("to/file") | FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(4U, tree.snapshot().size());
    setAttributes("from/file", FILE_ATTRIBUTE_NORMAL);
    setAttributes("to/file", FILE_ATTRIBUTE_NORMAL);
}

TEST_F(WindowsTransaction, ANameThatAPathWouldMisreadIsTheEntryThatHasIt) {
    if (!isWine()) {
        GTEST_SKIP() << "the kernel's manager is asked here, which misreads it (see "
                        "KernelTransactionsTest)";
    }
    const Tallowmere::testing::TraceCapture trace;
    // What a failure leaves cannot be removed by paths of C++'s library, which misread it, too.
    struct Remains {
        const TempTree& tree;
        ~Remains() {
            runOnUnix("rm", {"-rf", unixPath(tree.wide("from")), unixPath(tree.wide("to"))});
        }
    };
    const Remains remains{tree};
    const std::vector<std::wstring> directories = {L"", L"\\d", L"\\d.", L"\\d.\\d ", L"\\CON"};
    const std::vector<std::wstring> files = {
        L"\\foo",   L"\\foo.",   L"\\foo ",  L"\\NUL",          L"\\aux.txt",
        L"\\d\\y.", L"\\d.\\y.", L"\\d.\\y", L"\\d.\\d \\COM1", L"\\CON\\prn"};
    const auto plain = [&](const char* top, const std::wstring& relative) {
        return L"\\\\?\\" + tree.wide(top) + relative;
    };
    const auto read = [](const std::wstring& path) {
        const Handle file(::CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
        wchar_t content[32] = {};
        DWORD size = 0;
        return file && ::ReadFile(file.get(), content, sizeof content - sizeof *content, &size,
                                  nullptr)
                   ? std::wstring(content)
                   : L"none";
    };
    for (const std::wstring& directory : directories) {
        ASSERT_TRUE(::CreateDirectoryW(plain("from", directory).c_str(), nullptr));
    }
    for (const std::wstring& name : files) {
        const Handle file(::CreateFileW(plain("from", name).c_str(), GENERIC_WRITE, 0, nullptr,
                                        CREATE_NEW, 0, nullptr));
        DWORD size = 0;
        ASSERT_TRUE(file &&
                    ::WriteFile(file.get(), name.data(),
                                static_cast<DWORD>(name.size() * sizeof(wchar_t)), &size, nullptr));
    }
    // Made, and then replaced.
    for (int times = 0; times < 2; ++times) {
        Tallowmere::CopyDirectoryTransacted(tree.wide("from"), tree.wide("to"));
        for (const std::wstring& name : files) {
            EXPECT_EQ(name, read(plain("to", name)));
        }
    }
    Tallowmere::DeleteDirectoryTransacted(tree.wide("from"));
    Tallowmere::DeleteDirectoryTransacted(tree.wide("to"));
    EXPECT_EQ(Snapshot(), tree.snapshot());
}

TEST_F(WindowsTransaction, AFileThatSomebodyHoldsIsNotDeleted) {
    const ScopedPause pause;
    tree.write("old/a", "1");
    tree.write("old/held", "2");
    const Snapshot before = tree.snapshot();
    const Handle held(::CreateFileW(tree.wide("old/held").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                    nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    {
        TreeTransaction transaction;
        EXPECT_EQ(ERROR_SHARING_VIOLATION, transaction.removeTree(tree.wide("old")));
    }
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(WindowsTransaction, ADirectoryThatIsHeldAtTheCommitLeavesEverythingAsItWas) {
    const ScopedPause pause;
    tree.write("from/new", "new");
    tree.write("Old/a", "1");
    const Snapshot before = tree.snapshot();
    {
        TreeTransaction transaction;
        ASSERT_EQ(0U, transaction.replaceTree(tree.wide("from"), tree.wide("Old")));
        const Handle held(::CreateFileW(tree.wide("Old").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                                        nullptr));
        ASSERT_TRUE(held);
        EXPECT_EQ(ERROR_SHARING_VIOLATION, transaction.commit());
    }
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(WindowsTransaction, NamesAreOneWhateverTheirCase) {
    tree.write("from/a", "new");
    tree.write("Old/ReadMe.TXT", "1");
    TreeTransaction transaction;
    EXPECT_EQ(ERROR_DIR_NOT_EMPTY, transaction.removeDirectory(tree.wide("old")));
    EXPECT_EQ(0U, transaction.removeFile(tree.wide("OLD/readme.txt")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, transaction.look(tree.wide("Old/README.txt")));
    EXPECT_EQ(0U, transaction.removeTree(tree.wide("oLD")));
    EXPECT_EQ(0U, transaction.copyTree(tree.wide("FROM"), tree.wide("old")));
    EXPECT_EQ(0U, transaction.look(tree.wide("OLD/A")));
    EXPECT_EQ(0U, transaction.commit());
    EXPECT_EQ(
        (Snapshot{{"from", "dir"}, {"from/a", "file new"}, {"old", "dir"}, {"old/a", "file new"}}),
        tree.snapshot());
}

TEST_F(WindowsTransaction, TwoFilesNeverBecomeOneBecauseTheirNamesMeetInTheCopy) {
    tree.write("from/a", "1");
    tree.write("from/b", "2");
    {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.copyTree(tree.wide("from"), tree.wide("to")));
        // As from a folder that tells letter case apart.
        EXPECT_EQ(ERROR_ALREADY_EXISTS,
                  transaction.copyFile(tree.wide("from/b"), tree.wide("to/A")));
        EXPECT_EQ(0U, transaction.copyFile(tree.wide("from/a"), tree.wide("alone")));
        EXPECT_EQ(ERROR_ALREADY_EXISTS,
                  transaction.copyFile(tree.wide("from/b"), tree.wide("ALONE")));
        // By its own name it is replaced.
        EXPECT_EQ(0U, transaction.copyFile(tree.wide("from/b"), tree.wide("to/b")));
        EXPECT_EQ(0U, transaction.copyFile(tree.wide("from/b"), tree.wide("alone")));
        EXPECT_EQ(0U, transaction.commit());
    }
    EXPECT_EQ("1", tree.read("to/a"));
    EXPECT_EQ("2", tree.read("alone"));
}

TEST_F(WindowsTransaction, AShortNameOfTheOldTreeMeansNothingInTheNewOne) {
    tree.write("to/a name of some length.text", "old");
    tree.write("to/a folder of some length/file", "old");
    const auto shortName = [&](const char* relative) {
        WIN32_FIND_DATAW found{};
        const HANDLE search = ::FindFirstFileW(tree.wide(relative).c_str(), &found);
        EXPECT_NE(INVALID_HANDLE_VALUE, search);
        ::FindClose(search);
        return std::wstring(found.cAlternateFileName);
    };
    const std::wstring file = shortName("to/a name of some length.text");
    const std::wstring folder = shortName("to/a folder of some length");
    if (file.empty()) {
        GTEST_SKIP() << "this volume gives no short names";
    }
    // Entries of the source whose real names are those.
    tree.makeDirectory("from");
    const std::wstring from = tree.wide("from") + L"\\";
    ASSERT_TRUE(::CreateDirectoryW((from + folder).c_str(), nullptr));
    for (const std::wstring& name : {file, folder + L"\\" + file}) {
        tree.write("content", "new");
        ASSERT_TRUE(::MoveFileW(tree.wide("content").c_str(), (from + name).c_str()));
    }
    const Snapshot source = tree.snapshot("from");
    ASSERT_EQ(3U, source.size());
    {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.replaceTree(tree.wide("from"), tree.wide("to")));
        EXPECT_EQ(0U, transaction.commit());
    }
    EXPECT_EQ(source, tree.snapshot("to"));
}

TEST_F(WindowsTransaction, ACommitThatFailsHalfWayGivesEachEntryItsOwnNameBack) {
    tree.write("from/new", "new");
    tree.write("In/One.txt", "1");
    tree.write("In/Two.txt", "2");
    tree.write("In/Three.txt", "3");
    tree.write("In/Tree/File", "4");
    const Snapshot before = tree.snapshot();
    for (int failing = 1; failing <= 6; ++failing) {
        int renames = 0;
        WatchedDisk disk(systemDisk(), [&](const char* operation) {
            // Renames of the journal itself come first.
            const bool fails = std::string(operation) == "rename" && ++renames == failing + 1;
            return fails ? DWORD{ERROR_ACCESS_DENIED} : DWORD{ERROR_SUCCESS};
        });
        disk.setSyncing(false);
        const CurrentDisk current(disk);
        TreeTransaction transaction;
        ASSERT_EQ(0U, transaction.removeFile(tree.wide("in/ONE.txt")));
        ASSERT_EQ(0U, transaction.removeFile(tree.wide("in/two.TXT")));
        ASSERT_EQ(0U, transaction.removeFile(tree.wide("in/three.txt")));
        ASSERT_EQ(0U, transaction.replaceTree(tree.wide("from"), tree.wide("in/TREE")));
        EXPECT_EQ(failing <= 5 ? ERROR_ACCESS_DENIED : ERROR_SUCCESS, transaction.commit())
            << failing;
        if (failing <= 5) {
            EXPECT_EQ(before, tree.snapshot()) << failing;
        }
    }
    EXPECT_EQ((Snapshot{{"TREE", "dir"}, {"TREE/new", "file new"}}), tree.snapshot("In"));
}

TEST_F(WindowsTransaction, OneRemovalThatCannotLastGivesTheEntryItsOwnNameBack) {
    tree.write("In/ReadMe.TXT", "1");
    const Snapshot before = tree.snapshot();
    int syncs = 0;
    WatchedDisk disk(systemDisk(), [&](const char* operation) {
        return std::string(operation) == "syncDirectory" && ++syncs == 1 ? DWORD{ERROR_IO_DEVICE}
                                                                         : DWORD{ERROR_SUCCESS};
    });
    const CurrentDisk current(disk);
    TreeTransaction transaction;
    ASSERT_EQ(0U, transaction.removeFile(tree.wide("IN/readme.txt")));
    EXPECT_EQ(ERROR_IO_DEVICE, transaction.commit());
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(WindowsTransaction, NamesOfAnyScriptAreCopiedAndReplaced) {
    const std::vector<std::wstring> scripts = {L"\u00E4\u00F6\u00FC", L"\u65E5\u672C\u8A9E",
                                               L"\u0416\u0437", L"\xD83D\xDE00", L"a b  c"};
    for (const std::wstring& name : scripts) {
        std::filesystem::create_directories(tree / "from" / name);
        ASSERT_TRUE(::CopyFileW((tree.write("file", "x"), tree.wide("file").c_str()),
                                (tree / "from" / name / (name + L".txt")).c_str(), TRUE));
    }
    for (int times = 0; times < 2; ++times) {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.replaceTree(tree.wide("from"), tree.wide("to")));
        EXPECT_EQ(0U, transaction.commit());
        EXPECT_EQ(names("from"), names("to"));
        EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    }
    TreeTransaction transaction;
    EXPECT_EQ(0U, transaction.removeEntriesOf(tree.wide("to")));
    EXPECT_EQ(0U, transaction.commit());
    EXPECT_TRUE(names("to").empty());
}

TEST_F(WindowsTransaction, PathsMayBeLong) {
    // Beyond 260 characters nothing but the library's own calls can look into the tree.
    const std::wstring name(100, L'n');
    std::wstring deep = tree.wide("from");
    tree.makeDirectory("from");
    tree.write("file", "content");
    for (int i = 0; i < 12; ++i) {
        deep += L"\\" + name;
        ASSERT_TRUE(::CreateDirectoryW((L"\\\\?\\" + deep).c_str(), nullptr));
    }
    ASSERT_TRUE(
        ::CopyFileW(tree.wide("file").c_str(), (L"\\\\?\\" + deep + L"\\file").c_str(), TRUE));
    const std::wstring tail = deep.substr(tree.wide("from").size());
    for (int times = 0; times < 2; ++times) {
        TreeTransaction transaction;
        ASSERT_EQ(0U, transaction.replaceTree(tree.wide("from"), tree.wide("to")));
        EXPECT_EQ(0U, transaction.look(tree.wide("to") + tail + L"\\file"));
        ASSERT_EQ(0U, transaction.commit());
        EXPECT_NE(INVALID_FILE_ATTRIBUTES,
                  ::GetFileAttributesW((L"\\\\?\\" + tree.wide("to") + tail + L"\\file").c_str()));
    }
    for (const char* const top : {"from", "to"}) {
        TreeTransaction transaction;
        ASSERT_EQ(0U, transaction.removeTree(tree.wide(top)));
        ASSERT_EQ(0U, transaction.commit());
    }
    EXPECT_EQ((Snapshot{{"file", "file content"}}), tree.snapshot());
}

TEST_F(WindowsTransaction, AnotherDriveIsCopiedFromButNotChangedInTheSameTransaction) {
    if (!isWine()) {
        GTEST_SKIP() << "the second drive would be the same volume";
    }
    ScratchDrive drive;
    drive.tree().write("from/a", "on the drive");
    drive.tree().write("old/b", "on the drive, too");
    tree.write("to/c", "here");
    {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.replaceTree(drive.wide(L"from"), tree.wide("to")));
        EXPECT_EQ(0U, transaction.commit());
    }
    EXPECT_EQ((Snapshot{{"a", "file on the drive"}}), tree.snapshot("to"));
    const Snapshot here = tree.snapshot();
    const Snapshot there = drive.tree().snapshot();
    {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.removeTree(tree.wide("to")));
        EXPECT_EQ(0U, transaction.removeTree(drive.wide(L"old")));
        EXPECT_EQ(ERROR_NOT_SAME_DEVICE, transaction.commit());
    }
    {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.copyTree(drive.wide(L"from"), tree.wide("new")));
        EXPECT_EQ(ERROR_NOT_SAME_DEVICE,
                  transaction.copyTree(drive.wide(L"from"), drive.wide(L"new")));
    }
    EXPECT_EQ(here, tree.snapshot());
    EXPECT_EQ(there, drive.tree().snapshot());
}

TEST_F(WindowsTransaction, ADrivesRootIsEmptiedAndFilledButStays) {
    ScratchDrive drive;
    tree.write("from/a", "new");
    tree.write("from/sub/b", "new, too");
    drive.tree().write("old/c", "old");
    drive.tree().write("d", "old, too");
    const Snapshot before = drive.tree().snapshot();
    for (const std::wstring& root : {drive.letter(), drive.letter() + L"\\"}) {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.look(root)) << root.size();
    }
    {
        TreeTransaction transaction;
        ASSERT_EQ(0U, transaction.removeEntriesOf(drive.letter()));
        ASSERT_EQ(0U, transaction.copyEntriesOf(tree.wide("from"), drive.letter()));
        EXPECT_EQ(before, [&] {
            Snapshot now = drive.tree().snapshot();
            for (auto at = now.begin(); at != now.end();) {
                at = at->first.find(".kest-") == 0 ? now.erase(at) : std::next(at);
            }
            return now;
        }());
    }
    EXPECT_EQ(before, drive.tree().snapshot());
    {
        TreeTransaction transaction;
        ASSERT_EQ(0U, transaction.removeEntriesOf(drive.letter()));
        ASSERT_EQ(0U, transaction.copyEntriesOf(tree.wide("from"), drive.letter()));
        EXPECT_EQ(0U, transaction.commit());
    }
    EXPECT_EQ(tree.snapshot("from"), drive.tree().snapshot());
}

TEST_F(WindowsTransaction, LinksOfTheDiskBelowWineAreNeitherFollowedNorRemovedNorCopied) {
    if (!isWine()) {
        GTEST_SKIP() << "there are no Unix links on Windows";
    }
    tree.write("out/file", "outside");
    tree.write("old/a", "1");
    tree.write("files/a", "2");
    const std::string root = unixPath(tree.wide("."));
    const Snapshot before = tree.snapshot();
    runOnUnix("/bin/ln", {"-s", "../out", root + "/old/link"});
    runOnUnix("/bin/ln", {"-s", "../out/file", root + "/files/link"});
    const Snapshot linked = tree.snapshot();
    for (const char* const top : {"old", "files"}) {
        TreeTransaction removing;
        EXPECT_EQ(ERROR_NOT_SUPPORTED, removing.removeTree(tree.wide(top))) << top;
        TreeTransaction copying;
        EXPECT_EQ(ERROR_NOT_SUPPORTED, copying.copyTree(tree.wide(top), tree.wide("to"))) << top;
    }
    EXPECT_EQ(linked, tree.snapshot());
    // A directory that is reached through a link may be worked in.
    {
        TreeTransaction transaction;
        EXPECT_EQ(0U, transaction.copyFile(tree.wide("old/a"), tree.wide("old/link/new")));
        EXPECT_EQ(0U, transaction.commit());
    }
    EXPECT_EQ("1", tree.read("out/new"));
    runOnUnix("/bin/rm", {"-f", root + "/old/link", root + "/files/link", root + "/out/new"});
    EXPECT_EQ(before, tree.snapshot());
}

}  // namespace
}  // namespace Tallowmere::platform::transactions
