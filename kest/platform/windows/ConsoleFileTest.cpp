// What is particular to the C streams of this system; the rest is in kest/platform/ConsoleTest.cpp.

#include "kest/platform/ConsoleFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <io.h>

#include <cstdio>
#include <string>

#include "kest/platform/Console.h"
#include "kest/platform/contract/Differs.h"
#include "kest/platform/testing/CapturedConsole.h"

namespace Tallowmere::platform {
namespace {

using testing::capturedConsole;

/// The bytes that arrive when the host has set its error stream to `mode`.
std::string capturedInMode(int mode, const std::wstring& text) {
    return capturedConsole([&] {
        (void)std::fflush(stderr);
        const int previous = _setmode(_fileno(stderr), mode);
        consoleErrors() << text;
        (void)std::fflush(stderr);
        // Left as the host had set it.
        const int after = _setmode(_fileno(stderr), previous);
        // Which of the wide modes it is the run-time does not always tell.
        const bool isNarrow = mode == _O_TEXT || mode == _O_BINARY;
        consoleErrors() << (after == mode || !isNarrow ? L"" : L" changed");
    });
}

TEST(WindowsConsole, FollowsTheModeOfTheHostsStream) {
    EXPECT_EQ("\xC3\xA9\r\n", capturedInMode(_O_TEXT, L"\u00e9\n"));
    EXPECT_EQ("\xC3\xA9\n", capturedInMode(_O_BINARY, L"\u00e9\n"));
    // Wine's run-time takes the mode for UTF-8 for that for UTF-16.
    KEST_DIFFERS_ON_WINE(
        "writes UTF-16 in the mode for UTF-8",
        "\xC3\xA9\xE6\x97\xA5\r\n" == capturedInMode(_O_U8TEXT, L"\u00e9\u65e5\n"));
    EXPECT_EQ(std::string("\xE9\0\xE5\x65\r\0\n\0", 8),
              capturedInMode(_O_U16TEXT, L"\u00e9\u65e5\n"));
}

TEST(WindowsConsole, ReplacesHalfPairsOfSurrogatesInEveryMode) {
    const std::wstring half{L'a', wchar_t{0xD83D}, L'b'};
    EXPECT_EQ(
        "a\xEF\xBF\xBD"
        "b",
        capturedInMode(_O_TEXT, half));
    KEST_DIFFERS_ON_WINE("writes UTF-16 in the mode for UTF-8",
                         "a\xEF\xBF\xBD"
                         "b" == capturedInMode(_O_U8TEXT, half));
}

TEST(WindowsConsole, NarrowStreamsAreNeverMute) {
    EXPECT_FALSE(console::isWide(stderr));
    EXPECT_FALSE(console::isWide(stdout));
}

}  // namespace
}  // namespace Tallowmere::platform
