#include "kest/system/FileSystem.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <typeinfo>
#include <vector>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/system/testing/CapturedStreams.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::os;
using platform::testing::CallLog;
using platform::testing::failing;
using platform::testing::ScopedCall;
using testing::CapturedStreams;

using Texts = std::vector<std::wstring>;

TEST(Exists, IsTheRuntimesTestForExistence) {
    int answer = 0;
    ScopedCall<&Calls::_waccess> asking([&](const wchar_t* path, int mode) {
        EXPECT_STREQ(L"C:\\place", path);
        EXPECT_EQ(0, mode);
        return answer;
    });
    EXPECT_TRUE(exists(L"C:\\place"));
    for (const int no : {-1, 1, 13}) {
        answer = no;
        EXPECT_FALSE(exists(L"C:\\place"));
    }
    EXPECT_EQ(4, asking.count());
}

TEST(Access, HandsTheModeOnAndTheAnswerBack) {
    for (const int mode : {0, 2, 4, 6, 1, -1, 77}) {
        for (const int answer : {0, -1, 5}) {
            const ScopedCall<&Calls::_waccess> asking([&](const wchar_t* path, int given) {
                EXPECT_STREQ(L"C:\\place", path);
                EXPECT_EQ(mode, given);
                return answer;
            });
            EXPECT_EQ(answer, access(L"C:\\place", mode));
        }
    }
}

TEST(IsDirectory, LooksAtTheOneBit) {
    DWORD attributes = 0;
    const ScopedCall<&Calls::GetFileAttributesW> reading([&](const wchar_t* path) {
        EXPECT_STREQ(L"C:\\place", path);
        return attributes;
    });
    const ScopedCall<&Calls::FormatMessageW> text(
        [](DWORD, const void*, DWORD, DWORD, wchar_t*, DWORD, va_list*) -> DWORD {
            ADD_FAILURE() << "no text is wanted";
            return 0;
        });
    for (const DWORD one : {DWORD{16}, DWORD{0x410}, DWORD{0xFFFFFFFE}}) {
        attributes = one;
        EXPECT_TRUE(isDirectory(L"C:\\place"));
    }
    for (const DWORD one : {DWORD{0}, DWORD{32}, DWORD{0x400}, DWORD{0xFFFFFFEF}}) {
        attributes = one;
        EXPECT_FALSE(isDirectory(L"C:\\place"));
    }
}

TEST(IsDirectory, WhatCannotBeReadIsNone) {
    testing::TraceCapture trace;
    const CapturedStreams errors;
    const ScopedCall<&Calls::GetFileAttributesW> reading([](const wchar_t*) -> DWORD {
        return failing<DWORD>(INVALID_FILE_ATTRIBUTES, ERROR_ACCESS_DENIED);
    });
    const CallLog log(platform::testing::Errors | platform::testing::Files);
    EXPECT_FALSE(isDirectory(L"C:\\place"));
    // The text is asked for, with the error of the call, and thrown away.
    ASSERT_GE(log.calls().size(), 3U);
    EXPECT_EQ(L"GetFileAttributesW", log.names()[0]);
    EXPECT_EQ(L"FormatMessageW(4864, null, 5, 1024, ", log.calls().end()[-2].substr(0, 36));
    EXPECT_EQ("", errors.narrow());
    EXPECT_EQ(L"", errors.wide());
    EXPECT_EQ(Texts{}, trace.lines());
}

TEST(GetFileSize, AddsTheTwoHalvesShiftedBySixteen) {
    const struct {
        DWORD high;
        DWORD low;
        std::uint64_t size;
    } cases[] = {
        {0, 0, 0},
        {0, 0xFFFFFFFF, 0xFFFFFFFF},
        {1, 10, 65546},
        {0xFFFFFFFF, 0xFFFFFFFF, 0x10000FFFEFFFF},
    };
    for (const auto& c : cases) {
        const ScopedCall<&Calls::GetFileAttributesExW> reading(
            [&](const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* data) -> BOOL {
                EXPECT_STREQ(L"C:\\file", path);
                EXPECT_EQ(GetFileExInfoStandard, level);
                auto& record = *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data);
                record.nFileSizeHigh = c.high;
                record.nFileSizeLow = c.low;
                return TRUE;
            });
        std::uint64_t size = 77;
        EXPECT_TRUE(getFileSize(L"C:\\file", size));
        EXPECT_EQ(c.size, size);
    }
}

TEST(GetFileSize, LeavesTheSizeUntouchedOnFailure) {
    const CapturedStreams errors;
    const ScopedCall<&Calls::GetFileAttributesExW> reading(
        [](const wchar_t*, GET_FILEEX_INFO_LEVELS, void* data) -> BOOL {
            static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeLow = 5;
            return failing<BOOL>(FALSE, ERROR_FILE_NOT_FOUND);
        });
    std::uint64_t size = 77;
    EXPECT_FALSE(getFileSize(L"C:\\file", size));
    EXPECT_EQ(77U, size);
    EXPECT_EQ("", errors.narrow());
    EXPECT_EQ(L"", errors.wide());
}

/// Directories that are created, and those that are there already.
class CreateDirectories : public ::testing::Test {
protected:
    CreateDirectories()
        : creating([this](const wchar_t* path, SECURITY_ATTRIBUTES* security) -> BOOL {
              EXPECT_EQ(nullptr, security);
              asked.push_back(path);
              if (path == failsAt) {
                  return failing<BOOL>(FALSE, error);
              }
              return existing ? failing<BOOL>(FALSE, ERROR_ALREADY_EXISTS) : TRUE;
          }) {}

    Texts createdFor(const std::wstring& path) {
        asked.clear();
        createDirectory(path);
        return asked;
    }

    std::string failureOf(const std::wstring& path) {
        asked.clear();
        try {
            createDirectory(path);
        } catch (const std::runtime_error& failure) {
            return typeid(failure) == typeid(std::runtime_error) ? failure.what() : "another type";
        }
        return "nothing";
    }

    testing::TraceCapture trace;
    CapturedStreams errors;
    Texts asked;
    std::wstring failsAt = L"nothing";
    DWORD error = ERROR_SUCCESS;
    bool existing = false;
    ScopedCall<&Calls::CreateDirectoryW> creating;
};

TEST_F(CreateDirectories, EachLevelFromTheOutermostInwards) {
    EXPECT_EQ((Texts{L"C:\\data", L"C:\\data\\a", L"C:\\data\\a\\b"}),
              createdFor(L"C:\\data\\a\\b"));
    EXPECT_EQ((Texts{L"C:/data", L"C:/data\\a", L"C:/data\\a/b"}), createdFor(L"C:/data\\a/b"));
    EXPECT_EQ((Texts{L"/data", L"/data/a"}), createdFor(L"/data/a"));
}

TEST_F(CreateDirectories, ASeparatorAtTheEndAddsNothing) {
    EXPECT_EQ((Texts{L"C:\\data", L"C:\\data\\a"}), createdFor(L"C:\\data\\a\\"));
    EXPECT_EQ((Texts{L"C:/data", L"C:/data/a"}), createdFor(L"C:/data/a/"));
}

TEST_F(CreateDirectories, SeparatorsOfBothKindsAtTheEnd) {
    // Where a backslash follows the last slash, the length of the path is a position, too.
    EXPECT_EQ((Texts{L"a\\b/c", L"a\\b/c\\"}).size(), createdFor(L"a\\b/c\\").size() - 1);
    EXPECT_EQ((Texts{L"a\\b", L"a\\b/c", L"a\\b/c\\"}), asked);
}

TEST_F(CreateDirectories, DoubledSeparatorsAreTriedAsTheyStand) {
    EXPECT_EQ((Texts{L"C:\\", L"C:\\\\data", L"C:\\\\data\\", L"C:\\\\data\\\\a"}),
              createdFor(L"C:\\\\data\\\\a"));
}

TEST_F(CreateDirectories, WhatPrecedesTheFirstSeparatorIsNeverCreated) {
    EXPECT_EQ(Texts{L"data\\a"}, createdFor(L"data\\a"));
    EXPECT_EQ(Texts{L"C:\\data"}, createdFor(L"C:\\data"));
    EXPECT_EQ((Texts{L"\\", L"\\\\server", L"\\\\server\\share"}),
              createdFor(L"\\\\server\\share"));
}

TEST_F(CreateDirectories, APathOfOneNameIsOneDirectory) {
    EXPECT_EQ(Texts{L"data"}, createdFor(L"data"));
    EXPECT_EQ(Texts{L"data"}, createdFor(L"data\\"));
    EXPECT_EQ(Texts{L"data"}, createdFor(L"data/"));
    for (const wchar_t* const there : {L"C:", L"C:\\", L"C:/", L"\\", L"/"}) {
        EXPECT_EQ(Texts{}, createdFor(there)) << there;
    }
    EXPECT_EQ(Texts{L""}, createdFor(L""));
}

TEST_F(CreateDirectories, WhatIsThereAlreadyIsNoError) {
    existing = true;
    EXPECT_EQ((Texts{L"C:\\data", L"C:\\data\\a", L"C:\\data\\a\\b"}),
              createdFor(L"C:\\data\\a\\b"));
    EXPECT_EQ(L"", errors.wide());
}

TEST_F(CreateDirectories, AnyOtherFailureEndsItAtOnce) {
    failsAt = L"C:\\data\\a";
    for (const DWORD code : {ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_FILE_EXISTS}) {
        CapturedStreams fresh;
        error = code;
        const std::wstring expected =
            L"CreateDirectory() failed: " + getSystemErrorMessage(code, nullptr);
        EXPECT_EQ(convertToString(expected.c_str()), failureOf(L"C:\\data\\a\\b"));
        EXPECT_EQ((Texts{L"C:\\data", L"C:\\data\\a"}), asked);
        EXPECT_EQ(expected + L"\n", fresh.wide());
        EXPECT_EQ("", fresh.narrow());
    }
    EXPECT_EQ(Texts{}, trace.lines());
}

TEST_F(CreateDirectories, ACodeWithoutATextIsNamedByItsNumber) {
    failsAt = L"C:\\data";
    error = 10783;
    EXPECT_EQ("CreateDirectory() failed: Unknown error code: 0x2a1f", failureOf(L"C:\\data\\a"));
    EXPECT_EQ(L"CreateDirectory() failed: Unknown error code: 0x2a1f\n", errors.wide());
}

TEST_F(CreateDirectories, TheErrorIsTheOneOfTheCall) {
    failsAt = L"C:\\data";
    error = ERROR_DISK_FULL;
    const CallLog log(platform::testing::Files | platform::testing::Errors);
    (void)failureOf(L"C:\\data\\a");
    ASSERT_GE(log.calls().size(), 4U);
    EXPECT_EQ(L"CreateDirectoryW(\"C:\\data\", null)", log.calls()[0]);
    EXPECT_EQ(L"GetLastError()", log.calls()[2]);
    EXPECT_EQ(L"FormatMessageW(4864, null, 112, ", log.calls()[3].substr(0, 32));
}

TEST_F(CreateDirectories, AStreamThatThrowsDoesNotHideTheFailure) {
    failsAt = L"C:\\data";
    error = 10783;
    std::wcerr.exceptions(std::ios_base::badbit);
    std::wstreambuf* const captured = std::wcerr.rdbuf();
    class Full : public std::wstreambuf {
    } full;
    std::wcerr.rdbuf(&full);
    const std::string thrown = failureOf(L"C:\\data\\a");
    std::wcerr.exceptions(std::ios_base::goodbit);
    std::wcerr.rdbuf(captured);
    std::wcerr.clear();
    EXPECT_EQ("CreateDirectory() failed: Unknown error code: 0x2a1f", thrown);
}

}  // namespace
}  // namespace Tallowmere
