#pragma once

#include <cstdint>

#include "kest/diagnostics/LineText.h"
#include "kest/diagnostics/TraceColumns.h"
#include "kest/diagnostics/TraceStamp.h"

namespace Tallowmere {

/// What a Recorder keeps for the line in progress; only the line's thread touches it.
struct TraceLine {
    /// What the line has gathered beside the stream, to go there in one piece when it ends.
    LineText text;
    TraceStamp stamp;
    ThreadMemo thread;
    LocationMemo location;
    /// What stands in the place of the Recorder's own source field: nothing; the kept name; or that
    /// name's column.
    enum class Source : std::uint8_t { Own, Name, Column } source = Source::Own;
    /// The column, where it is one.
    const LocationMemo::Entry* statement = nullptr;

    /// Writes a column of the memo's, which then stands in that place.
    void appendColumn(const LocationMemo::Entry& column) {
        statement = &column;
        source = Source::Column;
        text.endAscii(column.column().writeTo(text.beginAscii(TraceColumn::kSize)));
    }
};

}  // namespace Tallowmere
