#include "kest/diagnostics/ThreadMarkers.h"

#include <atomic>

namespace Tallowmere {

thread_local constinit ThreadMarkers t_markers{};
thread_local constinit ThreadState t_threadState{};

std::uint64_t currentThread() {
    static std::atomic<std::uint64_t> s_last{0};
    ThreadState& state = t_threadState;
    if (state.number == 0) {
        state.number = ++s_last;
    }
    return state.number;
}

}  // namespace Tallowmere
