// Lines, columns and markers. Streams, locks and the singleton: RecorderStreamTest.cpp; the trace
// file: RecorderFileTest.cpp; several threads: RecorderThreadsTest.cpp.

#include "kest/diagnostics/Recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <limits>
#include <vector>

#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/platform/testing/CallLog.h"

namespace Tallowmere {
namespace {

using platform::testing::CallLog;
using testing::kStamp;

class RecorderTest : public ::testing::Test {
protected:
    RecorderTest() { trace().setStream(&stream, nullptr, false); }

    static Recorder& trace() { return *Recorder::instance(); }

    /// Streams what every statement begins with.
    static Recorder& begin(const char* file = "Configurable", int line = 64) {
        return trace() << L"!~Sev:INFO" << L"!~Fil:" << file << L"!~Lin:" << line;
    }

    /// What the stream has received since the last call.
    std::wstring written() {
        const std::wstring text = stream.str();
        stream.str(L"");
        return text;
    }

    /// Time stamp, severity INFO and thread.
    static std::wstring prefix() { return std::wstring(kStamp) + L"INFO    \tT4711\t"; }
    static std::wstring location() { return L"Configurable:L00064                 \t"; }

    testing::FixedTrace fixed;
    std::wostringstream stream;
};

TEST_F(RecorderTest, WritesTheColumnsOfALineInOrder) {
    begin() << "Reading file " << std::wstring(L"C:\\settings.xml") << '\n';
    trace().flush();
    EXPECT_EQ(
        L"November 16, 2026, 5:35:54.123 AM\tINFO    \tT4711\tConfigurable:L00064                 "
        L"\t"
        L"Reading file C:\\settings.xml\n",
        written());
}

TEST_F(RecorderTest, WritesEachPartOfALineWhenItsMarkerComes) {
    trace() << L"!~Sev:ERROR";
    EXPECT_EQ(std::wstring(kStamp) + L"ERROR   \tT4711\t", written());
    trace() << L"!~Fil:";
    trace() << "x.cpp";
    trace() << L"!~Lin:";
    EXPECT_EQ(L"", written());
    trace() << 7;
    EXPECT_EQ(L"x.cpp:L00007                        \t", written());
    trace().flush();
}

TEST_F(RecorderTest, ShowsTheTimeInTheThreadsLocaleAndZone) {
    const CallLog log(platform::testing::Time);
    begin();
    trace().flush();
    // The text is kept for its second, as long as the language is the same.
    std::vector<std::wstring> expected = {L"GetSystemTime",   L"SystemTimeToTzSpecificLocalTime",
                                          L"GetThreadLocale", L"GetDateFormatW",
                                          L"GetThreadLocale", L"GetTimeFormatW",
                                          L"GetThreadLocale"};
    EXPECT_EQ(expected, log.names());
    begin();
    trace().flush();
    expected.insert(expected.end(), {L"GetSystemTime", L"GetThreadLocale"});
    EXPECT_EQ(expected, log.names());
}

TEST_F(RecorderTest, TakesTheLastComponentOfAFileName) {
    begin("C:\\src\\x", 12);
    trace().flush();
    EXPECT_EQ(prefix() + L"x:L00012                            \t", written());
    begin("/home/src/y.cpp", 12);
    trace().flush();
    EXPECT_EQ(prefix() + L"y.cpp:L00012                        \t", written());
    // Without a folder, or with nothing after it, the name stands as it is.
    begin("C:\\", 12);
    trace().flush();
    EXPECT_EQ(prefix() + L"C:\\:L00012                          \t", written());
}

TEST_F(RecorderTest, CutsALongFileNameToThirtyCharacters) {
    begin("abcdefghijklmnopqrstuvwxyz01234567", 5);
    trace().flush();
    EXPECT_EQ(prefix() + L"abcdefghijklmnopqrstuvwxyz0123:L00005\t", written());
}

TEST_F(RecorderTest, WritesAllDigitsOfALineNumber) {
    begin("x", 123456);
    trace().flush();
    EXPECT_EQ(prefix() + L"x:L123456                           \t", written());
}

TEST_F(RecorderTest, CutsALocationThatIsLongerThanItsBuffer) {
    begin("abcdefghijklmnopqrstuvwxyz01234567", 1234567) << "message";
    trace().flush();
    EXPECT_EQ(prefix() + L"abcdefghijklmnopqrstuvwxyz0123:L1234567message", written());
}

TEST_F(RecorderTest, TakesALongAsLineNumber) {
    trace() << L"!~Fil:" << "x" << L"!~Lin:" << 12L;
    EXPECT_EQ(L"x:L00012                            \t", written());
    // One that an int cannot hold counts as the nearest that it can.
    if (std::numeric_limits<long>::max() > std::numeric_limits<int>::max()) {
        trace() << L"!~Fil:" << "x" << L"!~Lin:" << std::numeric_limits<long>::max();
        EXPECT_EQ(L"x:L2147483647                       \t", written());
        trace() << L"!~Fil:" << "x" << L"!~Lin:" << std::numeric_limits<long>::min();
        EXPECT_EQ(L"x:L-2147483648                      \t", written());
    }
}

TEST_F(RecorderTest, SwallowsWhatIsNoLineNumberAfterALineMarker) {
    trace() << L"!~Fil:" << "x" << L"!~Lin:" << "12";
    trace() << L"!~Lin:" << std::uint64_t{12};
    trace() << L"!~Lin:" << 12U;
    trace() << L"!~Lin:" << 'c';
    trace() << L"!~Lin:" << std::wstring(L"text");
    // Also a marker, which then has no effect at all.
    trace() << L"!~Lin:" << L"!~Fil:";
    trace() << L"!~Lin:" << L"!~Sev:INFO";
    EXPECT_EQ(L"", written());
    trace() << L"!~Lin:" << 12;
    EXPECT_EQ(L"x:L00012                            \t", written());
}

TEST_F(RecorderTest, TakesAnyValueAsFileNameAfterAFileMarker) {
    trace() << L"!~Fil:" << 64 << L"!~Lin:" << 1;
    EXPECT_EQ(L"64:L00001                           \t", written());
    trace() << L"!~Fil:" << L"!~Lin:" << L"!~Lin:" << 2;
    EXPECT_EQ(L"!~Lin::L00002                       \t", written());
    wchar_t wide[] = L"a\\b";
    wchar_t* const pointer = wide;
    trace() << L"!~Fil:" << pointer << L"!~Lin:" << 3;
    EXPECT_EQ(L"b:L00003                            \t", written());
    trace() << L"!~Fil:" << std::wstring(L"a\\c") << L"!~Lin:" << 4;
    EXPECT_EQ(L"c:L00004                            \t", written());
    trace() << L"!~Fil:" << "d\xE9" << L"!~Lin:" << 5;
    EXPECT_EQ(L"d\u00E9:L00005                           \t", written());
}

TEST_F(RecorderTest, ReusesTheLocationColumnWithoutAFileMarker) {
    begin();
    trace().flush();
    written();
    trace() << L"!~Sev:INFO" << L"!~Lin:" << 5;
    trace().flush();
    EXPECT_EQ(prefix() + L"Configurable:L00064           :L00005\t", written());
    // Once more, outside a line, and from there into the next line.
    trace() << L"!~Lin:" << 6;
    EXPECT_EQ(L"Configurable:L00064           :L00006\t", written());
    trace() << L"!~Fil:" << "y.cpp";
    trace() << L"!~Sev:INFO" << L"!~Lin:" << 7;
    trace().flush();
    EXPECT_EQ(prefix() + L"y.cpp:L00007                        \t", written());
}

TEST_F(RecorderTest, KeepsAWaitingMarkerPastTheEndOfALine) {
    begin() << L"!~Lin:";
    trace().flush();
    written();
    // Taken for the line number, so no line begins.
    trace() << L"!~Sev:INFO" << "text" << '\n';
    trace().flush();
    EXPECT_EQ(L"text\n", written());
}

TEST_F(RecorderTest, TakesConstantWideTextForAMarkerByItsTagAlone) {
    begin() << L"xxSevere" << "!\n";
    trace().flush();
    trace().flush();
    EXPECT_EQ(prefix() + location() + kStamp + L"re      \tT4711\t!\n", written());
    // Shorter than a marker can be, or the tag elsewhere.
    trace() << L"xxSe" << L"Sever" << L"x!~Sev" << L"!~sev:x";
    EXPECT_EQ(L"xxSeSeverx!~Sev!~sev:x", written());
    trace() << L"" << L"a";
    EXPECT_EQ(L"a", written());
}

TEST_F(RecorderTest, LeavesTheSeverityOfAShortMarkerEmpty) {
    trace() << L"xxSev";
    trace().flush();
    trace() << L"xxSev:";
    trace().flush();
    EXPECT_EQ(std::wstring(kStamp) + L"        \tT4711\t" + kStamp + L"        \tT4711\t",
              written());
}

TEST_F(RecorderTest, CutsALongSeverityToItsBuffer) {
    const std::wstring name(100, L'x');
    trace() << L"!~Sev:" + name;
    trace().flush();
    EXPECT_EQ(kStamp + name.substr(0, 33) + L"T4711\t", written());
}

TEST_F(RecorderTest, LooksForMarkersInEveryKindOfConstantWideText) {
    const wchar_t* const pointer = L"xxFile";
    const wchar_t array[] = L"xxFile";
    const std::wstring string = L"xxFile";
    trace() << pointer << "taken" << L"|" << array << "taken" << L"|" << string << "taken" << L"|"
            << L"xxFile" << "taken" << L"|";
    std::wstring changeable = L"xxFile";
    trace() << changeable << "taken" << changeable.c_str() << "taken";
    EXPECT_EQ(L"||||", written());
}

TEST_F(RecorderTest, NeverLooksForMarkersInChangeableOrNarrowText) {
    wchar_t array[] = L"xxFile";
    wchar_t* const pointer = array;
    trace() << array << '|' << pointer << '|' << "xxFile";
    EXPECT_EQ(L"xxFile|xxFile|xxFile", written());
}

TEST_F(RecorderTest, EndsAWideStringAtItsNullCharacter) {
    trace() << std::wstring(L"ab\0cd", 5);
    EXPECT_EQ(L"ab", written());
}

TEST_F(RecorderTest, WritesEveryTypeWithTheStreamsOwnInsertion) {
    char changeable[] = "changeable ";
    char* const pointer = changeable;
    const char* const constant = "constant ";
    trace() << 1 << ' ' << -2L << ' ' << std::uint64_t{18446744073709551615U} << ' ' << changeable
            << pointer << constant << "literal " << true << ' ' << 2.5 << ' ' << L'w';
    EXPECT_EQ(L"1 -2 18446744073709551615 changeable changeable constant literal 1 2.5 w",
              written());
}

TEST_F(RecorderTest, KeepsTheFormatOfACallersStream) {
    stream << std::hex << std::showbase;
    trace() << 255;
    EXPECT_EQ(L"0xff", written());
    // What is inserted to change the format changes the stream's.
    trace() << std::dec << std::setw(6) << std::setfill(L'.') << 255 << 7;
    EXPECT_EQ(L"...2557", written());
}

TEST_F(RecorderTest, ReadsTheLineNumberWhateverTheFormatOfTheStream) {
    stream << std::hex;
    begin("x", 64);
    trace().flush();
    EXPECT_EQ(prefix() + L"x:L00064                            \t", written());
}

struct Value {
    mutable std::vector<const std::wostream*> insertions;
};

std::wostream& operator<<(std::wostream& out, const Value& value) {
    value.insertions.push_back(&out);
    return out << L"value";
}

TEST_F(RecorderTest, MakesAValueIntoTextBeforeItIsWritten) {
    const Value value;
    trace() << value;
    EXPECT_EQ(L"value", written());
    ASSERT_EQ(2U, value.insertions.size());
    EXPECT_NE(&stream, value.insertions[0]);
    EXPECT_EQ(&stream, value.insertions[1]);

    const Value taken;
    trace() << L"!~Fil:" << taken << L"!~Lin:" << 1;
    EXPECT_EQ(L"value:L00001                        \t", written());
    EXPECT_EQ(1U, taken.insertions.size());
}

TEST_F(RecorderTest, TakesANullTextForAnEmptyOne) {
    trace() << static_cast<const char*>(nullptr) << static_cast<char*>(nullptr)
            << static_cast<const wchar_t*>(nullptr) << static_cast<wchar_t*>(nullptr) << "on";
    EXPECT_EQ(L"on", written());
    trace() << L"!~Fil:" << static_cast<const char*>(nullptr) << L"!~Lin:" << 1;
    EXPECT_EQ(L":L00001                             \t", written());
}

TEST_F(RecorderTest, LosesAPathOnAServerNamedLikeAFileMarker) {
    begin() << std::wstring(L"\\\\Fileserver\\share\\settings.xml") << '\n';
    trace().flush();
    begin() << "next" << '\n';
    trace().flush();
    // The path is not written and the line feed is taken for a file name.
    EXPECT_EQ(prefix() + location() + prefix() + location() + L"next\n", written());
}

TEST_F(RecorderTest, LosesAPathOnAServerNamedLikeALineMarker) {
    begin() << std::wstring(L"\\\\Linux01\\share") << ", the next piece"
            << ", another" << '\n';
    trace().flush();
    EXPECT_EQ(prefix() + location() + L", another\n", written());
}

TEST_F(RecorderTest, KeepsTheMutexAfterAPathOnAServerNamedLikeASeverity) {
    const CallLog log(platform::testing::Sync);
    const auto count = [&](const wchar_t* name) {
        const std::vector<std::wstring> names = log.names();
        return std::count(names.begin(), names.end(), name);
    };
    begin() << std::wstring(L"\\\\Sevilla\\share") << '\n';
    trace().flush();
    EXPECT_EQ(prefix() + location() + kStamp + L"lla\\share\tT4711\t\n", written());
    // Taken twice, given back once; that another thread then waits: RecorderThreadsTest.cpp.
    EXPECT_EQ(2, count(L"WaitForSingleObject"));
    EXPECT_EQ(1, count(L"ReleaseMutex"));
}

TEST_F(RecorderTest, TakesTheMutexForALineAndNothingElse) {
    const CallLog log(platform::testing::Sync);
    trace() << "piece" << 1 << std::wstring(L"text") << L"!~Fil:" << "x" << L"!~Lin:" << 1;
    EXPECT_EQ(std::vector<std::wstring>(), log.names());
    // Releases without owning, which fails.
    trace().flush();
    EXPECT_EQ(std::vector<std::wstring>({L"ReleaseMutex"}), log.names());
}

TEST_F(RecorderTest, WritesAnEmptyStampWhenThereIsNoLocalTime) {
    std::wostringstream errors;
    std::wstreambuf* const before = std::wcerr.rdbuf(errors.rdbuf());
    platform::g_calls.SystemTimeToTzSpecificLocalTime =
        [](const TIME_ZONE_INFORMATION*, const SYSTEMTIME*, SYSTEMTIME*) -> BOOL { return FALSE; };
    begin() << "text\n";
    trace().flush();
    std::wcerr.rdbuf(before);
    EXPECT_EQ(L"\tINFO    \tT4711\t" + location() + L"text\n", written());
    EXPECT_NE(L"", errors.str());
}

}  // namespace
}  // namespace Tallowmere
