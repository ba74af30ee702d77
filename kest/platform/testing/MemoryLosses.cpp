#include "kest/platform/testing/MemoryLosses.h"

#include <algorithm>
#include <random>
#include <set>

namespace Tallowmere::platform::testing {

std::vector<MemoryLoss> lossesOf(const MemoryStore& store, const LossBounds& bounds) {
    const std::vector<const MemoryChange*> changes = store.unsynced();
    const std::size_t count = changes.size();
    std::set<std::vector<bool>> choices;
    std::vector<bool> names(count);
    for (std::size_t i = 0; i < count; ++i) {
        names[i] = changes[i]->what != MemoryChange::What::Write;
    }
    choices.insert(names);
    for (std::size_t i = 0; i <= count; ++i) {
        std::vector<bool> beginning(count, false);
        std::fill(beginning.begin(), beginning.begin() + static_cast<std::ptrdiff_t>(i), true);
        choices.insert(beginning);
        beginning.flip();
        choices.insert(beginning);
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::vector<bool> one(count, false);
        one[i] = true;
        choices.insert(one);
        one.flip();
        choices.insert(one);
    }
    if (count <= bounds.exhaustive) {
        for (std::size_t bits = 0; bits < std::size_t{1} << count; ++bits) {
            std::vector<bool> subset(count);
            for (std::size_t i = 0; i < count; ++i) {
                subset[i] = (bits >> i & 1) != 0;
            }
            choices.insert(subset);
        }
    } else {
        std::mt19937 random(bounds.seed + static_cast<std::uint32_t>(count));
        for (int i = 0; i < bounds.random; ++i) {
            // Now few survive, now many.
            const auto share = random() % 7 + 1;
            std::vector<bool> subset(count);
            for (std::size_t j = 0; j < count; ++j) {
                subset[j] = random() % 8 < share;
            }
            choices.insert(subset);
        }
    }
    std::vector<MemoryLoss> result;
    for (const std::vector<bool>& choice : choices) {
        result.push_back({choice, false});
    }
    result.push_back({names, true});
    return result;
}

}  // namespace Tallowmere::platform::testing
