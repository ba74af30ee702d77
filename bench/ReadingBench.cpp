// The property file, the registry and the catalogue of installed programs, by size: the time must
// grow as the number does.

#include <benchmark/benchmark.h>
#include <kest/kest.h>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
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

// ---------------------------------------------------------------- property file

/// In no order.
void writeProperties(const File& file, std::int64_t count) {
    std::ofstream lines(file.path());
    for (std::int64_t i = 0; i < count; ++i) {
        const std::string name = "property" + std::to_string(i * 7919 % count);
        lines << '<' << name << ">value " << i << "</" << name << ">\n";
    }
}

void readProperties(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-properties.xml");
    writeProperties(file, state.range(0));
    const std::wstring name = Tallowmere::fromNative(file.path());
    for (auto _ : state) {
        const Tallowmere::Configurable read(name.c_str());
        benchmark::DoNotOptimize(&read);
    }
}

/// The same with the standard library's wide lines.
void readPropertiesStd(benchmark::State& state) {
    const File file("kest-bench-properties.xml");
    writeProperties(file, state.range(0));
    for (auto _ : state) {
        std::map<std::wstring, std::wstring> properties;
        std::wifstream lines(file.path());
        for (std::wstring line; std::getline(lines, line);) {
            const std::size_t open = line.find(L'<');
            const std::size_t close = line.find(L'>', open);
            if (close == std::wstring::npos) {
                continue;
            }
            const std::wstring name = line.substr(open + 1, close - open - 1);
            const std::size_t end = line.find(L"</" + name + L'>', close);
            if (end != std::wstring::npos) {
                properties[name] = line.substr(close + 1, end - close - 1);
            }
        }
        benchmark::DoNotOptimize(properties);
    }
}
BENCHMARK(readProperties)
    ->Name("property file/kest")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(readPropertiesStd)
    ->Name("property file/std::wifstream, std::map")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMillisecond);

std::wstring nameOf(std::int64_t i) {
    return L"property" + std::to_wstring(i);
}

void findProperty(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-properties.xml");
    writeProperties(file, state.range(0));
    const Tallowmere::Configurable read(Tallowmere::fromNative(file.path()).c_str());
    std::int64_t i = 0;
    for (auto _ : state) {
        i = (i + 7919) % state.range(0);
        benchmark::DoNotOptimize(read.getProperty(nameOf(i)));
    }
}

void findPropertyStd(benchmark::State& state) {
    std::map<std::wstring, std::wstring> properties;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        properties[nameOf(i)] = L"value " + std::to_wstring(i);
    }
    std::int64_t i = 0;
    for (auto _ : state) {
        i = (i + 7919) % state.range(0);
        benchmark::DoNotOptimize(std::wstring(properties.find(nameOf(i))->second));
    }
}
BENCHMARK(findProperty)->Name("a property/kest")->RangeMultiplier(10)->Range(1000, 100000);
BENCHMARK(findPropertyStd)->Name("a property/std::map")->RangeMultiplier(10)->Range(1000, 100000);

// ---------------------------------------------------------------- registry

void writeRegistry(const File& file, std::int64_t keys) {
    std::ofstream lines(file.path());
    lines << "Windows Registry Editor Version 5.00\n\n";
    for (std::int64_t i = 0; i < keys; ++i) {
        lines << "[HKEY_LOCAL_MACHINE\\Software\\Vendor\\Product\\Key " << i
              << "]\n\"Name\"=\"value " << i << "\"\n";
    }
}

/// A registry text in use while it lives.
class InUse {
public:
    explicit InUse(const File& file) { ::setenv("KEST_REGISTRY", file.path().c_str(), 1); }
    ~InUse() { ::unsetenv("KEST_REGISTRY"); }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;
};

/// The first value from a registry text of that many keys, which is read for it.
void openRegistry(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-registry.reg");
    writeRegistry(file, state.range(0));
    const InUse used(file);
    for (auto _ : state) {
        fs::last_write_time(file.path(), fs::file_time_type::clock::now());
        std::wstring value;
        Tallowmere::Registry::getKeyValue(Tallowmere::Registry::HKLM,
                                          L"Software\\Vendor\\Product\\Key 0", L"Name", value);
    }
}

/// As much text of the same shape, read by Boost's tree of properties.
void openIni(benchmark::State& state) {
    const File file("kest-bench-registry.ini");
    {
        std::ofstream lines(file.path());
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            lines << "[HKEY_LOCAL_MACHINE\\Software\\Vendor\\Product\\Key " << i << "]\nName=value "
                  << i << "\n";
        }
    }
    for (auto _ : state) {
        boost::property_tree::ptree tree;
        boost::property_tree::read_ini(file.path(), tree);
        benchmark::DoNotOptimize(tree);
    }
}
BENCHMARK(openRegistry)
    ->Name("registry text, opened/kest")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(openIni)
    ->Name("registry text, opened/boost::property_tree")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMillisecond);

/// One value more from a registry text that has not changed.
void readRegistryValue(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-registry.reg");
    writeRegistry(file, state.range(0));
    fs::last_write_time(file.path(), fs::file_time_type::clock::now() - std::chrono::seconds(10));
    const InUse used(file);
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
}

void readIniValue(benchmark::State& state) {
    boost::property_tree::ptree tree;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        tree.put("Software.Vendor.Product.Key " + std::to_string(i) + ".Name",
                 "value " + std::to_string(i));
    }
    std::int64_t i = 0;
    for (auto _ : state) {
        i = (i + 7919) % state.range(0);
        benchmark::DoNotOptimize(
            tree.get<std::string>("Software.Vendor.Product.Key " + std::to_string(i) + ".Name"));
    }
}
BENCHMARK(readRegistryValue)
    ->Name("a registry value/kest")
    ->RangeMultiplier(10)
    ->Range(1000, 100000);
BENCHMARK(readIniValue)
    ->Name("a registry value/boost::property_tree")
    ->RangeMultiplier(10)
    ->Range(1000, 10000);

// ---------------------------------------------------------------- catalogue

/// The catalogue of that many installed programs, made anew from a registry that is in memory.
void refreshCatalogue(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-catalogue.reg");
    {
        std::ofstream lines(file.path());
        lines << "Windows Registry Editor Version 5.00\n\n";
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            lines << "[HKEY_CLASSES_ROOT\\Installer\\Products\\" << i
                  << "]\n\"ProductName\"=\"Program " << i * 7919 % state.range(0) << "\"\n";
        }
    }
    fs::last_write_time(file.path(), fs::file_time_type::clock::now() - std::chrono::seconds(10));
    const InUse used(file);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    Tallowmere::InstalledPrograms programs;
    for (auto _ : state) {
        programs.refresh();
    }
    if (programs.numberOfObjects() != state.range(0)) {
        state.SkipWithError("not all programs were found");
    }
}

/// As many values, one by one from the same registry, into a map.
void readNames(benchmark::State& state) {
    const Quiet quiet;
    const File file("kest-bench-catalogue.reg");
    writeRegistry(file, state.range(0));
    fs::last_write_time(file.path(), fs::file_time_type::clock::now() - std::chrono::seconds(10));
    const InUse used(file);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    for (auto _ : state) {
        std::map<std::wstring, std::wstring> programs;
        std::wstring value;
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            const std::wstring key = L"Software\\Vendor\\Product\\Key " + std::to_wstring(i);
            Tallowmere::Registry::getKeyValue(Tallowmere::Registry::HKLM, key.c_str(), L"Name",
                                              value);
            programs[value] = key;
        }
        benchmark::DoNotOptimize(programs);
    }
}
BENCHMARK(refreshCatalogue)
    ->Name("catalogue of programs/kest")
    ->RangeMultiplier(10)
    ->Range(100, 100000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(readNames)
    ->Name("catalogue of programs/value by value, std::map")
    ->RangeMultiplier(10)
    ->Range(100, 100000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
