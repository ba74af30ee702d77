#include <benchmark/benchmark.h>
#include <kest/kest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <streambuf>
#include <string>
#include <thread>

namespace {

namespace fs = std::filesystem;

class Nowhere : public std::wstreambuf {
protected:
    int_type overflow(int_type unit) override { return traits_type::not_eof(unit); }
    std::streamsize xsputn(const wchar_t*, std::streamsize count) override { return count; }
};

/// The trace thrown away while it lives.
class Quiet {
public:
    Quiet() : m_stream(&m_nowhere) {
        Tallowmere::Recorder::destroy();
        Tallowmere::Recorder::instance()->setStream(&m_stream, nullptr, false);
    }
    ~Quiet() { Tallowmere::Recorder::destroy(); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    Nowhere m_nowhere;
    std::wostream m_stream;
};

/// A file of the benchmark's own.
class File {
public:
    explicit File(const char* name) : m_path(fs::temp_directory_path() / name) {}
    ~File() { fs::remove(m_path); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::string path() const { return m_path.string(); }

private:
    fs::path m_path;
};

/// A property file of that many lines, read: the time must grow as the number does.
void readProperties(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-properties.xml");
    {
        std::ofstream lines(file.path());
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            // In no order.
            lines << "<property" << i * 7919 % state.range(0) << ">value " << i << "</property"
                  << i * 7919 % state.range(0) << ">\n";
        }
    }
    const std::wstring name = Tallowmere::fromNative(file.path());
    for (auto _ : state) {
        const Tallowmere::Configurable read(name.c_str());
        benchmark::DoNotOptimize(&read);
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(readProperties)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

/// One of that many properties.
void findProperty(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-properties.xml");
    {
        std::ofstream lines(file.path());
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            lines << "<property" << i << ">" << i << "</property" << i << ">\n";
        }
    }
    const Tallowmere::Configurable read(Tallowmere::fromNative(file.path()).c_str());
    std::int64_t i = 0;
    for (auto _ : state) {
        i = (i + 7919) % state.range(0);
        benchmark::DoNotOptimize(read.getProperty(L"property" + std::to_wstring(i)));
    }
}
BENCHMARK(findProperty)->RangeMultiplier(10)->Range(1000, 1000000);

void writeRegistry(const File& file, std::int64_t keys) {
    std::ofstream lines(file.path());
    lines << "Windows Registry Editor Version 5.00\n\n";
    for (std::int64_t i = 0; i < keys; ++i) {
        lines << "[HKEY_LOCAL_MACHINE\\Software\\Vendor\\Product\\Key " << i
              << "]\n\"Name\"=\"value " << i << "\"\n";
    }
}

/// The first value from a registry text of that many keys, which is read for it.
void openRegistry(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-registry.reg");
    writeRegistry(file, state.range(0));
    ::setenv("KEST_REGISTRY", file.path().c_str(), 1);
    for (auto _ : state) {
        fs::last_write_time(file.path(), fs::file_time_type::clock::now());
        std::wstring value;
        Tallowmere::Registry::getKeyValue(Tallowmere::Registry::HKLM,
                                          L"Software\\Vendor\\Product\\Key 0", L"Name", value);
    }
    ::unsetenv("KEST_REGISTRY");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(openRegistry)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);

/// One value more from a registry text that has not changed.
void readRegistryValue(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-registry.reg");
    writeRegistry(file, state.range(0));
    fs::last_write_time(file.path(), fs::file_time_type::clock::now() - std::chrono::seconds(10));
    ::setenv("KEST_REGISTRY", file.path().c_str(), 1);
    std::int64_t i = 0;
    std::wstring value;
    // Until the file has been left alone for long enough it is read again for each question; and
    // the first question also has to forget the registry of the measurement before.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    Tallowmere::Registry::getKeyValue(Tallowmere::Registry::HKLM,
                                      L"Software\\Vendor\\Product\\Key 0", L"Name", value);
    for (auto _ : state) {
        i = (i + 7919) % state.range(0);
        const std::wstring key = L"Software\\Vendor\\Product\\Key " + std::to_wstring(i);
        Tallowmere::Registry::getKeyValue(Tallowmere::Registry::HKLM, key.c_str(), L"Name", value);
    }
    ::unsetenv("KEST_REGISTRY");
}
BENCHMARK(readRegistryValue)->RangeMultiplier(10)->Range(1000, 100000);

}  // namespace
