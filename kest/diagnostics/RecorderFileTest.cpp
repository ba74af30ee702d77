// The trace file and its roll-over.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/diagnostics/testing/ScratchFile.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::failing;
using platform::testing::ScopedCall;
using testing::ScratchFile;

constexpr DWORD kLimit = 10485760;
const std::string kRolledOver = "Trace file rolled over\n";

/// Makes the size check see a file of `high` times 2^32 plus `low` bytes.
class FixedSize {
public:
    FixedSize(DWORD high, DWORD low)
        : m_attributes([this, high, low](const wchar_t* path, GET_FILEEX_INFO_LEVELS level,
                                         void* data) -> BOOL {
              EXPECT_EQ(GetFileExInfoStandard, level);
              m_path = path;
              static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeHigh = high;
              static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeLow = low;
              return TRUE;
          }) {}

    int looks() const { return m_attributes.count(); }
    const std::wstring& path() const { return m_path; }

private:
    std::wstring m_path;
    ScopedCall<&Calls::GetFileAttributesExW> m_attributes;
};

/// Lines go there in pieces, or by what a log statement calls.
class RecorderFileTest : public ::testing::TestWithParam<bool> {
protected:
    static Recorder& trace() { return *Recorder::instance(); }

    static void logLine(const std::wstring& message) {
        if (GetParam()) {
            (trace().begin(Recorder::Severity::Warning, "x", 1) << message).end();
            return;
        }
        trace() << L"!~Sev:WARNING" << L"!~Fil:" << "x" << L"!~Lin:" << 1 << message << '\n';
        trace().flush();
    }

    static void logLines(int count) {
        for (int i = 1; i <= count; ++i) {
            logLine(std::to_wstring(i));
        }
    }

    static std::string line(const std::string& message) {
        return "November 16, 2026, 5:35:54.123 AM\tWARNING \tT4711\t"
               "x:L00001                            \t" +
               message + "\n";
    }

    static std::string lines(int first, int last) {
        std::string all;
        for (int i = first; i <= last; ++i) {
            all += line(std::to_string(i));
        }
        return all;
    }

    testing::FixedTrace fixed;
    ScratchFile file;
};

TEST_P(RecorderFileTest, WritesLinesToTheFileAsTheyEnd) {
    std::ofstream(file.name()) << "old text\n";
    trace().setFile(file.path().c_str());
    EXPECT_TRUE(trace().isStreamSet());
    EXPECT_EQ("", file.text());
    logLine(L"hello");
    EXPECT_EQ(line("hello"), file.text());
    logLine(L"again");
    EXPECT_EQ(line("hello") + line("again"), file.text());
}

TEST_P(RecorderFileTest, LeavesTheConsoleAlone) {
    std::wostringstream console;
    std::wstreambuf* const before = std::wcout.rdbuf(console.rdbuf());
    trace().setFile(file.path().c_str());
    logLine(L"hello");
    std::wcout.rdbuf(before);
    EXPECT_EQ(L"", console.str());
}

TEST_P(RecorderFileTest, WritesNamesOfEveryLanguage) {
    trace().setFile(file.path().c_str());
    logLine(L"Reading file D:\\\u00DCbung\\\u65E5\u672C\\\U0001F600.txt");
    logLine(L"ascii");
    EXPECT_EQ(line("Reading file D:\\\xC3\x9C"
                   "bung\\\xE6\x97\xA5\xE6\x9C\xAC\\\xF0\x9F\x98\x80.txt") +
                  line("ascii"),
              file.text());
}

TEST_P(RecorderFileTest, WritesAPairOfSurrogatesAcrossPieces) {
    trace().setFile(file.path().c_str());
    const wchar_t high[] = {static_cast<wchar_t>(0xD83D), 0};
    const wchar_t low[] = {static_cast<wchar_t>(0xDE00), 0};
    trace() << high << low << high << '\n';
    trace().flush();
    EXPECT_EQ("\xF0\x9F\x98\x80\xEF\xBF\xBD\n", file.text());
}

TEST_P(RecorderFileTest, CutsThePathToTheLowBytes) {
    std::wstring path = file.path();
    for (wchar_t& c : path) {
        // The separators stay, so that the folder is found.
        if (c == L'k') {
            c = static_cast<wchar_t>(0x0100 + 'k');
        }
    }
    ASSERT_NE(file.path(), path);
    trace().setFile(path.c_str());
    logLine(L"hello");
    EXPECT_EQ(line("hello"), file.text());
}

TEST_P(RecorderFileTest, UnderstandsBothSeparators) {
    std::wstring path = file.path();
    std::replace(path.begin(), path.end(), L'/', L'\\');
    trace().setFile(path.c_str());
    logLine(L"hello");
    EXPECT_EQ(line("hello"), file.text());
}

TEST_P(RecorderFileTest, LosesTheTraceOfAFileThatCannotBeOpened) {
    std::wostringstream console;
    std::wstreambuf* const before = std::wcout.rdbuf(console.rdbuf());
    const std::wstring folder = std::filesystem::temp_directory_path().wstring();
    const std::wstring noFolder = file.path() + L"/none/trace.log";
    for (const wchar_t* path :
         {folder.c_str(), noFolder.c_str(), L"", static_cast<const wchar_t*>(nullptr)}) {
        Recorder::destroy();
        trace().setFile(path);
        EXPECT_TRUE(trace().isStreamSet());
        logLines(25);
        // It is the stream now, so nothing takes its place.
        std::wostringstream stream;
        trace().setStream(&stream, nullptr, false);
        trace().setFile(file.path().c_str());
        logLine(L"lost");
        EXPECT_EQ(L"", stream.str());
    }
    std::wcout.rdbuf(before);
    EXPECT_EQ(L"", console.str());
    EXPECT_FALSE(file.exists());
}

TEST_P(RecorderFileTest, TakesTheMutexWhileItOpens) {
    trace();
    const CallLog log(platform::testing::Sync);
    trace().setFile(file.path().c_str());
    EXPECT_EQ(std::vector<std::wstring>({L"WaitForSingleObject", L"ReleaseMutex"}), log.names());
}

TEST_P(RecorderFileTest, LooksAtTheSizeOnEveryTenthFlush) {
    trace().setFile(file.path().c_str());
    const FixedSize size(0, kLimit - 1);
    logLines(9);
    EXPECT_EQ(0, size.looks());
    logLines(1);
    EXPECT_EQ(1, size.looks());
    EXPECT_EQ(file.path(), size.path());
    logLines(9);
    EXPECT_EQ(1, size.looks());
    logLines(1);
    EXPECT_EQ(2, size.looks());
    EXPECT_EQ(lines(1, 9) + line("1") + lines(1, 9) + line("1"), file.text());
}

TEST_P(RecorderFileTest, LooksAtNoSizeWithoutAPath) {
    std::wostringstream stream;
    trace().setStream(&stream, nullptr, false);
    const FixedSize size(0, kLimit);
    logLines(25);
    EXPECT_EQ(0, size.looks());
}

TEST_P(RecorderFileTest, GoesOnWhenTheSizeCannotBeRead) {
    trace().setFile(file.path().c_str());
    const ScopedCall<&Calls::GetFileAttributesExW> attributes(
        [](const wchar_t*, GET_FILEEX_INFO_LEVELS, void* data) {
            static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeLow = kLimit;
            return failing<BOOL>(FALSE, ERROR_ACCESS_DENIED);
        });
    logLines(20);
    EXPECT_EQ(2, attributes.count());
    EXPECT_EQ(lines(1, 20), file.text());
}

TEST_P(RecorderFileTest, EmptiesAFileThatHasReachedTheLimit) {
    trace().setFile(file.path().c_str());
    logLines(1);
    file.grow(kLimit);
    ASSERT_EQ(kLimit, file.bytes().size());
    logLines(8);
    EXPECT_EQ(kLimit, file.bytes().size());
    logLines(1);
    EXPECT_EQ(kRolledOver, file.text());
    logLine(L"next");
    EXPECT_EQ(kRolledOver + line("next"), file.text());
}

TEST_P(RecorderFileTest, LeavesAFileThatIsOneByteShort) {
    trace().setFile(file.path().c_str());
    logLines(1);
    file.grow(kLimit - 1);
    logLines(9);
    EXPECT_EQ(kLimit - 1, file.bytes().size());
}

TEST_P(RecorderFileTest, CountsTheFlushInsideARollOver) {
    trace().setFile(file.path().c_str());
    logLines(9);
    {
        const FixedSize size(0, kLimit);
        logLine(L"tenth");
        EXPECT_EQ(1, size.looks());
    }
    const FixedSize size(0, kLimit - 1);
    logLines(8);
    EXPECT_EQ(0, size.looks());
    logLine(L"ninth");
    EXPECT_EQ(1, size.looks());
    EXPECT_EQ(kRolledOver + lines(1, 8) + line("ninth"), file.text());
}

TEST_P(RecorderFileTest, ShiftsTheHighHalfOfTheSizeBySixteen) {
    trace().setFile(file.path().c_str());
    {
        // 159 * 65536 is one step below the limit, whatever it means in gigabytes.
        const FixedSize size(159, 65535);
        logLines(10);
        EXPECT_EQ(1, size.looks());
        EXPECT_EQ(lines(1, 10), file.text());
    }
    const FixedSize size(159, 65536);
    logLines(10);
    EXPECT_EQ(kRolledOver, file.text());
}

TEST_P(RecorderFileTest, KeepsTheFirstFileButRollsOverIntoTheSecond) {
    const ScratchFile second;
    trace().setFile(file.path().c_str());
    trace().setFile(second.path().c_str());
    EXPECT_FALSE(second.exists());
    logLines(9);
    {
        const FixedSize size(0, kLimit);
        logLine(L"10");
        EXPECT_EQ(second.path(), size.path());
    }
    logLine(L"next");
    EXPECT_EQ(lines(1, 10), file.text());
    EXPECT_EQ(kRolledOver + line("next"), second.text());
}

TEST_P(RecorderFileTest, LooksAtTheSecondFileThatOthersWrite) {
    const ScratchFile second;
    std::ofstream(second.name()) << "theirs";
    second.grow(kLimit);
    trace().setFile(file.path().c_str());
    trace().setFile(second.path().c_str());
    logLines(10);
    EXPECT_EQ(lines(1, 10), file.text());
    EXPECT_EQ(kRolledOver, second.text());
}

TEST_P(RecorderFileTest, LosesTheTraceWhenTheFileCannotBeOpenedAgain) {
    trace().setFile(file.path().c_str());
    const std::wstring noFolder = file.path() + L"/none/trace.log";
    trace().setFile(noFolder.c_str());
    const FixedSize size(0, kLimit);
    logLines(45);
    EXPECT_TRUE(trace().isStreamSet());
    EXPECT_EQ(lines(1, 10), file.text());
}

TEST_P(RecorderFileTest, GivesUpTheMutexInTheFlushInsideARollOver) {
    trace().setFile(file.path().c_str());
    logLines(9);
    const FixedSize size(0, kLimit);
    BOOL released = -1;
    const ScopedCall<&Calls::ReleaseMutex> release(
        [&](HANDLE handle) { return released = release.original(handle); });
    const CallLog log(platform::testing::Sync | platform::testing::Files);
    logLine(L"tenth");
    const std::vector<std::wstring> expected = {L"WaitForSingleObject", L"GetCurrentThreadId",
                                                L"GetFileAttributesExW", L"ReleaseMutex",
                                                L"ReleaseMutex"};
    EXPECT_EQ(expected, log.names());
    // The second release, of a mutex that is not owned any more.
    EXPECT_FALSE(released);
}

TEST_P(RecorderFileTest, GivesUpTwoLevelsOfTheMutexInARollOver) {
    trace().setFile(file.path().c_str());
    logLines(8);
    trace() << L"!~Sev:INFO" << L"!~Sev:INFO";
    trace().flush();
    const FixedSize size(0, kLimit);
    // One level is still held. This line takes a second one, and its roll-over gives up both.
    BOOL released = -1;
    const ScopedCall<&Calls::ReleaseMutex> release(
        [&](HANDLE handle) { return released = release.original(handle); });
    logLine(L"tenth");
    EXPECT_EQ(2, release.count());
    EXPECT_TRUE(released);
    trace().flush();
    EXPECT_FALSE(released);
}

TEST_P(RecorderFileTest, RollsOverInAFlushThatEndsNoLine) {
    trace().setFile(file.path().c_str());
    const FixedSize size(0, kLimit);
    trace() << "piece\n";
    for (int i = 0; i < 10; ++i) {
        trace().flush();
    }
    logLine(L"next");
    EXPECT_EQ(kRolledOver + line("next"), file.text());
}

/// Notes that it is deleted, and how often it was locked.
struct Notes {
    int locks = 0;
    int unlocks = 0;
    bool isStreamDeleted = false;
};

class NotedLock final : public Recorder::StreamLock {
public:
    explicit NotedLock(Notes& notes) : m_notes(notes) {}
    void lock() override { ++m_notes.locks; }
    void unlock() override { ++m_notes.unlocks; }

private:
    Notes& m_notes;
};

class NotedStream : public std::wostringstream {
public:
    explicit NotedStream(Notes& notes) : m_notes(notes) {}
    ~NotedStream() override { m_notes.isStreamDeleted = true; }

private:
    Notes& m_notes;
};

TEST_P(RecorderFileTest, LeavesACallersStreamForTheFileInARollOver) {
    Notes notes;
    NotedLock lock(notes);
    trace().setStream(new NotedStream(notes), &lock, true);
    trace().setFile(file.path().c_str());
    EXPECT_FALSE(file.exists());
    const FixedSize size(0, kLimit);
    logLines(9);
    EXPECT_FALSE(notes.isStreamDeleted);
    logLine(L"tenth");
    EXPECT_TRUE(notes.isStreamDeleted);
    logLine(L"next");
    EXPECT_EQ(kRolledOver + line("next"), file.text());
    // The StreamLock is forgotten: never unlocked again, nor deleted (it is no object of the heap).
    EXPECT_EQ(10, notes.locks);
    EXPECT_EQ(9, notes.unlocks);
}

TEST_P(RecorderFileTest, DoesNotDeleteAStreamThatItDoesNotOwnInARollOver) {
    std::wostringstream stream;
    trace().setStream(&stream, nullptr, false);
    trace().setFile(file.path().c_str());
    const FixedSize size(0, kLimit);
    logLines(10);
    const std::wstring before = stream.str();
    EXPECT_NE(L"", before);
    logLine(L"next");
    EXPECT_EQ(before, stream.str());
    EXPECT_EQ(kRolledOver + line("next"), file.text());
}

/// A value whose insertion writes a trace line of its own.
struct Talkative {};

std::wostream& operator<<(std::wostream& out, const Talkative&) {
    *Recorder::instance() << L"!~Sev:INFO" << "inner" << '\n';
    Recorder::instance()->flush();
    return out << L"value";
}

TEST_P(RecorderFileTest, DoesNotRollOverInTheMidstOfAPiece) {
    trace().setFile(file.path().c_str());
    logLines(8);
    const FixedSize size(0, kLimit);
    // The ninth flush is the one of the value's text, the tenth comes while the file is written to.
    trace() << Talkative() << '\n';
    EXPECT_EQ(1, size.looks());
    const std::string inner = "November 16, 2026, 5:35:54.123 AM\tINFO    \tT4711\tinner\n";
    trace().flush();
    EXPECT_EQ(lines(1, 8) + inner + inner + "value\n", file.text());
}

TEST_P(RecorderFileTest, GoesOnAfterAPieceThatFailedTheStream) {
    struct Failing {
        static std::wostream& fail(std::wostream& out) {
            out.setstate(std::ios_base::badbit);
            return out;
        }
    };
    trace().setFile(file.path().c_str());
    trace() << L"!~Sev:WARNING" << L"!~Fil:" << "x" << L"!~Lin:" << 1 << "begun" << Failing::fail
            << "lost\n";
    trace().flush();
    trace() << '\n';
    logLine(L"next");
    std::string begun = line("begun");
    begun.pop_back();
    EXPECT_EQ(begun + line("next"), file.text());
}

INSTANTIATE_TEST_SUITE_P(PiecesAndStatements, RecorderFileTest, ::testing::Bool());

}  // namespace
}  // namespace Tallowmere
