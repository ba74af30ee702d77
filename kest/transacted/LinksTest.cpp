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

class CopyLinkTest : public ::testing::Test {
protected:
    static std::string failureOf(const std::wstring& source, const std::wstring& destination) {
        try {
            CopyLink(source, destination);
        } catch (const std::runtime_error& failure) {
            return typeid(failure) == typeid(std::runtime_error) ? failure.what() : "another type";
        }
        return "nothing";
    }

    testing::TraceCapture trace;
    ScriptedTree tree;
};

TEST_F(CopyLinkTest, MakesTheSameLinkToADirectory) {
    tree.directory(L"C:\\Real\\Target");
    tree.link(L"C:\\link", L"C:\\real\\target", true);
    tree.keep();
    CopyLink(L"C:\\link", L"C:\\copy");
    EXPECT_EQ((Lines{L"GetFileAttributesW(\"C:\\link\")",
                     L"CreateFileW(\"C:\\link\", 2147483648, 1, null, 3, 33554432, null)",
                     L"GetFinalPathNameByHandleW(F1, data, 32768, 0)", L"CloseHandle(F1)",
                     L"CreateSymbolicLinkW(\"C:\\copy\", \"\\\\?\\C:\\Real\\Target\", 1)"}),
              tree.calls());
    EXPECT_EQ(L"link \\\\?\\C:\\Real\\Target", tree.snapshot()[L"C:\\copy"]);
    EXPECT_EQ(L"link C:\\real\\target", tree.snapshot()[L"C:\\link"]);
    // Nothing is traced but failures.
    EXPECT_EQ(Lines{}, trace.lines());
}

TEST_F(CopyLinkTest, MakesTheSameLinkToAFile) {
    tree.file(L"C:\\file");
    tree.link(L"C:\\link", L"C:\\file", false);
    CopyLink(L"C:\\link", L"C:\\copy");
    EXPECT_EQ((Lines{L"GetFileAttributesW(\"C:\\link\")",
                     L"CreateFileW(\"C:\\link\", 2147483648, 1, null, 3, 128, null)",
                     L"GetFinalPathNameByHandleW(F1, data, 32768, 0)", L"CloseHandle(F1)",
                     L"CreateSymbolicLinkW(\"C:\\copy\", \"\\\\?\\C:\\file\", 0)"}),
              tree.calls());
}

TEST_F(CopyLinkTest, AChainOfLinksBecomesOneLink) {
    tree.directory(L"D:\\store\\Last");
    tree.link(L"C:\\third", L"D:\\store\\last", true);
    tree.link(L"C:\\second", L"C:\\third", true);
    tree.link(L"C:\\first", L"C:\\second", true);
    CopyLink(L"C:\\first", L"C:\\copy");
    EXPECT_EQ(L"link \\\\?\\D:\\store\\Last", tree.snapshot()[L"C:\\copy"]);
}

TEST_F(CopyLinkTest, AJunctionBecomesALinkToADirectory) {
    tree.directory(L"C:\\real");
    tree.link(L"C:\\junction", L"C:\\real", true, IO_REPARSE_TAG_MOUNT_POINT);
    CopyLink(L"C:\\junction", L"C:\\copy");
    EXPECT_EQ(L"junction C:\\real", tree.snapshot()[L"C:\\junction"]);
    EXPECT_EQ(L"link \\\\?\\C:\\real", tree.snapshot()[L"C:\\copy"]);
    EXPECT_EQ(L"CreateSymbolicLinkW(\"C:\\copy\", \"\\\\?\\C:\\real\", 1)", tree.calls().back());
}

TEST_F(CopyLinkTest, TheTagIsNotLookedAt) {
    // Such as a file whose content is kept elsewhere; it leads to nothing but itself.
    constexpr DWORD kCloud = 0x9000001AU;
    tree.entry(L"C:\\placeholder", FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_ARCHIVE, kCloud);
    CopyLink(L"C:\\placeholder", L"C:\\copy");
    EXPECT_EQ(L"link \\\\?\\C:\\placeholder", tree.snapshot()[L"C:\\copy"]);
}

TEST_F(CopyLinkTest, TheFlagIsTheDirectoryBitAlone) {
    const struct {
        DWORD attributes;
        DWORD flags;
    } cases[] = {
        {FILE_ATTRIBUTE_REPARSE_POINT, 0},
        {FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY, 1},
        {0xFFFFFFFEU & ~(FILE_ATTRIBUTE_DIRECTORY + 0U), 0},
        {0xFFFFFFFEU, 1},
    };
    tree.directory(L"C:\\target");
    for (const auto& c : cases) {
        const ScopedCall<&Calls::GetFileAttributesW> attributes(
            [&](const wchar_t*) { return c.attributes; });
        const ScopedCall<&Calls::CreateFileW> opening([](const wchar_t*, DWORD, DWORD,
                                                         SECURITY_ATTRIBUTES*, DWORD, DWORD,
                                                         HANDLE) -> HANDLE { return nullptr; });
        const ScopedCall<&Calls::GetFinalPathNameByHandleW> resolving(
            [](HANDLE, wchar_t* buffer, DWORD, DWORD) -> DWORD {
                buffer[0] = L't';
                buffer[1] = L'\0';
                return 1;
            });
        ScopedCall<&Calls::CreateSymbolicLinkW> making(
            [&](const wchar_t* link, const wchar_t* target, DWORD flags) -> BOOLEAN {
                EXPECT_STREQ(L"copy", link);
                EXPECT_STREQ(L"t", target);
                EXPECT_EQ(c.flags, flags) << c.attributes;
                // Any byte but zero is a yes.
                return 0x80;
            });
        CopyLink(L"link", L"copy");
        EXPECT_EQ(1, making.count());
    }
}

TEST_F(CopyLinkTest, ASourceThatCannotBeReadDoesNotExist) {
    EXPECT_EQ("C:\\link does not exist", failureOf(L"C:\\link", L"C:\\copy"));
    tree.link(L"C:\\link", L"C:\\target", true);
    // Whatever the reason is, and without its text.
    tree.fail(L"GetFileAttributesW", ERROR_ACCESS_DENIED);
    EXPECT_EQ("C:\\link does not exist", failureOf(L"C:\\link", L"C:\\copy"));
    EXPECT_EQ((Lines{L"ERROR Utilities: C:\\link does not exist",
                     L"ERROR Utilities: C:\\link does not exist"}),
              trace.lines());
    EXPECT_EQ(2U, tree.calls().size());
}

TEST_F(CopyLinkTest, WhatIsNoLinkIsRefused) {
    tree.directory(L"C:\\directory");
    tree.file(L"C:\\file");
    EXPECT_EQ("C:\\directory is not a link", failureOf(L"C:\\directory", L"C:\\copy"));
    EXPECT_EQ("C:\\file is not a link", failureOf(L"C:\\file", L"C:\\copy"));
    EXPECT_EQ((Lines{L"ERROR Utilities: C:\\directory is not a link",
                     L"ERROR Utilities: C:\\file is not a link"}),
              trace.lines());
    EXPECT_EQ(2U, tree.calls().size());
}

TEST_F(CopyLinkTest, ALinkWhoseTargetIsMissingFailsWhenItIsOpened) {
    for (const bool isDirectory : {false, true}) {
        trace.clear();
        tree.restore();
        tree.link(L"C:\\link", L"C:\\gone", isDirectory);
        EXPECT_EQ(failureText(L"CreateFile C:\\link", ERROR_FILE_NOT_FOUND),
                  failureOf(L"C:\\link", L"C:\\copy"));
        EXPECT_EQ((Lines{failureLine(L"CreateFile C:\\link", ERROR_FILE_NOT_FOUND)}),
                  trace.lines());
        EXPECT_EQ(2U, tree.calls().size());
        EXPECT_EQ(L"", tree.snapshot()[L"C:\\copy"]);
    }
}

TEST_F(CopyLinkTest, ATargetWithoutAFinalPathFails) {
    tree.directory(L"C:\\target");
    tree.link(L"C:\\link", L"C:\\target", true);
    tree.fail(L"GetFinalPathNameByHandleW", ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(failureText(L"GetFinalPathNameByHandle C:\\link", ERROR_PATH_NOT_FOUND),
              failureOf(L"C:\\link", L"C:\\copy"));
    EXPECT_EQ((Lines{failureLine(L"GetFinalPathNameByHandle C:\\link", ERROR_PATH_NOT_FOUND)}),
              trace.lines());
    EXPECT_EQ(0U, tree.openFiles());
    EXPECT_EQ(L"", tree.snapshot()[L"C:\\copy"]);
}

TEST_F(CopyLinkTest, ALinkThatCannotBeMadeFails) {
    tree.directory(L"C:\\target");
    tree.link(L"C:\\link", L"C:\\target", true);
    tree.fail(L"CreateSymbolicLinkW", ERROR_PRIVILEGE_NOT_HELD);
    EXPECT_EQ(failureText(L"CreateSymbolicLink C:\\copy", ERROR_PRIVILEGE_NOT_HELD),
              failureOf(L"C:\\link", L"C:\\copy"));
    EXPECT_EQ((Lines{failureLine(L"CreateSymbolicLink C:\\copy", ERROR_PRIVILEGE_NOT_HELD)}),
              trace.lines());
}

TEST_F(CopyLinkTest, WhatStandsAtTheDestinationStays) {
    tree.directory(L"C:\\target");
    tree.link(L"C:\\link", L"C:\\target", true);
    tree.file(L"C:\\file", L"old");
    tree.link(L"C:\\dangling", L"C:\\gone", true);
    const auto before = tree.snapshot();
    for (const wchar_t* const name : {L"file", L"target", L"link", L"dangling"}) {
        EXPECT_EQ(
            failureText(std::wstring(L"CreateSymbolicLink C:\\") + name, ERROR_ALREADY_EXISTS),
            failureOf(L"C:\\link", std::wstring(L"C:\\") + name));
    }
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(CopyLinkTest, TheDirectoryOfTheDestinationMustBeThere) {
    tree.directory(L"C:\\target");
    tree.link(L"C:\\link", L"C:\\target", true);
    EXPECT_EQ(failureText(L"CreateSymbolicLink C:\\none\\copy", ERROR_PATH_NOT_FOUND),
              failureOf(L"C:\\link", L"C:\\none\\copy"));
}

TEST_F(CopyLinkTest, EachFailingCallIsTheOneThatIsNamed) {
    tree.directory(L"C:\\target");
    tree.link(L"C:\\link", L"C:\\target", true);
    tree.keep();
    const struct {
        const wchar_t* call;
        std::string text;
    } cases[] = {
        {L"GetFileAttributesW", "C:\\link does not exist"},
        {L"CreateFileW", failureText(L"CreateFile C:\\link", ERROR_DISK_FULL)},
        {L"GetFinalPathNameByHandleW",
         failureText(L"GetFinalPathNameByHandle C:\\link", ERROR_DISK_FULL)},
        // The target is known by then.
        {L"CloseHandle", "nothing"},
        {L"CreateSymbolicLinkW", failureText(L"CreateSymbolicLink C:\\copy", ERROR_DISK_FULL)},
    };
    for (const auto& c : cases) {
        tree.restore();
        tree.fail(c.call, ERROR_DISK_FULL);
        EXPECT_EQ(c.text, failureOf(L"C:\\link", L"C:\\copy")) << c.call;
        EXPECT_EQ(c.text == "nothing", tree.snapshot().count(L"C:\\copy") != 0);
        EXPECT_EQ(0U, tree.openFiles());
    }
}

TEST_F(CopyLinkTest, NoNameIsTakenForAMarker) {
    // What the trace takes for a marker when it is handed constant text.
    const Lines names = {L"\\\\Fileserver\\x", L"\\\\Seven\\x", L"\\\\Linus\\x", L"\\\\Seven"};
    Lines expected;
    for (const std::wstring& name : names) {
        const ScopedCall<&Calls::GetFileAttributesW> attributes([](const wchar_t*) -> DWORD {
            return failing<DWORD>(INVALID_FILE_ATTRIBUTES, ERROR_BAD_PATHNAME);
        });
        (void)failureOf(name, L"C:\\copy");
        expected.push_back(L"ERROR Utilities: " + name + L" does not exist");
    }
    for (const std::wstring& name : names) {
        const ScopedCall<&Calls::GetFileAttributesW> attributes(
            [](const wchar_t*) -> DWORD { return FILE_ATTRIBUTE_DIRECTORY; });
        (void)failureOf(name, L"C:\\copy");
        expected.push_back(L"ERROR Utilities: " + name + L" is not a link");
    }
    EXPECT_EQ(expected, trace.lines());
}

TEST_F(CopyLinkTest, WhatIsThrownHasLostTheUpperBytes) {
    EXPECT_EQ("C:\\\xE4\x41\xE5 does not exist", failureOf(L"C:\\\u00E4\u0141\u65E5", L"C:\\copy"));
    EXPECT_EQ((Lines{L"ERROR Utilities: C:\\\u00E4\u0141\u65E5 does not exist"}), trace.lines());
}

TEST_F(CopyLinkTest, ATextEndsAtItsFirstZeroInACall) {
    tree.directory(L"C:\\target");
    tree.link(L"C:\\link", L"C:\\target", true);
    CopyLink(std::wstring(L"C:\\link\0more", 12), std::wstring(L"C:\\copy\0more", 12));
    EXPECT_EQ(L"link \\\\?\\C:\\target", tree.snapshot()[L"C:\\copy"]);
}

}  // namespace
}  // namespace Tallowmere
