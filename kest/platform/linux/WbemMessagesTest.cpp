#include "kest/platform/linux/WbemMessages.h"

#include <gtest/gtest.h>

#include <string>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"

namespace Tallowmere::platform {
namespace {

TEST(WbemMessages, HasTheServicesTexts) {
    EXPECT_STREQ("Generic failure", wbemMessage(0x80041001U));
    EXPECT_STREQ("Not found", wbemMessage(0x80041002U));
    EXPECT_STREQ("Critical error", wbemMessage(0x8004100AU));
    EXPECT_STREQ("Invalid namespace", wbemMessage(0x8004100EU));
    EXPECT_STREQ("Invalid class", wbemMessage(0x80041010U));
    EXPECT_STREQ("Invalid query", wbemMessage(0x80041017U));
    EXPECT_STREQ("Invalid method", wbemMessage(0x8004102EU));
    EXPECT_STREQ("Invalid object path", wbemMessage(0x8004103AU));
    EXPECT_STREQ("Buffer too small", wbemMessage(0x8004103CU));
}

TEST(WbemMessages, HasNoOthers) {
    for (const DWORD code : {0U, 1U, 2U, 0x80041000U, 0x8004103DU, 0x80070005U, 0xFFFFFFFFU}) {
        EXPECT_EQ(nullptr, wbemMessage(code)) << code;
    }
}

TEST(WbemMessages, AreTheMessagesOfTheModule) {
    const HMODULE module = os().LoadLibraryW(kWbemMessagePath);
    ASSERT_NE(nullptr, module);
    EXPECT_EQ(L"Invalid class\r\n", getSystemErrorMessage(0x80041010U, module));
    EXPECT_EQ(L"Unknown error code: 0x80070005", getSystemErrorMessage(0x80070005U, module));
    // The system's own table has none of them.
    EXPECT_EQ(L"Unknown error code: 0x80041010", getSystemErrorMessage(0x80041010U, nullptr));
}

TEST(WbemMessages, AreInEnglishAlone) {
    wchar_t text[64];
    const HMODULE module = wbemMessageModule();
    constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS;
    EXPECT_EQ(15U, os().FormatMessageW(kFlags, module, 0x80041010U, 0x409, text, 64, nullptr));
    EXPECT_EQ(0U, os().FormatMessageW(kFlags, module, 0x80041010U, 0x407, text, 64, nullptr));
    EXPECT_EQ(DWORD{ERROR_RESOURCE_LANG_NOT_FOUND}, os().GetLastError());
    EXPECT_EQ(0U, os().FormatMessageW(kFlags, module, 2, 0x400, text, 64, nullptr));
    EXPECT_EQ(DWORD{ERROR_MR_MID_NOT_FOUND}, os().GetLastError());
    // The system's table answers in its place when it may.
    EXPECT_NE(0U, os().FormatMessageW(kFlags | FORMAT_MESSAGE_FROM_SYSTEM, module, 2, 0x400, text,
                                      64, nullptr));
}

TEST(WbemMessages, TheModuleIsFoundInItsPlaceAlone) {
    EXPECT_NE(nullptr, os().LoadLibraryW(L"c:\\windows\\SYSTEM32\\wbem\\WMIUTILS.DLL"));
    for (const wchar_t* path : {L"wmiutils.dll", L"C:\\Windows\\system32\\wmiutils.dll",
                                L".\\wmiutils.dll", L"C:\\Windows\\system32\\wbem\\other.dll"}) {
        EXPECT_EQ(nullptr, os().LoadLibraryW(path)) << path;
        EXPECT_EQ(DWORD{ERROR_MOD_NOT_FOUND}, os().GetLastError());
    }
    EXPECT_EQ(nullptr, os().LoadLibraryW(nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, os().GetLastError());
}

}  // namespace
}  // namespace Tallowmere::platform
