#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kest/platform/Win32.h"
#include "kest/platform/transactions/ListedBefore.h"

/// What the transaction manager needs of a disk, and nothing more: three implementations, one for
/// each system and one in memory for tests.
///
/// Every operation answers with a Windows error code, ERROR_SUCCESS when it was done, and leaves
/// the thread's last error alone. Names are single components in the library's wide form; texts are
/// paths in normal form (see normalize). Nothing but what is said is changed, and nothing tried
/// again unless another program may be in the way for a moment only.
namespace Tallowmere::platform::transactions {

enum class Kind {
    File,
    Directory,
    FileLink,       ///< a symbolic link that is not known to lead to a directory
    DirectoryLink,  ///< a symbolic link or junction that leads to a directory
    Special,        ///< what has no content to read: a FIFO, a socket, a device
};

/// An open directory. It stays the same directory whatever happens to its name.
class Directory {
public:
    virtual ~Directory() = default;
};
using DirectoryPtr = std::shared_ptr<Directory>;

/// One entry of a listing.
struct Record {
    std::wstring name;
    Kind kind = Kind::File;
    DWORD attributes = 0;
    DWORD reparseTag = 0;
};

/// The entries of a directory one after the other, "." and ".." left out.
class Listing {
public:
    virtual ~Listing() = default;
    /// ERROR_NO_MORE_FILES after the last one.
    virtual DWORD next(Record& record) = 0;
    /// All that was listed, in a form of the disk's own, and the number by which it will know the
    /// directory again. False when that is not at hand; a disk need not keep it.
    virtual bool tellAll(std::uint64_t& directory, std::string& entries) const {
        (void)directory;
        (void)entries;
        return false;
    }
};

/// Held until it is destroyed or its process ends.
class DirectoryLock {
public:
    virtual ~DirectoryLock() = default;
};

enum class Links { Follow, Refuse };

class Disk {
public:
    virtual ~Disk() = default;

    // Texts.

    /// The normal form of a caller's path: a leading "\\?\" understood once and dropped, "/"
    /// between components, none doubled or at the end, no "." and no "..". Touches the disk only
    /// for "..".
    virtual DWORD normalize(const wchar_t* path, std::wstring& text) = 0;
    /// Whether a name as the last component of a path stays as it is in normal form. False when
    /// that takes another look.
    virtual bool isPlainName(std::wstring_view name) const {
        (void)name;
        return false;
    }
    /// Whether a name that the disk holds may be read as another one, or as none, at the end of a
    /// caller's path.
    virtual bool isMisread(std::wstring_view name) const {
        (void)name;
        return false;
    }
    /// Whether a text in normal form is a root, which has no parent.
    virtual bool isRoot(std::wstring_view text) const = 0;
    /// The form of a name under which the disk tells names apart.
    virtual std::wstring fold(const std::wstring& name) const = 0;

    // Reading.

    /// Opens the directory at a text, links followed; `canonical` is where it really stands.
    virtual DWORD openDirectory(const std::wstring& text, DirectoryPtr& directory,
                                std::wstring& canonical) = 0;
    /// Opens a directory below another: `relative` is one name or several with "/" between. With
    /// Links::Refuse a link as the last name is ERROR_CANT_RESOLVE_FILENAME.
    virtual DWORD openBelow(const DirectoryPtr& base, const std::wstring& relative, Links links,
                            DirectoryPtr& directory) = 0;
    /// A link is described itself, not what it leads to.
    virtual DWORD describe(const DirectoryPtr& parent, const std::wstring& name, Kind& kind,
                           WIN32_FILE_ATTRIBUTE_DATA* data) = 0;
    virtual DWORD list(const DirectoryPtr& directory, std::unique_ptr<Listing>& listing) = 0;
    /// The same for a directory whose tree is to go: entries that are no directories may be removed
    /// as they come, and are then not told. What an earlier listing told may be taken from `before`
    /// in place of another look; what came to the directory since is then missing, and what went is
    /// still there.
    virtual DWORD listForRemoval(const DirectoryPtr& directory, ListedBefore& before,
                                 std::unique_ptr<Listing>& listing) {
        (void)before;
        return list(directory, listing);
    }
    /// Whether entries may be taken out of the directory: ERROR_ACCESS_DENIED when not.
    virtual DWORD mayRemoveFrom(const DirectoryPtr& directory) = 0;
    /// Whether this one entry may be removed, for a disk whose entries have a say in it themselves.
    /// What could not be destroyed after a commit is refused before it.
    virtual DWORD mayRemove(const DirectoryPtr& parent, const std::wstring& name) {
        (void)parent;
        (void)name;
        return ERROR_SUCCESS;
    }
    /// The name of an existing entry as the disk spells it, for a disk that finds a name in any
    /// case. What is not there, or cannot be asked for, is answered as it was given.
    virtual std::wstring spelling(const DirectoryPtr& parent, const std::wstring& name) {
        (void)parent;
        return name;
    }
    /// Whether two directories are on one volume, within which an entry can be renamed from one
    /// into the other: ERROR_NOT_SAME_DEVICE when not. Any other error tells neither.
    virtual DWORD checkSameVolume(const DirectoryPtr& left, const DirectoryPtr& right) = 0;
    /// Whether `name` in `parent` still is that very directory: ERROR_FILE_NOT_FOUND when not. Any
    /// other error tells neither.
    virtual DWORD checkEntry(const DirectoryPtr& parent, const std::wstring& name,
                             const DirectoryPtr& directory) = 0;

    /// Whether two names are those of one and the same entry, which is no directory:
    /// ERROR_FILE_NOT_FOUND when not, or when one of them is not there. For a disk on which a power
    /// cut can leave an entry that was being renamed under both names.
    virtual DWORD checkSameFile(const DirectoryPtr& parent, const std::wstring& name,
                                const DirectoryPtr& otherParent, const std::wstring& otherName) {
        (void)parent;
        (void)name;
        (void)otherParent;
        (void)otherName;
        return ERROR_FILE_NOT_FOUND;
    }
    /// Whether two directories are reached in one way, so that their paths tell how they stand to
    /// each other. On a disk that can mount a directory in a second place two paths may lead to it.
    virtual bool isSameMount(const DirectoryPtr& left, const DirectoryPtr& right) {
        (void)left;
        (void)right;
        return true;
    }
    /// Where a directory stands on its volume, whichever way led to it, the volume's name first.
    /// Empty when that cannot be told.
    virtual std::wstring placeOnVolume(const DirectoryPtr& directory) {
        (void)directory;
        return std::wstring();
    }

    // Changing. What is made must not exist yet: ERROR_ALREADY_EXISTS.

    virtual DWORD makeDirectory(const DirectoryPtr& parent, const std::wstring& name) = 0;
    /// A directory that no other user can look into or put anything into.
    virtual DWORD makePrivateDirectory(const DirectoryPtr& parent, const std::wstring& name) = 0;
    /// Copies anything that is not a directory, with all that the system keeps about a file. A link
    /// is copied as a link, or with Links::Follow as what it leads to. `known` is what a listing
    /// told about the source, or null. On failure nothing is left.
    virtual DWORD copyFile(const DirectoryPtr& sourceParent, const std::wstring& sourceName,
                           const DirectoryPtr& parent, const std::wstring& name, Links links,
                           const Kind* known) = 0;
    virtual DWORD makeLink(const DirectoryPtr& parent, const std::wstring& name,
                           const wchar_t* target, bool isDirectory) = 0;
    /// Gives `directory`, which was made empty, what the system keeps about `source`: owner, mode,
    /// times and the like.
    virtual DWORD adopt(const DirectoryPtr& source, const DirectoryPtr& directory) = 0;
    /// Removes anything that is not a directory, be it read-only or not: whether it may go was
    /// asked before (see mayRemove).
    virtual DWORD removeFile(const DirectoryPtr& parent, const std::wstring& name) = 0;
    /// Removes an empty directory or a link to one.
    virtual DWORD removeDirectory(const DirectoryPtr& parent, const std::wstring& name) = 0;
    /// Never replaces: ERROR_ALREADY_EXISTS.
    virtual DWORD rename(const DirectoryPtr& from, const std::wstring& fromName,
                         const DirectoryPtr& to, const std::wstring& toName) = 0;
    /// Exchanges two entries in one step that no reader can see half-way. ERROR_NOT_SUPPORTED where
    /// the disk cannot.
    virtual DWORD exchange(const DirectoryPtr& left, const std::wstring& leftName,
                           const DirectoryPtr& right, const std::wstring& rightName) = 0;

    // Lasting.

    /// All that was written below the directory survives a power cut; what else was written to its
    /// volume does so, too, where that is the cheaper way.
    virtual DWORD syncVolume(const DirectoryPtr& directory) = 0;
    /// The directory's entries survive a power cut.
    virtual DWORD syncDirectory(const DirectoryPtr& directory) = 0;
    /// Makes a file with that content, which survives a power cut once this has answered.
    virtual DWORD writeFile(const DirectoryPtr& parent, const std::wstring& name,
                            const std::string& content) = 0;
    virtual DWORD readFile(const DirectoryPtr& parent, const std::wstring& name,
                           std::string& content) = 0;

    // Stages.

    /// ERROR_LOCK_VIOLATION while another owner holds it. What a lock may take up in the directory
    /// is not listed through `directory` while it is held.
    virtual DWORD lock(const DirectoryPtr& directory, std::unique_ptr<DirectoryLock>& lock) = 0;
    /// Removes an empty directory and gives back the lock that is held on it, in the order that the
    /// disk needs.
    virtual DWORD removeLocked(const DirectoryPtr& parent, const std::wstring& name,
                               std::unique_ptr<DirectoryLock> lock) {
        // Only at the end, so that nobody comes near meanwhile.
        const DWORD error = removeDirectory(parent, name);
        lock.reset();
        return error;
    }
    /// Whether the directory is one that makePrivateDirectory made for this user: nobody else can
    /// have planted it or changed what is in it. ERROR_ACCESS_DENIED when not; any other error
    /// tells neither, but that it is no longer there.
    virtual DWORD checkPrivateOfOurs(const DirectoryPtr& directory) = 0;
    /// 32 hexadecimal digits that nobody can guess.
    virtual std::wstring randomName() = 0;
};

/// The disk of this system.
Disk& systemDisk();

}  // namespace Tallowmere::platform::transactions
