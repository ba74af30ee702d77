// What the library relies on in the calls of the family Files, in the words of Windows. Links, and
// all else that cannot be made everywhere, have tests of their own for Linux.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "kest/platform/Calls.h"
#include "kest/platform/contract/Differs.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

namespace fs = std::filesystem;

using testing::TempTree;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class FilesContract : public ::testing::Test {
protected:
    FilesContract() { os().SetLastError(kUntouched); }

    /// The attributes, or INVALID_FILE_ATTRIBUTES.
    DWORD attributes(const std::wstring& path) {
        return os().GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)
                   ? data.dwFileAttributes
                   : INVALID_FILE_ATTRIBUTES;
    }

    /// The error of asking for the attributes, 0 when there is none.
    DWORD attributesError(const std::wstring& path) {
        return attributes(path) == INVALID_FILE_ATTRIBUTES ? os().GetLastError() : 0;
    }

    static HANDLE open(const std::wstring& path, DWORD flags = FILE_FLAG_BACKUP_SEMANTICS,
                       DWORD access = GENERIC_READ) {
        return os().CreateFileW(path.c_str(), access, kShareAll, nullptr, OPEN_EXISTING, flags,
                                nullptr);
    }

    /// The error of opening, 0 when there is none.
    static DWORD openError(const std::wstring& path, DWORD flags = FILE_FLAG_BACKUP_SEMANTICS) {
        const HANDLE file = open(path, flags);
        if (file == INVALID_HANDLE_VALUE) {
            return os().GetLastError();
        }
        EXPECT_TRUE(os().CloseHandle(file));
        return 0;
    }

    static std::wstring finalPath(const std::wstring& path) {
        const HANDLE file = open(path);
        EXPECT_NE(INVALID_HANDLE_VALUE, file);
        std::wstring buffer(32768, L'#');
        const DWORD length = os().GetFinalPathNameByHandleW(file, buffer.data(), 32768, 0);
        EXPECT_TRUE(os().CloseHandle(file));
        EXPECT_EQ(L'\0', buffer[length]);
        return buffer.substr(0, length);
    }

    /// The final form of a path below the folder.
    std::wstring finalForm(const std::string& relative) const {
        return L"\\\\?\\" + (tree / relative).make_preferred().wstring();
    }

    /// A last error that no call sets.
    static constexpr DWORD kUntouched = 54321;
    TempTree tree;
    WIN32_FILE_ATTRIBUTE_DATA data{};
};

TEST_F(FilesContract, AFileAndADirectory) {
    tree.write("file", "0123456789");
    tree.makeDirectory("directory");
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + 0U, attributes(tree.wide("file")));
    EXPECT_EQ(10U, data.nFileSizeLow);
    EXPECT_EQ(0U, data.nFileSizeHigh);
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY + 0U, attributes(tree.wide("directory")));
    EXPECT_EQ(0U, data.nFileSizeLow);
    EXPECT_EQ(0U, data.nFileSizeHigh);
}

TEST_F(FilesContract, AFileThatNobodyMayWriteIsReadOnly) {
    tree.write("file", "x");
    fs::permissions(tree / "file",
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + FILE_ATTRIBUTE_READONLY + 0U, attributes(tree.wide("file")));
    fs::permissions(tree / "file", fs::perms::owner_write, fs::perm_options::add);
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + 0U, attributes(tree.wide("file")));
}

TEST_F(FilesContract, ADotInFrontDoesNotHide) {
    tree.write(".file", "x");
    KEST_DIFFERS_ON_WINE("hides files as a Unix shell does",
                         attributes(tree.wide(".file")) == FILE_ATTRIBUTE_ARCHIVE);
}

TEST_F(FilesContract, WhatIsMissingAndWhereItIsMissing) {
    tree.write("file", "x");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND + 0U, attributesError(tree.wide("none")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, attributesError(tree.wide("none/file")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, attributesError(tree.wide("none/none/file")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, attributesError(tree.wide("file/below")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, attributesError(L""));
}

TEST_F(FilesContract, ANameThatIsTooLong) {
    const std::string name(256, 'n');
    KEST_DIFFERS_ON_WINE("says that there is no such file",
                         attributesError(tree.wide(name)) == ERROR_INVALID_NAME);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND + 0U, attributesError(tree.wide(name.substr(1))));
}

TEST_F(FilesContract, ASizeBeyondFourGibibytes) {
    constexpr std::int64_t kSize = (std::int64_t{1} << 32) + 10;
    std::ofstream(tree / "sparse", std::ios_base::binary).seekp(kSize - 1).put('x');
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + 0U, attributes(tree.wide("sparse")));
    EXPECT_EQ(1U, data.nFileSizeHigh);
    EXPECT_EQ(10U, data.nFileSizeLow);
}

TEST_F(FilesContract, TheTimeOfTheLastWrite) {
    tree.write("file", "x");
    // 2009-02-13 23:31:30 UTC, in seconds since 1970.
    constexpr std::int64_t kTime = 1234567890;
    using Clock = std::chrono::file_clock;
    fs::last_write_time(tree / "file",
                        Clock::from_sys(std::chrono::sys_seconds(std::chrono::seconds(kTime))));
    ASSERT_NE(INVALID_FILE_ATTRIBUTES, attributes(tree.wide("file")));
    const auto ticks = (std::uint64_t{data.ftLastWriteTime.dwHighDateTime} << 32) +
                       data.ftLastWriteTime.dwLowDateTime;
    EXPECT_EQ(static_cast<std::uint64_t>((kTime + 11644473600) * 10000000), ticks);
    EXPECT_NE(0U, data.ftCreationTime.dwHighDateTime);
    EXPECT_NE(0U, data.ftLastAccessTime.dwHighDateTime);
}

TEST_F(FilesContract, BothSeparatorsAndThePrefix) {
    tree.write("sub/file", "x");
    const std::wstring root = tree.root().wstring();
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + 0U, attributes(root + L"\\sub\\file"));
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + 0U, attributes(root + L"/sub/file"));
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + 0U, attributes(root + L"\\sub/\\file"));
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + 0U, attributes(root + L"\\sub\\..\\.\\sub\\file"));
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE + 0U, attributes(finalForm("sub") + L"\\file"));
    // Twice, it names nothing.
    EXPECT_EQ(ERROR_INVALID_NAME + 0U, attributesError(L"\\\\?\\" + finalForm("sub")));
    EXPECT_EQ(ERROR_INVALID_NAME + 0U, openError(L"\\\\?\\" + finalForm("sub")));
}

TEST_F(FilesContract, ASeparatorAtTheEndIsForDirectories) {
    tree.write("file", "x");
    tree.makeDirectory("directory");
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY + 0U, attributes(tree.wide("directory") + L"\\"));
    EXPECT_EQ(0U, openError(tree.wide("directory") + L"\\"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND + 0U, attributesError(tree.wide("none") + L"\\"));
    KEST_DIFFERS_ON_WINE("takes such a path for one whose parent is missing",
                         attributesError(tree.wide("file") + L"\\") == ERROR_INVALID_NAME);
    EXPECT_EQ(ERROR_INVALID_NAME + 0U, openError(tree.wide("file") + L"\\"));
}

TEST_F(FilesContract, OpeningAFile) {
    tree.write("file", "x");
    EXPECT_EQ(0U, openError(tree.wide("file"), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(0U, openError(tree.wide("file"), FILE_FLAG_BACKUP_SEMANTICS));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND + 0U, openError(tree.wide("none")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, openError(tree.wide("none/file")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, openError(tree.wide("file/below")));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND + 0U, openError(L""));
}

TEST_F(FilesContract, ADirectoryIsOpenedWithBackupSemanticsOnly) {
    tree.makeDirectory("directory");
    EXPECT_EQ(ERROR_ACCESS_DENIED + 0U, openError(tree.wide("directory"), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(0U, openError(tree.wide("directory"), FILE_FLAG_BACKUP_SEMANTICS));
}

TEST_F(FilesContract, AHandleIsClosedOnce) {
    tree.write("file", "x");
    const HANDLE file = open(tree.wide("file"));
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    EXPECT_NE(nullptr, file);
    EXPECT_TRUE(os().CloseHandle(file));
    os().SetLastError(kUntouched);
    EXPECT_FALSE(os().CloseHandle(file));
    EXPECT_EQ(ERROR_INVALID_HANDLE + 0U, os().GetLastError());
}

TEST_F(FilesContract, TheFinalPathOfWhatIsOpen) {
    tree.write("sub/file", "x");
    EXPECT_EQ(finalForm("sub/file"), finalPath(tree.wide("sub/file")));
    EXPECT_EQ(finalForm("sub"), finalPath(tree.wide("sub")));
    EXPECT_EQ(finalForm("sub"), finalPath(tree.wide("sub") + L"\\"));
    EXPECT_EQ(finalForm("sub/file"), finalPath(tree.wide("sub") + L"\\..\\.\\sub/file"));
    EXPECT_EQ(finalForm("sub/file"), finalPath(finalForm("sub/file")));
}

TEST_F(FilesContract, NoAccessIsNeededForTheFinalPath) {
    tree.makeDirectory("directory");
    const HANDLE file = open(tree.wide("directory"), FILE_FLAG_BACKUP_SEMANTICS, 0);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    std::wstring buffer(32768, L'\0');
    const std::wstring expected = finalForm("directory");
    EXPECT_EQ(expected.size(), os().GetFinalPathNameByHandleW(file, buffer.data(), 32768, 0));
    EXPECT_STREQ(expected.c_str(), buffer.c_str());
    EXPECT_TRUE(os().CloseHandle(file));
}

TEST_F(FilesContract, ARelativePathHasAFinalOne) {
    EXPECT_EQ(L"\\\\?\\" + fs::canonical(".").make_preferred().wstring(), finalPath(L"."));
}

TEST_F(FilesContract, ABufferThatIsTooSmallIsLeftAlone) {
    tree.write("file", "x");
    const std::wstring expected = finalForm("file");
    const auto length = static_cast<DWORD>(expected.size());
    const HANDLE file = open(tree.wide("file"));
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    std::wstring buffer(expected.size() + 2, L'#');
    for (const DWORD size : {DWORD{0}, DWORD{1}, length}) {
        // The size that would do, with the terminator.
        EXPECT_EQ(length + 1, os().GetFinalPathNameByHandleW(file, buffer.data(), size, 0)) << size;
        EXPECT_EQ(std::wstring(expected.size() + 2, L'#'), buffer) << size;
    }
    // The length, without it.
    EXPECT_EQ(length, os().GetFinalPathNameByHandleW(file, buffer.data(), length + 1, 0));
    EXPECT_EQ(expected + L'\0' + L'#', buffer);
    EXPECT_TRUE(os().CloseHandle(file));
}

TEST_F(FilesContract, AHandleThatIsNone) {
    wchar_t buffer[4] = L"abc";
    EXPECT_EQ(0U, os().GetFinalPathNameByHandleW(INVALID_HANDLE_VALUE, buffer, 4, 0));
    EXPECT_EQ(ERROR_INVALID_HANDLE + 0U, os().GetLastError());
    EXPECT_STREQ(L"abc", buffer);
    const HANDLE file = open(tree.root().wstring());
    ASSERT_TRUE(os().CloseHandle(file));
    os().SetLastError(kUntouched);
    EXPECT_EQ(0U, os().GetFinalPathNameByHandleW(file, buffer, 4, 0));
    EXPECT_EQ(ERROR_INVALID_HANDLE + 0U, os().GetLastError());
}

TEST_F(FilesContract, TheFinalPathOfALongPath) {
    std::string relative(150, 'd');
    relative += "/" + relative;
    tree.write(relative + "/f", "x");
    const std::wstring path = finalForm(relative + "/f");
    ASSERT_GT(path.size(), 268U);
    const HANDLE file = open(path);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    std::wstring buffer(32768, L'\0');
    const DWORD length = os().GetFinalPathNameByHandleW(file, buffer.data(), 32768, 0);
    KEST_DIFFERS_ON_WINE("has no final paths of 264 characters and more", length == path.size());
    EXPECT_TRUE(os().CloseHandle(file));
}

}  // namespace
}  // namespace Tallowmere::platform
