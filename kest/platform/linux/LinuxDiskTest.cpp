// What the transaction manager keeps on a Linux disk that no other system has.

#include "kest/platform/linux/LinuxDisk.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <sys/xattr.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include "kest/platform/Calls.h"
#include "kest/platform/linux/DirectoryListing.h"
#include "kest/platform/linux/FileCopy.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/platform/transactions/SystemDisk.h"
#include "kest/platform/transactions/Transaction.h"
#include "kest/platform/transactions/TransactionCalls.h"
#include "kest/platform/transactions/testing/Walk.h"

namespace Tallowmere::platform {
namespace {

using testing::TempTree;
using transactions::closeTransaction;

struct stat statusOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
    return status;
}

int openDescriptors() {
    int count = 0;
    DIR* const all = opendir("/proc/self/fd");
    while (readdir(all) != nullptr) {
        ++count;
    }
    closedir(all);
    return count;
}

class LinuxDiskTest : public ::testing::Test {
protected:
    LinuxDiskTest() {
        wchar_t name[] = L"test";
        transaction = transactions::CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, name);
    }
    ~LinuxDiskTest() override { close(); }

    void close() {
        if (transaction != INVALID_HANDLE_VALUE) {
            EXPECT_TRUE(closeTransaction(transaction));
            transaction = INVALID_HANDLE_VALUE;
        }
    }
    bool commit() { return transactions::CommitTransaction(transaction) != FALSE; }
    static std::wstring wide(const std::filesystem::path& path) {
        return names::widen(path.native());
    }
    bool makeDirectory(const std::string& path) {
        return transactions::CreateDirectoryTransactedW(nullptr, wide(tree / path).c_str(), nullptr,
                                                        transaction) != FALSE;
    }
    bool copy(const std::string& from, const std::string& to) {
        return transactions::CopyFileTransactedW(wide(tree / from).c_str(), wide(tree / to).c_str(),
                                                 nullptr, nullptr, nullptr, COPY_FILE_COPY_SYMLINK,
                                                 transaction) != FALSE;
    }
    /// Copies a tree as the walk does.
    bool copyTree(const std::filesystem::path& from, const std::filesystem::path& to) {
        if (!transactions::CreateDirectoryTransactedW(nullptr, wide(to).c_str(), nullptr,
                                                      transaction)) {
            return false;
        }
        WIN32_FIND_DATAW data{};
        const HANDLE search = transactions::FindFirstFileTransactedW(
            (wide(from) + L"\\*").c_str(), FindExInfoStandard, &data, FindExSearchNameMatch,
            nullptr, 0, transaction);
        if (search == INVALID_HANDLE_VALUE) {
            return false;
        }
        do {
            const std::wstring name = data.cFileName;
            if (name == L"." || name == L"..") {
                continue;
            }
            const std::wstring here = wide(from) + L"\\" + name;
            const std::wstring there = wide(to) + L"\\" + name;
            std::string native;
            names::narrow(name, native);
            if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
                if (!copyTree(from / native, to / native)) {
                    return false;
                }
            } else if (!transactions::CopyFileTransactedW(here.c_str(), there.c_str(), nullptr,
                                                          nullptr, nullptr, COPY_FILE_COPY_SYMLINK,
                                                          transaction)) {
                return false;
            }
        } while (transactions::FindNextFileW(search, &data));
        return os().GetLastError() == ERROR_NO_MORE_FILES;
    }
    bool remove(const std::filesystem::path& path) {
        WIN32_FIND_DATAW data{};
        const HANDLE search = transactions::FindFirstFileTransactedW(
            (wide(path) + L"\\*").c_str(), FindExInfoStandard, &data, FindExSearchNameMatch,
            nullptr, 0, transaction);
        if (search == INVALID_HANDLE_VALUE) {
            return false;
        }
        do {
            const std::wstring name = data.cFileName;
            if (name == L"." || name == L"..") {
                continue;
            }
            std::string native;
            names::narrow(name, native);
            const std::wstring here = wide(path) + L"\\" + name;
            const bool isLink = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
            if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
                if (!transactions::DeleteFileTransactedW(here.c_str(), transaction)) {
                    return false;
                }
            } else if (isLink) {
                if (!transactions::RemoveDirectoryTransactedW(here.c_str(), transaction)) {
                    return false;
                }
            } else if (!remove(path / native)) {
                return false;
            }
        } while (transactions::FindNextFileW(search, &data));
        return transactions::RemoveDirectoryTransactedW((L"\\\\?\\" + wide(path)).c_str(),
                                                        transaction) != FALSE;
    }

    TempTree tree;
    HANDLE transaction;
};

TEST_F(LinuxDiskTest, AFileKeepsModeTimesAndExtendedAttributes) {
    tree.write("from", "content");
    ASSERT_EQ(0, setxattr((tree / "from").c_str(), "user.note", "kept", 4, 0));
    ASSERT_EQ(0, chmod((tree / "from").c_str(), 04751));
    const struct timespec times[2] = {{1000000001, 123456789}, {1234567890, 987654321}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, (tree / "from").c_str(), times, 0));
    ASSERT_TRUE(copy("from", "to"));
    ASSERT_TRUE(commit());
    const struct stat made = statusOf(tree / "to");
    EXPECT_EQ(04751U, made.st_mode & 07777);
    EXPECT_EQ(1234567890, made.st_mtim.tv_sec);
    EXPECT_EQ(987654321, made.st_mtim.tv_nsec);
    EXPECT_EQ(1000000001, made.st_atim.tv_sec);
    EXPECT_EQ(123456789, made.st_atim.tv_nsec);
    char value[16] = {};
    EXPECT_EQ(4, getxattr((tree / "to").c_str(), "user.note", value, sizeof value));
    EXPECT_STREQ("kept", value);
}

TEST_F(LinuxDiskTest, AFileKeepsAsManyExtendedAttributesAsItHas) {
    tree.write("from", "content");
    const std::string tail(100, 'x');
    for (int i = 0; i < 30; ++i) {
        const std::string name = "user." + std::to_string(i) + tail;
        const std::string value = std::to_string(i);
        ASSERT_EQ(0,
                  setxattr((tree / "from").c_str(), name.c_str(), value.data(), value.size(), 0));
    }
    ASSERT_TRUE(copy("from", "to"));
    ASSERT_TRUE(commit());
    for (int i = 0; i < 30; ++i) {
        const std::string name = "user." + std::to_string(i) + tail;
        char value[16] = {};
        EXPECT_LT(0, getxattr((tree / "to").c_str(), name.c_str(), value, sizeof value)) << i;
        EXPECT_EQ(std::to_string(i), value);
    }
}

TEST_F(LinuxDiskTest, AFileKeepsItsOwnerWhereTheProcessMaySetIt) {
    tree.write("from", "content");
    const bool isRoot = geteuid() == 0;
    const uid_t owner = isRoot ? 12345 : geteuid();
    ASSERT_EQ(0, chown((tree / "from").c_str(), owner, isRoot ? 23456 : getegid()));
    ASSERT_EQ(0, chmod((tree / "from").c_str(), 02755));
    ASSERT_TRUE(copy("from", "to"));
    ASSERT_TRUE(commit());
    const struct stat made = statusOf(tree / "to");
    EXPECT_EQ(statusOf(tree / "from").st_uid, made.st_uid);
    EXPECT_EQ(statusOf(tree / "from").st_gid, made.st_gid);
    EXPECT_EQ(02755U, made.st_mode & 07777);
}

TEST_F(LinuxDiskTest, AStrictMaskTakesNothingAwayFromACopy) {
    const mode_t mask = umask(0777);
    umask(mask);
    tree.write("from", "content");
    tree.makeDirectory("folder");
    ASSERT_EQ(0, chmod((tree / "from").c_str(), 0666));
    ASSERT_EQ(0, chmod((tree / "folder").c_str(), 0777));
    umask(0777);
    const bool copied = copy("from", "to") && copyTree(tree / "folder", tree / "made") && commit();
    umask(mask);
    ASSERT_TRUE(copied);
    EXPECT_EQ(0666U, statusOf(tree / "to").st_mode & 07777);
    EXPECT_EQ(0777U, statusOf(tree / "made").st_mode & 07777);
}

TEST_F(LinuxDiskTest, HolesStayHoles) {
    const int file = open((tree / "from").c_str(), O_RDWR | O_CREAT, 0644);
    constexpr off_t kSize = 64L << 20;
    ASSERT_EQ(0, ftruncate(file, kSize));
    ASSERT_EQ(5, pwrite(file, "first", 5, 1 << 20));
    ASSERT_EQ(6, pwrite(file, "second", 6, 40 << 20));
    ::close(file);
    ASSERT_TRUE(copy("from", "to"));
    ASSERT_TRUE(commit());
    EXPECT_EQ(kSize, statusOf(tree / "to").st_size);
    EXPECT_LT(statusOf(tree / "to").st_blocks * 512, 1 << 20);
    EXPECT_EQ(tree.read("from"), tree.read("to"));
}

TEST_F(LinuxDiskTest, AHoleIsKeptThoughRoomIsKeptBeyondTheEnd) {
    constexpr off_t kSize = 6 << 20;
    constexpr off_t kData = 1 << 20;
    tree.write("from", std::string(kData, 'x'));
    const int file = open((tree / "from").c_str(), O_WRONLY);
    ASSERT_EQ(0, ftruncate(file, kSize));
    if (fallocate(file, FALLOC_FL_KEEP_SIZE, kSize, kSize) != 0) {
        const int error = errno;
        ::close(file);
        ASSERT_EQ(EOPNOTSUPP, error) << std::strerror(error);
        GTEST_SKIP() << "the file system of the tests' folder keeps no room beyond a file's end";
    }
    ::close(file);
    ASSERT_TRUE(copy("from", "to"));
    ASSERT_TRUE(commit());
    EXPECT_EQ(kSize, statusOf(tree / "to").st_size);
    EXPECT_LE(statusOf(tree / "to").st_blocks * 512, 2 * kData);
    EXPECT_EQ(tree.read("from"), tree.read("to"));
}

TEST_F(LinuxDiskTest, AFileThatIsShorterThanItClaimsIsNotFilledUp) {
    // The size of such a file is that of a page, whatever it holds, and it has no blocks.
    const char* const claiming = "/sys/kernel/mm/transparent_hugepage/enabled";
    struct stat claimed {};
    std::string content;
    {
        std::ifstream stream(claiming);
        content.assign(std::istreambuf_iterator<char>(stream), {});
    }
    if (stat(claiming, &claimed) != 0 || content.empty() ||
        claimed.st_size <= static_cast<off_t>(content.size())) {
        GTEST_SKIP() << claiming << " does not claim more than it holds under this kernel";
    }
    const int from = open("/sys/kernel/mm/transparent_hugepage", O_PATH | O_DIRECTORY);
    const int to = open(tree.root().c_str(), O_PATH | O_DIRECTORY);
    NewFileDefaults defaults;
    EXPECT_EQ(0, copyEntry(from, "enabled", to, "to", false, false, defaults));
    ::close(from);
    ::close(to);
    EXPECT_EQ(content, tree.read("to"));
}

TEST_F(LinuxDiskTest, ADirectoryTakesOverWhatTheSystemKeepsAboutItsSource) {
    tree.write("from/file", "x");
    tree.makeDirectory("from/empty");
    ASSERT_EQ(0, setxattr((tree / "from").c_str(), "user.note", "kept", 4, 0));
    ASSERT_EQ(0, chmod((tree / "from").c_str(), 01750));
    ASSERT_EQ(0, chmod((tree / "from/empty").c_str(), 0711));
    const struct timespec times[2] = {{1000000001, 0}, {1234567890, 5}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, (tree / "from/empty").c_str(), times, 0));
    ASSERT_EQ(0, utimensat(AT_FDCWD, (tree / "from").c_str(), times, 0));
    ASSERT_TRUE(copyTree(tree / "from", tree / "to"));
    ASSERT_TRUE(commit());
    for (const char* const name : {"to", "to/empty"}) {
        EXPECT_EQ(1234567890, statusOf(tree / name).st_mtim.tv_sec) << name;
        EXPECT_EQ(5, statusOf(tree / name).st_mtim.tv_nsec) << name;
    }
    EXPECT_EQ(01750U, statusOf(tree / "to").st_mode & 07777);
    EXPECT_EQ(0711U, statusOf(tree / "to/empty").st_mode & 07777);
    char value[16] = {};
    EXPECT_EQ(4, getxattr((tree / "to").c_str(), "user.note", value, sizeof value));
}

TEST_F(LinuxDiskTest, WhatHasNoContentIsMadeAnewAndNeverOpened) {
    ASSERT_EQ(0, mkfifo((tree / "fifo").c_str(), 0640));
    const int listening = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    // The folder may be deeper than a socket's address is long, so it is bound from inside.
    const int here = open(".", O_PATH | O_DIRECTORY);
    ASSERT_EQ(0, chdir(tree.root().c_str()));
    std::strcpy(address.sun_path, "socket");
    ASSERT_EQ(0, bind(listening, reinterpret_cast<struct sockaddr*>(&address), sizeof address));
    ASSERT_EQ(0, fchdir(here));
    ::close(here);
    ASSERT_TRUE(copy("fifo", "fifo2"));
    ASSERT_TRUE(copy("socket", "socket2"));
    ASSERT_TRUE(commit());
    ::close(listening);
    EXPECT_TRUE(S_ISFIFO(statusOf(tree / "fifo2").st_mode));
    EXPECT_EQ(0640U, statusOf(tree / "fifo2").st_mode & 07777);
    EXPECT_TRUE(S_ISSOCK(statusOf(tree / "socket2").st_mode));
}

TEST_F(LinuxDiskTest, AFifoKeepsItsAccessListWithWhichItsModeGivesTheGroupNothing) {
    // What an access list lets others do shows in the mode as rights of the group.
    const unsigned char list[] = {2,    0, 0, 0,                       //
                                  0x01, 0, 6, 0, 255, 255, 255, 255,   // the owner: rw
                                  0x02, 0, 6, 0, 1,   0,   0,   0,     // user 1: rw
                                  0x04, 0, 0, 0, 255, 255, 255, 255,   // the group: nothing
                                  0x10, 0, 6, 0, 255, 255, 255, 255,   // the mask: rw
                                  0x20, 0, 0, 0, 255, 255, 255, 255};  // others: nothing
    constexpr const char* kList = "system.posix_acl_access";
    ASSERT_EQ(0, mkfifo((tree / "from").c_str(), 0600));
    if (setxattr((tree / "from").c_str(), kList, list, sizeof list, 0) != 0) {
        ASSERT_EQ(EOPNOTSUPP, errno) << std::strerror(errno);
        GTEST_SKIP() << "the file system of the tests' folder keeps no access lists";
    }
    ASSERT_TRUE(copy("from", "to"));
    ASSERT_TRUE(commit());
    unsigned char kept[128] = {};
    ASSERT_EQ(static_cast<ssize_t>(sizeof list),
              getxattr((tree / "to").c_str(), kList, kept, sizeof kept));
    EXPECT_EQ(0, std::memcmp(list, kept, sizeof list));
    EXPECT_EQ(0660U, statusOf(tree / "to").st_mode & 07777);
}

TEST_F(LinuxDiskTest, ADeviceIsMadeAnewWhereThatIsAllowedAndElseAClearError) {
    if (geteuid() == 0 && mknod((tree / "null").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0) {
        ASSERT_TRUE(copy("null", "copy"));
        ASSERT_TRUE(commit());
        EXPECT_TRUE(S_ISCHR(statusOf(tree / "copy").st_mode));
        EXPECT_EQ(makedev(1, 3), statusOf(tree / "copy").st_rdev);
        return;
    }
    const std::wstring target = wide(tree / "copy");
    EXPECT_FALSE(transactions::CopyFileTransactedW(L"/dev/null", target.c_str(), nullptr, nullptr,
                                                   nullptr, COPY_FILE_COPY_SYMLINK, transaction));
    EXPECT_EQ(ERROR_ACCESS_DENIED, os().GetLastError());
}

TEST_F(LinuxDiskTest, LinksAreCopiedAsTheyAreAndNeverFollowed) {
    tree.write("outside/canary", "alive");
    tree.makeDirectory("from");
    std::filesystem::create_symlink("canary", tree / "from/dangling");
    std::filesystem::create_symlink("../outside/canary", tree / "from/file");
    ASSERT_TRUE(copyTree(tree / "from", tree / "to"));
    ASSERT_TRUE(commit());
    EXPECT_EQ("canary", std::filesystem::read_symlink(tree / "to/dangling"));
    EXPECT_EQ("../outside/canary", std::filesystem::read_symlink(tree / "to/file"));
}

TEST_F(LinuxDiskTest, DeletingATreeLeavesTheTargetsOfItsLinks) {
    tree.write("outside/canary", "alive");
    tree.write("old/file", "x");
    std::filesystem::create_directory_symlink(tree / "outside", tree / "old/link");
    std::filesystem::create_symlink(tree / "outside/canary", tree / "old/filelink");
    ASSERT_TRUE(remove(tree / "old"));
    ASSERT_TRUE(commit());
    EXPECT_FALSE(tree.exists("old"));
    EXPECT_EQ("alive", tree.read("outside/canary"));
}

TEST_F(LinuxDiskTest, ADestinationThatIsALinkIsReplacedAndItsTargetStays) {
    tree.write("target/canary", "alive");
    tree.write("target/sub/other", "alive");
    tree.write("from/file", "new");
    std::filesystem::create_directory_symlink(tree / "target", tree / "to");
    ASSERT_TRUE(remove(tree / "to"));
    ASSERT_TRUE(copyTree(tree / "from", tree / "to"));
    ASSERT_TRUE(commit());
    EXPECT_TRUE(S_ISDIR(statusOf(tree / "to").st_mode));
    EXPECT_EQ("new", tree.read("to/file"));
    EXPECT_EQ("alive", tree.read("target/canary"));
    EXPECT_EQ("alive", tree.read("target/sub/other"));
    EXPECT_FALSE(tree.exists("target/file"));
}

TEST_F(LinuxDiskTest, WhatLiesBehindALoopOfLinksIsNotCalledGone) {
    // Deliberate: a rival may break the loop at any time, and then the tree is there after all. Who
    // was told that it is not would report a deletion that never was, or copy into what is there.
    std::filesystem::create_symlink("loop", tree / "loop");
    WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_FALSE(transactions::GetFileAttributesTransactedW(
        wide(tree / "loop/tree").c_str(), GetFileExInfoStandard, &data, transaction));
    EXPECT_EQ(ERROR_CANT_RESOLVE_FILENAME, os().GetLastError());
    std::filesystem::remove(tree / "loop");
    tree.write("loop/tree/file", "x");
    EXPECT_FALSE(commit());
    EXPECT_EQ(ERROR_CANT_RESOLVE_FILENAME, os().GetLastError());
    EXPECT_EQ("x", tree.read("loop/tree/file"));
}

TEST_F(LinuxDiskTest, ASourceThatIsALinkIsCopiedThrough) {
    tree.write("target/file", "content");
    std::filesystem::create_directory_symlink("target", tree / "from");
    ASSERT_TRUE(copyTree(tree / "from", tree / "to"));
    ASSERT_TRUE(commit());
    EXPECT_EQ("content", tree.read("to/file"));
}

TEST_F(LinuxDiskTest, NamesAreBytesAndSurvive) {
    const std::string odd[] = {"back\\slash", "stray\xFF\xC3", "\xEF\x81\x9C", "line\nfeed",
                               "\xC3\xA4 ok", "..odd",         "a*b?c"};
    for (const std::string& name : odd) {
        tree.write("from/" + name + "/" + name, name);
    }
    ASSERT_TRUE(copyTree(tree / "from", tree / "to"));
    ASSERT_TRUE(commit());
    EXPECT_EQ(std::size(odd) * 2, tree.snapshot("to").size());
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    wchar_t name[] = L"test";
    close();
    transaction = transactions::CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, name);
    ASSERT_TRUE(remove(tree / "to"));
    ASSERT_TRUE(commit());
    EXPECT_FALSE(tree.exists("to"));
}

TEST_F(LinuxDiskTest, ANameThatNoBytesCanHoldIsRefused) {
    tree.write("from", "content");
    transactions::Disk& disk = transactions::systemDisk();
    transactions::DirectoryPtr root;
    transactions::DirectoryPtr none;
    std::wstring canonical;
    ASSERT_EQ(0U, disk.openDirectory(tree.root().generic_wstring(), root, canonical));
    const auto before = tree.snapshot();
    const std::wstring good = L"from";
    // Half a pair of surrogates.
    const std::wstring bad = {L'a', static_cast<wchar_t>(0xD800)};
    const DWORD refused = ERROR_INVALID_NAME;
    transactions::Kind kind{};
    EXPECT_EQ(refused, disk.openDirectory(canonical + L'/' + bad, none, canonical));
    EXPECT_EQ(refused, disk.openBelow(root, bad, transactions::Links::Refuse, none));
    EXPECT_EQ(refused, disk.describe(root, bad, kind, nullptr));
    EXPECT_EQ(refused, disk.makeDirectory(root, bad));
    EXPECT_EQ(refused, disk.copyFile(root, bad, root, L"to", transactions::Links::Refuse, nullptr));
    EXPECT_EQ(refused, disk.copyFile(root, good, root, bad, transactions::Links::Refuse, nullptr));
    EXPECT_EQ(refused, disk.makeLink(root, bad, L"from", false));
    EXPECT_EQ(refused, disk.makeLink(root, L"to", bad.c_str(), false));
    EXPECT_EQ(refused, disk.removeFile(root, bad));
    EXPECT_EQ(refused, disk.removeDirectory(root, bad));
    EXPECT_EQ(refused, disk.rename(root, bad, root, L"to"));
    EXPECT_EQ(refused, disk.rename(root, good, root, bad));
    EXPECT_EQ(refused, disk.exchange(root, bad, root, good));
    EXPECT_EQ(refused, disk.exchange(root, good, root, bad));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(LinuxDiskTest, AStageIsPrivateWhateverTheMaskSays) {
    const mode_t mask = umask(0);
    EXPECT_TRUE(makeDirectory("to"));
    umask(mask);
    int found = 0;
    for (const auto& entry : std::filesystem::directory_iterator(tree.root())) {
        ++found;
        EXPECT_EQ(01700U, statusOf(entry.path()).st_mode & 07777);
        EXPECT_EQ(38U, entry.path().filename().native().size());
    }
    EXPECT_EQ(1, found);
}

TEST_F(LinuxDiskTest, AWalkHoldsFewDescriptorsAndTheEndNone) {
    constexpr int kFolders = 300;
    std::string deep = "from";
    for (int i = 0; i < kFolders; ++i) {
        tree.makeDirectory("from/flat" + std::to_string(i));
        deep += "/d";
    }
    tree.write(deep + "/file", "x");
    const int before = openDescriptors();
    ASSERT_TRUE(copyTree(tree / "from", tree / "to"));
    EXPECT_LT(openDescriptors() - before, 60);
    ASSERT_TRUE(commit());
    EXPECT_EQ(before, openDescriptors());
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
}

TEST_F(LinuxDiskTest, ATreeDeeperThanAPathMayBeLongIsCopiedAndRemoved) {
    // 40 levels of 200 characters: no single call of the system takes such a path.
    const std::string level(200, 'n');
    int at = open(tree.root().c_str(), O_RDONLY | O_DIRECTORY);
    const auto down = [&](const char* name) {
        ASSERT_EQ(0, mkdirat(at, name, 0755));
        const int next = openat(at, name, O_RDONLY | O_DIRECTORY);
        ::close(at);
        at = next;
    };
    down("from");
    for (int i = 0; i < 40; ++i) {
        down(level.c_str());
    }
    ::close(openat(at, "file", O_WRONLY | O_CREAT, 0644));
    ::close(at);
    ASSERT_TRUE(copyTree(tree / "from", tree / "to"));
    ASSERT_TRUE(commit());
    at = open((tree / "to").c_str(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < 40; ++i) {
        const int next = openat(at, level.c_str(), O_RDONLY | O_DIRECTORY);
        ASSERT_GE(next, 0) << i;
        ::close(at);
        at = next;
    }
    struct stat status {};
    EXPECT_EQ(0, fstatat(at, "file", &status, 0));
    ::close(at);
    wchar_t name[] = L"test";
    for (const char* const top : {"from", "to"}) {
        close();
        transaction = transactions::CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, name);
        ASSERT_TRUE(remove(tree / top));
        ASSERT_TRUE(commit());
    }
    EXPECT_TRUE(tree.snapshot().empty());
}

TEST_F(LinuxDiskTest, ADirectoryWithoutTheRightToChangeItIsRefusedAtOnce) {
    if (geteuid() == 0) {
        // Root may do everything, so the question is put as another user.
        const pid_t child = fork();
        if (child == 0) {
            if (chmod(tree.root().c_str(), 0777) != 0 || seteuid(54321) != 0) {
                _exit(1);
            }
            tree.write("mine/file", "x");
            if (chmod((tree / "mine").c_str(), 0555) != 0) {
                _exit(2);
            }
            const bool removed = transactions::DeleteFileTransactedW(
                                     wide(tree / "mine/file").c_str(), transaction) != FALSE;
            const bool right = !removed && os().GetLastError() == ERROR_ACCESS_DENIED;
            _exit(right && tree.read("mine/file") == "x" ? 0 : 3);
        }
        int status = 0;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, WEXITSTATUS(status));
        EXPECT_TRUE(WIFEXITED(status));
        return;
    }
    tree.write("mine/file", "x");
    ASSERT_EQ(0, chmod((tree / "mine").c_str(), 0555));
    EXPECT_FALSE(
        transactions::DeleteFileTransactedW(wide(tree / "mine/file").c_str(), transaction));
    EXPECT_EQ(ERROR_ACCESS_DENIED, os().GetLastError());
    ASSERT_EQ(0, chmod((tree / "mine").c_str(), 0755));
}

TEST_F(LinuxDiskTest, ACopyLendsNobodysRightsButThoseOfItsSource) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "files of another user need root";
    }
    tree.write("from/lent", "x");
    const std::string source = tree / "from/lent";
    const auto modeOf = [&](const std::string& path) {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
    };
    ASSERT_EQ(0, chown(source.c_str(), 54320, 54320));
    ASSERT_EQ(0, chmod(source.c_str(), 06755));
    ASSERT_TRUE(transactions::CopyFileTransactedW(wide(source).c_str(),
                                                  wide(tree / "byRoot").c_str(), nullptr, nullptr,
                                                  nullptr, 0, transaction));
    ASSERT_TRUE(commit());
    EXPECT_EQ(06755U, modeOf(tree / "byRoot"));
    const pid_t child = fork();
    if (child == 0) {
        wchar_t name[] = L"test";
        if (chmod(tree.root().c_str(), 0777) != 0 || setegid(54321) != 0 || seteuid(54321) != 0) {
            _exit(1);
        }
        const HANDLE own = transactions::CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, name);
        const bool copied = transactions::CopyFileTransactedW(
                                wide(source).c_str(), wide(tree / "byAnother").c_str(), nullptr,
                                nullptr, nullptr, 0, own) != FALSE &&
                            transactions::CommitTransaction(own) != FALSE;
        _exit(copied ? 0 : 2);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ(0755U, modeOf(tree / "byAnother"));
}

TEST_F(LinuxDiskTest, ADirectoryThatItsOwnerMayNotWriteIsReplaced) {
    const pid_t child = fork();
    if (child == 0) {
        // As a user to whom modes matter.
        if (geteuid() == 0 && (chmod(tree.root().c_str(), 0777) != 0 || seteuid(54321) != 0)) {
            _exit(1);
        }
        tree.write("from/file", "new");
        tree.makeDirectory("to");
        if (chmod((tree / "from").c_str(), 0555) != 0 || chmod((tree / "to").c_str(), 0555) != 0) {
            _exit(2);
        }
        const bool done = remove(tree / "to") && copyTree(tree / "from", tree / "to") && commit();
        const bool right = done && tree.read("to/file") == "new" &&
                           (statusOf(tree / "to").st_mode & 07777) == 0555;
        _exit(chmod((tree / "from").c_str(), 0755) == 0 &&
                      chmod((tree / "to").c_str(), 0755) == 0 && right
                  ? 0
                  : 3);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
}

TEST_F(LinuxDiskTest, ALargeFileIsCopiedPieceByPiece) {
    // Beyond what is kept in memory while it is on its way to the disk.
    std::string content(50U << 20, '\0');
    for (std::size_t i = 0; i < content.size(); i += 4093) {
        content[i] = static_cast<char>(i);
    }
    tree.write("from", content);
    ASSERT_TRUE(copy("from", "to"));
    ASSERT_TRUE(commit());
    EXPECT_TRUE(content == tree.read("to"));
}

TEST_F(LinuxDiskTest, AFileOfAnotherModeAfterTheFirstOneKeepsItsMode) {
    const mode_t modes[] = {0600, 0644, 0666, 0777, 0400, 04755, 0000};
    for (const mode_t mode : modes) {
        const std::string name = "from/" + std::to_string(mode);
        tree.write(name, "x");
        ASSERT_EQ(0, chmod((tree / name).c_str(), mode));
    }
    ASSERT_TRUE(makeDirectory("to"));
    for (const mode_t mode : modes) {
        // Another user than root cannot read the last one.
        if (mode != 0 || geteuid() == 0) {
            ASSERT_TRUE(copy("from/" + std::to_string(mode), "to/" + std::to_string(mode)));
        }
    }
    ASSERT_TRUE(commit());
    for (const auto& entry : std::filesystem::directory_iterator(tree / "to")) {
        EXPECT_EQ(entry.path().filename(), std::to_string(statusOf(entry.path()).st_mode & 07777));
    }
}

TEST_F(LinuxDiskTest, AListingBeginsAtTheBeginningWhateverItsDescriptorHasSeen) {
    tree.makeDirectory("late");
    const auto directory =
        std::make_shared<LinuxDirectory>(Descriptor(open((tree / "late").c_str(), O_RDONLY)));
    // To the end of what is there now, as a file system does by itself that settles it at the
    // opening.
    char buffer[1024];
    while (syscall(SYS_getdents64, directory->get(), buffer, sizeof buffer) > 0) {
    }
    tree.write("late/comer", "");
    std::unique_ptr<transactions::Listing> listing;
    ASSERT_EQ(ERROR_SUCCESS, listDirectory(directory, Purpose::Reading, listing));
    transactions::Record record;
    ASSERT_EQ(ERROR_SUCCESS, listing->next(record));
    EXPECT_EQ(L"comer", record.name);
    EXPECT_EQ(ERROR_NO_MORE_FILES, listing->next(record));
}

/// A directory's names as a listing tells them until its end.
std::set<std::wstring> namesOf(transactions::Listing& listing) {
    std::set<std::wstring> result;
    transactions::Record record;
    DWORD error = ERROR_SUCCESS;
    while ((error = listing.next(record)) == ERROR_SUCCESS) {
        result.insert(record.name);
    }
    EXPECT_EQ(DWORD{ERROR_NO_MORE_FILES}, error);
    return result;
}

TEST_F(LinuxDiskTest, ADirectoryThatWasListedIsEmptiedWithoutBeingListedAgain) {
    tree.write("old/a", "a");
    tree.write("old/\xff\xfe", "no text");
    tree.makeDirectory("old/sub");
    ASSERT_EQ(0, ::symlink("nowhere", (tree / "old/link").c_str()));
    LinuxDisk disk;
    transactions::DirectoryPtr directory;
    std::wstring canonical;
    ASSERT_EQ(0U, disk.openDirectory(tree.wide("old"), directory, canonical));
    std::unique_ptr<transactions::Listing> listing;
    ASSERT_EQ(0U, disk.list(directory, listing));
    EXPECT_EQ(4U, namesOf(*listing).size());
    std::uint64_t number = 0;
    std::string entries;
    ASSERT_TRUE(listing->tellAll(number, entries));
    EXPECT_EQ(statusOf(tree / "old").st_ino, number);

    transactions::ListedBefore before;
    before.add(number, entries);
    tree.write("old/late", "late");
    std::filesystem::remove(tree / "old/a");
    ASSERT_EQ(0U, disk.listForRemoval(directory, before, listing));
    EXPECT_EQ(0U, before.size());
    EXPECT_EQ(std::set<std::wstring>{L"sub"}, namesOf(*listing));
    // What came since shows that it did not look.
    EXPECT_EQ((std::map<std::string, std::string>{{"late", "file late"}, {"sub", "dir"}}),
              tree.snapshot("old"));
    ASSERT_EQ(0U, disk.listForRemoval(directory, before, listing));
    EXPECT_EQ(std::set<std::wstring>{L"sub"}, namesOf(*listing));
    EXPECT_EQ((std::map<std::string, std::string>{{"sub", "dir"}}), tree.snapshot("old"));
}

TEST_F(LinuxDiskTest, LookingThroughATreeThatMayGoIsNoAccessToIt) {
    tree.write("old/sub/file", "x");
    const struct timespec times[2] = {{1000, 0}, {2000, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree / "old/sub").c_str(), times, 0));
    transactions::Transaction own(transactions::systemDisk());
    ASSERT_EQ(0U, transactions::testing::deleteIfThere(own, tree.wide("old")));
    own.rollBack();
    EXPECT_EQ(1000, statusOf(tree / "old/sub").st_atim.tv_sec);
}

TEST_F(LinuxDiskTest, ATreeOfAnothersIsLookedThroughAllTheSame) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can make somebody else's tree";
    }
    tree.write("old/sub/deep/file", "x");
    tree.write("old/other/file", "y");
    constexpr uid_t kUser = 54321;
    // The user may change the tree, but the directories in it are not his.
    ASSERT_EQ(0, ::chmod(tree.root().c_str(), 0777));
    for (const char* const name : {"old", "old/sub", "old/sub/deep", "old/other"}) {
        ASSERT_EQ(0, ::chmod((tree / name).c_str(), 0777));
    }
    const pid_t child = ::fork();
    if (child == 0) {
        bool isDone = ::setresuid(kUser, kUser, kUser) == 0;
        transactions::Transaction own(transactions::systemDisk());
        isDone = isDone && transactions::testing::deleteIfThere(own, tree.wide("old")) == 0 &&
                 transactions::testing::commit(own) == 0;
        ::_exit(isDone ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ((std::map<std::string, std::string>{}), tree.snapshot());
}

TEST_F(LinuxDiskTest, ADirectoryThatTakesMoreThanOneLookToListIsNotRemembered) {
    for (int i = 0; i < 3000; ++i) {
        tree.write("large/a-rather-long-name-for-a-file-" + std::to_string(i), "");
    }
    LinuxDisk disk;
    transactions::DirectoryPtr directory;
    std::wstring canonical;
    ASSERT_EQ(0U, disk.openDirectory(tree.wide("large"), directory, canonical));
    std::unique_ptr<transactions::Listing> listing;
    ASSERT_EQ(0U, disk.list(directory, listing));
    EXPECT_EQ(3000U, namesOf(*listing).size());
    std::uint64_t number = 0;
    std::string entries;
    EXPECT_FALSE(listing->tellAll(number, entries));
}

TEST_F(LinuxDiskTest, AKilledProcessLeavesNothingBehindOnceTheNextHasLooked) {
    for (int files = 0; files < 10; ++files) {
        tree.write("from/" + std::to_string(files), "new");
        tree.write("to/" + std::to_string(files), "old");
    }
    const auto before = tree.snapshot("to");
    const pid_t child = fork();
    if (child == 0) {
        if (remove(tree / "to") && copyTree(tree / "from", tree / "to")) {
            raise(SIGKILL);
        }
        _exit(1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(before, tree.snapshot("to"));
    EXPECT_EQ(3, std::distance(std::filesystem::directory_iterator(tree.root()), {}));
    WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_TRUE(transactions::GetFileAttributesTransactedW(
        wide(tree / "to").c_str(), GetFileExInfoStandard, &data, transaction));
    EXPECT_EQ(2, std::distance(std::filesystem::directory_iterator(tree.root()), {}));
}

TEST_F(LinuxDiskTest, APlantedStageIsNeverFollowed) {
    tree.write("outside/canary", "alive");
    std::filesystem::create_directory_symlink(tree / "outside",
                                              tree / ".kest-0123456789abcdef0123456789abcdef");
    tree.makeDirectory(".kest-ffffffffffffffffffffffffffffffff");
    ASSERT_EQ(0, chmod((tree / ".kest-ffffffffffffffffffffffffffffffff").c_str(), 0777));
    tree.write(".kest-ffffffffffffffffffffffffffffffff/file", "planted");
    WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_TRUE(transactions::GetFileAttributesTransactedW(
        wide(tree / "outside").c_str(), GetFileExInfoStandard, &data, transaction));
    EXPECT_EQ("alive", tree.read("outside/canary"));
    EXPECT_TRUE(tree.exists(".kest-ffffffffffffffffffffffffffffffff/file"));
}

}  // namespace
}  // namespace Tallowmere::platform
