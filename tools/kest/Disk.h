#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What the command itself looks at on the disk, besides what the library tells: reading only.
/// Paths are those that the library is given (see FullPath.h).
namespace Tallowmere::command::disk {

enum class Kind { file, folder, fileLink, folderLink, other };

/// "file", "folder", "link", "link to a folder" or "special file".
const wchar_t* nameOf(Kind kind);

struct Entry {
    std::wstring name;
    Kind kind = Kind::file;
    /// In bytes, of a file.
    std::uint64_t size = 0;
};

/// The entries of a folder, in the disk's order. On failure the reason is in `reason`, and
/// `entries` holds what was read until then.
bool list(const std::wstring& folder, std::vector<Entry>& entries, std::wstring& reason);

/// What stands at `path` itself, which is not followed when it is a link. Nothing, with the reason,
/// when there is none or it cannot be told.
std::optional<Entry> look(const std::wstring& path, std::wstring& reason);

/// Whether a tree can be moved away while folders in it are being listed.
bool canMoveWhileListed();

/// What tells one thing at a place from what stands there before or after it; nothing when there is
/// none. Looking is in nobody's way, whatever is being done to it.
std::optional<std::pair<std::uint64_t, std::uint64_t>> identityOf(const std::wstring& path);

/// What can be said of one of the library's own folders, by its name.
enum class StageState {
    gone,
    foreign,  ///< Another user's, or open to others, as the library makes none.
    held,     ///< Its program is running.
    left,     ///< Nobody holds it.
    unknown,  ///< It cannot be looked at, for `reason`.
};
StageState stateOf(const std::wstring& stage, std::wstring& reason);
/// Whether that tells one that is held from one that is left; else it is `held` for either.
bool canTellHeld();

/// `folder` and a name in it.
std::wstring join(const std::wstring& folder, const std::wstring& name);

/// In what, besides content, the copy at `copy` is not what a copy of `original` keeps: a text for
/// each difference, such as "mode 644 instead of 600". Both are of the kind `kind`.
std::vector<std::wstring> differences(const std::wstring& original, const std::wstring& copy,
                                      Kind kind);

/// Whether two files hold the same bytes. Nothing, with the reason, when one cannot be read.
std::optional<bool> isSameContent(const std::wstring& first, const std::wstring& second,
                                  std::wstring& reason);

}  // namespace Tallowmere::command::disk
