#pragma once

#include <sys/stat.h>

#include <string>

namespace Tallowmere::platform {

/// What a new file in a directory gets from the system without being asked for: learnt from the
/// first one that is made there, so that the others need not be asked about.
struct NewFileDefaults {
    bool isKnown = false;
    uid_t owner = 0;
    gid_t group = 0;
    /// The mode bits that the process's mask takes away.
    mode_t mask = 0;
};

/// Copies one entry that is no directory from `name` in the directory `from` to the free name
/// `newName` in the directory `to`. Returns 0 or an errno value; on failure nothing is left at the
/// new name. What is kept: content and holes, mode, times to the nanosecond, extended attributes
/// with access lists, and the owner as far as the process may set it.
///
/// `defaults` are those of the directory `to`. `isRegular` says that the entry is known to be a
/// plain file, which saves a question; `followLinks` copies what a link leads to.
int copyEntry(int from, const char* name, int to, const char* newName, bool isRegular,
              bool followLinks, NewFileDefaults& defaults);

/// Gives the directory `to` owner, mode, times and extended attributes of the directory `from`.
int copyDirectoryMetadata(int from, int to);

}  // namespace Tallowmere::platform
