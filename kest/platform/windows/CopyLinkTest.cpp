// Copying links on the disk below Wine, where a link to a directory can be told from a directory
// but no link can be made: every failure is real there, and the success is told by what would have
// been made. Links of Windows itself are copied by the same calls in memory (see LinksTest.cpp);
// making real ones takes a privilege that a test cannot rely on.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/platform/windows/SymbolicLinks.h"
#include "kest/platform/windows/UnixLinks.h"
#include "kest/platform/windows/testing/UnixSide.h"
#include "kest/text/Strings.h"
#include "kest/transacted/Links.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::isWine;
using platform::testing::runOnUnix;
using platform::testing::ScopedCall;
using platform::testing::TempTree;
using platform::testing::unixPath;
using testing::failureText;

class WineCopyLink : public ::testing::Test {
protected:
    void SetUp() override {
        if (!isWine()) {
            GTEST_SKIP() << "there are no Unix links on Windows";
        }
    }
    void TearDown() override {
        if (isWine()) {
            // The links themselves, before anything else removes the folder.
            runOnUnix("/usr/bin/find", {unixPath(tree.wide(".")), "-type", "l", "-delete"});
        }
    }

    /// Makes a Unix link.
    void link(const std::string& target, const std::string& relative) const {
        runOnUnix("/bin/ln", {"-s", target, unixPath(tree.wide(".")) + "/" + relative});
    }

    std::string failureOf(const std::string& source, const std::string& destination) const {
        try {
            CopyLink(tree.wide(source), tree.wide(destination));
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "nothing";
    }

    std::string plain(const std::string& relative, const wchar_t* rest) const {
        return convertToString((tree.wide(relative) + rest).c_str());
    }

    testing::TraceCapture trace;
    TempTree tree;
};

TEST_F(WineCopyLink, ALinkToADirectoryIsResolvedToItsEnd) {
    tree.makeDirectory("real/Target");
    link("real", "first");
    link("first/Target", "second");
    std::wstring made;
    const ScopedCall<&Calls::CreateSymbolicLinkW> making(
        [&](const wchar_t* path, const wchar_t* target, DWORD flags) -> BOOLEAN {
            made = std::wstring(path) + L" -> " + target + L' ' + std::to_wstring(flags);
            return TRUE;
        });
    EXPECT_EQ("nothing", failureOf("second", "copy"));
    EXPECT_EQ(tree.wide("copy") + L" -> \\\\?\\" + tree.wide("real/Target") + L" 1", made);
}

TEST_F(WineCopyLink, ALinkThatIsNotMadeIsAFailure) {
    tree.makeDirectory("real");
    tree.write("file", "x");
    link("real", "link");
    EXPECT_EQ(failureText(L"CreateSymbolicLink " + tree.wide("copy"), ERROR_NOT_SUPPORTED),
              failureOf("link", "copy"));
    EXPECT_FALSE(tree.exists("copy"));
    EXPECT_EQ(failureText(L"CreateSymbolicLink " + tree.wide("file"), ERROR_ALREADY_EXISTS),
              failureOf("link", "file"));
    EXPECT_EQ("x", tree.read("file"));
}

TEST_F(WineCopyLink, WhatIsNoLinkOrNotThereIsRefused) {
    tree.write("file", "x");
    tree.makeDirectory("directory");
    link("file", "tofile");
    link("nowhere", "dangling");
    EXPECT_EQ(plain("file", L" is not a link"), failureOf("file", "copy"));
    EXPECT_EQ(plain("directory", L" is not a link"), failureOf("directory", "copy"));
    EXPECT_EQ(plain("none", L" does not exist"), failureOf("none", "copy"));
    // Wine shows a link to a file as the file, and a link to nothing not at all.
    EXPECT_EQ(plain("tofile", L" is not a link"), failureOf("tofile", "copy"));
    EXPECT_EQ(plain("dangling", L" does not exist"), failureOf("dangling", "copy"));
}

TEST_F(WineCopyLink, AFinalPathThatIsTooLongForWineIsAFailure) {
    const std::string level(150, 'd');
    tree.makeDirectory(level + "/" + level);
    link(level + "/" + level, "link");
    EXPECT_EQ(failureText(L"GetFinalPathNameByHandle " + tree.wide("link"), ERROR_MORE_DATA),
              failureOf("link", "copy"));
}

}  // namespace
}  // namespace Tallowmere
