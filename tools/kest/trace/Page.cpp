#include "trace/Page.h"

#include <algorithm>

#include "trace/Text.h"

namespace Tallowmere::command::trace {
namespace {

/// Stands for the thread of an entry before any line of its file.
constexpr std::int64_t kNoThread = -1;

/// What the page's script calls the kinds of entries.
char kindOf(const Entry& entry) {
    switch (entry.kind) {
        case Entry::Kind::line:
            return static_cast<char>('0' + static_cast<int>(entry.line.severity));
        case Entry::Kind::rolledOver:
            return 'r';
        default:
            break;
    }
    switch (entry.flaw) {
        case Flaw::time:
            return 'T';
        case Flaw::severity:
            return 'S';
        case Flaw::thread:
            return 'H';
        case Flaw::place:
            return 'P';
        default:
            return 'L';
    }
}

template <class Items, class Function>
void appendList(std::string& text, const char* name, const Items& items, Function append) {
    text += ",\n\"";
    text += name;
    text += "\":[";
    bool isFirst = true;
    for (const auto& item : items) {
        text += isFirst ? "" : ",";
        isFirst = false;
        append(item);
    }
    text += ']';
}

}  // namespace

Page::Page(const FileNames& names, Output& output, std::size_t most, std::string query)
    : m_names(names),
      m_output(output),
      m_most(most),
      m_query(std::move(query)),
      m_lastThreads(names.size(), kNoThread) {}

void Page::take(const Entry& entry) {
    if (entry.kind == Entry::Kind::blank || entry.kind == Entry::Kind::restarted) {
        return;
    }
    Item item{};
    item.when = entry.when;
    item.own = entry.when;
    item.kind = kindOf(entry);
    item.isUnfinished = entry.isUnfinished;
    item.isPart = entry.isPart;
    item.isTimeKnown = true;
    item.within = entry.within;
    item.number = entry.number;
    std::string_view text = entry.bytes;
    std::int64_t& thread = m_lastThreads[entry.file];
    if (entry.kind == Entry::Kind::line) {
        thread = entry.line.thread;
        item.isTimeKnown = entry.line.isTimeKnown;
        item.own = item.isTimeKnown ? entry.line.instant : entry.when;
        item.place = &m_places.take({std::string(entry.line.module), entry.line.number});
        Places::Use& use = item.place->second;
        if (use.count == 1) {
            std::string shown;
            appendJson(shown, item.place->first.first, true);
            use.bytes = shown.size();
            m_bytes += use.bytes;
        }
        text = entry.line.message;
        text.remove_suffix(text.ends_with('\r') ? 1 : 0);
    }
    item.thread = &m_threads.take({entry.file, thread});
    appendJson(item.text, text, true);
    // Without its quotation marks: all of the texts become one string.
    item.text.pop_back();
    item.text.erase(0, 1);
    m_bytes += item.text.size();
    m_items.push_back(std::move(item));
    while (m_items.size() > m_most || (m_bytes > kBytes && m_items.size() > 1)) {
        leaveOut();
    }
}

void Page::leaveOut() {
    const Item& item = m_items.front();
    ++m_leftOut;
    if (item.when != kNever) {
        m_leftOutFirst = m_leftOutFirst == kNever ? item.when : m_leftOutFirst;
        m_leftOutLast = item.when;
    }
    m_bytes -= item.text.size();
    m_threads.giveBack(*item.thread);
    if (item.place != nullptr) {
        m_bytes -= item.place->second.count == 1 ? item.place->second.bytes : 0;
        m_places.giveBack(*item.place);
    }
    m_items.pop_front();
}

void Page::finish() {
    for (const Item& item : m_items) {
        m_threads.number(*item.thread);
        if (item.place != nullptr) {
            m_places.number(*item.place);
        }
    }
    m_output.write(kPageHead);
    m_output.write(data());
    m_output.write(kPageTail);
}

std::string Page::data() const {
    std::string text;
    text.reserve(m_bytes + m_items.size() * 24);
    text += "{\"query\":";
    appendJson(text, m_query, true);
    text += ",\n\"leftOut\":";
    if (m_leftOut == 0) {
        text += "null";
    } else {
        text += "{\"count\":" + std::to_string(m_leftOut);
        if (m_leftOutFirst != kNever) {
            text += ",\"from\":" + std::to_string(m_leftOutFirst) +
                    ",\"to\":" + std::to_string(m_leftOutLast);
        }
        text += '}';
    }
    appendTables(text);
    appendColumns(text);
    text += "}\n";
    return text;
}

void Page::appendTables(std::string& text) const {
    appendList(text, "files", m_names,
               [&text](const std::string& name) { appendJson(text, name, true); });
    appendList(text, "threads", m_threads.numbered(), [&text](const auto* thread) {
        text += "[" + std::to_string(thread->first) + "," + std::to_string(thread->second) + "]";
    });
    appendList(text, "places", m_places.numbered(), [&text](const auto* place) {
        text += '[';
        appendJson(text, place->first, true);
        text += "," + std::to_string(place->second) + "]";
    });
}

/// A column for each field rather than an object for each line: smaller, and a browser reads it
/// many times faster.
void Page::appendColumns(std::string& text) const {
    Instant before = 0;
    std::size_t row = 0;
    // Times as differences; none at all before the first known time.
    appendList(text, "when", m_items, [&](const Item& item) {
        const Instant when = item.when == kNever ? before : item.when;
        text += std::to_string(when - before);
        before = when;
    });
    appendList(text, "thread", m_items,
               [&text](const Item& item) { text += std::to_string(*item.thread->second.number); });
    appendList(text, "place", m_items, [&text](const Item& item) {
        text += std::to_string(item.place == nullptr ? 0 : *item.place->second.number);
    });
    appendList(text, "number", m_items,
               [&text](const Item& item) { text += std::to_string(item.number); });
    text += ",\n\"kind\":\"";
    for (const Item& item : m_items) {
        text += item.kind;
    }
    text += '"';
    // The exceptions: what few lines have, by the line's row.
    const auto appendRows = [&](const char* name, auto isOne, auto append) {
        row = 0;
        text += ",\n\"";
        text += name;
        text += "\":[";
        for (const Item& item : m_items) {
            if (isOne(item)) {
                text += text.back() == '[' ? "" : ",";
                append(item);
            }
            ++row;
        }
        text += ']';
    };
    const auto appendRow = [&](const Item&) { text += std::to_string(row); };
    appendRows(
        "own", [](const Item& item) { return item.own != item.when; },
        [&](const Item& item) {
            text += "[" + std::to_string(row) + "," + std::to_string(item.own) + "]";
        });
    appendRows(
        "untimed", [](const Item& item) { return !item.isTimeKnown || item.when == kNever; },
        appendRow);
    appendRows(
        "unfinished", [](const Item& item) { return item.isUnfinished; }, appendRow);
    appendRows(
        "part", [](const Item& item) { return item.isPart; }, appendRow);
    appendRows(
        "within", [](const Item& item) { return item.within.has_value(); },
        [&](const Item& item) {
            text += "[" + std::to_string(row) + "," +
                    std::to_string(static_cast<int>(*item.within)) + "]";
        });
    // No text holds a line feed, so all of them are one string, which is split again.
    text += ",\n\"text\":\"";
    for (const Item& item : m_items) {
        text += item.text;
        text += "\\n";
    }
    text += '"';
}

}  // namespace Tallowmere::command::trace
