// Trees so deep that a level must cost no more than a little memory.

#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <utility>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/platform/testing/ScopedCall.h"
#include "kest/transacted/CopyWalk.h"
#include "kest/transacted/DeleteWalk.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::failing;
using platform::testing::ScopedCall;

constexpr int kLevels = 3000;
const std::wstring kTop = L"C:\\from";
const std::wstring kCopy = L"C:\\copy";
const std::wstring kName = L"name";

/// A chain of directories of one name with a file of the same name at its end. Paths are known by
/// their lengths, since to look at each of them would be quadratic in the depth; for the same
/// reason there is no trace.
class DeepTree : public ::testing::Test {
protected:
    DeepTree() { Recorder::instance()->setStream(nullptr, nullptr, false); }
    ~DeepTree() override { Recorder::destroy(); }

    /// How far below the top a path leads, whatever follows its last name.
    static int depthOf(const wchar_t* path) {
        const std::size_t below = std::wcslen(path) - kTop.size();
        return static_cast<int>(below / (kName.size() + 1));
    }

    /// The level at which a search stands is in its handle.
    static HANDLE searchOf(int depth) {
        return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(depth) + 1);
    }

    testing::FixedTrace fixed;
    HANDLE const transaction = reinterpret_cast<HANDLE>(std::uintptr_t{7});
    /// How many directories have been made, and how many are left of the original.
    int made = 0;
    int left = kLevels;
    int files = 0;

    ScopedCall<&Calls::FindFirstFileTransactedW> findFirst{
        [](const wchar_t* pattern, FINDEX_INFO_LEVELS, void* data, FINDEX_SEARCH_OPS, void*, DWORD,
           HANDLE) {
            const int depth = depthOf(pattern);
            auto& record = *static_cast<WIN32_FIND_DATAW*>(data);
            record = {};
            record.dwFileAttributes =
                depth < kLevels ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
            kName.copy(record.cFileName, kName.size());
            return searchOf(depth);
        }};
    ScopedCall<&Calls::FindNextFileW> findNext{[](HANDLE, WIN32_FIND_DATAW* record) {
        // What was in it must not be needed any more.
        *record = {};
        return failing<BOOL>(FALSE, ERROR_NO_MORE_FILES);
    }};
    ScopedCall<&Calls::GetFileAttributesTransactedW> attributes{
        [](const wchar_t*, GET_FILEEX_INFO_LEVELS, void*, HANDLE) {
            return failing<BOOL>(FALSE, ERROR_FILE_NOT_FOUND);
        }};
    ScopedCall<&Calls::CreateDirectoryTransactedW> createDirectory{
        [this](const wchar_t*, const wchar_t* path, SECURITY_ATTRIBUTES*, HANDLE) -> BOOL {
            return depthOf(path) == made++;
        }};
    ScopedCall<&Calls::CopyFileTransactedW> copyFile{
        [this](const wchar_t* source, const wchar_t* destination, LPPROGRESS_ROUTINE, void*, BOOL*,
               DWORD, HANDLE) -> BOOL {
            ++files;
            return depthOf(source) == kLevels + 1 && depthOf(destination) == kLevels + 1;
        }};
    ScopedCall<&Calls::DeleteFileTransactedW> deleteFile{
        [this](const wchar_t* path, HANDLE) -> BOOL {
            ++files;
            return depthOf(path) == kLevels + 1;
        }};
    ScopedCall<&Calls::RemoveDirectoryTransactedW> removeDirectory{
        [this](const wchar_t* path, HANDLE) -> BOOL { return depthOf(path) == left--; }};
};

TEST_F(DeepTree, IsCopied) {
    EXPECT_NO_THROW(CopyWalk(transaction).walk(kTop, kCopy));
    EXPECT_EQ(kLevels + 1, made);
    EXPECT_EQ(1, files);
    EXPECT_EQ(kLevels + 1, findFirst.count());
    EXPECT_EQ(kLevels + 1, findNext.count());
}

TEST_F(DeepTree, IsDeletedFromTheBottom) {
    EXPECT_NO_THROW(DeleteWalk(transaction).walk(kTop, L""));
    EXPECT_EQ(-1, left);
    EXPECT_EQ(1, files);
    EXPECT_EQ(kLevels + 1, findFirst.count());
    EXPECT_EQ(kLevels + 1, findNext.count());
}

}  // namespace
}  // namespace Tallowmere
