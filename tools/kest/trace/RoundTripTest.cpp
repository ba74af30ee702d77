// What the library writes is read back as it was given.

#include <gtest/gtest.h>
#include <kest/kest.h>

#include <climits>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "trace/Reader.h"
#include "trace/System.h"
#include "trace/TraceFileBytes.h"
#include "trace/testing/Fixtures.h"

namespace Tallowmere::command::trace {
namespace {

struct Statement {
    std::wstring file;
    int line;
    int severity;
    std::wstring message;
};

class Statements {
public:
    explicit Statements(unsigned int seed) : m_random(seed) {}

    Statement next() {
        static const int s_lines[] = {0, 1, 99999, 100000, 1234567, INT_MAX, INT_MIN, -1, -12345};
        Statement statement;
        // Without halves of pairs: how wide one is depends on the system, and with a number that
        // has lost its end the text alone does not tell where the message begins.
        statement.file = text(number(0, 40), L"\t\n\\/:@", false);
        statement.line = number(0, 1) == 0 ? number(INT_MIN, INT_MAX) : s_lines[number(0, 8)];
        statement.severity = number(0, 3);
        statement.message = text(number(0, 120), L"\n", true);
        return statement;
    }

private:
    int number(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(m_random);
    }

    wchar_t unit(int kind) {
        switch (kind) {
            case 0:
                return static_cast<wchar_t>(number(1, 0x1F));
            case 1:
                return static_cast<wchar_t>(number(0x80, 0x2FF));
            case 2:
                return static_cast<wchar_t>(number(0x2000, 0xFFFF));
            case 3:
                // Halves of pairs, alone or not.
                return static_cast<wchar_t>(number(0xD800, 0xDFFF));
            default:
                return static_cast<wchar_t>(number(0x20, 0x7E));
        }
    }

    std::wstring text(int length, const std::wstring& without, bool hasHalves) {
        std::wstring result;
        const int kinds = number(4, 12);
        while (result.size() < static_cast<std::size_t>(length)) {
            const wchar_t next = unit(number(0, kinds));
            const bool isHalf = next >= 0xD800 && next <= 0xDFFF;
            const bool isWanted =
                without.find(next) == std::wstring::npos && (hasHalves || !isHalf);
            result += isWanted ? next : L'x';
        }
        return result;
    }

    std::mt19937 m_random;
};

/// The place as its buffer of 39 units holds it, without the blanks that fill it.
std::wstring placeOf(const Statement& statement) {
    std::wstring number = std::to_wstring(std::abs(static_cast<long long>(statement.line)));
    const std::size_t least = statement.line < 0 ? 4 : 5;
    number.insert(0, number.size() < least ? least - number.size() : 0, L'0');
    const std::wstring whole =
        statement.file.substr(0, 30) + L":L" + (statement.line < 0 ? L"-" : L"") + number;
    return whole.substr(0, 39);
}

TEST(TraceRoundTrip, ReadsWhatTheLibraryWrites) {
    const testing::ScratchFolder folder;
    std::wstring path = folder.path(L"trace.log");
    setRecorderFile(path.data());
    Statements source(20261121);
    std::vector<Statement> statements;
    for (int i = 0; i < 2000; ++i) {
        statements.push_back(source.next());
        Statement& last = statements.back();
        logMessage(last.file.data(), last.line, last.severity, last.message.data());
    }
    Recorder::destroy();

    SharedFile file;
    std::string reason;
    bool isMissing = false;
    ASSERT_TRUE(file.open(path, reason, isMissing)) << reason;
    WholeFile bytes(std::move(file));
    Reader reader(bytes, 0, false);
    std::uint32_t thread = 0;
    for (const Statement& statement : statements) {
        ASSERT_TRUE(reader.next());
        const Entry& entry = reader.entry();
        ASSERT_EQ(Entry::Kind::line, entry.kind) << entry.bytes;
        const Line& line = entry.line;
        ASSERT_TRUE(line.isTimeKnown);
        ASSERT_EQ(line.time, stampOf(line.instant));
        ASSERT_EQ(statement.severity, static_cast<int>(line.severity));
        thread = thread == 0 ? line.thread : thread;
        ASSERT_EQ(thread, line.thread);
        const std::wstring place = placeOf(statement);
        const std::size_t mark = place.rfind(L":L");
        ASSERT_EQ(toUtf8(place.substr(0, mark)), line.module) << entry.bytes;
        ASSERT_EQ(std::stoll(place.substr(mark + 2)), line.number) << entry.bytes;
        ASSERT_EQ(toUtf8(statement.message), line.message) << entry.bytes;
    }
    EXPECT_FALSE(reader.next());
}

TEST(TraceRoundTrip, ReadsTheStatementsOfAHost) {
    const testing::ScratchFolder folder;
    std::wstring path = folder.path(L"trace.log");
    setRecorderFile(path.data());
    LOG_WARNING("copied " << 17 << " files to <" << std::wstring(L"C:\\Gr\u00FC\u00DFe") << ">");
    const int line = __LINE__ - 1;
    { const FunctionTrace trace("getInfo", "Module", 5); }
    Recorder::destroy();

    SharedFile file;
    std::string reason;
    bool isMissing = false;
    ASSERT_TRUE(file.open(path, reason, isMissing)) << reason;
    WholeFile bytes(std::move(file));
    Reader reader(bytes, 0, false);
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("RoundTripTest.cpp", reader.entry().line.module);
    EXPECT_EQ(line, reader.entry().line.number);
    EXPECT_EQ(
        "copied 17 files to <C:\\Gr\xC3\xBC\xC3\x9F"
        "e>",
        reader.entry().line.message);
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("<Entering getInfo", reader.entry().line.message);
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("Exiting getInfo>", reader.entry().line.message);
    EXPECT_FALSE(reader.next());
}

TEST(TraceRoundTrip, TellsOfALineWhoseLineFeedWasSwallowed) {
    const testing::ScratchFolder folder;
    std::wstring path = folder.path(L"trace.log");
    setRecorderFile(path.data());
    // The path is taken for a marker, and the line feed for the file's name.
    LOG_INFO("reading " << L"\\\\Fileserver\\share");
    LOG_ERROR("failed");
    Recorder::destroy();

    SharedFile file;
    std::string reason;
    bool isMissing = false;
    ASSERT_TRUE(file.open(path, reason, isMissing)) << reason;
    WholeFile bytes(std::move(file));
    Reader reader(bytes, 0, false);
    ASSERT_TRUE(reader.next());
    EXPECT_EQ(Severity::info, reader.entry().line.severity);
    EXPECT_TRUE(reader.entry().line.message.starts_with("reading "));
    EXPECT_TRUE(reader.entry().line.message.ends_with("failed"));
    EXPECT_EQ(Severity::error, reader.entry().within);
    EXPECT_FALSE(reader.next());
}

}  // namespace
}  // namespace Tallowmere::command::trace
