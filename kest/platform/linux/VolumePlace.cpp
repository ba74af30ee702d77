#include "kest/platform/linux/VolumePlace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string_view>

#include "kest/platform/linux/Descriptor.h"

namespace Tallowmere::platform {
namespace {

int readAll(const char* path, std::string& content) {
    const Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file) {
        return errno;
    }
    char buffer[16384];
    for (;;) {
        const ssize_t got = read(file.get(), buffer, sizeof buffer);
        if (got == 0) {
            return 0;
        }
        if (got < 0 && errno != EINTR) {
            return errno;
        }
        content.append(buffer, got < 0 ? 0 : static_cast<std::size_t>(got));
    }
}

std::string_view takeField(std::string_view& line) {
    const std::size_t end = line.find(' ');
    const std::string_view field = line.substr(0, end);
    line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
    return field;
}

/// Blanks, tabs, newlines and backslashes stand as a backslash and three octal digits.
std::string unescaped(std::string_view field) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '7'; };
    std::string text;
    for (std::size_t at = 0; at < field.size(); ++at) {
        if (field[at] == '\\' && at + 3 < field.size() && isDigit(field[at + 1]) &&
            isDigit(field[at + 2]) && isDigit(field[at + 3])) {
            text += static_cast<char>((field[at + 1] - '0') * 64 + (field[at + 2] - '0') * 8 +
                                      (field[at + 3] - '0'));
            at += 3;
        } else {
            text += field[at];
        }
    }
    return text;
}

/// Puts the way from a mount's point to a path behind the mount's own root. False when the path is
/// not below the point.
bool follow(const std::string& root, const std::string& point, const std::string& path,
            std::string& place) {
    const std::string above = point == "/" ? "" : point;
    if (root.empty() || point.empty()) {
        return false;
    }
    if (path != point && (path.compare(0, above.size(), above) != 0 || path[above.size()] != '/')) {
        return false;
    }
    const std::string rest = path == point ? "" : path.substr(above.size());
    place = (root == "/" ? "" : root) + rest;
    if (place.empty()) {
        place = "/";
    }
    return true;
}

}  // namespace

int findVolumePlace(int descriptor, const std::string& finalPath, VolumePlace& place,
                    const char* mounts) {
    struct statx status {};
    if (statx(descriptor, "", AT_EMPTY_PATH, STATX_MNT_ID, &status) != 0) {
        return errno;
    }
    if ((status.stx_mask & STATX_MNT_ID) == 0) {
        return ENOENT;
    }
    const std::string mount = std::to_string(std::uint64_t{status.stx_mnt_id});
    std::string list;
    if (readAll(mounts, list) != 0) {
        return ENOENT;
    }
    std::string_view rest = list;
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (takeField(line) != mount) {
            continue;
        }
        (void)takeField(line);  // the mount above
        place.volume = takeField(line);
        const std::string root = unescaped(takeField(line));
        const std::string point = unescaped(takeField(line));
        return follow(root, point, finalPath, place.path) ? 0 : ENOENT;
    }
    return ENOENT;
}

}  // namespace Tallowmere::platform
