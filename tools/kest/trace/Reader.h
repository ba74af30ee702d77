#pragma once

#include <cstddef>

#include "trace/Bytes.h"
#include "trace/Entry.h"
#include "trace/LineSplitter.h"

namespace Tallowmere::command::trace {

/// The entries of one trace file in their order. None of its text is passed over.
class Reader {
public:
    /// `bytes` must outlive this; `file` is for Entry::file.
    Reader(Bytes& bytes, std::size_t file, bool isGrowing);

    /// Goes on to the next entry. False when there is none, now or for good; entry() is then not to
    /// be used until a later call has found one.
    bool next();

    /// Valid until the next call of next().
    const Entry& entry() const { return m_entry; }

private:
    void understand(std::string_view text);

    Bytes& m_bytes;
    LineSplitter m_lines;
    Entry m_entry;
    bool m_isInLongLine = false;
    /// Whether the last line's message ended in a carriage return.
    bool m_isBlankDue = false;
    /// The latest time so far.
    Instant m_latest = kNever;
};

}  // namespace Tallowmere::command::trace
