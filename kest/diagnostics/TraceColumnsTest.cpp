#include "kest/diagnostics/TraceColumns.h"

#include <gtest/gtest.h>

#include <limits>

namespace Tallowmere {
namespace {

TEST(SeverityColumn, PadsTheNameToEightColumns) {
    EXPECT_EQ(L"INFO    \t", severityColumn(L"INFO").text());
    EXPECT_EQ(L"WARNING \t", severityColumn(L"WARNING").text());
    EXPECT_EQ(L"ERROR   \t", severityColumn(L"ERROR").text());
    EXPECT_EQ(L"CRITICAL\t", severityColumn(L"CRITICAL").text());
    EXPECT_EQ(L"        \t", severityColumn(L"").text());
}

TEST(SeverityColumn, CutsToItsBufferTheTabFirst) {
    const std::wstring name32(32, L'x');
    EXPECT_EQ(name32 + L'\t', severityColumn(name32).text());
    EXPECT_EQ(std::wstring(33, L'x'), severityColumn(std::wstring(33, L'x')).text());
    EXPECT_EQ(std::wstring(33, L'x'), severityColumn(std::wstring(100, L'x')).text());
}

TEST(ThreadColumn, WritesTheIdentifierInDecimal) {
    EXPECT_EQ(L"T4711\t", threadColumn(4711).text());
    EXPECT_EQ(L"T0\t", threadColumn(0).text());
    EXPECT_EQ(L"T4294967295\t", threadColumn(std::numeric_limits<std::uint32_t>::max()).text());
}

TEST(LocationColumn, PadsToThirtySixColumns) {
    EXPECT_EQ(L"Configurable:L00064                 \t",
              locationColumn(L"Configurable", 64).text());
    EXPECT_EQ(L":L00000                             \t", locationColumn(L"", 0).text());
}

TEST(LocationColumn, CutsTheNameToThirtyCharacters) {
    // 37 characters, so no blank before the tab.
    EXPECT_EQ(L"abcdefghijklmnopqrstuvwxyz0123:L00005\t",
              locationColumn(L"abcdefghijklmnopqrstuvwxyz01234567", 5).text());
    EXPECT_EQ(L"abcdefghijklmnopqrstuvwxyz012:L00005\t",
              locationColumn(L"abcdefghijklmnopqrstuvwxyz012", 5).text());
}

TEST(LocationColumn, WritesAllDigitsOfALineNumber) {
    EXPECT_EQ(L"a:L12345                            \t", locationColumn(L"a", 12345).text());
    EXPECT_EQ(L"a:L123456                           \t", locationColumn(L"a", 123456).text());
    EXPECT_EQ(L"a:L2147483647                       \t",
              locationColumn(L"a", std::numeric_limits<int>::max()).text());
}

TEST(LocationColumn, CountsTheSignAmongTheFiveDigits) {
    EXPECT_EQ(L"a:L-0012                            \t", locationColumn(L"a", -12).text());
}

TEST(LocationColumn, CutsToItsBufferTheTabFirst) {
    const std::wstring name(30, L'x');
    EXPECT_EQ(name + L":L123456\t", locationColumn(name, 123456).text());
    EXPECT_EQ(name + L":L1234567", locationColumn(name, 1234567).text());
    EXPECT_EQ(name + L":L2147483", locationColumn(name, std::numeric_limits<int>::max()).text());
    EXPECT_EQ(name + L":L-214748", locationColumn(name, std::numeric_limits<int>::min()).text());
}

TEST(LocationColumn, EndsTheNameAtANullCharacter) {
    EXPECT_EQ(L"ab:L00001                           \t",
              locationColumn(std::wstring(L"ab\0cd", 5), 1).text());
}

}  // namespace
}  // namespace Tallowmere
