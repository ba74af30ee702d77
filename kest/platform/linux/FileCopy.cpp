#include "kest/platform/linux/FileCopy.h"

#include <fcntl.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "kest/platform/linux/Descriptor.h"

namespace Tallowmere::platform {
namespace {

constexpr std::size_t kBufferSize = std::size_t{256} * 1024;

bool isSystemNamespace(const char* name) {
    return std::strncmp(name, "security.", 9) == 0 || std::strncmp(name, "trusted.", 8) == 0;
}

/// What attributes belong to: an open descriptor, or one that was opened for its place alone (a
/// FIFO is never opened otherwise) and is then called by the name that the system has for it.
class Node {
public:
    explicit Node(int descriptor) : m_descriptor(descriptor) {}
    static Node ofPlace(int descriptor) {
        Node node(descriptor);
        node.m_isPlace = true;
        std::snprintf(node.m_path, sizeof node.m_path, "/proc/self/fd/%d", descriptor);
        return node;
    }
    ssize_t list(char* names, std::size_t size) const {
        return m_isPlace ? listxattr(m_path, names, size) : flistxattr(m_descriptor, names, size);
    }
    ssize_t get(const char* name, char* value, std::size_t size) const {
        return m_isPlace ? getxattr(m_path, name, value, size)
                         : fgetxattr(m_descriptor, name, value, size);
    }
    int set(const char* name, const char* value, std::size_t size) const {
        return m_isPlace ? setxattr(m_path, name, value, size, 0)
                         : fsetxattr(m_descriptor, name, value, size, 0);
    }
    int status(struct stat& status) const { return fstat(m_descriptor, &status); }
    int setMode(mode_t mode) const {
        return m_isPlace ? chmod(m_path, mode) : fchmod(m_descriptor, mode);
    }

private:
    int m_descriptor;
    bool m_isPlace = false;
    char m_path[32] = {};
};

/// Even its owner sets attributes only of what he may write: lends him that right. The mode has to
/// be put right afterwards, which is told by `isLent`. Returns 0 or an errno value.
int setAttribute(const Node& to, const char* name, const char* value, std::size_t size,
                 bool& isLent) {
    if (to.set(name, value, size) == 0) {
        return 0;
    }
    struct stat made {};
    if (errno != EACCES || to.status(made) != 0 || (made.st_mode & S_IWUSR) != 0) {
        return errno;
    }
    if (to.setMode((made.st_mode & 07777) | S_IWUSR) != 0) {
        return errno;
    }
    isLent = true;
    return to.set(name, value, size) == 0 ? 0 : errno;
}

/// Extended attributes, access lists among them. Those that only the system may set are kept where
/// it lets us; any other that cannot be kept is a failure, since a copy without it would lose
/// something.
int copyAttributes(const Node& from, const Node& to, bool& isLent) {
    std::array<char, 1024> few;
    ssize_t size = from.list(few.data(), few.size());
    std::vector<char> many;
    const char* names = few.data();
    while (size < 0 && errno == ERANGE) {
        size = from.list(nullptr, 0);
        if (size >= 0) {
            many.resize(static_cast<std::size_t>(size) + 256);
            names = many.data();
            size = from.list(many.data(), many.size());
        }
    }
    if (size < 0) {
        return errno == ENOTSUP ? 0 : errno;
    }
    std::vector<char> value;
    for (const char* name = names; name < names + size; name += std::strlen(name) + 1) {
        ssize_t length = from.get(name, nullptr, 0);
        if (length >= 0) {
            value.resize(static_cast<std::size_t>(length) + 1);
            length = from.get(name, value.data(), value.size());
        }
        if (length < 0) {
            if (errno == ENODATA || isSystemNamespace(name)) {
                continue;
            }
            return errno;
        }
        const int error =
            setAttribute(to, name, value.data(), static_cast<std::size_t>(length), isLent);
        if (error != 0 && !isSystemNamespace(name)) {
            return error;
        }
    }
    return 0;
}

/// Whether an error of changing the owner says that this owner is not to be had: it is not for the
/// process to set, has no number in its user namespace, or the volume knows no owners.
bool isOwnerRefused(int error) {
    return error == EPERM || error == EINVAL || error == EOVERFLOW || error == ENOSYS ||
           error == EOPNOTSUPP;
}

/// Sets one of the two or both by `change`, as far as the process may. `missed` takes the bits of a
/// mode that lend the rights of who could not be made owner or group.
template <class Change>
int copyOwnerBy(const Change& change, const struct stat& wanted, uid_t owner, gid_t group,
                mode_t& missed) {
    constexpr auto kSameUser = static_cast<uid_t>(-1);
    constexpr auto kSameGroup = static_cast<gid_t>(-1);
    missed = 0;
    if ((wanted.st_uid == owner && wanted.st_gid == group) ||
        change(wanted.st_uid, wanted.st_gid) == 0) {
        return 0;
    }
    if (!isOwnerRefused(errno)) {
        return errno;
    }
    if (wanted.st_uid != owner && change(wanted.st_uid, kSameGroup) != 0) {
        if (!isOwnerRefused(errno)) {
            return errno;
        }
        missed |= S_ISUID;
    }
    if (wanted.st_gid != group && change(kSameUser, wanted.st_gid) != 0) {
        if (!isOwnerRefused(errno)) {
            return errno;
        }
        missed |= S_ISGID;
    }
    return 0;
}

/// The owner, as far as the process may set it: a user's own copy of another's file is the user's.
/// Our choice: the bits of `mode` that lend whoever starts the file its owner's or its group's
/// rights go where it did not get that owner or group, whose rights nobody meant to lend.
int copyOwner(const struct stat& wanted, uid_t owner, gid_t group, int to, mode_t& mode) {
    mode_t missed = 0;
    const int error =
        copyOwnerBy([&](uid_t user, gid_t members) { return fchown(to, user, members); }, wanted,
                    owner, group, missed);
    mode &= ~missed;
    return error;
}

int writeAll(int to, const char* data, std::size_t size, off_t at) {
    while (size > 0) {
        const ssize_t written = pwrite(to, data, size, at);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
        at += written;
    }
    return 0;
}

/// By reading and writing, for what the system cannot copy inside itself. `end` is where to stop,
/// or -1 for the end of the file. `at` is how far it came: less when the file is shorter.
int copyRangeByHand(int from, int to, off_t& at, off_t end) {
    // Nearly all files that come here are empty: a large buffer only for those that are not.
    std::array<char, 1024> few;
    std::unique_ptr<char[]> many;
    while (end < 0 || at < end) {
        char* const buffer = many == nullptr ? few.data() : many.get();
        const std::size_t room = many == nullptr ? few.size() : kBufferSize;
        const std::size_t wanted = end < 0 ? room : std::min<std::size_t>(room, end - at);
        const ssize_t got = pread(from, buffer, wanted, at);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        if (got == 0) {
            return 0;
        }
        const int error = writeAll(to, buffer, static_cast<std::size_t>(got), at);
        if (error != 0) {
            return error;
        }
        at += got;
        if (many == nullptr) {
            many.reset(new char[kBufferSize]);
        }
    }
    return 0;
}

/// From this size on a file is handed to the disk piece by piece while it is copied, so that the
/// disk works meanwhile; and what has been written is dropped from memory, where it would only be
/// in the way. Small files are better left to the one sync at the end, which merges them.
constexpr off_t kPiece = 8L << 20;
constexpr off_t kBehind = 32L << 20;

void handToDisk(int to, off_t at, off_t size) {
    (void)sync_file_range(to, at, size, SYNC_FILE_RANGE_WRITE);
    if (at >= kBehind) {
        (void)sync_file_range(
            to, at - kBehind, kPiece,
            SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
        (void)posix_fadvise(to, at - kBehind, kPiece, POSIX_FADV_DONTNEED);
    }
}

/// `at` is how far it came: less when the file is shorter than it was.
int copyRange(int from, int to, off_t& at, off_t end) {
    const bool isLarge = end - at > kPiece;
    while (at < end) {
        off_t in = at;
        off_t out = at;
        const off_t wanted = isLarge ? std::min(kPiece, end - at) : end - at;
        const ssize_t copied =
            copy_file_range(from, &in, to, &out, static_cast<std::size_t>(wanted), 0);
        if (copied < 0) {
            switch (errno) {
                case EINTR:
                    continue;
                case EXDEV:
                case EINVAL:
                case ENOSYS:
                case EOPNOTSUPP:
                case EPERM:
                case EBADF:
                case EIO:
                    // Another file system, or one that cannot. An error of the disk shows again.
                    return copyRangeByHand(from, to, at, end);
                default:
                    return errno;
            }
        }
        if (copied == 0) {
            // Shorter than it was, or a file system that answers so instead of failing.
            return copyRangeByHand(from, to, at, end);
        }
        if (isLarge) {
            handToDisk(to, at, copied);
        }
        at += copied;
    }
    return 0;
}

/// From this size on a file is asked for its holes in any case: room that is kept for it beyond its
/// end, or that the system needs to find its pieces, counts as its own and hides as much of a hole.
constexpr off_t kAskedForHoles = 1L << 20;

bool hasHoles(int from, const struct stat& status) {
    if (status.st_blocks < (status.st_size + 511) / 512) {
        return true;
    }
    if (status.st_size < kAskedForHoles) {
        return false;
    }
    const off_t hole = lseek(from, 0, SEEK_HOLE);
    return hole >= 0 && hole < status.st_size;
}

int copyContent(int from, int to, const struct stat& status) {
    off_t at = 0;
    if (status.st_size == 0) {
        // Some files of the system claim no size and have content.
        return copyRangeByHand(from, to, at, -1);
    }
    if (!hasHoles(from, status)) {
        return copyRange(from, to, at, status.st_size);
    }
    while (at < status.st_size) {
        const off_t data = lseek(from, at, SEEK_DATA);
        if (data < 0 && errno != ENXIO) {
            // A file system that does not know holes has none.
            return copyRange(from, to, at, status.st_size);
        }
        if (data < 0 || data >= status.st_size) {
            break;
        }
        off_t hole = lseek(from, data, SEEK_HOLE);
        if (hole < 0 || hole > status.st_size) {
            hole = status.st_size;
        }
        at = data;
        const int error = copyRange(from, to, at, hole);
        if (error != 0) {
            return error;
        }
        if (at < hole) {
            // Shorter than it was, or than it claims to be. What is not there is no hole.
            return 0;
        }
    }
    // The hole at the end.
    struct stat now {};
    if (fstat(from, &now) != 0) {
        return errno;
    }
    return ftruncate(to, std::max(at, std::min(now.st_size, status.st_size))) != 0 ? errno : 0;
}

int copyTimes(int to, const struct stat& status) {
    const struct timespec times[2] = {status.st_atim, status.st_mtim};
    return futimens(to, times) != 0 ? errno : 0;
}

/// The bits whose taking away by the mask a mode shows.
constexpr mode_t kRights = 0777;

int copyInto(int from, int to, const struct stat& status, NewFileDefaults& defaults) {
    int error = copyContent(from, to, status);
    mode_t mode = status.st_mode & 07777;
    if (error == 0 && !defaults.isKnown) {
        struct stat made {};
        if (fstat(to, &made) != 0) {
            return errno;
        }
        // A bit that this file did not ask for may be one that the mask takes from another.
        defaults = {true, made.st_uid, made.st_gid, kRights & ~made.st_mode};
    }
    if (error == 0) {
        error = copyOwner(status, defaults.owner, defaults.group, to, mode);
    }
    bool isLent = false;
    if (error == 0) {
        error = copyAttributes(Node(from), Node(to), isLent);
    }
    // After the owner, whose change takes the special bits away.
    if (error == 0 && (isLent || (mode & defaults.mask) != 0 || (mode & ~kRights) != 0) &&
        fchmod(to, mode) != 0) {
        error = errno;
    }
    return error == 0 ? copyTimes(to, status) : error;
}

int copyRegular(Descriptor& from, const struct stat& status, int to, const char* newName,
                NewFileDefaults& defaults) {
    // With no more rights than the source gives: what the mask takes away is put back at the end,
    // what the source does not give is never there.
    Descriptor out(openat(to, newName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                          status.st_mode & kRights));
    if (!out) {
        return errno;
    }
    const int error = copyInto(from.get(), out.get(), status, defaults);
    if (error != 0) {
        (void)unlinkat(to, newName, 0);
    }
    // What a close might tell, the sync of the whole file system before the commit tells, too.
    Descriptor::resetBoth(from, out);
    return error;
}

int copyLink(int from, const char* name, const struct stat& status, int to, const char* newName) {
    std::vector<char> target(static_cast<std::size_t>(std::max<off_t>(status.st_size, 255)) + 1);
    ssize_t length = 0;
    for (;;) {
        length = readlinkat(from, name, target.data(), target.size());
        if (length < 0) {
            return errno;
        }
        if (static_cast<std::size_t>(length) < target.size()) {
            break;
        }
        target.resize(target.size() * 2);
    }
    target[static_cast<std::size_t>(length)] = '\0';
    return symlinkat(target.data(), to, newName) != 0 ? errno : 0;
}

/// A FIFO, a socket or a device is made anew and never opened.
int copySpecial(const struct stat& status, int to, const char* newName) {
    return mknodat(to, newName, status.st_mode, status.st_rdev) != 0 ? errno : 0;
}

/// What a FIFO, a socket or a device keeps of its attributes, above all its access list: the mode
/// alone would give the group what the list gives to others.
int copySpecialAttributes(int from, const char* name, const struct stat& status, int to,
                          const char* newName) {
    constexpr int kPlace = O_PATH | O_NOFOLLOW | O_CLOEXEC;
    const Descriptor source(openat(from, name, kPlace));
    const Descriptor copy(openat(to, newName, kPlace));
    struct stat found {};
    if (!source || !copy || fstat(source.get(), &found) != 0) {
        return errno;
    }
    if (found.st_dev != status.st_dev || found.st_ino != status.st_ino) {
        // Not what it was a moment ago.
        return EBUSY;
    }
    bool isLent = false;
    const int error =
        copyAttributes(Node::ofPlace(source.get()), Node::ofPlace(copy.get()), isLent);
    // Without /proc there is no way to ask, and nearly none has any.
    return error == ENOENT ? 0 : error;
}

/// What a link, a FIFO, a socket or a device keeps besides being there.
int finishUnopened(int from, const char* name, const struct stat& status, int to,
                   const char* newName) {
    mode_t missed = 0;
    int error = copyOwnerBy(
        [&](uid_t user, gid_t members) {
            return fchownat(to, newName, user, members, AT_SYMLINK_NOFOLLOW);
        },
        status, static_cast<uid_t>(-1), static_cast<gid_t>(-1), missed);
    if (error == 0 && !S_ISLNK(status.st_mode)) {
        error = copySpecialAttributes(from, name, status, to, newName);
        // It stands in a directory of ours, so nobody can have put a link in its place.
        if (error == 0 && fchmodat(to, newName, status.st_mode & 07777, 0) != 0) {
            error = errno;
        }
    }
    if (error != 0) {
        return error;
    }
    const struct timespec times[2] = {status.st_atim, status.st_mtim};
    return utimensat(to, newName, times, AT_SYMLINK_NOFOLLOW) != 0 ? errno : 0;
}

}  // namespace

int copyEntry(int from, const char* name, int to, const char* newName, bool isRegular,
              bool followLinks, NewFileDefaults& defaults) {
    struct stat status {};
    if (!isRegular) {
        if (fstatat(from, name, &status, followLinks ? 0 : AT_SYMLINK_NOFOLLOW) != 0) {
            return errno;
        }
        if (S_ISDIR(status.st_mode)) {
            return EISDIR;
        }
        if (!S_ISREG(status.st_mode)) {
            int error = S_ISLNK(status.st_mode) ? copyLink(from, name, status, to, newName)
                                                : copySpecial(status, to, newName);
            if (error != 0) {
                return error;
            }
            error = finishUnopened(from, name, status, to, newName);
            if (error != 0) {
                (void)unlinkat(to, newName, 0);
            }
            return error;
        }
    }
    // Without waiting, should somebody have put a FIFO there since.
    Descriptor in(openat(
        from, name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | (followLinks ? 0 : O_NOFOLLOW)));
    if (!in || fstat(in.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        // Not what it was a moment ago.
        return EBUSY;
    }
    return copyRegular(in, status, to, newName, defaults);
}

int copyDirectoryMetadata(int from, int to) {
    struct stat status {};
    struct stat made {};
    if (fstat(from, &status) != 0 || fstat(to, &made) != 0) {
        return errno;
    }
    // In a directory the bits lend nothing: the group's is inherited by what is made in it.
    const mode_t mode = status.st_mode & 07777;
    mode_t lending = mode;
    int error = copyOwner(status, made.st_uid, made.st_gid, to, lending);
    bool isLent = false;
    if (error == 0) {
        error = copyAttributes(Node(from), Node(to), isLent);
    }
    if (error == 0 && (isLent || (made.st_mode & 07777) != mode) && fchmod(to, mode) != 0) {
        error = errno;
    }
    return error == 0 ? copyTimes(to, status) : error;
}

}  // namespace Tallowmere::platform
