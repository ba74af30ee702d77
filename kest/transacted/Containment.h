#pragma once

#include <string>

namespace Tallowmere {

/// Refuses a copy of `source` (which exists) to a `destination` that is the same place or lies below
/// it: such a copy would contain itself without end, or would end as an empty directory, since the
/// destination is deleted first. The places are compared by their final paths, so links, relative
/// paths and other spellings do not deceive it; what cannot be resolved is compared as text, without
/// regard to case. Changes nothing. Throws std::runtime_error, after an ERROR trace line with the
/// same text; writes nothing when all is well.
void refuseCopyIntoItself(const std::wstring& source, const std::wstring& destination);

}  // namespace Tallowmere
