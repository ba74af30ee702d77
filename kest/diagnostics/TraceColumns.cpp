#include "kest/diagnostics/TraceColumns.h"

#include <cstddef>

namespace Tallowmere {
namespace {

constexpr std::size_t kSeverityBuffer = 34;
constexpr std::size_t kLocationBuffer = 40;
constexpr std::size_t kSourceSize = 30;

/// `text` as a bounded format writes it: up to its first null character, left-aligned in `width`
/// columns, then a tab, all cut to a buffer of `size` characters with its terminator.
std::wstring column(const std::wstring& text, std::size_t width, std::size_t size) {
    std::wstring result = text.c_str();
    if (result.size() < width) {
        result.resize(width, L' ');
    }
    result += L'\t';
    return result.substr(0, size - 1);
}

/// Five digits at least, of which the sign takes one.
std::wstring paddedNumber(int number) {
    std::wstring digits = std::to_wstring(number);
    const std::size_t sign = number < 0 ? 1 : 0;
    if (digits.size() < 5) {
        digits.insert(sign, 5 - digits.size(), L'0');
    }
    return digits;
}

}  // namespace

std::wstring severityColumn(const std::wstring& name) {
    return column(name, 8, kSeverityBuffer);
}

std::wstring threadColumn(std::uint32_t thread) {
    return L'T' + std::to_wstring(thread) + L'\t';
}

std::wstring locationColumn(const std::wstring& source, int line) {
    std::wstring text = source.substr(0, kSourceSize).c_str();
    text += L":L";
    text += paddedNumber(line);
    return column(text.substr(0, kLocationBuffer - 1), 36, kLocationBuffer);
}

}  // namespace Tallowmere
