// When the power is cut at any step and any part of what was not synced is lost, there is the old
// or the new and nothing else, once the next transaction has looked; and the new, once the
// operation has answered.

#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>

#include "kest/platform/transactions/testing/Depth.h"
#include "kest/platform/transactions/testing/Recoveries.h"

namespace Tallowmere::platform::transactions::testing {
namespace {

using platform::testing::MemoryDisk;
using platform::testing::MemoryStore;
using platform::testing::Primitive;

class PowerCutTest : public ::testing::TestWithParam<Scenario> {};

TEST_P(PowerCutTest, CutAtEachStep) {
    const Trial trial(GetParam());
    ASSERT_EQ(0U, trial.answer);
    Recoveries recoveries(trial, true, {});
    MemoryStore store = trial.start;
    MemoryDisk disk(store);
    disk.clock.watch = [&](int step, Primitive primitive) {
        if (changes(primitive)) {
            const auto how = [&] {
                return "before step " + std::to_string(step) + " (" + nameOf(primitive) + ")";
            };
            recoveries.addFound(store, Expected::OldOrNew, how);
            recoveries.addCuts(store, Expected::OldOrNew, how);
        }
    };
    ASSERT_EQ(0U, operate(trial.scenario, disk));
    recoveries.addCuts(store, Expected::New, [] { return "after the answer"; });
    // The states that the operation itself leaves come first, then those of a look that is
    // interrupted, and so on.
    recoveries.run(isFullDepth() ? SIZE_MAX : 1200);
    EXPECT_EQ("", recoveries.failure());
    EXPECT_TRUE(recoveries.unvisited() == 0 || !isFullDepth());
    RecordProperty("states", static_cast<int>(recoveries.states()));
    std::cout << recoveries.states() << " states, " << recoveries.looks() << " looked at, "
              << recoveries.unvisited() << " left\n";
}

INSTANTIATE_TEST_SUITE_P(All, PowerCutTest, ::testing::ValuesIn(scenarios()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace Tallowmere::platform::transactions::testing
