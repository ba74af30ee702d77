// What is particular to the console of this system; the rest is in kest/platform/ConsoleTest.cpp.

#include "kest/platform/ConsoleFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <iostream>
#include <string>

#include "kest/platform/Console.h"
#include "kest/platform/testing/CapturedConsole.h"

namespace Tallowmere::platform {
namespace {

using testing::capturedConsole;

TEST(LinuxConsole, FollowsAHostThatHasUncoupledItsStreams) {
    EXPECT_EQ("1 wide 2 \xC3\xA9 3 wide 4 \xC3\xA9 5 narrow 6 error \xC3\xA9", capturedConsole([] {
                  std::ios_base::sync_with_stdio(false);
                  std::wcout << L"1 wide ";
                  consoleOutput() << L"2 \u00e9 " << std::flush;
                  std::wcout << L"3 wide ";
                  consoleOutput() << L"4 \u00e9 " << std::flush;
                  std::wcerr << L"5 ";
                  narrowConsoleErrors() << "narrow ";
                  consoleErrors() << L"6 error \u00e9";
              }));
}

TEST(LinuxConsole, StaysGoodWhenNothingCanBeWritten) {
    EXPECT_EQ("later \xC3\xA9", capturedConsole([] {
                  const int kept = dup(STDERR_FILENO);
                  (void)close(STDERR_FILENO);
                  consoleErrors() << L"lost" << std::flush;
                  (void)dup2(kept, STDERR_FILENO);
                  if (consoleErrors().good()) {
                      consoleErrors() << L"later \u00e9";
                  }
              }));
}

TEST(LinuxConsole, LeavesErrnoAlone) {
    EXPECT_EQ("77", capturedConsole([] {
                  const int kept = dup(STDERR_FILENO);
                  (void)close(STDERR_FILENO);
                  errno = 77;
                  consoleErrors() << L"lost" << std::flush;
                  const int error = errno;
                  (void)dup2(kept, STDERR_FILENO);
                  consoleErrors() << error;
              }));
}

TEST(LinuxConsole, WritesUtf8InAnyLocale) {
    EXPECT_EQ("\xC3\xA9 wide \xC3\xA9 \xC3\xA9", capturedConsole([] {
                  (void)std::setlocale(LC_ALL, "C");
                  consoleOutput() << L"\u00e9 ";
                  (void)std::setlocale(LC_ALL, "C.UTF-8");
                  std::fputws(L"wide \u00e9 ", stdout);
                  (void)std::setlocale(LC_ALL, "C");
                  consoleOutput() << L"\u00e9";
              }));
}

TEST(LinuxConsole, ComesAfterWhatTheHostHasLeftInItsBuffer) {
    for (const bool isWide : {false, true}) {
        EXPECT_EQ("buffered \xC3\xA9", capturedConsole([&] {
                      char buffer[512];
                      (void)std::setvbuf(stderr, buffer, _IOFBF, sizeof(buffer));
                      if (isWide) {
                          std::fputws(L"buffered ", stderr);
                      } else {
                          std::fputs("buffered ", stderr);
                      }
                      consoleErrors() << L"\u00e9";
                      (void)std::fflush(stderr);
                      (void)std::setvbuf(stderr, nullptr, _IONBF, 0);
                  }));
    }
}

TEST(LinuxConsole, DecidesForNarrowTextOnTheErrorStreamOnly) {
    EXPECT_EQ("x\xC3\xA9 output 0 errors -1", capturedConsole([] {
                  consoleOutput() << L'x';
                  consoleErrors() << L"\u00e9 ";
                  const int output = std::fwide(stdout, 0);
                  const int errors = std::fwide(stderr, 0);
                  consoleErrors() << L"output " << output << L" errors " << errors;
              }));
}

TEST(LinuxConsole, ReplacesTheNarrowStreamOnceAWideOneHasMadeItMute) {
    EXPECT_EQ("wide 01", capturedConsole([] {
                  const bool before = &narrowConsoleErrors() != &std::cerr;
                  std::wcerr << L"wide ";
                  const bool after = &narrowConsoleErrors() != &std::cerr;
                  narrowConsoleErrors() << before << after;
              }));
}

TEST(LinuxConsole, WaitsForAPipeThatDoesNot) {
    std::wstring text;
    std::string expected;
    for (int i = 0; i < 50000; ++i) {
        text += L"\u65e5" + std::to_wstring(i % 10);
        expected += "\xE6\x97\xA5" + std::to_string(i % 10);
    }
    for (const bool isWide : {false, true}) {
        int ends[2];
        ASSERT_EQ(0, pipe(ends));
        const pid_t child = fork();
        if (child == 0) {
            (void)dup2(ends[1], STDERR_FILENO);
            (void)close(ends[0]);
            (void)close(ends[1]);
            (void)fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK);
            if (std::freopen("/dev/fd/2", "a", stderr) == nullptr) {
                _exit(1);
            }
            (void)fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK);
            (void)std::fwide(stderr, isWide ? 1 : -1);
            consoleErrors() << text;
            _exit(0);
        }
        (void)close(ends[1]);
        std::string arrived;
        char buffer[4096];
        for (ssize_t count = 0; (count = read(ends[0], buffer, sizeof(buffer))) > 0;) {
            arrived.append(buffer, static_cast<std::size_t>(count));
        }
        (void)close(ends[0]);
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
        EXPECT_EQ(expected, arrived);
    }
}

}  // namespace
}  // namespace Tallowmere::platform
