// Several threads at once. These run under the thread sanitizer too.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/diagnostics/testing/ScratchFile.h"

namespace Tallowmere {
namespace {

using testing::FixedTrace;
using testing::ScratchFile;

constexpr int kThreads = 8;
constexpr int kLines = 500;

Recorder& trace() {
    return *Recorder::instance();
}

void logLine(int thread, int number) {
    const std::string file = "file" + std::to_string(thread);
    trace() << L"!~Sev:INFO" << L"!~Fil:" << file.c_str() << L"!~Lin:" << number << "thread "
            << thread << std::wstring(L" line ") << number << " of " << std::uint64_t{kLines}
            << L'.' << '\n';
    trace().flush();
}

std::string expectedLine(int thread, int number) {
    std::string digits = std::to_string(number);
    digits.insert(0, 5 - digits.size(), '0');
    return "November 16, 2026, 5:35:54.123 AM\tINFO    \tT" + std::to_string(100 + thread) +
           "\tfile" + std::to_string(thread) + ":L" + digits + std::string(24, ' ') + "\tthread " +
           std::to_string(thread) + " line " + std::to_string(number) + " of 500.";
}

/// Runs `body` on `count` threads, which begin together, and waits for them.
void onThreads(int count, const std::function<void(int)>& body) {
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future().share();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread) {
        threads.emplace_back([&body, started, thread] {
            FixedTrace::setThreadId(static_cast<DWORD>(100 + thread));
            started.wait();
            body(thread);
        });
    }
    start.set_value();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string narrow(const std::wstring& text) {
    return {text.begin(), text.end()};
}

/// Every line of every thread whole, and those of each thread in order.
void expectAllLines(const std::string& text) {
    std::map<std::string, std::pair<int, int>> all;
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int number = 0; number < kLines; ++number) {
            all[expectedLine(thread, number)] = {thread, number};
        }
    }
    std::vector<int> next(kThreads, 0);
    for (const std::string& line : linesOf(text)) {
        const auto found = all.find(line);
        ASSERT_NE(all.end(), found) << line;
        ASSERT_EQ(next[static_cast<std::size_t>(found->second.first)]++, found->second.second);
    }
    EXPECT_EQ(std::vector<int>(kThreads, kLines), next);
}

void logAllLines(int thread) {
    for (int number = 0; number < kLines; ++number) {
        logLine(thread, number);
    }
}

class RecorderThreadsTest : public ::testing::Test {
protected:
    FixedTrace fixed;
    std::wostringstream stream;
};

TEST_F(RecorderThreadsTest, KeepsLinesWholeInACallersStream) {
    trace().setStream(&stream, nullptr, false);
    onThreads(kThreads, logAllLines);
    expectAllLines(narrow(stream.str()));
}

TEST_F(RecorderThreadsTest, KeepsLinesWholeInTheFile) {
    const ScratchFile file;
    trace().setFile(file.path().c_str());
    onThreads(kThreads, logAllLines);
    expectAllLines(file.text());
}

TEST_F(RecorderThreadsTest, KeepsLinesWholeBesideChangesAndFlushes) {
    const ScratchFile file;
    const ScratchFile other;
    trace().setFile(file.path().c_str());
    std::atomic<int> running{kThreads};
    onThreads(kThreads + 1, [&](int thread) {
        if (thread < kThreads) {
            logAllLines(thread);
            --running;
            return;
        }
        while (running != 0) {
            trace().setFile(other.path().c_str());
            trace().setStream(&stream, nullptr, false);
            trace().flush();
            EXPECT_TRUE(trace().isStreamSet());
        }
    });
    expectAllLines(file.text());
    EXPECT_EQ(L"", stream.str());
    EXPECT_FALSE(other.exists());
}

TEST_F(RecorderThreadsTest, GoesFromTheConsoleToAFileBetweenLines) {
    // A stream in the console's place, and whichever thread comes first sets the file.
    std::wstreambuf* const before = std::wcout.rdbuf(stream.rdbuf());
    const ScratchFile file;
    onThreads(kThreads, [&](int thread) {
        for (int number = 0; number < kLines; ++number) {
            if (number == 10 * thread) {
                trace().setFile(file.path().c_str());
            }
            logLine(thread, number);
        }
    });
    std::wcout.rdbuf(before);
    expectAllLines(narrow(stream.str()) + file.text());
}

TEST_F(RecorderThreadsTest, CreatesOneRecorder) {
    std::vector<Recorder*> seen(kThreads);
    onThreads(kThreads,
              [&](int thread) { seen[static_cast<std::size_t>(thread)] = Recorder::instance(); });
    EXPECT_EQ(1U, std::set<Recorder*>(seen.begin(), seen.end()).size());
}

TEST_F(RecorderThreadsTest, KeepsLinesWholeAcrossRollOvers) {
    platform::g_calls.GetFileAttributesExW = [](const wchar_t*, GET_FILEEX_INFO_LEVELS,
                                                void* data) -> BOOL {
        static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeHigh = 0;
        static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeLow = 10485760;
        return TRUE;
    };
    const ScratchFile file;
    trace().setFile(file.path().c_str());
    std::atomic<int> running{kThreads};
    onThreads(kThreads + 1, [&](int thread) {
        if (thread < kThreads) {
            logAllLines(thread);
            --running;
            return;
        }
        // Flushes that end no line roll the file over as well.
        while (running != 0) {
            trace().flush();
            EXPECT_TRUE(trace().isStreamSet());
        }
    });
    std::set<std::string> all;
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int number = 0; number < kLines; ++number) {
            all.insert(expectedLine(thread, number));
        }
    }
    const std::vector<std::string> lines = linesOf(file.text());
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ("Trace file rolled over", lines[0]);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        EXPECT_EQ(1U, all.count(lines[i])) << lines[i];
    }
}

TEST_F(RecorderThreadsTest, LetsPiecesWithoutASeverityInAtAnyTime) {
    trace().setStream(&stream, nullptr, false);
    onThreads(kThreads, [&](int thread) {
        for (int number = 0; number < kLines; ++number) {
            if (thread % 2 == 0) {
                logLine(thread, number);
            } else {
                trace() << L"!~Fil:" << "loose" << L"!~Lin:" << number << '\n' << L"<piece>\n";
            }
        }
    });
    // Each piece is whole, wherever it stands.
    const std::wstring text = stream.str();
    const auto count = [&](const std::wstring& piece) {
        int found = 0;
        for (std::size_t at = text.find(piece); at != std::wstring::npos;
             at = text.find(piece, at + 1)) {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(kThreads / 2 * kLines, count(L"<piece>\n"));
    EXPECT_EQ(kThreads / 2, count(L"loose:L00499                        \t"));
    EXPECT_EQ(kThreads / 2 * kLines, count(L"INFO    \t"));
    EXPECT_EQ(kLines, count(L"file2:L"));
    EXPECT_EQ(1, count(L"file2:L00499                        \t"));
}

TEST_F(RecorderThreadsTest, TakesNoValueOfAnotherThreadForItsMarkers) {
    trace().setStream(&stream, nullptr, false);
    // One thread's line waits for a file name; meanwhile another one's piece comes in, and the
    // first one's name is still the one that counts.
    trace() << L"!~Sev:INFO" << L"!~Fil:";
    std::thread([] {
        trace() << "piece|" << L"!~Fil:" << "other" << L"!~Lin:" << 2 << "|";
    }).join();
    trace() << "mine" << L"!~Lin:";
    std::thread([] { trace() << 3 << "|"; }).join();
    trace() << 1 << '\n';
    trace().flush();
    EXPECT_EQ(std::wstring(testing::kStamp) + L"INFO    \tT4711\t" +
                  L"piece|other:L00002                        \t|3|" +
                  L"mine:L00001                         \t\n",
              stream.str());
}

/// Tells when a thread finds the mutex taken and so has to wait (or is through, where it should not
/// be).
std::atomic<bool> g_isWaiting{false};
DWORD (*g_wait)(HANDLE, DWORD) = nullptr;

DWORD tellingWait(HANDLE handle, DWORD milliseconds) {
    const DWORD result = g_wait(handle, 0);
    if (result != WAIT_TIMEOUT) {
        return result;
    }
    g_isWaiting = true;
    return g_wait(handle, milliseconds);
}

TEST_F(RecorderThreadsTest, MakesAllOthersWaitAfterAPathOnAServerNamedLikeASeverity) {
    trace().setStream(&stream, nullptr, false);
    g_wait = platform::g_calls.WaitForSingleObject;
    platform::g_calls.WaitForSingleObject = &tellingWait;
    g_isWaiting = false;
    trace() << L"!~Sev:INFO" << std::wstring(L"\\\\Sevilla\\share") << '\n';
    trace().flush();
    const std::wstring before = stream.str();
    std::thread other([] {
        FixedTrace::setThreadId(102);
        logLine(2, 0);
        g_isWaiting = true;
    });
    while (!g_isWaiting) {
        std::this_thread::yield();
    }
    EXPECT_EQ(before, stream.str());
    // One flush too many gives the mutex back.
    trace().flush();
    other.join();
    EXPECT_EQ(narrow(before) + expectedLine(2, 0) + "\n", narrow(stream.str()));
}

TEST_F(RecorderThreadsTest, ForgetsALineWhoseThreadHasEnded) {
    trace().setStream(&stream, nullptr, false);
    for (const wchar_t* marker : {L"!~Fil:", L"!~Lin:", L"!~Sev:ERROR"}) {
        stream.str(L"");
        std::thread([marker] {
            FixedTrace::setThreadId(300);
            trace() << L"!~Sev:ERROR" << marker;
        }).join();
        const std::string cut = narrow(stream.str());
        // The next line of any thread is whole, follows at once and gives the mutex back.
        for (int thread = 1; thread < 4; ++thread) {
            std::thread([thread] {
                FixedTrace::setThreadId(static_cast<DWORD>(100 + thread));
                logLine(thread, 7);
            }).join();
        }
        EXPECT_EQ(
            cut + expectedLine(1, 7) + "\n" + expectedLine(2, 7) + "\n" + expectedLine(3, 7) + "\n",
            narrow(stream.str()));
    }
}

TEST_F(RecorderThreadsTest, EndsTheLineThatFollowsOneWhoseThreadHasEnded) {
    trace().setStream(&stream, nullptr, false);
    std::thread([] { trace() << L"!~Sev:ERROR"; }).join();
    FixedTrace::setThreadId(101);
    logLine(1, 7);
    // Outside any line again, so another thread's line leaves this marker alone.
    trace() << L"!~Fil:";
    std::thread([] { logLine(2, 7); }).join();
    stream.str(L"");
    trace() << "mine" << L"!~Lin:" << 1;
    FixedTrace::setThreadId(4711);
    EXPECT_EQ(L"mine:L00001                         \t", stream.str());
}

std::atomic<DWORD> g_fileSize{0};

BOOL fileSize(const wchar_t*, GET_FILEEX_INFO_LEVELS, void* data) {
    static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeHigh = 0;
    static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeLow = g_fileSize;
    return TRUE;
}

/// A roll-over by a flush that ends no line, while another thread's line is half written.
class RollOverBesideALine : public RecorderThreadsTest {
protected:
    RollOverBesideALine() {
        g_wait = platform::g_calls.WaitForSingleObject;
        platform::g_calls.WaitForSingleObject = &tellingWait;
        platform::g_calls.GetFileAttributesExW = &fileSize;
        g_isWaiting = false;
        g_fileSize = 10485760;
        trace().setFile(file.path().c_str());
    }

    /// The file's text after that; it has `sizeAtLast` bytes once the line has ended.
    std::string textAfter(DWORD sizeAtLast) {
        FixedTrace::setThreadId(101);
        trace() << L"!~Sev:INFO" << L"!~Fil:" << "file1" << L"!~Lin:" << 7;
        std::thread other([] {
            for (int i = 0; i < 10; ++i) {
                trace().flush();
            }
            g_isWaiting = true;
        });
        while (!g_isWaiting) {
            std::this_thread::yield();
        }
        g_fileSize = sizeAtLast;
        trace() << "thread 1 line 7 of 500." << '\n';
        trace().flush();
        FixedTrace::setThreadId(4711);
        other.join();
        return file.text();
    }

    ScratchFile file;
};

TEST_F(RollOverBesideALine, WaitsForTheEndOfTheLine) {
    EXPECT_EQ("Trace file rolled over\n", textAfter(10485760));
    // And has given the mutex back.
    std::thread([] {
        FixedTrace::setThreadId(102);
        logLine(2, 0);
    }).join();
    EXPECT_EQ("Trace file rolled over\n" + expectedLine(2, 0) + "\n", file.text());
}

TEST_F(RollOverBesideALine, LooksAgainAfterTheWait) {
    EXPECT_EQ(expectedLine(1, 7) + "\n", textAfter(10485759));
    std::thread([] {
        FixedTrace::setThreadId(102);
        logLine(2, 0);
    }).join();
    EXPECT_EQ(expectedLine(1, 7) + "\n" + expectedLine(2, 0) + "\n", file.text());
}

}  // namespace
}  // namespace Tallowmere
