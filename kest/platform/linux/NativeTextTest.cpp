#include "kest/text/NativeText.h"

#include <gtest/gtest.h>

namespace Tallowmere {
namespace {

TEST(NativeTextOnLinux, MapsABackslashAndStrayBytes) {
    EXPECT_EQ(L"a\uF05Cb", fromNative("a\\b"));
    EXPECT_EQ(L"\uF0FF\uF080x\uF0C3", fromNative("\xFF\x80x\xC3"));
    EXPECT_EQ("a\\b", toNative(L"a\uF05Cb"));
    EXPECT_EQ("\xFF\x80x\xC3", toNative(L"\uF0FF\uF080x\uF0C3"));
}

TEST(NativeTextOnLinux, MapsNamesThatHoldThePrivateCharactersThemselves) {
    const std::string name = "\xEF\x81\x9C";  // U+F05C
    EXPECT_EQ(L"\uF0EF\uF081\uF09C", fromNative(name));
    EXPECT_EQ(name, toNative(fromNative(name)));
}

TEST(NativeTextOnLinux, GivesEveryTwoBytesBack) {
    for (int first = 1; first < 256; ++first) {
        for (int second = 1; second < 256; ++second) {
            const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(bytes, toNative(fromNative(bytes))) << first << " " << second;
        }
    }
}

}  // namespace
}  // namespace Tallowmere
