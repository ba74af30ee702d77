#include "kest/diagnostics/StreamGuard.h"

#include <condition_variable>
#include <mutex>

namespace Tallowmere {
namespace {

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

constinit std::atomic<std::uint32_t> StreamGuard::s_word{kFree};

void StreamGuard::waitForIt() {
    Waiting& all = waiting();
    std::unique_lock<std::mutex> guard(all.mutex);
    // Who releases it afterwards waits for the mutex before it wakes anybody: no call is missed.
    while (s_word.exchange(kTakenAndWaitedFor, std::memory_order_acquire) != kFree) {
        all.condition.wait(guard);
    }
}

void StreamGuard::wakeOne() {
    Waiting& all = waiting();
    const std::lock_guard<std::mutex> guard(all.mutex);
    all.condition.notify_one();
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
