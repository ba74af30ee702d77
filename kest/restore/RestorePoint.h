#pragma once

#include <string>
#include <vector>

#include "kest/Export.h"
#include "kest/platform/Types.h"

namespace Tallowmere {

/// One of the operating system's restore points.
struct KEST_API RestorePoint {
    /// Empty texts, and the current time (UTC) as the time of creation. Deliberate:
    /// `sequenceNumber` is left unset.
    RestorePoint();
    /// The copy has a time record of its own. The source must have one.
    RestorePoint(const RestorePoint& other);
    RestorePoint& operator=(const RestorePoint& other);  ///< As for a copy.
    ~RestorePoint();                                     ///< Gives the time record back.

    std::wstring description;  ///< In the words of whoever made the point.
    /// The name of the kind, such as "Application installation", not its number.
    std::wstring type;
    /// When the point was made, as the system wrote it: the offset from UTC is not applied. Day of
    /// the week 65535 and milliseconds 0 in a record that was read. Owned; made with `new`.
    SYSTEMTIME* creationTime;
    /// What restoreSystem (kest/c_api.h) takes.
    int sequenceNumber;
};

/// Appends the operating system's restore points to `points`, in the system's order. A point of
/// which not all properties can be read is left out, with a warning in the trace. Throws
/// std::runtime_error when the system cannot be asked; `points` is then as it was.
KEST_API void getRestorePoints(std::vector<RestorePoint>& points);

}  // namespace Tallowmere
