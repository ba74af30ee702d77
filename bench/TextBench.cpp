// Text and paths, short, typical and 1 MiB long, against the same done straightforwardly with the
// standard library, and with Boost's string algorithms, which are there anyway and, unlike most
// string libraries, know wide text.

#include <benchmark/benchmark.h>
#include <kest/kest.h>

#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <cstdint>
#include <cwctype>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr std::int64_t kLong = 1 << 20;

/// `unit` again and again, `size` characters long.
std::wstring repeated(const std::wstring& unit, std::int64_t size) {
    std::wstring text;
    while (static_cast<std::int64_t>(text.size()) < size) {
        text += unit;
    }
    text.resize(static_cast<std::size_t>(size));
    return text;
}

/// A search path of the size of a short one, a typical one, or longer ones.
std::wstring searchPath(std::int64_t size) {
    return repeated(L"C:\\Windows\\system32;C:\\Windows;C:\\Program Files\\Backup\\bin;", size);
}

std::wstring filePath(std::int64_t size) {
    return repeated(L"C:\\Users\\Somebody\\Documents\\2010\\May\\Letter To The Editor", size);
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(12)->Arg(240)->Arg(kLong / 16)->Arg(kLong);
}

void pathSizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(12)->Arg(64)->Arg(kLong / 16)->Arg(kLong);
}

// ---------------------------------------------------------------- split

void splitKest(benchmark::State& state) {
    const std::wstring text = searchPath(state.range(0));
    std::vector<std::wstring> fields;
    for (auto _ : state) {
        Tallowmere::split(text, L';', fields);
        benchmark::DoNotOptimize(fields.data());
    }
}
BENCHMARK(splitKest)->Name("split/kest")->Apply(sizes);

std::wstring trimmed(const std::wstring& text) {
    std::size_t first = 0;
    std::size_t end = text.size();
    while (first < end && std::iswspace(static_cast<std::wint_t>(text[first])) != 0) {
        ++first;
    }
    while (end > first && std::iswspace(static_cast<std::wint_t>(text[end - 1])) != 0) {
        --end;
    }
    return text.substr(first, end - first);
}

void splitFind(benchmark::State& state) {
    const std::wstring text = searchPath(state.range(0));
    std::vector<std::wstring> fields;
    for (auto _ : state) {
        fields.clear();
        std::size_t begin = 0;
        for (;;) {
            const std::size_t end = text.find(L';', begin);
            std::wstring field =
                trimmed(text.substr(begin, end == std::wstring::npos ? end : end - begin));
            if (!field.empty()) {
                fields.push_back(std::move(field));
            }
            if (end == std::wstring::npos) {
                break;
            }
            begin = end + 1;
        }
        benchmark::DoNotOptimize(fields.data());
    }
}
BENCHMARK(splitFind)->Name("split/std::wstring::find")->Apply(sizes);

void splitBoost(benchmark::State& state) {
    const std::wstring text = searchPath(state.range(0));
    std::vector<std::wstring> fields;
    for (auto _ : state) {
        boost::split(
            fields, text, [](wchar_t unit) { return unit == L';'; }, boost::token_compress_on);
        for (std::wstring& field : fields) {
            boost::trim(field);
        }
        benchmark::DoNotOptimize(fields.data());
    }
}
BENCHMARK(splitBoost)->Name("split/boost::split")->Apply(sizes);

// ---------------------------------------------------------------- findStringDelimiters

void delimitersKest(benchmark::State& state) {
    const std::wstring text = searchPath(state.range(0));
    std::vector<std::uint64_t> positions;
    for (auto _ : state) {
        Tallowmere::findStringDelimiters(text, L"\\;", positions);
        benchmark::DoNotOptimize(positions.data());
    }
}
BENCHMARK(delimitersKest)->Name("findStringDelimiters/kest")->Apply(sizes);

void delimitersFind(benchmark::State& state) {
    const std::wstring text = searchPath(state.range(0));
    std::vector<std::uint64_t> positions;
    for (auto _ : state) {
        positions.clear();
        for (std::size_t at = text.find_first_of(L"\\;"); at != std::wstring::npos;
             at = text.find_first_of(L"\\;", at + 1)) {
            positions.push_back(at);
        }
        benchmark::DoNotOptimize(positions.data());
    }
}
BENCHMARK(delimitersFind)->Name("findStringDelimiters/find_first_of")->Apply(sizes);

/// A text of 64 Ki units over as many delimiters as told: no more than a little for each.
void manyDelimiters(benchmark::State& state) {
    const std::wstring text = searchPath(1 << 16);
    std::wstring set;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        set.push_back(static_cast<wchar_t>(0x100 + i));
    }
    set += L";\\";
    std::vector<std::uint64_t> positions;
    for (auto _ : state) {
        Tallowmere::findStringDelimiters(text, set.data(), positions);
        benchmark::DoNotOptimize(positions.data());
    }
}
BENCHMARK(manyDelimiters)
    ->Name("findStringDelimiters, 64 Ki units by delimiters/kest")
    ->RangeMultiplier(8)
    ->Range(1, 32768);

void manyDelimitersFind(benchmark::State& state) {
    const std::wstring text = searchPath(1 << 16);
    std::wstring set;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        set.push_back(static_cast<wchar_t>(0x100 + i));
    }
    set += L";\\";
    std::vector<std::uint64_t> positions;
    for (auto _ : state) {
        positions.clear();
        for (std::size_t at = text.find_first_of(set); at != std::wstring::npos;
             at = text.find_first_of(set, at + 1)) {
            positions.push_back(at);
        }
        benchmark::DoNotOptimize(positions.data());
    }
}
BENCHMARK(manyDelimitersFind)
    ->Name("findStringDelimiters, 64 Ki units by delimiters/find_first_of")
    ->RangeMultiplier(8)
    ->Range(1, 4096);

// ---------------------------------------------------------------- normalizePath

void normalizeKest(benchmark::State& state) {
    const std::wstring path = filePath(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Tallowmere::normalizePath(path));
    }
}
BENCHMARK(normalizeKest)->Name("normalizePath/kest")->Apply(pathSizes);

void normalizeStd(benchmark::State& state) {
    const std::wstring path = filePath(state.range(0));
    for (auto _ : state) {
        std::wstring normal = path;
        for (wchar_t& unit : normal) {
            unit = unit == L'\\'
                       ? L'/'
                       : static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(unit)));
        }
        benchmark::DoNotOptimize(normal);
    }
}
BENCHMARK(normalizeStd)->Name("normalizePath/std::towlower")->Apply(pathSizes);

void normalizeBoost(benchmark::State& state) {
    const std::wstring path = filePath(state.range(0));
    for (auto _ : state) {
        std::wstring normal = boost::to_lower_copy(path);
        boost::replace_all(normal, L"\\", L"/");
        benchmark::DoNotOptimize(normal);
    }
}
BENCHMARK(normalizeBoost)->Name("normalizePath/boost::to_lower")->Apply(pathSizes);

// ---------------------------------------------------------------- getDrive, baseName

void driveKest(benchmark::State& state) {
    const std::wstring path = filePath(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Tallowmere::getDrive(path));
    }
}
BENCHMARK(driveKest)->Name("getDrive/kest")->Apply(pathSizes);

void driveStd(benchmark::State& state) {
    const std::wstring path = filePath(state.range(0));
    for (auto _ : state) {
        wchar_t drive = 0;
        // A path in the history has its drive elsewhere, so all of it has to be looked at here too.
        if (path.find(L"@GMT") == std::wstring::npos && path.size() >= 2 && path[1] == L':' &&
            std::iswalpha(static_cast<std::wint_t>(path[0])) != 0) {
            drive = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(path[0])));
        }
        benchmark::DoNotOptimize(drive);
    }
}
BENCHMARK(driveStd)->Name("getDrive/std::wstring::find")->Apply(pathSizes);

void baseNameKest(benchmark::State& state) {
    const std::wstring path = filePath(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Tallowmere::baseName(path));
    }
}
BENCHMARK(baseNameKest)->Name("baseName/kest")->Apply(pathSizes);

void baseNameStd(benchmark::State& state) {
    const std::wstring path = filePath(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(path.substr(path.find_last_of(L"\\/") + 1));
    }
}
BENCHMARK(baseNameStd)->Name("baseName/find_last_of")->Apply(pathSizes);

void baseNameFilesystem(benchmark::State& state) {
    std::wstring path = filePath(state.range(0));
    std::replace(path.begin(), path.end(), L'\\', L'/');
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::filesystem::path(path).filename());
    }
}
BENCHMARK(baseNameFilesystem)->Name("baseName/std::filesystem::path")->Apply(pathSizes);

// ---------------------------------------------------------------- stringReplace

/// Every unit is erased.
void eraseKest(benchmark::State& state) {
    const std::wstring text(static_cast<std::size_t>(state.range(0)), L'x');
    for (auto _ : state) {
        std::wstring changed = text;
        Tallowmere::stringReplace(changed, L'x', L'\0');
        benchmark::DoNotOptimize(changed);
    }
}
BENCHMARK(eraseKest)
    ->Name("stringReplace, erasing all/kest")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000);

void eraseStd(benchmark::State& state) {
    const std::wstring text(static_cast<std::size_t>(state.range(0)), L'x');
    for (auto _ : state) {
        std::wstring changed = text;
        changed.erase(std::remove(changed.begin(), changed.end(), L'x'), changed.end());
        benchmark::DoNotOptimize(changed);
    }
}
BENCHMARK(eraseStd)
    ->Name("stringReplace, erasing all/std::remove")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000);

void eraseBoost(benchmark::State& state) {
    const std::wstring text(static_cast<std::size_t>(state.range(0)), L'x');
    for (auto _ : state) {
        std::wstring changed = text;
        boost::erase_all(changed, L"x");
        benchmark::DoNotOptimize(changed);
    }
}
BENCHMARK(eraseBoost)
    ->Name("stringReplace, erasing all/boost::erase_all")
    ->RangeMultiplier(10)
    ->Range(1000, 1000000);

}  // namespace
