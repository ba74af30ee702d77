#include "kest/platform/linux/WqlQuery.h"

#include <gtest/gtest.h>

namespace Tallowmere::platform::wql {
namespace {

std::wstring parsed(const wchar_t* text) {
    Query query;
    if (!parse(text, query)) {
        return L"refused";
    }
    std::wstring result = query.className + L":";
    for (const std::wstring& name : query.names) {
        result += L" " + name;
    }
    return result;
}

TEST(WqlQuery, ReadsAClass) {
    EXPECT_EQ(L"SystemRestore:", parsed(L"Select * from SystemRestore"));
    EXPECT_EQ(L"a_1:", parsed(L"  SELECT*FROM\ta_1\r\n"));
    EXPECT_EQ(L"C:", parsed(L"select * From C"));
}

TEST(WqlQuery, ReadsNames) {
    EXPECT_EQ(L"C: a", parsed(L"select a from C"));
    EXPECT_EQ(L"C: a b c_2", parsed(L"select a,b , c_2 from C"));
}

TEST(WqlQuery, RefusesAnythingElse) {
    for (const wchar_t* text :
         {L"", L" ", L"nonsense", L"select", L"select *", L"select * from", L"select * C",
          L"select from C", L"select a b from C", L"select a, from C", L"select , from C",
          L"select * from C where a = 1", L"select * from C,D", L"select * from 1C",
          L"select * from *", L"select *, a from C", L"select a.b from C", L"selects * from C",
          L"select * from C;"}) {
        EXPECT_EQ(L"refused", parsed(text)) << text;
    }
}

}  // namespace
}  // namespace Tallowmere::platform::wql
