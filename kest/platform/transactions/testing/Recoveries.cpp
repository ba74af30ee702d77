#include "kest/platform/transactions/testing/Recoveries.h"

#include <utility>
#include <vector>

namespace Tallowmere::platform::transactions::testing {

using platform::testing::LossBounds;
using platform::testing::lossesOf;
using platform::testing::MemoryDisk;
using platform::testing::MemoryImage;
using platform::testing::MemoryLoss;
using platform::testing::MemoryStore;
using platform::testing::Primitive;

namespace {

std::uint64_t keyOf(std::uint64_t fingerprint, Expected expected) {
    return fingerprint * 3 + static_cast<unsigned>(expected);
}

}  // namespace

Recoveries::Recoveries(const Trial& trial, bool cutsPower, const LossBounds& bounds)
    : m_trial(trial), m_cutsPower(cutsPower), m_bounds(bounds) {}

void Recoveries::addFound(const MemoryStore& store, Expected expected, const How& how) {
    if (m_seen.insert(keyOf(store.fingerprint(), expected)).second) {
        m_open.push_back({store, expected, how()});
        m_open.back().store.endProcesses();
    }
}

void Recoveries::addCuts(const MemoryStore& store, Expected expected, const How& how) {
    if (!m_cut.insert(keyOf(store.fingerprint(), expected)).second) {
        return;
    }
    for (const MemoryLoss& loss : lossesOf(store, m_bounds)) {
        std::vector<MemoryImage> left = store.leftBy(loss);
        std::uint64_t fingerprint = MemoryStore::fingerprintOf(left);
        if (!m_seen.insert(keyOf(fingerprint, expected)).second) {
            continue;
        }
        std::string survivors;
        for (const bool survives : loss.survives) {
            survivors += survives ? '1' : '0';
        }
        m_open.push_back({store, expected, how() + ", power cut leaving " + survivors});
        m_open.back().store.cutPowerTo(std::move(left));
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
    // What comes after a wrong state is of no interest, but that one is known only in the end.
    disk.clock.watch = [&](int number, Primitive primitive) {
        if (changes(primitive)) {
            add(store, open.expected, [&] {
                return open.how + "; looking, before step " + std::to_string(number) + " (" +
                       nameOf(primitive) + ")";
            });
        }
    };
    const DWORD error = look(m_trial.scenario, disk);
    const Snapshot found = everything(store);
    const bool isRight = (open.expected != Expected::Old && found == m_trial.after) ||
                         (open.expected != Expected::New && found == m_trial.before);
    if (error != ERROR_SUCCESS || !isRight) {
        static constexpr const char* kWords[] = {"old or new", "old", "new"};
        m_failure = m_trial.scenario.name + ": " + open.how + ": the next look answers " +
                    std::to_string(error) + ", expected " +
                    kWords[static_cast<int>(open.expected)] + "\nagainst the new state:\n" +
                    difference(m_trial.after, found) + "against the old state:\n" +
                    difference(m_trial.before, found) + "found by the look:\n" + open.store.state();
        return;
    }
    if (m_cutsPower) {
        add(store, open.expected, [&] { return open.how + "; after looking"; });
    }
}

void Recoveries::add(const MemoryStore& store, Expected expected, const How& how) {
    addFound(store, expected, how);
    if (m_cutsPower) {
        addCuts(store, expected, how);
    }
}

}  // namespace Tallowmere::platform::transactions::testing
