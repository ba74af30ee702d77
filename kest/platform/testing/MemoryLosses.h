#pragma once

#include <cstdint>
#include <vector>

#include "kest/platform/testing/MemoryStore.h"

namespace Tallowmere::platform::testing {

/// How many ways to lose what is not durable are tried.
struct LossBounds {
    /// Up to so many changes each subset is tried.
    std::size_t exhaustive = 5;
    /// With more of them so many random subsets.
    int random = 12;
    std::uint32_t seed = 1;
};

/// What a power cut now may leave of the changes that are not durable: none of them, all, each
/// beginning, each end, all but one, only one, all names without any content (then empty, or
/// something else), and any subset as far as the bounds go.
std::vector<MemoryLoss> lossesOf(const MemoryStore& store, const LossBounds& bounds);

}  // namespace Tallowmere::platform::testing
