#pragma once

#include <cstddef>
#include <streambuf>
#include <string_view>

#include "kest/diagnostics/LineText.h"

namespace Tallowmere {

/// Writes wide text as UTF-8 bytes (see LineText), gathered until the stream is flushed and then
/// handed on in one piece: a trace line is one write, whatever its length.
///
/// Our choice: a write that fails is not reported. What was gathered is dropped, so the trace lacks
/// whole lines, and the next flush tries again: the trace goes on once a full disk has room. If a
/// line was cut in the middle, the next text begins on a line of its own.
class Utf8Buffer : public std::wstreambuf {
public:
    /// `bytes` must outlive this.
    explicit Utf8Buffer(std::streambuf& bytes);
    /// Hands on what is left.
    ~Utf8Buffer() override;
    Utf8Buffer(const Utf8Buffer&) = delete;
    Utf8Buffer& operator=(const Utf8Buffer&) = delete;

    /// Gathers `text`, which is left empty, behind what there is.
    void gather(LineText& text);
    /// Hands on what was gathered, and behind it `text`, which is left empty.
    void handOn(LineText& text);
    /// Whether nothing was gathered that is not handed on, and no line is cut in the middle:
    /// another text may then go to the bytes by itself, if hasHandedOn is told.
    bool isAtRest() const { return m_gathered.empty() && !m_isTorn; }
    /// So many of `bytes`, which are not empty, have been written.
    void hasHandedOn(std::string_view bytes, std::size_t written) {
        if (written != 0) {
            m_isAtLineStart = bytes[written - 1] == '\n';
        }
        m_isTorn = written != bytes.size() && !m_isAtLineStart;
    }
    /// Whether half a pair of surrogates waits for the next text.
    bool isPairOpen() const { return m_gathered.isPairOpen(); }

protected:
    int_type overflow(int_type unit) override;
    std::streamsize xsputn(const wchar_t* text, std::streamsize count) override;
    int sync() override;

private:
    void limit();
    void handOnBytes(LineText& text);

    std::streambuf& m_bytes;
    LineText m_gathered;
    /// Whether the last byte that was handed on ended a line.
    bool m_isAtLineStart = true;
    /// Whether the rest of a line that had begun was lost.
    bool m_isTorn = false;
};

}  // namespace Tallowmere
