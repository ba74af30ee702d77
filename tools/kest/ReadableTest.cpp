#include "Readable.h"

#include <gtest/gtest.h>

namespace Tallowmere::command {
namespace {

TEST(Readable, GroupsNumbers) {
    EXPECT_EQ(L"0", grouped(0));
    EXPECT_EQ(L"999", grouped(999));
    EXPECT_EQ(L"1,000", grouped(1000));
    EXPECT_EQ(L"18,446,744,073,709,551,615", grouped(UINT64_MAX));
    EXPECT_EQ(L"1 file", counted(1, L"file", L"files"));
    EXPECT_EQ(L"0 files", counted(0, L"file", L"files"));
}

TEST(Readable, WritesSizes) {
    EXPECT_EQ(L"0 bytes", readableSize(0));
    EXPECT_EQ(L"1 byte", readableSize(1));
    EXPECT_EQ(L"1,023 bytes", readableSize(1023));
    EXPECT_EQ(L"1.0 KiB", readableSize(1024));
    EXPECT_EQ(L"1.5 KiB", readableSize(1536));
    EXPECT_EQ(L"12.3 MiB", readableSize(12897485));
    EXPECT_EQ(L"1,023.9 KiB", readableSize(1048474));
    EXPECT_EQ(L"1.0 MiB", readableSize(1048575));
    EXPECT_EQ(L"1.0 MiB", readableSize(1048576));
    EXPECT_EQ(L"16.0 EiB", readableSize(UINT64_MAX));
}

TEST(Readable, KeepsTerminalsFromBeingDirected) {
    EXPECT_EQ(L" [31m a b c\u00E4", printable(L"\x1B[31m\na\rb\u009Bc\u00E4"));
}

}  // namespace
}  // namespace Tallowmere::command
