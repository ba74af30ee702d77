#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

#include "kest/c_api.h"
#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/diagnostics/testing/ScratchFile.h"
#include "kest/exports/ExportLock.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::ScopedCall;
using testing::kStamp;

class LogExportsTest : public ::testing::Test {
protected:
    void capture() { Recorder::instance()->setStream(&stream, nullptr, false); }

    static void log(std::wstring file, int line, int severity, std::wstring message) {
        logMessage(file.data(), line, severity, message.data());
    }

    /// Whether a thread other than the caller can take the export lock.
    static bool isExportLockFree() {
        return std::async(std::launch::async,
                          [] {
                              const bool isFree = s_exportLock.acquire(0);
                              if (isFree) {
                                  s_exportLock.release();
                              }
                              return isFree;
                          })
            .get();
    }

    testing::FixedTrace fixed;
    std::wostringstream stream;
};

TEST_F(LogExportsTest, WritesALineOfEachSeverity) {
    capture();
    log(L"C:\\src\\x", 12, 0, L"hello");
    log(L"C:\\src\\x", 12, 1, L"hello");
    log(L"C:\\src\\x", 12, 2, L"hello");
    log(L"C:\\src\\x", 12, 3, L"hello");
    const std::wstring stamp = kStamp;
    const std::wstring rest = L"\tT4711\tx:L00012                            \thello\n";
    EXPECT_EQ(stamp + L"INFO    " + rest + stamp + L"WARNING " + rest + stamp + L"ERROR   " + rest +
                  stamp + L"CRITICAL" + rest,
              stream.str());
    EXPECT_TRUE(isExportLockFree());
}

TEST_F(LogExportsTest, WritesNothingForAnotherSeverity) {
    capture();
    log(L"x", 12, 4, L"hello");
    log(L"x", 12, -1, L"hello");
    EXPECT_EQ(L"", stream.str());
    EXPECT_TRUE(isExportLockFree());
}

TEST_F(LogExportsTest, TakesAndReleasesTheExportLockForAnotherSeverity) {
    const CallLog log4(platform::testing::Sync);
    log(L"x", 12, 4, L"hello");
    // Not even the Recorder is created.
    EXPECT_EQ(std::vector<std::wstring>({L"WaitForSingleObject", L"ReleaseMutex"}), log4.names());
}

TEST_F(LogExportsTest, WritesAMessageAsItStands) {
    capture();
    log(L"x", 12, 0, L"!~Sev:ERROR");
    log(L"x", 12, 0, L"\\\\Fileserver\\share");
    const std::wstring begin =
        std::wstring(kStamp) + L"INFO    \tT4711\tx:L00012                            \t";
    EXPECT_EQ(begin + L"!~Sev:ERROR\n" + begin + L"\\\\Fileserver\\share\n", stream.str());
}

TEST_F(LogExportsTest, TakesAMarkerForAFileNameToo) {
    capture();
    log(L"!~Lin:", 12, 0, L"hello");
    EXPECT_EQ(
        std::wstring(kStamp) + L"INFO    \tT4711\t!~Lin::L00012                       \thello\n",
        stream.str());
}

TEST_F(LogExportsTest, TakesNullTextsForEmptyOnes) {
    capture();
    logMessage(nullptr, 12, 0, nullptr);
    log(L"x", 1, 0, L"next");
    const std::wstring begin = std::wstring(kStamp) + L"INFO    \tT4711\t";
    EXPECT_EQ(begin + L":L00012                             \t\n" + begin +
                  L"x:L00001                            \tnext\n",
              stream.str());
}

TEST_F(LogExportsTest, TakesTheExportLockOutsideTheLocksOfTheRecorder) {
    capture();
    const CallLog log1(platform::testing::Sync);
    log(L"x", 12, 0, L"hello");
    const std::vector<std::wstring>& calls = log1.calls();
    // #1 is the export lock, #2 the Recorder's own.
    EXPECT_EQ(std::vector<std::wstring>(
                  {L"WaitForSingleObject(#1, 4294967295)", L"WaitForSingleObject(#2, 4294967295)",
                   L"GetCurrentThreadId()", L"ReleaseMutex(#2)", L"ReleaseMutex(#1)"}),
              calls);
}

TEST_F(LogExportsTest, SetsTheFileOfTheTrace) {
    const testing::ScratchFile file;
    std::wstring path = file.path();
    setRecorderFile(path.data());
    log(L"x", 12, 0, L"hello");
    EXPECT_EQ(
        "November 16, 2026, 5:35:54.123 AM\tINFO    \tT4711\t"
        "x:L00012                            \thello\n",
        file.text());
    EXPECT_TRUE(isExportLockFree());
}

TEST_F(LogExportsTest, TakesTheExportLockToSetTheFile) {
    const testing::ScratchFile file;
    std::wstring path = file.path();
    capture();
    const CallLog log1(platform::testing::Sync);
    setRecorderFile(path.data());
    EXPECT_EQ(std::vector<std::wstring>({L"WaitForSingleObject(#1, 4294967295)",
                                         L"WaitForSingleObject(#2, 4294967295)",
                                         L"ReleaseMutex(#2)", L"ReleaseMutex(#1)"}),
              log1.calls());
}

TEST_F(LogExportsTest, LeavesTheLockHeldWhenAnExceptionPasses) {
    class Throwing final : public Recorder::StreamLock {
    public:
        void lock() override { throw 7; }
        void unlock() override {}
    };
    Recorder::instance()->setStream(&stream, new Throwing, false);
    EXPECT_THROW(log(L"x", 12, 0, L"hello"), int);
    EXPECT_FALSE(isExportLockFree());
    s_exportLock.release();
    EXPECT_TRUE(isExportLockFree());
    Recorder::instance()->flush();
}

TEST_F(LogExportsTest, LeavesTheLockHeldWhenSettingTheFileThrows) {
    capture();
    std::wstring path = L"file";
    {
        int waits = 0;
        const ScopedCall<&Calls::WaitForSingleObject> wait([&](HANDLE handle, DWORD milliseconds) {
            if (++waits == 2) {
                throw 7;
            }
            return wait.original(handle, milliseconds);
        });
        EXPECT_THROW(setRecorderFile(path.data()), int);
    }
    EXPECT_FALSE(isExportLockFree());
    s_exportLock.release();
    EXPECT_TRUE(isExportLockFree());
}

TEST_F(LogExportsTest, SerialisesCallersOnSeveralThreads) {
    capture();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            for (int n = 0; n < 50; ++n) {
                log(L"x", 12, 0, L"hello");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::wstring expected;
    for (int i = 0; i < 400; ++i) {
        expected += std::wstring(kStamp) +
                    L"INFO    \tT4711\tx:L00012                            \thello\n";
    }
    EXPECT_EQ(expected, stream.str());
}

}  // namespace
}  // namespace Tallowmere
