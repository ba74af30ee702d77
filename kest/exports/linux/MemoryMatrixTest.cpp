// The matrix of memory: every allocation of every public operation fails in turn, that one alone
// and from there on. An operation then tells so or does what it promises; a tree is the old one or
// the new one; and afterwards everything works as if nothing had happened.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>

#include "kest/exports/linux/testing/Operations.h"
#include "kest/platform/linux/testing/FailingAllocation.h"
#include "kest/platform/testing/GivesComBack.h"

namespace Tallowmere::testing {
namespace {

using platform::testing::FailingAllocation;

/// Whether an outcome is one that an operation may have when there is no memory.
bool isAllowed(const Operation& operation, std::string outcome, const std::string& clean) {
    // Without memory to clear up a stage is left for the next one that comes by.
    const std::string left = " with a stage left";
    if (outcome.ends_with(left)) {
        outcome.resize(outcome.size() - left.size());
    }
    if (outcome == clean) {
        return true;
    }
    // A call that had no memory fails like any other, and what is promised then holds.
    for (const auto& [call, outcomes] : operation.promises) {
        for (const std::string& promised : outcomes) {
            const std::size_t error = promised.find("%E");
            if (error == std::string::npos ? outcome == promised
                                           : outcome.starts_with(promised.substr(0, error)) &&
                                                 outcome.ends_with(promised.substr(error + 2))) {
                return true;
            }
        }
    }
    // A tree that is told to be unchanged is unchanged.
    if (outcome.ends_with("; old")) {
        outcome.resize(outcome.size() - 5);
    }
    for (const std::string& other : operation.withoutMemory) {
        if (outcome == other) {
            return true;
        }
    }
    // Thrown; or told to a caller in C, with a text if there was memory for it. A text says what it
    // was, in the words or the number of the service that ran out.
    const std::string memory[] = {
        "std::bad_alloc", "Not enough memory resources are available to process this command.",
        "0x8007000e", "0x80041006", "failed: Out of memory"};
    return outcome == "bad_alloc" || outcome == "false" ||
           ((outcome.starts_with("runtime_error: ") || outcome.starts_with("false: ")) &&
            std::any_of(std::begin(memory), std::end(memory),
                        [&](const std::string& end) { return outcome.ends_with(end); }));
}

std::string outcomeOf(const Operation& operation) {
    Attempt attempt(operation);
    attempt.run();
    return attempt.outcome();
}

struct Column {
    int tried = 0;
    int told = 0;
};

Column sweep(const Operation& operation, bool once) {
    operation.before();
    const std::string clean = outcomeOf(operation);
    Column column;
    for (int number = 1; number < 20000; ++number) {
        operation.before();
        Attempt attempt(operation);
        int failed = 0;
        {
            const FailingAllocation failing(number, once);
            attempt.run();
            failed = failing.failed();
        }
        const std::string outcome = attempt.outcome();
        if (failed == 0) {
            EXPECT_EQ(clean, outcome) << operation.name;
            return column;
        }
        ++column.tried;
        column.told += outcome == clean ? 0 : 1;
        EXPECT_TRUE(isAllowed(operation, outcome, clean))
            << operation.name << ": allocation " << number << " fails: " << outcome;
        operation.before();
        EXPECT_TRUE(World::isTraceFree()) << operation.name << ": allocation " << number;
        operation.before();
        EXPECT_EQ(clean, outcomeOf(operation)) << operation.name << " after allocation " << number;
    }
    ADD_FAILURE() << operation.name << " does not end";
    return column;
}

TEST(MemoryMatrix, EveryAllocationOfEveryOperationFailsInTurn) {
    const platform::testing::GivesComBack atTheEnd;
    World world;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("%-38s %18s %18s\n%-38s %9s %8s %9s %8s\n", "", "once", "from there on",
                "operation", "failed", "told", "failed", "told");
    int all = 0;
    for (const Operation& operation : world.operations()) {
        const Column once = sweep(operation, true);
        const Column forGood = sweep(operation, false);
        std::printf("%-38s %9d %8d %9d %8d\n", operation.name.c_str(), once.tried, once.told,
                    forGood.tried, forGood.told);
        all += once.tried + forGood.tried;
    }
    std::printf("%-38s %9d allocations\n", "all operations", all);
    EXPECT_GT(all, 500);
}

}  // namespace
}  // namespace Tallowmere::testing
