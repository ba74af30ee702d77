#include "kest/transacted/Links.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "kest/platform/testing/ScopedCall.h"
#include "kest/platform/testing/ScriptedTree.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::failing;
using platform::testing::ScopedCall;
using platform::testing::ScriptedTree;
using testing::failureLine;
using testing::failureText;

using Lines = std::vector<std::wstring>;

class GetLinkTarget : public ::testing::Test {
protected:
    static std::string failureOf(const wchar_t* path, bool isDirectory) {
        try {
            (void)getLinkTarget(path, isDirectory);
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "nothing";
    }

    testing::TraceCapture trace;
    ScriptedTree tree;
};

TEST_F(GetLinkTarget, OpensADirectoryWithBackupSemantics) {
    tree.directory(L"C:\\Real\\Target");
    tree.link(L"C:\\link", L"C:\\real\\target", true);
    EXPECT_EQ(L"\\\\?\\C:\\Real\\Target", getLinkTarget(L"C:\\link", true));
    EXPECT_EQ((Lines{L"CreateFileW(\"C:\\link\", 2147483648, 1, null, 3, 33554432, null)",
                     L"GetFinalPathNameByHandleW(F1, data, 32768, 0)", L"CloseHandle(F1)"}),
              tree.calls());
    EXPECT_EQ(Lines{}, trace.lines());
}

TEST_F(GetLinkTarget, OpensAFileAsAnOrdinaryOne) {
    tree.file(L"C:\\file");
    tree.link(L"C:\\link", L"C:\\file", false);
    EXPECT_EQ(L"\\\\?\\C:\\file", getLinkTarget(L"C:\\link", false));
    EXPECT_EQ(L"CreateFileW(\"C:\\link\", 2147483648, 1, null, 3, 128, null)", tree.calls()[0]);
}

TEST_F(GetLinkTarget, ResolvesEveryLinkOnTheWay) {
    tree.directory(L"D:\\store\\Last");
    tree.link(L"C:\\second", L"D:\\store", true, IO_REPARSE_TAG_MOUNT_POINT);
    tree.link(L"C:\\first", L"C:\\second\\last", true);
    EXPECT_EQ(L"\\\\?\\D:\\store\\Last", getLinkTarget(L"C:\\first", true));
}

TEST_F(GetLinkTarget, AMissingTargetFailsWhenItIsOpened) {
    tree.link(L"C:\\link", L"C:\\gone", true);
    EXPECT_EQ(failureText(L"CreateFile C:\\link", ERROR_FILE_NOT_FOUND),
              failureOf(L"C:\\link", true));
    EXPECT_EQ((Lines{failureLine(L"CreateFile C:\\link", ERROR_FILE_NOT_FOUND)}), trace.lines());
    EXPECT_EQ(1U, tree.calls().size());
}

TEST_F(GetLinkTarget, ADirectoryIsNotOpenedAsAFile) {
    tree.directory(L"C:\\target");
    EXPECT_EQ(failureText(L"CreateFile C:\\target", ERROR_ACCESS_DENIED),
              failureOf(L"C:\\target", false));
}

TEST_F(GetLinkTarget, ATargetWithoutAFinalPathFailsAndIsClosed) {
    tree.directory(L"C:\\target");
    tree.fail(L"GetFinalPathNameByHandleW", ERROR_PATH_NOT_FOUND);
    // The closing may fail as well and must not be what is reported.
    tree.fail(L"CloseHandle", ERROR_INVALID_HANDLE);
    EXPECT_EQ(failureText(L"GetFinalPathNameByHandle C:\\target", ERROR_PATH_NOT_FOUND),
              failureOf(L"C:\\target", true));
    EXPECT_EQ((Lines{failureLine(L"GetFinalPathNameByHandle C:\\target", ERROR_PATH_NOT_FOUND)}),
              trace.lines());
    EXPECT_EQ(L"CloseHandle(F1)", tree.calls().back());
    EXPECT_EQ(0U, tree.openFiles());
}

TEST_F(GetLinkTarget, AFinalPathThatDoesNotFitFails) {
    tree.directory(L"C:\\target");
    for (const DWORD needed : {32768U, 32769U, 100000U}) {
        const ScopedCall<&Calls::GetFinalPathNameByHandleW> resolving(
            [&](HANDLE, wchar_t*, DWORD, DWORD) {
                return failing<DWORD>(needed, ERROR_FILE_CORRUPT);
            });
        EXPECT_EQ(failureText(L"GetFinalPathNameByHandle C:\\target", ERROR_INSUFFICIENT_BUFFER),
                  failureOf(L"C:\\target", true));
    }
    EXPECT_EQ(0U, tree.openFiles());
}

TEST_F(GetLinkTarget, TheLongestFinalPathFits) {
    tree.directory(L"C:\\target");
    const std::wstring longest(32767, L'x');
    const ScopedCall<&Calls::GetFinalPathNameByHandleW> resolving(
        [&](HANDLE, wchar_t* buffer, DWORD size, DWORD) -> DWORD {
            EXPECT_EQ(32768U, size);
            longest.copy(buffer, longest.size());
            buffer[longest.size()] = L'\0';
            return static_cast<DWORD>(longest.size());
        });
    EXPECT_EQ(longest, getLinkTarget(L"C:\\target", true));
}

TEST_F(GetLinkTarget, AHandleThatIsNullIsAHandle) {
    const ScopedCall<&Calls::CreateFileW> opening([](const wchar_t*, DWORD, DWORD,
                                                     SECURITY_ATTRIBUTES*, DWORD, DWORD,
                                                     HANDLE) -> HANDLE { return nullptr; });
    const ScopedCall<&Calls::GetFinalPathNameByHandleW> resolving(
        [](HANDLE file, wchar_t* buffer, DWORD, DWORD) -> DWORD {
            EXPECT_EQ(nullptr, file);
            buffer[0] = L'x';
            buffer[1] = L'\0';
            return 1;
        });
    EXPECT_EQ(L"x", getLinkTarget(L"C:\\target", true));
}

}  // namespace
}  // namespace Tallowmere
