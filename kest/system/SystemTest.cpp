#include "kest/system/System.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <stdexcept>
#include <typeinfo>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/system/testing/CapturedStreams.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::failing;
using platform::testing::ScopedCall;
using testing::CapturedStreams;
using testing::isAddressBehind;

/// Plays the start of a process.
class Starting {
public:
    explicit Starting(DWORD error = ERROR_SUCCESS)
        : m_call([this, error](const wchar_t* program, wchar_t* commandLine,
                               SECURITY_ATTRIBUTES* processSecurity,
                               SECURITY_ATTRIBUTES* threadSecurity, BOOL inheritHandles,
                               DWORD flags, void* environment, const wchar_t* directory,
                               STARTUPINFOW* startUp, PROCESS_INFORMATION* process) -> BOOL {
              EXPECT_EQ(nullptr, program);
              EXPECT_EQ(nullptr, processSecurity);
              EXPECT_EQ(nullptr, threadSecurity);
              EXPECT_FALSE(inheritHandles);
              EXPECT_EQ(0x08000000U, flags);
              EXPECT_EQ(nullptr, environment);
              EXPECT_EQ(nullptr, directory);
              STARTUPINFOW cleared{};
              cleared.cb = sizeof cleared;
              EXPECT_EQ(0, std::memcmp(&cleared, startUp, sizeof cleared));
              line = commandLine;
              // The system may write into the line, up to its very end.
              std::wmemset(commandLine, L'#', line.size() + 1);
              if (error != ERROR_SUCCESS) {
                  return failing<BOOL>(FALSE, error);
              }
              process->hProcess = &line;
              process->hThread = this;
              return TRUE;
          }) {}

    int count() const { return m_call.count(); }
    std::wstring line;

private:
    ScopedCall<&Calls::CreateProcessW> m_call;
};

std::string failureOf(const std::wstring& commandLine) {
    try {
        launchProcess(commandLine);
    } catch (const std::runtime_error& failure) {
        return typeid(failure) == typeid(std::runtime_error) ? failure.what() : "another type";
    }
    return "nothing";
}

TEST(LaunchProcess, HandsACopyOfTheCommandLineOver) {
    const std::wstring longest(40000, L'x');
    for (const std::wstring& line :
         {std::wstring(L"\"C:\\Program Files\\a.exe\" -x \u65E5"), std::wstring(), longest}) {
        Starting starting;
        const std::wstring given = line;
        launchProcess(given);
        EXPECT_EQ(line, starting.line);
        EXPECT_EQ(line, given);
        EXPECT_EQ(1, starting.count());
    }
}

TEST(LaunchProcess, LeavesTheHandlesOpenAndWaitsForNothing) {
    const Starting starting;
    const CallLog log(platform::testing::Processes | platform::testing::Transactions |
                      platform::testing::Sync);
    launchProcess(L"program");
    ASSERT_EQ(1U, log.names().size());
    EXPECT_EQ(L"CreateProcessW", log.names()[0]);
}

TEST(LaunchProcess, ThrowsTheLineAndTheSystemsText) {
    testing::TraceCapture trace;
    const CapturedStreams errors;
    for (const DWORD code : {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}) {
        const Starting starting(code);
        EXPECT_EQ("CreateProcess(<C:\\none.exe -x>): " +
                      convertToString(getSystemErrorMessage(code, nullptr).c_str()),
                  failureOf(L"C:\\none.exe -x"));
    }
    const Starting starting(10783);
    EXPECT_EQ("CreateProcess(<>): Unknown error code: 0x2a1f", failureOf(L""));
    EXPECT_TRUE(trace.lines().empty());
    EXPECT_EQ("", errors.narrow());
    EXPECT_EQ(L"", errors.wide());
}

TEST(LaunchProcess, WhatIsThrownHasLostTheUpperBytes) {
    const Starting starting(10783);
    EXPECT_EQ("CreateProcess(<\xE4\x41\xE5>): Unknown error code: 0x2a1f",
              failureOf(L"\u00E4\u0141\u65E5"));
}

TEST(LaunchProcess, AMissingProgramCannotBeStarted) {
    const std::wstring line = L"no-such-program-here -x \"a b\"";
    EXPECT_EQ("CreateProcess(<no-such-program-here -x \"a b\">): " +
                  convertToString(getSystemErrorMessage(ERROR_FILE_NOT_FOUND, nullptr).c_str()),
              failureOf(line));
}

WindowsVersion releaseFor(DWORD major, DWORD minor) {
    const ScopedCall<&Calls::GetVersionExW> asking([&](OSVERSIONINFOW* version) -> BOOL {
        EXPECT_EQ(276U, version->dwOSVersionInfoSize);
        version->dwMajorVersion = major;
        version->dwMinorVersion = minor;
        return TRUE;
    });
    return windowsVersion();
}

TEST(WindowsVersionTest, FollowsTheTable) {
    EXPECT_EQ(Windows2000, releaseFor(5, 0));
    EXPECT_EQ(WindowsXP, releaseFor(5, 1));
    EXPECT_EQ(Windows2003, releaseFor(5, 2));
    EXPECT_EQ(WindowsVista, releaseFor(6, 0));
    EXPECT_EQ(Windows7, releaseFor(6, 1));
    const struct {
        DWORD major;
        DWORD minor;
    } unknown[] = {{0, 0}, {4, 0}, {4, 90}, {5, 3},  {5, 0xFFFFFFFF}, {6, 2},
                   {6, 3}, {7, 0}, {7, 1},  {10, 0}, {10, 1},         {0xFFFFFFFF, 1}};
    for (const auto& one : unknown) {
        EXPECT_EQ(WindowsUnknown, releaseFor(one.major, one.minor))
            << one.major << '.' << one.minor;
    }
}

TEST(WindowsVersionTest, TheNumbersOfTheNames) {
    EXPECT_EQ(0, WindowsUnknown);
    EXPECT_EQ(1, Windows2000);
    EXPECT_EQ(2, WindowsXP);
    EXPECT_EQ(3, Windows2003);
    EXPECT_EQ(4, WindowsVista);
    EXPECT_EQ(5, Windows7);
    EXPECT_EQ(0, ProcessorAmd64);
    EXPECT_EQ(1, ProcessorIa64);
    EXPECT_EQ(2, ProcessorX86);
    EXPECT_EQ(3, ProcessorUnknown);
}

TEST(WindowsVersionTest, TellsTheAddressOfTheTextWhenItFails) {
    testing::TraceCapture trace;
    const CapturedStreams errors;
    const ScopedCall<&Calls::GetVersionExW> asking([](OSVERSIONINFOW* version) -> BOOL {
        version->dwMajorVersion = 6;
        version->dwMinorVersion = 1;
        return failing<BOOL>(FALSE, ERROR_INSUFFICIENT_BUFFER);
    });
    const CallLog log(platform::testing::Errors | platform::testing::Processes);
    EXPECT_EQ(WindowsUnknown, windowsVersion());
    EXPECT_TRUE(isAddressBehind("GetVersionEx() failed: ", errors.narrow())) << errors.narrow();
    EXPECT_EQ(L"", errors.wide());
    EXPECT_TRUE(trace.lines().empty());
    ASSERT_GE(log.calls().size(), 4U);
    EXPECT_EQ(L"GetVersionExW", log.names()[0]);
    EXPECT_EQ(L"GetLastError()", log.calls()[2]);
    EXPECT_EQ(L"FormatMessageW(4864, null, 122, ", log.calls()[3].substr(0, 32));
}

TEST(GetProcessorTypeTest, FollowsTheTable) {
    const struct {
        WORD architecture;
        ProcessorType type;
    } cases[] = {
        {9, ProcessorAmd64},    {6, ProcessorIa64},         {0, ProcessorX86},
        {1, ProcessorUnknown},  {5, ProcessorUnknown},      {12, ProcessorUnknown},
        {10, ProcessorUnknown}, {0xFFFF, ProcessorUnknown},
    };
    for (const auto& c : cases) {
        const ScopedCall<&Calls::GetSystemInfo> asking([&](SYSTEM_INFO* information) {
            information->wProcessorArchitecture = c.architecture;
        });
        EXPECT_EQ(c.type, getProcessorType()) << c.architecture;
    }
}

TEST(GetOsTest, IsWindowsEverywhere) {
    const CallLog log(~0U);
    EXPECT_EQ(L"Windows", getOs());
    EXPECT_TRUE(log.calls().empty());
}

}  // namespace
}  // namespace Tallowmere
