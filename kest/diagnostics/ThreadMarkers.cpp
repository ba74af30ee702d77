#include "kest/diagnostics/ThreadMarkers.h"

#include <atomic>

namespace Tallowmere {

ThreadMarkers& threadMarkers(std::uint64_t recorder) {
    static thread_local ThreadMarkers t_markers{};
    if (t_markers.recorder != recorder) {
        t_markers = {};
        t_markers.recorder = recorder;
    }
    return t_markers;
}

std::uint64_t currentThread() {
    static std::atomic<std::uint64_t> s_last{0};
    static thread_local std::uint64_t t_number = 0;
    if (t_number == 0) {
        t_number = ++s_last;
    }
    return t_number;
}

}  // namespace Tallowmere
