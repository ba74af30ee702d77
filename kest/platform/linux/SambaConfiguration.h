#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kest/platform/Win32.h"

/// The shares of a machine's Samba configuration, a text in the syntax of "smb.conf".
namespace Tallowmere::platform::samba {

struct Share {
    /// As the section's title has it; all texts in the bytes of the file.
    std::string name;
    std::string path;
    std::string comment;
    /// As Windows types shares: STYPE_DISKTREE, STYPE_PRINTQ, STYPE_IPC, with STYPE_SPECIAL for
    /// those that a system makes for its administrators.
    DWORD type = STYPE_DISKTREE;
    /// How many users at once; all ones for any number.
    DWORD maximum = 0xFFFFFFFFU;
};

struct Configuration {
    /// In the order in which they first appear.
    std::vector<Share> shares;
    /// The name that the machine has in the network; empty when the file gives none.
    std::string computerName;
};

/// Reads the file at `path` and those that it includes. Returns 0 or an errno value, ENOENT when
/// there is no such file. An included file that cannot be read is passed over, as Samba does.
///
/// What counts as a share: each section but "global", which holds the others' defaults, and
/// "homes", which is no share but the rule by which each user gets one. A share that is not
/// available, or a folder's share without a path, is none. Our choice: one that does not want to be
/// seen when others browse is listed all the same, as Windows lists its hidden shares to whoever
/// asks for all.
int readConfiguration(const std::string& path, Configuration& configuration);

}  // namespace Tallowmere::platform::samba
