// Single calls of the lock and of the time type, against the nearest thing in the standard library.

#include <benchmark/benchmark.h>
#include <date/date.h>
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

/// Fields as a calendar shows them.
template <class Date, class Weekday, class Clock>
struct Fields {
    Date date;
    Weekday weekday;
    Clock clock;
};

/// Howard Hinnant's algorithms, in his own library.
struct Hinnant {
    using Days = date::days;
    using SysDays = date::sys_days;
    using Fields =
        ::Fields<date::year_month_day, date::weekday, date::hh_mm_ss<std::chrono::seconds>>;
};

/// The standard library, whose own algorithms (GCC has Neri's and Schneider's) are newer ones.
struct Standard {
    using Days = std::chrono::days;
    using SysDays = std::chrono::sys_days;
    using Fields = ::Fields<std::chrono::year_month_day, std::chrono::weekday,
                            std::chrono::hh_mm_ss<std::chrono::seconds>>;
};

template <class Calendar>
void dateTimePeer(benchmark::State& state) {
    using std::chrono::seconds;
    constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600;
    std::int64_t offset = 0;
    for (auto _ : state) {
        offset = offset >= kSpan ? 0 : offset + kStep;
        const std::chrono::time_point<std::chrono::system_clock, seconds> time(
            seconds(kBegin + offset - kSecondsFrom1601To1970));
        const auto day = std::chrono::floor<typename Calendar::Days>(time);
        using Fields = typename Calendar::Fields;
        Fields fields{decltype(Fields::date)(day), decltype(Fields::weekday)(day),
                      decltype(Fields::clock)(time - day)};
        // All of them are made, and used again from memory, as those of a value would be.
        benchmark::DoNotOptimize(fields);
        const std::chrono::time_point<std::chrono::system_clock, seconds> back =
            typename Calendar::SysDays(fields.date) + fields.clock.to_duration();
        benchmark::DoNotOptimize(back.time_since_epoch().count() + kSecondsFrom1601To1970);
    }
}
BENCHMARK(dateTimePeer<Hinnant>)->Name("DateTime from seconds and back/Hinnant's date.h");
BENCHMARK(dateTimePeer<Standard>)->Name("DateTime from seconds and back/std::chrono");

}  // namespace
