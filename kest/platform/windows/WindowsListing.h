#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "kest/platform/transactions/Disk.h"

namespace Tallowmere::platform {

/// What the attributes and the reparse tag of an entry make it. Only symbolic links and mount
/// points (junctions) are links; under Wine also a reparse point without a tag (see UnixLinks.h).
/// Any other tag, of a file in the cloud for example, leaves an ordinary file or directory.
transactions::Kind kindOf(DWORD attributes, DWORD reparseTag);

/// The tag that an entry is given out with: what stands for a link carries a link's tag.
DWORD tagOf(DWORD attributes, DWORD reparseTag);

/// How much of a directory is read ahead: the names of some ten thousand entries.
inline constexpr std::size_t kListingPiece = std::size_t{1024} * 1024;

/// Lists the directory at a path in the system's form. `hidden` is one name that is left out, or
/// empty. What fits into a piece is read at once, so that no search stays open: an open one keeps
/// the directory from being renamed.
DWORD listDirectory(const std::wstring& path, const wchar_t* hidden,
                    std::unique_ptr<transactions::Listing>& listing,
                    std::size_t piece = kListingPiece);

}  // namespace Tallowmere::platform
