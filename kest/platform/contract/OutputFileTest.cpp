#include "kest/platform/OutputFile.h"

#include <gtest/gtest.h>

#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

TEST(OutputFileContract, WhatItIsGivenIsInTheFileAtOnce) {
    const testing::TempTree tree;
    OutputFile file;
    EXPECT_FALSE(file.isOpen());
    ASSERT_TRUE(file.open((tree / "file").string()));
    EXPECT_TRUE(file.isOpen());
    EXPECT_EQ("", tree.read("file"));
    EXPECT_EQ('a', file.sputc('a'));
    EXPECT_EQ("a", tree.read("file"));
    EXPECT_EQ(2, file.sputn("bc", 2));
    EXPECT_EQ("abc", tree.read("file"));
    EXPECT_EQ(3, file.write("def", 3));
    EXPECT_EQ("abcdef", tree.read("file"));
    EXPECT_EQ(0, file.write("g", 0));
    EXPECT_EQ("abcdef", tree.read("file"));
}

TEST(OutputFileContract, WithoutAFileItTakesNothing) {
    const testing::TempTree tree;
    OutputFile file;
    EXPECT_FALSE(file.open((tree / "missing" / "file").string()));
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(0, file.write("abc", 3));
    EXPECT_EQ(0, file.sputn("abc", 3));
    EXPECT_EQ(std::char_traits<char>::eof(), file.sputc('a'));
    EXPECT_FALSE(tree.exists("missing"));
}

}  // namespace
}  // namespace Tallowmere::platform
