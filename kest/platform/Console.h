#pragma once

#include <ostream>

/// The process's standard streams, so that text always arrives.
///
/// The wide and the narrow stream of one descriptor do not mix on Linux: once std::wcerr has
/// written, std::cerr falls silent, and a character that the locale cannot narrow stops a wide
/// stream for good. So while a standard stream still has the buffer that the run-time gave it,
/// these write past it: as UTF-8 bytes, straight to the same C stream, in one piece for each text.
/// What the host writes to that stream, before, between and after, arrives in order, and once these
/// have written an error the host's std::wcerr no longer silences its std::cerr. As soon as the
/// host has put a buffer of its own into the standard stream, they are that very stream, so a host
/// sees all that is written.
///
/// They can be used on several threads as the standard streams can, while the library is being
/// loaded, and until the process ends. Half a pair of surrogates becomes U+FFFD. Our choice: text
/// that cannot be written is lost and the stream stays good, so that later text has its chance:
/// nobody asks the state of a console.
namespace Tallowmere::platform {

/// Stands for std::wcout: text is on its way at the latest when it is flushed.
std::wostream& consoleOutput();
/// Stands for std::wcerr: text is on its way at once.
std::wostream& consoleErrors();
/// Stands for std::cerr, and is it unless the host has made that stream mute by writing to
/// std::wcerr.
std::ostream& narrowConsoleErrors();

}  // namespace Tallowmere::platform
