// When any step fails with any of its errors, the operation answers with an error and the disk is
// as it was, or it is done and says so; and nothing is left beside it.

#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>

#include "kest/platform/transactions/testing/Depth.h"
#include "kest/platform/transactions/testing/Recoveries.h"

namespace Tallowmere::platform::transactions::testing {
namespace {

using platform::testing::errorsOf;
using platform::testing::MemoryDisk;
using platform::testing::MemoryFaultSpan;
using platform::testing::MemoryStore;
using platform::testing::Primitive;

/// Steps that clearing up consists of. When one of them fails, a stage may be left for the next.
bool isClearing(Primitive primitive) {
    switch (primitive) {
        case Primitive::OpenBelow:
        case Primitive::Describe:
        case Primitive::List:
        case Primitive::Next:
        case Primitive::CheckSameVolume:
        case Primitive::RemoveFile:
        case Primitive::RemoveDirectory:
        case Primitive::SyncVolume:
        case Primitive::SyncDirectory:
            return true;
        default:
            return false;
    }
}

class FailureTest : public ::testing::TestWithParam<Scenario> {
protected:
    static std::string text(int step, Primitive primitive, DWORD error, MemoryFaultSpan span) {
        static constexpr const char* kSpans[] = {"once", "each time from there on",
                                                 "with all that follows"};
        return "step " + std::to_string(step) + " (" + nameOf(primitive) + ") failed with " +
               (error == platform::testing::kThrows ? "an exception" : std::to_string(error)) +
               ", " + kSpans[static_cast<int>(span)];
    }

    /// Runs the operation with each fault of a span in turn. `meanwhile` is called before each
    /// later step that changes something, `check` in the end.
    template <class Meanwhile, class Check>
    static int sweep(const Trial& trial, MemoryFaultSpan span, Meanwhile meanwhile, Check check) {
        int runs = 0;
        for (std::size_t step = 0; step < trial.steps.size(); ++step) {
            for (const DWORD error : errorsOf(trial.steps[step])) {
                const int number = static_cast<int>(step) + 1;
                const auto how = [&] { return text(number, trial.steps[step], error, span); };
                MemoryStore store = trial.start;
                DWORD answer = ERROR_SUCCESS;
                {
                    MemoryDisk disk(store);
                    disk.clock.failAt(number, error, span);
                    disk.clock.watch = [&](int now, Primitive primitive) {
                        if (now > number && changes(primitive)) {
                            meanwhile(store, [&] {
                                return how() + ", before step " + std::to_string(now) + " (" +
                                       nameOf(primitive) + ")";
                            });
                        }
                    };
                    answer = operate(trial.scenario, disk);
                }
                ++runs;
                check(
                    store, answer, [&] { return how() + ", answered " + std::to_string(answer); },
                    trial.steps[step]);
                if (HasFailure()) {
                    return runs;
                }
            }
        }
        return runs;
    }
};

TEST_P(FailureTest, OnceEachStep) {
    const Trial trial(GetParam());
    ASSERT_EQ(0U, trial.answer);
    Recoveries recoveries(trial, false, {});
    int asked = 0;
    const int runs = sweep(
        trial, MemoryFaultSpan::Once,
        [&](const MemoryStore& store, const Recoveries::How& how) {
            if (isFullDepth() || ++asked % 8 == 0) {
                recoveries.addCuts(store, Expected::OldOrNew, how);
            }
        },
        [&](const MemoryStore& store, DWORD answer, const Recoveries::How& how, Primitive failed) {
            const bool isDone = answer == ERROR_SUCCESS;
            const Snapshot& expected = isDone ? trial.after : trial.before;
            const Snapshot found = everything(store);
            EXPECT_EQ("", difference(expected, isClearing(failed) ? withoutStages(found) : found))
                << how();
            recoveries.addFound(store, isDone ? Expected::New : Expected::Old, how);
            recoveries.addCuts(store, isDone ? Expected::New : Expected::Old, how);
        });
    recoveries.run(SIZE_MAX);
    EXPECT_EQ("", recoveries.failure());
    RecordProperty("states", static_cast<int>(recoveries.states()));
    std::cout << runs << " faults, " << recoveries.states() << " states\n";
}

TEST_P(FailureTest, EachTimeFromAStepOn) {
    const Trial trial(GetParam());
    ASSERT_EQ(0U, trial.answer);
    Recoveries recoveries(trial, false, {});
    const int runs = sweep(
        trial, MemoryFaultSpan::SamePrimitive, [](const MemoryStore&, const Recoveries::How&) {},
        [&](const MemoryStore& store, DWORD answer, const Recoveries::How& how, Primitive) {
            recoveries.addFound(store, answer == ERROR_SUCCESS ? Expected::New : Expected::Old,
                                how);
        });
    recoveries.run(SIZE_MAX);
    EXPECT_EQ("", recoveries.failure());
    std::cout << runs << " faults, " << recoveries.states() << " states\n";
}

TEST_P(FailureTest, EverythingFromAStepOn) {
    const Trial trial(GetParam());
    ASSERT_EQ(0U, trial.answer);
    Recoveries recoveries(trial, false, {});
    const int runs = sweep(
        trial, MemoryFaultSpan::Everything, [](const MemoryStore&, const Recoveries::How&) {},
        [&](const MemoryStore& store, DWORD answer, const Recoveries::How& how, Primitive) {
            recoveries.addFound(store, answer == ERROR_SUCCESS ? Expected::New : Expected::OldOrNew,
                                how);
        });
    recoveries.run(SIZE_MAX);
    EXPECT_EQ("", recoveries.failure());
    std::cout << runs << " faults, " << recoveries.states() << " states\n";
}

INSTANTIATE_TEST_SUITE_P(All, FailureTest, ::testing::ValuesIn(scenarios()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace Tallowmere::platform::transactions::testing
