// What a DateTime does not show: the day of the week, and the constants behind its constants.

#include "kest/time/DateTimeImpl.h"

#include <gtest/gtest.h>

#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::ScopedCall;

/// All eight fields in the order of the record.
std::array<int, 8> fields(const DateTimeImpl& impl) {
    const SYSTEMTIME& time = impl.time();
    return {time.wYear, time.wMonth,  time.wDayOfWeek, time.wDay,
            time.wHour, time.wMinute, time.wSecond,    time.wMilliseconds};
}

using Fields = std::array<int, 8>;

TEST(DateTimeImpl, KeepsWhatTheClockGives) {
    const ScopedCall<&Calls::GetSystemTime> clock(
        [](SYSTEMTIME* time) { *time = {2010, 5, 1, 17, 8, 30, 15, 7}; });
    EXPECT_EQ((Fields{2010, 5, 1, 17, 8, 30, 15, 7}), fields(DateTimeImpl()));
}

TEST(DateTimeImpl, SecondsGiveTheWeekday) {
    EXPECT_EQ((Fields{1601, 1, 1, 1, 0, 0, 0, 0}), fields(DateTimeImpl(std::int64_t{0})));
    EXPECT_EQ((Fields{2000, 1, 6, 1, 0, 0, 0, 0}), fields(DateTimeImpl(std::int64_t{12591158400})));
    EXPECT_EQ((Fields{2000, 1, 6, 1, 0, 0, 0, 0}),
              fields(DateTimeImpl(std::wstring(L"12591158400"))));
}

TEST(DateTimeImpl, FieldsDoNot) {
    EXPECT_EQ((Fields{2000, 1, 0xFFFF, 1, 2, 3, 4, 0}),
              fields(DateTimeImpl(2000, 1, 1, 2, 3, 4, false)));
}

TEST(DateTimeImpl, LocalFieldsTakeTheWeekdayOfTheConversion) {
    const ScopedCall<&Calls::TzSpecificLocalTimeToSystemTime> convert(
        [](const TIME_ZONE_INFORMATION*, const SYSTEMTIME*, SYSTEMTIME* result) -> BOOL {
            *result = {2010, 5, 1, 17, 8, 30, 0, 0};
            return TRUE;
        });
    EXPECT_EQ((Fields{2010, 5, 1, 17, 8, 30, 0, 0}),
              fields(DateTimeImpl(2010, 5, 17, 4, 30, 0, true)));
}

TEST(DateTimeImpl, MovingWorksTheWeekdayOut) {
    DateTimeImpl time(2000, 2, 28, 12, 0, 0, false);
    time += 0;
    EXPECT_EQ((Fields{2000, 2, 1, 28, 12, 0, 0, 0}), fields(time));
    time += 86400;
    EXPECT_EQ((Fields{2000, 2, 2, 29, 12, 0, 0, 0}), fields(time));
}

TEST(DateTimeImpl, AFailedMoveKeepsAllEightFields) {
    DateTimeImpl time(2000, 13, 1, 0, 0, 0, false);
    time += 60;
    EXPECT_EQ((Fields{2000, 13, 0xFFFF, 1, 0, 0, 0, 0}), fields(time));
}

TEST(DateTimeImpl, Constants) {
    EXPECT_EQ((Fields{0, 0, 0xFFFF, 0, 0, 0, 0, 0}), fields(DateTimeImpl::s_begin));
    EXPECT_EQ((Fields{32767, 32767, 0xFFFF, 32767, 32767, 32767, 32767, 0}),
              fields(DateTimeImpl::s_end));
    EXPECT_EQ((Fields{65535, 65535, 65535, 65535, 65535, 65535, 65535, 0}),
              fields(DateTimeImpl::s_invalid));
    EXPECT_EQ(fields(DateTimeImpl::s_invalid), fields(DateTimeImpl(DateTimeImpl::Invalid{})));
    EXPECT_EQ(fields(DateTimeImpl::s_invalid), fields(DateTimeImpl(std::int64_t{-1})));
}

TEST(DateTimeImpl, Compares) {
    const DateTimeImpl earlier(2010, 5, 17, 8, 30, 0, false);
    const DateTimeImpl later(2010, 5, 17, 8, 30, 1, false);
    EXPECT_TRUE(earlier == earlier && earlier <= earlier && earlier >= earlier);
    EXPECT_FALSE(earlier != earlier || earlier < earlier || earlier > earlier);
    EXPECT_TRUE(earlier != later && earlier < later && earlier <= later);
    EXPECT_FALSE(earlier == later || earlier > later || earlier >= later);
    EXPECT_TRUE(later != earlier && later > earlier && later >= earlier);
    EXPECT_FALSE(later == earlier || later < earlier || later <= earlier);
}

}  // namespace
}  // namespace Tallowmere
