#include "kest/diagnostics/StreamGuard.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace Tallowmere {
namespace {

/// A mutex that is ready before any constructor runs, since parts of the library log while it is
/// being loaded, and that costs a trace line, which never has to wait here, no call.
enum Word : std::uint32_t { kFree, kTaken, kTakenAndWaitedFor };
constinit std::atomic<std::uint32_t> g_word{kFree};

struct Waiting {
    std::mutex mutex;
    std::condition_variable condition;
};

/// Never destroyed.
Waiting& waiting() {
    static Waiting* const s_waiting = new Waiting;
    return *s_waiting;
}

unsigned int g_suspensions = 0;

}  // namespace

void StreamGuard::lock() {
    std::uint32_t expected = kFree;
    if (g_word.compare_exchange_strong(expected, kTaken, std::memory_order_acquire,
                                       std::memory_order_relaxed)) {
        return;
    }
    Waiting& all = waiting();
    std::unique_lock<std::mutex> guard(all.mutex);
    // Who releases it afterwards waits for the mutex before it wakes anybody: no call is missed.
    while (g_word.exchange(kTakenAndWaitedFor, std::memory_order_acquire) != kFree) {
        all.condition.wait(guard);
    }
}

void StreamGuard::unlock() {
    if (g_word.exchange(kFree, std::memory_order_release) == kTakenAndWaitedFor) {
        Waiting& all = waiting();
        const std::lock_guard<std::mutex> guard(all.mutex);
        all.condition.notify_one();
    }
}

bool StreamGuard::isSuspended() {
    return g_suspensions != 0;
}

void StreamGuard::Suspension::letGo() {
    ++g_suspensions;
    t_threadState.held = 0;
    unlock();
}

void StreamGuard::Suspension::takeBack() const {
    lock();
    t_threadState.held = m_held;
    --g_suspensions;
}

}  // namespace Tallowmere
