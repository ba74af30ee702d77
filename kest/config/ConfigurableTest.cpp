#include "kest/config/Configurable.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <fstream>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "kest/config/ConfigurableImpl.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/diagnostics/testing/ScratchFile.h"
#include "kest/platform/Calls.h"
#include "kest/platform/testing/CallLog.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::CallLog;
using platform::testing::ScopedCall;
using platform::testing::TempTree;
using testing::ScratchFile;
using Lines = std::vector<std::wstring>;
using Properties = std::map<std::wstring, std::wstring>;

class ConfigurableTest : public ::testing::Test {
protected:
    const std::wstring& fileOf(const std::string& content) {
        std::ofstream(file.name(), std::ios_base::binary) << content;
        return file.path();
    }

    /// All properties of a file with that content.
    Properties propertiesOf(const std::string& content) {
        const ConfigurableImpl read(fileOf(content).c_str());
        EXPECT_TRUE(read.loaded);
        EXPECT_EQ(file.path(), read.fileName);
        return read.properties;
    }

    /// What is thrown for a file, "nothing" or "another type".
    static std::string failureOf(const wchar_t* fileName) {
        try {
            const Configurable read(fileName);
        } catch (const std::runtime_error& failure) {
            return typeid(failure) == typeid(std::runtime_error) ? failure.what() : "another type";
        }
        return "nothing";
    }

    static std::string failureText(const std::wstring& name, unsigned long code) {
        return convertToString(
            (L"fopen " + name + L" failed: " + getSystemErrorMessage(code, nullptr)).c_str());
    }

    ScratchFile file;
    testing::TraceCapture trace;
};

TEST_F(ConfigurableTest, KeepsTheBlanksOfAValue) {
    const Configurable read(fileOf("<port> 8080 </port>\n").c_str());
    EXPECT_EQ(L" 8080 ", read.getProperty(L"port"));
}

TEST_F(ConfigurableTest, TracesTheReading) {
    const Configurable read(fileOf("<a>1</a>\n").c_str());
    EXPECT_EQ((Lines{L"INFO Configurable: Reading file " + file.path(),
                     L"INFO Configurable: Reading file...", L"INFO Configurable: Closing file..."}),
              trace.lines());
    trace.clear();
    EXPECT_EQ(L"1", read.getProperty(L"a"));
    EXPECT_EQ(Lines(), trace.lines());
}

TEST_F(ConfigurableTest, WarnsOfAPropertyThatTheFileDoesNotDefine) {
    const Configurable read(fileOf("<a>1</a>\n").c_str());
    trace.clear();
    EXPECT_EQ(L"", read.getProperty(L"A"));
    EXPECT_EQ(L"", read.getProperty(L"a "));
    EXPECT_EQ(L"", read.getProperty(L""));
    EXPECT_EQ((Lines{L"WARNING Configurable: Property A was not found",
                     L"WARNING Configurable: Property a  was not found",
                     L"WARNING Configurable: Property  was not found"}),
              trace.lines());
}

TEST_F(ConfigurableTest, TakesNoNameForAMarkerOfTheTrace) {
    const Configurable read(fileOf("").c_str());
    trace.clear();
    EXPECT_EQ(L"", read.getProperty(L"\\\\Seven"));
    EXPECT_EQ(L"", read.getProperty(L"!~Fil:"));
    EXPECT_EQ(L"", read.getProperty(std::wstring(L"a\0b", 3)));
    EXPECT_EQ((Lines{L"WARNING Configurable: Property \\\\Seven was not found",
                     L"WARNING Configurable: Property !~Fil: was not found",
                     L"WARNING Configurable: Property a was not found"}),
              trace.lines());
}

TEST_F(ConfigurableTest, TakesNoFileNameForAMarkerOfTheTrace) {
    for (const wchar_t* const name :
         {L"\\\\Seven.invalid", L"\\\\Fil.invalid", L"\\\\Lin.invalid"}) {
        trace.clear();
        ScopedCall<&Calls::fopen_s> open([](std::FILE**, const char*, const char*) { return 2; });
        EXPECT_EQ(failureText(name, 2), failureOf(name));
        EXPECT_EQ((Lines{std::wstring(L"INFO Configurable: Reading file ") + name,
                         std::wstring(L"ERROR Configurable: fopen ") + name + L" failed: " +
                             getSystemErrorMessage(2, nullptr)}),
                  trace.lines());
    }
}

TEST_F(ConfigurableTest, AnObjectWithoutContentsAnswersNothing) {
    // What an object is that was zeroed by its destructor or by the host.
    alignas(Configurable) unsigned char place[sizeof(Configurable)] = {};
    EXPECT_EQ(L"", std::launder(reinterpret_cast<Configurable*>(place))->getProperty(L"a"));
    EXPECT_EQ((Lines{L"ERROR Configurable: Configurable implementation pointer is null"}),
              trace.lines());
}

TEST_F(ConfigurableTest, ItsDestructorForgetsTheContents) {
    alignas(Configurable) unsigned char place[sizeof(Configurable)];
    Configurable* const read = new (place) Configurable(fileOf("<a>1</a>").c_str());
    read->~Configurable();
    void* pointer = place;
    std::memcpy(&pointer, place, sizeof(pointer));
    EXPECT_EQ(nullptr, pointer);
    static_assert(sizeof(Configurable) == sizeof(void*));
}

TEST_F(ConfigurableTest, AnAssignedCopySharesTheContents) {
    const Configurable first(fileOf("<a>1</a>").c_str());
    alignas(Configurable) unsigned char place[sizeof(Configurable)] = {};
    Configurable& second = *std::launder(reinterpret_cast<Configurable*>(place));
    second = first;
    EXPECT_EQ(L"1", second.getProperty(L"a"));
    EXPECT_EQ(0, std::memcmp(&first, place, sizeof(place)));
}

TEST_F(ConfigurableTest, IgnoresCommentsAndDeclarations) {
    EXPECT_EQ(Properties(), propertiesOf("<?xml version=\"1.0\"?>\n"
                                         "<!-- note -->\n"
                                         "<settings>\n"
                                         "</settings>\n"
                                         "plain text\n"
                                         "a > b\n"
                                         "a < b\n"
                                         "\n"));
}

TEST_F(ConfigurableTest, TakesTheOuterElementOfALine) {
    EXPECT_EQ((Properties{{L"a", L"<b>x</b>"}}), propertiesOf("<a><b>x</b></a>\n"));
    EXPECT_EQ((Properties{{L"a", L"1"}}), propertiesOf("<a>1</a><b>2</b></a>\n"));
}

TEST_F(ConfigurableTest, KnowsNoElementOverSeveralLines) {
    EXPECT_EQ(Properties(), propertiesOf("<a>\n1\n</a>\n"));
    EXPECT_EQ(Properties(), propertiesOf("<a>1\n</a>\n"));
}

TEST_F(ConfigurableTest, ALaterLineReplacesAnEarlierOne) {
    EXPECT_EQ((Properties{{L"a", L"2"}}), propertiesOf("<a>1</a>\n<b></b\n<a>2</a>\n"));
}

TEST_F(ConfigurableTest, SkipsALineWithAnEndBeforeItsStart) {
    EXPECT_EQ(Properties(), propertiesOf("1 > 0 <a>1</a>\n"));
    EXPECT_EQ(Properties(), propertiesOf("><a>1</a>"));
}

TEST_F(ConfigurableTest, TrimsNothing) {
    EXPECT_EQ((Properties{{L" a b ", L"\t1 "}, {L"", L"none"}, {L"c", L""}}),
              propertiesOf("  < a b >\t1 </ a b > \n<>none</>\n<c></c>\n"));
    // An element with attributes has the attributes in its name, and so no end.
    EXPECT_EQ(Properties(), propertiesOf("<a b=\"c\">1</a>\n"));
}

TEST_F(ConfigurableTest, ComparesNamesExactly) {
    EXPECT_EQ((Properties{{L"A", L"1"}, {L"a", L"2"}}), propertiesOf("<A>1</A>\n<a>2</a>\n"));
    EXPECT_EQ(Properties(), propertiesOf("<A>1</a>\n"));
}

TEST_F(ConfigurableTest, AnEmptyFileHasNoProperties) {
    EXPECT_EQ(Properties(), propertiesOf(""));
}

TEST_F(ConfigurableTest, TakesEitherLineEndAndNone) {
    EXPECT_EQ((Properties{{L"a", L"1"}, {L"b", L"2"}, {L"c", L"3"}}),
              propertiesOf("<a>1</a>\r\n<b>2</b>\n<c>3</c>"));
    // A carriage return alone ends no line.
    EXPECT_EQ((Properties{{L"a", L"1\r2"}}), propertiesOf("<a>1\r2</a>\r<b>3</b>\n"));
}

TEST_F(ConfigurableTest, TakesEachByteForOneUnit) {
    // Read on past bytes that no locale knows, as ANSI and as UTF-8 text.
    EXPECT_EQ((Properties{{L"gr\u00FC\u00DFe", L"\u0080\u00FF"}, {L"b", L"\u00C3\u00A9"}}),
              propertiesOf("<gr\xFC\xDF"
                           "e>\x80\xFF</gr\xFC\xDF"
                           "e>\n<b>\xC3\xA9</b>\n"));
}

TEST_F(ConfigurableTest, AZeroByteEndsTheTextOfItsLine) {
    constexpr char kContent[] = "<a>1</a>\n\0<b>2</b>\n<c>3\0</c>\n<d>4</d>\0\n<e>5</e>\n";
    const std::string content(kContent, sizeof kContent - 1);
    EXPECT_EQ((Properties{{L"a", L"1"}, {L"d", L"4"}, {L"e", L"5"}}), propertiesOf(content));
}

TEST_F(ConfigurableTest, TheEndOfTextSignEndsTheFile) {
    EXPECT_EQ((Properties{{L"a", L"1"}}), propertiesOf("<a>1</a>\n\x1A\n<b>2</b>\n"));
}

TEST_F(ConfigurableTest, TakesALongLineInPieces) {
    // "<a>", the value and "</a>" are 4095 units: the piece ends just behind them.
    const std::string fits(4095 - 7, 'x');
    EXPECT_EQ((Properties{{L"a", std::wstring(fits.begin(), fits.end())}}),
              propertiesOf("<a>" + fits + "</a>\n"));
    // One more, and the closing tag is cut.
    EXPECT_EQ(Properties(), propertiesOf("<a>" + fits + "x</a>\n"));
    // The second piece is a line of its own.
    const std::string filling(4095, '.');
    EXPECT_EQ((Properties{{L"b", L"2"}}), propertiesOf(filling + "<b>2</b>\n"));
}

TEST_F(ConfigurableTest, AsksTheRuntimeForPieces) {
    fileOf("<a>1</a>\n");
    const CallLog log(platform::testing::Runtime);
    const Configurable read(file.path().c_str());
    const std::vector<std::wstring> calls = log.calls();
    ASSERT_EQ(4U, calls.size());
    EXPECT_EQ(L"fopen_s(#1, #2, #3)", calls[0]);
    EXPECT_EQ(0U, calls[1].find(L"fgetws("));
    EXPECT_NE(std::wstring::npos, calls[1].find(L", 4096, "));
    EXPECT_EQ(0U, calls[2].find(L"fgetws("));
    EXPECT_EQ(0U, calls[3].find(L"fclose("));
}

TEST_F(ConfigurableTest, CutsTheNameToBytesAndOpensItForReading) {
    std::string opened;
    ScopedCall<&Calls::fopen_s> open([&](std::FILE**, const char* name, const char* mode) {
        opened = std::string(name) + "," + mode;
        return 2;
    });
    EXPECT_EQ(failureText(L"A\u00E9", 2), failureOf(L"\u0141\u01E9"));
    EXPECT_EQ("A\xE9,r", opened);
    EXPECT_EQ(
        (Lines{L"INFO Configurable: Reading file \u0141\u01E9",
               L"ERROR Configurable: fopen A\u00E9 failed: " + getSystemErrorMessage(2, nullptr)}),
        trace.lines());
}

TEST_F(ConfigurableTest, ReportsAFileThatIsMissing) {
    EXPECT_EQ(failureText(file.path(), ERROR_FILE_NOT_FOUND), failureOf(file.path().c_str()));
    EXPECT_EQ((Lines{L"INFO Configurable: Reading file " + file.path(),
                     L"ERROR Configurable: fopen " + file.path() + L" failed: " +
                         getSystemErrorMessage(ERROR_FILE_NOT_FOUND, nullptr)}),
              trace.lines());
    EXPECT_EQ(failureText(L"", ERROR_FILE_NOT_FOUND), failureOf(L""));
    EXPECT_EQ(failureText(L"", ERROR_FILE_NOT_FOUND), failureOf(nullptr));
    const std::wstring below = file.path() + L"\\nowhere\\file";
    EXPECT_EQ(failureText(below, ERROR_FILE_NOT_FOUND), failureOf(below.c_str()));
}

TEST_F(ConfigurableTest, ReportsAFolderWithTheTextOfAnotherError) {
    const TempTree tree;
    const std::wstring folder = convertToWString(tree.root().string().c_str());
    // The run-time's 13 is "permission denied", the system's something else.
    EXPECT_EQ(failureText(folder, ERROR_INVALID_DATA), failureOf(folder.c_str()));
}

TEST_F(ConfigurableTest, ReportsWhateverNumberTheRuntimeGives) {
    for (const int number : {1, 12, 13, 22, 24, 10783}) {
        ScopedCall<&Calls::fopen_s> open(
            [&](std::FILE**, const char*, const char*) { return number; });
        EXPECT_EQ(failureText(L"x", static_cast<unsigned long>(number)), failureOf(L"x"));
    }
    ScopedCall<&Calls::fopen_s> open([](std::FILE**, const char*, const char*) { return 10783; });
    EXPECT_EQ("fopen x failed: Unknown error code: 0x2a1f", failureOf(L"x"));
}

/// A file that has no end, whose line `number` is `line(number)`.
class EndlessFile {
public:
    explicit EndlessFile(std::function<std::wstring(int)> line) : m_line(std::move(line)) {}

    int read() const { return m_read; }

private:
    std::function<std::wstring(int)> m_line;
    int m_read = 0;
    ScopedCall<&Calls::fgetws> m_lines{[this](wchar_t* buffer, int size, std::FILE*) -> wchar_t* {
        // Where it ends all the same, so that a reader without an end fails.
        if (m_read == 3000000) {
            return nullptr;
        }
        const std::wstring text = m_line(m_read++);
        EXPECT_LT(text.size(), static_cast<std::size_t>(size));
        std::wcscpy(buffer, text.c_str());
        return buffer;
    }};
};

TEST_F(ConfigurableTest, RefusesMorePropertiesThanMemoryHolds) {
    fileOf("");
    const std::wstring filling(3000, L'x');
    const std::size_t most = std::exchange(ConfigurableImpl::s_mostBytes, std::size_t{16} << 20);
    const EndlessFile lines([&](int number) {
        const std::wstring name = L"n" + std::to_wstring(number);
        return L"<" + name + L">" + filling + L"</" + name + L">\n";
    });
    ScopedCall<&Calls::fclose> close([&](std::FILE* open) { return close.original(open); });
    const std::wstring reason =
        L"fgetws " + file.path() + L" failed: more properties than a settings file has";
    EXPECT_EQ(convertToString(reason.c_str()), failureOf(file.path().c_str()));
    EXPECT_EQ(1, close.count());
    EXPECT_EQ((Lines{L"INFO Configurable: Reading file " + file.path(),
                     L"INFO Configurable: Reading file...", L"ERROR Configurable: " + reason}),
              trace.lines());
    // About 16 MiB of them.
    EXPECT_GT(lines.read(), 1200);
    EXPECT_LT(lines.read(), 3200);
    ConfigurableImpl::s_mostBytes = most;
    // Two million ordinary ones are not too many.
    EXPECT_GE(most, std::size_t{1} << 30);
}

TEST_F(ConfigurableTest, TakesAnyNumberOfLinesThatHoldNoOrTheSameProperty) {
    fileOf("");
    const std::wstring filling(3000, L'x');
    const std::wstring value = L"<a>" + filling + L"</a>\n";
    const EndlessFile lines([&](int number) { return number % 100 == 0 ? value : L"\n"; });
    const Configurable read(file.path().c_str());
    EXPECT_EQ(filling, read.getProperty(L"a"));
    EXPECT_EQ(3000000, lines.read());
}

TEST_F(ConfigurableTest, ClosesTheFileWhenMemoryRunsOut) {
    fileOf("<a>1</a>\n");
    ScopedCall<&Calls::fgetws> lines(
        [](wchar_t*, int, std::FILE*) -> wchar_t* { throw std::bad_alloc(); });
    ScopedCall<&Calls::fclose> close([&](std::FILE* open) { return close.original(open); });
    EXPECT_THROW(Configurable(file.path().c_str()), std::bad_alloc);
    EXPECT_EQ(1, close.count());
}

TEST_F(ConfigurableTest, AFailedCloseIsNoFailure) {
    ScopedCall<&Calls::fclose> close([&](std::FILE* open) { return close.original(open), EOF; });
    EXPECT_EQ(L"1", Configurable(fileOf("<a>1</a>").c_str()).getProperty(L"a"));
    EXPECT_EQ(1, close.count());
}

}  // namespace
}  // namespace Tallowmere
