#include "kest/platform/transactions/testing/Rivals.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace Tallowmere::platform::transactions::testing {
namespace {

/// One of two threads runs at a time.
class Turns {
public:
    explicit Turns(const Schedule& schedule) : m_schedule(schedule) { choose(); }

    /// Waits until it is the turn of `who`, who is about to make a step.
    void step(int who, int number) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_steps[who] = number - 1;
        choose();
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return m_turn == who; });
    }

    void begin(int who) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return m_turn == who; });
    }

    void end(int who) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_hasEnded[who] = true;
        choose();
        m_changed.notify_all();
    }

private:
    void choose() { m_turn = m_hasEnded[0] ? 1 : m_hasEnded[1] ? 0 : m_schedule(m_steps); }

    const Schedule& m_schedule;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::array<int, 2> m_steps = {0, 0};
    std::array<bool, 2> m_hasEnded = {false, false};
    int m_turn = 0;
};

}  // namespace

void interleave(std::array<platform::testing::MemoryDisk*, 2> disks,
                const std::array<std::function<void(platform::testing::MemoryDisk&)>, 2>& bodies,
                const Schedule& schedule) {
    Turns turns(schedule);
    const auto run = [&](int who) {
        disks[who]->clock.watch = [&turns, who](int number, platform::testing::Primitive) {
            turns.step(who, number);
        };
        turns.begin(who);
        bodies[who](*disks[who]);
        turns.end(who);
    };
    std::thread other([&] { run(1); });
    run(0);
    other.join();
}

Schedule pausedAt(int first, int second) {
    return [first, second](const std::array<int, 2>& steps) {
        return steps[0] + 1 >= first && steps[1] + 1 < second ? 1 : 0;
    };
}

}  // namespace Tallowmere::platform::transactions::testing
