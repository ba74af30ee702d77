#include "kest/diagnostics/TraceColumns.h"

#include <cstddef>
#include <cwchar>

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

}  // namespace

std::wstring severityColumn(const std::wstring& name) {
    return column(name, 8, kSeverityBuffer);
}

std::wstring threadColumn(std::uint32_t thread) {
    return L'T' + std::to_wstring(thread) + L'\t';
}

std::wstring locationColumn(const std::wstring& source, int line) {
    wchar_t digits[16];
    std::swprintf(digits, sizeof digits / sizeof *digits, L"%05d", line);
    std::wstring text = source.substr(0, kSourceSize).c_str();
    text += L":L";
    text += digits;
    return column(text.substr(0, kLocationBuffer - 1), 36, kLocationBuffer);
}

}  // namespace Tallowmere
