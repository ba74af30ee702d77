#pragma once

#include <cstdint>
#include <optional>

#include "kest/platform/linux/Descriptor.h"
#include "kest/platform/linux/FileCopy.h"
#include "kest/platform/transactions/Disk.h"

namespace Tallowmere::platform {

/// An open directory of a Linux disk.
class LinuxDirectory : public transactions::Directory {
public:
    explicit LinuxDirectory(Descriptor descriptor) : m_descriptor(std::move(descriptor)) {}
    int get() const { return m_descriptor.get(); }
    /// Whether a listing has already read from the descriptor, which keeps its place there.
    bool isRead = false;
    NewFileDefaults defaults;
    /// Which mount it is on; asked for once, and taken over by directories that are opened below it
    /// without leaving the mount.
    struct Mount {
        std::uint64_t device = 0;
        std::uint64_t mount = 0;
        /// Whether all of the mount is one device: a volume of btrfs may have others in it.
        bool isOneDevice = false;
        /// Whether directories are opened without the access being noted in them.
        bool hidesAccess = true;
    };
    std::optional<Mount> mount;
    /// Who may take entries out of it that are not his own: asked for once.
    struct Guard {
        /// Nobody, not even its owner.
        bool isAppendOnly = false;
        /// Only its owner.
        bool isSticky = false;
        std::uint32_t owner = 0;
    };
    std::optional<Guard> guard;

private:
    Descriptor m_descriptor;
};

/// Linux through its own calls, always relative to open directories and never through a link unless
/// that is said.
class LinuxDisk : public transactions::Disk {
public:
    using DirectoryPtr = transactions::DirectoryPtr;
    using Kind = transactions::Kind;
    using Links = transactions::Links;

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

    DWORD checkSameFile(const DirectoryPtr& parent, const std::wstring& name,
                        const DirectoryPtr& otherParent, const std::wstring& otherName) override;

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
};

}  // namespace Tallowmere::platform
