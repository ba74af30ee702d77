// What the library relies on in the calls of the families Processes and Network.

#include <gtest/gtest.h>

#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/contract/Differs.h"

namespace Tallowmere::platform {
namespace {

constexpr DWORD kUntouched = 54321;

TEST(ModuleFileContract, IsCutWhenItDoesNotFit) {
    std::wstring buffer(32768, L'#');
    const DWORD length = os().GetModuleFileNameW(nullptr, buffer.data(), 32768);
    ASSERT_GT(length, 10U);
    ASSERT_EQ(L'\0', buffer[length]);
    const std::wstring path = buffer.substr(0, length);
    EXPECT_NE(std::wstring::npos, path.find(L"kest_tests"));

    for (const DWORD size : {DWORD{1}, DWORD{5}, length}) {
        buffer.assign(length + 2, L'#');
        os().SetLastError(kUntouched);
        EXPECT_EQ(size, os().GetModuleFileNameW(nullptr, buffer.data(), size));
        EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER + 0U, os().GetLastError());
        EXPECT_EQ(path.substr(0, size - 1), buffer.substr(0, size - 1));
        KEST_DIFFERS_ON_WINE("does not end a text that it cuts", buffer[size - 1] == L'\0');
        EXPECT_EQ(L'#', buffer[size]);
    }
    buffer.assign(length + 2, L'#');
    EXPECT_EQ(length, os().GetModuleFileNameW(nullptr, buffer.data(), length + 1));
    EXPECT_EQ(path + L'\0' + L'#', buffer);
    EXPECT_EQ(0U, os().GetModuleFileNameW(nullptr, buffer.data(), 0));
    EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER + 0U, os().GetLastError());
}

TEST(EnvironmentContract, AVariable) {
    // Every system has this one.
    std::wstring buffer(32768, L'#');
    const DWORD length = os().GetEnvironmentVariableW(L"PATH", buffer.data(), 32768);
    ASSERT_GT(length, 3U);
    ASSERT_EQ(L'\0', buffer[length]);
    const std::wstring value = buffer.substr(0, length);
    EXPECT_EQ(length, os().GetEnvironmentVariableW(L"pAtH", buffer.data(), 32768));
    for (const DWORD size : {DWORD{0}, DWORD{1}, length}) {
        buffer.assign(length + 2, L'#');
        EXPECT_EQ(length + 1, os().GetEnvironmentVariableW(L"PATH", buffer.data(), size));
        EXPECT_EQ(std::wstring(length + 2, L'#'), buffer);
    }
    EXPECT_EQ(length, os().GetEnvironmentVariableW(L"PATH", buffer.data(), length + 1));
    EXPECT_EQ(value + L'\0' + L'#', buffer);
}

TEST(EnvironmentContract, AVariableThatIsNotThere) {
    wchar_t buffer[4] = L"abc";
    os().SetLastError(kUntouched);
    EXPECT_EQ(0U, os().GetEnvironmentVariableW(L"KEST_NO_SUCH_VARIABLE", buffer, 4));
    EXPECT_EQ(ERROR_ENVVAR_NOT_FOUND + 0U, os().GetLastError());
    EXPECT_STREQ(L"abc", buffer);
}

TEST(VersionContract, TheRecordHasOneSize) {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = 276;
    EXPECT_TRUE(os().GetVersionExW(&version));
    EXPECT_EQ(276U, version.dwOSVersionInfoSize);
    EXPECT_GE(version.dwMajorVersion, 5U);
    EXPECT_EQ(VER_PLATFORM_WIN32_NT + 0U, version.dwPlatformId);
    for (const DWORD size : {DWORD{0}, DWORD{275}, DWORD{277}}) {
        version.dwOSVersionInfoSize = size;
        os().SetLastError(kUntouched);
        EXPECT_FALSE(os().GetVersionExW(&version));
        KEST_DIFFERS_ON_WINE("does not say why", os().GetLastError() == ERROR_INSUFFICIENT_BUFFER);
    }
}

TEST(SystemInfoContract, TheProcessor) {
    SYSTEM_INFO information{};
    information.dwPageSize = 0;
    os().GetSystemInfo(&information);
    // The one that this is built for and run on; another one means another line here.
    EXPECT_EQ(PROCESSOR_ARCHITECTURE_AMD64, information.wProcessorArchitecture);
    EXPECT_GE(information.dwNumberOfProcessors, 1U);
    EXPECT_GE(information.dwPageSize, 4096U);
}

DWORD startError(std::wstring line) {
    STARTUPINFOW startUp{};
    startUp.cb = sizeof startUp;
    PROCESS_INFORMATION process{};
    os().SetLastError(kUntouched);
    const BOOL started =
        os().CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                            nullptr, nullptr, &startUp, &process);
    if (!started) {
        EXPECT_EQ(nullptr, process.hProcess);
        return os().GetLastError();
    }
    EXPECT_TRUE(os().CloseHandle(process.hThread));
    EXPECT_TRUE(os().CloseHandle(process.hProcess));
    return 0;
}

TEST(CreateProcessContract, AProgramThatIsNotThere) {
    EXPECT_EQ(ERROR_FILE_NOT_FOUND + 0U, startError(L"no-such-program-here"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND + 0U, startError(L"no-such-program-here with arguments"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND + 0U, startError(L"\"no such program\" -x"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND + 0U, startError(L"\"no such program"));
}

TEST(NetShareContract, AnotherComputerDoesNotAnswer) {
    BYTE* buffer = nullptr;
    DWORD read = 0;
    DWORD total = 0;
    wchar_t server[] = L"\\\\kest-no-such-computer";
    const NET_API_STATUS status =
        os().NetShareEnum(server, 502, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr);
    KEST_DIFFERS_ON_WINE("has no such list at all", status == ERROR_BAD_NETPATH);
    EXPECT_NE(0U, status);
    EXPECT_EQ(nullptr, buffer);
}

TEST(NetShareContract, NothingCanBeGivenBack) {
    EXPECT_EQ(0U, os().NetApiBufferFree(nullptr));
}

}  // namespace
}  // namespace Tallowmere::platform
