#pragma once

#include <string>

namespace Tallowmere {

/// Refuses a copy of `source` (which exists) to a `destination` that is the same place or lies
/// below it: such a copy would contain itself without end, or would end as an empty directory,
/// since the destination is deleted first. The places are compared by their final paths and by
/// where they are on their volume, so links, relative paths, other spellings and a folder that is
/// mounted in a second place do not deceive it; what cannot be resolved is compared as text,
/// without regard to case. Refuses, too, a source that is below the destination by way of such a
/// second place: its files would be deleted with the old destination. (One that is plainly below it
/// is missed by the copy itself, which then fails.) Changes nothing. Throws std::runtime_error,
/// after an ERROR trace line with the same text; writes nothing when all is well.
void refuseCopyIntoItself(const std::wstring& source, const std::wstring& destination);

}  // namespace Tallowmere
