#include "kest/platform/linux/SambaConfiguration.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform::samba {
namespace {

using testing::TempTree;

using Texts = std::vector<std::string>;

class SambaConfiguration : public ::testing::Test {
protected:
    /// Each share as "name type path".
    Texts sharesOf(const std::string& text) {
        tree.write("smb.conf", text);
        configuration = {};
        EXPECT_EQ(0, readConfiguration((tree / "smb.conf").native(), configuration));
        Texts all;
        for (const Share& share : configuration.shares) {
            all.push_back(share.name + " " + std::to_string(share.type) + " " + share.path);
        }
        return all;
    }

    TempTree tree;
    Configuration configuration;
};

TEST_F(SambaConfiguration, EachSectionIsAShareInItsOrder) {
    EXPECT_EQ((Texts{"Data 0 /srv/data", "alpha 0 /a"}), sharesOf("[global]\n"
                                                                  "  workgroup = HOME\n"
                                                                  "[Data]\n"
                                                                  "  path = /srv/data\n"
                                                                  "\n"
                                                                  "[alpha]\n"
                                                                  "path=/a\n"));
}

TEST_F(SambaConfiguration, ThereNeedBeNone) {
    EXPECT_EQ(Texts{}, sharesOf(""));
    EXPECT_EQ(Texts{}, sharesOf("[global]\npath = /x\n"));
    EXPECT_EQ(Texts{}, sharesOf("path = /x\n"));
}

TEST_F(SambaConfiguration, CommentsBlanksAndLineEnds) {
    EXPECT_EQ((Texts{"a 0 /a # b ; c", "b 0 /b"}), sharesOf("# path = /1\r\n"
                                                            "  ; [none]\r\n"
                                                            "\r\n"
                                                            "   [a]   \r\n"
                                                            "\t path\t=\t /a # b ; c \t\r\n"
                                                            "[b]# after\n"
                                                            "path=/b"));
}

TEST_F(SambaConfiguration, NeitherCaseNorBlanksCountInNames) {
    EXPECT_EQ((Texts{"My Share 0 /2"}), sharesOf("[  My \t Share ]\n"
                                                 "P a TH = /1\n"
                                                 "[myshare]\n"
                                                 "path = /2\n"));
    EXPECT_EQ((Texts{"a 0 /A b"}), sharesOf("[a]\nDirectory = /A b\n"));
}

TEST_F(SambaConfiguration, OnlyTheFirstEqualsSignSeparates) {
    EXPECT_EQ((Texts{"a 0 /x=y = z"}), sharesOf("[a]\npath = /x=y = z\n"));
}

TEST_F(SambaConfiguration, ABackslashAtTheEndContinuesTheLine) {
    EXPECT_EQ((Texts{"a 0 /one/two/three"}), sharesOf("[a]\n"
                                                      "path = /one\\\n"
                                                      "/two\\\r\n"
                                                      "/three\n"));
    // Blanks behind the backslash cannot be seen, and those before it belong to the line.
    EXPECT_EQ((Texts{"a 0 /one /two/three"}),
              sharesOf("[a]\npath = /one \\ \t\n/two\\\t\r\n/three\n"));
    // A comment is not continued, and there may be nothing to continue with.
    EXPECT_EQ((Texts{"a 0 /a"}), sharesOf("[a]\n# comment \\\npath = /a\n"));
    EXPECT_EQ((Texts{"a 0 /a"}), sharesOf("[a]\npath = /a\\\n"));
    // Where no line ends, none is continued.
    EXPECT_EQ((Texts{"a 0 /a\\"}), sharesOf("[a]\npath = /a\\"));
    EXPECT_EQ((Texts{"a 0 /a\\b"}), sharesOf("[a]\npath = /a\\b\n"));
    // What continues a line is no comment.
    EXPECT_EQ((Texts{"a 0 /a#b"}), sharesOf("[a]\npath = /a\\\n#b\n"));
}

TEST_F(SambaConfiguration, AValueMayBeQuotedAsAWhole) {
    EXPECT_EQ((Texts{"a 0 /a b", "b 0 \"/a\" \"b\"", "c 0 \""}),
              sharesOf("[a]\npath = \"/a b\"\n[b]\npath = \"/a\" \"b\"\n[c]\npath = \"\n"));
}

TEST_F(SambaConfiguration, ThereIsOneTypeForEachKind) {
    EXPECT_EQ((Texts{"disk 0 /d", "laser 1 /p", "old 1 ", "printers 1 /spool", "print$ 0 /drivers",
                     "C$ 2147483648 /c", "admin$ 2147483648 /w", "IPC$ 2147483651 ", "hidden$ 0 /h",
                     "made 2147483648 /m", "both 2147483649 /b", "d$ 0 /d"}),
              sharesOf("[disk]\npath=/d\nprintable = no\n"
                       "[laser]\npath=/p\nprintable = Yes\n"
                       "[old]\nprint ok = true\n"
                       "[printers]\npath=/spool\n"
                       "[print$]\npath=/drivers\n"
                       "[C$]\npath=/c\n"
                       "[admin$]\npath=/w\n"
                       "[IPC$]\n"
                       "[hidden$]\npath=/h\n"
                       "[made]\npath=/m\nadministrative share = 1\n"
                       "[both]\npath=/b\nadministrative share = on\nprintable = ON\n"
                       "[d$]\npath=/d\nadministrative share = off\n"));
}

TEST_F(SambaConfiguration, WhatIsNoShare) {
    EXPECT_EQ((Texts{"seen 0 /s"}), sharesOf("[homes]\npath = /home/%S\n"
                                             "[off]\npath=/o\navailable = no\n"
                                             "[nowhere]\ncomment = no path\n"
                                             "[c$]\n"
                                             "[seen]\npath=/s\nbrowseable = no\n"));
}

TEST_F(SambaConfiguration, TheGlobalSectionHoldsTheDefaults) {
    EXPECT_EQ((Texts{"a 0 /common", "b 1 /b", "c 0 /common"}),
              sharesOf("path = /common\n"
                       "[a]\n"
                       "[b]\npath=/b\nprintable=yes\n"
                       "[c]\n"));
    EXPECT_EQ((Texts{"b 0 /b"}), sharesOf("[global]\navailable = no\n"
                                          "[a]\npath=/a\n"
                                          "[b]\npath=/b\navailable = yes\n"));
}

TEST_F(SambaConfiguration, AWordThatIsNeitherYesNorNoSaysNothing) {
    EXPECT_EQ((Texts{"a 0 /a"}), sharesOf("[a]\npath=/a\nprintable = perhaps\navailable = 2\n"));
}

TEST_F(SambaConfiguration, TheLastWordCounts) {
    EXPECT_EQ((Texts{"a 0 /2"}), sharesOf("[a]\npath=/1\ndirectory=/2\n"));
}

TEST_F(SambaConfiguration, ASectionMayTakeOverAnother) {
    EXPECT_EQ((Texts{"a 1 /a", "b 1 /b", "c 1 /c"}), sharesOf("[a]\npath=/a\nprintable=yes\n"
                                                              "[b]\npath=/b\ncopy = A\n"
                                                              "[c]\ncopy = a\npath=/c\n"));
    EXPECT_EQ((Texts{"a 0 /a"}), sharesOf("[a]\npath=/a\ncopy = none\ncopy = a\n"));
}

TEST_F(SambaConfiguration, WhatTheMachineAndTheShareAreCalledIsPutIn) {
    char host[256] = "";
    ASSERT_EQ(0, gethostname(host, sizeof host - 1));
    EXPECT_EQ((Texts{std::string("My Share 0 /srv/My Share/") + host + "/BOX/%U/%"}),
              sharesOf("[global]\nnetbios name = BOX\n[My Share]\npath = /srv/%S/%h/%L/%U/%\n"));
    EXPECT_EQ("BOX", configuration.computerName);
    EXPECT_EQ((Texts{std::string("a 0 /") + host}), sharesOf("[a]\npath = /%L\n"));
    EXPECT_EQ("", configuration.computerName);
}

TEST_F(SambaConfiguration, OtherFilesAreIncluded) {
    tree.write("more/two.conf", "comment = from two\n[b]\npath=/b\ninclude = three.conf\n");
    tree.write("more/three.conf", "[c]\npath=/c\n");
    tree.write("loop.conf", "[d]\npath=/d\ninclude = loop.conf\n");
    EXPECT_EQ((Texts{"a 0 /a", "b 0 /b", "c 0 /c2", "d 0 /d"}),
              sharesOf("[a]\npath=/a\ninclude = more/two.conf\n"
                       "path=/c2\n"
                       "include = none.conf\n"
                       "include =\n"
                       "include = " +
                       (tree / "loop.conf").native() + "\n"));
    EXPECT_EQ("from two", configuration.shares[0].comment);
}

TEST_F(SambaConfiguration, AFileThatIncludesItselfAgainAndAgainComesToAnEnd) {
    tree.write("twice.conf", "[d]\npath=/d\ninclude = twice.conf\ninclude = twice.conf\npath=/e\n");
    EXPECT_EQ((Texts{"a 0 /a", "d 0 /e"}),
              sharesOf("[a]\npath=/a\ninclude = " + (tree / "twice.conf").native() + "\n"));
}

TEST_F(SambaConfiguration, CommentAndNumberOfUsers) {
    (void)sharesOf(
        "[a]\npath=/a\ncomment = Files of %S \n"
        "[b]\npath=/b\nmax connections = 7\n"
        "[c]\npath=/c\nmax connections = 0\n"
        "[d]\npath=/d\nmax connections = x\n");
    ASSERT_EQ(4U, configuration.shares.size());
    EXPECT_EQ("Files of a", configuration.shares[0].comment);
    EXPECT_EQ(0xFFFFFFFFU, configuration.shares[0].maximum);
    EXPECT_EQ(7U, configuration.shares[1].maximum);
    EXPECT_EQ(0xFFFFFFFFU, configuration.shares[2].maximum);
    EXPECT_EQ(0xFFFFFFFFU, configuration.shares[3].maximum);
}

TEST_F(SambaConfiguration, WhatCannotBeReadIsPassedOver) {
    EXPECT_EQ((Texts{"a 0 /a", "b 0 /b"}), sharesOf("[a]\n"
                                                    "nothing here\n"
                                                    "= /x\n"
                                                    "path = /a\n"
                                                    "[not closed\n"
                                                    "[]\n"
                                                    "[ ]\n"
                                                    "[b]\n"
                                                    "path = /b\n"));
}

TEST_F(SambaConfiguration, BytesAreKept) {
    const std::string name = "Gr\xC3\xBC\xC3\x9F\xFF";
    EXPECT_EQ((Texts{name + " 0 /\xFE"}), sharesOf("[" + name + "]\npath = /\xFE\n"));
    const std::string zero("[a]\npath = /a\0b\n", 16);
    EXPECT_EQ((Texts{std::string("a 0 /a\0b", 8)}), sharesOf(zero));
}

TEST_F(SambaConfiguration, AFileThatIsNotThere) {
    EXPECT_EQ(ENOENT, readConfiguration((tree / "none").native(), configuration));
    EXPECT_EQ(EISDIR, readConfiguration(tree.root().native(), configuration));
}

}  // namespace
}  // namespace Tallowmere::platform::samba
