#include "trace/Merge.h"

#include <gtest/gtest.h>

#include "trace/testing/Fixtures.h"

namespace Tallowmere::command::trace {
namespace {

using testing::lineAt;
using testing::TextBytes;

std::string messagesOf(Merge& merge) {
    std::string all;
    while (const Entry* const entry = merge.next()) {
        all += entry->kind == Entry::Kind::line ? entry->line.message : "?";
        all += ' ';
    }
    return all;
}

TEST(TraceMerge, OrdersByTimeAndThenByFile) {
    TextBytes a(lineAt("5:00:00.000 AM", "a1") + "\n" + lineAt("5:00:02.000 AM", "a2") + "\n" +
                lineAt("5:00:02.000 AM", "a3") + "\n");
    TextBytes b(lineAt("5:00:00.000 AM", "b1") + "\n" + lineAt("5:00:01.000 AM", "b2") + "\n" +
                lineAt("5:00:02.000 AM", "b3") + "\n");
    TextBytes c("");
    Reader first(a, 0, false);
    Reader second(b, 1, false);
    Reader third(c, 2, false);
    Merge merge({&first, &second, &third});
    EXPECT_EQ("a1 b1 b2 a2 a3 b3 ", messagesOf(merge));
    EXPECT_EQ(nullptr, merge.next());
}

TEST(TraceMerge, KeepsTheOrderOfEachFile) {
    // A clock that was set back, and what is no line, stay where they are.
    TextBytes a(lineAt("5:00:05.000 AM", "a1") + "\n" + lineAt("5:00:01.000 AM", "a2") +
                "\nrest\n" + lineAt("5:00:07.000 AM", "a3") + "\n");
    TextBytes b(lineAt("5:00:02.000 AM", "b1") + "\n" + lineAt("5:00:06.000 AM", "b2") + "\n");
    Reader first(a, 0, false);
    Reader second(b, 1, false);
    Merge merge({&first, &second});
    EXPECT_EQ("b1 a1 a2 ? b2 a3 ", messagesOf(merge));
}

TEST(TraceMerge, GoesOnWithFilesThatHaveGrown) {
    TextBytes a(lineAt("5:00:05.000 AM", "a1") + "\n");
    TextBytes b("");
    Reader first(a, 0, true);
    Reader second(b, 1, true);
    Merge merge({&first, &second});
    EXPECT_EQ("a1 ", messagesOf(merge));
    EXPECT_EQ("", messagesOf(merge));
    a.append(lineAt("5:00:09.000 AM", "a2") + "\n");
    b.append(lineAt("5:00:01.000 AM", "b1") + "\n" + lineAt("5:00:10.000 AM", "b2") + "\n");
    EXPECT_EQ("b1 a2 b2 ", messagesOf(merge));
}

}  // namespace
}  // namespace Tallowmere::command::trace
