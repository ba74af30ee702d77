#include "kest/platform/linux/LinuxDisk.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>

#include "kest/platform/linux/DirectoryListing.h"
#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/FileCopy.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/linux/Spelling.h"
#include "kest/platform/transactions/Texts.h"

namespace Tallowmere::platform {
namespace {

using transactions::DirectoryLock;
using transactions::DirectoryPtr;

const LinuxDirectory& linuxDirectory(const DirectoryPtr& directory) {
    return static_cast<const LinuxDirectory&>(*directory);
}

int descriptor(const DirectoryPtr& directory) {
    return linuxDirectory(directory).get();
}

/// 0 or an error of a call that answered -1 or not.
DWORD answer(int result) {
    return result == 0 ? ERROR_SUCCESS : errorFromErrno(errno);
}

/// A name as the disk has it. A short one in ASCII, as nearly all are, needs no memory.
class NativeName {
public:
    explicit NativeName(std::wstring_view name) {
        if (name.size() < sizeof m_few && takePlain(name)) {
            return;
        }
        m_isGood = names::narrow(name, m_bytes);
        m_text = m_bytes.c_str();
    }
    NativeName(const NativeName&) = delete;
    NativeName& operator=(const NativeName&) = delete;
    bool isGood() const { return m_isGood; }
    const char* get() const { return m_text; }

private:
    bool takePlain(std::wstring_view name) {
        std::uint32_t all = 0;
        char* to = m_few;
        for (const wchar_t unit : name) {
            all |= static_cast<std::uint32_t>(unit);
            *to++ = static_cast<char>(unit);
        }
        *to = '\0';
        return all < 0x80;
    }

    char m_few[64];
    std::string m_bytes;
    const char* m_text = m_few;
    bool m_isGood = true;
};

/// Of a directory that only we can look into. The sticky bit, of no use to others' directories of
/// that kind, is a mark that only the owner can have set: whoever may rename entries can give a
/// name like a stage's to any private directory of somebody else's, but not that.
constexpr mode_t kPrivateMode = S_ISVTX | S_IRWXU;

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

/// A directory that may be passed through but not read can still be worked in.
int openDirectoryAt(int base, const char* path, int flags) {
    const int opened = openat(base, path, kDirectoryFlags | flags);
    if (opened >= 0 || errno != EACCES) {
        return opened;
    }
    return openat(base, path, O_PATH | O_DIRECTORY | O_CLOEXEC | flags);
}

/// Opens a path of any length: the system takes only so much at once. Links are followed but for
/// the last name with O_NOFOLLOW in `flags`.
Descriptor openLong(int base, const char* const name, int flags) {
    const std::string_view path(name);
    constexpr std::size_t kMost = PATH_MAX - 1;
    Descriptor at;
    std::size_t start = 0;
    while (path.size() - start > kMost) {
        const std::size_t end = path.rfind('/', start + kMost);
        if (end == std::string_view::npos || end <= start) {
            errno = ENAMETOOLONG;
            return Descriptor();
        }
        at = Descriptor(openDirectoryAt(at ? at.get() : base,
                                        std::string(path.substr(start, end - start)).c_str(), 0));
        if (!at) {
            return at;
        }
        start = end + 1;
    }
    return Descriptor(openDirectoryAt(at ? at.get() : base, name + start, flags));
}

/// Null with errno when it cannot be asked.
std::optional<LinuxDirectory::Mount> mountOf(int directory) {
    struct statx status {};
    if (statx(directory, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_MNT_ID, &status) != 0) {
        return std::nullopt;
    }
    LinuxDirectory::Mount mount;
    mount.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    mount.mount = (status.stx_mask & STATX_MNT_ID) != 0 ? status.stx_mnt_id : 0;
    struct statfs system {};
    mount.isOneDevice = fstatfs(directory, &system) == 0 &&
                        (system.f_type == EXT4_SUPER_MAGIC || system.f_type == XFS_SUPER_MAGIC ||
                         system.f_type == TMPFS_MAGIC);
    return mount;
}

/// Opens what stands in `base` under a name only if that is a directory, no link, and on the same
/// mount. Whatever the reason against it, another attempt tells. While `hidesAccess`, that it is
/// read is not noted as an access, which would be a change of its own for the file system's
/// journal, and of a directory that nearly always is about to go. Only its owner may ask for that.
Descriptor openOnMount(int base, const char* name, bool& hidesAccess) {
    struct open_how how {};
    how.resolve = RESOLVE_NO_XDEV;
    for (;;) {
        how.flags = static_cast<std::uint64_t>(kDirectoryFlags | O_NOFOLLOW |
                                               (hidesAccess ? O_NOATIME : 0));
        Descriptor opened(static_cast<int>(syscall(SYS_openat2, base, name, &how, sizeof how)));
        if (opened || !hidesAccess || errno != EPERM) {
            return opened;
        }
        hidesAccess = false;
    }
}

/// What keeps entries in a directory. Null with errno when it cannot be asked.
std::optional<LinuxDirectory::Guard> guardOf(int directory) {
    struct statx status {};
    if (statx(directory, "", AT_EMPTY_PATH, STATX_MODE | STATX_UID, &status) != 0) {
        return std::nullopt;
    }
    return LinuxDirectory::Guard{(status.stx_attributes & STATX_ATTR_APPEND) != 0,
                                 (status.stx_mode & S_ISVTX) != 0, status.stx_uid};
}

/// Whether the process may do with everybody's entries what their owners may.
bool standsForAllOwners() {
    struct __user_cap_header_struct header {
        _LINUX_CAPABILITY_VERSION_3, 0
    };
    struct __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capget, &header, data) == 0 &&
           (data[CAP_TO_INDEX(CAP_FOWNER)].effective & CAP_TO_MASK(CAP_FOWNER)) != 0;
}

/// Gives the owner every right to a directory whose entries are to go: what he had denied himself
/// is no reason to leave it behind. Whether that changed anything.
bool lendAllRights(int directory, const struct stat& status) {
    if ((status.st_mode & S_IRWXU) == S_IRWXU || status.st_uid != geteuid()) {
        return false;
    }
    char path[32];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", directory);
    return chmod(path, (status.st_mode & 07777) | S_IRWXU) == 0;
}

/// Where an open directory stands.
std::wstring whereabouts(int directory, const std::wstring& text) {
    char link[32];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", directory);
    char path[PATH_MAX];
    const ssize_t length = readlink(link, path, sizeof path);
    if (length > 0 && static_cast<std::size_t>(length) < sizeof path && path[0] == '/') {
        return names::widen(std::string_view(path, static_cast<std::size_t>(length)));
    }
    if (length < 0 && errno == ENAMETOOLONG && !transactions::parentOf(text).empty() &&
        text != L"/" && text != L".") {
        // Beyond the limit: where the nearest directory above stands of which it can be said.
        const std::wstring parent = transactions::parentOf(text);
        const NativeName native(parent);
        const Descriptor above =
            native.isGood() ? openLong(AT_FDCWD, native.get(), 0) : Descriptor();
        if (above) {
            return transactions::join(whereabouts(above.get(), parent), transactions::nameOf(text));
        }
    }
    // Without /proc: as it was called, from the current directory on.
    if (!text.empty() && text.front() == L'/') {
        return text;
    }
    char* const current = getcwd(nullptr, 0);
    std::wstring result = current == nullptr ? L"." : names::widen(current);
    std::free(current);
    return text == L"." ? result : transactions::join(result, text);
}

void putTime(FILETIME& to, const struct timespec& from) {
    constexpr std::int64_t kUnixEpoch = 11644473600;  // seconds from 1601 to 1970
    const auto ticks =
        static_cast<std::uint64_t>((from.tv_sec + kUnixEpoch) * 10000000 + from.tv_nsec / 100);
    to.dwLowDateTime = static_cast<DWORD>(ticks);
    to.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
}

class FileLock : public DirectoryLock {
public:
    explicit FileLock(Descriptor descriptor) : m_descriptor(std::move(descriptor)) {}

private:
    Descriptor m_descriptor;
};

/// A directory that its owner may not write into cannot be moved to another place, since its ".."
/// changes. Gives the owner that right for the time of the move. Should the process end meanwhile,
/// the right stays.
class Movable {
public:
    Movable(int parent, const char* name)
        : m_directory(openat(parent, name, O_PATH | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC)) {
        struct stat status {};
        if (m_directory && fstat(m_directory.get(), &status) == 0 &&
            (status.st_mode & S_IWUSR) == 0 && status.st_uid == geteuid()) {
            m_mode = status.st_mode & 07777;
            m_isChanged = change(m_mode | S_IWUSR);
        }
    }
    ~Movable() {
        const int saved = errno;
        if (m_isChanged) {
            (void)change(m_mode);
        }
        errno = saved;
    }
    Movable(const Movable&) = delete;
    Movable& operator=(const Movable&) = delete;
    bool isChanged() const { return m_isChanged; }

private:
    bool change(mode_t mode) const {
        char path[32];
        std::snprintf(path, sizeof path, "/proc/self/fd/%d", m_directory.get());
        return chmod(path, mode) == 0;
    }

    Descriptor m_directory;
    mode_t m_mode = 0;
    bool m_isChanged = false;
};

int renameAt(int from, const char* fromName, int to, const char* toName, unsigned flags) {
    const auto attempt = [&] {
        return static_cast<int>(syscall(SYS_renameat2, from, fromName, to, toName, flags));
    };
    const int result = attempt();
    if (result == 0 || errno != EACCES) {
        return result;
    }
    const Movable source(from, fromName);
    const Movable target(to, toName);
    if (!source.isChanged() && !target.isChanged()) {
        errno = EACCES;
        return -1;
    }
    return attempt();
}

bool isSeparator(wchar_t unit) {
    return unit == L'\\' || unit == L'/';
}

/// Nearly every path is in normal form but for its separators. False, with anything in `text`, for
/// one that needs another look.
bool takePlainPath(std::wstring_view path, std::wstring& text) {
    text.assign(path);
    bool isStart = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t unit = text[i];
        if (isSeparator(unit)) {
            if (isStart) {
                return false;
            }
            text[i] = L'/';
            isStart = true;
        } else {
            if (unit == L'.' && (isStart || i == 0)) {
                return false;
            }
            isStart = false;
        }
    }
    return !isStart;
}

}  // namespace

DWORD LinuxDisk::normalize(const wchar_t* path, std::wstring& text) {
    constexpr std::wstring_view kPrefix = L"\\\\?\\";
    std::wstring_view rest(path == nullptr ? L"" : path);
    if (rest.substr(0, kPrefix.size()) == kPrefix) {
        rest.remove_prefix(kPrefix.size());
        // Understood once: with a second one it names no place at all, as on Windows.
        if (rest.substr(0, kPrefix.size()) == kPrefix) {
            return ERROR_INVALID_NAME;
        }
    }
    if (rest.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    if (takePlainPath(rest, text)) {
        return ERROR_SUCCESS;
    }
    text = isSeparator(rest.front()) ? L"/" : L"";
    for (std::size_t at = 0; at < rest.size();) {
        std::size_t end = at;
        while (end < rest.size() && !isSeparator(rest[end])) {
            ++end;
        }
        const std::wstring_view name = rest.substr(at, end - at);
        at = end + 1;
        if (name.empty() || name == L".") {
            continue;
        }
        if (name == L"..") {
            // What a ".." leads to depends on the links before it, so the disk is asked.
            DirectoryPtr directory;
            std::wstring canonical;
            text = transactions::join(text.empty() ? L"." : text, L"..");
            const DWORD error = openDirectory(text, directory, canonical);
            if (error != ERROR_SUCCESS) {
                return error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error;
            }
            text = canonical;
            continue;
        }
        if (!text.empty() && text.back() != L'/') {
            text += L'/';
        }
        text += name;
    }
    if (text.empty()) {
        text = L".";
    }
    return ERROR_SUCCESS;
}

bool LinuxDisk::isPlainName(std::wstring_view name) const {
    return !name.empty() && name.front() != L'.';
}

bool LinuxDisk::isRoot(std::wstring_view text) const {
    return text == L"/";
}

std::wstring LinuxDisk::fold(const std::wstring& name) const {
    return name;
}

DWORD LinuxDisk::openDirectory(const std::wstring& text, DirectoryPtr& directory,
                               std::wstring& canonical) {
    const NativeName path(text);
    if (!path.isGood()) {
        return ERROR_INVALID_NAME;
    }
    Descriptor opened = openLong(AT_FDCWD, path.get(), 0);
    if (!opened) {
        return errno == ENOTDIR ? ERROR_DIRECTORY : errorFromErrno(errno);
    }
    canonical = whereabouts(opened.get(), text);
    directory = std::make_shared<LinuxDirectory>(std::move(opened));
    return ERROR_SUCCESS;
}

DWORD LinuxDisk::openBelow(const DirectoryPtr& base, const std::wstring& relative, Links links,
                           DirectoryPtr& directory) {
    const NativeName path(relative);
    if (!path.isGood()) {
        return ERROR_INVALID_NAME;
    }
    const auto& mount = static_cast<const LinuxDirectory&>(*base).mount;
    if (mount && mount->isOneDevice && links == Links::Refuse) {
        LinuxDirectory::Mount below = *mount;
        Descriptor same = openOnMount(descriptor(base), path.get(), below.hidesAccess);
        if (same) {
            auto found = std::make_shared<LinuxDirectory>(std::move(same));
            found->mount = below;
            directory = std::move(found);
            return ERROR_SUCCESS;
        }
    }
    Descriptor opened =
        openLong(descriptor(base), path.get(), links == Links::Refuse ? O_NOFOLLOW : 0);
    if (!opened) {
        const int error = errno;
        struct stat status {};
        if (error == ENOTDIR && links == Links::Refuse &&
            fstatat(descriptor(base), path.get(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISLNK(status.st_mode)) {
            return ERROR_CANT_RESOLVE_FILENAME;
        }
        return error == ENOTDIR ? ERROR_DIRECTORY : errorFromErrno(error);
    }
    directory = std::make_shared<LinuxDirectory>(std::move(opened));
    return ERROR_SUCCESS;
}

DWORD LinuxDisk::describe(const DirectoryPtr& parent, const std::wstring& name, Kind& kind,
                          WIN32_FILE_ATTRIBUTE_DATA* data) {
    const NativeName native(name);
    if (!native.isGood()) {
        return ERROR_INVALID_NAME;
    }
    struct stat status {};
    if (fstatat(descriptor(parent), native.get(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return errorFromErrno(errno);
    }
    kind = kindFromMode(status.st_mode, descriptor(parent), native.get());
    if (data != nullptr) {
        *data = {};
        data->dwFileAttributes = attributesOf(kind);
        putTime(data->ftCreationTime, status.st_ctim);
        putTime(data->ftLastAccessTime, status.st_atim);
        putTime(data->ftLastWriteTime, status.st_mtim);
        if (kind == Kind::File) {
            const auto size = static_cast<std::uint64_t>(status.st_size);
            data->nFileSizeHigh = static_cast<DWORD>(size >> 32);
            data->nFileSizeLow = static_cast<DWORD>(size);
        }
    }
    return ERROR_SUCCESS;
}

DWORD LinuxDisk::list(const DirectoryPtr& directory,
                      std::unique_ptr<transactions::Listing>& listing) {
    return listDirectory(std::static_pointer_cast<LinuxDirectory>(directory), Purpose::Reading,
                         listing);
}

DWORD LinuxDisk::listForRemoval(const DirectoryPtr& directory, transactions::ListedBefore& before,
                                std::unique_ptr<transactions::Listing>& listing) {
    auto read = std::static_pointer_cast<LinuxDirectory>(directory);
    struct stat status {};
    if (fstat(read->get(), &status) != 0) {
        return errorFromErrno(errno);
    }
    if (lendAllRights(read->get(), status)) {
        // It may have been opened without the right to read it.
        Descriptor opened(openat(read->get(), ".", kDirectoryFlags));
        if (!opened) {
            return errorFromErrno(errno);
        }
        read = std::make_shared<LinuxDirectory>(std::move(opened));
    }
    std::string entries;
    if (before.take(status.st_ino, entries)) {
        listing = listAsBefore(read, std::move(entries));
        return ERROR_SUCCESS;
    }
    return listDirectory(read, Purpose::Removal, listing);
}

DWORD LinuxDisk::mayRemoveFrom(const DirectoryPtr& directory) {
    auto& guard = static_cast<LinuxDirectory&>(*directory).guard;
    if (!guard) {
        guard = guardOf(descriptor(directory));
    }
    if (!guard) {
        return errorFromErrno(errno);
    }
    return guard->isAppendOnly
               ? DWORD{ERROR_ACCESS_DENIED}
               : answer(faccessat(descriptor(directory), ".", W_OK | X_OK, AT_EACCESS));
}

DWORD LinuxDisk::mayRemove(const DirectoryPtr& parent, const std::wstring& name) {
    const NativeName native(name);
    if (!native.isGood()) {
        return ERROR_INVALID_NAME;
    }
    struct statx status {};
    if (statx(descriptor(parent), native.get(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_UID,
              &status) != 0) {
        // What is gone keeps nobody.
        return errno == ENOENT ? DWORD{ERROR_SUCCESS} : errorFromErrno(errno);
    }
    if ((status.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0) {
        return ERROR_ACCESS_DENIED;
    }
    if ((status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
        // A file can be mounted over, too, and goes along when the directory around it is renamed.
        return ERROR_BUSY;
    }
    auto& guard = static_cast<LinuxDirectory&>(*parent).guard;
    if (!guard) {
        guard = guardOf(descriptor(parent));
    }
    if (!guard) {
        return errorFromErrno(errno);
    }
    const bool isAnothers = guard->isSticky && guard->owner != geteuid() &&
                            status.stx_uid != geteuid() && !standsForAllOwners();
    return isAnothers ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

std::wstring LinuxDisk::spelling(const DirectoryPtr& parent, const std::wstring& name) {
    const NativeName native(name);
    return native.isGood() && mayFoldNames(descriptor(parent))
               ? names::widen(spellingOf(descriptor(parent), native.get()))
               : name;
}

DWORD LinuxDisk::checkSameVolume(const DirectoryPtr& left, const DirectoryPtr& right) {
    const auto ask =
        [](const DirectoryPtr& directory) -> const std::optional<LinuxDirectory::Mount>& {
        auto& known = static_cast<LinuxDirectory&>(*directory);
        if (!known.mount) {
            known.mount = mountOf(known.get());
        }
        return known.mount;
    };
    const auto& first = ask(left);
    const auto* const second = first ? &ask(right) : nullptr;
    if (second == nullptr || !*second) {
        return errorFromErrno(errno);
    }
    // The mount, too: a part of the same file system that is mounted elsewhere cannot be renamed
    // to.
    return first->device == (*second)->device && first->mount == (*second)->mount
               ? ERROR_SUCCESS
               : ERROR_NOT_SAME_DEVICE;
}

DWORD LinuxDisk::checkEntry(const DirectoryPtr& parent, const std::wstring& name,
                            const DirectoryPtr& directory) {
    const NativeName native(name);
    if (!native.isGood()) {
        return ERROR_INVALID_NAME;
    }
    struct stat entry {};
    struct stat opened {};
    if (fstatat(descriptor(parent), native.get(), &entry, AT_SYMLINK_NOFOLLOW) != 0 ||
        fstat(descriptor(directory), &opened) != 0) {
        return errorFromErrno(errno);
    }
    return entry.st_dev == opened.st_dev && entry.st_ino == opened.st_ino ? ERROR_SUCCESS
                                                                          : ERROR_FILE_NOT_FOUND;
}

DWORD LinuxDisk::checkSameFile(const DirectoryPtr& parent, const std::wstring& name,
                               const DirectoryPtr& otherParent, const std::wstring& otherName) {
    const NativeName first(name);
    const NativeName second(otherName);
    if (!first.isGood() || !second.isGood()) {
        return ERROR_INVALID_NAME;
    }
    struct stat one {};
    struct stat other {};
    if (fstatat(descriptor(parent), first.get(), &one, AT_SYMLINK_NOFOLLOW) != 0 ||
        fstatat(descriptor(otherParent), second.get(), &other, AT_SYMLINK_NOFOLLOW) != 0) {
        return errorFromErrno(errno);
    }
    const bool isSame =
        !S_ISDIR(one.st_mode) && one.st_dev == other.st_dev && one.st_ino == other.st_ino;
    return isSame ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

DWORD LinuxDisk::makeDirectory(const DirectoryPtr& parent, const std::wstring& name) {
    const NativeName native(name);
    if (!native.isGood()) {
        return ERROR_INVALID_NAME;
    }
    if (mkdirat(descriptor(parent), native.get(), 0777) != 0) {
        return errorFromErrno(errno);
    }
    // A mask that takes our own rights away must not shut us out of what we are about to fill. It
    // stands in a directory of ours, so nobody can have put a link in its place.
    struct stat status {};
    if (fstatat(descriptor(parent), native.get(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        (status.st_mode & S_IRWXU) != S_IRWXU) {
        (void)!fchmodat(descriptor(parent), native.get(), (status.st_mode & 07777) | S_IRWXU, 0);
    }
    return ERROR_SUCCESS;
}

DWORD LinuxDisk::makePrivateDirectory(const DirectoryPtr& parent, const std::wstring& name) {
    const NativeName native(name);
    const auto guard = guardOf(descriptor(parent));
    if (!guard || guard->isAppendOnly) {
        // Where nothing can be removed, it would stay for good.
        return guard ? DWORD{ERROR_ACCESS_DENIED} : errorFromErrno(errno);
    }
    if (mkdirat(descriptor(parent), native.get(), kPrivateMode) != 0) {
        return errorFromErrno(errno);
    }
    // A default access list of the parent must not reach what is made in here: every copy gets the
    // rights of its source. And a mask that takes our own rights away must not shut us out.
    const Descriptor made(
        openat(descriptor(parent), native.get(), O_PATH | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC));
    if (made) {
        char path[32];
        std::snprintf(path, sizeof path, "/proc/self/fd/%d", made.get());
        (void)removexattr(path, "system.posix_acl_default");
        struct stat status {};
        if (fstat(made.get(), &status) == 0 && (status.st_mode & 0700) != 0700) {
            (void)chmod(path, kPrivateMode);
        }
    }
    return ERROR_SUCCESS;
}

DWORD LinuxDisk::copyFile(const DirectoryPtr& sourceParent, const std::wstring& sourceName,
                          const DirectoryPtr& parent, const std::wstring& name, Links links,
                          const Kind* known) {
    const NativeName from(sourceName);
    if (!from.isGood()) {
        return ERROR_INVALID_NAME;
    }
    std::optional<NativeName> other;
    if (name != sourceName && !other.emplace(name).isGood()) {
        return ERROR_INVALID_NAME;
    }
    const char* const to = other ? other->get() : from.get();
    const int error = copyEntry(descriptor(sourceParent), from.get(), descriptor(parent), to,
                                known != nullptr && *known == Kind::File, links == Links::Follow,
                                static_cast<LinuxDirectory&>(*parent).defaults);
    return error == 0 ? ERROR_SUCCESS : errorFromErrno(error);
}

DWORD LinuxDisk::makeLink(const DirectoryPtr& parent, const std::wstring& name,
                          const wchar_t* target, bool) {
    const NativeName native(name);
    std::string to;
    if (!native.isGood()) {
        return ERROR_INVALID_NAME;
    }
    // On the disk stands a plain Linux path, so that the link works for every program.
    const DWORD error = names::toNativePath(target, to);
    return error != ERROR_SUCCESS ? error
                                  : answer(symlinkat(to.c_str(), descriptor(parent), native.get()));
}

DWORD LinuxDisk::adopt(const DirectoryPtr& source, const DirectoryPtr& directory) {
    const int error = copyDirectoryMetadata(descriptor(source), descriptor(directory));
    return error == 0 ? ERROR_SUCCESS : errorFromErrno(error);
}

DWORD LinuxDisk::removeFile(const DirectoryPtr& parent, const std::wstring& name) {
    const NativeName native(name);
    return native.isGood() ? answer(unlinkat(descriptor(parent), native.get(), 0))
                           : DWORD{ERROR_INVALID_NAME};
}

DWORD LinuxDisk::removeDirectory(const DirectoryPtr& parent, const std::wstring& name) {
    const NativeName native(name);
    if (!native.isGood()) {
        return ERROR_INVALID_NAME;
    }
    if (unlinkat(descriptor(parent), native.get(), AT_REMOVEDIR) == 0) {
        return ERROR_SUCCESS;
    }
    const int error = errno;
    struct stat status {};
    if (error == ENOTDIR &&
        fstatat(descriptor(parent), native.get(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISLNK(status.st_mode)) {
        return answer(unlinkat(descriptor(parent), native.get(), 0));
    }
    return error == ENOTDIR ? ERROR_DIRECTORY : errorFromErrno(error);
}

DWORD LinuxDisk::rename(const DirectoryPtr& from, const std::wstring& fromName,
                        const DirectoryPtr& to, const std::wstring& toName) {
    const NativeName source(fromName);
    const NativeName target(toName);
    if (!source.isGood() || !target.isGood()) {
        return ERROR_INVALID_NAME;
    }
    if (renameAt(descriptor(from), source.get(), descriptor(to), target.get(), RENAME_NOREPLACE) ==
        0) {
        return ERROR_SUCCESS;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errorFromErrno(errno);
    }
    // A file system that cannot promise it is asked first. A directory or a file that appears in
    // between is not lost: a directory is only replaced while it is empty, a file is looked for.
    struct stat status {};
    if (fstatat(descriptor(to), target.get(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        return ERROR_ALREADY_EXISTS;
    }
    return answer(renameat(descriptor(from), source.get(), descriptor(to), target.get()));
}

DWORD LinuxDisk::exchange(const DirectoryPtr& left, const std::wstring& leftName,
                          const DirectoryPtr& right, const std::wstring& rightName) {
    const NativeName first(leftName);
    const NativeName second(rightName);
    if (!first.isGood() || !second.isGood()) {
        return ERROR_INVALID_NAME;
    }
    if (renameAt(descriptor(left), first.get(), descriptor(right), second.get(), RENAME_EXCHANGE) ==
        0) {
        return ERROR_SUCCESS;
    }
    // An overlay cannot exchange a directory of a lower layer, an old file system not at all.
    const bool cannot = errno == EINVAL || errno == ENOSYS || errno == EXDEV;
    return cannot ? DWORD{ERROR_NOT_SUPPORTED} : errorFromErrno(errno);
}

DWORD LinuxDisk::syncVolume(const DirectoryPtr& directory) {
    const DWORD error = answer(syncfs(descriptor(directory)));
    // Without a journal, the kernel writes the last of the names and inodes after it has flushed
    // the disk: what a directory asks for flushes once more.
    return error == ERROR_SUCCESS ? syncDirectory(directory) : error;
}

DWORD LinuxDisk::syncDirectory(const DirectoryPtr& directory) {
    if (fsync(descriptor(directory)) == 0) {
        return ERROR_SUCCESS;
    }
    if (errno == EBADF) {
        // Opened without the right to read it: the whole volume then. It, too, is asked for by
        // something that was opened, here by a file without a name.
        const Descriptor file(
            openat(descriptor(directory), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
        return file ? answer(syncfs(file.get())) : errorFromErrno(errno);
    }
    // Some file systems have nothing to sync in a directory and say so.
    return errno == EINVAL || errno == ENOTSUP ? ERROR_SUCCESS : errorFromErrno(errno);
}

DWORD LinuxDisk::writeFile(const DirectoryPtr& parent, const std::wstring& name,
                           const std::string& content) {
    const NativeName native(name);
    const Descriptor file(openat(descriptor(parent), native.get(),
                                 O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    // Whoever comes after a crash has to read it, whatever our mask takes away.
    if (!file || fchmod(file.get(), 0600) != 0) {
        return errorFromErrno(errno);
    }
    for (std::size_t at = 0; at < content.size();) {
        const ssize_t written = write(file.get(), content.data() + at, content.size() - at);
        if (written < 0 && errno != EINTR) {
            return errorFromErrno(errno);
        }
        at += written < 0 ? 0 : static_cast<std::size_t>(written);
    }
    return answer(fsync(file.get()));
}

DWORD LinuxDisk::readFile(const DirectoryPtr& parent, const std::wstring& name,
                          std::string& content) {
    const NativeName native(name);
    const Descriptor file(
        openat(descriptor(parent), native.get(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        return errorFromErrno(errno);
    }
    content.clear();
    char buffer[16384];
    for (;;) {
        const ssize_t got = read(file.get(), buffer, sizeof buffer);
        if (got == 0) {
            return ERROR_SUCCESS;
        }
        if (got < 0 && errno != EINTR) {
            return errorFromErrno(errno);
        }
        content.append(buffer, got < 0 ? 0 : static_cast<std::size_t>(got));
    }
}

DWORD LinuxDisk::lock(const DirectoryPtr& directory, std::unique_ptr<DirectoryLock>& lock) {
    // On a descriptor of its own: such a lock belongs to the opening, not to the process, so that
    // two threads of one process keep apart, too.
    Descriptor own(openat(descriptor(directory), ".", kDirectoryFlags));
    if (!own) {
        return errorFromErrno(errno);
    }
    if (flock(own.get(), LOCK_EX | LOCK_NB) != 0) {
        return errno == EWOULDBLOCK ? DWORD{ERROR_LOCK_VIOLATION} : errorFromErrno(errno);
    }
    lock = std::make_unique<FileLock>(std::move(own));
    return ERROR_SUCCESS;
}

DWORD LinuxDisk::checkPrivateOfOurs(const DirectoryPtr& directory) {
    struct stat status {};
    if (fstat(descriptor(directory), &status) != 0) {
        return errorFromErrno(errno);
    }
    if (status.st_uid != geteuid() || (status.st_mode & 077) != 0) {
        return ERROR_ACCESS_DENIED;
    }
    if ((status.st_mode & S_ISVTX) != 0) {
        return ERROR_SUCCESS;
    }
    // A volume without modes of its own keeps no mark. It needs none where nobody else can rename
    // what is there.
    struct stat parent {};
    if (fstatat(descriptor(directory), "..", &parent, 0) != 0) {
        return errorFromErrno(errno);
    }
    const bool isClosed =
        (parent.st_mode & 022) == 0 && (parent.st_uid == status.st_uid || parent.st_uid == 0);
    return isClosed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

std::wstring LinuxDisk::randomName() {
    unsigned char bytes[16];
    if (getentropy(bytes, sizeof bytes) != 0) {
        throw std::runtime_error("getentropy");
    }
    std::wstring name;
    for (const unsigned char byte : bytes) {
        constexpr wchar_t kDigits[] = L"0123456789abcdef";
        name += kDigits[byte >> 4];
        name += kDigits[byte & 15];
    }
    return name;
}

namespace transactions {

Disk& systemDisk() {
    // Never destroyed: a host may still work while the process ends.
    static LinuxDisk* const s_disk = new LinuxDisk;
    return *s_disk;
}

}  // namespace transactions
}  // namespace Tallowmere::platform
