#include "kest/platform/Console.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cwchar>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/CapturedConsole.h"

namespace Tallowmere::platform {
namespace {

using testing::capturedConsole;
using testing::kCapturedLineEnd;

/// `lines` with each "\n" as it arrives on this system.
std::string arrived(const std::string& lines) {
    std::string result;
    for (const char c : lines) {
        result += c == '\n' ? std::string(kCapturedLineEnd) : std::string(1, c);
    }
    return result;
}

/// A buffer of the host's own, for a scope.
template <class Stream, class Buffer>
class HostsOwn {
public:
    HostsOwn(Stream& stream, Buffer& buffer)
        : m_stream(stream), m_previous(stream.rdbuf(&buffer)) {}
    ~HostsOwn() { m_stream.rdbuf(m_previous); }
    HostsOwn(const HostsOwn&) = delete;
    HostsOwn& operator=(const HostsOwn&) = delete;

private:
    Stream& m_stream;
    std::basic_streambuf<typename Stream::char_type>* m_previous;
};

TEST(Console, WritesUtf8) {
    EXPECT_EQ(arrived("plain \xC3\xA9 \xE2\x82\xAC \xE6\x97\xA5 \xF0\x9F\x98\x80\n"),
              capturedConsole([] {
                  consoleErrors() << L"plain \u00e9 \u20ac \u65e5 \U0001F600" << std::endl;
              }));
    EXPECT_EQ(arrived("plain \xC3\xA9 \xE2\x82\xAC \xE6\x97\xA5 \xF0\x9F\x98\x80\n"),
              capturedConsole([] {
                  consoleOutput() << L"plain \u00e9 \u20ac \u65e5 \U0001F600" << std::endl;
              }));
}

TEST(Console, WritesNumbersAndSingleCharacters) {
    EXPECT_EQ("line 1234567!", capturedConsole([] {
                  consoleErrors() << L"line " << 1234567;
                  consoleErrors().put(L'!');
              }));
}

TEST(Console, WritesHalfAPairOfSurrogatesAsAReplacement) {
    const wchar_t high = 0xD83D;
    const wchar_t low = 0xDE00;
    EXPECT_EQ(
        "a\xEF\xBF\xBD"
        "b",
        capturedConsole([&] {
            consoleErrors() << std::wstring{L'a', high, L'b'};
        }));
    EXPECT_EQ(
        "a\xEF\xBF\xBD"
        "b",
        capturedConsole([&] {
            consoleErrors() << std::wstring{L'a', low, L'b'};
        }));
    EXPECT_EQ("a\xEF\xBF\xBD", capturedConsole([&] {
                  consoleErrors() << std::wstring{L'a', high} << std::flush;
              }));
    EXPECT_EQ(
        "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
        "c",
        capturedConsole([&] {
            consoleErrors() << std::wstring{high, high} << std::wstring{high, L'c'};
        }));
}

TEST(Console, JoinsAPairOfSurrogatesThatComesInTwoPieces) {
    EXPECT_EQ(
        "a\xF0\x9F\x98\x80"
        "b",
        capturedConsole(
            [] { consoleErrors().put(L'a').put(wchar_t{0xD83D}).put(wchar_t{0xDE00}).put(L'b'); }));
    EXPECT_EQ(
        "a\xF0\x9F\x98\x80"
        "b",
        capturedConsole([] {
            consoleOutput() << std::wstring{L'a', wchar_t{0xD83D}};
            consoleOutput() << std::wstring{wchar_t{0xDE00}, L'b'};
        }));
}

TEST(Console, MixesWithAllOtherWriters) {
    EXPECT_EQ(arrived("1 \xC3\xA9\n2 narrow\n3 \xC3\xA9\n4 wide\n5 \xC3\xA9\n6 narrow\n7 C\n"
                      "8 \xC3\xA9\n9 narrow\n10 wide\n"),
              capturedConsole([] {
                  consoleErrors() << L"1 \u00e9" << std::endl;
                  std::cerr << "2 narrow" << std::endl;
                  consoleErrors() << L"3 \u00e9" << std::endl;
                  std::wcerr << L"4 wide" << std::endl;
                  consoleErrors() << L"5 \u00e9" << std::endl;
                  narrowConsoleErrors() << "6 narrow" << std::endl;
                  std::fputs("7 C\n", stderr);
                  consoleErrors() << L"8 \u00e9" << std::endl;
                  std::cerr << "9 narrow" << std::endl;
                  std::wcerr << L"10 wide" << std::endl;
              }));
}

TEST(Console, ArrivesAfterTheHostHasWrittenWideText) {
    EXPECT_EQ(arrived("1 wide\n2 \xC3\xA9\n3 narrow!\n4 wide\n5 \xC3\xA9\n6 narrow\n"),
              capturedConsole([] {
                  std::wcerr << L"1 wide" << std::endl;
                  consoleErrors() << L"2 \u00e9" << std::endl;
                  narrowConsoleErrors() << "3 narrow" << '!' << std::endl;
                  std::wcerr << L"4 wide" << std::endl;
                  consoleErrors() << L"5 \u00e9" << std::endl;
                  narrowConsoleErrors() << "6 narrow" << std::endl;
              }));
}

TEST(Console, MixesWithAllOtherWritersOfTheOutput) {
    EXPECT_EQ(arrived("1 \xC3\xA9\n2 narrow\n3 \xC3\xA9\n4 wide\n5 \xC3\xA9\n"),
              capturedConsole([] {
                  consoleOutput() << L"1 \u00e9\n";
                  std::cout << "2 narrow\n";
                  consoleOutput() << L"3 \u00e9\n";
                  std::wcout << L"4 wide\n";
                  consoleOutput() << L"5 \u00e9\n";
              }));
    EXPECT_EQ(arrived("1 wide\n2 \xC3\xA9\n3 wide\n4 \xC3\xA9\n"), capturedConsole([] {
                  std::wcout << L"1 wide\n";
                  consoleOutput() << L"2 \u00e9\n";
                  std::wcout << L"3 wide\n";
                  consoleOutput() << L"4 \u00e9\n";
              }));
}

TEST(Console, MixesWithTheWideFunctionsOfC) {
    EXPECT_EQ(arrived("1 \xC3\xA9\n2 wide C\n3 \xC3\xA9\n4 wide C\n"), capturedConsole([] {
                  consoleOutput() << L"1 \u00e9" << std::endl;
                  std::fputws(L"2 wide C\n", stdout);
                  consoleOutput() << L"3 \u00e9" << std::endl;
                  std::fwprintf(stdout, L"%d wide C\n", 4);
              }));
    EXPECT_EQ(arrived("1 wide C\n2 \xC3\xA9\n3 wide C\n"), capturedConsole([] {
                  std::fputws(L"1 wide C\n", stderr);
                  consoleErrors() << L"2 \u00e9" << std::endl;
                  std::fputws(L"3 wide C\n", stderr);
              }));
}

TEST(Console, WritesTheOutputBeforeALaterError) {
    EXPECT_EQ("output error", capturedConsole([] {
                  consoleOutput() << L"output ";
                  consoleErrors() << L"error";
              }));
    EXPECT_EQ("output error", capturedConsole([] {
                  std::wcout << L"output ";
                  consoleErrors() << L"error";
              }));
}

TEST(Console, IsTheHostsStreamWhileThatHasABufferOfTheHosts) {
    std::wstringbuf wide;
    std::stringbuf narrow;
    {
        const HostsOwn errors(std::wcerr, wide);
        EXPECT_EQ(&std::wcerr, &consoleErrors());
        EXPECT_NE(&std::wcout, &consoleOutput());
        consoleErrors() << L"seen \u65e5";
    }
    {
        const HostsOwn output(std::wcout, wide);
        EXPECT_EQ(&std::wcout, &consoleOutput());
        EXPECT_NE(&std::wcerr, &consoleErrors());
    }
    {
        const HostsOwn errors(std::cerr, narrow);
        EXPECT_EQ(&std::cerr, &narrowConsoleErrors());
    }
    EXPECT_NE(&std::wcerr, &consoleErrors());
    EXPECT_EQ(L"seen \u65e5", wide.str());
}

TEST(Console, IsTheHostsStreamWithoutABuffer) {
    std::wstreambuf* const previous = std::wcerr.rdbuf(nullptr);
    EXPECT_EQ(&std::wcerr, &consoleErrors());
    std::wcerr.rdbuf(previous);
}

TEST(Console, LeavesTheNarrowStreamInPeaceWhileThatIsHeard) {
    EXPECT_EQ("same", capturedConsole([] {
                  (void)consoleErrors().put(L's');
                  std::cerr << (&narrowConsoleErrors() == &std::cerr ? "ame" : "?");
              }));
}

TEST(Console, LeavesTheLastErrorAlone) {
    EXPECT_EQ("\xC3\xA9 4711", capturedConsole([] {
                  os().SetLastError(4711);
                  consoleErrors() << L"\u00e9" << std::flush;
                  const DWORD error = os().GetLastError();
                  consoleErrors() << L' ' << error;
              }));
}

TEST(Console, WritesLongTextsWhole) {
    std::wstring text;
    std::string expected;
    for (int i = 0; i < 30000; ++i) {
        text += L"\u00e9x";
        expected += "\xC3\xA9x";
    }
    EXPECT_EQ(expected, capturedConsole([&] { consoleErrors() << text; }));
    EXPECT_EQ(expected, capturedConsole([&] { consoleOutput() << text << std::flush; }));
}

TEST(Console, KeepsTextsOfSeveralThreadsApart) {
    constexpr int kThreads = 8;
    constexpr int kLines = 100;
    const std::string text = capturedConsole([] {
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([i] {
                for (int line = 0; line < kLines; ++line) {
                    consoleErrors() << L"\u00e9 " + std::to_wstring(i * kLines + line) + L" end\n";
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    std::multiset<std::string> lines;
    std::istringstream reader(text);
    for (std::string line; std::getline(reader, line);) {
        lines.insert(line + '\n');
    }
    std::multiset<std::string> expected;
    for (int i = 0; i < kThreads * kLines; ++i) {
        const std::string end = arrived("\n");
        expected.insert("\xC3\xA9 " + std::to_string(i) + " end" + end);
    }
    EXPECT_EQ(expected, lines);
}

}  // namespace
}  // namespace Tallowmere::platform
