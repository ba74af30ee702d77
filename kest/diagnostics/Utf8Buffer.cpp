#include "kest/diagnostics/Utf8Buffer.h"

#include <algorithm>
#include <cstddef>

namespace Tallowmere {
namespace {

constexpr std::size_t kGatheredAtMost = 1U << 16;

}  // namespace

Utf8Buffer::Utf8Buffer(std::streambuf& bytes) : m_bytes(bytes) {}

Utf8Buffer::~Utf8Buffer() {
    try {
        m_gathered.finish();
        handOnBytes(m_gathered);
    } catch (...) {
        // Out of memory: the rest is lost, as all else that cannot be written.
    }
}

Utf8Buffer::int_type Utf8Buffer::overflow(int_type unit) {
    if (!traits_type::eq_int_type(unit, traits_type::eof())) {
        m_gathered.append(traits_type::to_char_type(unit));
        limit();
    }
    return traits_type::not_eof(unit);
}

std::streamsize Utf8Buffer::xsputn(const wchar_t* text, std::streamsize count) {
    // In parts, so that a text of any length takes no more room than the limit.
    constexpr std::size_t kPart = kGatheredAtMost / 4;
    for (std::wstring_view rest(text, static_cast<std::size_t>(count)); !rest.empty();) {
        const std::wstring_view part = rest.substr(0, kPart);
        m_gathered.append(part);
        limit();
        rest.remove_prefix(part.size());
    }
    return count;
}

int Utf8Buffer::sync() {
    handOnBytes(m_gathered);
    return 0;
}

void Utf8Buffer::gather(LineText& text) {
    m_gathered.take(text);
    limit();
}

void Utf8Buffer::handOn(LineText& text) {
    if (m_gathered.empty() && !text.isPairOpen()) {
        handOnBytes(text);
        return;
    }
    m_gathered.take(text);
    handOnBytes(m_gathered);
}

/// Text that is never flushed must not grow without end.
void Utf8Buffer::limit() {
    if (m_gathered.bytes().size() >= kGatheredAtMost) {
        handOnBytes(m_gathered);
    }
}

void Utf8Buffer::handOnBytes(LineText& text) {
    if (text.bytes().empty()) {
        return;
    }
    if (m_isTorn) {
        text.prependLineFeed();
    }
    const std::string_view bytes = text.bytes();
    const auto size = static_cast<std::streamsize>(bytes.size());
    const std::streamsize written = m_bytes.sputn(bytes.data(), size);
    const bool isWhole = written == size && m_bytes.pubsync() == 0;
    if (written > 0) {
        m_isAtLineStart = bytes[static_cast<std::size_t>(written - 1)] == '\n';
    }
    m_isTorn = !isWhole && !m_isAtLineStart;
    text.clearBytes();
}

}  // namespace Tallowmere
