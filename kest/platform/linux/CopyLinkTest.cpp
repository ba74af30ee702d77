// Links of a Linux disk, copied: what stands on the disk afterwards, for every kind of link.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/text/Strings.h"
#include "kest/transacted/Links.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

namespace fs = std::filesystem;

using platform::testing::TempTree;
using testing::failureText;

class LinuxCopyLink : public ::testing::Test {
protected:
    std::wstring wide(const std::string& relative) const {
        return platform::names::widen((tree / relative).native());
    }

    /// What the link at a path holds, byte by byte.
    std::string target(const std::string& relative) const {
        char text[PATH_MAX];
        const ssize_t length = readlink((tree / relative).c_str(), text, sizeof text);
        return length < 0 ? "no link" : std::string(text, static_cast<std::size_t>(length));
    }

    /// Copies "link" to "copy"; what is thrown, "" when nothing is.
    std::string copied(const std::string& from = "link", const std::string& to = "copy") const {
        try {
            CopyLink(wide(from), wide(to));
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "";
    }

    testing::TraceCapture trace;
    TempTree tree;
};

TEST_F(LinuxCopyLink, ALinkHoldsAPlainPathThatEveryProgramUnderstands) {
    tree.write("file", "content");
    tree.makeDirectory("directory");
    fs::create_symlink(tree / "file", tree / "tofile");
    fs::create_symlink(tree / "directory", tree / "todirectory");
    EXPECT_EQ("", copied("tofile", "copy1"));
    EXPECT_EQ("", copied("todirectory", "copy2"));
    EXPECT_EQ((tree / "file").native(), target("copy1"));
    EXPECT_EQ((tree / "directory").native(), target("copy2"));
    EXPECT_EQ("content", tree.read("copy1"));
    EXPECT_TRUE(fs::is_directory(tree / "copy2"));
    EXPECT_EQ(L"\\\\?\\" + wide("file"), getLinkTarget(wide("tofile").c_str(), false));
    EXPECT_EQ(L"\\\\?\\" + wide("directory"), getLinkTarget(wide("todirectory").c_str(), true));
    EXPECT_TRUE(trace.lines().empty());
}

TEST_F(LinuxCopyLink, ARelativeLinkBecomesAnAbsoluteOne) {
    tree.write("a/b/file", "x");
    tree.makeDirectory("a/c");
    fs::create_symlink("../b/file", tree / "a/c/link");
    EXPECT_EQ("", copied("a/c/link", "copy"));
    EXPECT_EQ((tree / "a/b/file").native(), target("copy"));
}

TEST_F(LinuxCopyLink, AChainBecomesOneLink) {
    tree.write("real/file", "x");
    fs::create_symlink("real", tree / "first");
    fs::create_symlink(tree / "first", tree / "second");
    fs::create_symlink("second/file", tree / "third");
    fs::create_symlink("third", tree / "link");
    EXPECT_EQ("", copied());
    EXPECT_EQ((tree / "real/file").native(), target("copy"));
}

TEST_F(LinuxCopyLink, TheSourceMayBeReachedThroughLinks) {
    tree.write("real/file", "x");
    fs::create_symlink("file", tree / "real/link");
    fs::create_symlink("real", tree / "way");
    EXPECT_EQ("", copied("way/link", "way/copy"));
    EXPECT_EQ((tree / "real/file").native(), target("real/copy"));
}

TEST_F(LinuxCopyLink, ADanglingLinkAndALoopFailWhenTheyAreOpened) {
    fs::create_symlink("nowhere", tree / "dangling");
    fs::create_symlink("none/nowhere", tree / "farther");
    fs::create_symlink("loop", tree / "loop");
    EXPECT_EQ(failureText(L"CreateFile " + wide("dangling"), ERROR_FILE_NOT_FOUND),
              copied("dangling"));
    EXPECT_EQ(failureText(L"CreateFile " + wide("farther"), ERROR_FILE_NOT_FOUND),
              copied("farther"));
    EXPECT_EQ(failureText(L"CreateFile " + wide("loop"), ERROR_CANT_RESOLVE_FILENAME),
              copied("loop"));
    EXPECT_FALSE(tree.exists("copy"));
}

TEST_F(LinuxCopyLink, WhatIsNoLinkOrNotThereIsRefused) {
    tree.write("file", "x");
    tree.makeDirectory("directory");
    EXPECT_EQ(convertToString((wide("file") + L" is not a link").c_str()), copied("file"));
    EXPECT_EQ(convertToString((wide("directory") + L" is not a link").c_str()),
              copied("directory"));
    EXPECT_EQ(convertToString((wide("none") + L" does not exist").c_str()), copied("none"));
    EXPECT_EQ(convertToString((wide("none/link") + L" does not exist").c_str()),
              copied("none/link"));
    EXPECT_FALSE(tree.exists("copy"));
}

TEST_F(LinuxCopyLink, WhatStandsAtTheDestinationStays) {
    tree.write("file", "x");
    tree.write("other", "y");
    tree.makeDirectory("directory");
    fs::create_symlink("file", tree / "link");
    fs::create_symlink("nowhere", tree / "dangling");
    const auto before = tree.snapshot();
    for (const char* const name : {"other", "directory", "dangling", "link", "file"}) {
        EXPECT_EQ(failureText(L"CreateSymbolicLink " + wide(name), ERROR_ALREADY_EXISTS),
                  copied("link", name));
    }
    EXPECT_EQ(failureText(L"CreateSymbolicLink " + wide("none/copy"), ERROR_PATH_NOT_FOUND),
              copied("link", "none/copy"));
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(LinuxCopyLink, EveryNameIsKeptByteByByte) {
    for (const std::string name : {"Gr\xC3\xBC\xC3\x9F"
                                   "e \xE6\x97\xA5",
                                   "back\\slash", "stray\xFF\xC3", "\xEF\x81\x9C", "line\nfeed",
                                   " ", "x (deleted)", "\xF0\x9F\x97\x83"}) {
        tree.write(name, "x");
        fs::create_symlink(name, tree / ("link " + name));
        EXPECT_EQ("", copied("link " + name, "copy " + name));
        EXPECT_EQ((tree / name).native(), target("copy " + name));
    }
}

TEST_F(LinuxCopyLink, ALinkToAnotherVolume) {
    fs::create_symlink("/proc/self/status", tree / "link");
    EXPECT_EQ("", copied());
    EXPECT_EQ("/proc/" + std::to_string(getpid()) + "/status", target("copy"));
    fs::create_symlink("/dev/shm", tree / "todirectory");
    EXPECT_EQ("", copied("todirectory", "copy2"));
    EXPECT_EQ(fs::canonical("/dev/shm").native(), target("copy2"));
}

TEST_F(LinuxCopyLink, PathsOfAnyLength) {
    const std::string level(200, 'n');
    std::string deep = level;
    for (int i = 0; i < 10; ++i) {
        deep += "/" + level;
    }
    tree.write(deep + "/file", "x");
    fs::create_symlink("file", tree / (deep + "/link"));
    EXPECT_EQ("", copied(deep + "/link", deep + "/copy"));
    EXPECT_EQ((tree / (deep + "/file")).native(), target(deep + "/copy"));
}

TEST_F(LinuxCopyLink, ATargetThatMayNotBeReadFailsWhenItIsOpened) {
    tree.write("place/closed", "x");
    fs::create_symlink("closed", tree / "place/link");
    ASSERT_EQ(0, chmod((tree / "place/closed").c_str(), 0));
    const std::string expected =
        failureText(L"CreateFile " + wide("place/link"), ERROR_ACCESS_DENIED);
    const auto ask = [&] { return copied("place/link", "place/copy") == expected ? 0 : 1; };
    if (geteuid() != 0) {
        EXPECT_EQ(0, ask());
        return;
    }
    // Root may do everything, so the question is put as another user.
    ASSERT_EQ(0, chmod(tree.root().c_str(), 0755));
    ASSERT_EQ(0, chown((tree / "place").c_str(), 54321, 54321));
    const pid_t child = fork();
    if (child == 0) {
        _exit(seteuid(54321) == 0 ? ask() : 7);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_FALSE(tree.exists("place/copy"));
}

TEST_F(LinuxCopyLink, ALinkThatMayNotBeMadeFails) {
    tree.write("place/file", "x");
    fs::create_symlink("file", tree / "place/link");
    ASSERT_EQ(0, chmod((tree / "place").c_str(), 0555));
    const std::string expected =
        failureText(L"CreateSymbolicLink " + wide("place/copy"), ERROR_ACCESS_DENIED);
    const auto ask = [&] { return copied("place/link", "place/copy") == expected ? 0 : 1; };
    if (geteuid() != 0) {
        EXPECT_EQ(0, ask());
    } else {
        ASSERT_EQ(0, chmod(tree.root().c_str(), 0755));
        const pid_t child = fork();
        if (child == 0) {
            _exit(seteuid(54321) == 0 ? ask() : 7);
        }
        int status = 0;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(0, WEXITSTATUS(status));
    }
    EXPECT_FALSE(tree.exists("place/copy"));
    ASSERT_EQ(0, chmod((tree / "place").c_str(), 0755));
}

}  // namespace
}  // namespace Tallowmere
