// What each scenario does when nothing goes wrong.
#include <gtest/gtest.h>
#include <iostream>

#include "kest/platform/transactions/testing/Scenario.h"

namespace Tallowmere::platform::transactions::testing {
namespace {

class ScenarioTest : public ::testing::TestWithParam<Scenario> {};

TEST_P(ScenarioTest, Clean) {
    const Trial trial(GetParam());
    EXPECT_EQ(0U, trial.answer);
    std::cout << trial.steps.size() << " steps\n" << difference(trial.before, trial.after);
}

INSTANTIATE_TEST_SUITE_P(All, ScenarioTest, ::testing::ValuesIn(scenarios()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace Tallowmere::platform::transactions::testing
