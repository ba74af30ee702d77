#include "kest/text/NativeText.h"

#include <gtest/gtest.h>

namespace Tallowmere {
namespace {

TEST(NativeTextOnWindows, KeepsABackslash) {
    EXPECT_EQ(L"C:\\a", fromNative("C:\\a"));
    EXPECT_EQ("C:\\a", toNative(L"C:\\a"));
}

TEST(NativeTextOnWindows, ReplacesStrayBytes) {
    EXPECT_EQ(L"\uFFFD\uFFFDx\uFFFD", fromNative("\xFF\x80x\xC3"));
}

TEST(NativeTextOnWindows, KeepsPrivateUseCharacters) {
    EXPECT_EQ(L"\uF05C", fromNative("\xEF\x81\x9C"));
    EXPECT_EQ("\xEF\x81\x9C", toNative(L"\uF05C"));
}

}  // namespace
}  // namespace Tallowmere
