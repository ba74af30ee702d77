#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "trace/Bytes.h"

namespace Tallowmere::command::trace {

/// The lines of a text, read in blocks: no more than one line and one block are in memory.
class LineSplitter {
public:
    enum class Piece {
        /// A whole line.
        line,
        /// A part of a line that is longer than any line should be; the rest follows.
        part,
        /// The text ends, or ended before the file began anew, inside this line.
        unfinished,
        /// The file has begun anew. No text.
        restarted,
        /// There is nothing more, now or for good. No text.
        none,
    };

    /// The longest piece of text that is handed out.
    static constexpr std::size_t kAtMost = 1U << 20;

    /// With `isGrowing` a line without its end waits for the rest; otherwise it is given at the end
    /// as it is.
    LineSplitter(Bytes& bytes, bool isGrowing);

    /// The next piece. `text`, without a line end, is valid until the next call.
    Piece next(std::string_view& text);

private:
    bool takeLine(std::string_view& text);
    std::string_view rest() const { return std::string_view(m_buffer).substr(m_begin); }
    std::string_view takeRest();
    void makeRoom();
    void learnLineEnds();

    Bytes& m_bytes;
    bool m_isGrowing;
    bool m_isRestartDue = false;
    std::string m_buffer;
    std::size_t m_begin = 0;
    /// Where no line feed is before.
    std::size_t m_searched = 0;
    /// Whether the file's line ends are known, and whether each is CR LF.
    bool m_areEndsKnown = false;
    bool m_hasCarriageReturns = false;
};

}  // namespace Tallowmere::command::trace
