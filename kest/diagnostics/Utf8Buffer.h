#pragma once

#include <cstdint>
#include <streambuf>
#include <string>

namespace Tallowmere {

/// Writes wide text as UTF-8 bytes, gathered until the stream is flushed and then handed on in one
/// piece: a trace line is one write, whatever its length.
///
/// The conversion cannot fail. A pair of surrogates is one character, also when its halves arrive
/// apart; half a pair, and what is no character at all, become U+FFFD.
///
/// Our choice: a write that fails is not reported either. What was gathered is dropped, so the
/// trace lacks whole lines, and the next flush tries again: the trace goes on once a full disk has
/// room. If a line was cut in the middle, the next text begins on a line of its own.
class Utf8Buffer : public std::wstreambuf {
public:
    /// `bytes` must outlive this.
    explicit Utf8Buffer(std::streambuf& bytes);
    /// Hands on what is left.
    ~Utf8Buffer() override;
    Utf8Buffer(const Utf8Buffer&) = delete;
    Utf8Buffer& operator=(const Utf8Buffer&) = delete;

protected:
    int_type overflow(int_type unit) override;
    std::streamsize xsputn(const wchar_t* text, std::streamsize count) override;
    int sync() override;

private:
    void append(wchar_t unit);
    void appendCharacter(std::uint32_t character);
    void limit();
    void handOn();

    std::streambuf& m_bytes;
    std::string m_gathered;
    /// The first half of a pair whose second half is still to come, or 0.
    std::uint32_t m_highSurrogate = 0;
    /// Whether the last byte that was handed on ended a line.
    bool m_isAtLineStart = true;
    /// Whether the rest of a line that had begun was lost.
    bool m_isTorn = false;
};

}  // namespace Tallowmere
