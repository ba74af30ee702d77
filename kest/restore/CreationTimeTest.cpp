#include "kest/restore/CreationTime.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kest/platform/Win32.h"

namespace Tallowmere {
namespace {

/// All fields: year, month, day of the week, day, hour, minute, second, milliseconds.
std::vector<int> read(const std::wstring& text) {
    const SYSTEMTIME time = readCreationTime(text);
    return {time.wYear, time.wMonth,  time.wDayOfWeek, time.wDay,
            time.wHour, time.wMinute, time.wSecond,    time.wMilliseconds};
}

using Fields = std::vector<int>;

TEST(CreationTime, ReadsTheFirstFourteenCharacters) {
    EXPECT_EQ((Fields{2024, 1, 65535, 31, 23, 59, 59, 0}), read(L"20240131235959.123456-480"));
    EXPECT_EQ((Fields{2024, 1, 65535, 31, 23, 59, 59, 0}), read(L"20240131235959.123456+120"));
    EXPECT_EQ((Fields{1999, 12, 65535, 9, 8, 7, 6, 0}), read(L"19991209080706"));
    EXPECT_EQ((Fields{1999, 12, 65535, 9, 8, 7, 6, 0}), read(L"199912090807069999999"));
}

TEST(CreationTime, ChecksNoField) {
    EXPECT_EQ((Fields{9999, 99, 65535, 99, 99, 99, 99, 0}), read(L"99999999999999"));
    EXPECT_EQ((Fields{0, 0, 65535, 0, 0, 0, 0, 0}), read(L"00000000000000"));
    EXPECT_EQ((Fields{2023, 2, 65535, 31, 24, 60, 61, 0}), read(L"20230231246061"));
}

TEST(CreationTime, TakesWhatIsNoNumberForZero) {
    EXPECT_EQ((Fields{0, 0, 65535, 0, 0, 0, 0, 0}), read(L"yyyyMMddHHmmss"));
    EXPECT_EQ((Fields{2024, 0, 65535, 31, 0, 0, 0, 0}), read(L"2024**31******.******+***"));
}

TEST(CreationTime, ReadsEachFieldAsTheRuntimeReadsNumbers) {
    // A blank in front, a sign, digits before something else.
    EXPECT_EQ((Fields{24, 1, 65535, 7, 65535, 5, 0, 0}), read(L"  24+1 7-15x +"));
}

TEST(CreationTime, TakesWhatIsMissingForZero) {
    const std::wstring whole = L"20240131235958";
    const Fields all = {2024, 1, 65535, 31, 23, 59, 58, 0};
    EXPECT_EQ((Fields{0, 0, 65535, 0, 0, 0, 0, 0}), read(L""));
    EXPECT_EQ((Fields{20, 0, 65535, 0, 0, 0, 0, 0}), read(whole.substr(0, 2)));
    EXPECT_EQ((Fields{2024, 0, 65535, 0, 0, 0, 0, 0}), read(whole.substr(0, 4)));
    EXPECT_EQ((Fields{2024, 0, 65535, 0, 0, 0, 0, 0}), read(whole.substr(0, 5)));
    EXPECT_EQ((Fields{2024, 1, 65535, 3, 0, 0, 0, 0}), read(whole.substr(0, 7)));
    EXPECT_EQ((Fields{2024, 1, 65535, 31, 23, 59, 5, 0}), read(whole.substr(0, 13)));
    EXPECT_EQ(all, read(whole));
}

}  // namespace
}  // namespace Tallowmere
