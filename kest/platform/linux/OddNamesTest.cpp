// Names that are meant to deceive whoever reads the trace: line feeds, tabs, escape sequences, a whole
// line of a trace. They are copied and deleted like any other.

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "kest/diagnostics/Recorder.h"
#include "kest/diagnostics/testing/FixedTrace.h"
#include "kest/platform/testing/TempTree.h"
#include "kest/transacted/TransactedFS.h"

namespace Tallowmere {
namespace {

const std::string kNames[] = {
    "line\nfeed",
    "tab\tand\rreturn",
    "\x1B[31mred\x1B]0;title\x07",
    "\nNovember 16, 2026, 5:35:54.123 AM\tERROR   \tT1\tTransactedFS:L00001\tspoofed",
    "!~Sev:ERROR",
    "%s%n%x",
    "\xFF\xFE stray bytes",
};

TEST(OddNames, AreCopiedAndDeletedAndTracedAsTheyStand) {
    const testing::FixedTrace fixed;
    platform::testing::TempTree tree;
    std::wostringstream trace;
    Recorder::instance()->setStream(&trace, nullptr, false);
    for (const std::string& name : kNames) {
        tree.write("from/" + name + "/" + name, name);
    }
    const auto source = tree.snapshot("from");
    CopyDirectoryTransacted(tree.wide("from"), tree.wide("to"));
    EXPECT_EQ(source, tree.snapshot("to"));
    // Deliberate: the pieces of a line are neither escaped nor cut. Who shows a trace on a terminal
    // has to see to it.
    for (const std::string& name : kNames) {
        if (name[0] != '\xFF') {
            EXPECT_NE(std::wstring::npos,
                      trace.str().find(L"\\" + std::wstring(name.begin(), name.end()) + L"\\"))
                << name;
        }
    }
    DeleteDirectoryTransacted(tree.wide("to"));
    EXPECT_FALSE(tree.exists("to"));
    EXPECT_EQ(source, tree.snapshot("from"));
    Recorder::destroy();
}

}  // namespace
}  // namespace Tallowmere
