// Copying and deleting trees on a real disk, with the manager that serves it, on every system.

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "kest/c_api.h"
#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/platform/Calls.h"
#include "kest/platform/testing/FaultSweep.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

using platform::testing::Fault;
using platform::testing::FaultSpan;
using platform::testing::TempTree;

class RealDisk : public ::testing::Test {
protected:
    RealDisk() { Recorder::instance()->setStream(&trace, nullptr, false); }
    ~RealDisk() override { Recorder::destroy(); }

    void copy() { CopyDirectoryTransacted(tree.wide("from"), tree.wide("to")); }
    /// Every trace line so far, the severity and what follows the location column, and whether all
    /// of them carry the module's name.
    std::vector<std::wstring> messages() const {
        std::vector<std::wstring> result;
        std::wistringstream lines(trace.str());
        for (std::wstring line; std::getline(lines, line);) {
            const std::wstring prefix = testing::kStamp;
            if (line.compare(0, prefix.size(), prefix) != 0) {
                continue;  // the rest of a system text, which ends a line itself
            }
            const std::size_t severity = prefix.size();
            const std::size_t thread = line.find(L'\t', severity);
            const std::size_t place = line.find(L'\t', thread + 1);
            const std::size_t message = line.find(L'\t', place + 1);
            std::wstring text = line.substr(message + 1);
            while (!text.empty() && (text.back() == L'\r' || text.back() == L'\n')) {
                text.pop_back();
            }
            EXPECT_EQ(L"T4711", line.substr(thread + 1, place - thread - 1));
            EXPECT_EQ(36U, message - place - 1);
            result.push_back(line.substr(severity, 8) + text);
        }
        return result;
    }

    testing::FixedTrace fixed;
    TempTree tree;
    std::wostringstream trace;
};

/// The first line of a system text.
std::wstring firstLine(DWORD code) {
    const std::wstring text = getSystemErrorMessage(code, nullptr);
    return text.substr(0, text.find_first_of(L"\r\n"));
}

TEST_F(RealDisk, EveryStepOfACopyIsTracedInOrder) {
    tree.write("from/only/file", "content");
    copy();
    const std::wstring from = tree.wide("from");
    const std::wstring to = tree.wide("to");
    const std::wstring missing =
        L"ERROR   GetFileAttributesTransacted failed: " + firstLine(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(
        (std::vector<std::wstring>{
            missing,
            L"INFO    CreateDirectoryTransacted " + to,
            missing,
            L"INFO    CopyFileTransacted " + from + L"\\only -> " + to + L"\\only",
            L"INFO    CreateDirectoryTransacted " + to + L"\\only",
            missing,
            L"INFO    CopyFileTransacted " + from + L"\\only\\file -> " + to + L"\\only\\file",
        }),
        messages());
    EXPECT_NE(std::wstring::npos, trace.str().find(L"\tTransactedFS:L"));
    EXPECT_NE(std::wstring::npos, trace.str().find(L"\tUtilities:L"));
}

TEST_F(RealDisk, EveryStepOfADeletionIsTracedInOrder) {
    tree.write("from/only/file", "content");
    DeleteDirectoryTransacted(tree.wide("from"));
    const std::wstring from = tree.wide("from");
    EXPECT_EQ((std::vector<std::wstring>{
                  L"INFO    DeleteFileTransacted " + from + L"\\only\\file",
                  L"INFO    RemoveDirectoryTransacted \\\\?\\" + from + L"\\only",
                  L"INFO    RemoveDirectoryTransacted \\\\?\\" + from,
              }),
              messages());
    EXPECT_TRUE(tree.snapshot().empty());
}

TEST_F(RealDisk, AnOldDestinationIsReplacedAsAWhole) {
    tree.write("from/a", "new");
    tree.write("from/sub/b", "new");
    tree.makeDirectory("from/empty");
    tree.write("to/a", "old");
    tree.write("to/gone/deep", "old");
    copy();
    EXPECT_EQ(tree.snapshot("from"), tree.snapshot("to"));
    EXPECT_EQ(8U, tree.snapshot().size() - tree.snapshot("from").size() + 2U);
}

TEST_F(RealDisk, AMissingSourceLeavesTheDestinationUntouched) {
    tree.write("to/a", "old");
    const auto before = tree.snapshot();
    wchar_t* error = nullptr;
    EXPECT_FALSE(
        ::CopyDirectoryTransacted(tree.wide("from").c_str(), tree.wide("to").c_str(), &error));
    ASSERT_NE(nullptr, error);
    EXPECT_EQ(L"Copy failed: " + tree.wide("from") + L" does not exist", error);
    deleteKESTArray(&error);
    EXPECT_EQ(nullptr, error);
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(RealDisk, ASourceInsideTheDestinationFailsAndRollsBack) {
    tree.write("to/from/a", "only copy");
    const auto before = tree.snapshot();
    EXPECT_THROW(CopyDirectoryTransacted(tree.wide("to/from"), tree.wide("to")),
                 std::runtime_error);
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(RealDisk, ADestinationInsideTheSourceIsRefusedBeforeAnythingIsTouched) {
    tree.write("from/a", "x");
    tree.write("from/sub/b", "x");
    const auto before = tree.snapshot();
    EXPECT_THROW(CopyDirectoryTransacted(tree.wide("from"), tree.wide("from/sub")),
                 std::runtime_error);
    EXPECT_THROW(CopyDirectoryTransacted(tree.wide("from"), tree.wide("from/sub/new")),
                 std::runtime_error);
    EXPECT_THROW(CopyDirectoryTransacted(tree.wide("from"), tree.wide("from")), std::runtime_error);
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(RealDisk, AnAlreadyPrefixedPathIsNotDeletedAndRollsBack) {
    tree.write("from/sub/b", "x");
    const auto before = tree.snapshot();
    const std::wstring path = L"\\\\?\\" + tree.wide("from");
    try {
        DeleteDirectoryTransacted(path);
        FAIL();
    } catch (const std::runtime_error& failure) {
        const std::string text = failure.what();
        EXPECT_EQ(0U, text.find("RemoveDirectoryTransacted \\\\?\\\\\\?\\")) << text;
        EXPECT_NE(std::string::npos, text.find(" failed: ")) << text;
    }
    EXPECT_EQ(before, tree.snapshot());
}

/// A failure of any call leaves source and destination as they were and nothing beside them.
class FailingDisk : public RealDisk, public ::testing::WithParamInterface<FaultSpan> {};

TEST_P(FailingDisk, AnyCallOfACopyMayFail) {
    tree.write("from/a", "new");
    tree.write("from/sub/b", "new");
    tree.makeDirectory("from/empty");
    tree.write("to/a", "old");
    tree.write("to/sub/deep/c", "old");
    const auto before = tree.snapshot();
    auto after = tree.snapshot("from");
    bool failed = false;
    const int tried = platform::testing::sweepFaults(
        platform::testing::Transactions | platform::testing::Files, GetParam(),
        [&] {
            failed = false;
            try {
                copy();
            } catch (const std::runtime_error&) {
                failed = true;
            }
        },
        [&](const Fault& fault) {
            const auto now = tree.snapshot();
            if (failed) {
                EXPECT_EQ(before, now) << fault.number;
            } else {
                // The answer was that it is done, so it is. Back to the old tree for the next one.
                auto expected = after;
                if (fault.call == L"GetFileAttributesTransactedW" && tree.exists("to/sub/deep")) {
                    // Deliberate: whatever kept the destination from being found, it counts as not
                    // there, so it is not deleted first and the copy is laid over it.
                    expected["sub/deep"] = "dir";
                    expected["sub/deep/c"] = "file old";
                }
                EXPECT_EQ(expected, tree.snapshot("to")) << fault.number;
                EXPECT_EQ(after, tree.snapshot("from"));
                EXPECT_EQ(2U + expected.size() + after.size(), now.size()) << fault.number;
                DeleteDirectoryTransacted(tree.wide("to"));
                tree.write("to/a", "old");
                tree.write("to/sub/deep/c", "old");
                EXPECT_EQ(before, tree.snapshot());
            }
        });
    EXPECT_GT(tried, 25);
}

TEST_P(FailingDisk, AnyCallOfADeletionMayFail) {
    const auto build = [&] {
        tree.write("to/a", "old");
        tree.write("to/sub/deep/c", "old");
    };
    build();
    const auto before = tree.snapshot();
    bool failed = false;
    const int tried = platform::testing::sweepFaults(
        platform::testing::Transactions, GetParam(),
        [&] {
            failed = false;
            try {
                DeleteDirectoryTransacted(tree.wide("to"));
            } catch (const std::runtime_error&) {
                failed = true;
            }
        },
        [&](const Fault& fault) {
            if (failed) {
                EXPECT_EQ(before, tree.snapshot()) << fault.number;
            } else if (fault.call == L"GetFileAttributesTransactedW") {
                // Deliberate: whatever kept the path from being found, it counts as not there.
                EXPECT_EQ(before, tree.snapshot()) << fault.number;
            } else {
                EXPECT_TRUE(tree.snapshot().empty()) << fault.number;
                build();
            }
        });
    EXPECT_GT(tried, 10);
}

INSTANTIATE_TEST_SUITE_P(OnceAndForGood, FailingDisk,
                         ::testing::Values(FaultSpan::Once, FaultSpan::FromThereOn));

}  // namespace
}  // namespace Tallowmere
