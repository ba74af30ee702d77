#pragma once

#include <cstdint>
#include <string>

#include "kest/Export.h"

/// Plain questions to the file system, and the well-known places. No function keeps state, writes
/// to the trace, or throws anything of its own unless that is said; each may run on any thread.
/// They do not report their failures in the same way, and callers rely on each one's.
namespace Tallowmere {

/// Whether something stands at `path`, also when it may be neither read nor written. A link counts
/// itself, whether what it leads to is there or not.
KEST_API bool exists(const wchar_t* path);

/// Whether what stands at `path` may be used as `mode` says: 0 that it exists, 2 written, 4 read,
/// 6 both. Returns what the C runtime does, 0 for yes and -1 for no, with the reason in errno.
KEST_API int access(const wchar_t* path, int mode);

/// Whether `path` is a directory. False, with nothing written, when its attributes cannot be read:
/// a missing path is simply no directory.
KEST_API bool isDirectory(const std::wstring& path);

/// Stores the size of the file at `path`, in bytes, in `size`. False, and `size` untouched, when it
/// cannot be read. Of a file of 4 GiB or more what is stored is too small: the size's lower 32
/// bits, plus its upper ones times 65536.
KEST_API bool getFileSize(std::wstring path, std::uint64_t& size);

/// Creates the directory `path` and every one on the way to it that is missing. What precedes the
/// first separator, such as a drive, is never created. A directory that is already there is no
/// error, nor is a file in its place. Any other failure is told on the wide standard error stream,
/// as "CreateDirectory() failed: " and the system's text, and thrown as a std::runtime_error with
/// the same text, each character cut to its low byte; what has been created before stays.
KEST_API void createDirectory(const std::wstring& path);

/// Stores the process's current directory in `directory`. On failure returns false, leaves
/// `directory` as it was, and writes to the narrow standard error stream "GetCurrentDirectory()
/// failed: " and the address at which the system's text stood, as a number. A directory of 32768
/// characters or more is not told from one without a name.
KEST_API bool getCurrentDirectory(std::wstring& directory);

/// The full path of the program that runs, which is not this library's; empty when the system
/// cannot tell.
KEST_API std::wstring getExecutablePath();

/// The directory of Windows itself, such as "C:\Windows", which is what the environment variable
/// "SYSTEMROOT" says; empty without it.
KEST_API std::wstring getSystemDirectory();

/// Stores the directory in which the product is installed, as the registry says, in `directory`. On
/// failure returns false, and writes to the narrow standard error stream "getInstallationDir()
/// failed: " and the reason, which has also been traced as an error; `directory` is then not to be
/// relied on.
KEST_API bool getInstallationDir(std::wstring& directory);

/// Stores the first entry of the search path "PATH" that holds the product's name in `directory`,
/// as it is written there. False, with an empty `directory`, when there is none. An entry at the
/// very end of the search path loses its last character.
KEST_API bool getInstallationDirFromPATH(std::wstring& directory);

}  // namespace Tallowmere
