// A user who has taken rights from himself: by the mode of a directory or a file, or by his mask.
// It is still his, and he can copy it and clear it away.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

#include "kest/diagnostics/Recorder.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::failing;
using platform::testing::ScopedCall;
using platform::testing::TempTree;
namespace fs = std::filesystem;

/// Somebody to whom access rights apply.
constexpr uid_t kUser = 54325;

/// Runs a body in a process of its own that is not root's; what it threw, or "".
std::string says(const std::function<void()>& body) {
    int answer[2];
    if (::pipe(answer) != 0) {
        return "pipe";
    }
    const pid_t child = ::fork();
    if (child == 0) {
        std::string said;
        if (::geteuid() == 0 && (::setgid(kUser) != 0 || ::setuid(kUser) != 0)) {
            said = "setuid";
        }
        std::wostream nowhere{nullptr};
        try {
            Recorder::instance()->setStream(&nowhere, nullptr, false);
            body();
        } catch (const std::exception& failure) {
            said = failure.what();
        }
        ::_exit(::write(answer[1], said.data(), said.size()) < 0 ? 1 : 0);
    }
    ::close(answer[1]);
    std::string said;
    char byte = 0;
    while (::read(answer[0], &byte, 1) == 1) {
        said += byte;
    }
    ::close(answer[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return status == 0 ? said : "ended badly";
}

class OwnRights : public ::testing::Test {
protected:
    void SetUp() override { fs::permissions(tree.root(), fs::perms::all); }
    void copy() const { CopyDirectoryTransacted(tree.wide("from"), tree.wide("to")); }
    unsigned modeOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(0, ::lstat((tree / name).c_str(), &status));
        return status.st_mode & 07777;
    }

    TempTree tree;
};

TEST_F(OwnRights, AFailureLeavesNothingOfADirectoryThatIsNotForWriting) {
    EXPECT_EQ("", says([&] {
                  tree.write("from/sub/inner/file", "x");
                  tree.write("from/sub/file", "x");
                  (void)::chmod((tree / "from/sub/inner").c_str(), 0500);
                  (void)::chmod((tree / "from/sub").c_str(), 0500);
                  (void)::chmod((tree / "from").c_str(), 0500);
              }));
    for (const bool isThere : {false, true}) {
        if (isThere) {
            EXPECT_EQ("", says([&] { tree.write("to/old", "old"); }));
        }
        const auto before = tree.snapshot();
        EXPECT_EQ("CommitTransaction failed: There is not enough space on the disk.\r\n", says([&] {
                      // All of it has been copied by then.
                      const ScopedCall<&Calls::CommitTransaction> commit{
                          [](HANDLE) { return failing<BOOL>(FALSE, ERROR_DISK_FULL); }};
                      copy();
                  }));
        EXPECT_EQ(before, tree.snapshot());
    }
}

TEST_F(OwnRights, AFileThatIsNotForWritingKeepsItsAttributes) {
    EXPECT_EQ("", says([&] {
                  tree.write("from/sub/file", "x");
                  for (const char* const name : {"from/sub/file", "from/sub"}) {
                      if (::setxattr((tree / name).c_str(), "user.note", "kept", 4, 0) != 0) {
                          throw std::runtime_error("no attributes here");
                      }
                  }
                  (void)::chmod((tree / "from/sub/file").c_str(), 0440);
                  (void)::chmod((tree / "from/sub").c_str(), 0550);
              }));
    EXPECT_EQ("", says([&] { copy(); }));
    for (const char* const name : {"to/sub/file", "to/sub"}) {
        char value[16] = {};
        EXPECT_EQ(4, ::getxattr((tree / name).c_str(), "user.note", value, sizeof value));
        EXPECT_STREQ("kept", value);
    }
    EXPECT_EQ(0440U, modeOf("to/sub/file"));
    EXPECT_EQ(0550U, modeOf("to/sub"));
}

TEST_F(OwnRights, AMaskThatTakesEverythingShutsNobodyOut) {
    EXPECT_EQ("", says([&] {
                  tree.write("from/sub/file", "new");
                  (void)::chmod((tree / "from").c_str(), 0755);
                  (void)::chmod((tree / "from/sub").c_str(), 0750);
                  (void)::chmod((tree / "from/sub/file").c_str(), 0640);
              }));
    for (int times = 0; times < 2; ++times) {
        EXPECT_EQ("", says([&] {
                      ::umask(0777);
                      copy();
                  }));
        EXPECT_EQ("new", tree.read("to/sub/file"));
        EXPECT_EQ(0755U, modeOf("to"));
        EXPECT_EQ(0750U, modeOf("to/sub"));
        EXPECT_EQ(0640U, modeOf("to/sub/file"));
    }
}

}  // namespace
}  // namespace Tallowmere
