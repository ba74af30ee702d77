#include "trace/Reader.h"

#include <algorithm>

namespace Tallowmere::command::trace {

std::string_view reasonOf(const Entry& entry) {
    switch (entry.flaw) {
        case Flaw::time:
            return "it does not begin with a time";
        case Flaw::severity:
            return "no severity behind the time";
        case Flaw::thread:
            return "no thread behind the severity";
        case Flaw::place:
            return "no place behind the thread";
        default:
            return "the rest of a line that is too long";
    }
}

Reader::Reader(Bytes& bytes, std::size_t file, bool isGrowing)
    : m_bytes(bytes), m_lines(bytes, isGrowing) {
    m_entry.file = file;
}

bool Reader::next() {
    std::string_view text;
    const LineSplitter::Piece piece = m_lines.next(text);
    if (piece == LineSplitter::Piece::none) {
        return false;
    }
    Entry entry;
    entry.file = m_entry.file;
    entry.number = m_entry.number;
    m_entry = entry;
    if (piece == LineSplitter::Piece::restarted) {
        m_entry.kind = Entry::Kind::restarted;
        m_entry.lost = m_bytes.lost();
        m_entry.number = 0;
        m_entry.when = m_latest;
        m_isInLongLine = false;
        m_isBlankDue = false;
        return true;
    }
    m_entry.isPart = piece == LineSplitter::Piece::part;
    m_entry.isUnfinished = piece == LineSplitter::Piece::unfinished;
    m_entry.bytes = text;
    if (m_isInLongLine) {
        m_entry.kind = Entry::Kind::unreadable;
    } else {
        ++m_entry.number;
        understand(text);
    }
    m_isInLongLine = m_entry.isPart;
    m_isBlankDue = m_entry.kind == Entry::Kind::line && text.ends_with('\r');
    m_entry.when = m_latest;
    return true;
}

void Reader::understand(std::string_view text) {
    const bool isWhole = !m_entry.isPart && !m_entry.isUnfinished;
    if (isWhole && text == kRolledOver) {
        m_entry.kind = Entry::Kind::rolledOver;
        return;
    }
    if (isWhole && text.empty() && m_isBlankDue) {
        m_entry.kind = Entry::Kind::blank;
        return;
    }
    m_entry.flaw = readLine(text, m_entry.line);
    m_entry.kind = m_entry.flaw == Flaw::none ? Entry::Kind::line : Entry::Kind::unreadable;
    if (m_entry.kind == Entry::Kind::line) {
        m_entry.within = severityWithin(m_entry.line.message);
    }
    if (m_entry.kind == Entry::Kind::line && m_entry.line.isTimeKnown) {
        m_entry.runsBack = m_entry.line.instant < m_latest;
        m_latest = std::max(m_latest, m_entry.line.instant);
    }
}

}  // namespace Tallowmere::command::trace
