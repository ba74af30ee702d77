#include "kest/platform/transactions/RemovedNames.h"

#include <gtest/gtest.h>

namespace Tallowmere::platform::transactions {
namespace {

TEST(RemovedNames, HaveNothingAtFirst) {
    RemovedNames names;
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(names.size(), 0U);
    EXPECT_FALSE(names.contains(L"a"));
    EXPECT_FALSE(names.contains(L""));
    names.erase(L"a");
    EXPECT_TRUE(names.empty());
}

TEST(RemovedNames, GiveBackEveryUnitOfEveryName) {
    std::wstring units;
    for (const unsigned unit :
         {1U, 0x2FU, 0x7FU, 0x80U, 0xFFU, 0x3FFFU, 0x4000U, 0xD800U, 0xDFFFU, 0xFFFFU}) {
        units += static_cast<wchar_t>(unit);
    }
    if (sizeof(wchar_t) > 2) {
        units += static_cast<wchar_t>(0x10FFFF);
        units += static_cast<wchar_t>(0xFFFFFFFF);
    }
    const std::wstring longName(20000, L'x');
    RemovedNames names;
    for (const std::wstring& name : {std::wstring(L"a"), units, longName, std::wstring(L"")}) {
        names.add(name);
    }
    EXPECT_EQ(names.size(), 4U);
    EXPECT_EQ(names.all(), (std::unordered_set<std::wstring>{L"a", units, longName, L""}));
    EXPECT_EQ(names.size(), 4U);
}

TEST(RemovedNames, KeepManyApart) {
    RemovedNames names;
    std::unordered_set<std::wstring> expected;
    for (int i = 0; i < 20000; ++i) {
        const std::wstring name = L"file" + std::to_wstring(i) + (i % 7 == 0 ? L"\u20AC" : L"");
        names.add(name);
        expected.insert(name);
    }
    EXPECT_EQ(names.size(), 20000U);
    EXPECT_EQ(names.all(), expected);
}

TEST(RemovedNames, TellANameTwiceUntilTheyAreAskedFor) {
    RemovedNames names;
    names.add(L"a");
    names.add(L"a");
    EXPECT_EQ(names.size(), 2U);
    EXPECT_TRUE(names.contains(L"a"));
    EXPECT_EQ(names.size(), 1U);
    names.add(L"a");
    EXPECT_EQ(names.size(), 1U);
}

TEST(RemovedNames, CanBeAddedToAfterTheyWereAskedFor) {
    RemovedNames names;
    names.add(L"a");
    EXPECT_FALSE(names.contains(L"b"));
    names.add(L"b");
    EXPECT_TRUE(names.contains(L"a"));
    EXPECT_TRUE(names.contains(L"b"));
    names.erase(L"a");
    names.erase(L"b");
    EXPECT_TRUE(names.empty());
    names.add(L"c");
    EXPECT_EQ(names.size(), 1U);
    EXPECT_TRUE(names.contains(L"c"));
    EXPECT_FALSE(names.contains(L"a"));
}

}  // namespace
}  // namespace Tallowmere::platform::transactions
