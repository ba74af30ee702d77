#include "trace/LineSplitter.h"

namespace Tallowmere::command::trace {
namespace {

constexpr std::size_t kBlock = 1U << 16;

}  // namespace

LineSplitter::LineSplitter(Bytes& bytes, bool isGrowing) : m_bytes(bytes), m_isGrowing(isGrowing) {}

LineSplitter::Piece LineSplitter::next(std::string_view& text) {
    text = {};
    for (;;) {
        if (m_isRestartDue) {
            if (!rest().empty()) {
                text = takeRest();
                return Piece::unfinished;
            }
            m_isRestartDue = false;
            m_areEndsKnown = false;
            return Piece::restarted;
        }
        if (takeLine(text)) {
            return Piece::line;
        }
        if (rest().size() > kAtMost) {
            text = rest().substr(0, kAtMost);
            m_begin += kAtMost;
            m_searched = m_begin;
            return Piece::part;
        }
        makeRoom();
        const std::size_t before = m_buffer.size();
        m_buffer.resize(before + kBlock);
        std::size_t count = 0;
        const Bytes::State state = m_bytes.read(m_buffer.data() + before, kBlock, count);
        m_buffer.resize(before + count);
        if (state == Bytes::State::restarted) {
            m_isRestartDue = true;
        } else if (state == Bytes::State::none) {
            if (m_isGrowing || rest().empty()) {
                return Piece::none;
            }
            text = takeRest();
            return Piece::unfinished;
        }
    }
}

bool LineSplitter::takeLine(std::string_view& text) {
    const std::size_t end = m_buffer.find('\n', m_searched);
    if (end == std::string::npos || end - m_begin > kAtMost) {
        m_searched = end == std::string::npos ? m_buffer.size() : end;
        return false;
    }
    learnLineEnds();
    std::size_t last = end;
    if (m_hasCarriageReturns && last > m_begin && m_buffer[last - 1] == '\r') {
        --last;
    }
    text = std::string_view(m_buffer).substr(m_begin, last - m_begin);
    m_begin = end + 1;
    m_searched = m_begin;
    return true;
}

std::string_view LineSplitter::takeRest() {
    const std::string_view text = rest().substr(0, kAtMost);
    m_begin += text.size();
    m_searched = m_begin;
    return text;
}

void LineSplitter::makeRoom() {
    // Only what is left of a line that has begun is moved.
    m_buffer.erase(0, m_begin);
    m_searched -= m_begin;
    m_begin = 0;
}

/// A trace from Windows has a carriage return before every line feed; any other has some before a
/// few, where a message ends in a text of the system's. The first block with a line end tells.
void LineSplitter::learnLineEnds() {
    if (m_areEndsKnown) {
        return;
    }
    m_areEndsKnown = true;
    m_hasCarriageReturns = true;
    for (std::size_t end = m_buffer.find('\n', m_begin); end != std::string::npos;
         end = m_buffer.find('\n', end + 1)) {
        m_hasCarriageReturns = m_hasCarriageReturns && end > m_begin && m_buffer[end - 1] == '\r';
    }
}

}  // namespace Tallowmere::command::trace
