#include "Restore.h"

#include <gtest/gtest.h>
#include <kest/kest.h>

#include <cstdint>
#include <cstring>

namespace Tallowmere::command {
namespace {

RestorePoint sample(int number, const std::wstring& description) {
    RestorePoint point;
    point.description = description;
    point.type = L"Settings modification";
    point.sequenceNumber = number;
    const std::uint16_t time[8] = {2024, 1, 65535, 31, 3, 5, 9, 0};
    std::memcpy(point.creationTime, time, sizeof(time));
    return point;
}

TEST(RestoreTable, PadsAllColumnsButTheLast) {
    EXPECT_EQ(L"    12  2024-01-31 03:05:09  Settings modification    Before",
              tableLine(sample(12, L"Before"), 6, 23));
    EXPECT_EQ(L"1234567  2024-01-31 03:05:09  Settings modification  ",
              tableLine(sample(1234567, L""), 6, 4));
}

TEST(RestoreTable, WritesNumbersWithoutASign) {
    EXPECT_EQ(L"4294967295  2024-01-31 03:05:09  Settings modification  x",
              tableLine(sample(-1, L"x"), 0, 0));
}

TEST(RestoreTable, KeepsTerminalsFromBeingDirected) {
    EXPECT_EQ(L"1  2024-01-31 03:05:09  Settings modification   [31m a b c\u00E4",
              tableLine(sample(1, L"\x1B[31m\na\rb\u009Bc\u00E4"), 0, 0));
}

}  // namespace
}  // namespace Tallowmere::command
