#include "kest/transacted/ExcludedPaths.h"

#include <vector>

#include "kest/text/Paths.h"
#include "kest/text/Strings.h"

namespace Tallowmere {
namespace {

constexpr const wchar_t* kSystemFolders[] = {L"$RECYCLE.BIN", L"System Volume Information"};
constexpr const wchar_t* kSnapshotMark = L"@gmt-20";

std::vector<std::wstring> componentsOf(const std::wstring& path) {
    std::vector<std::wstring> components;
    split(normalizePath(path), L'/', components);
    return components;
}

bool isSystemFolder(const std::wstring& name) {
    const std::wstring lowered = toLower(name);
    for (const wchar_t* const folder : kSystemFolders) {
        if (lowered == toLower(folder)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool isExcludedPath(const std::wstring& path) {
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
    const std::vector<std::wstring> components = componentsOf(path);
    // Deliberate: what follows the colon is not looked at, so the drive-relative "C:folder" counts
    // as a bare drive too and is emptied but not removed.
    return components.size() == 1 && components[0].size() >= 2 && isAlpha(components[0][0]) &&
           components[0][1] == L':';
}

}  // namespace Tallowmere
