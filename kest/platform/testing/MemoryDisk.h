#pragma once

#include <memory>
#include <string>

#include "kest/platform/testing/MemoryClock.h"
#include "kest/platform/testing/MemoryStore.h"
#include "kest/platform/transactions/Disk.h"

namespace Tallowmere::platform::testing {

/// What one process sees of the disks of a machine in memory: the Disk interface, with a clock that
/// counts each step, and can stop the process at one or let one fail. Locks and listings of the
/// process end with it.
///
/// What is modelled beside names and contents: letter case, links and junctions, mount points,
/// private directories and their owner, directories that may not be changed, files that may not be
/// read, a capacity, directories that stay the same whatever happens to their names, and what a
/// power cut may lose (see MemoryStore).
class MemoryDisk : public transactions::Disk {
public:
    using DirectoryPtr = transactions::DirectoryPtr;
    using Kind = transactions::Kind;
    using Links = transactions::Links;

    /// User 0 may look into everything.
    explicit MemoryDisk(MemoryStore& store, int user = 1);
    ~MemoryDisk() override;
    MemoryDisk(const MemoryDisk&) = delete;
    MemoryDisk& operator=(const MemoryDisk&) = delete;

    MemoryClock clock;

    MemoryStore& store() { return m_store; }
    int process() const { return m_process; }
    /// One step of the clock.
    DWORD step(Primitive primitive);

    DWORD normalize(const wchar_t* path, std::wstring& text) override;
    bool isPlainName(std::wstring_view name) const override;
    bool isRoot(std::wstring_view text) const override;
    std::wstring fold(const std::wstring& name) const override;

    DWORD openDirectory(const std::wstring& text, DirectoryPtr& directory,
                        std::wstring& canonical) override;
    DWORD openBelow(const DirectoryPtr& base, const std::wstring& relative, Links links,
                    DirectoryPtr& directory) override;
    DWORD describe(const DirectoryPtr& parent, const std::wstring& name, Kind& kind,
                   WIN32_FILE_ATTRIBUTE_DATA* data) override;
    DWORD list(const DirectoryPtr& directory,
               std::unique_ptr<transactions::Listing>& listing) override;
    DWORD listForRemoval(const DirectoryPtr& directory, transactions::ListedBefore& before,
                         std::unique_ptr<transactions::Listing>& listing) override;
    DWORD mayRemoveFrom(const DirectoryPtr& directory) override;
    DWORD mayRemove(const DirectoryPtr& parent, const std::wstring& name) override;
    std::wstring spelling(const DirectoryPtr& parent, const std::wstring& name) override;
    DWORD checkSameVolume(const DirectoryPtr& left, const DirectoryPtr& right) override;
    DWORD checkEntry(const DirectoryPtr& parent, const std::wstring& name,
                     const DirectoryPtr& directory) override;

    DWORD makeDirectory(const DirectoryPtr& parent, const std::wstring& name) override;
    DWORD makePrivateDirectory(const DirectoryPtr& parent, const std::wstring& name) override;
    DWORD copyFile(const DirectoryPtr& sourceParent, const std::wstring& sourceName,
                   const DirectoryPtr& parent, const std::wstring& name, Links links,
                   const Kind* known) override;
    DWORD makeLink(const DirectoryPtr& parent, const std::wstring& name, const wchar_t* target,
                   bool isDirectory) override;
    DWORD adopt(const DirectoryPtr& source, const DirectoryPtr& directory) override;
    DWORD removeFile(const DirectoryPtr& parent, const std::wstring& name) override;
    DWORD removeDirectory(const DirectoryPtr& parent, const std::wstring& name) override;
    DWORD rename(const DirectoryPtr& from, const std::wstring& fromName, const DirectoryPtr& to,
                 const std::wstring& toName) override;
    DWORD exchange(const DirectoryPtr& left, const std::wstring& leftName,
                   const DirectoryPtr& right, const std::wstring& rightName) override;

    DWORD syncVolume(const DirectoryPtr& directory) override;
    DWORD syncDirectory(const DirectoryPtr& directory) override;
    DWORD writeFile(const DirectoryPtr& parent, const std::wstring& name,
                    const std::string& content) override;
    DWORD readFile(const DirectoryPtr& parent, const std::wstring& name,
                   std::string& content) override;

    DWORD lock(const DirectoryPtr& directory,
               std::unique_ptr<transactions::DirectoryLock>& lock) override;
    DWORD checkPrivateOfOurs(const DirectoryPtr& directory) override;
    std::wstring randomName() override;

private:
    /// An entry and the directory in which it is.
    struct Entry {
        MemoryPosition parent;
        MemoryPosition position;
        const MemoryNode* node = nullptr;
    };

    DWORD openAt(const MemoryPosition& position, DirectoryPtr& directory);
    bool maySearch(const MemoryNode& directory) const;
    DWORD findEntry(const DirectoryPtr& parent, const std::wstring& name, Entry& entry) const;
    /// Whether the entries of a directory may change.
    DWORD mayChange(const MemoryPosition& directory) const;
    /// Whether an entry may be renamed or removed.
    DWORD mayMove(const Entry& entry) const;
    DWORD make(const DirectoryPtr& parent, const std::wstring& name, MemoryNode node, NodeId& made);
    DWORD fill(const MemoryPosition& parent, NodeId file, const std::string& content);
    DWORD removeEntry(const Entry& entry);

    MemoryStore& m_store;
    int m_user;
    int m_process;
};

}  // namespace Tallowmere::platform::testing
