#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace Tallowmere {

/// Wide text gathered as UTF-8 bytes: what a trace line is made of before it is written.
///
/// The conversion cannot fail. A pair of surrogates is one character, also when its halves arrive
/// apart; half a pair, and what is no character at all, become U+FFFD.
class LineText {
public:
    LineText() = default;
    LineText(const LineText&) = delete;
    LineText& operator=(const LineText&) = delete;

    void append(wchar_t unit) {
        if (m_highSurrogate == 0 && static_cast<std::uint32_t>(unit) < 0x80) {
            *room(1) = static_cast<char>(unit);
            ++m_size;
        } else {
            appendUnit(unit);
        }
    }
    void append(std::wstring_view text);
    /// The same up to the first null character.
    void appendToNull(std::wstring_view text);
    /// Each byte is the character of its value.
    void appendBytes(std::string_view bytes);
    /// The first `size` of `bytes`, which are ASCII. The others are written over later: a copy
    /// whose length is known beforehand takes a few instructions and no call.
    template <std::size_t capacity>
    void appendAscii(const char (&bytes)[capacity], std::size_t size) {
        finish();
        std::memcpy(room(capacity), bytes, capacity);
        m_size += size;
    }
    /// Where at most `most` bytes of ASCII can be written, which endAscii then takes over up to
    /// `end`.
    char* beginAscii(std::size_t most) {
        finish();
        return room(most);
    }
    void endAscii(const char* end) { m_size = static_cast<std::size_t>(end - m_bytes.get()); }
    /// In decimal, without any grouping.
    void appendNumber(std::int64_t number);
    void appendNumber(std::uint64_t number);
    /// All of `other`, which is left empty.
    void take(LineText& other);

    /// What was gathered; half a pair whose other half is still to come is not in it.
    std::string_view bytes() const { return {m_bytes.get(), m_size}; }
    /// Whether neither a character nor half a pair was gathered.
    bool empty() const { return m_size == 0 && m_highSurrogate == 0; }
    /// Whether half a pair waits for its other half.
    bool isPairOpen() const { return m_highSurrogate != 0; }

    /// Forgets the bytes, whose memory is kept for the next ones, but not half a pair.
    void clearBytes() { m_size = 0; }
    /// Puts a line feed in front.
    void prependLineFeed();
    /// Nothing follows any more: half a pair that still waits becomes U+FFFD.
    void finish() {
        if (m_highSurrogate != 0) {
            replaceHalf();
        }
    }

private:
    template <bool stopsAtNull>
    void appendText(std::wstring_view text);
    void replaceHalf();
    void appendCharacter(std::uint32_t character);
    void appendUnit(wchar_t unit);
    void put(std::string_view bytes);
    /// Where `count` more bytes have room; `m_size` does not count them yet.
    char* room(std::size_t count) {
        if (m_capacity - m_size < count) {
            grow(count);
        }
        return m_bytes.get() + m_size;
    }
    void grow(std::size_t count);

    // Not a string, which would write zeros wherever it makes room.
    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
    /// The first half of a pair whose second half is still to come, or 0.
    std::uint32_t m_highSurrogate = 0;
};

}  // namespace Tallowmere
