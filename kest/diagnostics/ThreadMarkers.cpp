#include "kest/diagnostics/ThreadMarkers.h"

#include <atomic>

namespace Tallowmere {

namespace {

thread_local constinit ThreadMarkers t_markers{};

}  // namespace

thread_local constinit ThreadState t_threadState{};

ThreadMarkers& threadMarkers(std::uint64_t recorder) {
    if (t_markers.recorder != recorder) {
        t_markers = {};
        t_markers.recorder = recorder;
    }
    return t_markers;
}

std::uint64_t currentThread() {
    static std::atomic<std::uint64_t> s_last{0};
    ThreadState& state = t_threadState;
    if (state.number == 0) {
        state.number = ++s_last;
    }
    return state.number;
}

}  // namespace Tallowmere
