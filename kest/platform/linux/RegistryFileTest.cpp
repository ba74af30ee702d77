#include "kest/platform/linux/RegistryFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "kest/platform/Calls.h"
#include "kest/platform/HandleTable.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

const std::string kHeader = "Windows Registry Editor Version 5.00\n";

class RegistryFileTest : public ::testing::Test {
protected:
    ~RegistryFileTest() override { ::unsetenv("KEST_REGISTRY"); }

    void name(const std::string& file) const {
        ::setenv("KEST_REGISTRY", (tree / file).c_str(), 1);
    }

    static LONG open(HKEY root, const wchar_t* path) {
        HKEY key = nullptr;
        const LONG code = os().RegOpenKeyExW(root, path, 0, KEY_READ, &key);
        if (code == 0) {
            EXPECT_EQ(0, os().RegCloseKey(key));
        }
        return code;
    }

    /// A key of HKEY_USERS; to be closed.
    static HKEY users(const wchar_t* path) {
        HKEY key = nullptr;
        EXPECT_EQ(0, os().RegOpenKeyExW(HKEY_USERS, path, 0, KEY_READ, &key));
        return key;
    }

    testing::TempTree tree;
};

TEST_F(RegistryFileTest, WithoutAFileNothingIsInstalled) {
    ::unsetenv("KEST_REGISTRY");
    EXPECT_EQ(0, open(HKEY_CLASSES_ROOT, L"Installer\\Products"));
    EXPECT_EQ(0, open(HKEY_LOCAL_MACHINE,
                      L"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders"));
    EXPECT_EQ(2, open(HKEY_LOCAL_MACHINE, L"Software\\Tallowmere"));
    // An empty name names no file.
    ::setenv("KEST_REGISTRY", "", 1);
    EXPECT_EQ(0, open(HKEY_CLASSES_ROOT, L"Installer\\Products"));
}

TEST_F(RegistryFileTest, AFileOfTwoGigabytesIsDamaged) {
    tree.write("huge", kHeader + "[HKEY_LOCAL_MACHINE\\Software]\n");
    std::filesystem::resize_file(tree / "huge", std::uintmax_t{2} << 30);
    name("huge");
    EXPECT_EQ(1009, open(HKEY_LOCAL_MACHINE, L"Software"));
}

TEST_F(RegistryFileTest, AnswersAsWindowsDoesWhenTheFileCannotBeRead) {
    name("missing");
    EXPECT_EQ(2, open(HKEY_USERS, nullptr));
    tree.write("damaged", "REGEDIT4\n");
    name("damaged");
    EXPECT_EQ(1009, open(HKEY_LOCAL_MACHINE, L"Software"));
    EXPECT_EQ(1009, open(HKEY_LOCAL_MACHINE, nullptr));
    EXPECT_EQ(6, open(HKEY_PERFORMANCE_TEXT, nullptr));
    tree.write("empty", "");
    name("empty");
    EXPECT_EQ(1009, open(HKEY_USERS, nullptr));
    tree.makeDirectory("folder");
    name("folder");
    EXPECT_EQ(5, open(HKEY_USERS, nullptr));
    ASSERT_EQ(0, ::mkfifo((tree / "pipe").c_str(), 0600));
    name("pipe");
    EXPECT_EQ(1009, open(HKEY_USERS, nullptr));
    if (::geteuid() != 0) {
        tree.write("locked", kHeader);
        ASSERT_EQ(0, ::chmod((tree / "locked").c_str(), 0));
        name("locked");
        EXPECT_EQ(5, open(HKEY_USERS, nullptr));
    }
}

TEST_F(RegistryFileTest, ReadsAFileOnceForEachChange) {
    tree.write("file", kHeader + "[HKEY_USERS\\a]\n");
    const timespec longAgo[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (tree / "file").c_str(), longAgo, 0));
    name("file");
    // Until the change of the stamp itself is no longer recent, the file is read again and again.
    RegistryState first = currentRegistry();
    while (currentRegistry().tree != first.tree) {
        first = currentRegistry();
    }
    EXPECT_EQ(first.tree, currentRegistry().tree);
    tree.write("file", kHeader + "[HKEY_USERS\\b]\n");
    EXPECT_EQ(2, open(HKEY_USERS, L"a"));
    EXPECT_EQ(0, open(HKEY_USERS, L"b"));
    // At once, and of the same size.
    tree.write("file", kHeader + "[HKEY_USERS\\c]\n");
    EXPECT_EQ(0, open(HKEY_USERS, L"c"));
    tree.write("other", kHeader + "[HKEY_USERS\\d]\n");
    name("other");
    EXPECT_EQ(0, open(HKEY_USERS, L"d"));
}

TEST_F(RegistryFileTest, AHandleFollowsTheFile) {
    tree.write("file", kHeader + "[HKEY_USERS\\a]\n\"v\"=dword:1\n");
    name("file");
    HKEY key = nullptr;
    ASSERT_EQ(0, os().RegOpenKeyExW(HKEY_USERS, L"a", 0, KEY_READ, &key));
    tree.write("file", kHeader + "[HKEY_USERS\\x]\n[HKEY_USERS\\A]\n\"v\"=dword:2\n");
    BYTE data[4];
    DWORD size = sizeof(data);
    EXPECT_EQ(0, os().RegQueryValueExW(key, L"v", nullptr, nullptr, data, &size));
    EXPECT_EQ(2, data[0]);
    tree.write("file", "damaged");
    EXPECT_EQ(1009, os().RegQueryValueExW(key, L"v", nullptr, nullptr, data, &size));
    tree.write("file", kHeader);
    EXPECT_EQ(1018, os().RegQueryValueExW(key, L"v", nullptr, nullptr, data, &size));
    EXPECT_EQ(0, os().RegCloseKey(key));
}

TEST_F(RegistryFileTest, TheClassesAreThereAndAreAPartOfTheMachine) {
    tree.write("file", kHeader);
    name("file");
    wchar_t text[20];
    DWORD size = 20;
    EXPECT_EQ(259, os().RegEnumKeyExW(HKEY_CLASSES_ROOT, 0, text, &size, nullptr, nullptr, nullptr,
                                      nullptr));
    EXPECT_EQ(0, open(HKEY_CLASSES_ROOT, nullptr));
    EXPECT_EQ(2, open(HKEY_CLASSES_ROOT, L"a"));
    tree.write("file", kHeader + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\CLASSES\\a]\n");
    EXPECT_EQ(0, open(HKEY_CLASSES_ROOT, L"a"));
}

TEST_F(RegistryFileTest, NamesBeyondTheFirstPlaneAreFoundAndListed) {
    tree.write("file", kHeader + "[HKEY_USERS\\a\\\xF0\x9F\x98\x80]\n");
    name("file");
    const std::wstring smile = L"\U0001F600";
    EXPECT_EQ(0, open(HKEY_USERS, (L"a\\" + smile).c_str()));
    EXPECT_EQ(2, open(HKEY_USERS, L"a\\\U0001F601"));
    // What is beyond all planes is in no file, and no more than a name that is not there.
    const std::wstring beyond = {L'a', L'\\', static_cast<wchar_t>(0x110000)};
    EXPECT_EQ(2, open(HKEY_USERS, beyond.c_str()));
    const HKEY key = users(L"a");
    wchar_t text[20];
    DWORD size = 20;
    EXPECT_EQ(0, os().RegEnumKeyExW(key, 0, text, &size, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(smile, text);
    EXPECT_EQ(0, os().RegCloseKey(key));
}

TEST_F(RegistryFileTest, KeysHaveNoClassAndNoTime) {
    tree.write("file", kHeader + "[HKEY_USERS\\a\\b]\n");
    name("file");
    const HKEY key = users(L"a");
    wchar_t text[20];
    wchar_t className[] = L"class";
    DWORD size = 20;
    DWORD classSize = 6;
    FILETIME time = {1, 2};
    EXPECT_EQ(0, os().RegEnumKeyExW(key, 0, text, &size, nullptr, className, &classSize, &time));
    EXPECT_STREQ(L"b", text);
    EXPECT_STREQ(L"", className);
    EXPECT_EQ(0U, classSize);
    EXPECT_EQ(0U, time.dwLowDateTime);
    EXPECT_EQ(0U, time.dwHighDateTime);
    className[0] = L'c';
    classSize = 6;
    time = {1, 2};
    EXPECT_EQ(0, os().RegQueryInfoKeyW(key, className, &classSize, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr, nullptr, &time));
    EXPECT_STREQ(L"", className);
    EXPECT_EQ(0U, classSize);
    EXPECT_EQ(0U, time.dwLowDateTime);
    EXPECT_EQ(0U, time.dwHighDateTime);
    EXPECT_EQ(0, os().RegCloseKey(key));
}

TEST_F(RegistryFileTest, CallsWithoutWhatTheyNeedAreRefused) {
    tree.write("file", kHeader + "[HKEY_USERS\\a\\b]\n\"v\"=\"x\"\n");
    name("file");
    const HKEY key = users(L"a");
    wchar_t text[20];
    DWORD size = 20;
    BYTE data[20];
    EXPECT_EQ(87, os().RegEnumKeyExW(key, 0, nullptr, &size, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(87, os().RegEnumKeyExW(key, 0, text, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(87, os().RegEnumKeyExW(key, 0, text, &size, &size, nullptr, nullptr, nullptr));
    EXPECT_EQ(87, os().RegEnumValueW(key, 0, nullptr, &size, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(87, os().RegEnumValueW(key, 0, text, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(87, os().RegEnumValueW(key, 0, text, &size, &size, nullptr, nullptr, nullptr));
    EXPECT_EQ(87, os().RegEnumValueW(key, 0, text, &size, nullptr, nullptr, data, nullptr));
    EXPECT_EQ(87, os().RegQueryInfoKeyW(key, text, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(87, os().RegQueryInfoKeyW(key, nullptr, nullptr, &size, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, os().RegCloseKey(key));
}

TEST_F(RegistryFileTest, AnswersAnyNumberOfThreads) {
    tree.write("file", kHeader + "[HKEY_USERS\\a]\n");
    name("file");
    const int before = openHandles(HandleKind::RegistryKey);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 200; ++round) {
                EXPECT_EQ(0, open(HKEY_USERS, L"a"));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(before, openHandles(HandleKind::RegistryKey));
}

}  // namespace
}  // namespace Tallowmere::platform
