#include "kest/text/Paths.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <string>
#include <vector>

#include "kest/text/Strings.h"

namespace Tallowmere {
namespace {

constexpr const wchar_t* kHistory = L"\\\\machine\\C$\\@GMT-2010.05.17-08.30.00\\Users\\file.txt";

struct TextCase {
    const wchar_t* path;
    const wchar_t* result;
};

TEST(BaseName, TakesWhatFollowsTheSecondToLastDelimiter) {
    const TextCase cases[] = {
        {L"C:\\a\\b.txt", L"b.txt"},
        {L"\\b.txt", L"b.txt"},
        {L"/b.txt", L"b.txt"},
        {L"file", L"file"},
        {L"b.txt", L"b.txt"},
        {L"", L""},
        {L"\\", L"\\"},
        {L"a\\", L"a\\"},
        {L"C:\\", L"C:\\"},
        {L"C:\\a\\b\\", L"b\\"},
        {L"C:/a/b/", L"b/"},
        {L"a/b\\c", L"c"},
        {L"a\\b/c", L"c"},
        {L"\\\\", L"\\"},
        {L"\"C:\\a b\\c.txt\"", L"c.txt\""},
        {kHistory, L"file.txt"},
        // Mixed separators: the one that is looked for last decides whether the path ends in one.
        {L"x/a\\b/", L"b/"},
        {L"x\\a/b\\", L""},
        {L"/\\", L""},
        {L"\\/", L"/"},
    };
    for (const TextCase& c : cases) {
        EXPECT_EQ(c.result, baseName(c.path)) << c.path;
    }
}

TEST(GetFileExtension, TakesWhatFollowsTheLastDotOfTheLastComponent) {
    const TextCase cases[] = {
        {L"a\\b.tar.gz", L"gz"},
        {L"C:\\dir.d\\file", L""},
        {L"C:/dir.d/file", L""},
        {L"dir.d\\", L""},
        {L".profile", L"profile"},
        {L"file.", L""},
        {L"file", L""},
        {L"", L""},
        {L".", L""},
        {L"..", L""},
        {L"C:\\A.TXT", L"TXT"},
        {L"\"C:\\a\\b.txt\"", L"txt"},
        {L"b.txt\"\"", L"txt\""},
        {L"b.\"", L""},
        {L"\"", L""},
        {L"a.b/c.d\\e.f", L"f"},
        {L"a.b\\c/d", L""},
        {L"a.b/c\\d", L""},
        {L"a.b c ", L"b c "},
    };
    for (const TextCase& c : cases) {
        EXPECT_EQ(c.result, getFileExtension(c.path)) << c.path;
    }
}

TEST(ChangeExtension, ReplacesWhatFollowsTheLastDot) {
    const struct {
        const wchar_t* path;
        const wchar_t* extension;
        const wchar_t* result;
    } cases[] = {
        {L"a\\b.txt", L"bak", L"a\\b.bak"},
        {L"b.tar.gz", L"xz", L"b.tar.xz"},
        {L"C:\\dir.d\\file", L"txt", L"C:\\dir.txt"},
        {L"C:/dir.d/file", L"txt", L"C:/dir.txt"},
        {L"file", L"txt", L"file"},
        {L"file.", L"txt", L"file."},
        {L"", L"txt", L""},
        {L".", L"txt", L"."},
        {L".profile", L"txt", L".txt"},
        {L"b.txt", L"", L"b."},
        {L"b.c", L"longer.than.before", L"b.longer.than.before"},
    };
    for (const auto& c : cases) {
        std::wstring path = c.path;
        changeExtension(path, c.extension);
        EXPECT_EQ(c.result, path) << c.path;
    }
}

TEST(ChangeExtension, MayTakeItsExtensionFromThePath) {
    std::wstring path = L"abc.def";
    changeExtension(path, path.c_str() + 1);
    EXPECT_EQ(L"abc.bc.def", path);
}

TEST(GetPathLastComponent, FindsTheLastSeparator) {
    const struct {
        const wchar_t* path;
        std::uint64_t position;
    } cases[] = {
        {L"a/b\\c", 3},
        {L"a\\b/c", 3},
        {L"a/b", 1},
        {L"a\\b", 1},
        {L"a\\b\\", 3},
        {L"\\", 0},
        {L"/", 0},
        {L"abc", std::wstring::npos},
        {L"", std::wstring::npos},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.position, getPathLastComponent(c.path)) << c.path;
    }
}

TEST(BaseName, AgreesWithTheDelimiters) {
    // Every path of up to eight units.
    std::vector<std::wstring> paths = {L""};
    for (std::size_t next = 0; next < paths.size(); ++next) {
        const std::wstring path = paths[next];
        std::vector<std::uint64_t> positions;
        findStringDelimiters(path, L"\\/", positions);
        const std::wstring expected =
            positions.size() < 2 ? path : path.substr(positions[positions.size() - 2] + 1);
        ASSERT_EQ(expected, baseName(path)) << path;
        for (const wchar_t unit : {L'a', L'\\', L'/'}) {
            if (path.size() < 8) {
                paths.push_back(path + unit);
            }
        }
    }
}

TEST(NormalizePath, TurnsSeparatorsBeforeItLowers) {
    if constexpr (sizeof(wchar_t) > 2) {
        // A character whose lower half is a backslash becomes one, and stays it.
        EXPECT_EQ(L"/\\", normalizePath(std::wstring(L"\\") + static_cast<wchar_t>(0x1005C)));
    }
}

TEST(NormalizePath, TurnsSeparatorsAndLowers) {
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(L"c:/temp/x.txt", normalizePath(L"C:\\Temp\\X.TXT"));
    EXPECT_EQ(L"//srv/a/b", normalizePath(L"\\/SRV\\a/B"));
    EXPECT_EQ(L"\u00C4/\u00C4b", normalizePath(L"\u00C4\\\u00C4B"));
    EXPECT_EQ(L"", normalizePath(L""));
}

TEST(GetDrive, ReadsTheLetterOfAPlainOrQuotedPath) {
    const struct {
        const wchar_t* path;
        wchar_t drive;
    } cases[] = {
        {L"", L'\0'},
        {L"c:\\x", L'C'},
        {L"C:\\x", L'C'},
        {L"z:", L'Z'},
        {L"c:relative", L'C'},
        {L"\"d:\\x\"", L'D'},
        {L"\"d:", L'D'},
        {L"\"d", L'\0'},
        {L"\"", L'\0'},
        {L"\"\"d:\\x", L'\0'},
        {L"c", L'\0'},
        {L"c\\x", L'\0'},
        {L"1:\\x", L'\0'},
        {L":\\x", L'\0'},
        {L"\\\\srv\\share", L'\0'},
        {L"\\\\srv\\C$\\x", L'\0'},
        {L" c:\\x", L'\0'},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.drive, getDrive(c.path)) << c.path;
    }
}

TEST(GetDrive, ReadsTheLetterOfTheShareOfAHistoryPath) {
    const struct {
        const wchar_t* path;
        wchar_t drive;
    } cases[] = {
        {kHistory, L'C'},
        {L"\\\\machine\\c$\\@GMT-2010.05.17-08.30.00", L'C'},
        {L"//machine/d$/@GMT-2010.05.17-08.30.00/x", L'D'},
        {L"\"\\\\machine\\e$\\@GMT-2010.05.17-08.30.00\\x\"", L'E'},
        {L"@GMT-2010.05.17-08.30.00\\x", L'\0'},
        {L"C:@GMT", L'\0'},
        {L"C:\\@GMT", L'C'},
        {L"\\@GMT", L'\0'},
        {L"a\\@GMT", L'\0'},
        {L"aC\\@GMT", L'A'},
        {L"1$\\@GMT", L'\0'},
        {L"\\\\m\\1$\\@GMT-2010.05.17-08.30.00\\x", L'\0'},
        // The stamp need not stand directly behind the separator.
        {L"C$\\dir@GMT", L'C'},
        // A slash wins over a backslash that is nearer.
        {L"ab/C$\\@GMT", L'A'},
        {L"a/C$\\@GMT", L'\0'},
        // What stands behind the stamp does not count.
        {L"C$\\@GMT/D$/x", L'C'},
        // The first stamp counts.
        {L"C$\\@GMT\\D$\\@GMT\\x", L'C'},
        // Without its capitals it is no stamp.
        {L"\\\\m\\C$\\@gmt-2010.05.17-08.30.00\\x", L'\0'},
        {L"d:\\@gmt", L'D'},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.drive, getDrive(c.path)) << c.path;
    }
}

TEST(GetDrive, TakesLettersOfAllScripts) {
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(L'\u00E4', getDrive(L"\u00E4:\\x"));
    EXPECT_EQ(L'\u0416', getDrive(L"\u0416$\\@GMT"));
    EXPECT_EQ(L'\0', getDrive(L"\u0660:\\x"));
}

TEST(IsDriveRootedPath, AsksForALetterAndAColon) {
    const struct {
        const wchar_t* path;
        bool rooted;
    } cases[] = {
        {L"C:", true},        {L"C", false},          {L"", false},
        {L"\"C:", true},      {L"\"C", false},        {L"\"", false},
        {L"\"\"C:", false},   {L"\"C:\\a b\"", true}, {L"c:relative", true},
        {L"\u0416:\\", true}, {L"1:\\", false},       {L"\\\\srv\\share", false},
        {L"C\\:", false},     {kHistory, false},      {L"C:\\@GMT", true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.rooted, isDriveRootedPath(c.path)) << c.path;
    }
}

TEST(ArePathsOnTheSameDrive, ComparesLetters) {
    EXPECT_TRUE(arePathsOnTheSameDrive(L"c:\\a", L"C:\\b"));
    EXPECT_TRUE(arePathsOnTheSameDrive(L"\"c:\\a\"", kHistory));
    EXPECT_FALSE(arePathsOnTheSameDrive(L"c:\\a", L"d:\\a"));
    EXPECT_FALSE(arePathsOnTheSameDrive(L"\\\\srv\\share", L"\\\\srv\\share"));
    EXPECT_FALSE(arePathsOnTheSameDrive(L"c:\\a", L"\\\\srv\\share"));
    EXPECT_FALSE(arePathsOnTheSameDrive(L"", L""));
    EXPECT_FALSE(arePathsOnTheSameDrive(L"", L"c:"));
}

TEST(GetCurrentPath, GivesTheLivePath) {
    const TextCase cases[] = {
        {kHistory, L"C:\\Users\\file.txt"},
        {L"\\\\machine\\C$\\@GMT-2010.05.17-08.30.00", L"C:"},
        {L"\\\\machine\\c$\\@GMT-2010.05.17-08.30.00\\", L"c:\\"},
        {L"//machine/c$/@GMT-2010.05.17-08.30.00/Users/x", L"c:/Users/x"},
        {L"\"\\\\machine\\C$\\@GMT-2010.05.17-08.30.00\\a b\"", L"C:\\a b"},
        {L"\"\\\\machine\\C$\\@GMT-2010.05.17-08.30.00\"", L"C:"},
        // A backslash anywhere behind the stamp wins over a slash.
        {L"C$\\@GMT/a\\b", L"C:\\b"},
        // What stands there is taken for the letter, whatever it is.
        {L"1$\\@GMT\\x", L"1:\\x"},
        {L"C$\\@GMT\\D$\\@GMT\\x", L"C:\\D$\\@GMT\\x"},
    };
    for (const TextCase& c : cases) {
        EXPECT_EQ(c.result, getCurrentPath(c.path)) << c.path;
    }
}

TEST(GetCurrentPath, TakesQuotationMarksOff) {
    const TextCase cases[] = {
        {L"\"C:\\a b\\c\"", L"C:\\a b\\c"},
        {L"C:\\a", L"C:\\a"},
        {L"\"C:\\a", L"C:\\a"},
        {L"C:\\a\"", L"C:\\a"},
        {L"\"\"a\"\"", L"\"a\""},
        {L"\"\"", L""},
        {L"\"a", L"a"},
        {L"ab", L"ab"},
        {L"x@gmt", L"x@gmt"},
    };
    for (const TextCase& c : cases) {
        EXPECT_EQ(c.result, getCurrentPath(c.path)) << c.path;
    }
}

TEST(GetCurrentPath, IsEmptyForWhatIsTooShort) {
    for (const wchar_t* path : {L"", L"a", L"\"", L"@GMT\\x", L"a@GMT\\x", L"C$@GMT\\x"}) {
        EXPECT_EQ(L"", getCurrentPath(path)) << path;
    }
    EXPECT_EQ(L"C:\\x", getCurrentPath(L"C$\\@GMT\\x"));
}

TEST(GetCurrentPathNoDrive, TakesTwoUnitsOff) {
    const TextCase cases[] = {
        {L"C:\\Users\\file.txt", L"\\Users\\file.txt"},
        {L"\"C:\\a b\\c\"", L"\\a b\\c"},
        {kHistory, L"\\Users\\file.txt"},
        {L"\\\\machine\\C$\\@GMT-2010.05.17-08.30.00", L""},
        {L"C:", L""},
        {L"\\\\srv\\share", L"srv\\share"},
        {L"abc", L"c"},
        {L"\"a\"", L"a"},
        {L"a\"", L"a"},
        {L"a", L""},
        {L"", L""},
    };
    for (const TextCase& c : cases) {
        EXPECT_EQ(c.result, getCurrentPathNoDrive(c.path)) << c.path;
    }
}

}  // namespace
}  // namespace Tallowmere
