#include <benchmark/benchmark.h>
#include <kest/kest.h>

#include <filesystem>
#include <fstream>
#include <ostream>
#include <streambuf>

namespace {

namespace fs = std::filesystem;

/// Replaces a tree of 400 files of 4 KiB in 8 folders, durably, with its trace thrown away; beside
/// it what a plain recursive copy takes that is neither durable nor all-or-nothing. On a file
/// system without a journal the figures swing by a factor of ten after a mass deletion: compare
/// them on a journaled one, or set TMPDIR to a tmpfs.
class Trees {
public:
    Trees() : m_folder(fs::temp_directory_path() / "kest-bench-copy") {
        fs::remove_all(m_folder);
        const std::string content(4096, 'x');
        for (int folder = 0; folder < 8; ++folder) {
            const fs::path place = source() / std::to_string(folder);
            fs::create_directories(place);
            for (int file = 0; file < 50; ++file) {
                std::ofstream(place / std::to_string(file)) << content;
            }
        }
    }
    ~Trees() { fs::remove_all(m_folder); }
    Trees(const Trees&) = delete;
    Trees& operator=(const Trees&) = delete;

    fs::path source() const { return m_folder / "source"; }
    fs::path target() const { return m_folder / "target"; }

private:
    fs::path m_folder;
};

class Nowhere : public std::wstreambuf {
protected:
    int_type overflow(int_type unit) override { return traits_type::not_eof(unit); }
    std::streamsize xsputn(const wchar_t*, std::streamsize count) override { return count; }
};

void replaceTree(benchmark::State& state) {
    const Trees trees;
    Nowhere nowhere;
    std::wostream stream(&nowhere);
    Tallowmere::Recorder::destroy();
    Tallowmere::Recorder::instance()->setStream(&stream, nullptr, false);
    const std::wstring source = Tallowmere::fromNative(trees.source().string());
    const std::wstring target = Tallowmere::fromNative(trees.target().string());
    for (auto _ : state) {
        Tallowmere::CopyDirectoryTransacted(source, target);
    }
    state.SetItemsProcessed(state.iterations() * 400);
    Tallowmere::Recorder::destroy();
}
BENCHMARK(replaceTree)->Unit(benchmark::kMillisecond)->UseRealTime();

void plainCopy(benchmark::State& state) {
    const Trees trees;
    for (auto _ : state) {
        fs::remove_all(trees.target());
        fs::copy(trees.source(), trees.target(), fs::copy_options::recursive);
    }
    state.SetItemsProcessed(state.iterations() * 400);
}
BENCHMARK(plainCopy)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
