#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "kest/c_api.h"
#include "kest/exports/testing/FromC.h"
#include "kest/platform/testing/ScriptedTree.h"
#include "kest/text/Strings.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::testing::ScriptedTree;
using Lines = std::vector<std::wstring>;

class TransactedExports : public ::testing::Test {
protected:
    ~TransactedExports() override { deleteKESTArray(&error); }

    testing::TraceCapture trace;
    ScriptedTree tree;
    wchar_t* error = nullptr;
};

TEST_F(TransactedExports, SuccessIsTrueAndLeavesNoText) {
    wchar_t left[] = L"left from before";
    wchar_t* result = left;
    tree.file(L"C:\\from\\a", L"1");
    EXPECT_TRUE(::CopyDirectoryTransacted(L"C:\\from", L"C:\\to", &result));
    EXPECT_EQ(nullptr, result);
    EXPECT_EQ(L"file 1", tree.snapshot()[L"C:\\to\\a"]);
}

TEST_F(TransactedExports, TheResultIsOneByte) {
    EXPECT_EQ(1U, sizeof(::CopyDirectoryTransacted(L"", L"", &error)));
}

TEST_F(TransactedExports, FailureIsFalseAndHandsTheTextOver) {
    EXPECT_FALSE(::CopyDirectoryTransacted(L"C:\\from", L"C:\\to", &error));
    EXPECT_STREQ(L"Copy failed: C:\\from does not exist", error);
    deleteKESTArray(&error);
    EXPECT_EQ(nullptr, error);
}

TEST_F(TransactedExports, TheTextKeepsTheSystemsLineEnd) {
    tree.file(L"C:\\from\\a");
    tree.fail(L"CommitTransaction", ERROR_TRANSACTION_NOT_ACTIVE);
    EXPECT_FALSE(::CopyDirectoryTransacted(L"C:\\from", L"C:\\to", &error));
    EXPECT_EQ(convertToWString(
                  testing::failureText(L"CommitTransaction", ERROR_TRANSACTION_NOT_ACTIVE).c_str()),
              error);
}

TEST_F(TransactedExports, TheTextIsNullAlreadyWhileTheCopyRuns) {
    wchar_t left[] = L"left from before";
    wchar_t* result = left;
    tree.before(L"CreateTransaction", [&] { EXPECT_EQ(nullptr, result); });
    tree.file(L"C:\\from\\a");
    EXPECT_TRUE(::CopyDirectoryTransacted(L"C:\\from", L"C:\\to", &result));
    EXPECT_EQ(nullptr, result);
}

TEST_F(TransactedExports, EachCharacterOfTheTextIsCutToAByteAndWidenedWithItsSign) {
    // U+00E9 is byte 0xE9, which comes back as U+FFE9; U+0141 has lost its upper byte.
    EXPECT_FALSE(::CopyDirectoryTransacted(L"C:\\\u00E9\u0141", L"C:\\to", &error));
    EXPECT_STREQ(L"Copy failed: C:\\\uFFE9A does not exist", error);
    EXPECT_EQ(L"ERROR Utilities: Copy failed: C:\\\u00E9\u0141 does not exist",
              trace.lines().back());
}

TEST_F(TransactedExports, AnyStandardExceptionIsCaught) {
    tree.file(L"C:\\from\\a");
    tree.before(L"CopyFileTransactedW", [] { throw std::bad_alloc(); });
    EXPECT_FALSE(::CopyDirectoryTransacted(L"C:\\from", L"C:\\to", &error));
    EXPECT_EQ(convertToWString(std::bad_alloc().what()), error);
    EXPECT_EQ(1, tree.rollbacks());
}

TEST_F(TransactedExports, ANullPathIsAFailureLikeAnyOther) {
    EXPECT_FALSE(::CopyDirectoryTransacted(nullptr, L"C:\\to", &error));
    ASSERT_NE(nullptr, error);
    EXPECT_NE(L'\0', error[0]);
    deleteKESTArray(&error);
    EXPECT_FALSE(::CopyDirectoryTransacted(L"C:\\from", nullptr, &error));
    EXPECT_NE(nullptr, error);
    EXPECT_EQ(Lines(), tree.calls());
    EXPECT_EQ(Lines(), trace.lines());
}

TEST_F(TransactedExports, AForeignExceptionPassesThrough) {
    wchar_t left[] = L"left from before";
    wchar_t* result = left;
    tree.file(L"C:\\from\\a");
    tree.before(L"CopyFileTransactedW", [] { throw 42; });
    EXPECT_THROW(::CopyDirectoryTransacted(L"C:\\from", L"C:\\to", &result), int);
    EXPECT_EQ(nullptr, result);
    EXPECT_TRUE(tree.isTransactionOpen());
}

TEST_F(TransactedExports, ALinkIsCopiedAsALink) {
    wchar_t left[] = L"left from before";
    wchar_t* result = left;
    tree.directory(L"C:\\target");
    tree.link(L"C:\\link", L"C:\\target", true);
    EXPECT_EQ(1U, sizeof(::CopyLink(L"", L"", &result)));
    EXPECT_TRUE(::CopyLink(L"C:\\link", L"C:\\copy", &result));
    EXPECT_EQ(nullptr, result);
    EXPECT_EQ(L"link \\\\?\\C:\\target", tree.snapshot()[L"C:\\copy"]);
}

TEST_F(TransactedExports, EachFailureOfALinkHandsItsTextOver) {
    const auto widened = [](const std::wstring& text, DWORD code) {
        return convertToWString(testing::failureText(text, code).c_str());
    };
    tree.directory(L"C:\\target");
    tree.link(L"C:\\link", L"C:\\target", true);
    tree.keep();
    const struct {
        const wchar_t* source;
        const wchar_t* failing;
        std::wstring text;
    } cases[] = {
        {L"C:\\none", L"no call", L"C:\\none does not exist"},
        {L"C:\\target", L"no call", L"C:\\target is not a link"},
        {L"C:\\link", L"CreateFileW", widened(L"CreateFile C:\\link", ERROR_FILE_NOT_FOUND)},
        {L"C:\\link", L"GetFinalPathNameByHandleW",
         widened(L"GetFinalPathNameByHandle C:\\link", ERROR_FILE_NOT_FOUND)},
        {L"C:\\link", L"CreateSymbolicLinkW",
         widened(L"CreateSymbolicLink C:\\copy", ERROR_FILE_NOT_FOUND)},
    };
    for (const auto& c : cases) {
        tree.restore();
        tree.fail(c.failing, ERROR_FILE_NOT_FOUND);
        wchar_t left[] = L"left from before";
        wchar_t* result = left;
        tree.before(L"GetFileAttributesW", [&] { EXPECT_EQ(nullptr, result); });
        EXPECT_FALSE(::CopyLink(c.source, L"C:\\copy", &result));
        EXPECT_EQ(c.text, result);
        deleteKESTArray(&result);
        EXPECT_EQ(nullptr, result);
        EXPECT_EQ(L"", tree.snapshot()[L"C:\\copy"]);
    }
}

TEST_F(TransactedExports, ALinkIsCopiedFromCWithEachFailure) {
    const auto widened = [](const std::wstring& text, DWORD code) {
        return convertToWString(testing::failureText(text, code).c_str());
    };
    tree.directory(L"C:\\target");
    tree.link(L"C:\\link", L"C:\\target", true);
    tree.link(L"C:\\dangling", L"C:\\gone", false);
    EXPECT_STREQ(nullptr, checkCopyLinkFromC(L"C:\\link", L"C:\\copy", nullptr));
    EXPECT_STREQ(nullptr, checkCopyLinkFromC(L"C:\\none", L"C:\\new", L"C:\\none does not exist"));
    EXPECT_STREQ(nullptr,
                 checkCopyLinkFromC(L"C:\\target", L"C:\\new", L"C:\\target is not a link"));
    EXPECT_STREQ(nullptr, checkCopyLinkFromC(
                              L"C:\\dangling", L"C:\\new",
                              widened(L"CreateFile C:\\dangling", ERROR_FILE_NOT_FOUND).c_str()));
    tree.fail(L"GetFinalPathNameByHandleW", ERROR_PATH_NOT_FOUND);
    EXPECT_STREQ(nullptr,
                 checkCopyLinkFromC(
                     L"C:\\link", L"C:\\new",
                     widened(L"GetFinalPathNameByHandle C:\\link", ERROR_PATH_NOT_FOUND).c_str()));
    EXPECT_STREQ(
        nullptr,
        checkCopyLinkFromC(L"C:\\link", L"C:\\copy",
                           widened(L"CreateSymbolicLink C:\\copy", ERROR_ALREADY_EXISTS).c_str()));
    // The checks see a difference where there is one.
    EXPECT_STREQ("the result", checkCopyLinkFromC(L"C:\\none", L"C:\\new", nullptr));
    EXPECT_STREQ("the reason's text", checkCopyLinkFromC(L"C:\\none", L"C:\\new", L"other"));
    EXPECT_EQ(L"", tree.snapshot()[L"C:\\new"]);
}

TEST_F(TransactedExports, OfALinkTooAForeignExceptionPassesThrough) {
    tree.before(L"GetFileAttributesW", [] { throw 42; });
    EXPECT_THROW(::CopyLink(L"C:\\link", L"C:\\copy", &error), int);
    EXPECT_EQ(nullptr, error);
    tree.before(L"GetFileAttributesW", [] { throw std::bad_alloc(); });
    EXPECT_FALSE(::CopyLink(L"C:\\link", L"C:\\copy", &error));
    EXPECT_EQ(convertToWString(std::bad_alloc().what()), error);
}

}  // namespace
}  // namespace Tallowmere
