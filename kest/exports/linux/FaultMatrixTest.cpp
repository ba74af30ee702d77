// The matrix of faults: every call of the seam that any public operation makes fails in turn, once
// and from there on. What comes of it is what the operation promises for that call, and afterwards
// everything works as if nothing had happened.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <set>

#include "kest/diagnostics/SystemErrors.h"
#include "kest/exports/linux/testing/Operations.h"
#include "kest/platform/testing/FaultSweep.h"
#include "kest/platform/testing/GivesComBack.h"

namespace Tallowmere::testing {
namespace {

using platform::testing::Fault;
using platform::testing::FaultSpan;

/// All but the calls that make the texts of errors: when those fail, too, the texts are others.
constexpr std::uint32_t kAllButErrors = 0xFFFFFFFFU & ~std::uint32_t{platform::testing::Errors};

std::string replaced(std::string text, const std::string& mark, const std::string& by) {
    const std::size_t at = text.find(mark);
    return at == std::string::npos ? text : text.replace(at, mark.size(), by);
}

/// The outcomes that are promised for a call with that error.
std::set<std::string> promised(const Operation& operation, const std::string& call, DWORD error,
                               const std::string& clean) {
    const auto found = operation.promises.find(call);
    if (found == operation.promises.end()) {
        return {clean};
    }
    std::set<std::string> outcomes;
    for (const std::string& outcome : found->second) {
        outcomes.insert(outcome.empty() ? clean
                                        : replaced(outcome, "%E",
                                                   plain(getSystemErrorMessage(error, nullptr))));
    }
    return outcomes;
}

struct Column {
    int tried = 0;
    int unnoticed = 0;
};

Column sweep(const Operation& operation, FaultSpan span) {
    std::string clean;
    std::unique_ptr<Attempt> attempt;
    Column column;
    operation.before();
    column.tried = platform::testing::sweepFaults(
        span == FaultSpan::Once ? 0xFFFFFFFFU : kAllButErrors, span,
        [&] {
            attempt = std::make_unique<Attempt>(operation);
            attempt->run();
        },
        [&](const Fault& fault) {
            const std::string found = attempt->outcome();
            const std::string call(fault.call.begin(), fault.call.end());
            if (fault.number == 0) {
                clean = found;
            } else if (span == FaultSpan::Once) {
                const std::set<std::string> outcomes =
                    promised(operation, call, fault.error, clean);
                EXPECT_EQ(1U, outcomes.count(found)) << operation.name << ": " << call << " (call "
                                                     << fault.number << ") fails: " << found;
            } else {
                // Many calls have failed by then: it is an outcome of one of them.
                EXPECT_NE(std::string::npos, found.find_first_not_of(' ')) << operation.name;
                EXPECT_EQ(std::string::npos, found.find("neither"))
                    << operation.name << ": " << found;
                EXPECT_EQ(std::string::npos, found.find("DEAD")) << operation.name << ": " << found;
                EXPECT_EQ(std::string::npos, found.find("no exception of")) << operation.name;
                EXPECT_EQ(std::string::npos, found.find("another exception")) << operation.name;
            }
            column.unnoticed += fault.number != 0 && found == clean ? 1 : 0;
            // Nothing stays behind: another thread can log, and the same works again.
            EXPECT_TRUE(World::isTraceFree());
            operation.before();
            Attempt again(operation);
            again.run();
            EXPECT_EQ(clean, again.outcome()) << operation.name << " after " << call;
            operation.before();
        });
    return column;
}

TEST(FaultMatrix, EveryCallOfEveryOperationFailsInTurn) {
    const platform::testing::GivesComBack atTheEnd;
    World world;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("%-38s %18s %18s\n%-38s %9s %8s %9s %8s\n", "", "once", "from there on",
                "operation", "faults", "unseen", "faults", "unseen");
    int all = 0;
    for (const Operation& operation : world.operations()) {
        const Column once = sweep(operation, FaultSpan::Once);
        const Column forGood = sweep(operation, FaultSpan::FromThereOn);
        std::printf("%-38s %9d %8d %9d %8d\n", operation.name.c_str(), once.tried, once.unnoticed,
                    forGood.tried, forGood.unnoticed);
        all += once.tried + forGood.tried;
    }
    std::printf("%-38s %9d faults\n", "all operations", all);
    EXPECT_GT(all, 800);
}

}  // namespace
}  // namespace Tallowmere::testing
