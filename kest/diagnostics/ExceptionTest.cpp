#include "kest/diagnostics/Exception.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>

namespace Tallowmere {
namespace {

/// The object as its layout promises it: the virtual table, the offset, the text.
struct Layout {
    const void* virtualTable;
    std::int32_t reasonOffset;
    std::wstring text;
};
static_assert(sizeof(Exception) == sizeof(Layout));
static_assert(alignof(Exception) == alignof(Layout));
static_assert(offsetof(Layout, reasonOffset) == 8);
static_assert(offsetof(Layout, text) == 16);
static_assert(std::is_polymorphic_v<Exception>);
static_assert(std::has_virtual_destructor_v<Exception>);
// No base class, the standard exceptions' least of all.
static_assert(!std::is_base_of_v<std::exception, Exception>);

std::int32_t reasonOffsetOf(const Exception& exception) {
    std::int32_t offset = 0;
    std::memcpy(&offset,
                reinterpret_cast<const char*>(&exception) + offsetof(Layout, reasonOffset),
                sizeof(offset));
    return offset;
}

const std::wstring& textOf(const Exception& exception) {
    return *reinterpret_cast<const std::wstring*>(reinterpret_cast<const char*>(&exception) +
                                                  offsetof(Layout, text));
}

/// Where a virtual function stands in the virtual table, as a pointer to it tells: one more than
/// the distance in bytes. The destructor, first of all, takes two places.
template <class Function>
std::ptrdiff_t slotOf(Function function) {
    std::ptrdiff_t distance = 0;
    std::memcpy(&distance, &function, sizeof(distance));
    return (distance - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(Exception, TellsTheReasonAloneAndWithItsOrigin) {
    Exception exception("a", 7);
    exception.setReason(L"bad");
    EXPECT_STREQ(L"bad", exception.getReason());
    EXPECT_STREQ(L"a:7: bad", exception.getDetailedReason());
}

TEST(Exception, AppendsASecondReason) {
    Exception exception("a", 7);
    exception.setReason(L"x");
    exception.setReason(L"y");
    EXPECT_STREQ(L"xy", exception.getReason());
    EXPECT_STREQ(L"a:7: xy", exception.getDetailedReason());
}

TEST(Exception, HasAnEmptyReasonAtFirst) {
    const Exception exception("a", 7);
    EXPECT_STREQ(L"", exception.getReason());
    EXPECT_STREQ(L"a:7: ", exception.getDetailedReason());
}

TEST(Exception, KeepsTheFileNameAsPassed) {
    EXPECT_STREQ(L"C:\\src\\sub/Registry.cpp:123: ",
                 Exception("C:\\src\\sub/Registry.cpp", 123).getDetailedReason());
    EXPECT_STREQ(L":1: ", Exception("", 1).getDetailedReason());
    EXPECT_STREQ(L":1: ", Exception(nullptr, 1).getDetailedReason());
    EXPECT_STREQ(L"a:b: c:2: ", Exception("a:b: c", 2).getDetailedReason());
}

TEST(Exception, WritesTheLineInDecimal) {
    EXPECT_STREQ(L"a:0: ", Exception("a", 0).getDetailedReason());
    EXPECT_STREQ(L"a:-1: ", Exception("a", -1).getDetailedReason());
    EXPECT_STREQ(L"a:2147483647: ",
                 Exception("a", std::numeric_limits<int>::max()).getDetailedReason());
}

TEST(Exception, WidensEachByteOfTheFileName) {
    const Exception exception("\x7f\xc3\xa9", 1);
    const std::wstring expected{wchar_t{0x7F}, wchar_t{0xFFC3}, wchar_t{0xFFA9}, L':', L'1', L':',
                                L' '};
    EXPECT_EQ(expected, exception.getDetailedReason());
}

TEST(Exception, TakesAnyReason) {
    Exception exception("a", 7);
    exception.setReason(L"");
    EXPECT_STREQ(L"", exception.getReason());
    exception.setReason(L"\u00e9\u65e5: <a:7: >\r\n");
    EXPECT_STREQ(L"\u00e9\u65e5: <a:7: >\r\n", exception.getReason());
}

TEST(Exception, HoldsTheLengthOfTheOriginAndTheWholeText) {
    Exception exception("Registry", 123);
    EXPECT_EQ(14, reasonOffsetOf(exception));
    EXPECT_EQ(L"Registry:123: ", textOf(exception));
    exception.setReason(L"gone");
    EXPECT_EQ(14, reasonOffsetOf(exception));
    EXPECT_EQ(L"Registry:123: gone", textOf(exception));
    EXPECT_EQ(textOf(exception).c_str(), exception.getDetailedReason());
    EXPECT_EQ(textOf(exception).c_str() + 14, exception.getReason());
}

TEST(Exception, HasItsVirtualFunctionsInOrder) {
    EXPECT_EQ(2, slotOf(&Exception::setReason));
    EXPECT_EQ(3, slotOf(&Exception::getReason));
    EXPECT_EQ(4, slotOf(&Exception::getDetailedReason));
}

TEST(Exception, CopiesOffsetAndText) {
    Exception first("a", 7);
    first.setReason(L"x");
    Exception copy(first);
    EXPECT_EQ(5, reasonOffsetOf(copy));
    copy.setReason(L"y");
    EXPECT_STREQ(L"xy", copy.getReason());
    EXPECT_STREQ(L"x", first.getReason());

    Exception assigned("longer name", 1000);
    assigned.setReason(L"z");
    assigned = first;
    EXPECT_EQ(5, reasonOffsetOf(assigned));
    EXPECT_STREQ(L"a:7: x", assigned.getDetailedReason());
    EXPECT_STREQ(L"x", assigned.getReason());
}

TEST(Exception, IsThrownByValueAndCaughtByReference) {
    try {
        Exception exception("Registry", 123);
        exception.setReason(L"no such key");
        throw exception;
    } catch (const Exception& caught) {
        EXPECT_STREQ(L"no such key", caught.getReason());
        EXPECT_STREQ(L"Registry:123: no such key", caught.getDetailedReason());
    }
}

TEST(Exception, CallsWhatADerivedClassPutsInItsPlace) {
    class Derived : public Exception {
    public:
        using Exception::Exception;
        const wchar_t* getReason() const override { return L"mine"; }
    };
    const Derived derived("a", 7);
    const Exception& exception = derived;
    EXPECT_STREQ(L"mine", exception.getReason());
    EXPECT_STREQ(L"a:7: ", exception.getDetailedReason());
}

}  // namespace
}  // namespace Tallowmere
