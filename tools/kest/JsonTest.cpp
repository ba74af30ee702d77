#include "Json.h"

#include <gtest/gtest.h>

namespace Tallowmere::command::json {
namespace {

TEST(Json, EscapesWhatMustBeAndWhatCouldMislead) {
    EXPECT_EQ("\"\"", text(L""));
    EXPECT_EQ("\"C:\\\\a \\\"b\\\"\"", text(L"C:\\a \"b\""));
    EXPECT_EQ("\"\\n\\t\\r\\u0000\\u0001\\u001f\\u007f\\u009f\"",
              text(std::wstring(L"\n\t\r\0\x01\x1F\x7F\x9F", 8)));
    EXPECT_EQ(
        "\"Gr\xC3\xBC\xC3\x9F"
        "e /\"",
        text(L"Gr\u00FC\u00DFe /"));
}

TEST(Json, WritesCharactersBeyondTheFirstPlane) {
    EXPECT_EQ("\"\xF0\x9F\x93\xB7\"", text(L"\U0001F4F7"));
}

TEST(Json, EscapesHalfASurrogatePair) {
    EXPECT_EQ("\"a\\ud800\"", text(std::wstring(L"a") + static_cast<wchar_t>(0xD800)));
    EXPECT_EQ("\"\\udc00b\"", text(static_cast<wchar_t>(0xDC00) + std::wstring(L"b")));
    EXPECT_EQ("\"\\ud800\\ud800\"", text(std::wstring(2, static_cast<wchar_t>(0xD800))));
}

TEST(Json, EscapesWhatStandsForBytesThatAreNoText) {
    EXPECT_EQ("\"\\uf0ff\\uf05c\"", text(L"\uF0FF\uF05C"));
}

TEST(Json, PutsValuesTogether) {
    EXPECT_EQ("{}", object({}));
    EXPECT_EQ("{\"a\": 1, \"b\": null}", object({{"a", "1"}, {"b", "null"}}));
    EXPECT_EQ("[]\n", list({}));
    EXPECT_EQ("[\n1,\n2\n]\n", list({"1", "2"}));
}

}  // namespace
}  // namespace Tallowmere::command::json
