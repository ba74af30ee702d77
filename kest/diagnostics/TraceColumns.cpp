#include "kest/diagnostics/TraceColumns.h"

#include <algorithm>

namespace Tallowmere {
namespace {

constexpr std::size_t kSeverityBuffer = 34;
constexpr std::size_t kLocationBuffer = 40;
constexpr std::size_t kSourceSize = 30;
static_assert(kSeverityBuffer <= TraceColumn::kSize && kLocationBuffer <= TraceColumn::kSize);

}  // namespace

void TraceColumn::append(std::wstring_view text, std::size_t size) {
    const std::size_t end =
        m_length + std::min(text.size(), size - 1 - std::min(m_length, size - 1));
    for (const wchar_t* unit = text.data(); m_length < end && *unit != L'\0'; ++unit) {
        m_text[m_length++] = *unit;
    }
}

void TraceColumn::pad(std::size_t width) {
    while (m_length < width) {
        m_text[m_length++] = L' ';
    }
}

void TraceColumn::append(std::int64_t number, std::size_t digits, std::size_t size) {
    wchar_t written[24];
    wchar_t* const end = written + 24;
    wchar_t* first = end;
    const bool isNegative = number < 0;
    auto left = static_cast<std::uint64_t>(number);
    if (isNegative) {
        left = -left;
    }
    do {
        *--first = static_cast<wchar_t>(L'0' + left % 10);
        left /= 10;
    } while (left != 0);
    const std::size_t least = digits - std::min<std::size_t>(digits, isNegative ? 1 : 0);
    while (static_cast<std::size_t>(end - first) < least) {
        *--first = L'0';
    }
    if (isNegative) {
        *--first = L'-';
    }
    append({first, static_cast<std::size_t>(end - first)}, size);
}

const TraceColumn& LocationMemo::column(std::wstring_view source, int line) {
    const std::wstring_view shown = source.substr(0, kSource);
    if (!m_isFilled || line != m_line || shown != std::wstring_view(m_source, m_length)) {
        m_column = locationColumn(shown, line);
        m_length = shown.copy(m_source, kSource);
        m_line = line;
        m_isFilled = true;
    }
    return m_column;
}

TraceColumn severityColumn(std::wstring_view name) {
    TraceColumn column;
    column.append(name, kSeverityBuffer);
    column.pad(8);
    column.append(L"\t", kSeverityBuffer);
    return column;
}

TraceColumn threadColumn(std::uint32_t thread) {
    TraceColumn column;
    column.append(L"T", kSeverityBuffer);
    column.append(std::int64_t{thread}, 0, kSeverityBuffer);
    column.append(L"\t", kSeverityBuffer);
    return column;
}

TraceColumn locationColumn(std::wstring_view source, int line) {
    TraceColumn column;
    column.append(source.substr(0, kSourceSize), kLocationBuffer);
    column.append(L":L", kLocationBuffer);
    column.append(std::int64_t{line}, 5, kLocationBuffer);
    column.pad(36);
    column.append(L"\t", kLocationBuffer);
    return column;
}

}  // namespace Tallowmere
