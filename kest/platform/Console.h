#pragma once

#include <ostream>

/// The process's standard streams, so that text always arrives.
///
/// The wide and the narrow stream of one descriptor do not mix on Linux: once std::wcerr has
/// written, std::cerr falls silent, and a character that the locale cannot narrow stops a wide
/// stream for good. So while a standard stream still has the buffer that the run-time gave it,
/// these write past it: as UTF-8 bytes, straight to the same C stream. As soon as the host has put
/// a buffer of its own into the standard stream, they are that very stream, so a host sees all that
/// is written. Safe on several threads as the standard streams are.
namespace Tallowmere::platform {

/// Stands for std::wcout.
std::wostream& consoleOutput();
/// Stands for std::wcerr.
std::wostream& consoleErrors();
/// Stands for std::cerr.
std::ostream& narrowConsoleErrors();

}  // namespace Tallowmere::platform
