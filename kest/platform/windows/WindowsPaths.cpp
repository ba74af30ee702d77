#include "kest/platform/windows/WindowsPaths.h"

#include <algorithm>

namespace Tallowmere::platform::paths {
namespace {

constexpr std::wstring_view kPrefix = L"\\\\?\\";
constexpr std::wstring_view kDevice = L"\\\\.\\";
constexpr std::wstring_view kShare = L"\\\\";
constexpr std::wstring_view kUnc = L"UNC\\";
constexpr std::wstring_view kVolume = L"Volume{";
/// What a name may have on any Windows disk.
constexpr std::size_t kLongestName = 255;

bool startsWith(std::wstring_view text, std::wstring_view start) {
    return text.substr(0, start.size()) == start;
}

bool startsWithAnyCase(std::wstring_view text, std::wstring_view start) {
    return text.size() >= start.size() &&
           std::equal(start.begin(), start.end(), text.begin(), [](wchar_t left, wchar_t right) {
               const auto lower = [](wchar_t c) {
                   return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
               };
               return lower(left) == lower(right);
           });
}

bool isDrive(std::wstring_view text) {
    return text.size() >= 2 && text[1] == L':' &&
           ((text[0] >= L'A' && text[0] <= L'Z') || (text[0] >= L'a' && text[0] <= L'z'));
}

/// Takes the next component off, and the separator behind it.
std::wstring_view take(std::wstring_view& rest) {
    const std::size_t end = rest.find(L'\\');
    const std::wstring_view name = rest.substr(0, end);
    rest.remove_prefix(end == std::wstring_view::npos ? rest.size() : end + 1);
    return name;
}

/// Puts the components of `rest` behind a root. They are taken as they are.
DWORD append(std::wstring_view rest, std::wstring& text) {
    while (!rest.empty()) {
        const std::wstring_view name = take(rest);
        // The system takes none of these for a name. A colon would be the stream of a file, which
        // cannot be published by renaming; a slash would be taken for a separator from here on.
        if (name.empty() || name == L"." || name == L".." || name.size() > kLongestName ||
            name.find_first_of(L":/") != std::wstring_view::npos) {
            return ERROR_INVALID_NAME;
        }
        text += L'/';
        text += name;
    }
    return ERROR_SUCCESS;
}

/// A share or its like: two components make the root.
DWORD appendShare(std::wstring_view rest, std::wstring& text) {
    text = L"//";
    const std::wstring_view server = take(rest);
    const std::wstring_view share = take(rest);
    if (server.empty() || share.empty()) {
        return ERROR_INVALID_NAME;
    }
    text.append(server).append(L"/").append(share);
    return append(rest, text);
}

/// The text of what stands behind a drive's colon.
DWORD appendDrive(std::wstring_view rest, std::wstring& text) {
    text.assign(1, rest[0] >= L'a' ? static_cast<wchar_t>(rest[0] - L'a' + L'A') : rest[0]);
    text += L':';
    std::wstring_view behind = rest.substr(2);
    if (!behind.empty() && behind[0] != L'\\') {
        return ERROR_INVALID_NAME;
    }
    behind.remove_prefix(behind.empty() ? 0 : 1);
    return append(behind, text);
}

/// The text of a path behind its prefix.
DWORD parsePlain(std::wstring_view rest, std::wstring& text) {
    if (startsWith(rest, kPrefix)) {
        // Understood once: with a second one it names no place at all.
        return ERROR_INVALID_NAME;
    }
    if (isDrive(rest)) {
        return appendDrive(rest, text);
    }
    if (startsWithAnyCase(rest, kUnc)) {
        return appendShare(rest.substr(kUnc.size()), text);
    }
    if (startsWithAnyCase(rest, kVolume)) {
        text = L"//?/";
        text += take(rest);
        return append(rest, text);
    }
    // Not full, or one of the names that the kernel keeps for itself: there is no such disk.
    return rest.find(L'\\') == std::wstring_view::npos ? ERROR_FILE_NOT_FOUND
                                                       : ERROR_PATH_NOT_FOUND;
}

DWORD fullPath(const wchar_t* path, std::wstring& full) {
    full.resize(MAX_PATH);
    for (;;) {
        const DWORD length =
            ::GetFullPathNameW(path, static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (length == 0) {
            return ERROR_PATH_NOT_FOUND;
        }
        const bool fits = length < full.size();
        full.resize(length);
        if (fits) {
            return ERROR_SUCCESS;
        }
    }
}

}  // namespace

bool spelling(const std::wstring& path, std::wstring& name) {
    if (path.find_first_of(L"*?", kPrefix.size()) != std::wstring::npos) {
        // A search would find another entry by it.
        return false;
    }
    WIN32_FIND_DATAW found{};
    const HANDLE search = ::FindFirstFileExW(path.c_str(), FindExInfoBasic, &found,
                                             FindExSearchNameMatch, nullptr, 0);
    if (search == INVALID_HANDLE_VALUE) {
        return false;
    }
    ::FindClose(search);
    name = found.cFileName;
    return true;
}

namespace {

/// Puts the long name of an existing entry in place of each short one ("LONGNA~1.TXT"): they are
/// one entry, and must not be taken for two.
void lengthen(std::wstring& text) {
    std::size_t tilde = text.find(L'~');
    while (tilde != std::wstring::npos) {
        const std::size_t start = text.rfind(L'/', tilde) + 1;
        const std::size_t end = std::min(text.find(L'/', tilde), text.size());
        const std::wstring name = text.substr(start, end - start);
        std::wstring longName;
        // In another case it is the name itself, and stays as the caller writes it.
        if (spelling(toSystem(std::wstring_view(text).substr(0, end)), longName) &&
            fold(name) != fold(longName)) {
            text.replace(start, name.size(), longName);
            tilde = text.find(L'~', start + longName.size());
        } else {
            tilde = text.find(L'~', end);
        }
    }
}

}  // namespace

DWORD normalize(const wchar_t* path, std::wstring& text) {
    if (path == nullptr || *path == L'\0') {
        return ERROR_PATH_NOT_FOUND;
    }
    DWORD error = ERROR_SUCCESS;
    std::wstring full;
    if (startsWith(path, kPrefix)) {
        error = parsePlain(std::wstring_view(path).substr(kPrefix.size()), text);
    } else if ((error = fullPath(path, full)) == ERROR_SUCCESS) {
        std::wstring_view rest = full;
        while (rest.size() > 1 && rest.back() == L'\\') {
            rest.remove_suffix(1);
        }
        if (startsWith(rest, kPrefix)) {
            error = parsePlain(rest.substr(kPrefix.size()), text);
        } else if (startsWith(rest, kShare) && !startsWith(rest, kDevice)) {
            error = appendShare(rest.substr(kShare.size()), text);
        } else if (isDrive(rest)) {
            error = appendDrive(rest, text);
        } else {
            // A device among others, by its prefix or by a name that is reserved for one.
            error = ERROR_INVALID_NAME;
        }
    }
    if (error == ERROR_SUCCESS) {
        lengthen(text);
    }
    return error;
}

bool isMisread(std::wstring_view name) {
    // What a device's name begins with, AUX, COM1, CON, LPT1, NUL or PRN. Which names those are
    // depends on the version of Windows, so it is asked.
    constexpr std::wstring_view kBeginnings = L"ACLNPaclnp";
    constexpr std::wstring_view kEnds = L". ";
    if (name.empty() || (kEnds.find(name.back()) == std::wstring_view::npos &&
                         kBeginnings.find(name.front()) == std::wstring_view::npos)) {
        return false;
    }
    const std::wstring path = L"C:\\" + std::wstring(name);
    std::wstring full;
    return fullPath(path.c_str(), full) != ERROR_SUCCESS || full != path;
}

bool isRoot(std::wstring_view text) {
    if (!startsWith(text, L"//")) {
        return text.size() == 2 && text[1] == L':';
    }
    const std::size_t share = text.find(L'/', 2);
    return share != std::wstring_view::npos &&
           text.find(L'/', share + 1) == std::wstring_view::npos;
}

std::wstring toSystem(std::wstring_view text) {
    std::wstring path(kPrefix);
    if (startsWith(text, L"//?/")) {
        text.remove_prefix(4);
    } else if (startsWith(text, L"//")) {
        path += kUnc;
        text.remove_prefix(2);
    }
    const std::size_t start = path.size();
    path += text;
    std::replace(path.begin() + static_cast<std::ptrdiff_t>(start), path.end(), L'/', L'\\');
    return path;
}

bool fromSystem(std::wstring_view path, std::wstring& text) {
    return startsWith(path, kPrefix) &&
           parsePlain(path.substr(kPrefix.size()), text) == ERROR_SUCCESS;
}

std::wstring placeOf(const std::wstring& text, const std::wstring& place) {
    const auto namesSnapshot = [](const std::wstring& path) {
        return fold(path).find(L"/@GMT-") != std::wstring::npos;
    };
    std::wstring canonical;
    const bool isTrue =
        fromSystem(place, canonical) && (!namesSnapshot(text) || namesSnapshot(canonical));
    return isTrue ? canonical : text;
}

std::wstring fold(const std::wstring& name) {
    std::wstring folded = name;
    bool isPlain = true;
    for (wchar_t& c : folded) {
        if (c >= L'a' && c <= L'z') {
            c = static_cast<wchar_t>(c - L'a' + L'A');
        }
        isPlain = isPlain && c < 0x80;
    }
    if (!isPlain) {
        // Never longer or shorter: without linguistic rules each unit stands for itself.
        const int size = static_cast<int>(name.size());
        (void)::LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, name.c_str(), size,
                              folded.data(), size, nullptr, nullptr, 0);
    }
    return folded;
}

}  // namespace Tallowmere::platform::paths
