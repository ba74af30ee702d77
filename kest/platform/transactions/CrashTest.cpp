// A process that is killed at any step leaves the old or the new and nothing else, once the next
// transaction has looked; also when that one is killed, and the next.

#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>

#include "kest/platform/transactions/testing/Recoveries.h"

namespace Tallowmere::platform::transactions::testing {
namespace {

using platform::testing::MemoryDisk;
using platform::testing::MemoryStore;
using platform::testing::Stopped;

class CrashTest : public ::testing::TestWithParam<Scenario> {};

TEST_P(CrashTest, StoppedAtEachStep) {
    const Trial trial(GetParam());
    ASSERT_EQ(0U, trial.answer);
    ASSERT_NE(trial.before, trial.after);
    Recoveries recoveries(trial, false, {});
    for (int step = 1; step <= static_cast<int>(trial.steps.size()); ++step) {
        MemoryStore store = trial.start;
        {
            MemoryDisk disk(store);
            disk.clock.stopAt(step);
            EXPECT_THROW((void)operate(trial.scenario, disk), Stopped) << step;
            if (trial.scenario.isOneStep) {
                // What a reader sees at this moment, before anybody has looked.
                const Snapshot seen = withoutStages(everything(store));
                ASSERT_TRUE(trial.isWhole(seen))
                    << "stopped before step " << step << " (" << nameOf(disk.clock.met()) << ")\n"
                    << difference(trial.before, seen);
            }
            recoveries.addFound(store, Expected::OldOrNew, [&] {
                return "killed before step " + std::to_string(step) + " (" +
                       nameOf(disk.clock.met()) + ")";
            });
        }
    }
    recoveries.run(SIZE_MAX);
    EXPECT_EQ("", recoveries.failure());
    RecordProperty("states", static_cast<int>(recoveries.states()));
    std::cout << trial.steps.size() << " steps, " << recoveries.states() << " states\n";
}

INSTANTIATE_TEST_SUITE_P(All, CrashTest, ::testing::ValuesIn(scenarios()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace Tallowmere::platform::transactions::testing
