#pragma once

#include <string>

#include "kest/platform/transactions/Disk.h"

namespace Tallowmere::platform::transactions {

/// Removes `name` in `top` whatever it is, with all that is below it and nothing that a link in it
/// leads to. `top` must be a private directory: what lies very deep is moved up into it, so that
/// neither open directories nor memory grow with the depth. What `before` knows of a directory is
/// tried first, and the directory listed when that was not all. Goes on after a failure and answers
/// with the first one.
DWORD removeTree(Disk& disk, const DirectoryPtr& top, const std::wstring& name,
                 ListedBefore& before);

}  // namespace Tallowmere::platform::transactions
