#include "kest/platform/linux/DirectoryListing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/Names.h"

namespace Tallowmere::platform {
namespace {

using transactions::Kind;
using transactions::Record;

constexpr std::size_t kBufferSize = std::size_t{64} * 1024;

/// The record that the kernel gives; its name is behind it.
struct KernelEntry {
    std::uint64_t inode;
    std::int64_t offset;
    std::uint16_t length;
    std::uint8_t type;
};
constexpr std::size_t kNameOffset = 19;

bool isDots(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

void tell(const char* name, Kind kind, Record& record) {
    names::widen(name, record.name);
    record.kind = kind;
    record.attributes = attributesOf(kind);
    const bool isLink = kind == Kind::FileLink || kind == Kind::DirectoryLink;
    record.reparseTag = isLink ? IO_REPARSE_TAG_SYMLINK : 0;
}

class DirectoryListing : public transactions::Listing {
public:
    explicit DirectoryListing(Purpose purpose) : m_purpose(purpose) {}

    /// Reads the first piece. 0 or an errno value.
    int open(const std::shared_ptr<LinuxDirectory>& directory) {
        m_directory = directory;
        if (directory->isRead) {
            m_own = Descriptor(openat(directory->get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            if (!m_own) {
                return errno;
            }
        } else if (lseek(directory->get(), 0, SEEK_SET) != 0) {
            // To the beginning even where nothing was read: btrfs settles when a directory is
            // opened how far its listing goes, and only a rewind shows what was put into it since.
            // Opened without the right to read it.
            return errno == EBADF ? EACCES : errno;
        }
        directory->isRead = true;
        thread_local std::unique_ptr<char[]> t_piece;
        if (t_piece == nullptr) {
            t_piece = std::make_unique<char[]>(kBufferSize);
        }
        ssize_t got = read(t_piece.get(), kBufferSize);
        if (got < 0) {
            return errno;
        }
        m_piece.assign(t_piece.get(), t_piece.get() + got);
        // Asked once more, because only that tells whether it was all. A piece that follows is kept
        // behind the first.
        while (got > 0 && m_piece.size() < kBufferSize) {
            got = read(t_piece.get(), kBufferSize);
            if (got < 0) {
                return errno;
            }
            m_piece.insert(m_piece.end(), t_piece.get(), t_piece.get() + got);
        }
        m_isAll = got == 0;
        m_isWhole = m_isAll;
        resolveLinks();
        if (m_isAll && m_purpose == Purpose::Reading) {
            m_directory.reset();
            m_own.reset();
        }
        return 0;
    }

    DWORD next(Record& record) override {
        for (;;) {
            if (m_at == m_piece.size()) {
                if (m_isAll) {
                    return ERROR_NO_MORE_FILES;
                }
                const int error = more();
                if (error != 0) {
                    return errorFromErrno(error);
                }
                if (m_piece.empty()) {
                    return ERROR_NO_MORE_FILES;
                }
            }
            KernelEntry entry{};
            std::memcpy(&entry, m_piece.data() + m_at, kNameOffset);
            const char* const name = m_piece.data() + m_at + kNameOffset;
            m_at += entry.length;
            if (isDots(name)) {
                continue;
            }
            const Kind kind = static_cast<Kind>(entry.type);
            if (m_purpose == Purpose::Removal && kind != Kind::Directory &&
                unlinkat(descriptor(), name, 0) == 0) {
                continue;
            }
            tell(name, kind, record);
            return ERROR_SUCCESS;
        }
    }

    bool tellAll(std::uint64_t& directory, std::string& entries) const override {
        if (!m_isWhole) {
            return false;
        }
        entries.clear();
        bool isNumbered = false;
        for (std::size_t at = 0; at < m_piece.size();) {
            KernelEntry entry{};
            std::memcpy(&entry, m_piece.data() + at, kNameOffset);
            const char* const name = m_piece.data() + at + kNameOffset;
            at += entry.length;
            if (name[0] == '.' && name[1] == '\0') {
                directory = entry.inode;
                isNumbered = true;
            } else if (!isDots(name)) {
                // The kind stands right before the name.
                entries.append(name - 1, 1 + std::strlen(name) + 1);
            }
        }
        return isNumbered;
    }

private:
    ssize_t read(char* buffer, std::size_t size) {
        return syscall(SYS_getdents64, descriptor(), buffer, size);
    }

    int descriptor() const { return m_own ? m_own.get() : m_directory->get(); }

    int more() {
        m_at = 0;
        m_isWhole = false;
        m_piece.resize(kBufferSize);
        const ssize_t got = read(m_piece.data(), m_piece.size());
        const int error = got < 0 ? errno : 0;
        m_piece.resize(static_cast<std::size_t>(got < 0 ? 0 : got));
        if (error != 0) {
            return error;
        }
        m_isAll = got == 0;
        resolveLinks();
        return 0;
    }

    /// Puts our kind in place of the kernel's type in each record of the piece, while the directory
    /// is still at hand: a link's target and what the file system did not say have to be asked for.
    void resolveLinks() {
        const int directory = descriptor();
        for (std::size_t at = 0; at < m_piece.size();) {
            KernelEntry entry{};
            std::memcpy(&entry, m_piece.data() + at, kNameOffset);
            const char* const name = m_piece.data() + at + kNameOffset;
            unsigned mode = DTTOIF(entry.type);
            if (entry.type == DT_UNKNOWN) {
                struct stat status {};
                // Gone meanwhile: whoever wants to copy it will be told.
                mode = fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 ? status.st_mode
                                                                                   : S_IFREG;
            }
            // Where a link leads does not matter to one that is to go.
            const Kind kind = m_purpose == Purpose::Removal && S_ISLNK(mode)
                                  ? Kind::FileLink
                                  : kindFromMode(mode, directory, name);
            m_piece[at + kNameOffset - 1] = static_cast<char>(kind);
            at += entry.length;
        }
    }

    Purpose m_purpose;
    std::shared_ptr<LinuxDirectory> m_directory;
    Descriptor m_own;
    std::vector<char> m_piece;
    std::size_t m_at = 0;
    bool m_isAll = false;
    /// Whether the piece is the whole directory.
    bool m_isWhole = false;
};

/// Removes what a listing told before: for each entry its kind and its name, which ends with a
/// zero.
class ListingAsBefore : public transactions::Listing {
public:
    ListingAsBefore(std::shared_ptr<LinuxDirectory> directory, std::string entries)
        : m_directory(std::move(directory)), m_entries(std::move(entries)) {}

    DWORD next(Record& record) override {
        while (m_at < m_entries.size()) {
            const Kind kind = static_cast<Kind>(m_entries[m_at]);
            const char* const name = m_entries.c_str() + m_at + 1;
            m_at += 2 + std::strlen(name);
            // What is gone needs no removal any more.
            if (kind != Kind::Directory &&
                (unlinkat(m_directory->get(), name, 0) == 0 || errno == ENOENT)) {
                continue;
            }
            tell(name, kind, record);
            return ERROR_SUCCESS;
        }
        return ERROR_NO_MORE_FILES;
    }

private:
    std::shared_ptr<LinuxDirectory> m_directory;
    std::string m_entries;
    std::size_t m_at = 0;
};

}  // namespace

DWORD listDirectory(const std::shared_ptr<LinuxDirectory>& directory, Purpose purpose,
                    std::unique_ptr<transactions::Listing>& listing) {
    auto made = std::make_unique<DirectoryListing>(purpose);
    const int error = made->open(directory);
    if (error != 0) {
        return errorFromErrno(error);
    }
    listing = std::move(made);
    return ERROR_SUCCESS;
}

std::unique_ptr<transactions::Listing> listAsBefore(
    const std::shared_ptr<LinuxDirectory>& directory, std::string entries) {
    return std::make_unique<ListingAsBefore>(directory, std::move(entries));
}

Kind kindFromMode(unsigned mode, int parent, const char* name) {
    switch (mode & S_IFMT) {
        case S_IFDIR:
            return Kind::Directory;
        case S_IFREG:
            return Kind::File;
        case S_IFLNK: {
            struct stat target {};
            const bool isDirectory =
                fstatat(parent, name, &target, 0) == 0 && S_ISDIR(target.st_mode);
            return isDirectory ? Kind::DirectoryLink : Kind::FileLink;
        }
        default:
            return Kind::Special;
    }
}

DWORD attributesOf(Kind kind) {
    switch (kind) {
        case Kind::Directory:
            return FILE_ATTRIBUTE_DIRECTORY;
        case Kind::DirectoryLink:
            return FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        case Kind::FileLink:
            return FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT;
        default:
            return FILE_ATTRIBUTE_ARCHIVE;
    }
}

}  // namespace Tallowmere::platform
