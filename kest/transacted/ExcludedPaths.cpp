#include "kest/transacted/ExcludedPaths.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "kest/text/Paths.h"
#include "kest/text/Strings.h"

namespace Tallowmere {
namespace {

constexpr std::wstring_view kSystemFolders[] = {L"$RECYCLE.BIN", L"System Volume Information"};
constexpr const wchar_t* kSnapshotMark = L"@gmt-20";

std::vector<std::wstring> componentsOf(const std::wstring& path) {
    std::vector<std::wstring> components;
    split(normalizePath(path), L'/', components);
    return components;
}

bool isSystemFolder(const std::wstring& name) {
    const std::wstring lowered = toLower(name);
    return std::any_of(
        std::begin(kSystemFolders), std::end(kSystemFolders),
        [&](std::wstring_view folder) { return lowered == toLower(std::wstring(folder)); });
}

/// Whether it takes one look to see that the last component is none of the names, as it does for
/// nearly all of a tree: lowering keeps a name's length, and between these two ends nothing is cut
/// off as a blank.
bool isPlainlyOther(std::wstring_view path) {
    const auto isGraphic = [](wchar_t unit) { return unit > L' ' && unit < L'\x7F'; };
    std::size_t start = path.size();
    while (start != 0 && path[start - 1] != L'\\' && path[start - 1] != L'/') {
        --start;
    }
    const std::wstring_view name = path.substr(start);
    return !name.empty() && isGraphic(name.front()) && isGraphic(name.back()) &&
           std::none_of(std::begin(kSystemFolders), std::end(kSystemFolders),
                        [name](std::wstring_view folder) { return folder.size() == name.size(); });
}

}  // namespace

bool isExcludedPath(const std::wstring& path) {
    if (isPlainlyOther(path)) {
        return false;
    }
    const std::vector<std::wstring> components = componentsOf(path);
    // Deliberate: exactly these two depths. The same names one level higher or deeper, and at the
    // root of a snapshot that is reached by another number of components (as on a share,
    // "\\machine\C$\@GMT-...\$RECYCLE.BIN" with four), are folders like any other.
    switch (components.size()) {
        case 2:
            return isSystemFolder(components[1]);
        case 5:
            return toLower(components[3]).find(kSnapshotMark) != std::wstring::npos &&
                   isSystemFolder(components[4]);
        default:
            return false;
    }
}

bool isBareDrive(const std::wstring& path) {
    if (path.find(L':') == std::wstring::npos) {
        return false;
    }
    const std::vector<std::wstring> components = componentsOf(path);
    // Deliberate: what follows the colon is not looked at, so the drive-relative "C:folder" counts
    // as a bare drive too and is emptied but not removed.
    return components.size() == 1 && components[0].size() >= 2 && isAlpha(components[0][0]) &&
           components[0][1] == L':';
}

}  // namespace Tallowmere
