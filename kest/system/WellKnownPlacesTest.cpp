#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <string>
#include <vector>

#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/system/FileSystem.h"
#include "kest/system/testing/CapturedStreams.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::failing;
using platform::testing::ScopedCall;
using testing::CapturedStreams;
using testing::isAddressBehind;

void put(const std::wstring& text, wchar_t* buffer) {
    std::wmemcpy(buffer, text.c_str(), text.size() + 1);
}

TEST(GetCurrentDirectory, IsWhatTheSystemSays) {
    const std::wstring longest(32767, L'x');
    for (const std::wstring& place : {std::wstring(L"C:\\work\\\u00E4 \u65E5"), longest}) {
        const ScopedCall<&Calls::GetCurrentDirectoryW> asking([&](DWORD size, wchar_t* buffer) {
            EXPECT_EQ(32768U, size);
            put(place, buffer);
            return static_cast<DWORD>(place.size());
        });
        std::wstring directory = L"before";
        EXPECT_TRUE(getCurrentDirectory(directory));
        EXPECT_EQ(place, directory);
    }
}

TEST(GetCurrentDirectory, TellsTheAddressOfTheTextWhenItFails) {
    testing::TraceCapture trace;
    const CapturedStreams errors;
    const ScopedCall<&Calls::GetCurrentDirectoryW> asking([](DWORD, wchar_t* buffer) -> DWORD {
        put(L"half", buffer);
        return failing<DWORD>(0, ERROR_FILE_NOT_FOUND);
    });
    const CallLog log(platform::testing::Errors | platform::testing::Files);
    std::wstring directory = L"before";
    EXPECT_FALSE(getCurrentDirectory(directory));
    EXPECT_EQ(L"before", directory);
    EXPECT_TRUE(isAddressBehind("GetCurrentDirectory() failed: ", errors.narrow()))
        << errors.narrow();
    EXPECT_EQ(L"", errors.wide());
    EXPECT_TRUE(trace.lines().empty());
    // The text is that of the call's error.
    ASSERT_GE(log.calls().size(), 4U);
    EXPECT_EQ(L"GetCurrentDirectoryW", log.names()[0]);
    EXPECT_EQ(L"GetLastError()", log.calls()[2]);
    EXPECT_EQ(L"FormatMessageW(4864, null, 2, ", log.calls()[3].substr(0, 30));
}

TEST(GetCurrentDirectory, ABufferThatIsTooSmallGoesUnnoticed) {
    const CapturedStreams errors;
    const ScopedCall<&Calls::GetCurrentDirectoryW> asking(
        [](DWORD, wchar_t*) -> DWORD { return 40000; });
    std::wstring directory = L"before";
    EXPECT_TRUE(getCurrentDirectory(directory));
    EXPECT_EQ(L"", directory);
    EXPECT_EQ("", errors.narrow());
}

/// A program's file as the system tells it: cut, with the error that says so, when it does not fit.
class ProgramFile {
public:
    explicit ProgramFile(std::wstring path, bool ends = true)
        : m_path(std::move(path)),
          m_asking([this, ends](HMODULE module, wchar_t* buffer, DWORD size) -> DWORD {
              EXPECT_EQ(nullptr, module);
              sizes.push_back(size);
              if (m_path.size() < size) {
                  put(m_path, buffer);
                  return static_cast<DWORD>(m_path.size());
              }
              std::wmemcpy(buffer, m_path.c_str(), size);
              if (ends) {
                  buffer[size - 1] = L'\0';
              }
              return failing(size, DWORD{ERROR_INSUFFICIENT_BUFFER});
          }) {}

    std::vector<DWORD> sizes;

private:
    std::wstring m_path;
    ScopedCall<&Calls::GetModuleFileNameW> m_asking;
};

TEST(GetExecutablePath, GrowsItsBufferUntilThePathFits) {
    const struct {
        std::size_t length;
        std::vector<DWORD> sizes;
    } cases[] = {
        {10, {1024}},
        {1023, {1024}},
        {1024, {1024, 2048}},
        {2047, {1024, 2048}},
        {2048, {1024, 2048, 4096}},
        {32767, {1024, 2048, 4096, 8192, 16384, 32768}},
    };
    for (const auto& c : cases) {
        for (const bool ends : {false, true}) {
            const std::wstring path(c.length, L'p');
            ProgramFile file(path, ends);
            EXPECT_EQ(path, getExecutablePath());
            EXPECT_EQ(c.sizes, file.sizes);
        }
    }
}

TEST(GetExecutablePath, AnotherErrorEndsTheSearch) {
    ScopedCall<&Calls::GetModuleFileNameW> asking(
        [](HMODULE, wchar_t* buffer, DWORD size) -> DWORD {
            std::fill(buffer, buffer + size, L'p');
            return failing(size, DWORD{ERROR_SUCCESS});
        });
    // What is there, up to its end, which the call has not written.
    EXPECT_EQ(std::wstring(1024, L'p'), getExecutablePath());
    EXPECT_EQ(1, asking.count());
}

TEST(GetExecutablePath, TheErrorCountsOnlyForAFullBuffer) {
    ScopedCall<&Calls::GetModuleFileNameW> asking([](HMODULE, wchar_t* buffer, DWORD) -> DWORD {
        put(L"C:\\p.exe", buffer);
        return failing<DWORD>(8, ERROR_INSUFFICIENT_BUFFER);
    });
    EXPECT_EQ(L"C:\\p.exe", getExecutablePath());
    EXPECT_EQ(1, asking.count());
}

TEST(GetExecutablePath, IsEmptyWhenTheSystemCannotTell) {
    const CapturedStreams errors;
    for (const DWORD code : {ERROR_ACCESS_DENIED, ERROR_INSUFFICIENT_BUFFER}) {
        const ScopedCall<&Calls::GetModuleFileNameW> asking(
            [&](HMODULE, wchar_t*, DWORD) -> DWORD { return failing<DWORD>(0, code); });
        EXPECT_EQ(L"", getExecutablePath());
    }
    EXPECT_EQ("", errors.narrow());
    EXPECT_EQ(L"", errors.wide());
}

/// One variable of the environment, by the rules of the system's call.
class Variable {
public:
    Variable(std::wstring name, std::wstring value)
        : m_name(std::move(name)),
          m_value(std::move(value)),
          m_asking([this](const wchar_t* asked, wchar_t* buffer, DWORD size) -> DWORD {
              EXPECT_EQ(32768U, size);
              if (m_name != asked) {
                  return failing<DWORD>(0, ERROR_ENVVAR_NOT_FOUND);
              }
              if (m_value.size() >= size) {
                  return static_cast<DWORD>(m_value.size() + 1);
              }
              put(m_value, buffer);
              return static_cast<DWORD>(m_value.size());
          }) {}

private:
    std::wstring m_name;
    std::wstring m_value;
    ScopedCall<&Calls::GetEnvironmentVariableW> m_asking;
};

TEST(GetSystemDirectory, IsTheVariableAsItStands) {
    const std::wstring longest(32767, L'x');
    for (const std::wstring& value :
         {std::wstring(L"C:\\Windows"), std::wstring(L" D:\\\u00DC "), longest}) {
        const Variable variable(L"SYSTEMROOT", value);
        EXPECT_EQ(value, getSystemDirectory());
    }
}

TEST(GetSystemDirectory, IsEmptyWithoutTheVariable) {
    const CapturedStreams errors;
    const Variable other(L"OTHER", L"x");
    EXPECT_EQ(L"", getSystemDirectory());
    const Variable empty(L"SYSTEMROOT", L"");
    EXPECT_EQ(L"", getSystemDirectory());
    // Longer than any variable can be.
    const Variable tooLong(L"SYSTEMROOT", std::wstring(32768, L'x'));
    EXPECT_EQ(L"", getSystemDirectory());
    EXPECT_EQ("", errors.narrow());
    EXPECT_EQ(L"", errors.wide());
}

/// What is found on a search path; "none" when nothing is.
std::wstring foundOn(const std::wstring& path) {
    const Variable variable(L"PATH", path);
    std::wstring directory = L"before";
    if (!getInstallationDirFromPATH(directory)) {
        EXPECT_EQ(L"", directory);
        return L"none";
    }
    return directory;
}

TEST(GetInstallationDirFromPath, TheEntryWithTheProductsName) {
    EXPECT_EQ(L"C:\\Programs\\Tallowmere\\Bin",
              foundOn(L"C:\\Windows;C:\\Programs\\Tallowmere\\Bin;C:\\Tools"));
    EXPECT_EQ(L"C:\\Tallowmere", foundOn(L"C:\\Tallowmere;C:\\Tools"));
    EXPECT_EQ(L"Tallowmere", foundOn(L"a;Tallowmere;"));
    EXPECT_EQ(L"Tallowmere", foundOn(L";Tallowmere;"));
    // The name may stand anywhere in it.
    EXPECT_EQ(L"C:\\xTallowmere2\\a", foundOn(L"C:\\xTallowmere2\\a;b"));
}

TEST(GetInstallationDirFromPath, TheLastEntryLosesItsLastCharacter) {
    EXPECT_EQ(L"C:\\Programs\\Tallowmere\\Bi",
              foundOn(L"C:\\Windows;C:\\Programs\\Tallowmere\\Bin"));
    EXPECT_EQ(L"Tallowmer", foundOn(L"Tallowmere"));
    EXPECT_EQ(L"C:\\Tallowmere", foundOn(L"a;C:\\Tallowmere\\"));
}

TEST(GetInstallationDirFromPath, TheFirstOfSeveral) {
    EXPECT_EQ(L"C:\\Tallowmere\\1", foundOn(L"x;C:\\Tallowmere\\1;C:\\Tallowmere\\2;y"));
}

TEST(GetInstallationDirFromPath, TheEntryIsTakenAsItIsWritten) {
    EXPECT_EQ(L" \"%ROOT%\\Tallowmere\" ", foundOn(L"a; \"%ROOT%\\Tallowmere\" ;b"));
}

TEST(GetInstallationDirFromPath, CaseMatters) {
    EXPECT_EQ(L"none", foundOn(L"C:\\Windows;C:\\Programs\\tallowmere;C:\\Tools"));
    EXPECT_EQ(L"none", foundOn(L"C:\\TALLOWMERE;a"));
}

TEST(GetInstallationDirFromPath, NothingIsFound) {
    const CapturedStreams errors;
    EXPECT_EQ(L"none", foundOn(L"C:\\Windows;C:\\Tools"));
    EXPECT_EQ(L"none", foundOn(L""));
    EXPECT_EQ(L"none", foundOn(std::wstring(32768, L'x') + L"Tallowmere;"));
    const Variable other(L"OTHER", L"C:\\Tallowmere;");
    std::wstring directory = L"before";
    EXPECT_FALSE(getInstallationDirFromPATH(directory));
    EXPECT_EQ(L"", directory);
    EXPECT_EQ("", errors.narrow());
    EXPECT_EQ(L"", errors.wide());
}

}  // namespace
}  // namespace Tallowmere
