#include "trace/Summary.h"

#include <algorithm>
#include <numeric>

#include "trace/Text.h"

namespace Tallowmere::command::trace {
namespace {

std::string padded(std::string text, std::size_t width) {
    const std::size_t used = widthOf(text);
    text.append(width > used ? width - used : 0, ' ');
    return text;
}

std::string rightAligned(const std::string& text, std::size_t width) {
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

std::string shown(std::string_view text) {
    std::string result;
    appendShown(result, text);
    return result;
}

/// Enough of a message to know it by.
std::string shortened(std::string_view message) {
    constexpr std::size_t kAtMost = 100;
    std::string text =
        shown(message.substr(0, message.ends_with('\r') ? message.size() - 1 : message.size()));
    std::replace(text.begin(), text.end(), '\t', ' ');
    if (widthOf(text) <= kAtMost) {
        return text;
    }
    std::size_t end = 0;
    for (std::size_t width = 0; width < kAtMost; ++width) {
        end += firstCharacter(std::string_view(text).substr(end)).size;
    }
    return text.substr(0, end) + "...";
}

std::uint64_t sumOf(const std::array<std::uint64_t, kSeverities.size()>& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

std::string plural(std::uint64_t count, const char* one, const char* many) {
    return grouped(count) + " " + (count == 1 ? one : many);
}

void appendMember(std::string& text, std::string_view name) {
    if (text.back() != '{' && text.back() != '[') {
        text += ',';
    }
    appendJson(text, name);
    text += ':';
}

void appendMember(std::string& text, std::string_view name, std::int64_t value) {
    appendMember(text, name);
    text += std::to_string(value);
}

void appendMember(std::string& text, std::string_view name, std::string_view value) {
    appendMember(text, name);
    appendJson(text, value);
}

void appendTime(std::string& text, std::string_view name, Instant when) {
    appendMember(text, name);
    if (when == kNever) {
        text += "null";
    } else {
        appendJson(text, isoOf(when));
    }
}

void appendCounts(std::string& text, const std::array<std::uint64_t, kSeverities.size()>& counts) {
    for (std::size_t i = 0; i < counts.size(); ++i) {
        appendMember(text, kSeverities[i], static_cast<std::int64_t>(counts[i]));
    }
}

/// Between the members of a list.
void appendComma(std::string& text) {
    if (text.back() != '[') {
        text += ',';
    }
}

}  // namespace

Summary::Summary(const FileNames& names, Output& output, bool isJson)
    : m_names(names), m_output(output), m_isJson(isJson) {}

void Summary::take(const Entry& entry) {
    switch (entry.kind) {
        case Entry::Kind::line:
            takeLine(entry);
            break;
        case Entry::Kind::unreadable:
            ++m_unreadable;
            break;
        case Entry::Kind::rolledOver:
            ++m_rolledOver;
            break;
        default:
            break;
    }
}

void Summary::takeLine(const Entry& entry) {
    const Line& line = entry.line;
    const auto severity = static_cast<std::size_t>(line.severity);
    ++m_lines;
    ++m_counts[severity];
    m_runsBack += entry.runsBack ? 1 : 0;
    m_timesNotKnown += line.isTimeKnown ? 0 : 1;
    auto module = m_modules.find(line.module);
    if (module == m_modules.end() && m_modules.size() < kNames) {
        module = m_modules.emplace(std::string(line.module), Counts{}).first;
    }
    ++(module == m_modules.end() ? m_otherModules : module->second)[severity];

    const Instant when = entry.when;
    if (when != kNever) {
        m_first = m_first == kNever ? when : m_first;
        m_last = when;
    }
    const Thread thread{entry.file, line.thread};
    if (m_lanes.size() >= kNames && !m_lanes.contains(thread)) {
        ++m_otherThreads;
        return;
    }
    Lane& lane = m_lanes[thread];
    if (when != kNever) {
        noteGap(entry, lane, when);
        noteFunction(line, lane, when);
        mark(lane, line.severity, when);
        lane.first = lane.first == kNever ? when : lane.first;
        lane.last = when;
    }
    ++lane.lines;
    ++lane.counts[severity];
    lane.place.assign(line.module);
    lane.place += ":" + std::to_string(line.number);
    lane.message.assign(line.message.substr(0, 400));
}

void Summary::noteGap(const Entry& entry, const Lane& lane, Instant when) {
    if (lane.last == kNever || when <= lane.last) {
        return;
    }
    const Instant length = when - lane.last;
    if (m_gaps.size() == kGaps && length <= m_gaps.back().length) {
        return;
    }
    const auto place = std::upper_bound(m_gaps.begin(), m_gaps.end(), length,
                                        [](Instant l, const Gap& gap) { return l > gap.length; });
    m_gaps.insert(place, {length, entry.file, entry.line.thread, lane.last, lane.place,
                          shortened(lane.message)});
    if (m_gaps.size() > kGaps) {
        m_gaps.pop_back();
    }
}

void Summary::noteFunction(const Line& line, Lane& lane, Instant when) {
    if (const auto entered = enteredFunction(line.message)) {
        lane.brackets.enter(*entered, when);
        lane.deepest = std::max(lane.deepest, lane.brackets.depth());
        return;
    }
    const auto exited = exitedFunction(line.message);
    if (!exited) {
        return;
    }
    const auto call = lane.brackets.exit(*exited);
    if (!call || (m_functions.size() >= kNames && !m_functions.contains(call->function))) {
        return;
    }
    Calls& calls = m_functions[call->function];
    ++calls.count;
    calls.total += when - call->begin;
    calls.longest = std::max(calls.longest, when - call->begin);
}

/// Notes the line in its cell. Cells become twice as long, two and two put together, until the last
/// one reaches the time.
void Summary::mark(Lane& lane, Severity severity, Instant when) {
    while ((when - m_first) / m_cell >= static_cast<Instant>(kCells)) {
        m_cell *= 2;
        for (auto& [thread, other] : m_lanes) {
            for (std::size_t i = 0; i < kCells; ++i) {
                const Cell none;
                const Cell& left = 2 * i < kCells ? other.cells[2 * i] : none;
                const Cell& right = 2 * i < kCells ? other.cells[2 * i + 1] : none;
                other.cells[i] = {left.lines + right.lines, std::max(left.worst, right.worst)};
            }
        }
    }
    Cell& marked = lane.cells[static_cast<std::size_t>((when - m_first) / m_cell)];
    ++marked.lines;
    marked.worst = std::max(marked.worst, severity);
}

void Summary::finish() {
    m_output.write(m_isJson ? asJson() : asText());
}

std::string Summary::asText() const {
    std::string text;
    appendHead(text);
    appendModules(text);
    appendGaps(text);
    appendFunctions(text);
    appendLanes(text);
    return text;
}

void Summary::appendHead(std::string& text) const {
    text += plural(m_names.size(), "file", "files") + ", " + plural(m_lines, "line", "lines");
    if (m_unreadable != 0) {
        text += ", " + grouped(m_unreadable) + " that cannot be read";
    }
    if (m_rolledOver != 0) {
        text += ", rolled over " + plural(m_rolledOver, "time", "times");
    }
    text += '\n';
    if (m_first != kNever) {
        text +=
            stampOf(m_first) + " to " + stampOf(m_last) + ": " + spanOf(m_last - m_first) + "\n";
    }
    if (m_timesNotKnown != 0) {
        text += plural(m_timesNotKnown, "line has", "lines have") +
                " a time in another language, taken for that of the line before\n";
    }
    if (m_runsBack != 0) {
        text += plural(m_runsBack, "line is", "lines are") +
                " earlier than one before in the same file\n";
    }
    text += "\nSeverity      Lines\n";
    for (std::size_t i = m_counts.size(); i-- > 0;) {
        text +=
            padded(std::string(kSeverities[i]), 8) + rightAligned(grouped(m_counts[i]), 11) + "\n";
    }
}

void Summary::appendModules(std::string& text) const {
    using Row = std::pair<std::string, Counts>;
    std::vector<Row> rows(m_modules.begin(), m_modules.end());
    std::stable_sort(rows.begin(), rows.end(), [](const Row& left, const Row& right) {
        return sumOf(left.second) > sumOf(right.second);
    });
    if (sumOf(m_otherModules) != 0) {
        rows.emplace_back("(others)", m_otherModules);
    }
    if (rows.empty()) {
        return;
    }
    std::size_t width = 6;
    for (Row& row : rows) {
        row.first = shown(row.first);
        width = std::max(width, widthOf(row.first));
    }
    text += "\n" + padded("Module", width) + "      Lines    WARNING      ERROR   CRITICAL\n";
    for (const auto& [name, counts] : rows) {
        text += padded(name, width) + rightAligned(grouped(sumOf(counts)), 11);
        for (std::size_t i = 1; i < counts.size(); ++i) {
            text += rightAligned(grouped(counts[i]), 11);
        }
        text += '\n';
    }
}

void Summary::appendGaps(std::string& text) const {
    if (m_gaps.empty()) {
        return;
    }
    text += "\nLongest times between two lines of a thread, and the line before\n";
    for (const Gap& gap : m_gaps) {
        text += rightAligned(spanOf(gap.length), 12) + "  " + stampOf(gap.from) + "  " +
                shown(m_names[gap.file]) + " T" + std::to_string(gap.thread) + "  " +
                shown(gap.place) + "  " + gap.message + "\n";
    }
}

std::vector<std::pair<std::string, Summary::Calls>> Summary::slowestFunctions() const {
    using Row = std::pair<std::string, Calls>;
    std::vector<Row> rows(m_functions.begin(), m_functions.end());
    std::stable_sort(rows.begin(), rows.end(), [](const Row& left, const Row& right) {
        return left.second.longest > right.second.longest;
    });
    rows.resize(std::min(rows.size(), kFunctions));
    return rows;
}

void Summary::appendFunctions(std::string& text) const {
    const auto rows = slowestFunctions();
    if (rows.empty()) {
        return;
    }
    text += "\n     Longest       Total       Calls  Function\n";
    for (const auto& [name, calls] : rows) {
        text += rightAligned(spanOf(calls.longest), 12) + rightAligned(spanOf(calls.total), 12) +
                rightAligned(grouped(calls.count), 12) + "  " + shown(name) + "\n";
    }
}

std::uint64_t Summary::fullestCell() const {
    std::uint64_t most = 1;
    for (const auto& [thread, lane] : m_lanes) {
        for (const Cell& cell : lane.cells) {
            most = std::max(most, cell.lines);
        }
    }
    return most;
}

std::string Summary::drawn(const Lane& lane, std::uint64_t most) const {
    std::string text;
    for (const Cell& cell : lane.cells) {
        if (cell.lines == 0) {
            text += ' ';
        } else if (cell.worst != Severity::info) {
            text += nameOf(cell.worst)[0];
        } else {
            text += 3 * cell.lines <= most ? '.' : 3 * cell.lines <= 2 * most ? ':' : '#';
        }
    }
    return text;
}

void Summary::appendLanes(std::string& text) const {
    if (m_lanes.empty()) {
        return;
    }
    std::vector<std::string> names;
    std::size_t width = 6;
    for (const auto& [thread, lane] : m_lanes) {
        names.push_back(shown(m_names[thread.first]) + " T" + std::to_string(thread.second));
        width = std::max(width, widthOf(names.back()));
    }
    text += "\n" + padded("Thread", width) + "      Lines  Deepest  |" +
            padded(spanOf(m_cell) + " each", kCells) + "|\n";
    const std::uint64_t most = fullestCell();
    std::size_t i = 0;
    for (const auto& [thread, lane] : m_lanes) {
        text += padded(names[i++], width) + rightAligned(grouped(lane.lines), 11) +
                rightAligned(std::to_string(lane.deepest), 9) + "  |" + drawn(lane, most) + "|\n";
    }
    if (m_otherThreads != 0) {
        text += "(others)" + rightAligned(grouped(m_otherThreads), width + 3) + "\n";
    }
    text += "(. : # few and many lines, W E C with a warning, an error, a critical one)\n";
}

std::string Summary::asJson() const {
    std::string text = "{\"files\":[";
    for (const std::string& name : m_names) {
        appendComma(text);
        appendJson(text, name);
    }
    text += ']';
    appendMember(text, "lines", static_cast<std::int64_t>(m_lines));
    appendMember(text, "unreadable", static_cast<std::int64_t>(m_unreadable));
    appendMember(text, "rolledOver", static_cast<std::int64_t>(m_rolledOver));
    appendMember(text, "runsBack", static_cast<std::int64_t>(m_runsBack));
    appendMember(text, "timesNotKnown", static_cast<std::int64_t>(m_timesNotKnown));
    appendTime(text, "first", m_first);
    appendTime(text, "last", m_last);
    appendMember(text, "severities");
    text += '{';
    appendCounts(text, m_counts);
    text += '}';
    appendMember(text, "modules");
    text += '[';
    for (const auto& [name, counts] : m_modules) {
        appendComma(text);
        text += '{';
        appendMember(text, "name", name);
        appendCounts(text, counts);
        text += '}';
    }
    text += ']';
    appendMember(text, "gaps");
    text += '[';
    for (const Gap& gap : m_gaps) {
        appendComma(text);
        text += '{';
        appendMember(text, "milliseconds", gap.length);
        appendTime(text, "from", gap.from);
        appendMember(text, "file", m_names[gap.file]);
        appendMember(text, "thread", std::int64_t{gap.thread});
        appendMember(text, "place", gap.place);
        appendMember(text, "message", gap.message);
        text += '}';
    }
    text += ']';
    appendMember(text, "functions");
    text += '[';
    for (const auto& [name, calls] : slowestFunctions()) {
        appendComma(text);
        text += '{';
        appendMember(text, "name", name);
        appendMember(text, "calls", static_cast<std::int64_t>(calls.count));
        appendMember(text, "longest", calls.longest);
        appendMember(text, "total", calls.total);
        text += '}';
    }
    text += ']';
    appendMember(text, "linesOfOtherThreads", static_cast<std::int64_t>(m_otherThreads));
    appendMember(text, "threads");
    text += '[';
    for (const auto& [thread, lane] : m_lanes) {
        appendComma(text);
        text += '{';
        appendMember(text, "file", m_names[thread.first]);
        appendMember(text, "thread", std::int64_t{thread.second});
        appendMember(text, "lines", static_cast<std::int64_t>(lane.lines));
        appendTime(text, "first", lane.first);
        appendTime(text, "last", lane.last);
        appendMember(text, "deepest", static_cast<std::int64_t>(lane.deepest));
        appendCounts(text, lane.counts);
        text += '}';
    }
    text += "]}\n";
    return text;
}

}  // namespace Tallowmere::command::trace
