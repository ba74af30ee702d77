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

/// Of a text that is ASCII and not too long.
template <std::size_t capacity>
void narrow(std::wstring_view text, ColumnBytes<capacity>& column) {
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

void ThreadMemo::make(std::uint32_t thread) {
    m_thread = thread;
    narrow(threadColumn(thread).text(), m_column);
}

bool LocationMemo::takeName(std::string_view path) {
    // The last component, which is the base name of every path that does not end in a separator.
    std::size_t begin = path.size();
    while (begin != 0 && path[begin - 1] != '/' && path[begin - 1] != '\\') {
        --begin;
    }
    const std::string_view name = path.substr(begin);
    const auto isPlain = [](char byte) { return static_cast<unsigned char>(byte - 1) < 0x7F; };
    if (name.empty() || name.size() > kSource || !std::all_of(name.begin(), name.end(), isPlain)) {
        return false;
    }
    m_length = name.copy(m_source, kSource);
    return true;
}

const LocationMemo::Entry* LocationMemo::columnAnew(std::string_view path, int line) {
    // A longer path is looked through each time, and its base name is the key.
    return takeName(path) ? &entryOf(path.size() <= Entry::kKey ? path : name(), line) : nullptr;
}

/// The column of the kept name, which is the base name of `key`.
const LocationMemo::Entry& LocationMemo::entryOf(std::string_view key, int line) {
    Entry& entry = m_entries[static_cast<unsigned int>(line) % kEntries];
    if (entry.m_line == line && isKey(entry, key)) {
        return entry;
    }
    wchar_t source[kSource];
    std::copy_n(m_source, m_length, source);
    const TraceColumn column = locationColumn({source, m_length}, line);
    narrow(column.text(), entry.m_column);
    // A column is longer than any name.
    (void)column.text().copy(entry.m_name, kSource);
    entry.m_keyLength = static_cast<std::uint32_t>(key.copy(entry.m_key, Entry::kKey));
    entry.m_line = line;
    static std::atomic<std::uint64_t> s_last{0};
    entry.m_number = ++s_last;
    return entry;
}

}  // namespace Tallowmere
