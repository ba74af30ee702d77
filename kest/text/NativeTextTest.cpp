#include "kest/text/NativeText.h"

#include <gtest/gtest.h>

// What holds on every system; the rest stands beside each system's part.
namespace Tallowmere {
namespace {

TEST(NativeText, WidensUtf8) {
    EXPECT_EQ(L"", fromNative(""));
    EXPECT_EQ(L"plain/name.txt", fromNative("plain/name.txt"));
    EXPECT_EQ(L"r\u00E9sum\u00E9 \u65E5", fromNative("r\xC3\xA9sum\xC3\xA9 \xE6\x97\xA5"));
    EXPECT_EQ(L"\U0001F600", fromNative("\xF0\x9F\x98\x80"));
}

TEST(NativeText, NarrowsToUtf8) {
    EXPECT_EQ("", toNative(L""));
    EXPECT_EQ("r\xC3\xA9sum\xC3\xA9 \xE6\x97\xA5", toNative(L"r\u00E9sum\u00E9 \u65E5"));
    EXPECT_EQ("\xF0\x9F\x98\x80", toNative(L"\U0001F600"));
}

TEST(NativeText, LeavesSeparatorsAlone) {
    EXPECT_EQ("a\\b/c", toNative(L"a\\b/c"));
}

TEST(NativeText, ReplacesWhatIsNoCharacter) {
    const wchar_t half[] = {L'a', 0xD800, L'z', 0};
    EXPECT_EQ("a\xEF\xBF\xBDz", toNative(half));
    EXPECT_EQ("a\xEF\xBF\xBDz", toUtf8(half));
}

TEST(NativeText, Utf8KeepsPrivateUseCharacters) {
    EXPECT_EQ("\xEF\x81\x9C\xEF\x83\xBF", toUtf8(L"\uF05C\uF0FF"));
}

}  // namespace
}  // namespace Tallowmere
