#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kest/platform/testing/MemoryImage.h"

namespace Tallowmere::platform::testing {

/// What kind of disks a machine in memory has.
struct MemoryOptions {
    /// "C:" and "D:" are roots and links say themselves whether they lead to a directory; else "/"
    /// is the only root and a link is what it leads to.
    bool hasDrives = false;
    bool ignoresCase = false;
    /// Whether two entries can be exchanged in one step.
    bool canExchange = true;
    /// Whether nobody else can look into a private directory.
    bool keepsPrivate = true;
    /// Whether a directory cannot be moved while one in it is being listed.
    bool listingsPin = false;
    /// Whether syncVolume makes durable no more than what is below the directory.
    bool syncsBelow = false;
    /// Whether what is told to be durable is. A disk that lies is there to see that tests notice.
    bool syncs = true;
    /// Whether the disk does not know that a volume ignores case, as Linux knows nothing of a FAT
    /// volume's rules: an entry is found in any case, but two names are not told for the same.
    bool foldsUnknown = false;

    static MemoryOptions linux() { return {}; }
    static MemoryOptions windows() { return {true, true, false, true, true, true, true}; }
};

/// A directory or another entry, as long as it exists.
struct MemoryPosition {
    int volume = 0;
    NodeId node = 0;
    auto operator<=>(const MemoryPosition&) const = default;
};

/// What a test needs to know of a change that a power cut may lose.
struct MemoryLoss {
    /// For each of the changes that are not durable, in order: whether it survives.
    std::vector<bool> survives;
    /// Whether files whose content is lost hold something else instead of nothing.
    bool spoils = false;
};

/// The disks of a machine in memory, shared by the processes that work on them (see MemoryDisk). A
/// copy is a machine of its own in the same state.
///
/// What may be lost in a power cut: each volume keeps the image that surely survives and the log of
/// all changes since. syncVolume makes all of the log durable, syncDirectory those changes that
/// touch the directory. After the cut there is the sure image with the durable changes and any
/// choice of the others upon it (see losses); only what one call of the disk does in one step is
/// never torn. That is weaker than what any journaling file system guarantees.
class MemoryStore {
public:
    explicit MemoryStore(const MemoryOptions& options);

    const MemoryOptions& options() const { return m_options; }

    // Furnishing; what is made here is durable. Paths are in normal form and must fit.

    /// Another volume at an existing empty directory, or as another drive ("D:").
    void addVolume(const std::wstring& at);
    void makeDirectory(const std::wstring& path);
    void write(const std::wstring& path, const std::string& content);
    void makeLink(const std::wstring& path, const std::wstring& target, bool isDirectory,
                  bool isJunction = false);
    void setKeeps(const std::wstring& path, const MemoryKeeps& keeps);
    void setOwner(const std::wstring& path, int owner);
    void remove(const std::wstring& path);
    void move(const std::wstring& from, const std::wstring& to);
    /// How large the volume may grow at most, see MemoryImage::size.
    void setCapacity(int volume, std::size_t capacity);

    // Looking.

    bool exists(const std::wstring& path) const;
    /// All that is below a directory, by path with "/": "dir", "file CONTENT" or "link TARGET",
    /// with what is kept behind it. Empty when there is nothing.
    std::map<std::string, std::string> snapshot(const std::wstring& top) const;
    /// "/", or the drives.
    std::vector<std::wstring> roots() const;
    /// For a failure's text: all that is on all volumes, and what is not durable yet.
    std::string state() const;
    /// The same for equal states.
    std::uint64_t fingerprint() const;
    std::size_t size(int volume) const { return m_volumes[volume].now.size(); }

    // The end.

    /// The changes that a power cut now may lose.
    std::vector<const MemoryChange*> unsynced() const;
    void cutPower(const MemoryLoss& loss);
    /// What a power cut leaves on each volume.
    std::vector<MemoryImage> leftBy(const MemoryLoss& loss) const;
    /// The fingerprint that the machine has when no more than that is left (see cutPowerTo).
    static std::uint64_t fingerprintOf(const std::vector<MemoryImage>& left);
    void cutPowerTo(std::vector<MemoryImage> left);
    /// All processes end, as when they are killed: the disks stay as they are.
    void endProcesses();

    // For MemoryDisk.

    struct Volume {
        explicit Volume(bool ignoresCase)
            : now(ignoresCase), sure(std::make_shared<MemoryImage>(ignoresCase)) {}
        struct Logged {
            std::shared_ptr<const MemoryChange> change;
            bool lasts = false;
            std::uint64_t fingerprint = 0;
        };
        MemoryImage now;
        std::shared_ptr<const MemoryImage> sure;
        std::vector<Logged> log;
        std::size_t capacity = SIZE_MAX;
        NodeId nextNode = MemoryImage::kRoot + 1;
        /// Where its root stands: a directory of another volume, or a drive.
        MemoryPosition mountedAt;
        std::wstring drive;
    };

    Volume& volume(const MemoryPosition& position) { return m_volumes[position.volume]; }
    const MemoryNode* find(const MemoryPosition& position) const;
    /// Carries out a change and logs it.
    void change(int volume, MemoryChange change);
    void syncVolume(int volume);
    void syncBelow(const MemoryPosition& directory);
    void syncDirectory(const MemoryPosition& directory);
    /// The content of a file; its name is a matter of its directory.
    void syncFile(const MemoryPosition& file);
    /// The root that a text begins with; `rest` is what follows it.
    DWORD root(const std::wstring& text, MemoryPosition& position, std::wstring& rest) const;
    /// What `relative` leads to from a directory; links are followed, the last one only with
    /// Links::Follow.
    DWORD resolve(MemoryPosition from, const std::wstring& relative, transactions::Links last,
                  MemoryPosition& position) const;
    /// The volume that is mounted on a directory, or -1.
    int mountedOn(const MemoryPosition& directory) const;
    std::wstring textOf(const MemoryPosition& position) const;
    transactions::Kind kindOf(const MemoryPosition& position) const;
    std::wstring nextRandomName();

    /// By directory: the process that holds the lock, and a number of its own for each lock.
    std::map<MemoryPosition, std::pair<int, std::uint64_t>> locks;
    /// Directories that are being listed, by process.
    std::multimap<int, MemoryPosition> pins;
    int processes = 0;
    std::uint64_t nextLock = 1;

private:
    DWORD resolveFor(MemoryPosition from, const std::wstring& relative, transactions::Links last,
                     int links, MemoryPosition& position) const;
    MemoryPosition at(const std::wstring& path, transactions::Links last) const;
    MemoryPosition parentOf(const std::wstring& path, std::wstring& name) const;
    void make(const std::wstring& path, MemoryNode node);

    MemoryOptions m_options;
    std::vector<Volume> m_volumes;
    std::uint64_t m_random = 0;
};

}  // namespace Tallowmere::platform::testing
