// The questions to the file system, put to a real disk, on every system.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/system/FileSystem.h"
#include "kest/system/testing/CapturedStreams.h"
#include "kest/text/Strings.h"

namespace Tallowmere {
namespace {

namespace fs = std::filesystem;

using platform::testing::TempTree;

class FileSystemOnDisk : public ::testing::Test {
protected:
    TempTree tree;
};

TEST_F(FileSystemOnDisk, WhatIsThere) {
    tree.write("file", "12345");
    fs::create_directory(tree.root() / fs::path(u8"Gr\u00FC\u00DFe"));
    EXPECT_TRUE(exists(tree.wide("file").c_str()));
    EXPECT_FALSE(exists(tree.wide("none").c_str()));
    EXPECT_EQ(0, access(tree.wide("file").c_str(), 6));
    EXPECT_EQ(-1, access(tree.wide("none").c_str(), 0));
    EXPECT_FALSE(isDirectory(tree.wide("file")));
    EXPECT_FALSE(isDirectory(tree.wide("none")));
    EXPECT_TRUE(isDirectory(tree.root().wstring() + L"\\Gr\u00FC\u00DFe"));
    std::uint64_t size = 77;
    EXPECT_TRUE(getFileSize(tree.wide("file"), size));
    EXPECT_EQ(5U, size);
    EXPECT_FALSE(getFileSize(tree.wide("none"), size));
    EXPECT_EQ(5U, size);
}

TEST_F(FileSystemOnDisk, ASizeBeyondFourGibibytesIsFolded) {
    // Sparse: nearly nothing of it is on the disk.
    constexpr std::int64_t kSize = (std::int64_t{1} << 32) + 10;
    std::ofstream(tree / "sparse", std::ios_base::binary).seekp(kSize - 1).put('x');
    ASSERT_EQ(static_cast<std::uintmax_t>(kSize), fs::file_size(tree / "sparse"));
    std::uint64_t size = 0;
    EXPECT_TRUE(getFileSize(tree.wide("sparse"), size));
    EXPECT_EQ(65546U, size);
}

TEST_F(FileSystemOnDisk, DirectoriesAreCreatedQuietly) {
    const testing::CapturedStreams errors;
    tree.makeDirectory("data");
    createDirectory(tree.wide("data/a/b"));
    EXPECT_TRUE(tree.exists("data/a/b"));
    createDirectory(tree.wide("data/a/b"));
    createDirectory(tree.wide("data/c") + L"\\");
    EXPECT_TRUE(tree.exists("data/c"));
    EXPECT_EQ(4U, tree.snapshot().size());
    EXPECT_EQ(L"", errors.wide());
    EXPECT_EQ("", errors.narrow());
}

TEST_F(FileSystemOnDisk, NothingIsCreatedBelowAFile) {
    tree.write("file", "x");
    const std::wstring expected =
        L"CreateDirectory() failed: " + getSystemErrorMessage(ERROR_PATH_NOT_FOUND, nullptr);
    const testing::CapturedStreams errors;
    try {
        createDirectory(tree.wide("file/a/b"));
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& failure) {
        EXPECT_EQ(convertToString(expected.c_str()), failure.what());
    }
    EXPECT_EQ(expected + L"\n", errors.wide());
    EXPECT_EQ(1U, tree.snapshot().size());
}

TEST_F(FileSystemOnDisk, WhatHasBeenCreatedStays) {
    tree.write("new/file", "x");
    EXPECT_THROW(createDirectory(tree.wide("new/a/b") + L"\\..\\..\\file\\c"), std::runtime_error);
    EXPECT_TRUE(tree.exists("new/a/b"));
}

TEST_F(FileSystemOnDisk, APathOfManyCharacters) {
    std::string deep = std::string(100, 'd');
    for (int i = 0; i < 3; ++i) {
        deep += "/" + std::string(100, 'd');
    }
    createDirectory(tree.wide(deep));
    EXPECT_TRUE(isDirectory(tree.wide(deep)));
    EXPECT_TRUE(exists(tree.wide(deep).c_str()));
}

TEST_F(FileSystemOnDisk, ThePlacesAreThere) {
    std::wstring directory;
    ASSERT_TRUE(getCurrentDirectory(directory));
    EXPECT_EQ(fs::current_path().wstring(), directory);
    const std::wstring program = getExecutablePath();
    EXPECT_NE(std::wstring::npos, program.find(L"kest_tests"));
    EXPECT_TRUE(exists(program.c_str()));
    EXPECT_FALSE(isDirectory(program));
}

}  // namespace
}  // namespace Tallowmere
