#include "kest/registry/Program.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace Tallowmere {
namespace {

using Texts = std::vector<std::wstring>;

TEST(Program, BeginsWithANameAndExtensions) {
    const Program fromText(L"Writer", L"doc, txt ,,rtf");
    EXPECT_EQ(L"Writer", fromText.getName());
    EXPECT_EQ((Texts{L"doc", L"txt", L"rtf"}), fromText.getExtensions());
    EXPECT_EQ(L"", fromText.getPath());
    EXPECT_EQ(L"", fromText.getOptions());
    const Program fromList(L"Writer", Texts{L" doc ", L"", L"a,b"});
    EXPECT_EQ((Texts{L" doc ", L"", L"a,b"}), fromList.getExtensions());
    EXPECT_EQ(Texts(), Program(L"x", L"").getExtensions());
}

TEST(Program, ReplacesAndAddsExtensions) {
    Program program(L"Writer", Texts{L"doc"});
    program.addExtensions(L"doc,txt");
    EXPECT_EQ((Texts{L"doc", L"doc", L"txt"}), program.getExtensions());
    program.addExtensions(Texts{L"txt", L" "});
    EXPECT_EQ((Texts{L"doc", L"doc", L"txt", L"txt", L" "}), program.getExtensions());
    program.setExtensions(L"a,b");
    EXPECT_EQ((Texts{L"a", L"b"}), program.getExtensions());
    program.setExtensions(Texts{L"c"});
    EXPECT_EQ(Texts{L"c"}, program.getExtensions());
    program.setExtensions(L"");
    EXPECT_EQ(Texts(), program.getExtensions());
}

TEST(Program, PutsABlankBehindThePath) {
    Program program(L"x", L"");
    EXPECT_EQ(L" ", program.getCommand());
    program.setPath(L"C:\\x\\a.exe");
    EXPECT_EQ(L"C:\\x\\a.exe", program.getPath());
    EXPECT_EQ(L"C:\\x\\a.exe ", program.getCommand());
    program.setPath(L"C:\\Program Files\\a.exe");
    program.setOptions(L"/q \"x\"");
    EXPECT_EQ(L"/q \"x\"", program.getOptions());
    EXPECT_EQ(L"C:\\Program Files\\a.exe /q \"x\"", program.getCommand());
}

TEST(Program, CloneHasAllOfIt) {
    Program program(L"Writer", L"doc,txt");
    program.setPath(L"p");
    program.setOptions(L"o");
    const std::unique_ptr<Program> clone(program.clone());
    program.setPath(L"");
    program.setOptions(L"");
    program.setExtensions(L"");
    EXPECT_EQ(L"Writer", clone->getName());
    EXPECT_EQ(L"p o", clone->getCommand());
    EXPECT_EQ((Texts{L"doc", L"txt"}), clone->getExtensions());
}

TEST(Program, AssigningCopiesAllFourFields) {
    Program program(L"name", L"doc, txt");
    program.setPath(L"path");
    program.setOptions(L"options");
    Program other(L"other", L"");
    other = program;
    program.setPath(L"changed");
    EXPECT_EQ(L"name", other.getName());
    EXPECT_EQ(L"path options", other.getCommand());
    EXPECT_EQ((Texts{L"doc", L"txt"}), other.getExtensions());
}

TEST(Program, AsksADerivedClassForItsOptions) {
    class Derived : public Program {
    public:
        Derived() : Program(L"x", L"") {}
        std::wstring getOptions() const override { return L"derived"; }
    };
    Derived derived;
    derived.setPath(L"p");
    EXPECT_EQ(L"p derived", derived.getCommand());
}

static_assert(std::has_virtual_destructor_v<Program>);
static_assert(!std::is_copy_constructible_v<Program>);
static_assert(std::is_copy_assignable_v<Program>);

}  // namespace
}  // namespace Tallowmere
