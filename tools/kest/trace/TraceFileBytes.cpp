#include "trace/TraceFileBytes.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "trace/Line.h"

namespace Tallowmere::command::trace {
namespace {

/// As much of a file's beginning as tells its text from any other: the line that tells of the
/// roll-over, and the time of the next.
constexpr std::size_t kBeginning = 256;

/// The size that the library's trace has reached when it is rolled over.
constexpr std::uint64_t kRollOverSize = 10485760;

}  // namespace

Bytes::State WholeFile::read(char* buffer, std::size_t size, std::size_t& count) {
    count = m_file.readAt(m_offset, buffer, size);
    m_offset += count;
    return count == 0 ? State::none : State::some;
}

Bytes::State GrowingFile::read(char* buffer, std::size_t size, std::size_t& count) {
    count = 0;
    if (m_isRestarted) {
        m_isRestarted = false;
        restart();
        return State::restarted;
    }
    if (!m_file.isOpen() && !open()) {
        return State::none;
    }
    count = m_file.readAt(m_offset, buffer, size);
    if (!hasSameBeginning()) {
        // The bytes may still be of the former text: they are, unless the new one has them too.
        if (count != 0 && wasReadBeforeRestart(buffer, count)) {
            m_offset += count;
            return State::some;
        }
        count = 0;
        m_isRestarted = !isEmpty();
        // An empty file does not tell yet what emptied it.
        return m_isRestarted ? read(buffer, size, count) : State::none;
    }
    if (count == 0) {
        if (isReplaced()) {
            m_isRestarted = true;
            m_file = SharedFile();
            return read(buffer, size, count);
        }
        return State::none;
    }
    rememberBeginning(buffer, count);
    m_offset += count;
    return State::some;
}

bool GrowingFile::open() {
    std::string reason;
    bool isMissing = false;
    if (m_file.open(m_path, reason, isMissing)) {
        m_wasOpen = true;
        return true;
    }
    if (!isMissing && !m_wasOpen) {
        throw std::runtime_error(reason);
    }
    return false;
}

/// Whether the file begins as it did: it is then still the same text.
bool GrowingFile::hasSameBeginning() {
    if (m_beginning.empty()) {
        return true;
    }
    char now[kBeginning];
    std::size_t known = 0;
    while (known < m_beginning.size()) {
        const std::size_t count = m_file.readAt(known, now + known, m_beginning.size() - known);
        if (count == 0) {
            break;
        }
        known += count;
    }
    return std::string_view(now, known) == m_beginning;
}

void GrowingFile::rememberBeginning(const char* bytes, std::size_t count) {
    if (m_offset == m_beginning.size() && m_offset < kBeginning) {
        m_beginning.append(bytes, std::min(count, kBeginning - m_beginning.size()));
    }
}

/// Whether the file's name has passed to another file. While it is nobody's the old one goes on.
bool GrowingFile::isReplaced() const {
    FileIdentity named;
    return SharedFile::identityOf(m_path, named) && !(named == m_file.identity());
}

bool GrowingFile::wasReadBeforeRestart(const char* bytes, std::size_t count) {
    std::string now(count, '\0');
    std::size_t known = 0;
    while (known < count) {
        const std::size_t more = m_file.readAt(m_offset + known, now.data() + known, count - known);
        if (more == 0) {
            break;
        }
        known += more;
    }
    return std::string_view(now).substr(0, known) != std::string_view(bytes, count);
}

bool GrowingFile::isEmpty() {
    char byte = 0;
    return m_file.readAt(0, &byte, 1) == 0;
}

void GrowingFile::restart() {
    m_lost = 0;
    char first[kRolledOver.size()];
    if (m_file.isOpen() && m_offset < kRollOverSize &&
        std::string_view(first, m_file.readAt(0, first, sizeof first)) == kRolledOver) {
        // The file is rolled over when it has reached that size: what is missing to it was there.
        m_lost = kRollOverSize - m_offset;
    }
    m_offset = 0;
    m_beginning.clear();
}

}  // namespace Tallowmere::command::trace
