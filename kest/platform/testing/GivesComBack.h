#pragma once

#include "kest/platform/Calls.h"

namespace Tallowmere::platform::testing {

/// A session of which a step fails may leave its thread's COM in use, which the tests that follow
/// in this process would find. Given back once more than taken does no harm.
struct GivesComBack {
    ~GivesComBack() {
        constexpr int kMany = 100000;
        for (int times = 0; times < kMany; ++times) {
            os().CoUninitialize();
        }
    }
};

}  // namespace Tallowmere::platform::testing
