// A line to the trace file goes a short way beside the stream. Its text must be the one that the
// stream would have written: here the same statements go both ways.

#include <gtest/gtest.h>

#include <functional>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <vector>

#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/TraceLocale.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/diagnostics/testing/ScratchFile.h"
#include "kest/platform/Utf8.h"

namespace Tallowmere {
namespace {

Recorder& trace() {
    return *Recorder::instance();
}

class Grouping : public std::numpunct<wchar_t> {
protected:
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
};

// What a host's insertion operators may do to a stream.
struct LeavesHex {};
std::wostream& operator<<(std::wostream& stream, LeavesHex) {
    return stream << std::hex << std::showbase << std::uppercase << 255;
}
struct LeavesDecimal {};
std::wostream& operator<<(std::wostream& stream, LeavesDecimal) {
    return stream << std::dec << std::noshowbase << std::nouppercase << 255;
}
struct LeavesWidth {};
std::wostream& operator<<(std::wostream& stream, LeavesWidth) {
    stream.width(12);
    stream.fill(L'*');
    return stream;
}
struct LeavesSign {};
std::wostream& operator<<(std::wostream& stream, LeavesSign) {
    return stream << std::showpos;
}
struct LeavesLocale {};
std::wostream& operator<<(std::wostream& stream, LeavesLocale) {
    stream.imbue(std::locale(traceLocale(), new Grouping));
    return stream;
}
struct Fails {};
std::wostream& operator<<(std::wostream& stream, Fails) {
    stream.setstate(std::ios_base::failbit);
    return stream;
}
struct Logs {};
std::wostream& operator<<(std::wostream& stream, Logs) {
    stream << "[before ";
    LOG_WARNING("inside " << 12345);
    return stream << "after]";
}
struct WritesPieces {};
std::wostream& operator<<(std::wostream& stream, WritesPieces) {
    stream << "[a";
    trace() << L"b" << 1 << 'c';
    return stream << "d]";
}
struct HalfAPair {};
std::wostream& operator<<(std::wostream& stream, HalfAPair) {
    return stream << static_cast<wchar_t>(0xD83D);
}

void line(const std::function<void()>& pieces) {
    trace() << L"!~Sev:INFO" << L"!~Fil:" << "folder/x.cpp" << L"!~Lin:" << 7;
    pieces();
    trace() << '\n';
    trace().flush();
}

/// Every type that has a short way, and some that have none.
void everyType() {
    line([] {
        trace() << std::numeric_limits<int>::min() << ' ' << std::numeric_limits<int>::max();
        trace() << ' ' << std::numeric_limits<long>::min() << ' ' << 1234567L;
        trace() << ' ' << std::numeric_limits<long long>::min() << ' ' << 1234567LL;
        trace() << ' ' << std::numeric_limits<unsigned int>::max() << ' ' << 1234567U;
        trace() << ' ' << std::numeric_limits<unsigned long>::max();
        trace() << ' ' << std::numeric_limits<unsigned long long>::max() << ' ' << 0ULL;
    });
    line([] {
        const short small = -5;
        const unsigned short smallUnsigned = 65535;
        trace() << small << ' ' << smallUnsigned << ' ' << true << ' ' << false << ' ' << 1234.5
                << ' ' << 0.1F << ' ' << 1e300L << ' ' << static_cast<void*>(nullptr);
    });
    line([] {
        // Two of them mean something to who reads a text file on Windows.
        for (int byte = 0; byte < 256; ++byte) {
            if (byte == 0x0D || byte == 0x1A) {
                continue;
            }
            trace() << static_cast<char>(byte);
        }
        for (const std::uint32_t character :
             {0x0U, 0x7FU, 0x80U, 0xE9U, 0x3000U, 0xD83DU, 0xDE00U, 0xDE00U, 0xD83DU}) {
            trace() << static_cast<wchar_t>(character);
        }
    });
    line([] {
        std::string narrow = "caf\xE9 \x80\xFF and plain text that is longer than a block";
        std::wstring wide = L"\u00DCbung \u65E5\u672C \U0001F600 and plain text";
        const std::wstring constant = L"constant \u00E9 text";
        const char* const noText = nullptr;
        wchar_t* const noWideText = nullptr;
        trace() << narrow.c_str() << narrow.data() << wide.data() << constant << constant.c_str()
                << L"literal" << noText << noWideText << "" << L"";
        trace() << static_cast<const char*>(narrow.c_str());
    });
}

/// The markers in all sorts of order.
void everyMarker() {
    line([] {
        std::wstring changeable = L"!~Fil:";
        trace() << "!~Sev:INFO" << changeable.data();
    });
    line([] {
        trace() << L"!~Fil:" << L"a\\b" << L"!~Lin:" << "no number" << L"!~Lin:" << 99L;
        trace() << L"!~Fil:" << 12 << L"!~Lin:" << 13U << L"!~Lin:" << -3 << L"!~Fil:" << 'x';
        trace() << L"!~Lin:" << std::wstring(L"text") << L"!~Fil:" << "" << L"!~Lin:" << 5;
        trace() << L"!~Fil:" << "a/b\\c/d" << L"!~Lin:" << 5 << L"!~Fil:" << "a\\b/" << L"!~Lin:"
                << 5;
        trace() << L"!~Fil:" << "caf\xE9/\xE9t\xE9" << L"!~Lin:" << 5;
        trace() << L"!~Fil:" << std::string(400, 'n').c_str() << L"!~Lin:" << 5;
        trace() << L"!~Lin:" << 123456789012345;
        trace() << L"xxSevere" << L"message";
        trace().flush();
    });
    trace() << L"!~Fil:";
    line([] { trace() << "the marker took the severity"; });
    trace() << "outside" << 1 << L" any line " << 'x' << '\n' << L"!~Fil:" << "before";
    trace() << L"!~Sev:ERROR" << L"!~Lin:" << 1 << "the name of before" << '\n';
    trace().flush();
}

/// File names of every kind, twice each: what a statement's column is made of is kept.
void everyName() {
    const std::string names[] = {"x",
                                 "Name",
                                 "a.cpp",
                                 "TransactedFS",
                                 "twenty-nine-characters-name.c",
                                 "thirty-characters-are-a-name.c",
                                 "thirty-one-characters-a-name.cc",
                                 "folder/x.cpp",
                                 "folder\\x.cpp",
                                 "/x.cpp",
                                 "\\x.cpp",
                                 "a/b\\c.cpp",
                                 "a\\b/c.cpp",
                                 "a/b\\",
                                 "a\\b/",
                                 "x\\a/b\\",
                                 "/",
                                 "\\",
                                 "//",
                                 "a//",
                                 "",
                                 "caf\xE9.cpp",
                                 "caf\xE9/x.cpp",
                                 "tab\tname",
                                 "del\x7F"
                                 "ete",
                                 "Fil",
                                 "12345678",
                                 "123456789",
                                 "1234567890123456",
                                 "12345678901234567",
                                 "Name2",
                                 "name",
                                 std::string(259, 'f') + "/x.cpp",
                                 std::string(300, 'n')};
    for (int time = 0; time < 2; ++time) {
        for (const std::string& name : names) {
            for (const int number : {5, 13, 5, 100000, -1, -2147483647 - 1}) {
                trace() << L"!~Sev:INFO" << L"!~Fil:" << name.c_str() << L"!~Lin:" << number;
                // Without a name: the column before it is the name.
                trace() << "first" << L"!~Lin:" << 7 << "second" << L"!~Fil:" << "other"
                        << L"!~Fil:" << name.c_str() << L"!~Lin:" << number << '\n';
                trace().flush();
                // The next statement has it still, also outside of a line.
                trace() << L"!~Lin:" << number;
                trace() << L"!~Sev:ERROR" << L"!~Lin:" << 8 << "third\n";
                trace().flush();
                std::wstring wide(name.begin(), name.end());
                trace() << L"!~Sev:WARNING" << L"!~Fil:" << wide.data() << L"!~Lin:" << number;
                trace() << L"!~Fil:" << wide << L"!~Lin:" << number << L"!~Fil:" << name.c_str()
                        << '\n';
                trace().flush();
                // A name that waited for its line over the end of the statement.
                trace() << L"!~Sev:INFO" << L"!~Lin:" << 9L << "fourth\n";
                trace().flush();
            }
        }
    }
    // The text is what counts, not where it stands.
    char changing[] = "NameOne.cpp";
    for (const char digit : {'1', '2', '1'}) {
        changing[10] = digit;
        trace() << L"!~Sev:INFO" << L"!~Fil:" << changing << L"!~Lin:" << 3 << '\n';
        trace().flush();
    }
    std::wstring wideName = L"\u65E5\u672C.cpp";
    trace() << L"!~Sev:INFO" << L"!~Fil:" << wideName.data() << L"!~Lin:" << 3 << '\n';
    trace().flush();
}

/// What begins a log statement, against the pieces that it stands for.
void everyBeginning(bool atOnce) {
    using enum Recorder::Severity;
    const auto begin = [atOnce](Recorder::Severity severity, const char* file,
                                int number) -> Recorder& {
        static constexpr const wchar_t* kMarkers[] = {L"!~Sev:INFO", L"!~Sev:WARNING",
                                                      L"!~Sev:ERROR", L"!~Sev:CRITICAL"};
        return atOnce ? trace().begin(severity, file, number)
                      : trace() << kMarkers[static_cast<int>(severity)] << L"!~Fil:" << file
                                << L"!~Lin:" << number;
    };
    const auto end = [atOnce] {
        if (atOnce) {
            trace().end();
        } else {
            trace() << '\n';
            trace().flush();
        }
    };
    const char* const none = nullptr;
    for (const char* const file : {"x", "TransactedFS", "folder/x.cpp", "a\\b/", "", "caf\xE9.cpp",
                                   none, "a-name-that-is-longer-than-its-column.cpp"}) {
        for (const int number : {0, 5, 13, 99999, 100000, -1}) {
            for (const Recorder::Severity severity : {Info, Warning, Error, Critical}) {
                begin(severity, file, number) << "first " << number << L" second";
                end();
            }
            begin(Info, file, number) << "in ";
            begin(Error, file, number) << "another";
            end();
            trace() << "the rest" << L"!~Lin:" << 3;
            end();
            // A marker that waits takes the line feed.
            begin(Info, file, number) << "no end" << L"!~Fil:";
            end();
            trace() << "after it" << L"!~Lin:" << 4;
            end();
            begin(Info, file, number) << LeavesWidth();
            end();
            // A marker that waits takes the severity.
            trace() << L"!~Fil:";
            begin(Info, file, number) << "text";
            end();
            trace() << L"!~Lin:";
            begin(Info, file, number) << L"!~Lin:" << 7 << "text";
            end();
            // One that begins and goes on in a stream that has changed.
            line([&] {
                trace() << LeavesHex();
                begin(Info, file, number) << 255 << LeavesDecimal();
                end();
            });
        }
    }
}

/// Severities of every length and kind.
void everySeverity() {
    for (const std::wstring name :
         {L"", L"I", L"INFO", L"WARNING", L"CRITICAL", L"NINEUNITS", L"\u00DCBER", L"tab\there",
          L"a severity that is longer than its buffer has room for"}) {
        trace() << L"!~Sev:" + name << L"!~Fil:" << "x" << L"!~Lin:" << 7 << "text\n";
        trace().flush();
    }
    trace() << L"!~Sev" << L"!~Lin:" << 7 << "text\n";
    trace().flush();
    for (const wchar_t* const text :
         {L"", L"!", L"!~", L"!~S", L"!~Se", L"!~Fi", L"!~Li", L"!~Fil", L"!~Lin"}) {
        trace() << L"!~Sev:INFO" << text << 3 << '\n';
        trace().flush();
    }
}

/// Texts around the sizes in which they are handled, with a character of every kind at every place.
void everyLength() {
    for (std::size_t length = 0; length < 70; ++length) {
        line([length] {
            const std::wstring wide(length, L'x');
            const std::string narrow(length, 'y');
            trace() << wide << narrow.c_str();
            for (std::size_t at = 0; at < length; at += 3) {
                std::wstring changed = wide;
                changed[at] = L'\u00E9';
                trace() << changed << changed.c_str() + 1;
                changed[at] = static_cast<wchar_t>(0xD83D);
                trace() << changed.data();
                std::string changedNarrow = narrow;
                changedNarrow[at] = '\xE9';
                trace() << changedNarrow.c_str();
                changed[at] = L'\0';
                trace() << changed;
            }
        });
    }
    // Half a pair at the end of a line, and the next line's beginning.
    line([] { trace() << static_cast<wchar_t>(0xD83D); });
    line([] { trace() << "x"; });
    trace() << L"!~Sev:INFO" << static_cast<wchar_t>(0xD83D);
    trace().flush();
    line([] { trace() << "y"; });
}

/// What is left behind in the stream holds for what follows.
void everyState() {
    line([] { trace() << LeavesHex() << ' ' << 255 << ' ' << 255L << ' ' << 255ULL << 1.5; });
    line([] { trace() << 255 << LeavesDecimal() << 255; });
    line([] {
        trace() << 1 << LeavesWidth() << 2 << 3 << LeavesWidth() << "text"
                << "more";
    });
    line([] { trace() << LeavesWidth(); });
    line([] { trace() << "the date took the width" << LeavesSign() << 5 << 6U << '7'; });
    line([] { trace() << 5; });
    line([] { trace() << 1234567 << LeavesLocale() << 1234567 << 1234567ULL; });
    line([] { trace() << 1234567; });
    line([] { trace() << "a" << Logs() << "b" << Logs() << 1; });
    line([] { trace() << "a" << WritesPieces() << "b"; });
    line([] { trace() << HalfAPair() << static_cast<wchar_t>(0xDE00) << HalfAPair() << "x"; });
    line([] { trace() << static_cast<wchar_t>(0xD83D) << 1.5 << static_cast<wchar_t>(0xDE00); });
    line([] { trace() << std::wstring(200000, L'x') << std::string(200000, 'y').c_str() << 1; });
}

/// What the stream writes for a value, from the line's pieces to its own.
std::string theLongWay(void (*statements)()) {
    const testing::FixedTrace fixed;
    std::wostringstream stream;
    stream.imbue(traceLocale());
    trace().setStream(&stream, nullptr, false);
    statements();
    return platform::utf8::encode(stream.str());
}

std::string theShortWay(void (*statements)()) {
    const testing::FixedTrace fixed;
    const testing::ScratchFile file;
    trace().setFile(file.path().c_str());
    statements();
    Recorder::destroy();
    return file.text();
}

TEST(RecorderWays, AreTheSameForEveryType) {
    EXPECT_EQ(theLongWay(&everyType), theShortWay(&everyType));
}

TEST(RecorderWays, AreTheSameForEveryMarker) {
    EXPECT_EQ(theLongWay(&everyMarker), theShortWay(&everyMarker));
}

TEST(RecorderWays, AreTheSameForEveryBeginningOfAStatement) {
    const std::string expected = theLongWay([] { everyBeginning(false); });
    EXPECT_EQ(expected, theLongWay([] { everyBeginning(true); }));
    EXPECT_EQ(expected, theShortWay([] { everyBeginning(false); }));
    EXPECT_EQ(expected, theShortWay([] { everyBeginning(true); }));
}

TEST(RecorderWays, AreTheSameForEveryName) {
    EXPECT_EQ(theLongWay(&everyName), theShortWay(&everyName));
}

TEST(RecorderWays, AreTheSameForEverySeverity) {
    EXPECT_EQ(theLongWay(&everySeverity), theShortWay(&everySeverity));
}

TEST(RecorderWays, AreTheSameForEveryLength) {
    EXPECT_EQ(theLongWay(&everyLength), theShortWay(&everyLength));
}

TEST(RecorderWays, AreTheSameInEveryStateOfTheStream) {
    EXPECT_EQ(theLongWay(&everyState), theShortWay(&everyState));
}

TEST(RecorderWays, AreTheSameUnderAGlobalLocaleOfTheHost) {
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const std::string expected = theLongWay(&everyType);
    const std::string written = theShortWay(&everyType);
    std::locale::global(before);
    EXPECT_EQ(expected, written);
    EXPECT_NE(std::string::npos, written.find(" 1234567 "));
}

TEST(RecorderWays, LoseTheRestOfALineWhoseStreamHasFailed) {
    const testing::FixedTrace fixed;
    const testing::ScratchFile file;
    trace().setFile(file.path().c_str());
    line([] { trace() << "begun " << Fails() << "lost" << 1; });
    line([] { trace() << "next"; });
    const std::string text = file.text();
    EXPECT_NE(std::string::npos, text.find("\tbegun November"));
    EXPECT_EQ(std::string::npos, text.find("lost"));
    EXPECT_NE(std::string::npos, text.find("\tnext\n"));
}

TEST(RecorderWays, KeepALineThatWasNeverFlushed) {
    const testing::FixedTrace fixed;
    const testing::ScratchFile file;
    trace().setFile(file.path().c_str());
    trace() << L"!~Sev:INFO" << "no end";
    Recorder::destroy();
    EXPECT_EQ("November 16, 2026, 5:35:54.123 AM\tINFO    \tT4711\tno end", file.text());
}

}  // namespace
}  // namespace Tallowmere
