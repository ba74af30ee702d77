// What holds for every time.

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cstdint>
#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/Laws.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/time/DateTime.h"
#include "kest/time/TimeText.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::ScopedCall;

/// The last second of the calendar, 30827-12-31 23:59:59.
constexpr std::int64_t kLastSecond = 922'314'988'799;

/// Any second, small and large alike, and many that are near to each other.
rc::Gen<std::int64_t> seconds() {
    return rc::gen::oneOf(rc::gen::inRange<std::int64_t>(0, kLastSecond + 1),
                          rc::gen::inRange<std::int64_t>(12'591'158'400, 12'591'158'410));
}

/// A time with milliseconds, which only the clock gives.
DateTime clockAt(std::int64_t ticks) {
    const auto bits = static_cast<std::uint64_t>(ticks);
    const FILETIME file = {static_cast<DWORD>(bits), static_cast<DWORD>(bits >> 32)};
    const ScopedCall<&Calls::GetSystemTime> clock(
        [&](SYSTEMTIME* time) { EXPECT_TRUE(platform::os().FileTimeToSystemTime(&file, time)); });
    return DateTime();
}

RC_GTEST_PROP(DateTimeLaws, TheOrderIsThatOfTheTicks, ()) {
    constexpr std::int64_t kMillisecond = 10'000;
    const auto ticks = [] {
        return (*seconds() * 1000 + *rc::gen::inRange<std::int64_t>(0, 1000)) * kMillisecond;
    };
    const std::int64_t first = ticks();
    const std::int64_t second = ticks();
    const DateTime left = clockAt(first);
    const DateTime right = clockAt(second);
    RC_ASSERT((left < right) == (first < second));
    RC_ASSERT((left <= right) == (first <= second));
    RC_ASSERT((left > right) == (first > second));
    RC_ASSERT((left >= right) == (first >= second));
    RC_ASSERT((left == right) == (first == second));
    RC_ASSERT((left != right) == (first != second));
    RC_ASSERT(left.getMicroSecondsSinceEpoch() == first / 10);
}

RC_GTEST_PROP(DateTimeLaws, SecondsThereAndBack, ()) {
    const std::int64_t count = *seconds();
    const DateTime time(count);
    RC_ASSERT(time.getSecondsSinceEpoch() == count);
    RC_ASSERT(time.timestampString() == std::to_wstring(count));
    RC_ASSERT(DateTime(time.timestampString()) == time);
    RC_ASSERT(DateTime::s_begin < time);
    RC_ASSERT(time < DateTime::s_end);
    RC_ASSERT(DateTime::s_end < DateTime::s_invalid);
}

RC_GTEST_PROP(DateTimeLaws, MovingAddsUp, ()) {
    const std::int64_t count = *rc::gen::inRange<std::int64_t>(0, kLastSecond / 2);
    const unsigned long first = *rc::gen::inRange(0UL, 0xFFFFFFFFUL);
    const unsigned long second = *rc::gen::inRange(0UL, 0xFFFFFFFFUL);
    DateTime steps(count);
    steps += first;
    steps += second;
    RC_ASSERT(steps == DateTime(count + static_cast<std::int64_t>(first) +
                                static_cast<std::int64_t>(second)));
}

RC_GTEST_PROP(DateTimeLaws, ACopyIsAValueOfItsOwn, ()) {
    const DateTime time(*seconds() / 2);
    DateTime copy = time;
    RC_ASSERT(copy == time);
    copy += 1;
    RC_ASSERT(copy > time);
}

/// Coded texts of one width sort as the times do.
RC_GTEST_PROP(TimeTextLaws, CodedTextsSortAsTheTimesDo, ()) {
    const auto coded = [](std::int64_t count) {
        const auto bits = static_cast<std::uint64_t>(count) * 10'000'000;
        return filetimeToString({static_cast<DWORD>(bits), static_cast<DWORD>(bits >> 32)}, false,
                                false);
    };
    // From the first second that is not "no time" to the end of the year 9999.
    const auto some = rc::gen::inRange<std::int64_t>(1, 265'046'774'400);
    const std::int64_t first = *some;
    const std::int64_t second = *some;
    RC_ASSERT(coded(first).size() == 19);
    RC_ASSERT((coded(first) < coded(second)) == (first < second));
}

}  // namespace
}  // namespace Tallowmere
