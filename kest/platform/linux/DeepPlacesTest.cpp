// Trees deeper than the longest path that the system takes or tells, reached through a link: where
// something stands is known all the same, and that the link has not been turned meanwhile.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <ostream>
#include <string>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::TempTree;
namespace fs = std::filesystem;

constexpr int kLevels = 45;
const std::string kName(200, 'a');

/// Works in the directory at each level of a chain in turn, from the top; whether all went well.
template <class Work>
bool walkDown(const fs::path& top, const Work& work) {
    int at = ::open(top.c_str(), O_PATH | O_DIRECTORY);
    for (int level = 0; at >= 0 && level < kLevels; ++level) {
        const int next = work(at) ? ::openat(at, kName.c_str(), O_PATH | O_DIRECTORY) : -1;
        ::close(at);
        at = next;
    }
    return at >= 0 && ::close(at) == 0;
}

bool makeFile(int directory, const char* name) {
    const int file = ::openat(directory, name, O_WRONLY | O_CREAT | O_EXCL, 0644);
    return file >= 0 && ::close(file) == 0;
}

TEST(DeepPlaces, AreFoundAgainBehindALink) {
    const TempTree tree;
    tree.makeDirectory("real/from");
    fs::create_directory_symlink(tree / "real", tree / "link");
    ASSERT_TRUE(walkDown(tree / "real/from", [](int directory) {
        // What is beside the next level is met before or after it, so either way one is returned
        // to.
        bool isMade = ::mkdirat(directory, kName.c_str(), 0755) == 0;
        for (const char* const name : {"b", "m", "z"}) {
            isMade = isMade && ::mkdirat(directory, name, 0755) == 0 &&
                     makeFile(directory, (name + std::string("/file")).c_str());
        }
        return isMade;
    }));
    std::wostream nowhere{nullptr};
    Recorder::instance()->setStream(&nowhere, nullptr, false);
    // Made, and then put in place of what is there.
    for (int times = 0; times < 2; ++times) {
        EXPECT_NO_THROW(CopyDirectoryTransacted(tree.wide("link/from"), tree.wide("link/to")));
        EXPECT_TRUE(walkDown(tree / "real/to", [](int directory) {
            return ::faccessat(directory, "b/file", F_OK, 0) == 0 &&
                   ::faccessat(directory, "m/file", F_OK, 0) == 0 &&
                   ::faccessat(directory, "z/file", F_OK, 0) == 0;
        }));
    }
    for (const char* const name : {"link/to", "link/from"}) {
        EXPECT_NO_THROW(DeleteDirectoryTransacted(tree.wide(name)));
    }
    Recorder::destroy();
    EXPECT_TRUE(fs::is_empty(tree / "real"));
}

}  // namespace
}  // namespace Tallowmere
