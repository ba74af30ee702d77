#include "kest/diagnostics/TraceLocale.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Tallowmere {
namespace {

TEST(TraceLocale, WidensEveryByteToTheCharacterOfItsNumber) {
    std::wostringstream stream;
    stream.imbue(traceLocale());
    std::wstring expected;
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
        expected.push_back(static_cast<wchar_t>(byte));
    }
    stream << bytes.c_str();
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(expected, stream.str());
    std::wstring range(bytes.size(), L'?');
    std::use_facet<std::ctype<wchar_t>>(traceLocale())
        .widen(bytes.data(), bytes.data() + bytes.size(), range.data());
    EXPECT_EQ(expected, range);
}

TEST(TraceLocale, IsOtherwiseTheClassicOne) {
    std::wostringstream stream;
    stream.imbue(traceLocale());
    stream << 1234567 << L' ' << -1.25 << L' ' << true << L' ' << 'c';
    EXPECT_EQ(L"1234567 -1.25 1 c", stream.str());
}

}  // namespace
}  // namespace Tallowmere
