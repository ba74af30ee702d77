// Links of the Unix disk below Wine: never followed, and nothing outside is ever touched.

#include "kest/platform/windows/UnixLinks.h"

#include <gtest/gtest.h>

#include "kest/platform/testing/TempTree.h"
#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/WindowsDisk.h"
#include "kest/platform/windows/testing/UnixSide.h"

namespace Tallowmere::platform {
namespace {

using testing::runOnUnix;
using testing::TempTree;
using testing::unixPath;
using transactions::DirectoryPtr;
using transactions::Kind;
using transactions::Links;
using transactions::Record;

/// tree/in holds links to the file and the directory in tree/out.
class UnixLinksTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!isWine()) {
            GTEST_SKIP() << "there are no Unix links on Windows";
        }
        tree.write("out/file", "outside");
        tree.write("out/directory/file", "outside, too");
        tree.write("in/plain", "inside");
        const std::string root = unixPath(tree.wide("."));
        runOnUnix("/bin/ln", {"-s", "../out/file", root + "/in/filelink"});
        runOnUnix("/bin/ln", {"-s", root + "/out/directory", root + "/in/directorylink"});
        outside = tree.snapshot("out");
        std::wstring text;
        std::wstring canonical;
        ASSERT_EQ(0U, disk.normalize(tree.wide("in").c_str(), text));
        ASSERT_EQ(0U, disk.openDirectory(text, in, canonical));
    }
    void TearDown() override {
        if (isWine()) {
            EXPECT_EQ(outside, tree.snapshot("out"));
            // The links themselves, before anything else removes the folder.
            const std::string root = unixPath(tree.wide("."));
            runOnUnix("/bin/rm", {"-f", root + "/in/filelink", root + "/in/directorylink"});
        }
    }

    TempTree tree;
    transactions::Disk& disk = transactions::systemDisk();
    DirectoryPtr in;
    std::map<std::string, std::string> outside;
};

TEST_F(UnixLinksTest, ALinkToADirectoryIsListedAsALink) {
    std::unique_ptr<transactions::Listing> listing;
    ASSERT_EQ(0U, disk.list(in, listing));
    Record record;
    int links = 0;
    while (listing->next(record) == ERROR_SUCCESS) {
        if (record.name == L"directorylink") {
            ++links;
            EXPECT_EQ(Kind::DirectoryLink, record.kind);
            // With the tag by which a tree walk knows a link.
            EXPECT_EQ(IO_REPARSE_TAG_SYMLINK, record.reparseTag);
        } else {
            EXPECT_EQ(Kind::File, record.kind);
        }
    }
    EXPECT_EQ(1, links);
    Kind kind{};
    EXPECT_EQ(0U, disk.describe(in, L"directorylink", kind, nullptr));
    EXPECT_EQ(Kind::DirectoryLink, kind);
}

TEST_F(UnixLinksTest, ALinkIsEnteredOnlyWhereThatIsSaid) {
    DirectoryPtr directory;
    EXPECT_EQ(ERROR_CANT_RESOLVE_FILENAME,
              disk.openBelow(in, L"directorylink", Links::Refuse, directory));
    ASSERT_EQ(0U, disk.openBelow(in, L"directorylink", Links::Follow, directory));
    std::string content;
    EXPECT_EQ(0U, disk.readFile(directory, L"file", content));
    EXPECT_EQ("outside, too", content);
    std::wstring text;
    std::wstring expected;
    std::wstring canonical;
    ASSERT_EQ(0U, disk.normalize(tree.wide("in/directorylink").c_str(), text));
    ASSERT_EQ(0U, disk.normalize(tree.wide("out/directory").c_str(), expected));
    ASSERT_EQ(0U, disk.openDirectory(text, directory, canonical));
    EXPECT_EQ(expected, canonical);
    // What stands behind the link is no link.
    EXPECT_EQ(0U, disk.mayRemove(directory, L"file"));
}

TEST_F(UnixLinksTest, ALinkIsNeitherRemovedNorRenamedNorCopied) {
    for (const wchar_t* const name : {L"filelink", L"directorylink", L"FileLink"}) {
        EXPECT_EQ(ERROR_NOT_SUPPORTED, disk.mayRemove(in, name)) << name;
        EXPECT_EQ(ERROR_NOT_SUPPORTED, disk.rename(in, name, in, L"other")) << name;
        EXPECT_EQ(ERROR_NOT_SUPPORTED, disk.copyFile(in, name, in, L"copy", Links::Refuse, nullptr))
            << name;
    }
    EXPECT_EQ(ERROR_NOT_SUPPORTED, disk.removeFile(in, L"filelink"));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, disk.removeDirectory(in, L"directorylink"));
    EXPECT_EQ(outside, tree.snapshot("out"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, disk.removeFile(in, L"directorylink"));
    EXPECT_EQ(ERROR_DIRECTORY, disk.removeDirectory(in, L"filelink"));
    Kind kind{};
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.describe(in, L"copy", kind, nullptr));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.describe(in, L"other", kind, nullptr));
    // As what it leads to it can be copied.
    EXPECT_EQ(0U, disk.copyFile(in, L"filelink", in, L"copy", Links::Follow, nullptr));
    EXPECT_EQ("outside", tree.read("in/copy"));
}

TEST_F(UnixLinksTest, AnOrdinaryEntryIsNone) {
    EXPECT_EQ(0U, disk.mayRemove(in, L"plain"));
    EXPECT_EQ(0U, disk.copyFile(in, L"plain", in, L"copy", Links::Refuse, nullptr));
    EXPECT_EQ(0U, disk.rename(in, L"plain", in, L"renamed"));
    EXPECT_EQ(0U, disk.removeFile(in, L"RENAMED"));
    EXPECT_EQ("inside", tree.read("in/copy"));
}

TEST_F(UnixLinksTest, AMountedFileSystemIsLeftAlone) {
    DirectoryPtr top;
    DirectoryPtr directory;
    std::wstring canonical;
    ASSERT_EQ(0U, disk.openDirectory(L"Z:", top, canonical));
    EXPECT_EQ(ERROR_CANT_RESOLVE_FILENAME, disk.openBelow(top, L"proc", Links::Refuse, directory));
    EXPECT_NE(0U, disk.mayRemove(top, L"proc"));
}

}  // namespace
}  // namespace Tallowmere::platform
