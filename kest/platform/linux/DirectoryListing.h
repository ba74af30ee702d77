#pragma once

#include "kest/platform/linux/LinuxDisk.h"

namespace Tallowmere::platform {

/// With Removal, what is no directory is unlinked as it is met and told only where that fails.
enum class Purpose { Reading, Removal };

/// Lists a directory in the disk's own order. A directory that fits into one buffer, as nearly all
/// do, is read at once and keeps nothing open; a larger one is read piece by piece.
DWORD listDirectory(const std::shared_ptr<LinuxDirectory>& directory, Purpose purpose,
                    std::unique_ptr<transactions::Listing>& listing);

/// The removal of a directory's entries as an earlier listing told them (see Listing::tellAll).
std::unique_ptr<transactions::Listing> listAsBefore(
    const std::shared_ptr<LinuxDirectory>& directory, std::string entries);

/// What a mode stands for; a link's target is asked for in `parent`.
transactions::Kind kindFromMode(unsigned mode, int parent, const char* name);

/// The attributes that Windows would show.
DWORD attributesOf(transactions::Kind kind);

}  // namespace Tallowmere::platform
