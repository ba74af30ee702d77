#pragma once

#include "kest/diagnostics/LineText.h"
#include "kest/diagnostics/TraceColumns.h"
#include "kest/diagnostics/TraceStamp.h"

namespace Tallowmere {

/// What a Recorder keeps for the line in progress; only the line's thread touches it.
struct TraceLine {
    /// What the line has gathered beside the stream, to go there in one piece when it ends.
    LineText text;
    TraceStamp stamp;
    LocationMemo location;
};

}  // namespace Tallowmere
