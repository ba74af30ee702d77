#include "kest/platform/windows/WindowsListing.h"

#include <gtest/gtest.h>

#include <set>

#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

using testing::TempTree;
using transactions::Kind;
using transactions::Listing;
using transactions::Record;

constexpr DWORD kPlain = FILE_ATTRIBUTE_ARCHIVE;
constexpr DWORD kDirectory = FILE_ATTRIBUTE_DIRECTORY;
constexpr DWORD kReparse = FILE_ATTRIBUTE_REPARSE_POINT;
/// A file that is in the cloud until it is read.
constexpr DWORD kCloud = 0x9000001A;

TEST(WindowsListing, SymbolicLinksAndMountPointsAreLinks) {
    EXPECT_EQ(Kind::FileLink, kindOf(kPlain | kReparse, IO_REPARSE_TAG_SYMLINK));
    EXPECT_EQ(Kind::DirectoryLink, kindOf(kDirectory | kReparse, IO_REPARSE_TAG_SYMLINK));
    EXPECT_EQ(Kind::DirectoryLink, kindOf(kDirectory | kReparse, IO_REPARSE_TAG_MOUNT_POINT));
    EXPECT_EQ(IO_REPARSE_TAG_MOUNT_POINT, tagOf(kDirectory | kReparse, IO_REPARSE_TAG_MOUNT_POINT));
}

TEST(WindowsListing, OtherTagsLeaveOrdinaryEntries) {
    EXPECT_EQ(Kind::File, kindOf(kPlain | kReparse, kCloud));
    EXPECT_EQ(Kind::Directory, kindOf(kDirectory | kReparse, kCloud));
    EXPECT_EQ(kCloud, tagOf(kPlain | kReparse, kCloud));
}

TEST(WindowsListing, ATagWithoutTheAttributeMeansNothing) {
    EXPECT_EQ(Kind::File, kindOf(kPlain, IO_REPARSE_TAG_SYMLINK));
    EXPECT_EQ(Kind::Directory, kindOf(kDirectory, IO_REPARSE_TAG_SYMLINK));
    EXPECT_EQ(Kind::File, kindOf(kPlain, 0));
    EXPECT_EQ(Kind::Directory, kindOf(kDirectory, 0));
    EXPECT_EQ(0U, tagOf(kDirectory, 0));
}

TEST(WindowsListing, AReparsePointWithoutATagIsALinkAndCarriesALinksTag) {
    EXPECT_EQ(Kind::DirectoryLink, kindOf(kDirectory | kReparse, 0));
    EXPECT_EQ(Kind::FileLink, kindOf(kPlain | kReparse, 0));
    EXPECT_EQ(IO_REPARSE_TAG_SYMLINK, tagOf(kDirectory | kReparse, 0));
}

/// The names that a listing gives, in pieces of that size.
std::multiset<std::wstring> namesOf(const std::wstring& path, const wchar_t* hidden,
                                    std::size_t piece) {
    std::unique_ptr<Listing> listing;
    EXPECT_EQ(0U, listDirectory(path, hidden, listing, piece));
    std::multiset<std::wstring> names;
    Record record;
    DWORD error = ERROR_SUCCESS;
    while ((error = listing->next(record)) == ERROR_SUCCESS) {
        names.insert(record.name);
    }
    EXPECT_EQ(ERROR_NO_MORE_FILES, error);
    EXPECT_EQ(ERROR_NO_MORE_FILES, listing->next(record));
    return names;
}

TEST(WindowsListing, EveryEntryIsGivenOnceWhateverThePiecesAre) {
    TempTree tree;
    std::multiset<std::wstring> expected;
    for (int i = 0; i < 40; ++i) {
        const std::string name(static_cast<std::size_t>(i + 1), 'n');
        tree.write("listed/" + name, "");
        expected.emplace(name.begin(), name.end());
    }
    for (const std::size_t piece : {std::size_t{1}, std::size_t{300}, kListingPiece}) {
        EXPECT_EQ(expected, namesOf(L"\\\\?\\" + tree.wide("listed"), L"", piece)) << piece;
    }
    expected.erase(L"nnn");
    EXPECT_EQ(expected, namesOf(L"\\\\?\\" + tree.wide("listed"), L"nnn", 1));
    std::unique_ptr<Listing> listing;
    EXPECT_NE(0U, listDirectory(tree.wide("none"), L"", listing));
    EXPECT_EQ(nullptr, listing);
}

TEST(WindowsListing, NoSearchStaysOpenOnceTheEndWasRead) {
    TempTree tree;
    tree.write("listed/one", "");
    tree.write("listed/two", "");
    std::unique_ptr<Listing> listing;
    ASSERT_EQ(0U, listDirectory(tree.wide("listed"), L"", listing, 1));
    Record record;
    while (listing->next(record) == ERROR_SUCCESS) {
    }
    EXPECT_TRUE(::MoveFileW(tree.wide("listed").c_str(), tree.wide("renamed").c_str()));
}

}  // namespace
}  // namespace Tallowmere::platform
