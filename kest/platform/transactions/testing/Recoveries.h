#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <unordered_set>

#include "kest/platform/testing/MemoryLosses.h"
#include "kest/platform/transactions/testing/Scenario.h"

namespace Tallowmere::platform::transactions::testing {

/// What must be there in the end.
enum class Expected { OldOrNew, Old, New };

/// Takes the states in which an operation was interrupted, lets the next transaction look at the
/// place, and checks that then there is the old or the new and nothing else. That look is itself
/// interrupted at each of its steps, and the look after that, and so on, until no state comes up
/// that was not seen before.
class Recoveries {
public:
    /// Whether the power may be cut meanwhile, too, and how much of what may be lost is tried.
    Recoveries(const Trial& trial, bool cutsPower, const platform::testing::LossBounds& bounds);

    /// Tells how a state has come about; asked only for states that are new.
    using How = std::function<std::string()>;

    /// A state that processes have left, by themselves or killed.
    void addFound(const platform::testing::MemoryStore& store, Expected expected, const How& how);
    /// What a power cut can make of a state.
    void addCuts(const platform::testing::MemoryStore& store, Expected expected, const How& how);

    /// Stops at the first state that is wrong, and after so many states.
    void run(std::size_t most);

    std::size_t states() const { return m_seen.size(); }
    std::size_t looks() const { return m_looks; }
    /// States that were not looked into any more.
    std::size_t unvisited() const { return m_open.size(); }
    /// What was wrong; empty when nothing was.
    const std::string& failure() const { return m_failure; }

private:
    struct Open {
        platform::testing::MemoryStore store;
        Expected expected;
        std::string how;
    };
    void lookAt(const Open& open);
    void add(const platform::testing::MemoryStore& store, Expected expected, const How& how);

    const Trial& m_trial;
    bool m_cutsPower;
    platform::testing::LossBounds m_bounds;
    std::unordered_set<std::uint64_t> m_seen;
    /// States whose power cuts were all added.
    std::unordered_set<std::uint64_t> m_cut;
    std::deque<Open> m_open;
    std::size_t m_looks = 0;
    std::string m_failure;
};

}  // namespace Tallowmere::platform::transactions::testing
