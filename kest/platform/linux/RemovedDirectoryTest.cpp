// A current directory that has been removed stands nowhere, and what is meant for it goes nowhere:
// the system's mark for it is no name.

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Win32.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/text/Strings.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

namespace fs = std::filesystem;

class RemovedDirectory : public ::testing::Test {
protected:
    RemovedDirectory() {
        Recorder::instance()->setStream(&m_nowhere, nullptr, false);
        tree.write("from/file", "new");
        tree.makeDirectory("gone");
    }
    ~RemovedDirectory() override {
        Recorder::destroy();
        fs::current_path(m_usual);
    }
    static std::string said(const std::function<void()>& operation) {
        try {
            operation();
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "";
    }
    static std::string failed(const char* call) {
        return std::string(call) + " failed: " +
               convertToString(getSystemErrorMessage(ERROR_PATH_NOT_FOUND, nullptr).c_str());
    }

    platform::testing::TempTree tree;

private:
    std::wostream m_nowhere{nullptr};
    fs::path m_usual = fs::current_path();
};

TEST_F(RemovedDirectory, TakesNoTree) {
    fs::current_path(tree / "gone");
    fs::remove(tree / "gone");
    const auto before = tree.snapshot();
    EXPECT_EQ(failed("CreateDirectoryTransacted"),
              said([&] { CopyDirectoryTransacted(tree.wide("from"), L"."); }));
    EXPECT_EQ(failed("CreateDirectoryTransacted"),
              said([&] { CopyDirectoryTransacted(tree.wide("from"), L"new"); }));
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(RemovedDirectory, IsNotTheOneThatHasItsMarkForAName) {
    tree.write("gone (deleted)/file", "another's");
    fs::current_path(tree / "gone");
    fs::remove(tree / "gone");
    const auto before = tree.snapshot();
    EXPECT_EQ(failed("CreateDirectoryTransacted"),
              said([&] { CopyDirectoryTransacted(tree.wide("from"), L"."); }));
    EXPECT_EQ("", said([&] { DeleteDirectoryTransacted(L"."); }));
    EXPECT_EQ(before, tree.snapshot());
    // Which is still to be had by that name.
    EXPECT_EQ(
        "", said([&] { CopyDirectoryTransacted(tree.wide("from"), tree.wide("gone (deleted)")); }));
    EXPECT_EQ("new", tree.read("gone (deleted)/file"));
}

}  // namespace
}  // namespace Tallowmere
