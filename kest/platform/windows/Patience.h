#pragma once

#include "kest/platform/Win32.h"

/// Patience with other programs. A scanner or an indexer opens what was just written, for a moment,
/// and while it does Windows renames neither the file nor any directory above it. The same call
/// goes well a moment later; a commit that gave up at once would fail now and then for no reason
/// that anybody could see.
namespace Tallowmere::platform {

/// How long to wait before each further try, in milliseconds: longer each time, a good second in
/// all. Our choice: scanners are done within milliseconds, and whoever keeps a file open for longer
/// means to.
inline constexpr DWORD kPauses[] = {5, 10, 20, 40, 80, 160, 320, 640};

/// Waits so many milliseconds.
using Pause = void (*)(DWORD milliseconds);

/// Waits, in the way that a test may have put in place of the system's.
void pause(DWORD milliseconds);

/// For tests: from now on this is how to wait; null gives the system's way back.
void setPause(Pause pause);

/// Whether an error tells that somebody has an entry open who does not share it.
inline bool isHeld(DWORD error) {
    return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
}

/// The same for a rename. An open file below a directory makes that ERROR_ACCESS_DENIED, like a
/// right that is missing; then the wait is for nothing, once.
inline bool isHeldOrDenied(DWORD error) {
    return isHeld(error) || error == ERROR_ACCESS_DENIED;
}

/// Makes a call that answers with an error code, and makes it again a little later as long as
/// `passes` says of its error that it may pass.
template <class Body>
DWORD patiently(bool (*passes)(DWORD error), Body body) {
    DWORD error = body();
    for (const DWORD milliseconds : kPauses) {
        if (!passes(error)) {
            break;
        }
        pause(milliseconds);
        error = body();
    }
    return error;
}

}  // namespace Tallowmere::platform
