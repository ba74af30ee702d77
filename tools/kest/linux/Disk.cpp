#include "Disk.h"

#include <dirent.h>
#include <fcntl.h>
#include <kest/kest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>

namespace Tallowmere::command::disk {
namespace {

struct CloseDir {
    void operator()(DIR* folder) const { closedir(folder); }
};

class Reader {
public:
    explicit Reader(const std::wstring& path)
        : m_file(open(toNative(path).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)) {}
    ~Reader() {
        if (m_file >= 0) {
            close(m_file);
        }
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// How much was read, less than asked for at the end alone; negative with `errno`.
    ssize_t read(char* buffer, std::size_t size) const {
        std::size_t done = 0;
        while (done < size) {
            const ssize_t got = m_file < 0 ? -1 : ::read(m_file, buffer + done, size - done);
            if (got < 0 && errno == EINTR && m_file >= 0) {
                continue;
            }
            if (got < 0) {
                return -1;
            }
            if (got == 0) {
                break;
            }
            done += static_cast<std::size_t>(got);
        }
        return static_cast<ssize_t>(done);
    }

private:
    int m_file;
};

std::wstring reasonOf(int error) {
    return fromNative(std::strerror(error));
}

/// As the library tells them apart: a link to a folder is one that leads to a folder in the end.
Kind kindOf(mode_t mode, int folder, const char* name) {
    if (S_ISREG(mode)) {
        return Kind::file;
    }
    if (S_ISDIR(mode)) {
        return Kind::folder;
    }
    if (S_ISLNK(mode)) {
        struct stat target {};
        return fstatat(folder, name, &target, 0) == 0 && S_ISDIR(target.st_mode) ? Kind::folderLink
                                                                                 : Kind::fileLink;
    }
    return Kind::other;
}

std::wstring octal(mode_t mode) {
    std::wstring text;
    for (int shift = 9; shift >= 0; shift -= 3) {
        if (shift < 9 || ((mode >> 9) & 7) != 0) {
            text += static_cast<wchar_t>(L'0' + ((mode >> shift) & 7));
        }
    }
    return text;
}

std::wstring timeText(const struct timespec& time) {
    struct tm parts {};
    char text[64] = "";
    if (localtime_r(&time.tv_sec, &parts) != nullptr) {
        (void)strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S.", &parts);
    }
    const std::string nanoseconds = std::to_string(time.tv_nsec);
    return fromNative(text + std::string(9 - std::min<std::size_t>(9, nanoseconds.size()), '0') +
                      nanoseconds);
}

/// The extended attributes, access lists among them. False when they cannot be read.
bool readAttributes(const std::string& path, std::map<std::string, std::string>& attributes) {
    std::string names(65536, '\0');
    const ssize_t length = llistxattr(path.c_str(), names.data(), names.size());
    if (length < 0) {
        return errno == ENOTSUP;
    }
    for (std::size_t at = 0; at < static_cast<std::size_t>(length);) {
        const std::string name = names.c_str() + at;
        at += name.size() + 1;
        std::string value(65536, '\0');
        const ssize_t size = lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
        if (size >= 0) {
            value.resize(static_cast<std::size_t>(size));
            attributes[name] = value;
        }
    }
    return true;
}

}  // namespace

bool list(const std::wstring& folder, std::vector<Entry>& entries, std::wstring& reason) {
    entries.clear();
    const std::unique_ptr<DIR, CloseDir> open(opendir(toNative(folder).c_str()));
    if (!open) {
        reason = reasonOf(errno);
        return false;
    }
    reason.clear();
    for (;;) {
        errno = 0;
        const struct dirent* const entry = readdir(open.get());
        if (entry == nullptr) {
            if (errno != 0) {
                reason = reasonOf(errno);
            }
            return reason.empty();
        }
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        struct stat status {};
        if (fstatat(dirfd(open.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
            // Unless it has gone meanwhile, as from a folder that may be read but not entered.
            if (errno != ENOENT && reason.empty()) {
                reason = reasonOf(errno);
            }
            continue;
        }
        const Kind kind = kindOf(status.st_mode, dirfd(open.get()), entry->d_name);
        entries.push_back({fromNative(entry->d_name), kind,
                           kind == Kind::file ? static_cast<std::uint64_t>(status.st_size) : 0});
    }
}

std::optional<Entry> look(const std::wstring& path, std::wstring& reason) {
    const std::string native = toNative(path);
    struct stat status {};
    if (lstat(native.c_str(), &status) != 0) {
        reason = reasonOf(errno);
        return std::nullopt;
    }
    const Kind kind = kindOf(status.st_mode, AT_FDCWD, native.c_str());
    return Entry{path, kind, kind == Kind::file ? static_cast<std::uint64_t>(status.st_size) : 0};
}

bool canMoveWhileListed() {
    return true;
}

std::optional<std::pair<std::uint64_t, std::uint64_t>> identityOf(const std::wstring& path) {
    struct stat status {};
    if (lstat(toNative(path).c_str(), &status) != 0) {
        return std::nullopt;
    }
    return std::pair<std::uint64_t, std::uint64_t>(status.st_dev, status.st_ino);
}

bool canTellHeld() {
    return true;
}

StageState stateOf(const std::wstring& stage, std::wstring& reason) {
    const std::string path = toNative(stage);
    const auto unknown = [&] {
        if (errno == ENOENT || errno == ENOTDIR) {
            return StageState::gone;
        }
        reason = reasonOf(errno);
        return StageState::unknown;
    };
    struct stat status {};
    struct stat around {};
    if (lstat(path.c_str(), &status) != 0 ||
        lstat(path.substr(0, path.rfind('/') + 1).c_str(), &around) != 0) {
        return unknown();
    }
    // By the same signs as the library.
    const bool isClosed =
        (around.st_mode & 022) == 0 && (around.st_uid == status.st_uid || around.st_uid == 0);
    if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & 077) != 0 ||
        ((status.st_mode & S_ISVTX) == 0 && !isClosed)) {
        return StageState::foreign;
    }
    const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0) {
        return unknown();
    }
    const bool isFree = flock(folder, LOCK_SH | LOCK_NB) == 0;
    const int error = errno;
    close(folder);
    if (isFree) {
        return StageState::left;
    }
    errno = error;
    return error == EWOULDBLOCK ? StageState::held : unknown();
}

std::wstring join(const std::wstring& folder, const std::wstring& name) {
    return !folder.empty() && folder.back() == L'/' ? folder + name : folder + L'/' + name;
}

std::vector<std::wstring> differences(const std::wstring& original, const std::wstring& copy,
                                      Kind kind) {
    std::vector<std::wstring> found;
    const std::string from = toNative(original);
    const std::string to = toNative(copy);
    struct stat wanted {};
    struct stat got {};
    if (lstat(from.c_str(), &wanted) != 0 || lstat(to.c_str(), &got) != 0) {
        found.push_back(reasonOf(errno));
        return found;
    }
    if (kind == Kind::folderLink) {
        // The copy leads to the same place by its full path; it has times of its own.
        if (getLinkTarget(original.c_str(), true) != getLinkTarget(copy.c_str(), true)) {
            found.emplace_back(L"leads elsewhere");
        }
        return found;
    }
    if (kind == Kind::fileLink) {
        std::array<char, 65536> first{};
        std::array<char, 65536> second{};
        const ssize_t lengths[] = {readlink(from.c_str(), first.data(), first.size()),
                                   readlink(to.c_str(), second.data(), second.size())};
        if (lengths[0] < 0 || lengths[0] != lengths[1] ||
            std::memcmp(first.data(), second.data(), static_cast<std::size_t>(lengths[0])) != 0) {
            found.emplace_back(L"leads elsewhere");
        }
    } else if ((wanted.st_mode & 07777) != (got.st_mode & 07777)) {
        found.push_back(L"mode " + octal(got.st_mode & 07777) + L" instead of " +
                        octal(wanted.st_mode & 07777));
    }
    if (kind == Kind::other &&
        ((wanted.st_mode & S_IFMT) != (got.st_mode & S_IFMT) || wanted.st_rdev != got.st_rdev)) {
        found.emplace_back(L"another special file");
    }
    if (wanted.st_mtim.tv_sec != got.st_mtim.tv_sec ||
        wanted.st_mtim.tv_nsec != got.st_mtim.tv_nsec) {
        found.push_back(L"changed " + timeText(got.st_mtim) + L" instead of " +
                        timeText(wanted.st_mtim));
    }
    // Who may not give files away cannot copy the owner; that is no fault of the copy.
    const bool mayGive = geteuid() == 0;
    if (mayGive && (wanted.st_uid != got.st_uid || wanted.st_gid != got.st_gid)) {
        found.push_back(L"owner " + std::to_wstring(got.st_uid) + L":" +
                        std::to_wstring(got.st_gid) + L" instead of " +
                        std::to_wstring(wanted.st_uid) + L":" + std::to_wstring(wanted.st_gid));
    }
    if (kind == Kind::file || kind == Kind::folder) {
        std::map<std::string, std::string> wantedAttributes;
        std::map<std::string, std::string> gotAttributes;
        if (!readAttributes(from, wantedAttributes) || !readAttributes(to, gotAttributes)) {
            found.push_back(L"the attributes cannot be read: " + reasonOf(errno));
        }
        for (const auto& [name, value] : wantedAttributes) {
            // Those of the system itself are kept where it lets a process set them.
            const bool isSystems =
                name.rfind("user.", 0) != 0 && name.rfind("system.posix_acl_", 0) != 0;
            const auto match = gotAttributes.find(name);
            if (!isSystems && (match == gotAttributes.end() || match->second != value)) {
                found.push_back(L"attribute " + fromNative(name) +
                                (match == gotAttributes.end() ? L" missing" : L" differs"));
            }
        }
    }
    return found;
}

std::optional<bool> isSameContent(const std::wstring& first, const std::wstring& second,
                                  std::wstring& reason) {
    constexpr std::size_t kBlock = 262144;
    const Reader one(first);
    const Reader other(second);
    static thread_local std::vector<char> s_one(kBlock);
    static thread_local std::vector<char> s_other(kBlock);
    for (;;) {
        const ssize_t got = one.read(s_one.data(), kBlock);
        const ssize_t gotOther = got < 0 ? -1 : other.read(s_other.data(), kBlock);
        if (got < 0 || gotOther < 0) {
            reason = reasonOf(errno);
            return std::nullopt;
        }
        if (got != gotOther ||
            std::memcmp(s_one.data(), s_other.data(), static_cast<std::size_t>(got)) != 0) {
            return false;
        }
        if (static_cast<std::size_t>(got) < kBlock) {
            return true;
        }
    }
}

}  // namespace Tallowmere::command::disk
