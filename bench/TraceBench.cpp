// A trace line of 150 bytes in a file, one flush for each: against the least that it could cost,
// one write of as many bytes, and against spdlog, which is told to write the same text. All three
// empty their file when it has reached 10 MiB.

// As the transacted operations write their lines.
#define KEST_MODULE "TransactedFS"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <kest/kest.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace {

constexpr std::size_t kLine = 150;
constexpr std::size_t kFileAtMost = 10 << 20;

std::string place(const char* name) {
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / "kest-bench-trace";
    std::filesystem::create_directories(folder);
    return (folder / name).string();
}

/// Behind the columns of a line: 63 characters and the line feed.
const std::wstring kWideText = L"CopyFileTransacted /home/some/a file.txt -> /mnt/b/a file.txt";
const std::string kText = "CopyFileTransacted /home/some/a file.txt -> /mnt/b/a file.txt";

void beginKest(const benchmark::State&) {
    Tallowmere::Recorder::destroy();
    Tallowmere::Recorder::instance()->setFile(Tallowmere::fromNative(place("kest.log")).c_str());
}

void endKest(const benchmark::State&) {
    Tallowmere::Recorder::destroy();
}

void kestLine(benchmark::State& state) {
    for (auto _ : state) {
        LOG_INFO(kWideText);
    }
}
BENCHMARK(kestLine)->Name("trace line/kest")->Setup(beginKest)->Teardown(endKest);
BENCHMARK(kestLine)
    ->Name("trace line, two threads/kest")
    ->Setup(beginKest)
    ->Teardown(endKest)
    ->Threads(2)
    ->UseRealTime();

std::shared_ptr<spdlog::logger> g_peer;

void beginSpdlog(const benchmark::State&) {
    auto sink =
        std::make_shared<spdlog::sinks::rotating_file_sink_mt>(place("spdlog.log"), kFileAtMost, 0);
    g_peer = std::make_shared<spdlog::logger>("", std::move(sink));
    g_peer->set_pattern("%B %d, %Y, %I:%M:%S.%e %p\t%-8l\tT%t\t%-12s:L%-22#\t%v");
    g_peer->flush_on(spdlog::level::info);
}

void endSpdlog(const benchmark::State&) {
    g_peer.reset();
}

void spdlogLine(benchmark::State& state) {
    for (auto _ : state) {
        g_peer->log(spdlog::source_loc{"TransactedFS", __LINE__, "visit"}, spdlog::level::info,
                    kText);
    }
}
BENCHMARK(spdlogLine)->Name("trace line/spdlog")->Setup(beginSpdlog)->Teardown(endSpdlog);
BENCHMARK(spdlogLine)
    ->Name("trace line, two threads/spdlog")
    ->Setup(beginSpdlog)
    ->Teardown(endSpdlog)
    ->Threads(2)
    ->UseRealTime();

int g_file = -1;

void beginWrite(const benchmark::State&) {
    g_file = ::open(place("write.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

void endWrite(const benchmark::State&) {
    ::close(g_file);
}

void bareWrite(benchmark::State& state) {
    const std::string line(kLine, 'x');
    std::size_t written = 0;
    for (auto _ : state) {
        if (::write(g_file, line.data(), line.size()) < 0) {
            state.SkipWithError("no room");
        }
        if ((written += kLine) >= kFileAtMost) {
            written = 0;
            if (::ftruncate(g_file, 0) != 0 || ::lseek(g_file, 0, SEEK_SET) != 0) {
                state.SkipWithError("no room");
            }
        }
    }
}
BENCHMARK(bareWrite)->Name("trace line/write(2)")->Setup(beginWrite)->Teardown(endWrite);
BENCHMARK(bareWrite)
    ->Name("trace line, two threads/write(2)")
    ->Setup(beginWrite)
    ->Teardown(endWrite)
    ->Threads(2)
    ->UseRealTime();

}  // namespace
