#include "kest/diagnostics/TraceStamp.h"

#include <gtest/gtest.h>

#include <cwchar>

#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::ScopedCall;

class TraceStampTest : public ::testing::Test {
protected:
    testing::FixedTrace fixed;
    SYSTEMTIME time{2026, 11, 1, 16, 3, 35, 54, 123};
    ScopedCall<&Calls::GetSystemTime> clock{[this](SYSTEMTIME* now) { *now = time; }};
    TraceStamp stamp;
};

TEST_F(TraceStampTest, ShowsEachMillisecondAndEachSecond) {
    EXPECT_EQ(L"November 16, 2026, 5:35:54.123 AM", stamp.now());
    for (const WORD milliseconds : {WORD{124}, WORD{0}, WORD{9}, WORD{999}, WORD{999}}) {
        time.wMilliseconds = milliseconds;
        wchar_t expected[64];
        (void)std::swprintf(expected, 64, L"November 16, 2026, 5:35:54.%03d AM",
                            static_cast<int>(milliseconds));
        EXPECT_EQ(expected, stamp.now());
    }
    time.wSecond = 55;
    EXPECT_EQ(L"November 16, 2026, 5:35:55.999 AM", stamp.now());
    time.wDay = 17;
    time.wMilliseconds = 1;
    EXPECT_EQ(L"November 17, 2026, 5:35:55.001 AM", stamp.now());
    time.wYear = 2027;
    EXPECT_EQ(L"November 17, 2027, 5:35:55.001 AM", stamp.now());
    time.wHour = 4;
    time.wMinute = 36;
    EXPECT_EQ(L"November 17, 2027, 6:36:55.001 AM", stamp.now());
}

TEST_F(TraceStampTest, MakesTheTextOnceASecond) {
    ScopedCall<&Calls::SystemTimeToTzSpecificLocalTime> zone{
        [](const TIME_ZONE_INFORMATION*, const SYSTEMTIME* universal, SYSTEMTIME* local) -> BOOL {
            *local = *universal;
            return TRUE;
        }};
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(L"November 16, 2026, 3:35:54.123 AM", stamp.now());
    }
    EXPECT_EQ(1, zone.count());
    time.wSecond = 0;
    (void)stamp.now();
    EXPECT_EQ(2, zone.count());
}

TEST_F(TraceStampTest, ShowsANewLanguageAtOnce) {
    (void)stamp.now();
    LCID language = 0x407;
    ScopedCall<&Calls::GetThreadLocale> locale{[&] { return language; }};
    ScopedCall<&Calls::GetDateFormatW> date{
        [](LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t* buffer, int) {
            std::wcscpy(buffer, L"16. November");
            return 13;
        }};
    ScopedCall<&Calls::GetTimeFormatW> clockText{
        [](LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t* buffer, int) {
            std::wcscpy(buffer, L"5:35:54 ");
            return 9;
        }};
    EXPECT_EQ(L"16. November, 5:35:54.123 ", stamp.now());
    time.wMilliseconds = 7;
    EXPECT_EQ(L"16. November, 5:35:54.007 ", stamp.now());
    EXPECT_EQ(1, date.count());
}

TEST_F(TraceStampTest, TearsASecondWithoutABlankBehindItEveryTime) {
    ScopedCall<&Calls::GetTimeFormatW> clockText{
        [](LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t* buffer, int) {
            std::wcscpy(buffer, L"8:30:00");
            return 8;
        }};
    EXPECT_EQ(L"November 16, 2026, 8:30:0.1230", stamp.now());
    time.wMilliseconds = 7;
    EXPECT_EQ(L"November 16, 2026, 8:30:0.0070", stamp.now());
}

TEST_F(TraceStampTest, KeepsNoTextOfAFailure) {
    {
        ScopedCall<&Calls::SystemTimeToTzSpecificLocalTime> zone{
            [](const TIME_ZONE_INFORMATION*, const SYSTEMTIME*, SYSTEMTIME*) -> BOOL {
                return FALSE;
            }};
        EXPECT_EQ(L"", stamp.now());
        EXPECT_EQ(L"", stamp.now());
        EXPECT_EQ(2, zone.count());
    }
    EXPECT_EQ(L"November 16, 2026, 5:35:54.123 AM", stamp.now());
    time.wSecond = 1;
    {
        ScopedCall<&Calls::GetDateFormatW> date{
            [](LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t*, int) { return 0; }};
        EXPECT_EQ(L", 5:35:1.123 AM", stamp.now());
    }
    EXPECT_EQ(L"November 16, 2026, 5:35:1.123 AM", stamp.now());
    time.wSecond = 2;
    {
        ScopedCall<&Calls::GetTimeFormatW> clockText{
            [](LCID, DWORD, const SYSTEMTIME*, const wchar_t*, wchar_t*, int) { return 0; }};
        EXPECT_EQ(L"November 16, 2026,.123 ", stamp.now());
    }
    EXPECT_EQ(L"November 16, 2026, 5:35:2.123 AM", stamp.now());
}

}  // namespace
}  // namespace Tallowmere
