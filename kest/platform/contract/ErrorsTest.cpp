// What the library relies on in the calls of the family Errors, in the words of Windows.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>

#include "kest/platform/Calls.h"

namespace Tallowmere::platform {
namespace {

constexpr DWORD kUntouchedError = 4711;
constexpr DWORD kInto = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
constexpr DWORD kAllocated = FORMAT_MESSAGE_ALLOCATE_BUFFER | kInto;
constexpr wchar_t kFiller = L'~';

/// A code that no message table of the system holds.
constexpr DWORD kNoText = 10783;

/// A buffer that shows what was written.
struct Buffer {
    Buffer() {
        std::fill(std::begin(units), std::end(units), kFiller);
        os().SetLastError(kUntouchedError);
    }
    wchar_t units[512];
};

std::wstring textOf(DWORD code) {
    Buffer buffer;
    const DWORD length =
        os().FormatMessageW(kInto, nullptr, code, 0x400, buffer.units, 512, nullptr);
    return {buffer.units, length};
}

TEST(ErrorsContract, TheLastErrorIsTheThreadsOwn) {
    // Nothing else is called while it counts: beginning and ending a thread makes calls of its own.
    std::atomic<int> step{0};
    DWORD seen = 0;
    std::thread other([&] {
        while (step != 1) {
        }
        os().SetLastError(2);
        seen = os().GetLastError();
        step = 2;
    });
    os().SetLastError(5);
    step = 1;
    while (step != 2) {
    }
    EXPECT_EQ(5U, os().GetLastError());
    other.join();
    EXPECT_EQ(2U, seen);
    os().SetLastError(0xFFFFFFFFU);
    EXPECT_EQ(0xFFFFFFFFU, os().GetLastError());
}

TEST(ErrorsContract, TextsEndInALineEnd) {
    for (const DWORD code : {0U, 1U, 2U, 3U, 5U, 6U, 18U, 32U, 87U, 112U, 145U, 183U, 288U}) {
        const std::wstring text = textOf(code);
        ASSERT_LT(2U, text.size()) << code;
        EXPECT_EQ(L"\r\n", text.substr(text.size() - 2)) << code;
        EXPECT_EQ(std::wstring::npos, text.find(L'\0')) << code;
    }
}

TEST(ErrorsContract, AnAllocatedTextIsTerminatedAndFreed) {
    wchar_t* text = nullptr;
    os().SetLastError(kUntouchedError);
    const DWORD length = os().FormatMessageW(kAllocated, nullptr, 2, 0x400,
                                             reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    EXPECT_EQ(kUntouchedError, os().GetLastError());
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(textOf(2), std::wstring(text));
    EXPECT_EQ(length, std::wstring(text).size());
    EXPECT_EQ(nullptr, os().LocalFree(text));
}

TEST(ErrorsContract, AnAllocatedTextHasAtLeastTheRoomThatWasAskedFor) {
    wchar_t* text = nullptr;
    const DWORD length = os().FormatMessageW(kAllocated, nullptr, 2, 0x400,
                                             reinterpret_cast<wchar_t*>(&text), 5000, nullptr);
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(textOf(2), std::wstring(text, length));
    std::fill(text, text + 5000, L'x');
    EXPECT_EQ(nullptr, os().LocalFree(text));
}

TEST(ErrorsContract, FreeingNullDoesNothing) {
    os().SetLastError(kUntouchedError);
    EXPECT_EQ(nullptr, os().LocalFree(nullptr));
    EXPECT_EQ(kUntouchedError, os().GetLastError());
}

TEST(ErrorsContract, ACodeWithoutATextLeavesTheOutputNull) {
    wchar_t filler = kFiller;
    wchar_t* text = &filler;
    EXPECT_EQ(0U, os().FormatMessageW(kAllocated, nullptr, kNoText, 0x400,
                                      reinterpret_cast<wchar_t*>(&text), 0, nullptr));
    EXPECT_EQ(DWORD{ERROR_MR_MID_NOT_FOUND}, os().GetLastError());
    EXPECT_EQ(nullptr, text);
}

TEST(ErrorsContract, ACodeWithoutATextLeavesTheCallersBufferAlone) {
    const Buffer buffer;
    EXPECT_EQ(0U, os().FormatMessageW(kInto, nullptr, kNoText, 0x400,
                                      const_cast<wchar_t*>(buffer.units), 512, nullptr));
    EXPECT_EQ(DWORD{ERROR_MR_MID_NOT_FOUND}, os().GetLastError());
    EXPECT_EQ(std::wstring(512, kFiller), std::wstring(buffer.units, 512));
}

TEST(ErrorsContract, TheCallersBufferIsFilled) {
    const std::wstring text = textOf(2);
    const auto length = static_cast<DWORD>(text.size());
    Buffer buffer;
    EXPECT_EQ(length,
              os().FormatMessageW(kInto, nullptr, 2, 0x400, buffer.units, length + 1, nullptr));
    EXPECT_EQ(kUntouchedError, os().GetLastError());
    EXPECT_EQ(text + L'\0' + kFiller, std::wstring(buffer.units, length + 2));
}

TEST(ErrorsContract, ABufferThatIsTooSmallIsAFailure) {
    const std::wstring text = textOf(2);
    for (const DWORD size : {static_cast<DWORD>(text.size()), DWORD{3}, DWORD{1}}) {
        Buffer buffer;
        EXPECT_EQ(0U, os().FormatMessageW(kInto, nullptr, 2, 0x400, buffer.units, size, nullptr));
        EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, os().GetLastError());
        EXPECT_EQ(text.substr(0, size - 1) + L'\0' + kFiller, std::wstring(buffer.units, size + 1));
    }
    Buffer buffer;
    EXPECT_EQ(0U, os().FormatMessageW(kInto, nullptr, 2, 0x400, buffer.units, 0, nullptr));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, os().GetLastError());
    EXPECT_EQ(kFiller, buffer.units[0]);
}

TEST(ErrorsContract, ANullOutputIsRefused) {
    for (const DWORD flags : {kInto, kAllocated}) {
        EXPECT_EQ(0U, os().FormatMessageW(flags, nullptr, 2, 0x400, nullptr, 64, nullptr));
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, os().GetLastError());
    }
}

TEST(ErrorsContract, ACallWithoutASourceIsRefused) {
    wchar_t filler = kFiller;
    wchar_t* text = &filler;
    EXPECT_EQ(
        0U, os().FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS,
                                nullptr, 2, 0x400, reinterpret_cast<wchar_t*>(&text), 0, nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, os().GetLastError());
    EXPECT_EQ(nullptr, text);
}

TEST(ErrorsContract, TheSystemAnswersWhenTheModuleCannot) {
    // The program itself, which has no messages.
    const std::wstring text = textOf(2);
    Buffer buffer;
    const DWORD length = os().FormatMessageW(kInto | FORMAT_MESSAGE_FROM_HMODULE, nullptr, 2, 0x400,
                                             buffer.units, 512, nullptr);
    EXPECT_EQ(text, std::wstring(buffer.units, length));
    EXPECT_EQ(0U, os().FormatMessageW(kInto | FORMAT_MESSAGE_FROM_HMODULE, nullptr, kNoText, 0x400,
                                      buffer.units, 512, nullptr));
    EXPECT_EQ(DWORD{ERROR_MR_MID_NOT_FOUND}, os().GetLastError());
}

TEST(ErrorsContract, ALanguageThatTheSystemLacksIsAFailure) {
    constexpr DWORD kKazakh = 0x43F;
    Buffer buffer;
    EXPECT_EQ(0U, os().FormatMessageW(kInto, nullptr, 2, kKazakh, buffer.units, 512, nullptr));
    EXPECT_EQ(DWORD{ERROR_RESOURCE_LANG_NOT_FOUND}, os().GetLastError());
}

TEST(ErrorsContract, InsertionsStayWhenTheyAreToBeIgnored) {
    EXPECT_NE(std::wstring::npos, textOf(193).find(L"%1"));
}

TEST(ErrorsContract, InsertionsNeedArguments) {
    Buffer buffer;
    EXPECT_EQ(0U, os().FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 193, 0x400, buffer.units,
                                      512, nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, os().GetLastError());
    const std::wstring text = textOf(2);
    const DWORD length = os().FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 2, 0x400,
                                             buffer.units, 512, nullptr);
    EXPECT_EQ(text, std::wstring(buffer.units, length));
}

}  // namespace
}  // namespace Tallowmere::platform
