#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>

#include "kest/platform/Calls.h"

// The bounded calls of the C runtime: what they return, what a failure leaves in the destination,
// and that the last error is none of their business.

namespace Tallowmere::platform {
namespace {

constexpr wchar_t kOld = L'~';

/// A destination for text that shows what was written.
struct Buffer {
    Buffer() { std::fill(std::begin(units), std::end(units), kOld); }

    /// Whether all units from there on are as they were.
    bool untouchedFrom(std::size_t at) const {
        return std::all_of(units + at, std::end(units), [](wchar_t c) { return c == kOld; });
    }

    wchar_t units[40];
};

TEST(ItowS, WritesNumbersInAnyBase) {
    const struct {
        int value;
        int radix;
        const wchar_t* text;
    } cases[] = {
        {0, 10, L"0"},
        {0, 2, L"0"},
        {7, 10, L"7"},
        {1234567890, 10, L"1234567890"},
        {-1, 10, L"-1"},
        {INT_MAX, 10, L"2147483647"},
        {INT_MIN, 10, L"-2147483648"},
        {10783, 16, L"2a1f"},
        {static_cast<int>(0x80070005U), 16, L"80070005"},
        {-1, 16, L"ffffffff"},
        {-1, 8, L"37777777777"},
        {INT_MIN, 2, L"10000000000000000000000000000000"},
        {-1, 36, L"1z141z3"},
        {35, 36, L"z"},
    };
    for (const auto& c : cases) {
        Buffer buffer;
        EXPECT_EQ(0, os()._itow_s(c.value, buffer.units, 40, c.radix)) << c.text;
        EXPECT_STREQ(c.text, buffer.units);
        EXPECT_TRUE(buffer.untouchedFrom(std::wstring(c.text).size() + 1)) << c.text;
    }
}

TEST(ItowS, NeedsRoomForTheZero) {
    const struct {
        int value;
        std::size_t size;
        int result;
    } cases[] = {{1234, 4, 34}, {1234, 5, 0}, {-123, 4, 34}, {-123, 5, 0}, {5, 1, 34},
                 {5, 2, 0},     {-5, 1, 34},  {-5, 2, 34},   {-5, 3, 0}};
    for (const auto& c : cases) {
        Buffer buffer;
        errno = 0;
        EXPECT_EQ(c.result, os()._itow_s(c.value, buffer.units, c.size, 10)) << c.value;
        EXPECT_EQ(c.result, errno);
        EXPECT_EQ(c.result == 0 ? std::to_wstring(c.value) : L"", buffer.units);
        EXPECT_TRUE(buffer.untouchedFrom(c.size));
    }
}

TEST(ItowS, RefusesBadArguments) {
    for (const int radix : {-3, 0, 1, 37}) {
        Buffer buffer;
        errno = 0;
        EXPECT_EQ(22, os()._itow_s(5, buffer.units, 40, radix)) << radix;
        EXPECT_EQ(22, errno);
        EXPECT_STREQ(L"", buffer.units);
        EXPECT_TRUE(buffer.untouchedFrom(1));
    }
    Buffer buffer;
    EXPECT_EQ(22, os()._itow_s(5, buffer.units, 0, 10));
    EXPECT_TRUE(buffer.untouchedFrom(0));
    errno = 0;
    EXPECT_EQ(22, os()._itow_s(5, nullptr, 40, 10));
    EXPECT_EQ(22, errno);
}

/// A destination of eight bytes.
std::string copied(std::size_t size, const void* source, std::size_t count, int result) {
    char destination[] = "~~~~~~~~";
    errno = 0;
    EXPECT_EQ(result, os().memcpy_s(destination, size, source, count));
    EXPECT_EQ(result, errno);
    return std::string(destination, 8);
}

TEST(MemcpyS, CopiesWhatFits) {
    EXPECT_EQ("abcdefgh", copied(8, "abcdefgh", 8, 0));
    EXPECT_EQ("abc~~~~~", copied(8, "abcdefgh", 3, 0));
    EXPECT_EQ("abc~~~~~", copied(SIZE_MAX, "abcdefgh", 3, 0));
    EXPECT_EQ(std::string("a\0c~~~~~", 8), copied(8, "a\0c", 3, 0));
}

TEST(MemcpyS, CopiesNothingWhateverTheArguments) {
    EXPECT_EQ("~~~~~~~~", copied(8, "abcdefgh", 0, 0));
    EXPECT_EQ("~~~~~~~~", copied(8, nullptr, 0, 0));
    EXPECT_EQ("~~~~~~~~", copied(0, nullptr, 0, 0));
    EXPECT_EQ(0, os().memcpy_s(nullptr, 8, nullptr, 0));
}

TEST(MemcpyS, ClearsTheDestinationThatItCannotFill) {
    EXPECT_EQ(std::string("\0\0\0\0~~~~", 8), copied(4, "abcdefgh", 5, 34));
    EXPECT_EQ(std::string(8, '\0'), copied(8, nullptr, 3, 22));
    EXPECT_EQ(std::string("\0\0\0\0~~~~", 8), copied(4, nullptr, 8, 22));
    EXPECT_EQ("~~~~~~~~", copied(0, "abcdefgh", 1, 34));
}

TEST(MemcpyS, RefusesANullDestination) {
    errno = 0;
    EXPECT_EQ(22, os().memcpy_s(nullptr, 8, "abc", 3));
    EXPECT_EQ(22, errno);
    EXPECT_EQ(22, os().memcpy_s(nullptr, 0, "abc", 1));
    EXPECT_EQ(22, os().memcpy_s(nullptr, 8, nullptr, 1));
}

TEST(WcscpyS, CopiesWhatFitsWithItsZero) {
    for (const std::size_t size : {std::size_t{4}, std::size_t{40}}) {
        Buffer buffer;
        EXPECT_EQ(0, os().wcscpy_s(buffer.units, size, L"abc"));
        EXPECT_STREQ(L"abc", buffer.units);
        EXPECT_TRUE(buffer.untouchedFrom(4));
    }
    Buffer buffer;
    EXPECT_EQ(0, os().wcscpy_s(buffer.units, 1, L""));
    EXPECT_STREQ(L"", buffer.units);
    EXPECT_TRUE(buffer.untouchedFrom(1));
}

TEST(WcscpyS, EmptiesTheDestinationThatIsTooSmall) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{2}, std::size_t{3}}) {
        Buffer buffer;
        errno = 0;
        EXPECT_EQ(34, os().wcscpy_s(buffer.units, size, L"abc"));
        EXPECT_EQ(34, errno);
        EXPECT_STREQ(L"", buffer.units);
        EXPECT_TRUE(buffer.untouchedFrom(size));
    }
}

TEST(WcscpyS, RefusesBadArguments) {
    Buffer buffer;
    errno = 0;
    EXPECT_EQ(22, os().wcscpy_s(buffer.units, 0, L"abc"));
    EXPECT_EQ(22, errno);
    EXPECT_EQ(22, os().wcscpy_s(buffer.units, 0, nullptr));
    EXPECT_TRUE(buffer.untouchedFrom(0));
    errno = 0;
    EXPECT_EQ(22, os().wcscpy_s(nullptr, 40, L"abc"));
    EXPECT_EQ(22, errno);
    EXPECT_EQ(22, os().wcscpy_s(nullptr, 0, nullptr));
    errno = 0;
    EXPECT_EQ(22, os().wcscpy_s(buffer.units, 40, nullptr));
    EXPECT_EQ(22, errno);
    EXPECT_STREQ(L"", buffer.units);
    EXPECT_TRUE(buffer.untouchedFrom(1));
}

TEST(RuntimeCalls, LeaveTheLastErrorAlone) {
    wchar_t text[4];
    os().SetLastError(1234);
    (void)os()._itow_s(5, text, 1, 10);
    (void)os().memcpy_s(text, 1, L"abc", 2);
    (void)os().wcscpy_s(text, 2, L"abc");
    EXPECT_EQ(1234U, os().GetLastError());
}

}  // namespace
}  // namespace Tallowmere::platform
