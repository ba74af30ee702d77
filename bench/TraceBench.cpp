#include <benchmark/benchmark.h>
#include <kest/kest.h>

#include <cstdio>
#include <filesystem>

namespace {

/// A trace line to a file against the least that it could cost: one unbuffered write of as many
/// bytes. The roll-over keeps both files small.
const std::string kFolder = (std::filesystem::temp_directory_path() / "kest-bench").string();

void traceLine(benchmark::State& state) {
    std::filesystem::create_directories(kFolder);
    Tallowmere::Recorder::destroy();
    Tallowmere::Recorder::instance()->setFile(
        Tallowmere::fromNative(kFolder + "/trace.log").c_str());
    const std::wstring path = L"/home/somebody/documents/2010/May/letter to the editor.txt";
    for (auto _ : state) {
        LOG_INFO("CopyFileTransacted " << path << " -> " << path);
    }
    state.SetItemsProcessed(state.iterations());
    Tallowmere::Recorder::destroy();
    std::filesystem::remove_all(kFolder);
}
BENCHMARK(traceLine);

void bareWrite(benchmark::State& state) {
    std::filesystem::create_directories(kFolder);
    std::FILE* const file = std::fopen((kFolder + "/bare.log").c_str(), "w");
    std::setvbuf(file, nullptr, _IONBF, 0);
    const std::string line(230, 'x');
    std::int64_t written = 0;
    for (auto _ : state) {
        std::fwrite(line.data(), 1, line.size(), file);
        if (++written % 45000 == 0) {
            std::rewind(file);
        }
    }
    state.SetItemsProcessed(state.iterations());
    std::fclose(file);
    std::filesystem::remove_all(kFolder);
}
BENCHMARK(bareWrite);

}  // namespace
