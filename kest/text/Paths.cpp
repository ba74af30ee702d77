#include "kest/text/Paths.h"

#include <algorithm>
#include <cwctype>

#include "kest/platform/Characters.h"
#include "kest/text/HistoryPaths.h"
#include "kest/text/Strings.h"

namespace Tallowmere {
namespace {

constexpr std::size_t kNone = std::wstring::npos;
constexpr wchar_t kQuote = L'"';

wchar_t upper(wchar_t letter) {
    return static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(letter)));
}

/// Where a path that may stand in quotation marks begins.
std::size_t unquotedStart(const std::wstring& path) {
    return !path.empty() && path[0] == kQuote ? 1 : 0;
}

void dropClosingQuote(std::wstring& text) {
    if (!text.empty() && text.back() == kQuote) {
        text.pop_back();
    }
}

/// The drive of a history path whose stamp begins at `stamp`: the first letter of the share's name.
wchar_t historyDrive(const std::wstring& path, std::size_t stamp) {
    // Deliberate: the slash first, so that a slash anywhere before the stamp wins over a backslash
    // that stands nearer to it.
    std::size_t separator = path.rfind(L'/', stamp);
    if (separator == kNone) {
        separator = path.rfind(L'\\', stamp);
    }
    if (separator == kNone || separator < 2) {
        return 0;
    }
    const wchar_t letter = path[separator - 2];
    return isAlpha(letter) ? upper(letter) : L'\0';
}

}  // namespace

std::wstring baseName(const std::wstring& path) {
    // What stands behind the last entry but one of the list that findStringDelimiters makes of the
    // set "\\/", looked for from the end. Of a path that does not end in a separator that is all
    // behind the last one, because the list ends in the path's length.
    const std::size_t last = path.find_last_of(L"\\/");
    if (last == kNone) {
        return path;
    }
    if (last == path.size() - 1) {
        // Deliberate: a backslash at the end of a path with a slash in it is followed in that list
        // by the path's length as well: "x\a/b\" has the base name "".
        const bool isMixed = path[last] == L'\\' && path.find(L'/') != kNone;
        if (!isMixed) {
            const std::size_t before = last == 0 ? kNone : path.find_last_of(L"\\/", last - 1);
            return before == kNone ? path : path.substr(before + 1);
        }
    }
    return path.substr(last + 1);
}

std::wstring getFileExtension(const std::wstring& path) {
    std::wstring extension;
    const std::size_t dot = path.rfind(L'.');
    if (dot != kNone) {
        const std::uint64_t separator = getPathLastComponent(path);
        if (separator == kNone || separator < dot) {
            extension = path.substr(dot + 1);
        }
    }
    dropClosingQuote(extension);
    return extension;
}

void changeExtension(std::wstring& path, const wchar_t* extension) {
    // Deliberate: separators are not looked at, so the dot of a folder's name counts when the file
    // has none, and the file's name is lost.
    const std::size_t dot = path.rfind(L'.');
    if (dot != kNone && dot != path.size() - 1) {
        path.replace(dot + 1, kNone, extension);
    }
}

std::uint64_t getPathLastComponent(const std::wstring& path) {
    return path.find_last_of(L"\\/");
}

std::wstring normalizePath(const std::wstring& path) {
    std::wstring normal = path;
    // First, since the lowering makes a backslash of a character whose lower half is one.
    std::replace(normal.begin(), normal.end(), L'\\', L'/');
    platform::lowerNarrow(normal.data(), normal.size());
    return normal;
}

wchar_t getDrive(const std::wstring& path) {
    const std::size_t stamp = path.find(kHistoryMarker);
    if (stamp != kNone) {
        return historyDrive(path, stamp);
    }
    return isDriveRootedPath(path) ? upper(path[unquotedStart(path)]) : L'\0';
}

bool isDriveRootedPath(const std::wstring& path) {
    const std::size_t start = unquotedStart(path);
    return path.size() >= start + 2 && isAlpha(path[start]) && path[start + 1] == L':';
}

bool arePathsOnTheSameDrive(const std::wstring& first, const std::wstring& second) {
    const wchar_t drive = getDrive(first);
    return drive != 0 && drive == getDrive(second);
}

std::wstring getCurrentPath(const std::wstring& path) {
    // Our choice: such a path stands for nothing, and neither does a history path without room for
    // a share's name before its stamp.
    if (path.size() < 2) {
        return {};
    }
    std::wstring current;
    const std::size_t stamp = path.find(kHistoryMarker);
    if (stamp != kNone) {
        if (stamp < 3) {
            return {};
        }
        // Deliberate: the letter keeps its case, and that it is one is not checked.
        current = {path[stamp - 3], L':'};
        std::size_t separator = path.find(L'\\', stamp);
        if (separator == kNone) {
            separator = path.find(L'/', stamp);
        }
        if (separator != kNone) {
            current.append(path, separator, kNone);
        }
    } else {
        current = path.substr(unquotedStart(path));
    }
    dropClosingQuote(current);
    return current;
}

std::wstring getCurrentPathNoDrive(const std::wstring& path) {
    std::wstring current = getCurrentPath(path);
    if (current.size() >= 2) {
        current.erase(0, 2);
    }
    return current;
}

}  // namespace Tallowmere
