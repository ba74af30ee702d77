#include "trace/Text.h"

#include <gtest/gtest.h>

namespace Tallowmere::command::trace {
namespace {

std::string shown(std::string_view text) {
    std::string out;
    appendShown(out, text);
    return out;
}

std::string json(std::string_view text, bool isInPage = false) {
    std::string out;
    appendJson(out, text, isInPage);
    return out;
}

TEST(TraceText, ShowsATerminalNoOrders) {
    EXPECT_EQ(
        "plain C:\\x\ttab Gr\xC3\xBC\xC3\x9F"
        "e \xF0\x9F\x98\x80",
        shown("plain C:\\x\ttab Gr\xC3\xBC\xC3\x9F"
              "e \xF0\x9F\x98\x80"));
    EXPECT_EQ("\\x1b[31m\\x07\\x0d\\x0a\\x7f\\x00", shown({"\x1b[31m\a\r\n\x7f\0", 10}));
    EXPECT_EQ("\\u009b\\u202e\\u2028\\ufeff\\uf0ff",
              shown("\xC2\x9B\xE2\x80\xAE\xE2\x80\xA8\xEF\xBB\xBF\xEF\x83\xBF"));
}

TEST(TraceText, ShowsBytesThatAreNoText) {
    EXPECT_EQ("\\xff\\xfe", shown("\xFF\xFE"));
    // Half a character, half a pair, a longer form than needed, beyond the last character.
    EXPECT_EQ("\\xc3", shown("\xC3"));
    EXPECT_EQ("\\xe2\\x82x", shown("\xE2\x82x"));
    EXPECT_EQ("\\xed\\xa0\\x80", shown("\xED\xA0\x80"));
    EXPECT_EQ("\\xc0\\xaf", shown("\xC0\xAF"));
    EXPECT_EQ("\\xe0\\x80\\xaf", shown("\xE0\x80\xAF"));
    EXPECT_EQ("\\xf4\\x90\\x80\\x80", shown("\xF4\x90\x80\x80"));
    EXPECT_EQ("\xF4\x8F\xBF\xBF", shown("\xF4\x8F\xBF\xBF"));
}

TEST(TraceText, WritesJson) {
    EXPECT_EQ("\"a\\\"b\\\\c\\n\\t\\r\\u001b\\u0000\\u009b\\u2028\xEF\xBF\xBD\xC3\xBC\"",
              json({"a\"b\\c\n\t\r\x1b\0\xC2\x9B\xE2\x80\xA8\xFF\xC3\xBC", 18}));
    EXPECT_EQ("\"</script>&\"", json("</script>&"));
    EXPECT_EQ("\"\\u003c/script\\u003e\\u0026\"", json("</script>&", true));
}

TEST(TraceText, FindsPartsOfAText) {
    EXPECT_TRUE(contains("Reading File", "ING f"));
    EXPECT_TRUE(contains("x", ""));
    EXPECT_TRUE(contains("", ""));
    EXPECT_FALSE(contains("", "x"));
    EXPECT_FALSE(contains("Reading", "reads"));
    EXPECT_TRUE(isSame("TransactedFS", "transactedfs"));
    EXPECT_FALSE(isSame("TransactedFS", "Transacted"));
    EXPECT_FALSE(isSame("\xC3\x84", "\xC3\xA4"));
}

TEST(TraceText, GroupsDigits) {
    EXPECT_EQ("0", grouped(0));
    EXPECT_EQ("999", grouped(999));
    EXPECT_EQ("1,000", grouped(1000));
    EXPECT_EQ("12,345,678", grouped(12345678));
}

}  // namespace
}  // namespace Tallowmere::command::trace
