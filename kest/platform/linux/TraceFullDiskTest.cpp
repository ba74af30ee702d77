// The trace on a real file that cannot grow any more.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/diagnostics/testing/ScratchFile.h"

namespace Tallowmere {
namespace {

using testing::FixedTrace;
using testing::ScratchFile;

void logLine(const char* message) {
    *Recorder::instance() << L"!~Sev:INFO" << L"!~Fil:" << "x" << L"!~Lin:" << 1 << message << '\n';
    Recorder::instance()->flush();
}

std::string line(const std::string& message) {
    return "November 16, 2026, 5:35:54.123 AM\tINFO    \tT4711\tx:L00001                           "
           " \t" +
           message + "\n";
}

/// Lets no file of the process grow beyond `size` bytes while it lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t size) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_previous);
        rlimit limit = m_previous;
        limit.rlim_cur = size;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_previous);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_previous{};
    void (*m_handler)(int);
};

TEST(TraceOnAFullDisk, GoesOnOnceThereIsRoom) {
    const FixedTrace fixed;
    const ScratchFile file;
    Recorder::instance()->setFile(file.path().c_str());
    logLine("first");
    {
        const FileSizeLimit limit(line("first").size());
        logLine("second");
        logLine("third");
    }
    logLine("fourth");
    EXPECT_EQ(line("first") + line("fourth"), file.text());
}

TEST(TraceOnAFullDisk, BeginsANewLineAfterOneThatWasCut) {
    const FixedTrace fixed;
    const ScratchFile file;
    Recorder::instance()->setFile(file.path().c_str());
    {
        const FileSizeLimit limit(8);
        logLine("first");
        logLine("second");
    }
    logLine("third");
    logLine("fourth");
    EXPECT_EQ("November\n" + line("third") + line("fourth"), file.text());
}

TEST(TraceOnAFullDisk, IsLostInSilence) {
    const FixedTrace fixed;
    Recorder::instance()->setFile(L"/dev/full");
    for (int i = 0; i < 25; ++i) {
        logLine("lost");
    }
    EXPECT_TRUE(Recorder::instance()->isStreamSet());
}

}  // namespace
}  // namespace Tallowmere
