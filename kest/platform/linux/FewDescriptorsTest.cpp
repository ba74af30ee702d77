// A process that has hardly any descriptors left: what cannot be done then leaves nothing behind.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <string>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

namespace fs = std::filesystem;

class FewDescriptors : public ::testing::Test {
protected:
    FewDescriptors() { Recorder::instance()->setStream(&m_nowhere, nullptr, false); }
    ~FewDescriptors() override { Recorder::destroy(); }

    /// What a copy says with so many descriptors more than are open.
    std::string copy(const char* source, std::ptrdiff_t more) const {
        const fs::directory_iterator open("/proc/self/fd");
        // The listing itself has one of them.
        const std::ptrdiff_t used = std::distance(begin(open), end(open)) - 1;
        struct rlimit usual {};
        EXPECT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &usual));
        const struct rlimit few { static_cast<rlim_t>(used + more), usual.rlim_max };
        EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &few));
        std::string said;
        try {
            CopyDirectoryTransacted(tree.wide(source), tree.wide("to"));
        } catch (const std::runtime_error& failure) {
            said = failure.what();
        }
        EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &usual));
        return said;
    }

    platform::testing::TempTree tree;

private:
    std::wostream m_nowhere{nullptr};
};

TEST_F(FewDescriptors, AnErrorLeavesNothingBehind) {
    // The first folders are copied when the last one, deeper than the others, cannot be reached.
    std::string deep;
    for (int i = 0; i < 30; ++i) {
        deep += "/d";
        tree.write("from" + deep + "/file", "new");
        tree.write("from/" + std::to_string(i) + "/a/b/c/file", "new");
    }
    // Once without any want: the sanitizer asks the system, through a pipe, about each
    // kind of object that it meets for the first time, and takes what it cannot ask about for none.
    tree.write("to/file", "old");
    EXPECT_TRUE(copy("from", 100).empty());
    EXPECT_FALSE(copy("missing", 100).empty());
    int refused = 0;
    int done = 0;
    for (std::ptrdiff_t more = 0; more < 48; ++more) {
        SCOPED_TRACE(more);
        fs::remove_all(tree / "to");
        tree.write("to/file", "old");
        const bool isDone = copy("from", more).empty();
        (isDone ? done : refused) += 1;
        EXPECT_EQ(2, std::distance(fs::directory_iterator(tree.root()), fs::directory_iterator()));
        EXPECT_EQ(tree.snapshot(isDone ? "from" : "to"), tree.snapshot("to"));
        EXPECT_EQ(isDone, !tree.exists("to/file"));
    }
    EXPECT_GT(refused, 5);
    EXPECT_GT(done, 5);
}

}  // namespace
}  // namespace Tallowmere
