#include "trace/Page.h"

#include <gtest/gtest.h>

#include "trace/LineSplitter.h"
#include "trace/Trace.h"
#include "trace/testing/Fixtures.h"

namespace Tallowmere::command::trace {
namespace {

using testing::kPlace;
using testing::lineAt;
using testing::ScratchFolder;
using testing::TextOutput;

class TracePage : public ::testing::Test {
protected:
    /// The page of the files, written to a file of its own.
    std::string pageOf(const Options& chosen) {
        Options options = chosen;
        options.html = folder.path(L"Seite \u65E5.html");
        TextOutput out;
        TextOutput err;
        EXPECT_EQ(0, run(options, out, err));
        EXPECT_EQ("", out.text() + err.text());
        return folder.read(L"Seite \u65E5.html");
    }

    static std::string dataIn(const std::string& page) {
        const std::string before = "<script type=\"application/json\" id=\"data\">";
        const std::size_t begin = page.find(before) + before.size();
        return page.substr(begin, page.find("</script>", begin) - begin);
    }

    ScratchFolder folder;
};

TEST_F(TracePage, HoldsTheLinesAsData) {
    Options options;
    options.files = {
        folder.write(L"a.log", "cut\n" + lineAt("5:00:00.000 AM", "one", "ERROR   ", 7) + "\n" +
                                   lineAt("5:00:00.250 AM", "failed.") + "\r\n\n" +
                                   lineAt("4:00:00.000 AM", "back") + "\nrest\n"),
        folder.write(L"b.log",
                     "Trace file rolled over\nDezember 16, 2026, 5:35:54.123 \tINFO    "
                     "\tT1\t" +
                         kPlace + "m")};
    EXPECT_EQ(
        "{\"query\":\"\",\n\"leftOut\":null,\n\"files\":[\"a.log\",\"b.log\"],\n"
        "\"threads\":[[0,-1],[1,-1],[1,1],[0,7],[0,1]],\n"
        "\"places\":[[\"Configurable\",64]],\n"
        "\"when\":[0,0,0,1794805200000,250,0,0],\n\"thread\":[0,1,2,3,4,4,4],\n"
        "\"place\":[0,0,0,0,0,0,0],\n\"number\":[1,1,2,2,3,5,6],\n\"kind\":\"Tr0200T\",\n"
        "\"own\":[[5,1794801600000]],\n\"untimed\":[0,1,2],\n\"unfinished\":[2],\n"
        "\"part\":[],\n\"within\":[],\n\"text\":\"cut\\nTrace file rolled "
        "over\\nm\\none\\nfailed.\\nback\\n"
        "rest\\n\"}\n",
        dataIn(pageOf(options)));
}

TEST_F(TracePage, LetsNothingOfTheTraceBecomeMarkup) {
    Options options;
    options.files = {folder.write(
        L"a.log", lineAt("5:00:00.000 AM", "</script><script>alert(1)</script>") + "\n" +
                      lineAt("5:00:00.000 AM", "<!-- & \xE2\x80\xA8 \x1b]0;x\a \xED\xA0\x80\xFF") +
                      "\nNovember 16, 2026, 5:00:00.000 AM\tINFO    \tT1\t"
                      "<b>\"x\":L00001                       \tm\n")};
    const std::string data = dataIn(pageOf(options));
    EXPECT_EQ(std::string::npos, data.find_first_of("<>&\x1b\a\xFF"));
    EXPECT_NE(std::string::npos,
              data.find("\"text\":\"\\u003c/script\\u003e\\u003cscript\\u003ealert(1)\\u003c/"
                        "script\\u003e\\n\\u003c!-- \\u0026 \\u2028 \\u001b]0;x\\u0007 "
                        "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\\nm\\n\""))
        << data;
    EXPECT_NE(std::string::npos, data.find("[\"\\u003cb\\u003e\\\"x\\\"\",1]")) << data;
}

TEST_F(TracePage, IsWholeAndAsksForNothing) {
    Options options;
    options.files = {folder.write(L"a.log", "")};
    const std::string page = pageOf(options);
    EXPECT_TRUE(page.starts_with("<!doctype html>\n"));
    EXPECT_TRUE(page.ends_with("</html>\n"));
    EXPECT_EQ(std::string::npos, page.find("{{"));
    EXPECT_NE(std::string::npos, page.find("content=\"default-src 'none'; style-src 'sha256-"));
    for (const char* const foreign : {"src=", "href=", "url(", "@import", "fetch(", "innerHTML",
                                      "eval(", " style=\"", " onclick"}) {
        EXPECT_EQ(std::string::npos, page.find(foreign)) << foreign;
    }
}

TEST_F(TracePage, SaysWhatItHasLeftOut) {
    Options options;
    options.pageLines = 2;
    options.severity = L"info";
    options.texts = {L"<x"};
    std::string text;
    for (int i = 0; i < 5; ++i) {
        text += lineAt("5:00:0" + std::to_string(i) + ".000 AM", "<x" + std::to_string(i)) + "\n";
    }
    options.files = {folder.write(L"a.log", text)};
    const std::string data = dataIn(pageOf(options));
    EXPECT_TRUE(
        data.starts_with("{\"query\":\"at least info, text \\u003cx\",\n"
                         "\"leftOut\":{\"count\":3,\"from\":1794805200000,"
                         "\"to\":1794805202000},\n"))
        << data;
    EXPECT_NE(std::string::npos, data.find("\"text\":\"\\u003cx3\\n\\u003cx4\\n\"}")) << data;
}

/// Says no more than how much was written.
class CountingOutput : public Output {
public:
    void write(std::string_view text) override { m_bytes += text.size(); }
    std::size_t bytes() const { return m_bytes; }

private:
    std::size_t m_bytes = 0;
};

TEST_F(TracePage, IsNoLargerThanABrowserOpensWhateverIsInATrace) {
    // Each zero byte takes six in the page.
    const std::string zeros(LineSplitter::kAtMost, '\0');
    const FileNames names = {"a.log"};
    CountingOutput output;
    Page page(names, output, 1000000, "");
    Entry entry;
    entry.kind = Entry::Kind::unreadable;
    entry.bytes = zeros;
    for (std::size_t i = 0; i < 40; ++i) {
        page.take(entry);
    }
    page.finish();
    EXPECT_LT(output.bytes(), Page::kBytes + (std::size_t{1} << 20));
    EXPECT_GT(output.bytes(), Page::kBytes - 6 * zeros.size());
}

TEST_F(TracePage, ForgetsThePlacesOfLinesThatAreLeftOut) {
    const FileNames names = {"a.log"};
    TextOutput output;
    Page page(names, output, 3, "");
    Entry entry;
    entry.kind = Entry::Kind::line;
    for (int i = 0; i < 5; ++i) {
        const std::string module = i % 2 == 0 ? "Even" : "M" + std::to_string(i);
        entry.line.module = module;
        entry.line.number = 7;
        entry.line.thread = i < 3 ? 1 : i;
        page.take(entry);
    }
    page.finish();
    const std::string data = dataIn(output.text());
    EXPECT_NE(std::string::npos, data.find("\"threads\":[[0,1],[0,3],[0,4]],\n")) << data;
    EXPECT_NE(std::string::npos, data.find("\"places\":[[\"Even\",7],[\"M3\",7]],\n")) << data;
    EXPECT_NE(std::string::npos, data.find("\"thread\":[0,1,2],\n")) << data;
    EXPECT_NE(std::string::npos, data.find("\"place\":[0,1,0],\n")) << data;
}

TEST_F(TracePage, CountsTheNamesOfPlacesOnce) {
    const FileNames names = {"a.log"};
    const std::string longName(std::size_t{1} << 20, 'm');
    Entry entry;
    entry.kind = Entry::Kind::line;
    const auto written = [&](int places) {
        CountingOutput output;
        Page page(names, output, 1000000, "");
        for (int i = 0; i < places; ++i) {
            const std::string module = std::to_string(i) + longName;
            entry.line.module = module;
            page.take(entry);
            page.take(entry);
        }
        page.finish();
        return output.bytes();
    };
    EXPECT_GT(written(20), 20 * longName.size());
    EXPECT_LT(written(20), 22 * longName.size());
    EXPECT_LT(written(220), Page::kBytes + longName.size());
}

TEST_F(TracePage, NeverTakesThePlaceOfATrace) {
    Options options;
    options.files = {folder.write(L"a.log", "x\n")};
    options.html = options.files[0];
    TextOutput out;
    TextOutput err;
    EXPECT_EQ(1, run(options, out, err));
    EXPECT_TRUE(err.text().starts_with("kest: the page would take the place of the trace "))
        << err.text();
    EXPECT_EQ("x\n", folder.read(L"a.log"));
    options.html = folder.path(L"no folder/x.html");
    TextOutput other;
    EXPECT_EQ(1, run(options, out, other));
    EXPECT_TRUE(other.text().starts_with("kest: cannot write ")) << other.text();
}

}  // namespace
}  // namespace Tallowmere::command::trace
