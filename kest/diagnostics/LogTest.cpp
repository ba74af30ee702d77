#include "kest/diagnostics/Log.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "kest/diagnostics/testing/FixedTrace.h"

namespace Tallowmere {
namespace {

using testing::kStamp;

class LogTest : public ::testing::Test {
protected:
    LogTest() { Recorder::instance()->setStream(&stream, nullptr, false); }

    std::wstring written() {
        const std::wstring text = stream.str();
        stream.str(L"");
        return text;
    }

    /// A line of this file: severity column, line number, message.
    static std::wstring line(const wchar_t* severity, int number, const std::wstring& message) {
        std::wstring digits = std::to_wstring(number);
        digits.insert(0, 5 - digits.size(), L'0');
        return std::wstring(kStamp) + severity + L"\tT4711\tLogTest.cpp:L" + digits +
               std::wstring(18, L' ') + L"\t" + message + L"\n";
    }

    testing::FixedTrace fixed;
    std::wostringstream stream;
};

TEST_F(LogTest, WritesALineOfEachSeverity) {
    const int number = __LINE__;
    LOG_INFO("one");
    LOG_WARNING("two");
    LOG_ERROR("three");
    LOG_CRITICAL("four");
    EXPECT_EQ(line(L"INFO    ", number + 1, L"one") + line(L"WARNING ", number + 2, L"two") +
                  line(L"ERROR   ", number + 3, L"three") + line(L"CRITICAL", number + 4, L"four"),
              written());
}

TEST_F(LogTest, WritesPiecesWithNothingBetweenThem) {
    const std::wstring name = L"C:\\settings.xml";
    wchar_t changeable[] = L"!~Sev:x";
    const std::uint64_t six = 6;
    const int number = __LINE__;
    LOG_INFO("Reading " << name << " at " << 5 << ' ' << six << 7L << name.c_str() << changeable);
    EXPECT_EQ(
        line(L"INFO    ", number + 1, L"Reading C:\\settings.xml at 5 67C:\\settings.xml!~Sev:x"),
        written());
}

TEST_F(LogTest, IsOneStatement) {
    // So that it may stand where a statement without braces may.
    for (int i = 0; i < 2; ++i)
        if (i == 1)
#line 101
            LOG_INFO("one");
        else
#line 102
            LOG_INFO("other");
    EXPECT_EQ(line(L"INFO    ", 102, L"other") + line(L"INFO    ", 101, L"one"), written());
}

TEST_F(LogTest, FlushesEachLine) {
    class Counting : public std::wstringbuf {
    public:
        int flushes = 0;

    protected:
        int sync() override {
            ++flushes;
            return 0;
        }
    } buffer;
    std::wostream counted(&buffer);
    Recorder::destroy();
    Recorder::instance()->setStream(&counted, nullptr, false);
    LOG_INFO("one");
    LOG_INFO("two");
    EXPECT_EQ(2, buffer.flushes);
    Recorder::destroy();
}

TEST_F(LogTest, TracesEntryAndExitOfAFunction) {
    {
        const FunctionTrace trace("`anonymous-namespace'::getInfo", "C:\\src\\LogTest.cpp", 9);
#line 201
        LOG_INFO("inside");
    }
    EXPECT_EQ(line(L"INFO    ", 9, L"<Entering `anonymous-namespace'::getInfo") +
                  line(L"INFO    ", 201, L"inside") +
                  line(L"INFO    ", 9, L"Exiting `anonymous-namespace'::getInfo>"),
              written());
}

TEST_F(LogTest, TracesTheExitByAnException) {
    EXPECT_THROW(
        {
            const FunctionTrace functionTrace("inner", "LogTest.cpp", 10);
            throw std::runtime_error("reason");
        },
        std::runtime_error);
    EXPECT_EQ(line(L"INFO    ", 10, L"<Entering inner") + line(L"INFO    ", 10, L"Exiting inner>"),
              written());
}

TEST_F(LogTest, LetsAnExceptionGoItsWayWhenTheExitCannotBeTraced) {
    class Throwing final : public Recorder::StreamLock {
    public:
        void lock() override {
            if (++m_lines > 1) {
                throw 7;
            }
        }
        void unlock() override {}

    private:
        int m_lines = 0;
    };
    Recorder::destroy();
    Recorder::instance()->setStream(&stream, new Throwing, false);
    EXPECT_THROW(
        {
            const FunctionTrace functionTrace("inner", "LogTest.cpp", 10);
            throw std::runtime_error("reason");
        },
        std::runtime_error);
    EXPECT_EQ(line(L"INFO    ", 10, L"<Entering inner"), written());
    Recorder::instance()->flush();
}

}  // namespace
}  // namespace Tallowmere
