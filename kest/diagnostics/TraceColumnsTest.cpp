#include "kest/diagnostics/TraceColumns.h"

#include <gtest/gtest.h>

#include <limits>

namespace Tallowmere {
namespace {

TEST(SeverityColumn, PadsTheNameToEightColumns) {
    EXPECT_EQ(L"INFO    \t", severityColumn(L"INFO"));
    EXPECT_EQ(L"WARNING \t", severityColumn(L"WARNING"));
    EXPECT_EQ(L"ERROR   \t", severityColumn(L"ERROR"));
    EXPECT_EQ(L"CRITICAL\t", severityColumn(L"CRITICAL"));
    EXPECT_EQ(L"        \t", severityColumn(L""));
}

TEST(SeverityColumn, CutsToItsBufferTheTabFirst) {
    const std::wstring name32(32, L'x');
    EXPECT_EQ(name32 + L'\t', severityColumn(name32));
    EXPECT_EQ(std::wstring(33, L'x'), severityColumn(std::wstring(33, L'x')));
    EXPECT_EQ(std::wstring(33, L'x'), severityColumn(std::wstring(100, L'x')));
}

TEST(ThreadColumn, WritesTheIdentifierInDecimal) {
    EXPECT_EQ(L"T4711\t", threadColumn(4711));
    EXPECT_EQ(L"T0\t", threadColumn(0));
    EXPECT_EQ(L"T4294967295\t", threadColumn(std::numeric_limits<std::uint32_t>::max()));
}

TEST(LocationColumn, PadsToThirtySixColumns) {
    EXPECT_EQ(L"Configurable:L00064                 \t", locationColumn(L"Configurable", 64));
    EXPECT_EQ(L":L00000                             \t", locationColumn(L"", 0));
}

TEST(LocationColumn, CutsTheNameToThirtyCharacters) {
    // 37 characters, so no blank before the tab.
    EXPECT_EQ(L"abcdefghijklmnopqrstuvwxyz0123:L00005\t",
              locationColumn(L"abcdefghijklmnopqrstuvwxyz01234567", 5));
    EXPECT_EQ(L"abcdefghijklmnopqrstuvwxyz012:L00005\t",
              locationColumn(L"abcdefghijklmnopqrstuvwxyz012", 5));
}

TEST(LocationColumn, WritesAllDigitsOfALineNumber) {
    EXPECT_EQ(L"a:L12345                            \t", locationColumn(L"a", 12345));
    EXPECT_EQ(L"a:L123456                           \t", locationColumn(L"a", 123456));
    EXPECT_EQ(L"a:L2147483647                       \t",
              locationColumn(L"a", std::numeric_limits<int>::max()));
}

TEST(LocationColumn, CountsTheSignAmongTheFiveDigits) {
    EXPECT_EQ(L"a:L-0012                            \t", locationColumn(L"a", -12));
}

TEST(LocationColumn, CutsToItsBufferTheTabFirst) {
    const std::wstring name(30, L'x');
    EXPECT_EQ(name + L":L123456\t", locationColumn(name, 123456));
    EXPECT_EQ(name + L":L1234567", locationColumn(name, 1234567));
    EXPECT_EQ(name + L":L2147483", locationColumn(name, std::numeric_limits<int>::max()));
    EXPECT_EQ(name + L":L-214748", locationColumn(name, std::numeric_limits<int>::min()));
}

TEST(LocationColumn, EndsTheNameAtANullCharacter) {
    EXPECT_EQ(L"ab:L00001                           \t",
              locationColumn(std::wstring(L"ab\0cd", 5), 1));
}

}  // namespace
}  // namespace Tallowmere
