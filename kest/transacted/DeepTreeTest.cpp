// Trees so deep that a level must cost nothing but a little memory.

#include <gtest/gtest.h>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/platform/testing/ScriptedTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::ScriptedTree;

constexpr int kLevels = 3000;

/// Sends the trace nowhere: it would be quadratic in the depth.
class DeepTree : public ::testing::Test {
protected:
    DeepTree() { Recorder::instance()->setStream(nullptr, nullptr, false); }
    ~DeepTree() override { Recorder::destroy(); }

    /// A chain of directories with a file at its end.
    void grow(const std::wstring& top, const std::wstring& name) {
        std::wstring path = top;
        for (int level = 0; level < kLevels; ++level) {
            path.append(1, L'\\').append(name);
        }
        tree.file(path + L"\\file", L"1");
    }

    testing::FixedTrace fixed;
    ScriptedTree tree;
};

TEST_F(DeepTree, IsCopiedAndDeleted) {
    grow(L"C:\\from", L"d");
    EXPECT_NO_THROW(CopyDirectoryTransacted(L"C:\\from", L"C:\\to"));
    EXPECT_EQ(static_cast<std::size_t>(kLevels) + 1, tree.openSearches());
    EXPECT_NO_THROW(DeleteDirectoryTransacted(L"C:\\from"));
    std::wstring deepest = L"C:\\to";
    for (int level = 0; level < kLevels; ++level) {
        deepest += L"\\d";
    }
    const std::map<std::wstring, std::wstring> after = tree.snapshot();
    EXPECT_EQ(static_cast<std::size_t>(kLevels) + 2, after.size());
    EXPECT_EQ(1U, after.count(deepest + L"\\file"));
}

}  // namespace
}  // namespace Tallowmere
