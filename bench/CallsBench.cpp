// Single calls of the lock and of the time type, against the nearest thing in the standard library.

#include <benchmark/benchmark.h>
#include <kest/kest.h>

#include <chrono>
#include <cstdint>
#include <mutex>

namespace {

void lockKest(benchmark::State& state) {
    Tallowmere::Lock lock;
    for (auto _ : state) {
        benchmark::DoNotOptimize(lock.acquire(-1));
        benchmark::DoNotOptimize(lock.release());
    }
}
BENCHMARK(lockKest)->Name("lock pair/kest");

void lockStd(benchmark::State& state) {
    std::recursive_timed_mutex lock;
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}
BENCHMARK(lockStd)->Name("lock pair/std::recursive_timed_mutex");

/// From 2000 on, a prime number of seconds further each time.
constexpr std::int64_t kBegin = 12591158400;
constexpr std::int64_t kStep = 100003;
constexpr std::int64_t kSpan = 3155760000;

void dateTimeKest(benchmark::State& state) {
    std::int64_t offset = 0;
    for (auto _ : state) {
        offset = offset >= kSpan ? 0 : offset + kStep;
        const Tallowmere::DateTime time(kBegin + offset);
        benchmark::DoNotOptimize(time.getSecondsSinceEpoch());
    }
}
BENCHMARK(dateTimeKest)->Name("DateTime from seconds and back/kest");

/// Fields as a calendar shows them. The algorithms are Howard Hinnant's, as the standard library
/// has them.
struct Fields {
    std::chrono::year_month_day date;
    std::chrono::weekday weekday;
    std::chrono::hh_mm_ss<std::chrono::seconds> clock;
};

void dateTimeStd(benchmark::State& state) {
    using std::chrono::days;
    using std::chrono::seconds;
    using std::chrono::sys_days;
    constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600;
    std::int64_t offset = 0;
    for (auto _ : state) {
        offset = offset >= kSpan ? 0 : offset + kStep;
        const std::chrono::sys_seconds time(seconds(kBegin + offset - kSecondsFrom1601To1970));
        const auto day = std::chrono::floor<days>(time);
        Fields fields{day, std::chrono::weekday(day), std::chrono::hh_mm_ss<seconds>(time - day)};
        // All of them are made, and used again from memory, as those of a value would be.
        benchmark::DoNotOptimize(fields);
        const std::chrono::sys_seconds back = sys_days(fields.date) + fields.clock.to_duration();
        benchmark::DoNotOptimize(back.time_since_epoch().count() + kSecondsFrom1601To1970);
    }
}
BENCHMARK(dateTimeStd)->Name("DateTime from seconds and back/std::chrono");

/// The same where the value lives on the heap, as the one behind a DateTime does: its size is fixed
/// for good.
void dateTimeStdHeap(benchmark::State& state) {
    using std::chrono::days;
    using std::chrono::seconds;
    using std::chrono::sys_days;
    constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600;
    std::int64_t offset = 0;
    for (auto _ : state) {
        offset = offset >= kSpan ? 0 : offset + kStep;
        const std::chrono::sys_seconds time(seconds(kBegin + offset - kSecondsFrom1601To1970));
        const auto day = std::chrono::floor<days>(time);
        auto* fields =
            new Fields{day, std::chrono::weekday(day), std::chrono::hh_mm_ss<seconds>(time - day)};
        benchmark::DoNotOptimize(fields);
        const std::chrono::sys_seconds back = sys_days(fields->date) + fields->clock.to_duration();
        benchmark::DoNotOptimize(back.time_since_epoch().count() + kSecondsFrom1601To1970);
        delete fields;
    }
}
BENCHMARK(dateTimeStdHeap)->Name("DateTime from seconds and back/std::chrono, on the heap");

}  // namespace
