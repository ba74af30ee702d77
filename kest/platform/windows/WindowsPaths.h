#pragma once

#include <string>
#include <string_view>

#include "kest/platform/Win32.h"

/// Paths between three forms: what a caller writes, the text that the transaction manager works
/// with, and what is given to the system.
///
///   caller               text                     system (always, so that length never matters)
///   C:\dir\name          C:/dir/name              \\?\C:\dir\name
///   dir\..\name          (the full path of it)
///   \\?\C:\dir           C:/dir                   \\?\C:\dir
///   C:\                  C:            a root     \\?\C:
///   \\server\share\x     //server/share/x         \\?\UNC\server\share\x
///   \\?\Volume{...}\x    //?/Volume{...}/x        \\?\Volume{...}\x
///
/// "C:", "//server/share" and "//?/Volume{...}" are roots: they have no parent.
namespace Tallowmere::platform::paths {

/// The text of a caller's path. Like Windows, this takes ".." for the parent by name, makes a path
/// full from the current directory, cuts dots and blanks at its end, and does none of that behind a
/// "\\?\", where the path must be full and in its plain form. Short names become the long ones of
/// entries that exist. ERROR_PATH_NOT_FOUND for the empty path; ERROR_INVALID_NAME for one that
/// names no place on a disk, a second prefix and the stream of a file ("name:stream") among them.
DWORD normalize(const wchar_t* path, std::wstring& text);

/// Whether Windows reads a name that the disk holds as another one, or as that of a device, at the
/// end of a path without "\\?\": one that ends in a dot or a blank, or "NUL".
bool isMisread(std::wstring_view name);

/// Whether a text is a root.
bool isRoot(std::wstring_view text);

/// What the system takes for a text: with "\\?\", without a separator at the end.
std::wstring toSystem(std::wstring_view text);

/// The text of a path as the system gives it, with "\\?\". False when it is none of the forms
/// above.
bool fromSystem(std::wstring_view path, std::wstring& text);

/// Where the directory really stands that was opened by `text`; `place` is what the system says, or
/// empty. That is not believed when it has lost the component that names a snapshot
/// ("@GMT-2010.05.17-08.30.00"): a server knows the directory by its live path, where something
/// else stands by now. Nor when it is none of the forms above.
std::wstring placeOf(const std::wstring& text, const std::wstring& place);

/// The long name of the entry at a path in the system's form, in the case in which the disk has it.
/// False, and `name` untouched, when there is none.
bool spelling(const std::wstring& path, std::wstring& name);

/// A name in the case in which names are compared: each character on its own, whatever the
/// language, as NTFS compares.
std::wstring fold(const std::wstring& name);

}  // namespace Tallowmere::platform::paths
