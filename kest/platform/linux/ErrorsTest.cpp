// What is particular to this system's message texts; what they share with Windows is in contract/.

#include <gtest/gtest.h>

#include <string>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/linux/testing/FailingAllocation.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere::platform {
namespace {

using testing::FailingAllocation;
using testing::ScopedCall;

constexpr DWORD kAsItStands = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;

TEST(LinuxErrors, GivesTheWindowsTexts) {
    EXPECT_EQ(L"The operation completed successfully.\r\n",
              (os().SetLastError(0), getSystemErrorMessage(0, nullptr)));
    EXPECT_EQ(L"The system cannot find the file specified.\r\n", getSystemErrorMessage(2, nullptr));
    EXPECT_EQ(L"Access is denied.\r\n", getSystemErrorMessage(5, nullptr));
    EXPECT_EQ(L"%1 is not a valid Win32 application.\r\n", getSystemErrorMessage(193, nullptr));
    EXPECT_EQ(
        L"The system cannot find message text for message number 0x%1 in the message file for "
        L"%2.\r\n",
        getSystemErrorMessage(317, nullptr));
}

TEST(LinuxErrors, HasNoTextsForResultCodes) {
    EXPECT_EQ(L"Unknown error code: 0x80070005", getSystemErrorMessage(2147942405UL, nullptr));
}

TEST(LinuxErrors, HasNoMessagesOfModules) {
    int module = 0;
    wchar_t* text = nullptr;
    EXPECT_EQ(0U, os().FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER |
                                          FORMAT_MESSAGE_FROM_HMODULE |
                                          FORMAT_MESSAGE_IGNORE_INSERTS,
                                      &module, 2, 0x400, reinterpret_cast<wchar_t*>(&text), 0,
                                      nullptr));
    EXPECT_EQ(1813U, os().GetLastError());
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(L"Unknown error code: 0x80041010", getSystemErrorMessage(0x80041010UL, &module));
}

TEST(LinuxErrors, KnowsEnglishOnly) {
    wchar_t buffer[64];
    for (const DWORD language : {0x0U, 0x400U, 0x800U, 0x409U, 0x809U, 0x9U}) {
        EXPECT_EQ(19U, os().FormatMessageW(kAsItStands, nullptr, 5, language, buffer, 64, nullptr))
            << language;
        EXPECT_STREQ(L"Access is denied.\r\n", buffer);
    }
    for (const DWORD language : {0x407U, 0x7U, 0x40CU, 0x411U}) {
        EXPECT_EQ(0U, os().FormatMessageW(kAsItStands, nullptr, 5, language, buffer, 64, nullptr));
        EXPECT_EQ(1815U, os().GetLastError());
    }
}

TEST(LinuxErrors, RefusesATextOfTheCallersOwn) {
    wchar_t buffer[64];
    constexpr DWORD kFromString = 0x400;
    EXPECT_EQ(0U, os().FormatMessageW(kFromString | FORMAT_MESSAGE_IGNORE_INSERTS, L"text", 0, 0,
                                      buffer, 64, nullptr));
    EXPECT_EQ(87U, os().GetLastError());
}

TEST(LinuxErrors, FreesTheTextWhenCopyingItRunsOutOfMemory) {
    const ScopedCall<&Calls::LocalFree>* self = nullptr;
    const ScopedCall<&Calls::LocalFree> release(
        [&](HLOCAL memory) { return self->original(memory); });
    self = &release;
    {
        const FailingAllocation noMemory(1);
        EXPECT_THROW((void)getSystemErrorMessage(2, nullptr), std::bad_alloc);
    }
    EXPECT_EQ(1, release.count());
}

}  // namespace
}  // namespace Tallowmere::platform
