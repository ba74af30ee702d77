#pragma once

#include "kest/platform/transactions/Disk.h"
#include "kest/platform/windows/WindowsDirectory.h"

namespace Tallowmere::platform {

/// Windows through Win32 calls, by full paths of any length, never through a link unless that is
/// said.
///
/// What differs from a disk of Linux, and why it is right all the same:
///
///   - Directories are found by path each time (see WindowsDirectory). A stage is kept in its place
///     by its lock's file: Windows renames no directory that has an open file below it.
///   - There is no exchange of two entries. A replacement takes two renames and the journal.
///   - An entry has a say in its own removal: its access list, who else has it open, its read-only
///     attribute. So each one is asked when a transaction removes it (mayRemove).
class WindowsDisk : public transactions::Disk {
public:
    using DirectoryPtr = transactions::DirectoryPtr;
    using Kind = transactions::Kind;
    using Links = transactions::Links;

    // WindowsReading.cpp
    DWORD normalize(const wchar_t* path, std::wstring& text) override;
    bool isMisread(std::wstring_view name) const override;
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
    DWORD mayRemoveFrom(const DirectoryPtr& directory) override;
    DWORD mayRemove(const DirectoryPtr& parent, const std::wstring& name) override;
    std::wstring spelling(const DirectoryPtr& parent, const std::wstring& name) override;
    DWORD checkSameVolume(const DirectoryPtr& left, const DirectoryPtr& right) override;
    DWORD checkEntry(const DirectoryPtr& parent, const std::wstring& name,
                     const DirectoryPtr& directory) override;

    // WindowsChanging.cpp
    DWORD makeDirectory(const DirectoryPtr& parent, const std::wstring& name) override;
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

    // WindowsLasting.cpp
    DWORD syncVolume(const DirectoryPtr& directory) override;
    DWORD syncDirectory(const DirectoryPtr& directory) override;
    DWORD writeFile(const DirectoryPtr& parent, const std::wstring& name,
                    const std::string& content) override;
    DWORD readFile(const DirectoryPtr& parent, const std::wstring& name,
                   std::string& content) override;

    // WindowsStages.cpp
    DWORD makePrivateDirectory(const DirectoryPtr& parent, const std::wstring& name) override;
    DWORD lock(const DirectoryPtr& directory,
               std::unique_ptr<transactions::DirectoryLock>& lock) override;
    DWORD removeLocked(const DirectoryPtr& parent, const std::wstring& name,
                       std::unique_ptr<transactions::DirectoryLock> lock) override;
    DWORD checkPrivateOfOurs(const DirectoryPtr& directory) override;
    std::wstring randomName() override;
};

/// The directory that a pointer of this disk stands for.
inline WindowsDirectory& windowsDirectory(const transactions::DirectoryPtr& directory) {
    return static_cast<WindowsDirectory&>(*directory);
}

/// The number of an open file on its volume; nothing when it cannot be asked for.
std::optional<std::uint64_t> fileNumber(HANDLE file);
/// Whether two numbers are those of one file: ERROR_FILE_NOT_FOUND when not, ERROR_GEN_FAILURE when
/// one of them could not be asked for. Some volumes, often a server's, answer and have no numbers;
/// there a file is the one that its path leads to.
DWORD checkNumbers(std::optional<std::uint64_t> left, std::optional<std::uint64_t> right);

/// The file of a lock, in the directory that is locked.
inline constexpr wchar_t kLockName[] = L"lock";

}  // namespace Tallowmere::platform
