#include "kest/platform/linux/RegistryText.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kest/platform/linux/UpperCase.h"

namespace Tallowmere::platform {
namespace {

const std::string kHeader = "Windows Registry Editor Version 5.00\r\n";
const std::string kKey = kHeader + "[HKEY_LOCAL_MACHINE\\k]\r\n";

/// A machine's key in a text that must be understood.
struct Read {
    explicit Read(const std::string& text) : understood(readRegistryText(text, tree)) {
        EXPECT_TRUE(understood) << text;
    }

    RegistryTree::Id key(const std::u16string& path) const {
        RegistryTree::Id id = RegistryTree::LocalMachine;
        std::vector<std::u16string_view> parts;
        (void)splitRegistryPath(path, parts);
        for (const std::u16string_view part : parts) {
            id = id == RegistryTree::kNone ? id : tree.findKey(id, part);
        }
        return id;
    }

    /// The data of a value of the key k, "none" without it.
    std::string data(const std::u16string& name = u"v") const {
        const RegistryTree::Value* const value = tree.findValue(key(u"k"), name);
        return value == nullptr ? "none" : value->data;
    }

    std::uint32_t type(const std::u16string& name = u"v") const {
        return tree.findValue(key(u"k"), name)->type;
    }

    RegistryTree tree;
    bool understood;
};

bool isRefused(const std::string& text) {
    RegistryTree tree;
    return !readRegistryText(text, tree);
}

/// The bytes of a text value of ASCII.
std::string stored(const std::string& text) {
    std::string bytes;
    for (const char c : text + '\0') {
        bytes += c;
        bytes += '\0';
    }
    return bytes;
}

std::string utf16(const std::string& ascii) {
    std::string bytes = "\xFF\xFE";
    for (const char c : ascii) {
        bytes += c;
        bytes += '\0';
    }
    return bytes;
}

TEST(RegistryText, NeedsItsHeader) {
    EXPECT_FALSE(isRefused(kHeader));
    EXPECT_FALSE(isRefused("Windows Registry Editor Version 5.00"));
    EXPECT_FALSE(isRefused("Windows Registry Editor Version 5.00 \t; x\n"));
    EXPECT_TRUE(isRefused(""));
    EXPECT_TRUE(isRefused("\r\n" + kHeader));
    EXPECT_TRUE(isRefused("REGEDIT4\r\n"));
    EXPECT_TRUE(isRefused("Windows Registry Editor Version 5.001\r\n"));
    EXPECT_TRUE(isRefused("[HKEY_LOCAL_MACHINE\\k]\r\n"));
}

TEST(RegistryText, TakesBothEncodings) {
    const std::string text = kKey + "\"v\"=\"x\"\r\n";
    EXPECT_EQ(stored("x"), Read(text).data());
    EXPECT_EQ(stored("x"), Read("\xEF\xBB\xBF" + text).data());
    EXPECT_EQ(stored("x"), Read(utf16(text)).data());
    // Half a pair of surrogates stays what it is.
    EXPECT_EQ(std::string("\x00\xD8\0\0", 4),
              Read(utf16(kKey + "\"v\"=\"") + std::string("\x00\xD8\"\0", 4)).data());
    EXPECT_EQ(std::string("\x3D\xD8\x00\xDE\0\0", 6),
              Read(kKey + "\"v\"=\"\xF0\x9F\x98\x80\"").data());
    EXPECT_TRUE(isRefused(utf16(text) + "x"));
    EXPECT_TRUE(isRefused("\xFF\xFE"));
    EXPECT_TRUE(isRefused("\xFE\xFF" + utf16(text).substr(3)));
    EXPECT_TRUE(isRefused(kKey + "\"v\"=\"\xFC\"\r\n"));
    EXPECT_TRUE(isRefused(kKey + std::string("\"v\"=\"\0\"\r\n", 9)));
    EXPECT_TRUE(isRefused(utf16(text) + std::string("\0\0", 2)));
}

TEST(RegistryText, TakesEveryLineEnd) {
    for (const std::string end : {"\r\n", "\n", "\r"}) {
        const Read read("Windows Registry Editor Version 5.00" + end + end +
                        "[HKEY_LOCAL_MACHINE\\k]" + end + "; comment" + end + " \t" + end +
                        "\"v\"=hex:01,\\" + end + "  02" + end + "@=dword:1" + end);
        EXPECT_EQ("\x01\x02", read.data());
        EXPECT_EQ(std::string("\x01\0\0\0", 4), read.data(u""));
    }
}

TEST(RegistryText, KnowsTheRoots) {
    const Read read(kHeader +
                    "[HKEY_LOCAL_MACHINE\\a]\n[hkey_current_user\\b]\n[HKEY_USERS\\c]\n"
                    "[HKEY_CURRENT_CONFIG\\d]\n[HKEY_CLASSES_ROOT\\e]\n[HKEY_USERS]\n");
    EXPECT_NE(RegistryTree::kNone, read.tree.findKey(RegistryTree::LocalMachine, u"a"));
    EXPECT_NE(RegistryTree::kNone, read.tree.findKey(RegistryTree::CurrentUser, u"b"));
    EXPECT_NE(RegistryTree::kNone, read.tree.findKey(RegistryTree::Users, u"c"));
    EXPECT_NE(RegistryTree::kNone, read.tree.findKey(RegistryTree::CurrentConfig, u"d"));
    EXPECT_NE(RegistryTree::kNone, read.key(u"Software\\Classes\\e"));
    for (const char* const none : {"HKLM\\a", "HKEY_DYN_DATA\\a", "", "\\HKEY_USERS", "a"}) {
        EXPECT_TRUE(isRefused(kHeader + "[" + none + "]\n")) << none;
    }
}

TEST(RegistryText, TakesPathsAsTheyAre) {
    const Read read(kHeader + "[HKEY_LOCAL_MACHINE\\a]b\\\\c d;e\\] ; x\n");
    EXPECT_EQ(u"a]b", read.tree.name(read.key(u"a]b")));
    EXPECT_NE(RegistryTree::kNone, read.key(u"A]B\\C D;E"));
    const std::string longest(255, 'x');
    EXPECT_FALSE(isRefused(kHeader + "[HKEY_LOCAL_MACHINE\\" + longest + "]\n"));
    EXPECT_TRUE(isRefused(kHeader + "[HKEY_LOCAL_MACHINE\\" + longest + "x]\n"));
    EXPECT_TRUE(isRefused(kHeader + "[HKEY_LOCAL_MACHINE\\a\n"));
    EXPECT_TRUE(isRefused(kHeader + "[HKEY_LOCAL_MACHINE\\a] x\n"));
}

TEST(RegistryText, ReadsTexts) {
    EXPECT_EQ(stored("a\\b\"c"), Read(kKey + "\"v\"=\"a\\\\b\\\"c\"\n").data());
    EXPECT_EQ(stored("a\nb\r"), Read(kKey + "\"v\"=\"a\\nb\\r\"\n").data());
    EXPECT_EQ(stored(std::string("a\0b", 3)), Read(kKey + "\"v\"=\"a\\0b\"\n").data());
    // A backslash that somebody forgot to double.
    EXPECT_EQ(stored("C:\\temp"), Read(kKey + "\"v\"=\"C:\\temp\"\n").data());
    // Over several lines.
    EXPECT_EQ(stored("a\r\n[b]\r\n"), Read(kKey + "\"v\"=\"a\r\n[b]\r\n\"\r\n").data());
    EXPECT_EQ(1U, Read(kKey + "\"v\"=\"\"").type());
    EXPECT_EQ(stored("x"), Read(kKey + " \"v\" = \"x\" ; comment\n").data());
    EXPECT_TRUE(isRefused(kKey + "\"v\"=\"x\n"));
    EXPECT_TRUE(isRefused(kKey + "\"v\"=\"x"));
    EXPECT_TRUE(isRefused(kKey + "\"v"));
    EXPECT_TRUE(isRefused(kKey + "\"v\"=\"x\" y\n"));
    EXPECT_TRUE(isRefused(kKey + "\"v\"=x\n"));
    EXPECT_TRUE(isRefused(kKey + "\"v\"=\n"));
    EXPECT_TRUE(isRefused(kKey + "\"v\n\"=\"x\"\n"));
    EXPECT_TRUE(isRefused(kKey + "v=\"x\"\n"));
}

TEST(RegistryText, ReadsNumbers) {
    EXPECT_EQ("\x12\xEF\xCD\xAB", Read(kKey + "\"v\"=dword:abCDef12\n").data());
    EXPECT_EQ(4U, Read(kKey + "\"v\"=dword:0\n").type());
    for (const char* const bad : {"", "123456789", "x", "1x", "-1"}) {
        EXPECT_TRUE(isRefused(kKey + "\"v\"=dword:" + bad + "\n")) << bad;
    }
}

TEST(RegistryText, ReadsBytes) {
    EXPECT_EQ("\x01\xFF\x0A", Read(kKey + "\"v\"=hex:01,ff,a\n").data());
    EXPECT_EQ("", Read(kKey + "\"v\"=hex:\n").data());
    EXPECT_EQ(3U, Read(kKey + "\"v\"=hex:\n").type());
    EXPECT_EQ(0xABCDEFU, Read(kKey + "\"v\"=hex(abcdef):01\n").type());
    EXPECT_EQ(1U, Read(kKey + "\"v\"=hex(1):41,00\n").type());
    EXPECT_EQ(std::string("A\0", 2), Read(kKey + "\"v\"=hex(1):41,00\n").data());
    EXPECT_EQ("\x01\x02\x03", Read(kKey + "\"v\"=hex:01 , 02,\\ ; x\n\n ; y\n\t03 ; z\n").data());
    EXPECT_EQ("\x01\x02", Read(kKey + "\"v\"=hex:\\\n 01,\\\n02,\n").data());
    for (const char* const bad : {"100", "0x1", "1 2", "1,g", "g", "1,\\", "1,\\\n", "1,\\ 2\n3"}) {
        EXPECT_TRUE(isRefused(kKey + "\"v\"=hex:" + bad + "\n")) << bad;
    }
    for (const char* const bad :
         {"hex(:01", "hex():01", "hex(123456789):01", "hex(1)01", "hex(g):1"}) {
        EXPECT_TRUE(isRefused(kKey + "\"v\"=" + bad + "\n")) << bad;
    }
}

TEST(RegistryText, RemovesValuesAndKeys) {
    const Read read(kKey +
                    "\"v\"=\"1\"\n\"W\"=\"2\"\n\"V\"=-\n@=\"3\"\n@=-\n\"none\"=-\n\"w\"=\"4\"\n"
                    "[HKEY_LOCAL_MACHINE\\k\\a\\b]\n[HKEY_LOCAL_MACHINE\\k\\c]\n"
                    "[-HKEY_LOCAL_MACHINE\\K\\A]\n\"ignored\"=\"x\"\n"
                    "[-HKEY_LOCAL_MACHINE\\none\\at all]\n[-HKEY_LOCAL_MACHINE]\n"
                    "[-HKEY_CLASSES_ROOT]\n[HKEY_LOCAL_MACHINE\\k\\a]\n");
    const RegistryTree::Id key = read.key(u"k");
    EXPECT_EQ("none", read.data(u"v"));
    EXPECT_EQ("none", read.data(u""));
    ASSERT_EQ(1U, read.tree.valueCount(key));
    // The name is the first one's, the data the last one's.
    EXPECT_EQ(u"W", read.tree.value(key, 0).name);
    EXPECT_EQ(stored("4"), read.tree.value(key, 0).data);
    ASSERT_EQ(2U, read.tree.children(key).size());
    EXPECT_EQ(u"c", read.tree.name(read.tree.children(key)[0]));
    EXPECT_EQ(u"a", read.tree.name(read.tree.children(key)[1]));
    EXPECT_EQ(RegistryTree::kNone, read.key(u"k\\a\\b"));
}

TEST(RegistryText, NeedsAKeyForAValue) {
    EXPECT_TRUE(isRefused(kHeader + "\"v\"=\"x\"\n"));
    EXPECT_TRUE(isRefused(kHeader + "@=-\n"));
}

TEST(RegistryText, KeepsTheOrderOfTheFile) {
    const Read read(kKey +
                    "\"z\"=\"\"\n\"a\"=\"\"\n@=\"\"\n[HKEY_LOCAL_MACHINE\\k\\z]\n"
                    "[HKEY_LOCAL_MACHINE\\k\\a]\n[HKEY_LOCAL_MACHINE\\K]\n\"M\"=\"\"\n");
    const RegistryTree::Id key = read.key(u"k");
    std::u16string names;
    for (std::size_t i = 0; i < read.tree.valueCount(key); ++i) {
        names += read.tree.value(key, i).name + u",";
    }
    for (const RegistryTree::Id child : read.tree.children(key)) {
        names += read.tree.name(child) + u",";
    }
    EXPECT_EQ(u"z,a,,M,z,a,", names);
}

TEST(RegistryText, ComparesNamesAsWindowsDoes) {
    const Read read(kHeader + "[HKEY_LOCAL_MACHINE\\\xC3\xA9\xD0\xB6\xCF\x82]\n");
    EXPECT_NE(RegistryTree::kNone, read.key(u"\u00C9\u0416\u03C2"));
    // The final sigma is a letter of its own, and so is the sharp s.
    EXPECT_EQ(RegistryTree::kNone, read.key(u"\u00C9\u0416\u03C3"));
    EXPECT_EQ(u'\u00DF', upperCase(u'\u00DF'));
    EXPECT_EQ(u'\u0178', upperCase(u'\u00FF'));
    EXPECT_EQ(u'{', upperCase(u'{'));
    EXPECT_EQ(u'`', upperCase(u'`'));
}

TEST(RegistryText, IsReadInTimeThatGrowsWithItsSize) {
    // Keys, values and removals of one key, a deep path: nothing in it may be quadratic.
    std::string text = kHeader;
    for (int i = 0; i < 50000; ++i) {
        text += "[HKEY_LOCAL_MACHINE\\k\\" + std::to_string(i) + "]\n";
    }
    text += "[HKEY_LOCAL_MACHINE\\k]\n";
    for (int i = 0; i < 50000; ++i) {
        text += "\"" + std::to_string(i) + "\"=dword:1\n";
    }
    for (int i = 0; i < 50000; i += 2) {
        text += "\"" + std::to_string(i) + "\"=-\n";
    }
    for (int i = 0; i < 50000; i += 2) {
        text += "[-HKEY_LOCAL_MACHINE\\k\\" + std::to_string(i) + "]\n";
    }
    text += "[HKEY_LOCAL_MACHINE";
    for (int i = 0; i < 20000; ++i) {
        text += "\\d";
    }
    text += "]\n";
    const Read read(text);
    EXPECT_EQ(25000U, read.tree.children(read.key(u"k")).size());
    EXPECT_EQ(25000U, read.tree.valueCount(read.key(u"k")));
    EXPECT_EQ(u"1", read.tree.value(read.key(u"k"), 0).name);
}

}  // namespace
}  // namespace Tallowmere::platform
