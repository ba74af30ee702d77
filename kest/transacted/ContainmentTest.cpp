#include "kest/transacted/Containment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "kest/platform/testing/ScopedCall.h"
#include "kest/platform/testing/ScriptedTree.h"
#include "kest/transacted/TransactedFS.h"
#include "kest/transacted/testing/TraceCapture.h"

namespace Tallowmere {
namespace {

using platform::Calls;
using platform::testing::failing;
using platform::testing::ScopedCall;
using platform::testing::ScriptedTree;

using Lines = std::vector<std::wstring>;

class Containment : public ::testing::Test {
protected:
    Containment() {
        tree.directory(L"C:\\Work\\Src\\Sub");
        tree.file(L"C:\\Work\\Src\\file");
        tree.directory(L"C:\\Work\\Src2");
        tree.directory(L"C:\\Other");
        tree.directory(L"D:\\Data");
        tree.currentDirectory(L"C:\\Work");
    }

    /// What is said about a copy: "same", "inside", "" when it may be, or the whole text when it is
    /// not the one that it should be.
    std::string verdict(const std::wstring& source, const std::wstring& destination) {
        const std::string from(source.begin(), source.end());
        const std::string to(destination.begin(), destination.end());
        trace.clear();
        try {
            refuseCopyIntoItself(source, destination);
        } catch (const std::runtime_error& failure) {
            EXPECT_EQ(0U, tree.openFiles());
            EXPECT_EQ(
                (Lines{L"ERROR Utilities: " +
                       std::wstring(failure.what(), failure.what() + std::strlen(failure.what()))}),
                trace.lines());
            const std::string text = failure.what();
            return text == "Copy failed: " + to + " is the same as " + from ? "same"
                   : text == "Copy failed: " + to + " is inside " + from    ? "inside"
                                                                            : text;
        }
        EXPECT_EQ(Lines{}, trace.lines());
        EXPECT_EQ(0U, tree.openFiles());
        return "";
    }

    testing::TraceCapture trace;
    ScriptedTree tree;
};

TEST_F(Containment, PlacesApartMayBe) {
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\Other"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\Other\\new\\deeper"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"D:\\"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"D:"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"D:\\Data\\new"));
}

TEST_F(Containment, TheSourceItself) {
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src"));
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"c:\\wORK\\sRC"));
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\"));
    EXPECT_EQ("same", verdict(L"C:\\Docs\\Src\\", L"C:/Docs/Src"));
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\."));
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\Sub\\.."));
    EXPECT_EQ("same", verdict(L"C:\\Work\\.\\Src", L"C:\\Other\\..\\Work\\Src"));
}

TEST_F(Containment, WhatExistsBelowIt) {
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\Sub"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\src\\sub\\"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\file"));
    EXPECT_EQ("inside", verdict(L"C:\\Work", L"C:\\Work\\Src\\Sub"));
}

TEST_F(Containment, WhatWouldBeMadeBelowIt) {
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\new"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\new\\"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\Sub\\new\\deeper"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\file\\new"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Other\\..\\Work\\Src\\new"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\new\\."));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src\\", L"C:\\Work\\Src\\\\new"));
}

TEST_F(Containment, ANameThatOnlyBeginsLikeTheSourceIsApart) {
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src2"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src2\\new"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src3"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src2", L"C:\\Work\\Src"));
}

TEST_F(Containment, WhatIsAboveTheSourceIsNotInside) {
    // Such a copy fails by itself, when the walk finds the source gone.
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\Work"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\.."));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src\\Sub", L"C:\\Work\\Src"));
}

TEST_F(Containment, RelativePaths) {
    EXPECT_EQ("same", verdict(L"Src", L"C:\\Work\\Src"));
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L".\\src"));
    EXPECT_EQ("same", verdict(L"C:\\Work", L"."));
    EXPECT_EQ("inside", verdict(L".", L"new"));
    EXPECT_EQ("inside", verdict(L"C:\\Work", L"new\\deeper"));
    EXPECT_EQ("inside", verdict(L"..", L"new"));
    EXPECT_EQ("inside", verdict(L"Src", L"Src\\new"));
    EXPECT_EQ("inside", verdict(L"Src", L"Src2\\..\\Src\\new"));
    EXPECT_EQ("", verdict(L"Src", L"new"));
    EXPECT_EQ("", verdict(L"Src", L".."));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"..\\Other\\new"));
}

TEST_F(Containment, PathsRelativeToADrive) {
    EXPECT_EQ("inside", verdict(L"C:\\Work", L"C:new"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:Src\\new"));
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"C:Src"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:new"));
    EXPECT_EQ("", verdict(L"C:\\Work", L"D:new"));
}

TEST_F(Containment, ABareDriveIsItsRoot) {
    EXPECT_EQ("inside", verdict(L"C:", L"C:\\Other"));
    EXPECT_EQ("inside", verdict(L"C:", L"C:\\new"));
    EXPECT_EQ("same", verdict(L"C:", L"C:\\"));
    EXPECT_EQ("same", verdict(L"D:\\", L"D:"));
    EXPECT_EQ("", verdict(L"C:", L"D:"));
    EXPECT_EQ("", verdict(L"C:", L"D:\\new"));
}

TEST_F(Containment, ThePrefixOnOneOfTheTwo) {
    EXPECT_EQ("same", verdict(L"\\\\?\\C:\\Work\\Src", L"C:\\Work\\Src"));
    EXPECT_EQ("inside", verdict(L"\\\\?\\C:\\Work\\Src", L"C:\\Work\\Src\\new"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"\\\\?\\C:\\Work\\Src\\new\\deeper"));
    EXPECT_EQ("inside", verdict(L"C:\\", L"\\\\?\\C:\\new"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"\\\\?\\C:\\Work\\new"));
}

TEST_F(Containment, ALinkOnTheWay) {
    tree.link(L"C:\\link", L"C:\\Work\\Src", true);
    tree.link(L"D:\\junction", L"C:\\Work\\Src\\Sub", true, IO_REPARSE_TAG_MOUNT_POINT);
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"C:\\link"));
    EXPECT_EQ("same", verdict(L"C:\\link", L"C:\\Work\\Src"));
    EXPECT_EQ("inside", verdict(L"C:\\link", L"C:\\Work\\Src\\new"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\link\\new"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"D:\\junction"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"D:\\junction\\new\\deeper"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src2", L"C:\\link"));
}

TEST_F(Containment, ALinkInsideTheSourceThatLeadsOutOfIt) {
    // The copy takes the link's place, and that is inside.
    tree.link(L"C:\\Work\\Src\\out", L"C:\\Other", true);
    tree.link(L"C:\\Work\\Src\\nowhere", L"C:\\gone", true);
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\out"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\out\\"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\out\\."));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\nowhere"));
    // Below it is elsewhere.
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\out\\new"));
}

TEST_F(Containment, ADriveThatIsNotThere) {
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"X:\\"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"X:\\new\\deeper"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"\\\\?\\X:\\new"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"\\\\server\\share\\new"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L""));
}

/// The folder C:\Work\Src\Sub is mounted at D:\Data, too, and all of C: at E:.
class ContainmentOfMounts : public Containment {
protected:
    ContainmentOfMounts() {
        tree.directory(L"D:\\Data\\deep");
        tree.directory(L"E:\\Work\\Src\\Sub\\deep");
        tree.directory(L"E:\\Other");
    }

    static constexpr DWORD kNameOnVolume = 1;
    const std::wstring volume = L"\\\\?\\Volume{1}";
    bool isTold = true;
    ScopedCall<&Calls::GetFinalPathNameByHandleW> resolving{
        [this](HANDLE file, wchar_t* buffer, DWORD size, DWORD form) -> DWORD {
            const DWORD length = resolving.original(file, buffer, size, form);
            if (form != kNameOnVolume || length == 0) {
                return length;
            }
            if (!isTold) {
                return failing(DWORD{0}, ERROR_PATH_NOT_FOUND);
            }
            // "\\\\?\\C:" with what follows.
            std::wstring path(buffer, length);
            const std::wstring rest = path.substr(6);
            if (path[4] == L'D') {
                path = rest.compare(0, 5, L"\\Data") == 0
                           ? volume + L"\\Work\\Src\\Sub" + rest.substr(5)
                           : L"\\\\?\\Volume{2}" + rest;
            } else {
                path = volume + rest;
            }
            std::copy(path.c_str(), path.c_str() + path.size() + 1, buffer);
            return static_cast<DWORD>(path.size());
        }};
};

TEST_F(ContainmentOfMounts, TheSourceByItsOtherPath) {
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src\\Sub", L"D:\\Data"));
    EXPECT_EQ("same", verdict(L"D:\\Data", L"C:\\Work\\Src\\Sub\\"));
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"E:\\Work\\Src"));
    EXPECT_EQ("same", verdict(L"C:", L"E:"));
}

TEST_F(ContainmentOfMounts, WhatIsInsideItByItsOtherPath) {
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"D:\\Data"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"D:\\Data\\deep"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"D:\\Data\\new"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"E:\\Work\\Src\\new\\deeper"));
    EXPECT_EQ("inside", verdict(L"D:\\Data", L"C:\\Work\\Src\\Sub\\new"));
}

TEST_F(ContainmentOfMounts, ASourceThatWouldBeRemovedWithTheOldDestination) {
    const auto text = [](const char* source, const char* destination) {
        return std::string("Copy failed: ") + source + " is inside " + destination;
    };
    EXPECT_EQ(text("D:\\Data", "C:\\Work\\Src"), verdict(L"D:\\Data", L"C:\\Work\\Src"));
    EXPECT_EQ(text("D:\\Data\\deep", "C:\\Work\\Src"),
              verdict(L"D:\\Data\\deep", L"C:\\Work\\Src"));
    EXPECT_EQ(text("E:\\Work\\Src\\Sub", "C:\\Work\\Src"),
              verdict(L"E:\\Work\\Src\\Sub", L"C:\\Work\\Src"));
    EXPECT_EQ(text("E:\\Work\\Src", "C:\\"), verdict(L"E:\\Work\\Src", L"C:\\"));
}

TEST_F(ContainmentOfMounts, PlacesApartMayBe) {
    EXPECT_EQ("", verdict(L"D:\\Data", L"C:\\Other"));
    EXPECT_EQ("", verdict(L"D:\\Data", L"C:\\Work\\Src2"));
    EXPECT_EQ("", verdict(L"D:\\Data", L"C:\\Work\\Src\\new"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"E:\\Other"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"E:\\Work\\new"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"D:\\"));
}

TEST_F(ContainmentOfMounts, WhatALinkLeadsToStays) {
    tree.link(L"D:\\link", L"C:\\Work", true);
    EXPECT_EQ("", verdict(L"E:\\Work\\Src", L"D:\\link"));
    EXPECT_EQ("", verdict(L"E:\\Work\\Src", L"D:\\link\\"));
}

TEST_F(ContainmentOfMounts, WhereTheSystemCannotTellTheFinalPathsDecide) {
    isTold = false;
    EXPECT_EQ("", verdict(L"D:\\Data", L"C:\\Work\\Src"));
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src"));
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\new"));
}

/// Where nothing can be resolved the texts decide.
class ContainmentOfTexts : public Containment {
protected:
    ScopedCall<&Calls::CreateFileW> opening{
        [](const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
            return failing(INVALID_HANDLE_VALUE, ERROR_FILE_NOT_FOUND);
        }};
};

TEST_F(ContainmentOfTexts, TheSameOrBelow) {
    EXPECT_EQ("same", verdict(L"C:\\src", L"C:\\src"));
    EXPECT_EQ("same", verdict(L"C:\\src", L"c:/SRC/"));
    EXPECT_EQ("same", verdict(L"C:\\src", L"\\\\?\\C:\\src"));
    EXPECT_EQ("same", verdict(L"\\\\?\\C:\\src", L"C:\\\\src"));
    EXPECT_EQ("same", verdict(L"C:\\src\\.", L"C:\\a\\..\\src"));
    EXPECT_EQ("same", verdict(L"src", L".\\src"));
    EXPECT_EQ("same", verdict(L"..\\src", L"..\\src"));
    EXPECT_EQ("inside", verdict(L"C:\\src", L"C:\\src\\new"));
    EXPECT_EQ("inside", verdict(L"C:\\src\\", L"C:\\Src\\sub\\new"));
    EXPECT_EQ("inside", verdict(L"C:", L"C:\\new"));
    EXPECT_EQ("inside", verdict(L"/", L"/new"));
    EXPECT_EQ("inside", verdict(L"\\\\server\\share", L"\\\\?\\\\\\server\\share\\new"));
}

TEST_F(ContainmentOfTexts, Apart) {
    EXPECT_EQ("", verdict(L"C:\\src", L"C:\\dst"));
    EXPECT_EQ("", verdict(L"C:\\src", L"C:\\src2"));
    EXPECT_EQ("", verdict(L"C:\\src", L"C:\\"));
    EXPECT_EQ("", verdict(L"C:\\src", L"D:\\src\\new"));
    EXPECT_EQ("", verdict(L"C:\\src", L"C:\\src\\..\\dst"));
    EXPECT_EQ("", verdict(L"C:\\src\\sub", L"C:\\src"));
    // What a relative path means is not known here.
    EXPECT_EQ("", verdict(L"/src", L"src\\new"));
    EXPECT_EQ("", verdict(L"..\\src", L"..\\..\\src"));
    EXPECT_EQ("", verdict(L"C:\\src", L""));
}

TEST_F(Containment, AFinalPathThatCannotBeHadIsReplacedByTheTexts) {
    tree.fail(L"GetFinalPathNameByHandleW(F1", ERROR_MORE_DATA);
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\Sub"));
    tree.restore();
}

TEST_F(Containment, TheDestinationsFinalPathCannotBeHad) {
    // Not taken for missing: its parent would say "inside" of what is the same.
    tree.fail(L"GetFinalPathNameByHandleW(F2", ERROR_MORE_DATA);
    EXPECT_EQ("same", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src"));
}

TEST_F(Containment, NorThatOfItsParent) {
    tree.fail(L"GetFinalPathNameByHandleW(F2", ERROR_MORE_DATA);
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\new"));
}

TEST_F(Containment, AFinalPathThatDoesNotFitIsNone) {
    const ScopedCall<&Calls::GetFinalPathNameByHandleW> resolving(
        [](HANDLE, wchar_t*, DWORD size, DWORD) -> DWORD { return size + 1; });
    EXPECT_EQ("inside", verdict(L"C:\\Work\\Src", L"C:\\Work\\Src\\new"));
    EXPECT_EQ("", verdict(L"C:\\Work\\Src", L"C:\\Other"));
}

TEST_F(Containment, IsAskedForBeforeAnythingIsTouched) {
    const auto before = tree.snapshot();
    try {
        CopyDirectoryTransacted(L"C:\\Work\\Src", L"C:\\Work\\Src\\Sub\\new");
        FAIL();
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ("Copy failed: C:\\Work\\Src\\Sub\\new is inside C:\\Work\\Src",
                     failure.what());
    }
    EXPECT_EQ((Lines{L"ERROR Utilities: Copy failed: C:\\Work\\Src\\Sub\\new is inside "
                     L"C:\\Work\\Src"}),
              trace.lines());
    EXPECT_EQ((Lines{
                  L"CreateTransaction(null, null, 0, 0, 0, 0, \"CopyDirectoryTransacted\")",
                  L"GetFileAttributesTransactedW(\"C:\\Work\\Src\", 0, data, T)",
                  L"CreateFileW(\"C:\\Work\\Src\\\", 0, 7, null, 3, 33554432, null)",
                  L"GetFinalPathNameByHandleW(F1, data, 32768, 0)",
                  L"GetFinalPathNameByHandleW(F1, data, 32768, 1)",
                  L"CloseHandle(F1)",
                  L"CreateFileW(\"C:\\Work\\Src\\Sub\\new\\\", 0, 7, null, 3, 33554432, null)",
                  L"CreateFileW(\"C:\\Work\\Src\\Sub\\\", 0, 7, null, 3, 33554432, null)",
                  L"GetFinalPathNameByHandleW(F2, data, 32768, 0)",
                  L"GetFinalPathNameByHandleW(F2, data, 32768, 1)",
                  L"CloseHandle(F2)",
                  L"CloseHandle(T)",
              }),
              tree.calls());
    EXPECT_EQ(1, tree.rollbacks());
    EXPECT_EQ(before, tree.snapshot());
}

TEST_F(Containment, AMissingSourceIsStillSaidFirst) {
    try {
        CopyDirectoryTransacted(L"C:\\none", L"C:\\none\\new");
        FAIL();
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ("Copy failed: C:\\none does not exist", failure.what());
    }
}

}  // namespace
}  // namespace Tallowmere
