#pragma once

#include <atomic>
#include <cstdint>

#include "kest/diagnostics/ThreadMarkers.h"
#include "kest/platform/SingleThread.h"

/// Keeps a Recorder's stream and fields whole while several threads use it.
///
/// The mutex of a trace line is not enough for that: pieces without a severity marker, and a flush
/// that ends no line, work on the stream without it. So each single piece, each flush of the stream
/// and each change of a field happens inside a StreamGuard. It is taken inside the mutex of a line
/// and never while waiting for that mutex; one serves all Recorders, since copies share their
/// stream.
namespace Tallowmere {

/// Holds the stream for a scope; scopes nest.
class StreamGuard {
public:
    StreamGuard() { acquire(); }
    ~StreamGuard() { release(); }
    StreamGuard(const StreamGuard&) = delete;
    StreamGuard& operator=(const StreamGuard&) = delete;

    static void acquire() {
        if (t_threadState.held == 0) {
            lock();
        }
        ++t_threadState.held;
    }
    static void release() {
        if (--t_threadState.held == 0) {
            unlock();
        }
    }

    /// Whether some thread is in the midst of an insertion and has let go of the stream for the
    /// time being: the stream must then not be deleted. Ask while holding the stream.
    static bool isSuspended();

    /// Lets go of the stream for a scope, however often the thread holds it, and takes it back at
    /// the scope's end. It is for waiting for a mutex, and for calling what a host implements: an
    /// insertion operator of a host may log itself.
    class Suspension {
    public:
        Suspension() : m_held(t_threadState.held) {
            if (m_held != 0) {
                letGo();
            }
        }
        ~Suspension() {
            if (m_held != 0) {
                takeBack();
            }
        }
        Suspension(const Suspension&) = delete;
        Suspension& operator=(const Suspension&) = delete;

    private:
        static void letGo();
        void takeBack() const;

        unsigned int m_held;
    };

private:
    // A mutex that is ready before any constructor runs, since parts of the library log while it is
    // being loaded, and that costs a trace line, which never has to wait here, no call.

    enum Word : std::uint32_t { kFree, kTaken, kTakenAndWaitedFor };

    static void lock() {
        std::uint32_t expected = kFree;
        if (platform::isSingleThreaded() && s_word.load(std::memory_order_relaxed) == kFree) {
            s_word.store(kTaken, std::memory_order_relaxed);
        } else if (!s_word.compare_exchange_strong(expected, kTaken, std::memory_order_acquire,
                                                   std::memory_order_relaxed)) {
            waitForIt();
        }
    }
    static void unlock() {
        if (platform::isSingleThreaded()) {
            s_word.store(kFree, std::memory_order_relaxed);
        } else if (s_word.exchange(kFree, std::memory_order_release) == kTakenAndWaitedFor) {
            wakeOne();
        }
    }
    static void waitForIt();
    static void wakeOne();

    static constinit std::atomic<std::uint32_t> s_word;
};

}  // namespace Tallowmere
