// A folder that its user may write into and pass through but not read: what stands in it is
// replaced, created and deleted like anywhere else.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <string>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::TempTree;
namespace fs = std::filesystem;

/// Somebody to whom access rights apply.
constexpr uid_t kUser = 54323;

/// Runs a body in a process of its own that is not root's; whether it threw nothing.
bool runs(const std::function<void()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && (::setgid(kUser) != 0 || ::setuid(kUser) != 0)) {
            ::_exit(2);
        }
        std::wostream nowhere{nullptr};
        try {
            Recorder::instance()->setStream(&nowhere, nullptr, false);
            body();
            ::_exit(0);
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "%s\n", failure.what());
        }
        ::_exit(1);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

TEST(UnreadableFolder, IsChangedLikeAnyOther) {
    const TempTree tree;
    fs::permissions(tree.root(), fs::perms::all);
    ASSERT_TRUE(runs([&] {
        tree.write("from/sub/a", "new");
        tree.write("folder/to/b", "old");
        tree.write("folder/gone/c", "old");
        fs::permissions(tree / "folder", fs::perms::owner_write | fs::perms::owner_exec);
    }));
    EXPECT_TRUE(runs([&] { CopyDirectoryTransacted(tree.wide("from"), tree.wide("folder/to")); }));
    EXPECT_TRUE(
        runs([&] { CopyDirectoryTransacted(tree.wide("from"), tree.wide("folder/made")); }));
    EXPECT_TRUE(runs([&] { DeleteDirectoryTransacted(tree.wide("folder/gone")); }));
    ASSERT_TRUE(runs([&] { fs::permissions(tree / "folder", fs::perms::owner_all); }));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("folder/to"));
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("folder/made"));
    // Neither what was deleted nor a stage.
    EXPECT_EQ(2, std::distance(fs::directory_iterator(tree / "folder"), fs::directory_iterator()));
}

}  // namespace
}  // namespace Tallowmere
