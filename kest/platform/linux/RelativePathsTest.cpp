// Trees that are called by paths relative to the current directory.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere::platform {
namespace {

namespace fs = std::filesystem;

class RelativePaths : public ::testing::Test {
protected:
    RelativePaths() : previous(fs::current_path()) { fs::current_path(tree.root()); }
    ~RelativePaths() override { fs::current_path(previous); }

    Tallowmere::testing::FixedTrace fixed;
    testing::TempTree tree;
    fs::path previous;
};

TEST_F(RelativePaths, ADestinationThatIsALinkIsReplacedAndItsTargetStays) {
    const std::wstring up = L"../" + tree.root().filename().wstring() + L"/to";
    for (const std::wstring& to : std::vector<std::wstring>{L"to", L"./to", up, tree.wide("to")}) {
        tree.write("from/file", "new");
        tree.write("from/sub/file", "new");
        tree.write("target/canary", "alive");
        tree.write("target/sub/canary", "alive");
        fs::create_directory_symlink("target", "to");
        auto expected = tree.snapshot();
        expected.erase("to");
        CopyDirectoryTransacted(L"from", to);
        EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
        EXPECT_FALSE(fs::is_symlink("to"));
        fs::remove_all("to");
        EXPECT_EQ(expected, tree.snapshot());
    }
}

}  // namespace
}  // namespace Tallowmere::platform
