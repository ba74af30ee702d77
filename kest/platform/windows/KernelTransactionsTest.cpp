// Which manager answers the transacted calls.

#include "kest/platform/windows/KernelTransactions.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "kest/platform/HandleTable.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/platform/transactions/SystemDisk.h"

namespace Tallowmere::platform::kernel {
namespace {

using testing::TempTree;

const std::vector<std::string> kLookedUp = {
    "GetFileAttributesTransactedW", "FindFirstFileTransactedW",      "CreateDirectoryTransactedW",
    "CopyFileTransactedW",          "CreateSymbolicLinkTransactedW", "DeleteFileTransactedW",
    "RemoveDirectoryTransactedW"};

/// A system that has the calls, in which each one tells that it was made.
namespace fake {

std::vector<std::string> g_made;
std::set<std::string> g_missing;
const HANDLE kTransaction = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(0x1234));
const HANDLE kSearch = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(0x4568));

std::string narrow(const wchar_t* text) {
    const std::wstring wide = text == nullptr ? L"null" : text;
    return {wide.begin(), wide.end()};
}

HANDLE WINAPI create(SECURITY_ATTRIBUTES*, GUID*, DWORD, DWORD, DWORD, DWORD timeout,
                     wchar_t* description) {
    g_made.push_back("create " + narrow(description) + " " + std::to_string(timeout));
    return kTransaction;
}
BOOL WINAPI commit(HANDLE transaction) {
    g_made.push_back("commit");
    return transaction == kTransaction ? 7 : 0;
}
BOOL WINAPI attributes(const wchar_t* path, GET_FILEEX_INFO_LEVELS, void*, HANDLE transaction) {
    g_made.push_back("attributes " + narrow(path));
    return transaction == kTransaction ? 7 : 0;
}
HANDLE WINAPI find(const wchar_t* pattern, FINDEX_INFO_LEVELS, void*, FINDEX_SEARCH_OPS, void*,
                   DWORD flags, HANDLE transaction) {
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

class KernelTransactions : public ::testing::Test {
protected:
    ~KernelTransactions() override {
        setSystemCalls(nullptr);
        fake::g_made.clear();
        fake::g_missing.clear();
    }
    /// From here on the system has the calls but for those that are missing.
    void install(const std::set<std::string>& missing = {}) {
        fake::g_missing = missing;
        calls = findSystemCalls(&fake::finder);
        calls.CreateTransaction = &fake::create;
        calls.CommitTransaction = &fake::commit;
        setSystemCalls(&calls);
    }
    static HANDLE create() {
        wchar_t description[] = L"test";
        return os().CreateTransaction(nullptr, nullptr, 0, 0, 0, 9, description);
    }

    SystemCalls calls{};
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

TEST_F(KernelTransactions, AnswerEachCallWhereTheSystemHasThem) {
    install();
    const HANDLE transaction = create();
    EXPECT_EQ(fake::kTransaction, transaction);
    EXPECT_EQ(7,
              os().GetFileAttributesTransactedW(L"a", GetFileExInfoStandard, nullptr, transaction));
    WIN32_FIND_DATAW data{};
    EXPECT_EQ(fake::kSearch,
              os().FindFirstFileTransactedW(L"b\\*", FindExInfoStandard, &data,
                                            FindExSearchNameMatch, nullptr, 2, transaction));
    EXPECT_EQ(7, os().CreateDirectoryTransactedW(nullptr, L"c", nullptr, transaction));
    EXPECT_EQ(7,
              os().CopyFileTransactedW(L"d", L"e", nullptr, nullptr, nullptr, 0x800, transaction));
    EXPECT_EQ(7, os().CreateSymbolicLinkTransactedW(L"f", L"g", 1, transaction));
    EXPECT_EQ(0, os().CreateSymbolicLinkTransactedW(L"f", L"g", 1, nullptr));
    EXPECT_EQ(7, os().DeleteFileTransactedW(L"h", transaction));
    EXPECT_EQ(7, os().RemoveDirectoryTransactedW(L"i", transaction));
    EXPECT_EQ(7, os().CommitTransaction(transaction));
    EXPECT_EQ((std::vector<std::string>{"create test 9", "attributes a", "find b\\* 2",
                                        "directory null c", "copy d e 2048", "link f g 1",
                                        "link f g 1", "file h", "remove i", "commit"}),
              fake::g_made);
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
    TempTree tree;
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
    const HMODULE module = ::GetModuleHandleW(L"kernel32.dll");
    bool areAllThere = true;
    for (const std::string& name : kLookedUp) {
        areAllThere = areAllThere && ::GetProcAddress(module, name.c_str()) != nullptr;
    }
    const HANDLE transaction = create();
    ASSERT_NE(INVALID_HANDLE_VALUE, transaction);
    EXPECT_EQ(areAllThere ? HandleKind::None : HandleKind::Transaction, handleKind(transaction));
    EXPECT_TRUE(os().CloseHandle(transaction));
}

TEST_F(KernelTransactions, EveryOtherHandleIsTheSystems) {
    const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ASSERT_NE(nullptr, event);
    EXPECT_TRUE(os().CloseHandle(event));
    TempTree tree;
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
