#include "kest/restore/MessageModule.h"

#include <gtest/gtest.h>

#include <string>

#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::os;
using platform::testing::failing;
using platform::testing::ScopedCall;

std::wstring systemDirectory() {
    wchar_t directory[MAX_PATH];
    const UINT length = os().GetSystemDirectoryW(directory, static_cast<UINT>(MAX_PATH));
    return {directory, length};
}

TEST(MessageModule, IsLoadedWithTheLibrary) {
    // Every system that the library knows has it.
    EXPECT_NE(nullptr, s_messageModule);
    EXPECT_EQ(s_messageModule, loadMessageModule());
}

TEST(MessageModule, ComesFromTheSystemsOwnPlaceAlone) {
    const std::wstring expected = systemDirectory() + L"\\wbem\\wmiutils.dll";
    const platform::testing::CallLog log(platform::testing::Com);
    EXPECT_NE(nullptr, loadMessageModule());
    ASSERT_EQ(2U, log.calls().size());
    EXPECT_EQ(L"GetSystemDirectoryW(#1, 260)", log.calls()[0]);
    EXPECT_EQ(L"LoadLibraryW(\"" + expected + L"\")", log.calls()[1]);
}

TEST(MessageModule, IsNullWhenItIsMissing) {
    const ScopedCall<&Calls::LoadLibraryW> load(
        [](const wchar_t*) { return failing(HMODULE{}, DWORD{ERROR_MOD_NOT_FOUND}); });
    EXPECT_EQ(nullptr, loadMessageModule());
    EXPECT_EQ(1, load.count());
}

TEST(MessageModule, IsNotLookedForWithoutASystemDirectory) {
    const ScopedCall<&Calls::LoadLibraryW> load([](const wchar_t*) { return HMODULE{}; });
    {
        const ScopedCall<&Calls::GetSystemDirectoryW> none(
            [](wchar_t*, UINT) { return failing(UINT{0}, DWORD{ERROR_INVALID_PARAMETER}); });
        EXPECT_EQ(nullptr, loadMessageModule());
    }
    {
        const ScopedCall<&Calls::GetSystemDirectoryW> tooLong(
            [](wchar_t*, UINT size) { return size + 1; });
        EXPECT_EQ(nullptr, loadMessageModule());
    }
    EXPECT_EQ(0, load.count());
}

}  // namespace
}  // namespace Tallowmere
