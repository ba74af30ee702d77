// Which manager answers the transacted calls.

#include "kest/platform/windows/KernelTransactions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/HandleTable.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/platform/transactions/Disk.h"
#include "kest/platform/transactions/SystemDisk.h"
#include "kest/platform/windows/EitherTransaction.h"
#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/WindowsPaths.h"
#include "kest/platform/windows/testing/TreeTransaction.h"
#include "kest/platform/windows/testing/WatchedDisk.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere::platform::kernel {
namespace {

using testing::TempTree;

const std::vector<std::string> kLookedUp = {
    "GetFileAttributesTransactedW", "FindFirstFileTransactedW",      "CreateDirectoryTransactedW",
    "CopyFileTransactedW",          "CreateSymbolicLinkTransactedW", "DeleteFileTransactedW",
    "RemoveDirectoryTransactedW"};

/// A system that has the calls, in which each one tells that it was made.
namespace fake {

struct Volume {
    std::wstring root;  ///< as GetVolumePathNameW gives it
    DWORD flags = FILE_SUPPORTS_TRANSACTIONS | FILE_CASE_PRESERVED_NAMES;
    UINT drive = DRIVE_FIXED;
    bool tellsItsRoot = true;
    bool tellsItsFlags = true;
};

std::vector<std::string> g_made;
std::set<std::string> g_missing;
/// What a search gives first.
const wchar_t* g_found = L".";
std::vector<Volume> g_volumes;
int g_asked;
bool g_isInService;
const HANDLE kTransaction = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(0x1234));
const HANDLE kSearch = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(0x4568));

std::string narrow(const wchar_t* text) {
    const std::wstring wide = text == nullptr ? L"null" : text;
    return {wide.begin(), wide.end()};
}

HANDLE WINAPI create(SECURITY_ATTRIBUTES*, GUID*, DWORD, DWORD, DWORD, DWORD timeout,
                     wchar_t* description) {
    g_made.push_back("create " + narrow(description) + " " + std::to_string(timeout));
    ::SetLastError(ERROR_SERVICE_DISABLED);
    return g_isInService ? kTransaction : INVALID_HANDLE_VALUE;
}
BOOL WINAPI commit(HANDLE transaction) {
    g_made.push_back("commit");
    return transaction == kTransaction ? 7 : 0;
}
BOOL WINAPI close(HANDLE transaction) {
    g_made.push_back(transaction == kTransaction ? "close" : "close another");
    ::SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}
BOOL WINAPI attributes(const wchar_t* path, GET_FILEEX_INFO_LEVELS, void*, HANDLE transaction) {
    g_made.push_back("attributes " + narrow(path));
    return transaction == kTransaction ? 7 : 0;
}
HANDLE WINAPI find(const wchar_t* pattern, FINDEX_INFO_LEVELS, void* data, FINDEX_SEARCH_OPS, void*,
                   DWORD flags, HANDLE transaction) {
    std::wcscpy(static_cast<WIN32_FIND_DATAW*>(data)->cFileName, g_found);
    g_made.push_back("find " + narrow(pattern) + " " + std::to_string(flags));
    return transaction == kTransaction ? kSearch : INVALID_HANDLE_VALUE;
}
BOOL WINAPI makeDirectory(const wchar_t* pattern, const wchar_t* path, SECURITY_ATTRIBUTES*,
                          HANDLE transaction) {
    g_made.push_back("directory " + narrow(pattern) + " " + narrow(path));
    return transaction == kTransaction ? 7 : 0;
}
BOOL WINAPI copy(const wchar_t* source, const wchar_t* destination, LPPROGRESS_ROUTINE, void*,
                 BOOL*, DWORD flags, HANDLE transaction) {
    g_made.push_back("copy " + narrow(source) + " " + narrow(destination) + " " +
                     std::to_string(flags));
    return transaction == kTransaction ? 7 : 0;
}
BOOLEAN WINAPI link(const wchar_t* path, const wchar_t* target, DWORD flags, HANDLE transaction) {
    g_made.push_back("link " + narrow(path) + " " + narrow(target) + " " + std::to_string(flags));
    return transaction == kTransaction ? BOOLEAN{7} : BOOLEAN{0};
}
BOOL WINAPI removeFile(const wchar_t* path, HANDLE transaction) {
    g_made.push_back("file " + narrow(path));
    return transaction == kTransaction ? 7 : 0;
}
BOOL WINAPI removeDirectory(const wchar_t* path, HANDLE transaction) {
    g_made.push_back("remove " + narrow(path));
    return transaction == kTransaction ? 7 : 0;
}

/// The volume with the longest root in front of a path; null when there is none.
const Volume* volumeOf(const std::wstring& path) {
    const Volume* found = nullptr;
    for (const Volume& volume : g_volumes) {
        if ((path + L"\\").compare(0, volume.root.size(), volume.root) == 0 &&
            (found == nullptr || volume.root.size() > found->root.size())) {
            found = &volume;
        }
    }
    return found;
}
BOOL WINAPI volumePath(const wchar_t* path, wchar_t* root, DWORD size) {
    ++g_asked;
    const Volume* const volume = volumeOf(path);
    if (volume == nullptr || !volume->tellsItsRoot) {
        ::SetLastError(ERROR_PATH_NOT_FOUND);
        return FALSE;
    }
    EXPECT_LT(volume->root.size(), size);
    std::wcscpy(root, volume->root.c_str());
    return TRUE;
}
UINT WINAPI driveType(const wchar_t* root) {
    const Volume* const volume = volumeOf(root);
    return volume == nullptr ? DRIVE_NO_ROOT_DIR : volume->drive;
}
BOOL WINAPI volumeInformation(const wchar_t* root, wchar_t*, DWORD, DWORD*, DWORD*, DWORD* flags,
                              wchar_t*, DWORD) {
    const Volume* const volume = volumeOf(root);
    EXPECT_TRUE(volume != nullptr && volume->root == root);
    *flags = volume->flags;
    ::SetLastError(ERROR_NOT_READY);
    return volume->tellsItsFlags;
}

FARPROC finder(const char* name) {
    const auto answer = [](auto* call) {
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(call));
    };
    const std::string wanted = name;
    if (g_missing.count(wanted) != 0) {
        return nullptr;
    }
    const FARPROC calls[] = {answer(&attributes),     answer(&find), answer(&makeDirectory),
                             answer(&copy),           answer(&link), answer(&removeFile),
                             answer(&removeDirectory)};
    for (std::size_t i = 0; i < kLookedUp.size(); ++i) {
        if (wanted == kLookedUp[i]) {
            return calls[i];
        }
    }
    ADD_FAILURE() << "looked up: " << wanted;
    return nullptr;
}

}  // namespace fake

using Made = std::vector<std::string>;

class KernelTransactions : public ::testing::Test {
protected:
    KernelTransactions() {
        fake::g_made.clear();
        fake::g_missing.clear();
        fake::g_volumes.clear();
        fake::g_asked = 0;
        fake::g_isInService = true;
        fake::g_found = L".";
    }
    ~KernelTransactions() override {
        setSystemCalls(nullptr);
        EXPECT_EQ(m_either, openHandles(HandleKind::EitherTransaction));
        EXPECT_EQ(m_ours, openHandles(HandleKind::Transaction));
    }
    /// From here on the system has the calls but for those that are missing.
    void install(const std::set<std::string>& missing = {}) {
        fake::g_missing = missing;
        calls = findSystemCalls(&fake::finder);
        calls.CreateTransaction = &fake::create;
        calls.CommitTransaction = &fake::commit;
        calls.CloseHandle = &fake::close;
        calls.GetVolumePathNameW = &fake::volumePath;
        calls.GetDriveTypeW = &fake::driveType;
        calls.GetVolumeInformationW = &fake::volumeInformation;
        setSystemCalls(&calls);
    }
    /// The same, and the tree stands on a volume that has transactions or has none.
    void installOn(bool hasTransactions) {
        install();
        addVolume(driveOf(tree.wide("x")), hasTransactions);
    }
    static fake::Volume& addVolume(const std::wstring& root, bool hasTransactions) {
        fake::Volume volume;
        volume.root = root;
        if (!hasTransactions) {
            volume.flags = FILE_CASE_PRESERVED_NAMES;
        }
        return fake::g_volumes.emplace_back(volume);
    }
    /// The root of a path's drive, as the system is asked for it.
    static std::wstring driveOf(const std::wstring& path) { return L"\\\\?\\" + path.substr(0, 3); }
    static HANDLE create() {
        wchar_t description[] = L"test";
        return os().CreateTransaction(nullptr, nullptr, 0, 0, 0, 9, description);
    }
    static BOOL ask(HANDLE transaction, const std::wstring& path) {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        return os().GetFileAttributesTransactedW(path.c_str(), GetFileExInfoStandard, &data,
                                                 transaction);
    }
    static HANDLE search(HANDLE transaction, const std::wstring& pattern) {
        WIN32_FIND_DATAW data{};
        return os().FindFirstFileTransactedW(pattern.c_str(), FindExInfoStandard, &data,
                                             FindExSearchNameMatch, nullptr, 0, transaction);
    }
    static BOOL makeDirectory(HANDLE transaction, const std::wstring& path) {
        return os().CreateDirectoryTransactedW(nullptr, path.c_str(), nullptr, transaction);
    }
    /// Whether the system has all the calls.
    static bool areAllThere() {
        const HMODULE module = ::GetModuleHandleW(L"kernel32.dll");
        return std::all_of(kLookedUp.begin(), kLookedUp.end(), [&](const std::string& name) {
            return ::GetProcAddress(module, name.c_str()) != nullptr;
        });
    }
    std::string path(const std::string& relative) const {
        return fake::narrow(tree.wide(relative).c_str());
    }

    TempTree tree;
    SystemCalls calls{};

private:
    // Committed transactions of other tests in this process stay open.
    const int m_either = openHandles(HandleKind::EitherTransaction);
    const int m_ours = openHandles(HandleKind::Transaction);
};

TEST_F(KernelTransactions, AreCompleteOnlyWithAllSeven) {
    EXPECT_TRUE(findSystemCalls(&fake::finder).isComplete());
    for (const std::string& name : kLookedUp) {
        fake::g_missing = {name};
        EXPECT_FALSE(findSystemCalls(&fake::finder).isComplete()) << name;
    }
    fake::g_missing = {kLookedUp.begin(), kLookedUp.end()};
    EXPECT_FALSE(findSystemCalls(&fake::finder).isComplete());
}

TEST_F(KernelTransactions, AnswerEachCallOnceAVolumeThatHasThemIsChanged) {
    install();
    addVolume(L"\\\\?\\C:\\", true);
    const HANDLE transaction = create();
    EXPECT_EQ(HandleKind::EitherTransaction, handleKind(transaction));
    EXPECT_EQ(7, os().CreateDirectoryTransactedW(nullptr, L"C:\\c", nullptr, transaction));
    const int asked = fake::g_asked;
    EXPECT_EQ(7, ask(transaction, L"a"));
    WIN32_FIND_DATAW data{};
    EXPECT_EQ(fake::kSearch,
              os().FindFirstFileTransactedW(L"b\\*", FindExInfoStandard, &data,
                                            FindExSearchNameMatch, nullptr, 2, transaction));
    EXPECT_EQ(7,
              os().CopyFileTransactedW(L"d", L"e", nullptr, nullptr, nullptr, 0x800, transaction));
    EXPECT_EQ(7, os().CreateSymbolicLinkTransactedW(L"f", L"g", 1, transaction));
    EXPECT_EQ(7, os().DeleteFileTransactedW(L"h", transaction));
    EXPECT_EQ(7, os().RemoveDirectoryTransactedW(L"i", transaction));
    EXPECT_EQ(7, os().CommitTransaction(transaction));
    EXPECT_TRUE(os().CloseHandle(transaction));
    EXPECT_EQ((Made{"create test 9", "directory null C:\\c", "attributes a", "find b\\* 2",
                    "copy d e 2048", "link f g 1", "file h", "remove i", "commit", "close"}),
              fake::g_made);
    EXPECT_EQ(asked, fake::g_asked) << "volumes are asked until the first change";
}

TEST_F(KernelTransactions, AnswerForHandlesThatAreNobodys) {
    install();
    EXPECT_EQ(0, os().CreateSymbolicLinkTransactedW(L"f", L"g", 1, nullptr));
    EXPECT_EQ(0, os().CommitTransaction(nullptr));
    EXPECT_EQ((Made{"link f g 1", "commit"}), fake::g_made);
    EXPECT_EQ(0, fake::g_asked);
}

TEST_F(KernelTransactions, GoOnInASearchThatCameBeforeTheFirstChange) {
    installOn(true);
    tree.write("file", "x");
    const HANDLE transaction = create();
    EXPECT_TRUE(ask(transaction, tree.wide("file")));
    EXPECT_FALSE(ask(transaction, tree.wide("none")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, os().GetLastError());
    EXPECT_EQ(fake::kSearch, search(transaction, tree.wide("*")));
    EXPECT_EQ(7, os().DeleteFileTransactedW(tree.wide("file").c_str(), transaction));
    EXPECT_EQ(7, ask(transaction, tree.wide("file")));
    EXPECT_TRUE(os().CloseHandle(transaction));
    EXPECT_EQ((Made{"create test 9", "find " + path("*") + " 0", "file " + path("file"),
                    "attributes " + path("file"), "close"}),
              fake::g_made);
}

TEST_F(KernelTransactions, DoNotGiveANameThatTheyWouldMisread) {
    installOn(true);
    const HANDLE transaction = create();
    for (const wchar_t* name : {L"file.", L"file ", L"NUL"}) {
        fake::g_found = name;
        EXPECT_EQ(INVALID_HANDLE_VALUE, search(transaction, tree.wide("*"))) << name;
        EXPECT_EQ(ERROR_INVALID_NAME, os().GetLastError());
        // Such a path is read as it stands.
        EXPECT_EQ(fake::kSearch, search(transaction, L"\\\\?\\" + tree.wide("*"))) << name;
    }
    for (const wchar_t* name : {L".", L"..", L".file", L"a.b", L"nullable", L"Copy", L" file"}) {
        fake::g_found = name;
        EXPECT_EQ(fake::kSearch, search(transaction, tree.wide("*"))) << name;
    }
    EXPECT_TRUE(os().CloseHandle(transaction));
}

TEST_F(KernelTransactions, StopASearchAtANameThatTheyWouldMisread) {
    std::filesystem::create_directory(tree / "folder");
    const std::wstring folder = tree.wide("folder");
    const auto file = [&](const wchar_t* name) { return L"\\\\?\\" + folder + L"\\" + name; };
    for (const wchar_t* name : {L"file", L"file."}) {
        const Handle made(
            ::CreateFileW(file(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
        ASSERT_TRUE(made);
    }
    WIN32_FIND_DATAW data{};
    const HANDLE listed = ::FindFirstFileW((folder + L"\\*").c_str(), &data);
    ASSERT_NE(INVALID_HANDLE_VALUE, listed);
    std::set<std::wstring> names;
    while (os().FindNextFileW(listed, &data)) {
        names.insert(data.cFileName);
    }
    EXPECT_EQ(ERROR_INVALID_NAME, os().GetLastError());
    EXPECT_EQ(0U, names.count(L"file."));
    ::FindClose(listed);
    for (const wchar_t* name : {L"file", L"file."}) {
        EXPECT_TRUE(::DeleteFileW(file(name).c_str()));
    }
}

TEST_F(KernelTransactions, LeaveAVolumeWithoutThemToUs) {
    installOn(false);
    tree.write("file", "x");
    const HANDLE transaction = create();
    EXPECT_TRUE(ask(transaction, tree.wide("file")));
    EXPECT_EQ(HandleKind::Search, handleKind(search(transaction, tree.wide("*"))));
    EXPECT_TRUE(makeDirectory(transaction, tree.wide("made")));
    EXPECT_TRUE(os().CopyFileTransactedW(tree.wide("file").c_str(), tree.wide("made\\b").c_str(),
                                         nullptr, nullptr, nullptr, COPY_FILE_COPY_SYMLINK,
                                         transaction));
    EXPECT_TRUE(os().DeleteFileTransactedW(tree.wide("file").c_str(), transaction));
    EXPECT_TRUE(os().CommitTransaction(transaction));
    EXPECT_TRUE(os().CloseHandle(transaction));
    EXPECT_EQ((Made{"create test 9", "close"}), fake::g_made);
    EXPECT_EQ((std::map<std::string, std::string>{{"made", "dir"}, {"made/b", "file x"}}),
              tree.snapshot());
}

/// Each call that changes something, as the first one of a transaction.
struct FirstChange {
    const char* name;
    bool (*make)(HANDLE transaction, const std::wstring& path, const std::wstring& source);
};

class FirstChangeOf : public KernelTransactions,
                      public ::testing::WithParamInterface<FirstChange> {};

TEST_P(FirstChangeOf, AVolumeDecides) {
    for (const bool hasTransactions : {true, false}) {
        fake::g_made.clear();
        fake::g_volumes.clear();
        installOn(hasTransactions);
        tree.write("source", "x");
        const HANDLE transaction = create();
        (void)GetParam().make(transaction, tree.wide("place"), tree.wide("source"));
        // Settled for good, whatever comes next.
        fake::g_volumes.clear();
        addVolume(driveOf(tree.wide("x")), !hasTransactions);
        const std::size_t made = fake::g_made.size();
        EXPECT_TRUE(makeDirectory(transaction, tree.wide("next")));
        EXPECT_EQ(made + (hasTransactions ? 1 : 0), fake::g_made.size());
        EXPECT_EQ(hasTransactions ? "directory null " + path("next") : "close",
                  fake::g_made.back());
        EXPECT_TRUE(os().CloseHandle(transaction));
        EXPECT_EQ("close", fake::g_made.back());
        EXPECT_EQ(hasTransactions ? 4U : 2U, fake::g_made.size());
        EXPECT_FALSE(tree.exists("next"));
    }
}

TEST_P(FirstChangeOf, TheDirectoryThatHoldsTheEntryIsAsked) {
    // A volume without transactions is mounted in a folder, which is an entry of the volume around.
    installOn(true);
    tree.makeDirectory("mounted");
    tree.write("source", "x");
    addVolume(L"\\\\?\\" + tree.wide("mounted") + L"\\", false);
    HANDLE transaction = create();
    (void)GetParam().make(transaction, tree.wide("mounted"), tree.wide("source"));
    EXPECT_EQ(2U, fake::g_made.size());
    EXPECT_NE("close", fake::g_made.back());
    EXPECT_TRUE(os().CloseHandle(transaction));
    fake::g_made.clear();
    transaction = create();
    (void)GetParam().make(transaction, tree.wide("mounted\\place"), tree.wide("source"));
    EXPECT_EQ((Made{"create test 9", "close"}), fake::g_made);
    EXPECT_TRUE(os().CloseHandle(transaction));
}

INSTANTIATE_TEST_SUITE_P(
    All, FirstChangeOf,
    ::testing::Values(
        FirstChange{"CreateDirectory",
                    [](HANDLE transaction, const std::wstring& path, const std::wstring&) {
                        return os().CreateDirectoryTransactedW(nullptr, path.c_str(), nullptr,
                                                               transaction) != FALSE;
                    }},
        FirstChange{"CopyFile",
                    [](HANDLE transaction, const std::wstring& path, const std::wstring& source) {
                        return os().CopyFileTransactedW(source.c_str(), path.c_str(), nullptr,
                                                        nullptr, nullptr, COPY_FILE_COPY_SYMLINK,
                                                        transaction) != FALSE;
                    }},
        FirstChange{"CreateSymbolicLink",
                    [](HANDLE transaction, const std::wstring& path, const std::wstring& source) {
                        return os().CreateSymbolicLinkTransactedW(path.c_str(), source.c_str(),
                                                                  SYMBOLIC_LINK_FLAG_DIRECTORY,
                                                                  transaction) != 0;
                    }},
        FirstChange{"DeleteFile",
                    [](HANDLE transaction, const std::wstring& path, const std::wstring&) {
                        return os().DeleteFileTransactedW(path.c_str(), transaction) != FALSE;
                    }},
        FirstChange{"RemoveDirectory",
                    [](HANDLE transaction, const std::wstring& path, const std::wstring&) {
                        return os().RemoveDirectoryTransactedW(path.c_str(), transaction) != FALSE;
                    }}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(KernelTransactions, LeaveItToUsToCopyFromAVolumeWithoutThem) {
    tree.makeDirectory("other");
    tree.write("other/file", "x");
    const std::wstring source = tree.wide("other\\file");
    for (const bool isAskedBefore : {true, false}) {
        fake::g_made.clear();
        fake::g_volumes.clear();
        installOn(true);
        addVolume(L"\\\\?\\" + tree.wide("other") + L"\\", false);
        const HANDLE transaction = create();
        if (isAskedBefore) {
            EXPECT_TRUE(ask(transaction, source));
        }
        EXPECT_TRUE(os().CopyFileTransactedW(source.c_str(), tree.wide("copy").c_str(), nullptr,
                                             nullptr, nullptr, COPY_FILE_COPY_SYMLINK,
                                             transaction));
        EXPECT_TRUE(os().CommitTransaction(transaction));
        EXPECT_TRUE(os().CloseHandle(transaction));
        EXPECT_EQ((Made{"create test 9", "close"}), fake::g_made);
        EXPECT_EQ("x", tree.read("copy"));
    }
}

TEST_F(KernelTransactions, AreNotAskedForAnotherComputer) {
    install();
    addVolume(L"\\\\?\\UNC\\nowhere.invalid\\share\\", true);
    for (const wchar_t* const path :
         {L"\\\\nowhere.invalid\\share\\dir", L"\\\\?\\UNC\\nowhere.invalid\\share\\dir"}) {
        std::wstring text;
        ASSERT_EQ(0U, paths::normalize(path, text));
        EXPECT_FALSE(hasTransactions(calls, text));
    }
    EXPECT_EQ(0, fake::g_asked);
    // A drive may be one, too, and its volume say what it would say at home.
    addVolume(L"\\\\?\\Z:\\", true).drive = DRIVE_REMOTE;
    EXPECT_FALSE(hasTransactions(calls, L"Z:"));
    EXPECT_FALSE(hasTransactions(calls, L"Z:/dir"));
    EXPECT_EQ(2, fake::g_asked);
}

TEST_F(KernelTransactions, ServeDrivesFoldersAndVolumesThatSaySo) {
    install();
    addVolume(L"\\\\?\\C:\\", true);
    addVolume(L"\\\\?\\C:\\mounted\\", false);
    addVolume(L"\\\\?\\C:\\mounted\\again\\", true);
    addVolume(L"\\\\?\\D:\\", false);
    addVolume(L"\\\\?\\Volume{1}\\", true);
    EXPECT_TRUE(hasTransactions(calls, L"C:"));
    EXPECT_TRUE(hasTransactions(calls, L"C:/mounted too"));
    EXPECT_FALSE(hasTransactions(calls, L"C:/mounted"));
    EXPECT_FALSE(hasTransactions(calls, L"C:/mounted/dir"));
    EXPECT_TRUE(hasTransactions(calls, L"C:/mounted/again/dir"));
    EXPECT_FALSE(hasTransactions(calls, L"D:"));
    EXPECT_FALSE(hasTransactions(calls, L"D:/dir/dir"));
    EXPECT_FALSE(hasTransactions(calls, L"E:/dir"));
    EXPECT_TRUE(hasTransactions(calls, L"//?/Volume{1}"));
    EXPECT_TRUE(hasTransactions(calls, L"//?/Volume{1}/dir"));
}

TEST_F(KernelTransactions, LeaveAVolumeThatCannotBeAskedToUs) {
    for (const bool tellsItsRoot : {true, false}) {
        fake::g_made.clear();
        fake::g_volumes.clear();
        installOn(true);
        fake::g_volumes[0].tellsItsRoot = tellsItsRoot;
        fake::g_volumes[0].tellsItsFlags = !tellsItsRoot;
        const HANDLE transaction = create();
        ::SetLastError(4711);
        EXPECT_TRUE(makeDirectory(transaction, tree.wide("made")));
        EXPECT_EQ(4711U, os().GetLastError()) << "the question is nobody's business";
        EXPECT_TRUE(os().CloseHandle(transaction));
        EXPECT_EQ((Made{"create test 9", "close"}), fake::g_made);
    }
}

TEST_F(KernelTransactions, LeaveWhatNamesNoPlaceToUs) {
    installOn(true);
    const HANDLE transaction = create();
    EXPECT_FALSE(
        os().RemoveDirectoryTransactedW((L"\\\\?\\\\\\?\\" + tree.wide("x")).c_str(), transaction));
    EXPECT_EQ(ERROR_INVALID_NAME, os().GetLastError());
    EXPECT_TRUE(os().CloseHandle(transaction));
    const HANDLE another = create();
    EXPECT_FALSE(os().DeleteFileTransactedW(nullptr, another));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, os().GetLastError());
    EXPECT_TRUE(os().CloseHandle(another));
    EXPECT_EQ(0, fake::g_asked);
}

TEST_F(KernelTransactions, OutOfServiceAreReplacedByOurs) {
    installOn(true);
    fake::g_isInService = false;
    const HANDLE transaction = create();
    EXPECT_EQ(HandleKind::Transaction, handleKind(transaction));
    EXPECT_TRUE(makeDirectory(transaction, tree.wide("made")));
    EXPECT_TRUE(os().CommitTransaction(transaction));
    EXPECT_TRUE(os().CloseHandle(transaction));
    EXPECT_EQ((Made{"create test 9"}), fake::g_made);
    EXPECT_TRUE(tree.exists("made"));
}

TEST_F(KernelTransactions, AreNotCommittedWhenNothingWasChanged) {
    installOn(true);
    const HANDLE transaction = create();
    EXPECT_FALSE(ask(transaction, tree.wide("none")));
    EXPECT_TRUE(os().CommitTransaction(transaction));
    EXPECT_EQ((Made{"create test 9", "close"}), fake::g_made);
    EXPECT_FALSE(makeDirectory(transaction, tree.wide("made")));
    EXPECT_EQ(ERROR_TRANSACTION_NOT_ACTIVE, os().GetLastError());
    EXPECT_TRUE(os().CloseHandle(transaction));
    EXPECT_EQ(2U, fake::g_made.size());
    EXPECT_TRUE(tree.snapshot().empty());
}

TEST_F(KernelTransactions, StayOpenForASearchUntilTheTransactionEnds) {
    tree.makeDirectory("other");
    for (const bool isCommitted : {true, false}) {
        fake::g_made.clear();
        fake::g_volumes.clear();
        installOn(true);
        addVolume(L"\\\\?\\" + tree.wide("other") + L"\\", false);
        const HANDLE transaction = create();
        EXPECT_EQ(fake::kSearch, search(transaction, tree.wide("*")));
        EXPECT_TRUE(makeDirectory(transaction, tree.wide("other\\made")));
        EXPECT_EQ(2U, fake::g_made.size());
        if (isCommitted) {
            EXPECT_TRUE(os().CommitTransaction(transaction));
            EXPECT_EQ("close", fake::g_made.back());
        }
        EXPECT_TRUE(os().CloseHandle(transaction));
        EXPECT_EQ((Made{"create test 9", "find " + path("*") + " 0", "close"}), fake::g_made);
        EXPECT_EQ(isCommitted, tree.exists("other/made"));
        std::filesystem::remove(tree / "other/made");
    }
}

TEST_F(KernelTransactions, BringAnOrphanOfOursToItsEnd) {
    installOn(true);
    transactions::Disk& disk = transactions::systemDisk();
    transactions::DirectoryPtr directory;
    std::wstring text;
    std::wstring canonical;
    ASSERT_EQ(0U, disk.normalize(tree.wide("").c_str(), text));
    ASSERT_EQ(0U, disk.openDirectory(text, directory, canonical));
    const std::string orphan = ".kest-0123456789abcdef0123456789abcdef";
    ASSERT_EQ(0U, disk.makePrivateDirectory(directory, {orphan.begin(), orphan.end()}));
    directory.reset();
    ASSERT_TRUE(tree.exists(orphan));
    const HANDLE transaction = create();
    EXPECT_FALSE(ask(transaction, tree.wide("none")));
    EXPECT_FALSE(tree.exists(orphan));
    EXPECT_TRUE(makeDirectory(transaction, tree.wide("none")));
    EXPECT_EQ("directory null " + path("none"), fake::g_made.back());
    EXPECT_TRUE(os().CloseHandle(transaction));
}

TEST_F(KernelTransactions, ChangeNothingAfterAQuestionThatCouldNotBeAnswered) {
    installOn(true);
    tree.write("file", "x");
    testing::WatchedDisk disk(transactions::systemDisk(),
                              [](const char*) { return DWORD{ERROR_SUCCESS}; });
    disk.stop();
    const testing::CurrentDisk current(disk);
    const HANDLE transaction = create();
    EXPECT_FALSE(ask(transaction, tree.wide("file")));
    EXPECT_EQ(ERROR_OPERATION_ABORTED, os().GetLastError());
    EXPECT_FALSE(os().DeleteFileTransactedW(tree.wide("file").c_str(), transaction));
    EXPECT_EQ(ERROR_OPERATION_ABORTED, os().GetLastError());
    EXPECT_FALSE(os().CommitTransaction(transaction));
    EXPECT_TRUE(os().CloseHandle(transaction));
    EXPECT_EQ((Made{"create test 9", "close"}), fake::g_made);
}

TEST_F(KernelTransactions, AreClosedOnceWithTheirTransaction) {
    installOn(true);
    const HANDLE transaction = create();
    EXPECT_TRUE(os().CloseHandle(transaction));
    EXPECT_FALSE(os().CloseHandle(transaction));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
    ::SetLastError(0);
    EXPECT_FALSE(os().CommitTransaction(transaction));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
    ::SetLastError(0);
    EXPECT_FALSE(ask(transaction, tree.wide("x")));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
    EXPECT_EQ((Made{"create test 9", "close"}), fake::g_made);
}

TEST_F(KernelTransactions, WholeTreesAreCopiedToAndFromVolumesWithoutThem) {
    tree.write("from/a", "new");
    tree.write("from/sub/b", "new");
    tree.write("to/gone", "old");
    installOn(false);
    // Deliberate: the library leaves the handle of a committed transaction open.
    std::vector<HANDLE> leftOpen;
    testing::ScopedCall<&Calls::CreateTransaction> created(
        [&](auto... arguments) { return leftOpen.emplace_back(created.original(arguments...)); });
    std::wostream nowhere(nullptr);
    Recorder::instance()->setStream(&nowhere, nullptr, false);
    CopyDirectoryTransacted(tree.wide("from"), tree.wide("to"));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    EXPECT_EQ((Made{"create CopyDirectoryTransacted 0", "close"}), fake::g_made);
    DeleteDirectoryTransacted(tree.wide("to"));
    EXPECT_FALSE(tree.exists("to"));
    // To a volume that has transactions, from one that has none.
    fake::g_volumes[0].flags |= FILE_SUPPORTS_TRANSACTIONS;
    addVolume(L"\\\\?\\" + tree.wide("from") + L"\\", false);
    CopyDirectoryTransacted(tree.wide("from"), tree.wide("to"));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    EXPECT_EQ(6U, fake::g_made.size());
    Recorder::destroy();
    for (const HANDLE transaction : leftOpen) {
        EXPECT_TRUE(os().CloseHandle(transaction));
    }
    EXPECT_EQ(6U, fake::g_made.size());
}

TEST_F(KernelTransactions, AreNotUsedWhenOneIsMissing) {
    std::vector<std::set<std::string>> lacks = {{kLookedUp.begin(), kLookedUp.end()}};
    for (const std::string& name : kLookedUp) {
        lacks.push_back({name});
    }
    for (const std::set<std::string>& missing : lacks) {
        install(missing);
        const HANDLE transaction = create();
        EXPECT_EQ(HandleKind::Transaction, handleKind(transaction)) << *missing.begin();
        EXPECT_TRUE(os().CommitTransaction(transaction));
        EXPECT_TRUE(os().CloseHandle(transaction));
    }
    EXPECT_TRUE(fake::g_made.empty());
}

TEST_F(KernelTransactions, LeaveATransactionOfOursToUs) {
    tree.write("file", "x");
    install({kLookedUp[0]});
    const HANDLE transaction = create();
    ASSERT_EQ(HandleKind::Transaction, handleKind(transaction));
    // Whatever answers new ones from now on.
    install();
    WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_TRUE(os().GetFileAttributesTransactedW(tree.wide("file").c_str(), GetFileExInfoStandard,
                                                  &data, transaction));
    WIN32_FIND_DATAW found{};
    const HANDLE search =
        os().FindFirstFileTransactedW(tree.wide("*").c_str(), FindExInfoStandard, &found,
                                      FindExSearchNameMatch, nullptr, 0, transaction);
    EXPECT_EQ(HandleKind::Search, handleKind(search));
    EXPECT_TRUE(os().FindNextFileW(search, &found));
    EXPECT_TRUE(
        os().CreateDirectoryTransactedW(nullptr, tree.wide("made").c_str(), nullptr, transaction));
    EXPECT_TRUE(os().CopyFileTransactedW(tree.wide("file").c_str(), tree.wide("made\\b").c_str(),
                                         nullptr, nullptr, nullptr, COPY_FILE_COPY_SYMLINK,
                                         transaction));
    EXPECT_FALSE(
        os().CreateSymbolicLinkTransactedW(tree.wide("file").c_str(), L"x", 1, transaction));
    EXPECT_TRUE(os().DeleteFileTransactedW(tree.wide("file").c_str(), transaction));
    EXPECT_FALSE(os().RemoveDirectoryTransactedW(tree.wide("none").c_str(), transaction));
    EXPECT_TRUE(os().CommitTransaction(transaction));
    EXPECT_TRUE(os().CloseHandle(transaction));
    EXPECT_TRUE(fake::g_made.empty());
    EXPECT_EQ((std::map<std::string, std::string>{{"made", "dir"}, {"made/b", "file x"}}),
              tree.snapshot());
}

TEST_F(KernelTransactions, AreTheOnesOfThisSystem) {
    EXPECT_EQ(areAllThere(), systemCalls() != nullptr);
    const HANDLE transaction = create();
    ASSERT_NE(INVALID_HANDLE_VALUE, transaction);
    EXPECT_EQ(areAllThere() ? HandleKind::EitherTransaction : HandleKind::Transaction,
              handleKind(transaction));
    EXPECT_TRUE(os().CloseHandle(transaction));
}

TEST_F(KernelTransactions, AVolumeOfThisSystemSaysWhatItsFilesSay) {
    // By the flags that an open file gives.
    const Handle directory = openEntry(tree.wide(""), FILE_READ_ATTRIBUTES);
    DWORD flags = 0;
    ASSERT_TRUE(::GetVolumeInformationByHandleW(directory.get(), nullptr, 0, nullptr, nullptr,
                                                &flags, nullptr, 0));
    const SystemCalls system = findSystemCalls(&fake::finder);
    std::wstring text;
    for (const char* const name : {"", "none", "none/none"}) {
        ASSERT_EQ(0U, paths::normalize(tree.wide(name).c_str(), text));
        EXPECT_EQ((flags & FILE_SUPPORTS_TRANSACTIONS) != 0, hasTransactions(system, text)) << name;
    }
}

TEST_F(KernelTransactions, EveryOtherHandleIsTheSystems) {
    const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ASSERT_NE(nullptr, event);
    EXPECT_TRUE(os().CloseHandle(event));
    tree.write("one", "");
    WIN32_FIND_DATAW data{};
    const HANDLE search = ::FindFirstFileW(tree.wide("*").c_str(), &data);
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    EXPECT_TRUE(os().FindNextFileW(search, &data));
    EXPECT_TRUE(os().FindNextFileW(search, &data));
    EXPECT_STREQ(L"one", data.cFileName);
    EXPECT_FALSE(os().FindNextFileW(search, &data));
    EXPECT_EQ(ERROR_NO_MORE_FILES, os().GetLastError());
    ::FindClose(search);
}

TEST_F(KernelTransactions, ATransactionOfOursIsClosedOnce) {
    install({kLookedUp[0]});
    const HANDLE transaction = create();
    EXPECT_TRUE(os().CloseHandle(transaction));
    EXPECT_FALSE(os().CloseHandle(transaction));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
    EXPECT_FALSE(os().CommitTransaction(transaction));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
    EXPECT_FALSE(os().DeleteFileTransactedW(L"x", INVALID_HANDLE_VALUE));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
}

}  // namespace
}  // namespace Tallowmere::platform::kernel
