#include "kest/platform/windows/WindowsPaths.h"

#include <gtest/gtest.h>

#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform::paths {
namespace {

using testing::TempTree;

/// The text of a path, or "error " and its code.
std::wstring textOf(const std::wstring& path) {
    std::wstring text;
    const DWORD error = normalize(path.c_str(), text);
    return error == ERROR_SUCCESS ? text : L"error " + std::to_wstring(error);
}

std::wstring currentDirectory() {
    wchar_t buffer[1024];
    EXPECT_NE(0U, ::GetCurrentDirectoryW(1024, buffer));
    return buffer;
}

TEST(WindowsPaths, AFullPathIsTakenAsItIs) {
    EXPECT_EQ(L"C:/dir/name", textOf(L"C:\\dir\\name"));
    EXPECT_EQ(L"C:/dir/name", textOf(L"C:/dir/name"));
    EXPECT_EQ(L"C:/dir/name", textOf(L"c:\\dir\\name"));
    EXPECT_EQ(L"C:/Dir/na me", textOf(L"C:\\Dir\\na me"));
    EXPECT_EQ(L"C:/dir/*", textOf(L"C:\\dir\\*"));
}

TEST(WindowsPaths, SeparatorsAndDotsAreSettledByName) {
    EXPECT_EQ(L"C:/dir/name", textOf(L"C:\\\\dir/\\name\\\\"));
    EXPECT_EQ(L"C:/dir/name", textOf(L"C:\\dir\\.\\none\\..\\name\\."));
    EXPECT_EQ(L"C:/name", textOf(L"C:\\..\\..\\name"));
    EXPECT_EQ(L"C:/dir/name", textOf(L"C:\\dir\\name.. "));
}

TEST(WindowsPaths, ADriveIsARoot) {
    EXPECT_EQ(L"C:", textOf(L"C:\\"));
    EXPECT_EQ(L"C:", textOf(L"C:/"));
    EXPECT_EQ(L"C:", textOf(L"C:\\."));
    EXPECT_EQ(L"C:", textOf(L"\\\\?\\C:"));
    EXPECT_EQ(L"C:", textOf(L"\\\\?\\c:\\"));
    EXPECT_TRUE(isRoot(L"C:"));
    EXPECT_FALSE(isRoot(L"C:/x"));
    EXPECT_FALSE(isRoot(L"x"));
    EXPECT_FALSE(isRoot(L""));
}

TEST(WindowsPaths, ARelativePathStartsInTheCurrentDirectory) {
    const std::wstring current = textOf(currentDirectory());
    EXPECT_EQ(current, textOf(L"."));
    EXPECT_EQ(current + L"/x/y", textOf(L"x\\.\\y"));
    EXPECT_EQ(current.substr(0, 2) + L"/x", textOf(L"\\x"));
}

TEST(WindowsPaths, AShareIsARoot) {
    EXPECT_EQ(L"//server/share", textOf(L"\\\\server\\share"));
    EXPECT_EQ(L"//server/share", textOf(L"//server/share/"));
    EXPECT_EQ(L"//server/share/x", textOf(L"\\\\server\\share\\y\\..\\x"));
    EXPECT_EQ(L"//server/share/x", textOf(L"\\\\?\\UNC\\server\\share\\x"));
    EXPECT_EQ(L"//server/share/x", textOf(L"\\\\?\\unc\\server\\share\\x\\"));
    EXPECT_TRUE(isRoot(L"//server/share"));
    EXPECT_FALSE(isRoot(L"//server/share/x"));
    EXPECT_FALSE(isRoot(L"//server"));
    EXPECT_EQ(L"error 123", textOf(L"\\\\server"));
    EXPECT_EQ(L"error 123", textOf(L"\\\\?\\UNC\\server"));
    EXPECT_EQ(L"error 123", textOf(L"\\\\?\\UNC\\server\\"));
}

TEST(WindowsPaths, AVolumeWithoutALetterIsARoot) {
    const std::wstring volume = L"Volume{01234567-89ab-cdef-0123-456789abcdef}";
    EXPECT_EQ(L"//?/" + volume, textOf(L"\\\\?\\" + volume + L"\\"));
    EXPECT_EQ(L"//?/" + volume + L"/x", textOf(L"\\\\?\\" + volume + L"\\x"));
    EXPECT_TRUE(isRoot(L"//?/" + volume));
    EXPECT_FALSE(isRoot(L"//?/" + volume + L"/x"));
}

TEST(WindowsPaths, BehindAPrefixOnlyThePlainFormIsAPath) {
    EXPECT_EQ(L"C:/dir/name", textOf(L"\\\\?\\C:\\dir\\name"));
    EXPECT_EQ(L"C:/dir/name", textOf(L"//?/C:/dir/name"));
    EXPECT_EQ(L"C:/dir/name", textOf(L"\\\\?\\C:\\dir\\name\\"));
    EXPECT_EQ(L"C:/dir/name. ", textOf(L"\\\\?\\C:\\dir\\name. "));
    EXPECT_EQ(L"error 123", textOf(L"\\\\?\\C:\\dir\\..\\name"));
    EXPECT_EQ(L"error 123", textOf(L"\\\\?\\C:\\dir\\.\\name"));
    EXPECT_EQ(L"error 123", textOf(L"\\\\?\\C:\\dir\\\\name"));
    EXPECT_EQ(L"error 123", textOf(L"\\\\?\\C:\\dir/name"));
    EXPECT_EQ(L"error 123", textOf(L"\\\\?\\C:dir"));
    EXPECT_EQ(L"error 2", textOf(L"\\\\?\\dir"));
    EXPECT_EQ(L"error 2", textOf(L"\\\\?\\"));
    EXPECT_EQ(L"error 3", textOf(L"\\\\?\\dir\\name"));
}

TEST(WindowsPaths, ASecondPrefixNamesNoPlace) {
    EXPECT_EQ(L"error 123", textOf(L"\\\\?\\\\\\?\\C:\\dir"));
}

TEST(WindowsPaths, WhatIsOnNoDiskIsNoName) {
    EXPECT_EQ(L"error 3", textOf(L""));
    EXPECT_EQ(L"error 123", textOf(L"\\\\.\\C:\\dir"));
    EXPECT_EQ(L"error 123", textOf(L"C:\\dir\\file:stream"));
    EXPECT_EQ(L"error 123", textOf(L"\\\\?\\C:\\dir\\file:stream"));
    EXPECT_EQ(L"C:/" + std::wstring(255, L'n'), textOf(L"C:\\" + std::wstring(255, L'n')));
    EXPECT_EQ(L"error 123", textOf(L"C:\\" + std::wstring(256, L'n') + L"\\x"));
    std::wstring text;
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, normalize(nullptr, text));
}

TEST(WindowsPaths, LengthDoesNotMatter) {
    std::wstring path = L"C:";
    std::wstring expected = L"C:";
    for (int i = 0; i < 200; ++i) {
        path += L"\\a-component-of-some-length";
        expected += L"/a-component-of-some-length";
    }
    EXPECT_EQ(expected, textOf(path));
    EXPECT_EQ(expected, textOf(L"\\\\?\\" + path));
}

TEST(WindowsPaths, AShortNameIsTheLongNameOfTheEntry) {
    TempTree tree;
    tree.write("a name of some length.text/another long name.text", "x");
    tree.write("plain~1", "x");
    WIN32_FIND_DATAW found{};
    const std::wstring longPath = tree.wide("a name of some length.text");
    const HANDLE search = ::FindFirstFileW(longPath.c_str(), &found);
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    ::FindClose(search);
    if (found.cAlternateFileName[0] == L'\0') {
        GTEST_SKIP() << "this volume gives no short names";
    }
    const std::wstring shortName = found.cAlternateFileName;
    ASSERT_NE(std::wstring::npos, shortName.find(L'~'));
    const std::wstring root = textOf(tree.wide(""));
    const std::wstring folder = tree.wide("");
    ASSERT_EQ(L'\\', folder.back());
    EXPECT_EQ(root + L"/a name of some length.text", textOf(folder + shortName));
    EXPECT_EQ(root + L"/a name of some length.text/*",
              textOf(L"\\\\?\\" + folder + shortName + L"\\*"));
    // Not an entry, and an entry whose own name looks like one: as they are.
    EXPECT_EQ(root + L"/NOTHIN~1", textOf(tree.wide("NOTHIN~1")));
    EXPECT_EQ(root + L"/plain~1", textOf(tree.wide("plain~1")));
    EXPECT_EQ(root + L"/PLAIN~1", textOf(tree.wide("PLAIN~1")));
}

TEST(WindowsPaths, TheSystemGetsThePrefixedForm) {
    EXPECT_EQ(L"\\\\?\\C:", toSystem(L"C:"));
    EXPECT_EQ(L"\\\\?\\C:\\dir\\name", toSystem(L"C:/dir/name"));
    EXPECT_EQ(L"\\\\?\\UNC\\server\\share\\x", toSystem(L"//server/share/x"));
    EXPECT_EQ(L"\\\\?\\Volume{0}\\x", toSystem(L"//?/Volume{0}/x"));
}

TEST(WindowsPaths, TheSystemsPathsComeBack) {
    std::wstring text;
    EXPECT_TRUE(fromSystem(L"\\\\?\\C:\\", text));
    EXPECT_EQ(L"C:", text);
    EXPECT_TRUE(fromSystem(L"\\\\?\\K:\\dir\\name", text));
    EXPECT_EQ(L"K:/dir/name", text);
    EXPECT_TRUE(fromSystem(L"\\\\?\\UNC\\server\\share\\x", text));
    EXPECT_EQ(L"//server/share/x", text);
    EXPECT_FALSE(fromSystem(L"C:\\dir", text));
    EXPECT_FALSE(fromSystem(L"\\\\?\\GLOBALROOT\\Device\\x", text));
    EXPECT_FALSE(fromSystem(L"", text));
}

TEST(WindowsPaths, ADirectoryStandsWhereTheSystemSaysUnlessThatIsAnotherTime) {
    EXPECT_EQ(L"C:/Real/Dir", placeOf(L"C:/link", L"\\\\?\\C:\\Real\\Dir"));
    EXPECT_EQ(L"C:/link", placeOf(L"C:/link", L""));
    EXPECT_EQ(L"C:/link", placeOf(L"C:/link", L"\\\\?\\GLOBALROOT\\Device\\Disk"));
    const std::wstring snapshot = L"//pc/C$/@GMT-2010.05.17-08.30.00/users";
    EXPECT_EQ(snapshot, placeOf(snapshot, L"\\\\?\\UNC\\pc\\C$\\Users"));
    EXPECT_EQ(L"//pc/C$/@GMT-2010.05.17-08.30.00/Users",
              placeOf(snapshot, L"\\\\?\\UNC\\pc\\C$\\@GMT-2010.05.17-08.30.00\\Users"));
    const std::wstring lower = L"//pc/c$/users/@gmt-2010.05.17-08.30.00";
    EXPECT_EQ(lower, placeOf(lower, L"\\\\?\\UNC\\pc\\c$\\Users"));
}

TEST(WindowsPaths, NamesFoldCharacterByCharacter) {
    EXPECT_EQ(L"", fold(L""));
    EXPECT_EQ(L"README.TXT", fold(L"ReadMe.txt"));
    EXPECT_EQ(L"C:/DIR/NAME", fold(L"C:/dir/name"));
    EXPECT_EQ(L"\u00C4\u00D6\u0416\u0391", fold(L"\u00E4\u00F6\u0436\u03B1"));
    // Nothing becomes longer, and no language has a say.
    EXPECT_EQ(L"\u00DF", fold(L"\u00DF"));
    EXPECT_EQ(L"I", fold(L"i"));
    EXPECT_EQ(L"\u65E5\u672C", fold(L"\u65E5\u672C"));
    EXPECT_EQ(L"A\xD83D\xDE00Z", fold(L"a\xD83D\xDE00z"));
}

TEST(WindowsPaths, AnEntryTellsItsOwnSpelling) {
    TempTree tree;
    tree.write("ReadMe.Txt", "x");
    std::wstring name = L"as it was";
    EXPECT_TRUE(spelling(L"\\\\?\\" + tree.wide("README.TXT"), name));
    EXPECT_EQ(L"ReadMe.Txt", name);
    EXPECT_FALSE(spelling(L"\\\\?\\" + tree.wide("none"), name));
    EXPECT_FALSE(spelling(L"\\\\?\\" + tree.wide("Read*"), name));
    EXPECT_EQ(L"ReadMe.Txt", name);
}

}  // namespace
}  // namespace Tallowmere::platform::paths
