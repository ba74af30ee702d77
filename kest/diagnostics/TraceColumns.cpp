#include "kest/diagnostics/TraceColumns.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace Tallowmere {
namespace {

constexpr std::size_t kSeverityBuffer = 34;
constexpr std::size_t kLocationBuffer = 40;
constexpr std::size_t kSourceSize = 30;
static_assert(kSeverityBuffer <= TraceColumn::kSize && kLocationBuffer <= TraceColumn::kSize);
static_assert(TraceColumn::kSize <= ColumnBytes::kSize);

/// Of a text that is ASCII.
void narrow(std::wstring_view text, ColumnBytes& column) {
    std::transform(text.begin(), text.end(), column.bytes,
                   [](wchar_t unit) { return static_cast<char>(unit); });
    column.size = text.size();
}

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

bool plainSeverity(const wchar_t* name, ColumnBytes& column) {
    constexpr std::size_t kWidth = 8;
    std::memset(column.bytes, ' ', kWidth);
    std::size_t length = 0;
    for (; name[length] != L'\0'; ++length) {
        const auto unit = static_cast<std::uint32_t>(name[length]);
        if (unit >= 0x80 || length == kWidth) {
            return false;
        }
        column.bytes[length] = static_cast<char>(unit);
    }
    column.bytes[kWidth] = '\t';
    column.size = kWidth + 1;
    return true;
}

void ThreadMemo::make(std::uint32_t thread) {
    m_thread = thread;
    narrow(threadColumn(thread).text(), m_column);
}

bool LocationMemo::isSame(std::string_view name) const {
    if (name.size() != m_length || name.empty()) {
        return false;
    }
    // A word at a time: this is asked for each line. The last word overlaps the one before it.
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    if (m_length < kWord) {
        return std::equal(name.begin(), name.end(), m_source);
    }
    const auto differ = [&](std::size_t at) {
        std::uint64_t given = 0;
        std::uint64_t kept = 0;
        std::memcpy(&given, name.data() + at, kWord);
        std::memcpy(&kept, m_source + at, kWord);
        return given ^ kept;
    };
    std::uint64_t difference = differ(m_length - kWord);
    for (std::size_t at = 0; at + kWord < m_length; at += kWord) {
        difference |= differ(at);
    }
    return difference == 0;
}

bool LocationMemo::keepBaseName(std::string_view path) {
    // The last component, which is the base name of every path that does not end in a separator.
    std::size_t begin = path.size();
    while (begin != 0 && path[begin - 1] != '/' && path[begin - 1] != '\\') {
        --begin;
    }
    const std::string_view name = path.substr(begin);
    const auto isPlain = [](char byte) { return static_cast<unsigned char>(byte - 1) < 0x7F; };
    if (isSame(name)) {
        return true;
    }
    if (name.empty() || name.size() > kSource || !std::all_of(name.begin(), name.end(), isPlain)) {
        return false;
    }
    std::memset(m_source, 0, sizeof(m_source));
    m_length = name.copy(m_source, kSource);
    return true;
}

void LocationMemo::fill(Entry& entry, int line) const {
    wchar_t name[kSource];
    std::copy_n(m_source, m_length, name);
    const TraceColumn column = locationColumn({name, m_length}, line);
    narrow(column.text(), entry.column);
    // A column is longer than any name.
    (void)column.text().copy(entry.name, kSource);
    std::memcpy(entry.m_source, m_source, kSourceRoom);
    entry.m_line = line;
    static std::atomic<std::uint64_t> s_last{0};
    entry.number = ++s_last;
}

}  // namespace Tallowmere
