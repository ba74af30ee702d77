// Where a process works, its environment and its program, on a Linux disk.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/linux/testing/CapturedOutput.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/system/FileSystem.h"
#include "kest/system/System.h"
#include "kest/system/testing/CapturedStreams.h"

namespace Tallowmere::platform {
namespace {

namespace fs = std::filesystem;

using testing::TempTree;

class Surroundings : public ::testing::Test {
protected:
    ~Surroundings() override { fs::current_path(m_here); }

    std::wstring wide(const std::string& relative) const {
        return names::widen((tree / relative).native());
    }

    TempTree tree;

private:
    fs::path m_here = fs::current_path();
};

TEST_F(Surroundings, TheCurrentDirectoryWhateverItsNameIs) {
    std::string deep = "d";
    for (int i = 0; i < 20; ++i) {
        deep += "/" + std::string(50, 'd');
    }
    for (const std::string& name : {std::string("Gr\xC3\xBC\xC3\x9F"
                                                "e \xE6\x97\xA5"),
                                    std::string("back\\slash"), std::string("stray\xFF"), deep}) {
        tree.makeDirectory(name);
        fs::current_path(tree / name);
        std::wstring directory;
        EXPECT_TRUE(getCurrentDirectory(directory));
        EXPECT_EQ(wide(name), directory);
        EXPECT_TRUE(isDirectory(directory));
    }
}

TEST_F(Surroundings, ACurrentDirectoryThatIsGone) {
    tree.makeDirectory("gone");
    fs::current_path(tree / "gone");
    fs::remove(tree / "gone");
    const Tallowmere::testing::CapturedStreams errors;
    std::wstring directory = L"before";
    EXPECT_FALSE(getCurrentDirectory(directory));
    EXPECT_EQ(L"before", directory);
    EXPECT_TRUE(
        Tallowmere::testing::isAddressBehind("GetCurrentDirectory() failed: ", errors.narrow()));
    wchar_t buffer[4] = L"abc";
    EXPECT_EQ(0U, os().GetCurrentDirectoryW(4, buffer));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, os().GetLastError());
    EXPECT_STREQ(L"abc", buffer);
}

TEST_F(Surroundings, TheEnvironment) {
    const auto value = [](const wchar_t* name) {
        std::wstring buffer(100, L'#');
        os().SetLastError(54321);
        const DWORD length = os().GetEnvironmentVariableW(name, buffer.data(), 100);
        return length == 0 ? L"error " + std::to_wstring(os().GetLastError())
                           : buffer.substr(0, length);
    };
    setenv("KEST_TEST",
           "C:\\Gr\xC3\xBC\xC3\x9F"
           "e\xFF",
           1);
    EXPECT_EQ(L"C:\\Gr\u00FC\u00DFe\xF0FF", value(L"KEST_TEST"));
    EXPECT_EQ(L"C:\\Gr\u00FC\u00DFe\xF0FF", value(L"kest_Test"));
    // Two names that differ in case alone are two variables here.
    setenv("Kest_Test", "other", 1);
    EXPECT_EQ(L"other", value(L"Kest_Test"));
    EXPECT_EQ(L"C:\\Gr\u00FC\u00DFe\xF0FF", value(L"KEST_TEST"));
    unsetenv("Kest_Test");
    setenv("KEST_TEST", "", 1);
    EXPECT_EQ(L"error 0", value(L"KEST_TEST"));
    unsetenv("KEST_TEST");
    EXPECT_EQ(L"error 203", value(L"KEST_TEST"));
    EXPECT_EQ(L"error 203", value(L""));
    EXPECT_EQ(L"error 203", value(nullptr));
    EXPECT_EQ(L"error 203", value(L"\xD800"));
    EXPECT_EQ(L"error 203", value(L"PATH="));
}

TEST_F(Surroundings, TheWellKnownVariables) {
    setenv("SYSTEMROOT", "C:\\Windows", 1);
    EXPECT_EQ(L"C:\\Windows", getSystemDirectory());
    unsetenv("SYSTEMROOT");
    EXPECT_EQ(L"", getSystemDirectory());
    const std::string before = std::getenv("PATH");
    std::wstring directory;
    setenv("PATH", "C:\\Windows;C:\\Programs\\Tallowmere\\Bin;C:\\Tools", 1);
    EXPECT_TRUE(getInstallationDirFromPATH(directory));
    EXPECT_EQ(L"C:\\Programs\\Tallowmere\\Bin", directory);
    setenv("PATH", "C:\\Windows;C:\\Programs\\Tallowmere\\Bin", 1);
    EXPECT_TRUE(getInstallationDirFromPATH(directory));
    EXPECT_EQ(L"C:\\Programs\\Tallowmere\\Bi", directory);
    unsetenv("PATH");
    EXPECT_FALSE(getInstallationDirFromPATH(directory));
    EXPECT_EQ(L"", directory);
    setenv("PATH", before.c_str(), 1);
}

TEST_F(Surroundings, TheProgramsOwnFile) {
    EXPECT_EQ(names::widen(fs::read_symlink("/proc/self/exe").native()), getExecutablePath());
}

TEST_F(Surroundings, AProgramFarDownAndOneThatIsRemoved) {
    // In a process of its own, which is started from the folder and told what to test.
    std::string deep = std::string(200, 'd');
    for (int i = 0; i < 11; ++i) {
        deep += "/" + std::string(200, 'd');
    }
    const std::string self = fs::read_symlink("/proc/self/exe").native();
    for (const std::string& folder : {deep, std::string("Gr\xC3\xBC\xC3\x9F"
                                                        "e (deleted)")}) {
        tree.makeDirectory(folder);
        const fs::path copy = tree / (folder + "/kest_tests");
        fs::copy_file(self, copy);
        const std::string output = testing::outputOf([&] {
            const pid_t child = fork();
            if (child == 0) {
                setenv("KEST_TELL_PROGRAM", "1", 1);
                execl(copy.c_str(), copy.c_str(), "--gtest_filter=ProgramFile.Tell",
                      "--gtest_brief=1", static_cast<char*>(nullptr));
                _exit(127);
            }
            int status = 0;
            EXPECT_EQ(child, waitpid(child, &status, 0));
            EXPECT_EQ(0, status);
        });
        EXPECT_NE(std::string::npos, output.find("<before " + copy.native() + ">"));
        EXPECT_NE(std::string::npos, output.find("<after " + copy.native() + ">"));
    }
}

/// Run in the process that the test above starts.
TEST(ProgramFile, Tell) {
    if (std::getenv("KEST_TELL_PROGRAM") == nullptr) {
        EXPECT_NE(L"", getExecutablePath());
        return;
    }
    std::string before;
    std::string after;
    ASSERT_TRUE(names::narrow(getExecutablePath(), before));
    fs::remove(before);
    ASSERT_TRUE(names::narrow(getExecutablePath(), after));
    std::printf("<before %s><after %s>", before.c_str(), after.c_str());
}

TEST_F(Surroundings, AHandleOfAnotherModuleIsNotKnown) {
    wchar_t buffer[4] = L"abc";
    EXPECT_EQ(0U, os().GetModuleFileNameW(buffer, buffer, 4));
    EXPECT_EQ(ERROR_MOD_NOT_FOUND, os().GetLastError());
    EXPECT_STREQ(L"abc", buffer);
}

TEST_F(Surroundings, TheSystem) {
    EXPECT_EQ(Windows7, windowsVersion());
    EXPECT_EQ(ProcessorAmd64, getProcessorType());
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    ASSERT_TRUE(os().GetVersionExW(&version));
    EXPECT_EQ(7601U, version.dwBuildNumber);
    EXPECT_EQ(std::u16string(u"Service Pack 1"), version.szCSDVersion);
    EXPECT_FALSE(os().GetVersionExW(nullptr));
    EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER, os().GetLastError());
}

}  // namespace
}  // namespace Tallowmere::platform
