#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace Tallowmere::platform::testing {

/// A std::latch that wakes everybody who waits: the standard one of the tool chain for Windows now and
/// then loses a wake-up, and a test with it never ends.
class Latch {
public:
    explicit Latch(std::ptrdiff_t count) : m_count(count) {}

    void count_down() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        if (--m_count == 0) {
            m_done.notify_all();
        }
    }
    void wait() {
        std::unique_lock<std::mutex> guard(m_mutex);
        m_done.wait(guard, [this] { return m_count <= 0; });
    }
    void arrive_and_wait() {
        count_down();
        wait();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_done;
    std::ptrdiff_t m_count;
};

}  // namespace Tallowmere::platform::testing
