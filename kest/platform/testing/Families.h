#pragma once

#include <cstdint>

namespace Tallowmere::platform::testing {

/// The families of Calls.def as bits, so that a test can name several.
enum Family : std::uint32_t {
    Errors = 1U << 0,
    Sync = 1U << 1,
    Time = 1U << 2,
    Files = 1U << 3,
    Processes = 1U << 4,
    Transactions = 1U << 5,
    Registry = 1U << 6,
    Network = 1U << 7,
    Com = 1U << 8,
    Runtime = 1U << 9,
};

}  // namespace Tallowmere::platform::testing
