#include "kest/diagnostics/SystemErrors.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <iostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/CapturedConsole.h"
#include "kest/platform/testing/FaultSweep.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::os;
using platform::testing::CallLog;
using platform::testing::capturedConsole;
using platform::testing::failing;
using platform::testing::Fault;
using platform::testing::FaultSpan;
using platform::testing::kCapturedLineEnd;
using platform::testing::ScopedCall;

using FormatCall = ScopedCall<&Calls::FormatMessageW>;
using FreeCall = ScopedCall<&Calls::LocalFree>;
using DigitsCall = ScopedCall<&Calls::_itow_s>;

/// The system's own text for a code, asked for in another way than the library does.
std::wstring systemText(DWORD code) {
    wchar_t buffer[1024];
    const DWORD length =
        os().FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                            code, 0, buffer, 1024, nullptr);
    return {buffer, length};
}

/// Plays a message table that holds one text for every code.
class OneText {
public:
    explicit OneText(const wchar_t* text)
        : m_text(text),
          m_format([this](DWORD, const void*, DWORD, DWORD, wchar_t* buffer, DWORD, va_list*) {
              *reinterpret_cast<wchar_t**>(buffer) = m_text.data();
              return static_cast<DWORD>(m_text.size());
          }),
          m_free([this](HLOCAL memory) -> HLOCAL {
              EXPECT_EQ(m_text.data(), memory);
              return nullptr;
          }) {}

    int freed() const { return m_free.count(); }

private:
    std::wstring m_text;
    FormatCall m_format;
    FreeCall m_free;
};

/// Puts a buffer of the test's own into std::wcerr and takes it out again.
class OwnErrors {
public:
    OwnErrors() : m_previous(std::wcerr.rdbuf(&m_buffer)) {}
    ~OwnErrors() { std::wcerr.rdbuf(m_previous); }
    OwnErrors(const OwnErrors&) = delete;
    OwnErrors& operator=(const OwnErrors&) = delete;

    std::wstring text() const { return m_buffer.str(); }

private:
    std::wstringbuf m_buffer;
    std::wstreambuf* m_previous;
};

TEST(GetSystemErrorMessage, GivesTheSystemsTextAsItIs) {
    for (const DWORD code : {1U, 2U, 5U, 112U, 145U, 183U, 1314U}) {
        const std::wstring text = systemText(code);
        ASSERT_LT(2U, text.size());
        EXPECT_EQ(L"\r\n", text.substr(text.size() - 2));
        EXPECT_EQ(text, getSystemErrorMessage(code, nullptr));
    }
}

TEST(GetSystemErrorMessage, TakesZeroForTheLastError) {
    const std::wstring expected = systemText(5);
    os().SetLastError(5);
    EXPECT_EQ(expected, getSystemErrorMessage(0, nullptr));
}

TEST(GetSystemErrorMessage, GivesTheTextOfCodeZeroWhenThereIsNoLastError) {
    const std::wstring expected = systemText(0);
    ASSERT_LT(2U, expected.size());
    os().SetLastError(0);
    EXPECT_EQ(expected, getSystemErrorMessage(0, nullptr));
}

TEST(GetSystemErrorMessage, ReadsTheLastErrorBeforeAnyOtherCall) {
    os().SetLastError(2);
    CallLog log(platform::testing::Errors | platform::testing::Runtime);
    (void)getSystemErrorMessage(0, nullptr);
    EXPECT_EQ((std::vector<std::wstring>{L"GetLastError", L"FormatMessageW", L"LocalFree"}),
              log.names());
}

TEST(GetSystemErrorMessage, DoesNotReadTheLastErrorWhenGivenACode) {
    CallLog log(platform::testing::Errors | platform::testing::Runtime);
    (void)getSystemErrorMessage(2, nullptr);
    EXPECT_EQ((std::vector<std::wstring>{L"FormatMessageW", L"LocalFree"}), log.names());
}

TEST(GetSystemErrorMessage, AsksTheSystem) {
    const FormatCall format([](DWORD flags, const void* source, DWORD code, DWORD language,
                               wchar_t* buffer, DWORD size, va_list* arguments) {
        EXPECT_EQ(4864U, flags);
        EXPECT_EQ(nullptr, source);
        EXPECT_EQ(32U, code);
        EXPECT_EQ(0x0400U, language);
        EXPECT_NE(nullptr, buffer);
        EXPECT_EQ(0U, size);
        EXPECT_EQ(nullptr, arguments);
        return failing(DWORD{0}, ERROR_MR_MID_NOT_FOUND);
    });
    EXPECT_EQ(L"Unknown error code: 0x20", getSystemErrorMessage(32, nullptr));
    EXPECT_EQ(1, format.count());
}

TEST(GetSystemErrorMessage, AsksTheModule) {
    int module = 0;
    const FormatCall format([&](DWORD flags, const void* source, DWORD code, DWORD language,
                                wchar_t* buffer, DWORD size, va_list* arguments) {
        EXPECT_EQ(2816U, flags);
        EXPECT_EQ(&module, source);
        EXPECT_EQ(0x80041010U, code);
        EXPECT_EQ(0x0400U, language);
        EXPECT_NE(nullptr, buffer);
        EXPECT_EQ(0U, size);
        EXPECT_EQ(nullptr, arguments);
        return failing(DWORD{0}, ERROR_RESOURCE_TYPE_NOT_FOUND);
    });
    EXPECT_EQ(L"Unknown error code: 0x80041010", getSystemErrorMessage(0x80041010UL, &module));
    EXPECT_EQ(1, format.count());
}

TEST(GetSystemErrorMessage, TakesZeroForTheLastErrorWithAModuleToo) {
    int module = 0;
    os().SetLastError(0x80041017U);
    const FormatCall format([](DWORD, const void*, DWORD code, auto...) {
        EXPECT_EQ(0x80041017U, code);
        return failing(DWORD{0}, ERROR_RESOURCE_TYPE_NOT_FOUND);
    });
    EXPECT_EQ(L"Unknown error code: 0x80041017", getSystemErrorMessage(0, &module));
}

TEST(GetSystemErrorMessage, KeepsTheTextUntrimmedAndFreesIt) {
    const OneText table(L"  Invalid class \r\n\r\n");
    EXPECT_EQ(L"  Invalid class \r\n\r\n", getSystemErrorMessage(77, nullptr));
    EXPECT_EQ(1, table.freed());
}

TEST(GetSystemErrorMessage, TakesAsMuchOfTheTextAsTheSystemCounts) {
    FreeCall release([](HLOCAL) -> HLOCAL { return nullptr; });
    wchar_t text[] = L"abcdef";
    const FormatCall format([&](DWORD, const void*, DWORD, DWORD, wchar_t* buffer, auto...) {
        *reinterpret_cast<wchar_t**>(buffer) = text;
        return DWORD{4};
    });
    EXPECT_EQ(L"abcd", getSystemErrorMessage(77, nullptr));
}

TEST(GetSystemErrorMessage, LeavesInsertionsAsTheyStand) {
    EXPECT_NE(std::wstring::npos, getSystemErrorMessage(193, nullptr).find(L"%1"));
}

TEST(GetSystemErrorMessage, WritesACodeWithoutATextInHexadecimal) {
    EXPECT_EQ(L"Unknown error code: 0x2a1f", getSystemErrorMessage(10783, nullptr));
}

TEST(GetSystemErrorMessage, WritesACodeWithTheTopBitUnsigned) {
    const FormatCall none([](auto...) { return failing(DWORD{0}, ERROR_MR_MID_NOT_FOUND); });
    EXPECT_EQ(L"Unknown error code: 0x80070005", getSystemErrorMessage(2147942405UL, nullptr));
    EXPECT_EQ(L"Unknown error code: 0xffffffff", getSystemErrorMessage(0xFFFFFFFFUL, nullptr));
    EXPECT_EQ(L"Unknown error code: 0x80000000", getSystemErrorMessage(0x80000000UL, nullptr));
}

TEST(GetSystemErrorMessage, WritesNoLeadingZeros) {
    const FormatCall none([](auto...) { return failing(DWORD{0}, ERROR_MR_MID_NOT_FOUND); });
    EXPECT_EQ(L"Unknown error code: 0x1", getSystemErrorMessage(1, nullptr));
    EXPECT_EQ(L"Unknown error code: 0xabcdef", getSystemErrorMessage(0xABCDEF, nullptr));
    os().SetLastError(0);
    EXPECT_EQ(L"Unknown error code: 0x0", getSystemErrorMessage(0, nullptr));
}

TEST(GetSystemErrorMessage, TakesTheCodeAs32Bits) {
    // A negative 32-bit result that a caller has passed on; where `unsigned long` has 64 bits its
    // upper half is no part of the code.
    const auto wide = static_cast<unsigned long>(static_cast<int>(0x80041010U));
    EXPECT_EQ(L"Unknown error code: 0x80041010", getSystemErrorMessage(wide, nullptr));
}

TEST(GetSystemErrorMessage, ConvertsTheCodeIntoTwentyFourCharacters) {
    const DigitsCall digits([](int value, wchar_t* buffer, std::size_t size, int radix) {
        EXPECT_EQ(10783, value);
        EXPECT_EQ(24U, size);
        EXPECT_EQ(16, radix);
        buffer[0] = L'!';
        buffer[1] = L'\0';
        return 0;
    });
    EXPECT_EQ(L"Unknown error code: 0x!", getSystemErrorMessage(10783, nullptr));
    EXPECT_EQ(1, digits.count());
}

TEST(GetSystemErrorMessage, SaysUnavailableWhenTheConversionFails) {
    const DigitsCall digits([](auto...) { return 22; });
    EXPECT_EQ(L"Unknown error code: 0xUnavailable", getSystemErrorMessage(10783, nullptr));
}

TEST(GetSystemErrorMessage, FreesNothingWhenThereIsNoText) {
    const FreeCall release([](HLOCAL) -> HLOCAL { return nullptr; });
    (void)getSystemErrorMessage(10783, nullptr);
    EXPECT_EQ(0, release.count());
}

TEST(GetSystemErrorMessage, AlwaysHasAnAnswer) {
    std::wstring message;
    std::vector<std::wstring> messages;
    const int tried = platform::testing::sweepFaults(
        platform::testing::Errors | platform::testing::Runtime, FaultSpan::FromThereOn,
        [&] { message = getSystemErrorMessage(2, nullptr); },
        [&](const Fault& fault) { messages.push_back(fault.call + L": " + message); });
    EXPECT_EQ(2, tried);
    EXPECT_EQ((std::vector<std::wstring>{L": " + systemText(2),
                                         L"FormatMessageW: Unknown error code: 0xUnavailable",
                                         L"LocalFree: " + systemText(2)}),
              messages);
}

TEST(ReportSystemError, WritesTheOperationAndTheText) {
    const OwnErrors errors;
    reportSystemError(2, L"Opening the file");
    EXPECT_EQ(L"Opening the file failed: " + systemText(2) + L"\n", errors.text());
}

TEST(ReportSystemError, LeavesTheOperationAwayWhenThereIsNone) {
    const OwnErrors errors;
    reportSystemError(2, nullptr);
    EXPECT_EQ(systemText(2) + L"\n", errors.text());
}

TEST(ReportSystemError, TakesAnEmptyOperationForOne) {
    const OwnErrors errors;
    reportSystemError(2, L"");
    EXPECT_EQ(L" failed: " + systemText(2) + L"\n", errors.text());
}

TEST(ReportSystemError, TakesZeroForTheLastError) {
    const OwnErrors errors;
    os().SetLastError(5);
    reportSystemError(0, L"It");
    EXPECT_EQ(L"It failed: " + systemText(5) + L"\n", errors.text());
}

TEST(ReportSystemError, WritesTheFallBackOfAnUnknownCode) {
    const OwnErrors errors;
    reportSystemError(10783, L"It");
    EXPECT_EQ(L"It failed: Unknown error code: 0x2a1f\n", errors.text());
}

TEST(ReportSystemError, FlushesTheLine) {
    class Counting : public std::wstringbuf {
    public:
        int flushed = 0;

    protected:
        int sync() override { return ++flushed, 0; }
    } buffer;
    std::wstreambuf* const previous = std::wcerr.rdbuf(&buffer);
    // Which flushes after each piece by itself.
    std::wcerr.unsetf(std::ios_base::unitbuf);
    reportSystemError(2, L"It");
    std::wcerr.setf(std::ios_base::unitbuf);
    std::wcerr.rdbuf(previous);
    EXPECT_EQ(1, buffer.flushed);
}

TEST(ReportSystemError, ArrivesOnTheErrorStreamWhateverIsInTheText) {
    const std::string text = capturedConsole([] {
        const OneText table(L"Zugriff verweigert \u00fc \u65e5.\r\n");
        reportSystemError(5, L"\u00d6ffnen");
        std::cerr << "next" << std::endl;
    });
    const std::string end = kCapturedLineEnd;
    // Where a line feed becomes two characters, the one inside the system's text does, too.
    const std::string inner = end == "\n" ? "\r\n" : "\r\r\n";
    EXPECT_EQ("\xC3\x96" "ffnen failed: Zugriff verweigert \xC3\xBC \xE6\x97\xA5." + inner + end +
                  "next" + end,
              text);
}

TEST(ReportSystemError, ThrowsNothingWhenTheHostsStreamDoes) {
    class Broken : public std::wstreambuf {};
    Broken buffer;
    std::wstreambuf* const previous = std::wcerr.rdbuf(&buffer);
    std::wcerr.exceptions(std::ios_base::badbit);
    EXPECT_NO_THROW(reportSystemError(2, L"It"));
    EXPECT_TRUE(std::wcerr.bad());
    std::wcerr.exceptions(std::ios_base::goodbit);
    std::wcerr.rdbuf(previous);
}

}  // namespace
}  // namespace Tallowmere
