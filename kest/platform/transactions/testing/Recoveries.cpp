#include "kest/platform/transactions/testing/Recoveries.h"

#include <utility>
#include <vector>

namespace Tallowmere::platform::transactions::testing {

using platform::testing::LossBounds;
using platform::testing::lossesOf;
using platform::testing::MemoryDisk;
using platform::testing::MemoryLoss;
using platform::testing::MemoryStore;
using platform::testing::Primitive;

Recoveries::Recoveries(const Trial& trial, bool cutsPower, const LossBounds& bounds)
    : m_trial(trial), m_cutsPower(cutsPower), m_bounds(bounds) {}

bool Recoveries::isNew(const MemoryStore& store, Expected expected) {
    return m_seen.insert(store.fingerprint() * 3 + (static_cast<unsigned>(expected))).second;
}

void Recoveries::addLeft(MemoryStore store, Expected expected, const std::string& how) {
    store.endProcesses();
    if (isNew(store, expected)) {
        m_open.push_back({std::move(store), expected, how});
    }
}

void Recoveries::addCuts(const MemoryStore& store, Expected expected, const std::string& how) {
    for (const MemoryLoss& loss : lossesOf(store, m_bounds)) {
        MemoryStore cut = store;
        cut.cutPower(loss);
        if (!isNew(cut, expected)) {
            continue;
        }
        std::string left;
        for (const bool survives : loss.survives) {
            left += survives ? '1' : '0';
        }
        m_open.push_back({std::move(cut), expected, how + ", power cut leaving " + left});
    }
}

void Recoveries::run(std::size_t most) {
    while (!m_open.empty() && m_failure.empty() && m_looks < most) {
        const Open open = std::move(m_open.front());
        m_open.pop_front();
        lookAt(open);
    }
}

void Recoveries::lookAt(const Open& open) {
    ++m_looks;
    MemoryStore store = open.store;
    MemoryDisk disk(store);
    std::vector<std::pair<MemoryStore, std::string>> interrupted;
    disk.clock.watch = [&](int number, Primitive primitive) {
        if (changes(primitive)) {
            interrupted.emplace_back(store, open.how + "; looking, before step " +
                                                std::to_string(number) + " (" +
                                                nameOf(primitive) + ")");
        }
    };
    const DWORD error = look(m_trial.scenario, disk);
    const Snapshot found = everything(store);
    const bool isRight = (open.expected != Expected::Old && found == m_trial.after) ||
                         (open.expected != Expected::New && found == m_trial.before);
    if (error != ERROR_SUCCESS || !isRight) {
        static constexpr const char* kWords[] = {"old or new", "old", "new"};
        m_failure = m_trial.scenario.name + ": " + open.how + ": the next look answers " +
                    std::to_string(error) + ", expected " + kWords[static_cast<int>(open.expected)] +
                    "\nagainst the new state:\n" +
                    difference(m_trial.after, found) + "against the old state:\n" +
                    difference(m_trial.before, found) + "found by the look:\n" +
                    open.store.state();
        return;
    }
    if (m_cutsPower) {
        interrupted.emplace_back(store, open.how + "; after looking");
    }
    for (const auto& [state, how] : interrupted) {
        addLeft(state, open.expected, how);
        if (m_cutsPower) {
            addCuts(state, open.expected, how);
        }
    }
}

}  // namespace Tallowmere::platform::transactions::testing
