#include "kest/platform/linux/Mof.h"

#include <gtest/gtest.h>

#include <string>

namespace Tallowmere::platform::mof {
namespace {

/// A value as text: "..." for a text, digits, words.
std::string described(const Value& value) {
    struct Describe {
        std::string operator()(const Null&) const { return "NULL"; }
        std::string operator()(const std::wstring& text) const {
            std::string result = "\"";
            for (const wchar_t c : text) {
                result += c < 0x7F && c >= 0x20 ? std::string(1, static_cast<char>(c))
                                                : "<" + std::to_string(static_cast<long>(c)) + ">";
            }
            return result + "\"";
        }
        std::string operator()(const Integer& number) const {
            return (number.isNegative ? "-" : "") + std::to_string(number.value);
        }
        std::string operator()(double number) const { return "real " + std::to_string(number); }
        std::string operator()(bool isTrue) const { return isTrue ? "TRUE" : "FALSE"; }
        std::string operator()(const Character& c) const {
            return "char " + std::to_string(static_cast<long>(c.value));
        }
        std::string operator()(const Array&) const { return "array"; }
    };
    return std::visit(Describe(), value);
}

/// What was read: "Class{name=value;...}" for each instance, and "damaged" at the end if it is.
std::string readText(std::string_view bytes) {
    std::vector<Instance> instances;
    const bool isWhole = read(bytes, instances);
    std::string result;
    for (const Instance& instance : instances) {
        result += std::string(instance.className.begin(), instance.className.end()) + "{";
        for (const Property& property : instance.properties) {
            result += std::string(property.name.begin(), property.name.end()) + "=" +
                      described(property.value) + ";";
        }
        result += "}";
    }
    return result + (isWhole ? "" : "damaged");
}

std::string valueOf(const std::string& text) {
    const std::string whole = readText("instance of C { P = " + text + "; };");
    return whole.starts_with("C{P=") ? whole.substr(4, whole.size() - 6) : whole;
}

TEST(Mof, ReadsInstances) {
    EXPECT_EQ(
        "SystemRestore{Description=\"Before\";RestorePointType=0;CreationTime=\"2024\";"
        "SequenceNumber=12;}Other{}",
        readText("instance of SystemRestore { Description = \"Before\"; RestorePointType = 0;\n"
                 "CreationTime = \"2024\"; SequenceNumber = 12; };\r\ninstance of Other {};"));
}

TEST(Mof, AnEmptyFileHasNoInstances) {
    EXPECT_EQ("", readText(""));
    EXPECT_EQ("", readText(" \t\r\n\v\f"));
    EXPECT_EQ("", readText("// nothing"));
    EXPECT_EQ("", readText("/* nothing */"));
}

TEST(Mof, TakesKeywordsInAnyCase) {
    EXPECT_EQ("C{a=NULL;b=TRUE;c=FALSE;}",
              readText("INSTANCE Of C AS $x {a=null;b=True;c=fAlse;};"));
}

TEST(Mof, SkipsCommentsAnywhere) {
    EXPECT_EQ("C{P=\"ab\";}", readText("// one\n/* two\n * three */instance/**/of//x\r"
                                       "C/***/{P/*=*/=/* */\"a\"/* between */\"b\"//\n;/*/ */}//\n;"
                                       "// last"));
    EXPECT_EQ("C{P=\"/* // */\";}", readText("instance of C{P=\"/* // */\";};"));
}

TEST(Mof, ReadsEscapes) {
    EXPECT_EQ("\"<8><9><10><12><13>\"'\\\"", valueOf(R"("\b\t\n\f\r\"\'\\")"));
    EXPECT_EQ("\"A<228><26085>z\"", valueOf(R"("\x41\xE4\X65e5z")"));
    EXPECT_EQ("\"<10>g\"", valueOf(R"("\xAg")"));
    // No more than four digits belong to it.
    EXPECT_EQ("\"<4660>5\"", valueOf(R"("\x12345")"));
    // Two units are one character.
    EXPECT_EQ("\"<128512>\"", valueOf(R"("\xD83D\xDE00")"));
    EXPECT_EQ("\"<56832><55357>\"", valueOf(R"("\xDE00\xD83D")"));
}

TEST(Mof, ConcatenatesStrings) {
    EXPECT_EQ("\"one two\"", valueOf("\"one\" \" \"\n\"two\""));
    EXPECT_EQ("\"\"", valueOf("\"\"\"\""));
}

TEST(Mof, ReadsIntegers) {
    EXPECT_EQ("0", valueOf("0"));
    EXPECT_EQ("12", valueOf("12"));
    EXPECT_EQ("12", valueOf("+12"));
    EXPECT_EQ("-12", valueOf("-12"));
    EXPECT_EQ("255", valueOf("0xFf"));
    EXPECT_EQ("171", valueOf("0XaB"));
    EXPECT_EQ("11", valueOf("0x0B"));
    EXPECT_EQ("5", valueOf("101b"));
    EXPECT_EQ("-2", valueOf("-10B"));
    EXPECT_EQ("8", valueOf("010"));
    EXPECT_EQ("4294967295", valueOf("4294967295"));
    EXPECT_EQ("18446744073709551615", valueOf("18446744073709551615"));
    EXPECT_EQ("-9223372036854775808", valueOf("-9223372036854775808"));
}

TEST(Mof, RefusesWhatIsNoInteger) {
    for (const char* text :
         {"18446744073709551616", "-9223372036854775809", "0x10000000000000000", "08", "12x", "x12",
          "0x", "0xG", "2b", "b", "-", "+", "--1", "1 2", "1_2", "12-3"}) {
        EXPECT_EQ("damaged", valueOf(text)) << text;
    }
}

TEST(Mof, ReadsRealNumbers) {
    EXPECT_EQ("real 1.500000", valueOf("1.5"));
    EXPECT_EQ("real -0.250000", valueOf("-.25"));
    EXPECT_EQ("real 1500.000000", valueOf("+1.5E+3"));
    EXPECT_EQ("real 0.015000", valueOf("1.5e-2"));
    EXPECT_EQ("real 0.000000", valueOf("1.0e999"));
    for (const char* text : {"1.", ".", "1.5e", "1.5e+", "1.5.2", "1e5", "1.5x", "- 1.5"}) {
        EXPECT_EQ("damaged", valueOf(text)) << text;
    }
}

TEST(Mof, ReadsCharacters) {
    EXPECT_EQ("char 97", valueOf("'a'"));
    EXPECT_EQ("char 39", valueOf(R"('\'')"));
    EXPECT_EQ("char 65", valueOf(R"('\x41')"));
    EXPECT_EQ("damaged", valueOf("''"));
    EXPECT_EQ("damaged", valueOf("'ab'"));
}

TEST(Mof, ReadsArraysWithoutTheirElements) {
    EXPECT_EQ("array", valueOf("{}"));
    EXPECT_EQ("array", valueOf("{1}"));
    EXPECT_EQ("array", valueOf("{ \"a\" \"b\", -2, NULL, 'c', TRUE, 1.5 }"));
    for (const char* text : {"{", "{1,}", "{,}", "{1 2}", "{{1}}", "{1,2"}) {
        EXPECT_EQ("damaged", valueOf(text)) << text;
    }
}

TEST(Mof, SkipsQualifiersPragmasAndAliases) {
    EXPECT_EQ("C{P=1;}", readText("#pragma namespace(\"\\\\\\\\.\\\\root\\\\default\")\n"
                                  "#PRAGMA locale (\"en\" \"_US\")\n"
                                  "[Locale(1033), Description(\"with ] in it\")] "
                                  "instance of C as $Alias { [key] P = 1; };"));
    for (const char* text :
         {"#", "#pragma", "#pragma x", "#pragma x(", "#pragma x()", "#pragma x(\"a\"",
          "#other x(\"\")", "[", "[a", "[\"]", "[a] ", "instance of C as {};",
          "instance of C as $ {};", "instance of C as Alias {};"}) {
        EXPECT_EQ("damaged", readText(text)) << text;
    }
}

TEST(Mof, KeepsWhatStandsBeforeTheDamage) {
    EXPECT_EQ("C{P=1;}damaged", readText("instance of C {P=1;}; instance of D {P=1"));
    EXPECT_EQ("C{}damaged", readText("instance of C {}; }"));
    EXPECT_EQ("C{}damaged", readText("instance of C {};;"));
}

TEST(Mof, RefusesDamagedDeclarations) {
    for (const char* text : {"x",
                             "instance",
                             "instance of",
                             "instance of C",
                             "instance of C {",
                             "instance of C {}",
                             "instance of C { P };",
                             "instance of C { P = };",
                             "instance of C { P = 1 };",
                             "instance of C { = 1; };",
                             "instance of C { P 1; };",
                             "instance of 1C {};",
                             "instanceof C {};",
                             "class C {};",
                             "/*",
                             "/* *",
                             "/",
                             "{};",
                             "instance of C { P = 1; P = 2; };",
                             "instance of C { P = 1; p = 2; };",
                             "instance of C { P = $Alias; };",
                             "instance of C { P = \"; };",
                             "instance of C { P = \"a\nb\"; };",
                             "instance of C { P = \"a\rb\"; };",
                             R"(instance of C { P = "\q"; };)",
                             R"(instance of C { P = "\x"; };)",
                             R"(instance of C { P = "\x0"; };)",
                             R"(instance of C { P = "\)",
                             "instance of C /* { P = 1; };",
                             "instance of C { P = 1; /* };"}) {
        EXPECT_EQ("damaged", readText(text)) << text;
    }
    EXPECT_EQ("damaged", readText(std::string_view("\0", 1)));
    EXPECT_EQ("damaged", readText(std::string_view("instance of C { P = \"\0\"; };", 27)));
}

TEST(Mof, ReadsUtf8) {
    EXPECT_EQ("\"<228><26085><128512>\"", valueOf("\"\u00E4\u65E5\U0001F600\""));
    EXPECT_EQ("C{}", readText("\xEF\xBB\xBFinstance of C {};"));
    for (const char* text :
         {"\"\x80\"", "\"\xC3\"", "\"\xC0\x80\"", "\"\xED\xA0\x80\"", "\"\xFF\""}) {
        EXPECT_EQ("damaged", valueOf(text)) << text;
    }
}

TEST(Mof, ReadsUtf16WithAMark) {
    const auto wide = [](std::u16string_view text, bool isBigEndian) {
        std::string bytes;
        for (const char16_t unit : text) {
            const char low = static_cast<char>(unit & 0xFF);
            const char high = static_cast<char>(unit >> 8);
            bytes += isBigEndian ? high : low;
            bytes += isBigEndian ? low : high;
        }
        return bytes;
    };
    const std::u16string_view text = u"\uFEFFinstance of C {P=\"\u00E4\U0001F600\";};";
    EXPECT_EQ("C{P=\"<228><128512>\";}", readText(wide(text, false)));
    EXPECT_EQ("C{P=\"<228><128512>\";}", readText(wide(text, true)));
    EXPECT_EQ("damaged", readText(wide(text, false) + "x"));
}

TEST(Mof, EndsAtEachPointOfAWholeFile) {
    // Cut anywhere, a file is damaged, unless the cut is between declarations.
    const std::string whole =
        "/*c*/ #pragma p(\"x\") [q(\"]\")] instance of C as $A { P = \"a\\x41\" 'b'; };";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        std::vector<Instance> instances;
        const bool isWhole = read(whole.substr(0, length), instances);
        EXPECT_EQ(length == 0 || length == 5 || length == 6 || length == 20 || length == 21,
                  isWhole)
            << length;
    }
}

TEST(Mof, ComparesNamesWithoutRegardToTheCaseOfAsciiLetters) {
    EXPECT_TRUE(isSameName(L"SystemRestore", L"systemRESTORE"));
    EXPECT_TRUE(isSameName(L"", L""));
    EXPECT_FALSE(isSameName(L"a", L"ab"));
    EXPECT_FALSE(isSameName(L"\u00E4", L"\u00C4"));
    EXPECT_FALSE(isSameName(L"[", L"{"));
}

}  // namespace
}  // namespace Tallowmere::platform::mof
