#pragma once

#include <cstddef>
#include <cstdint>

/// What belongs to a thread in the trace. A marker takes the next value of its own thread: while a
/// line is in progress its state stands in the Recorder, which only the line's thread touches then;
/// between lines it stands here, so that no thread's marker takes another thread's value.
namespace Tallowmere {

/// The marker state of a thread that holds no line. Without destructor, since a thread may end
/// after the library was unloaded.
struct ThreadMarkers {
    /// No more of a file name than this ever reaches a line.
    static constexpr std::size_t kSourceSize = 30;

    /// The serial of the Recorder that this belongs to; 0 for none.
    std::uint64_t recorder;
    /// As Recorder::markerState.
    std::int32_t markerState;
    /// Whether the name was set outside any line, so that the thread's next line begins with it.
    bool isSourceNewer;
    std::uint8_t sourceLength;
    /// The number of the statement whose column the name is (see LocationMemo); 0 for none.
    std::uint64_t statement;
    wchar_t source[kSourceSize];
};

extern thread_local constinit ThreadMarkers t_markers;

/// The calling thread's, empty if it was used with another Recorder last.
inline ThreadMarkers& threadMarkers(std::uint64_t recorder) {
    if (t_markers.recorder != recorder) {
        t_markers = {};
        t_markers.recorder = recorder;
    }
    return t_markers;
}

/// What each piece of a trace line asks of its thread: in the library's own part of the thread's
/// memory, so that it costs no call.
struct ThreadState {
    /// A number that no other thread of this process has or had, 0 until it was asked for. (The
    /// system's numbers are used again after a thread's end, and a line that was never flushed
    /// would then seem to be the new thread's.)
    std::uint64_t number;
    /// How often the thread holds the stream; see StreamGuard.
    unsigned int held;
};

extern thread_local constinit ThreadState t_threadState;

/// The calling thread's number; never 0.
std::uint64_t currentThread();

}  // namespace Tallowmere
