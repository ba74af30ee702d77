#include "kest/diagnostics/Utf8Buffer.h"

#include <algorithm>
#include <cstddef>

#include "kest/platform/Utf8.h"

namespace Tallowmere {
namespace {

using platform::utf8::kReplacement;

constexpr std::size_t kGatheredAtMost = 1U << 16;

bool isHighSurrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(std::uint32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

Utf8Buffer::Utf8Buffer(std::streambuf& bytes) : m_bytes(bytes) {}

Utf8Buffer::~Utf8Buffer() {
    try {
        if (m_highSurrogate != 0) {
            appendCharacter(kReplacement);
        }
        handOn();
    } catch (...) {
        // Out of memory: the rest is lost, as all else that cannot be written.
    }
}

Utf8Buffer::int_type Utf8Buffer::overflow(int_type unit) {
    if (!traits_type::eq_int_type(unit, traits_type::eof())) {
        append(traits_type::to_char_type(unit));
    }
    return traits_type::not_eof(unit);
}

std::streamsize Utf8Buffer::xsputn(const wchar_t* text, std::streamsize count) {
    const auto size = static_cast<std::size_t>(count);
    for (std::size_t i = 0; i < size;) {
        // Runs of ASCII, nearly all of a trace, go over at once.
        std::size_t end = i;
        while (end < size && static_cast<std::uint32_t>(text[end]) < 0x80) {
            ++end;
        }
        if (end == i || m_highSurrogate != 0) {
            append(text[i++]);
            continue;
        }
        m_gathered.resize(m_gathered.size() + (end - i));
        std::transform(text + i, text + end,
                       m_gathered.end() - static_cast<std::ptrdiff_t>(end - i),
                       [](wchar_t unit) { return static_cast<char>(unit); });
        i = end;
        limit();
    }
    return count;
}

int Utf8Buffer::sync() {
    handOn();
    return 0;
}

void Utf8Buffer::append(wchar_t unit) {
    const auto value = static_cast<std::uint32_t>(unit);
    const std::uint32_t high = m_highSurrogate;
    m_highSurrogate = 0;
    if (high != 0 && isLowSurrogate(value)) {
        appendCharacter(0x10000 + ((high - 0xD800) << 10) + (value - 0xDC00));
        return;
    }
    if (high != 0) {
        appendCharacter(kReplacement);
    }
    if (isHighSurrogate(value)) {
        m_highSurrogate = value;
    } else {
        appendCharacter(isLowSurrogate(value) || value > 0x10FFFF ? kReplacement : value);
    }
}

void Utf8Buffer::appendCharacter(std::uint32_t character) {
    platform::utf8::append(character, m_gathered);
    limit();
}

/// Text that is never flushed must not grow without end.
void Utf8Buffer::limit() {
    if (m_gathered.size() >= kGatheredAtMost) {
        handOn();
    }
}

void Utf8Buffer::handOn() {
    if (m_gathered.empty()) {
        return;
    }
    if (m_isTorn) {
        m_gathered.insert(0, 1, '\n');
    }
    const auto size = static_cast<std::streamsize>(m_gathered.size());
    const std::streamsize written = m_bytes.sputn(m_gathered.data(), size);
    const bool isWhole = written == size && m_bytes.pubsync() == 0;
    if (written > 0) {
        m_isAtLineStart = m_gathered[static_cast<std::size_t>(written - 1)] == '\n';
    }
    m_isTorn = !isWhole && !m_isAtLineStart;
    m_gathered.clear();
}

}  // namespace Tallowmere
