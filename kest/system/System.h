#pragma once

#include <map>
#include <string>

#include "kest/Export.h"

/// Other programs, and what this machine is. No function keeps state; each may run on any thread.
namespace Tallowmere {

/// A release of Windows, by its version number: 5.0, 5.1, 5.2, 6.0, 6.1.
enum WindowsVersion { WindowsUnknown, Windows2000, WindowsXP, Windows2003, WindowsVista, Windows7 };
/// A kind of processor.
enum ProcessorType { ProcessorAmd64, ProcessorIa64, ProcessorX86, ProcessorUnknown };

/// Starts the program that the first word of `commandLine` names, or what stands in quotes there,
/// with this process's environment and current directory, without a window, and does not wait for
/// it. A name with blanks that is not quoted may be cut short: "C:\My Programs\a b" is taken for
/// the program "C:\My" if there is one. Throws std::runtime_error, with nothing traced, when the
/// program cannot be started: "CreateProcess(<", the command line, ">): " and the system's text,
/// each character cut to its low byte.
///
/// The handles of the new process and of its thread stay open for as long as this process lives.
/// None of this process's own handles are passed on; on Linux the standard input, output and error
/// are. The new process there belongs to neither this one nor its terminal, and the system itself
/// waits for its end, so that nothing of it remains.
KEST_API void launchProcess(const std::wstring& commandLine);

/// The release of Windows on which the process runs, as the system tells programs; WindowsUnknown
/// for every release that has no name here. The system does not tell its true version to a program
/// that does not name the release in its manifest: 8.1 and later then pass for 8, which is unknown.
/// On Linux it is Windows7. When it cannot be read, "GetVersionEx() failed: " and the address at
/// which the system's text stood, as a number, are written to the narrow standard error stream, and
/// it is WindowsUnknown.
KEST_API WindowsVersion windowsVersion();

/// The processor for which the running process was built.
KEST_API ProcessorType getProcessorType();

/// "Windows", always.
KEST_API std::wstring getOs();

/// Adds the folders that the computer `server` shares to `shares`: the name of each share and its
/// path on that computer, also those that the system makes for its administrators, such as "C$".
/// Empty, `server` is this computer. A name that `shares` already holds keeps its path. Each share
/// of any kind is traced. Throws std::runtime_error, with nothing more traced and `shares` as it
/// was, when the computer does not tell: "NetShareEnum failed: " and the system's text, each
/// character cut to its low byte.
///
/// On Linux they are the shares of this machine's Samba configuration, which stands in the file
/// that the environment variable KEST_SMB_CONF names, else in "/etc/samba/smb.conf". Without one
/// nothing is shared.
KEST_API void getNetShares(const std::wstring& server,
                           std::map<std::wstring, std::wstring>& shares);

}  // namespace Tallowmere
