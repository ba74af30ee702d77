#include <gtest/gtest.h>

#include <string>

#include "kest/c_api.h"
#include "kest/text/Strings.h"

namespace Tallowmere {
namespace {

TEST(DeleteKestArray, FreesATextOfTheLibraryAndClearsThePointer) {
    // That the memory is given back, and in the right way, is for the address sanitizer to see.
    wchar_t* wide = allocateString(std::wstring(L"wide"));
    deleteKESTArray(&wide);
    EXPECT_EQ(nullptr, wide);
    wchar_t* narrow = allocateString("narrow");
    deleteKESTArray(&narrow);
    EXPECT_EQ(nullptr, narrow);
}

TEST(DeleteKestArray, TakesANullText) {
    wchar_t* text = nullptr;
    deleteKESTArray(&text);
    EXPECT_EQ(nullptr, text);
}

}  // namespace
}  // namespace Tallowmere
