#include "kest/transacted/Containment.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/text/Paths.h"
#include "kest/text/Strings.h"
#include "kest/transacted/Failure.h"

namespace Tallowmere {

using platform::os;

namespace {

constexpr std::wstring_view kPrefix = L"\\\\?\\";

bool isSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

std::wstring_view withoutEndSeparators(std::wstring_view path) {
    while (!path.empty() && isSeparator(path.back())) {
        path.remove_suffix(1);
    }
    return path;
}

/// The last name of a path, whatever separators follow it.
std::wstring_view lastName(std::wstring_view path) {
    path = withoutEndSeparators(path);
    std::size_t start = path.size();
    while (start > 0 && !isSeparator(path[start - 1])) {
        --start;
    }
    return path.substr(start);
}

/// How one place stands to another.
enum class Relation { Apart, Same, Inside, Above };

/// VOLUME_NAME_GUID, by its value: the form that begins with the volume.
constexpr DWORD kNameOnVolume = 1;

// --- By what the system says --------------------------------------------------------------------

enum class Resolution {
    Resolved,
    Missing,  ///< Nothing there can be opened.
    Unknown,  ///< There is something, but it has no final path.
};

/// Where something is: its final path, and where that is on its volume, however the volume or a
/// folder of it is mounted. The second is empty where the system cannot tell.
struct Whereabouts {
    std::wstring path;
    std::wstring onVolume;
};

/// Asks for final paths.
class Resolver {
public:
    Resolution resolve(std::wstring path, Whereabouts& found) {
        // With a separator at the end, as the walk puts one in front of each name: "C:" would else
        // be the current directory of the drive and not its root.
        if (!path.empty() && !isSeparator(path.back())) {
            path += L'\\';
        }
        // Neither reading nor any other access is asked for and everything is shared, so this gets
        // in nobody's way.
        const HANDLE file = os().CreateFileW(
            path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            return Resolution::Missing;
        }
        const bool isFound = ask(file, 0, found.path);
        if (!isFound || !ask(file, kNameOnVolume, found.onVolume)) {
            found.onVolume.clear();
        }
        (void)os().CloseHandle(file);
        return isFound ? Resolution::Resolved : Resolution::Unknown;
    }

private:
    bool ask(HANDLE file, DWORD form, std::wstring& path) {
        const DWORD length =
            os().GetFinalPathNameByHandleW(file, m_buffer.get(), kBufferSize, form);
        if (length == 0 || length >= kBufferSize) {
            return false;
        }
        path.assign(m_buffer.get(), length);
        return true;
    }

    static constexpr DWORD kBufferSize = 32768;  // characters
    std::unique_ptr<wchar_t[]> m_buffer = std::make_unique<wchar_t[]>(kBufferSize);
};

/// The directory in which the last name of a path stands, as the path has it; "." for a name alone,
/// "" when there is none above. Names are cut off, not interpreted.
std::wstring parentOf(const std::wstring& path) {
    const bool hasPrefix = path.compare(0, kPrefix.size(), kPrefix) == 0;
    const std::wstring prefix(hasPrefix ? kPrefix : L"");
    const std::wstring_view body = std::wstring_view(path).substr(prefix.size());
    const std::wstring_view named = withoutEndSeparators(body);
    const std::wstring_view name = lastName(body);
    if (name.empty() || body == L".") {
        return L"";
    }
    if (name.size() < named.size()) {
        return prefix + std::wstring(named.substr(0, named.size() - name.size()));
    }
    if (name.size() > 2 && name[1] == L':' && name.substr(2) != L".") {
        // "C:name" stands in the current directory of the drive; elsewhere it is a name like any
        // other, there is no "C:.", and the next question is for ".".
        return prefix + std::wstring(name.substr(0, 2)) + L'.';
    }
    // "C:\" has nothing above it.
    const bool isRoot = name.size() == 2 && name[1] == L':' && body.size() > named.size();
    return isRoot ? L"" : prefix + L'.';
}

/// Final paths carry the letters that are on the disk, so they are compared as they are.
Relation relationOfFinalPaths(std::wstring_view path, std::wstring_view top) {
    path = withoutEndSeparators(path);
    top = withoutEndSeparators(top);
    if (path.compare(0, top.size(), top) != 0) {
        return Relation::Apart;
    }
    if (path.size() == top.size()) {
        return Relation::Same;
    }
    return isSeparator(path[top.size()]) ? Relation::Inside : Relation::Apart;
}

/// How what exists at `found` stands to the source. A folder that is mounted in a second place has
/// two final paths, but what is done to it by the one is seen by the other.
Relation relationOf(const Whereabouts& found, const Whereabouts& top) {
    const Relation relation = relationOfFinalPaths(found.path, top.path);
    if (relation != Relation::Apart || found.onVolume.empty() || top.onVolume.empty()) {
        return relation;
    }
    return relationOfFinalPaths(found.onVolume, top.onVolume);
}

/// Whether the source is below the destination by another path than its own, so that it would be
/// removed with the old destination and not be missed by the walk.
bool isSourceSeenBelow(const Whereabouts& found, const Whereabouts& top) {
    return !found.onVolume.empty() && !top.onVolume.empty() &&
           relationOfFinalPaths(top.onVolume, found.onVolume) == Relation::Inside &&
           relationOfFinalPaths(top.path, found.path) == Relation::Apart;
}

/// A link is replaced itself, and what it leads to stays.
bool isLink(const std::wstring& path) {
    const std::wstring entry(withoutEndSeparators(path));
    const DWORD attributes = os().GetFileAttributesW(entry.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

/// Nothing when one of the two cannot be resolved.
std::optional<Relation> relationOnDisk(const std::wstring& source,
                                       const std::wstring& destination) {
    Resolver resolver;
    Whereabouts top;
    if (resolver.resolve(source, top) != Resolution::Resolved) {
        return std::nullopt;
    }
    Whereabouts found;
    Resolution resolution = resolver.resolve(destination, found);
    if (resolution == Resolution::Resolved) {
        if (isSourceSeenBelow(found, top) && !isLink(destination)) {
            return Relation::Above;
        }
        const Relation relation = relationOf(found, top);
        // The root of a drive has nothing above it, however it was called.
        if (relation != Relation::Apart || isSeparator(found.path.back())) {
            return relation;
        }
    }
    // The entry itself may be a link that leads out of the source: the copy takes its place. And
    // what does not exist yet is made in its nearest ancestor that does. Where ".." leads, only the
    // system knows.
    std::wstring place = destination;
    while (lastName(place) == L"." && !place.empty()) {
        place = parentOf(place);
    }
    if (resolution == Resolution::Resolved && (place.empty() || lastName(place) == L"..")) {
        return Relation::Apart;
    }
    while (resolution != Resolution::Unknown) {
        place = parentOf(place);
        if (place.empty()) {
            break;
        }
        resolution = resolver.resolve(place, found);
        if (resolution == Resolution::Resolved) {
            return relationOf(found, top) == Relation::Apart ? Relation::Apart : Relation::Inside;
        }
    }
    return std::nullopt;
}

// --- By the texts alone -------------------------------------------------------------------------

/// A path's names in normal form, "." and ".." worked in. Whether it begins with a separator.
bool takeApart(const std::wstring& path, std::vector<std::wstring>& names) {
    std::wstring text = normalizePath(path);
    if (path.compare(0, kPrefix.size(), kPrefix) == 0) {
        text.erase(0, kPrefix.size());
    }
    std::vector<std::wstring> all;
    split(text, L'/', all);
    for (std::wstring& name : all) {
        if (name == L"." || (name == L".." && !names.empty() && names.back() != L"..")) {
            if (name == L"..") {
                names.pop_back();
            }
            continue;
        }
        names.push_back(std::move(name));
    }
    return !text.empty() && text.front() == L'/';
}

Relation relationOfTexts(const std::wstring& source, const std::wstring& destination) {
    std::vector<std::wstring> top;
    std::vector<std::wstring> names;
    const bool isRooted = takeApart(source, top);
    if (takeApart(destination, names) != isRooted || names.size() < top.size() ||
        !std::equal(top.begin(), top.end(), names.begin())) {
        return Relation::Apart;
    }
    return names.size() == top.size() ? Relation::Same : Relation::Inside;
}

}  // namespace

void refuseCopyIntoItself(const std::wstring& source, const std::wstring& destination) {
    std::optional<Relation> relation = relationOnDisk(source, destination);
    if (!relation) {
        relation = relationOfTexts(source, destination);
    }
    if (relation == Relation::Apart) {
        return;
    }
    if (relation == Relation::Above) {
        reportFailure((L"Copy failed: " + source + L" is inside " + destination).c_str(), true,
                      false);
    }
    const wchar_t* const how = relation == Relation::Same ? L" is the same as " : L" is inside ";
    reportFailure((L"Copy failed: " + destination + how + source).c_str(), true, false);
}

}  // namespace Tallowmere
