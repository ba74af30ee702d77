#pragma once

#include <vector>

#include "kest/platform/Win32.h"

/// Access lists of what a stage needs to be trusted: that nobody else can put anything into it.
namespace Tallowmere::platform {

/// The security of something new that is this user's alone.
class PrivateSecurity {
public:
    /// For a file: the user may do everything, nobody else anything.
    DWORD makeForFile();
    /// For a directory in which things are made that are renamed into `parent` later, which is open
    /// with READ_CONTROL: the same, and what is made in it inherits what it would have inherited in
    /// `parent`. A renamed entry keeps its access list, so it would stay shut to others for good.
    DWORD makeForStage(HANDLE parent);

    SECURITY_ATTRIBUTES* attributes() { return &m_attributes; }

private:
    DWORD make(ACL* inherited);

    std::vector<char> m_list;
    SECURITY_DESCRIPTOR m_descriptor{};
    SECURITY_ATTRIBUTES m_attributes{};
};

/// Whether an open directory belongs to whoever owns `own`, an open file that this user has just
/// made on the same volume, and its access list gives nothing to anybody else but the system and
/// its administrators, who have the right to everything anyway. A volume that keeps no access lists
/// keeps no owners either: true there, since who can write to it at all may do anything to all of
/// it. ERROR_ACCESS_DENIED when not; any other error tells neither.
DWORD checkPrivate(HANDLE directory, HANDLE own);

}  // namespace Tallowmere::platform
