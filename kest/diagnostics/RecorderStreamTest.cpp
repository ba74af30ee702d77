// The singleton, its streams and the locks that callers hand over.

#include <gtest/gtest.h>

#include <iostream>
#include <vector>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::ScopedCall;
using testing::kStamp;

/// What happened, in order.
using Events = std::vector<std::string>;

/// A stream that notes when it is flushed and deleted.
class NotedStream : public std::wostream {
public:
    explicit NotedStream(Events& events) : std::wostream(nullptr), m_events(events) {
        m_buffer.events = &events;
        rdbuf(&m_buffer);
    }
    ~NotedStream() override { m_events.push_back("stream deleted"); }

    std::wstring text() const { return m_buffer.str(); }

private:
    struct Buffer : std::wstringbuf {
        Events* events = nullptr;
        int sync() override {
            events->push_back("flush");
            return 0;
        }
    };

    Events& m_events;
    Buffer m_buffer;
};

class NotedLock final : public Recorder::StreamLock {
public:
    explicit NotedLock(Events& events) : m_events(events) {}
    // Never called: see the interface.
    ~NotedLock() { m_events.push_back("lock destroyed"); }
    void lock() override { m_events.push_back("lock"); }
    void unlock() override { m_events.push_back("unlock"); }

private:
    Events& m_events;
};

/// Stands in for the console while it lives.
class ConsoleCapture {
public:
    ConsoleCapture() : m_previous(std::wcout.rdbuf(m_text.rdbuf())) {}
    ~ConsoleCapture() { std::wcout.rdbuf(m_previous); }
    std::wstring text() const { return m_text.str(); }

private:
    std::wostringstream m_text;
    std::wstreambuf* m_previous;
};

class RecorderStreamTest : public ::testing::Test {
protected:
    static Recorder& trace() { return *Recorder::instance(); }

    static void logLine(const char* message) {
        trace() << L"!~Sev:INFO" << L"!~Fil:" << "x" << L"!~Lin:" << 1 << message << '\n';
        trace().flush();
    }

    static std::wstring line(const wchar_t* message) {
        return std::wstring(kStamp) + L"INFO    \tT4711\tx:L00001                            \t" +
               message + L"\n";
    }

    testing::FixedTrace fixed;
};

TEST_F(RecorderStreamTest, WritesToTheConsoleAtFirst) {
    const ConsoleCapture console;
    EXPECT_TRUE(trace().isStreamSet());
    logLine("hello");
    EXPECT_EQ(line(L"hello"), console.text());
}

TEST_F(RecorderStreamTest, IsOneObjectUntilItIsDestroyed) {
    Recorder* const first = Recorder::instance();
    EXPECT_EQ(first, Recorder::instance());
    std::wostringstream stream;
    first->setStream(&stream, nullptr, false);
    *first << L"!~Fil:";
    Recorder::destroy();
    Recorder::destroy();
    // The next one is fresh: on the console, and expecting nothing.
    const ConsoleCapture console;
    EXPECT_TRUE(trace().isStreamSet());
    trace() << "text" << L"!~Lin:" << 5;
    EXPECT_EQ(L"text:L00005                             \t", console.text());
    EXPECT_EQ(L"", stream.str());
}

TEST_F(RecorderStreamTest, IsCreatedAndDestroyedUnderItsLock) {
    int waits = 0;
    const ScopedCall<&Calls::WaitForSingleObject> wait([&](HANDLE, DWORD milliseconds) -> DWORD {
        EXPECT_EQ(INFINITE, milliseconds);
        ++waits;
        return WAIT_OBJECT_0;
    });
    const ScopedCall<&Calls::ReleaseMutex> release([&](HANDLE) { return TRUE; });
    Recorder::destroy();
    EXPECT_EQ(0, waits);
    Recorder::instance();
    EXPECT_EQ(1, waits);
    Recorder::instance();
    EXPECT_EQ(1, waits);
    Recorder::destroy();
    EXPECT_EQ(2, waits);
    EXPECT_EQ(2, release.count());
}

TEST_F(RecorderStreamTest, LeavesTheConsoleForTheFirstStreamOnly) {
    const ConsoleCapture console;
    std::wostringstream first;
    std::wostringstream second;
    trace().setStream(&first, nullptr, false);
    trace().setStream(&second, nullptr, false);
    trace().setStream(nullptr, nullptr, false);
    logLine("hello");
    EXPECT_EQ(line(L"hello"), first.str());
    EXPECT_EQ(L"", second.str());
    EXPECT_EQ(L"", console.text());
}

TEST_F(RecorderStreamTest, DiscardsTheTraceWhileTheStreamIsNull) {
    const ConsoleCapture console;
    trace().setStream(nullptr, nullptr, true);
    EXPECT_FALSE(trace().isStreamSet());
    logLine("lost");
    std::wostringstream stream;
    trace().setStream(&stream, nullptr, false);
    EXPECT_TRUE(trace().isStreamSet());
    logLine("hello");
    EXPECT_EQ(line(L"hello"), stream.str());
    EXPECT_EQ(L"", console.text());
}

TEST_F(RecorderStreamTest, MayBeGivenTheConsoleWhichStaysReplaceable) {
    const ConsoleCapture console;
    trace().setStream(&std::wcout, nullptr, false);
    logLine("console");
    std::wostringstream stream;
    trace().setStream(&stream, nullptr, false);
    logLine("stream");
    EXPECT_EQ(line(L"console"), console.text());
    EXPECT_EQ(line(L"stream"), stream.str());
}

TEST_F(RecorderStreamTest, TakesAndReleasesItsMutexForAChange) {
    const ScopedCall<&Calls::WaitForSingleObject> wait(
        [](HANDLE, DWORD) { return DWORD{WAIT_OBJECT_0}; });
    const ScopedCall<&Calls::ReleaseMutex> release([](HANDLE) { return TRUE; });
    std::wostringstream stream;
    trace();
    const int waits = wait.count();
    trace().setStream(&stream, nullptr, false);
    EXPECT_EQ(waits + 1, wait.count());
    EXPECT_EQ(wait.count(), release.count());
    // Also when nothing changes.
    trace().setStream(&stream, nullptr, false);
    trace().setFile(L"never opened");
    EXPECT_EQ(waits + 3, wait.count());
    EXPECT_EQ(wait.count(), release.count());
}

TEST_F(RecorderStreamTest, DeletesAStreamThatItOwns) {
    Events events;
    trace().setStream(new NotedStream(events), nullptr, true);
    Recorder::destroy();
    EXPECT_EQ(Events({"stream deleted"}), events);
}

TEST_F(RecorderStreamTest, LeavesAStreamThatItDoesNotOwn) {
    Events events;
    NotedStream stream(events);
    trace().setStream(&stream, nullptr, false);
    Recorder::destroy();
    EXPECT_EQ(Events(), events);
}

TEST_F(RecorderStreamTest, DeletesTheStreamLockInAnyCaseAsAStreamLock) {
    Events events;
    NotedStream stream(events);
    // The leak checker of the address sanitizer shows that its memory is given back.
    trace().setStream(&stream, new NotedLock(events), false);
    Recorder::destroy();
    EXPECT_EQ(Events(), events);
}

TEST_F(RecorderStreamTest, LocksInsideTheMutexAndUnlocksAfterTheFlush) {
    Events events;
    NotedStream stream(events);
    trace().setStream(&stream, new NotedLock(events), false);
    const ScopedCall<&Calls::WaitForSingleObject> wait([&](HANDLE handle, DWORD milliseconds) {
        EXPECT_EQ(INFINITE, milliseconds);
        events.push_back("wait");
        return wait.original(handle, milliseconds);
    });
    const ScopedCall<&Calls::ReleaseMutex> release([&](HANDLE handle) {
        events.push_back("release");
        return release.original(handle);
    });
    const ScopedCall<&Calls::GetSystemTime> clock([&](SYSTEMTIME* time) {
        events.push_back("time");
        clock.original(time);
    });
    logLine("hello");
    EXPECT_EQ(Events({"wait", "lock", "time", "flush", "unlock", "release"}), events);
    EXPECT_EQ(line(L"hello"), stream.text());

    // Without a severity marker nothing is locked, yet everything is given back.
    events.clear();
    trace() << "piece" << '\n';
    trace().flush();
    EXPECT_EQ(Events({"flush", "unlock", "release"}), events);

    // Each severity marker locks again.
    events.clear();
    trace() << L"!~Sev:INFO" << L"!~Sev:INFO";
    trace().flush();
    trace().flush();
    EXPECT_EQ(Events({"wait", "lock", "time", "wait", "lock", "time", "flush", "unlock", "release",
                      "flush", "unlock", "release"}),
              events);
}

TEST_F(RecorderStreamTest, OffersLockAndThenUnlockInTheVirtualTable) {
    Events events;
    NotedLock object(events);
    Recorder::StreamLock* streamLock = &object;
    using Operation = void (*)(Recorder::StreamLock*);
    const Operation* const table = *reinterpret_cast<const Operation**>(streamLock);
    table[0](streamLock);
    table[1](streamLock);
    EXPECT_EQ(Events({"lock", "unlock"}), events);
    EXPECT_EQ(sizeof(void*), sizeof(Recorder::StreamLock));
}

TEST_F(RecorderStreamTest, LetsTheExceptionOfAStreamLockPass) {
    class Throwing final : public Recorder::StreamLock {
    public:
        void lock() override { throw 7; }
        void unlock() override {}
    };
    std::wostringstream stream;
    trace().setStream(&stream, new Throwing, false);
    EXPECT_THROW(trace() << L"!~Sev:INFO", int);
    EXPECT_EQ(L"", stream.str());
    // The mutex was taken before; this gives it back.
    trace().flush();
}

TEST_F(RecorderStreamTest, GoesOnWithoutAMutex) {
    Recorder::destroy();
    const ScopedCall<&Calls::CreateMutexW> create([](SECURITY_ATTRIBUTES*, BOOL, const wchar_t*) {
        return platform::testing::failing<HANDLE>(nullptr, ERROR_NO_SYSTEM_RESOURCES);
    });
    std::wostringstream stream;
    trace().setStream(&stream, nullptr, false);
    logLine("one");
    logLine("two");
    EXPECT_EQ(line(L"one") + line(L"two"), stream.str());
}

TEST_F(RecorderStreamTest, CopiesEveryField) {
    Events events;
    NotedStream stream(events);
    trace().setStream(&stream, new NotedLock(events), false);
    trace() << L"!~Sev:INFO" << L"!~Fil:" << "first" << L"!~Lin:";
    // Left alone in the end, because both would release what they share.
    static Recorder* s_copy = nullptr;
    s_copy = new Recorder(trace());
    events.clear();
    // The copy expects the line number too, and its flush ends the line on the shared mutex.
    *s_copy << 5;
    s_copy->flush();
    EXPECT_EQ(std::wstring(kStamp) + L"INFO    \tT4711\tfirst:L00005                        \t",
              stream.text());
    EXPECT_EQ(Events({"flush", "unlock"}), events);
}

/// A value whose insertion writes a trace line of its own.
struct Talkative {};

std::wostream& operator<<(std::wostream& out, const Talkative&) {
    *Recorder::instance() << L"!~Sev:INFO" << L"!~Fil:" << "y" << L"!~Lin:" << 2 << "inner" << '\n';
    Recorder::instance()->flush();
    return out << L"value";
}

TEST_F(RecorderStreamTest, MayBeWrittenToFromAnInsertionOperator) {
    std::wostringstream stream;
    trace().setStream(&stream, nullptr, false);
    const std::wstring inner =
        std::wstring(kStamp) + L"INFO    \tT4711\ty:L00002                            \tinner\n";
    // Once for the value's text, once for the value.
    trace() << "a " << Talkative() << '\n';
    EXPECT_EQ(L"a " + inner + inner + L"value\n", stream.str());
}

}  // namespace
}  // namespace Tallowmere
