#include "kest/transacted/Failure.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::os;
using platform::testing::CallLog;
using platform::testing::ScopedCall;
using testing::failureLine;
using testing::failureText;

using Lines = std::vector<std::wstring>;

class FailureTest : public ::testing::Test {
protected:
    /// What is thrown, "nothing" or "another type".
    static std::string report(const wchar_t* text, bool throwIt, bool appendSystemError) {
        try {
            reportFailure(text, throwIt, appendSystemError);
        } catch (const std::runtime_error& failure) {
            return typeid(failure) == typeid(std::runtime_error) ? failure.what() : "another type";
        }
        return "nothing";
    }

    testing::TraceCapture trace;
};

TEST_F(FailureTest, ThrowsAndTracesTheTextAlone) {
    os().SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ("Copy failed: C:\\a does not exist",
              report(L"Copy failed: C:\\a does not exist", true, false));
    EXPECT_EQ((Lines{L"ERROR Utilities: Copy failed: C:\\a does not exist"}), trace.lines());
}

TEST_F(FailureTest, AppendsTheTextOfTheLastErrorWithItsLineEnd) {
    os().SetLastError(ERROR_ACCESS_DENIED);
    const std::string thrown = report(L"CommitTransaction", true, true);
    EXPECT_EQ(failureText(L"CommitTransaction", ERROR_ACCESS_DENIED), thrown);
    EXPECT_EQ((Lines{failureLine(L"CommitTransaction", ERROR_ACCESS_DENIED)}), trace.lines());
    ASSERT_GT(thrown.size(), 2U);
    EXPECT_EQ("\r\n", thrown.substr(thrown.size() - 2));
    EXPECT_EQ(L'\n', trace.lines()[0].back());
}

TEST_F(FailureTest, ACodeWithoutATextIsNamedByItsNumber) {
    os().SetLastError(10783);
    EXPECT_EQ("CreateTransaction failed: Unknown error code: 0x2a1f",
              report(L"CreateTransaction", true, true));
}

TEST_F(FailureTest, OnlyTracesWhenNotToThrow) {
    os().SetLastError(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ("nothing", report(L"GetFileAttributesTransacted", false, true));
    EXPECT_EQ("nothing", report(L"plain", false, false));
    EXPECT_EQ((Lines{failureLine(L"GetFileAttributesTransacted", ERROR_FILE_NOT_FOUND),
                     L"ERROR Utilities: plain"}),
              trace.lines());
}

TEST_F(FailureTest, ReadsTheLastErrorBeforeAnyOtherCall) {
    const CallLog log(~0U);
    os().SetLastError(ERROR_DISK_FULL);
    (void)report(L"CopyFileTransacted", false, true);
    ASSERT_GT(log.calls().size(), 3U);
    EXPECT_EQ(L"GetLastError()", log.calls()[1]);
    EXPECT_EQ(0U, log.calls()[2].find(L"FormatMessageW(4864, null, 112, 1024, ")) << "not at once";
}

TEST_F(FailureTest, DoesNotAskForTheLastErrorThatItDoesNotWant) {
    ScopedCall<&Calls::GetLastError> lastError([]() -> DWORD { return ERROR_DISK_FULL; });
    ScopedCall<&Calls::FormatMessageW> message(
        [](DWORD, const void*, DWORD, DWORD, wchar_t*, DWORD, va_list*) -> DWORD { return 0; });
    EXPECT_EQ("text", report(L"text", true, false));
    EXPECT_EQ(0, lastError.count());
    EXPECT_EQ(0, message.count());
}

TEST_F(FailureTest, WhatIsThrownHasLostTheUpperBytes) {
    EXPECT_EQ("CreateFile \xE4\x41\xE5", report(L"CreateFile \u00E4\u0141\u65E5", true, false));
    EXPECT_EQ((Lines{L"ERROR Utilities: CreateFile \u00E4\u0141\u65E5"}), trace.lines());
}

TEST_F(FailureTest, ATextIsNeverTakenForAMarker) {
    const Lines texts = {L"\\\\Fileserver\\x is not a link",
                         L"\\\\Linux01\\x does not exist",
                         L"\\\\Seven\\x does not exist",
                         L"!~Sev:INFO",
                         L"!~Fil:",
                         L"!~Lin:"};
    Lines expected;
    for (const std::wstring& text : texts) {
        (void)report(text.c_str(), true, false);
        expected.push_back(L"ERROR Utilities: " + text);
    }
    EXPECT_EQ(expected, trace.lines());
}

TEST_F(FailureTest, AnEmptyTextIsAMessageToo) {
    EXPECT_EQ("", report(L"", true, false));
    os().SetLastError(10783);
    EXPECT_EQ(" failed: Unknown error code: 0x2a1f", report(L"", true, true));
    EXPECT_EQ(
        (Lines{L"ERROR Utilities: ", L"ERROR Utilities:  failed: Unknown error code: 0x2a1f"}),
        trace.lines());
}

}  // namespace
}  // namespace Tallowmere
