// Who can get at a stage and at what comes out of it.

#include "kest/platform/windows/WindowsSecurity.h"

#include <gtest/gtest.h>

#include "kest/platform/testing/TempTree.h"
#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/WindowsDisk.h"

// After Win32.h, which they need.
#include <aclapi.h>
#include <sddl.h>

namespace Tallowmere::platform {
namespace {

using testing::TempTree;
using transactions::DirectoryPtr;
using transactions::Links;

class WindowsSecurityTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::wstring text;
        std::wstring canonical;
        ASSERT_EQ(0U, disk.normalize(tree.wide("").c_str(), text));
        ASSERT_EQ(0U, disk.openDirectory(text, root, canonical));
    }
    DirectoryPtr opened(const wchar_t* name) {
        DirectoryPtr directory;
        EXPECT_EQ(0U, disk.openBelow(root, name, Links::Refuse, directory));
        return directory;
    }
    /// The access list of an entry as text.
    std::wstring listOf(const std::string& relative) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        std::wstring path = tree.wide(relative);
        EXPECT_EQ(0U,
                  ::GetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                          nullptr, nullptr, nullptr, nullptr, &descriptor));
        wchar_t* text = nullptr;
        EXPECT_TRUE(::ConvertSecurityDescriptorToStringSecurityDescriptorW(
            descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr));
        const std::wstring result = text == nullptr ? L"" : text;
        ::LocalFree(text);
        ::LocalFree(descriptor);
        return result;
    }
    void setList(const std::string& relative, const wchar_t* list) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        ASSERT_TRUE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1,
                                                                           &descriptor, nullptr));
        EXPECT_TRUE(
            ::SetFileSecurityW(tree.wide(relative).c_str(), DACL_SECURITY_INFORMATION, descriptor));
        ::LocalFree(descriptor);
    }

    TempTree tree;
    transactions::Disk& disk = transactions::systemDisk();
    DirectoryPtr root;
};

TEST_F(WindowsSecurityTest, APrivateDirectoryIsOurs) {
    ASSERT_EQ(0U, disk.makePrivateDirectory(root, L"stage"));
    EXPECT_EQ(0U, disk.checkPrivateOfOurs(opened(L"stage")));
    EXPECT_EQ(std::wstring::npos, listOf("stage").find(L";;;WD)")) << "everyone";
    // Looking leaves nothing behind.
    EXPECT_TRUE(tree.snapshot("stage").empty());
    EXPECT_EQ(ERROR_ALREADY_EXISTS, disk.makePrivateDirectory(root, L"stage"));
}

TEST_F(WindowsSecurityTest, ADirectoryThatOthersMayUseIsNot) {
    tree.makeDirectory("open");
    setList("open", L"D:P(A;;FA;;;WD)");
    EXPECT_EQ(ERROR_ACCESS_DENIED, disk.checkPrivateOfOurs(opened(L"open")));
    // Reading alone is too much: whoever can read it learns the names in it.
    ASSERT_EQ(0U, disk.makePrivateDirectory(root, L"stage"));
    const DirectoryPtr stage = opened(L"stage");
    EXPECT_EQ(0U, disk.checkPrivateOfOurs(stage));
    std::wstring list = listOf("stage");
    list.insert(list.find(L'('), L"(A;;FR;;;WD)");
    setList("stage", list.c_str());
    EXPECT_EQ(ERROR_ACCESS_DENIED, disk.checkPrivateOfOurs(stage));
}

TEST_F(WindowsSecurityTest, AnotherDirectoryInItsPlaceIsNot) {
    ASSERT_EQ(0U, disk.makePrivateDirectory(root, L"stage"));
    const DirectoryPtr stage = opened(L"stage");
    ASSERT_EQ(0U, disk.rename(root, L"stage", root, L"away"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.checkPrivateOfOurs(stage));
    ASSERT_EQ(0U, disk.makePrivateDirectory(root, L"stage"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, disk.checkPrivateOfOurs(stage));
    EXPECT_EQ(0U, disk.checkPrivateOfOurs(opened(L"stage")));
}

TEST_F(WindowsSecurityTest, WhatComesOutOfAStageIsAsOpenAsWhatIsMadeInPlace) {
    tree.write("file", "x");
    ASSERT_EQ(0U, disk.makePrivateDirectory(root, L"stage"));
    const DirectoryPtr stage = opened(L"stage");
    for (const DirectoryPtr& parent : {root, stage}) {
        ASSERT_EQ(0U, disk.makeDirectory(parent, L"directory"));
        ASSERT_EQ(0U, disk.copyFile(root, L"file", parent, L"copy", Links::Refuse, nullptr));
    }
    ASSERT_EQ(0U, disk.rename(stage, L"directory", root, L"directory out"));
    ASSERT_EQ(0U, disk.rename(stage, L"copy", root, L"copy out"));
    EXPECT_EQ(listOf("directory"), listOf("directory out"));
    EXPECT_EQ(listOf("copy"), listOf("copy out"));
}

TEST_F(WindowsSecurityTest, AWrittenFileIsOursAlone) {
    ASSERT_EQ(0U, disk.writeFile(root, L"journal", "x"));
    EXPECT_EQ(std::wstring::npos, listOf("journal").find(L";;;WD)")) << "everyone";
}

TEST_F(WindowsSecurityTest, InheritedEntriesAreForWhatIsMadeBelowAlone) {
    tree.makeDirectory("parent");
    PrivateSecurity security;
    const Handle handle =
        openEntry(windowsDirectory(opened(L"parent")).self(), READ_CONTROL | WRITE_DAC);
    ASSERT_TRUE(handle);
    ASSERT_EQ(0U, security.makeForStage(handle.get()));
    BOOL isThere = FALSE;
    BOOL isDefault = FALSE;
    ACL* list = nullptr;
    ASSERT_TRUE(::GetSecurityDescriptorDacl(security.attributes()->lpSecurityDescriptor, &isThere,
                                            &list, &isDefault));
    ASSERT_TRUE(isThere);
    ASSERT_NE(nullptr, list);
    ASSERT_GE(list->AceCount, 2);
    for (DWORD at = 0; at < list->AceCount; ++at) {
        void* entry = nullptr;
        ASSERT_TRUE(::GetAce(list, at, &entry));
        const BYTE flags = static_cast<const ACE_HEADER*>(entry)->AceFlags;
        if (at < 2) {
            // This user and the owner: for the directory itself, not passed on.
            EXPECT_EQ(0, flags);
        } else {
            EXPECT_NE(0, flags & INHERIT_ONLY_ACE);
            EXPECT_NE(0, flags & (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE));
            EXPECT_EQ(0, flags & INHERITED_ACE);
        }
    }
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    ASSERT_TRUE(::GetSecurityDescriptorControl(security.attributes()->lpSecurityDescriptor,
                                               &control, &revision));
    EXPECT_NE(0, control & SE_DACL_PROTECTED);
}

}  // namespace
}  // namespace Tallowmere::platform
