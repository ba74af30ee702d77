#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "kest/platform/transactions/Disk.h"

namespace Tallowmere::platform::testing {

/// A disk in front of another one, for tests that want to know of each change before it is made, to
/// fail it, or to have it be the last thing that happens: once stopped, the disk does nothing any
/// more and answers each call with an error, as if the process had ended. Locks are given back.
class WatchedDisk : public transactions::Disk {
public:
    using DirectoryPtr = transactions::DirectoryPtr;
    using Kind = transactions::Kind;
    using Links = transactions::Links;

    /// Asked before each change, with the name of the operation: ERROR_SUCCESS lets it be made.
    using Watch = std::function<DWORD(const char* operation)>;

    WatchedDisk(transactions::Disk& disk, Watch watch) : m_disk(disk), m_watch(std::move(watch)) {}

    void stop() { m_isStopped = true; }
    bool isStopped() const { return m_isStopped; }
    /// Whether syncs are made. Without them a test is faster, and whatever does not survive a power
    /// cut is no part of it.
    void setSyncing(bool isSyncing) { m_isSyncing = isSyncing; }

    DWORD normalize(const wchar_t* path, std::wstring& text) override {
        return m_disk.normalize(path, text);
    }
    bool isRoot(std::wstring_view text) const override { return m_disk.isRoot(text); }
    std::wstring fold(const std::wstring& name) const override { return m_disk.fold(name); }

    DWORD openDirectory(const std::wstring& text, DirectoryPtr& directory,
                        std::wstring& canonical) override {
        return read([&] { return m_disk.openDirectory(text, directory, canonical); });
    }
    DWORD openBelow(const DirectoryPtr& base, const std::wstring& relative, Links links,
                    DirectoryPtr& directory) override {
        return read([&] { return m_disk.openBelow(base, relative, links, directory); });
    }
    DWORD describe(const DirectoryPtr& parent, const std::wstring& name, Kind& kind,
                   WIN32_FILE_ATTRIBUTE_DATA* data) override {
        return read([&] { return m_disk.describe(parent, name, kind, data); });
    }
    DWORD list(const DirectoryPtr& directory,
               std::unique_ptr<transactions::Listing>& listing) override {
        return read([&] { return m_disk.list(directory, listing); });
    }
    DWORD mayRemoveFrom(const DirectoryPtr& directory) override {
        return read([&] { return m_disk.mayRemoveFrom(directory); });
    }
    DWORD mayRemove(const DirectoryPtr& parent, const std::wstring& name) override {
        return read([&] { return m_disk.mayRemove(parent, name); });
    }
    std::wstring spelling(const DirectoryPtr& parent, const std::wstring& name) override {
        return m_disk.spelling(parent, name);
    }
    DWORD checkSameVolume(const DirectoryPtr& left, const DirectoryPtr& right) override {
        return read([&] { return m_disk.checkSameVolume(left, right); });
    }
    DWORD checkEntry(const DirectoryPtr& parent, const std::wstring& name,
                     const DirectoryPtr& directory) override {
        return read([&] { return m_disk.checkEntry(parent, name, directory); });
    }

    DWORD makeDirectory(const DirectoryPtr& parent, const std::wstring& name) override {
        return change("makeDirectory", [&] { return m_disk.makeDirectory(parent, name); });
    }
    DWORD makePrivateDirectory(const DirectoryPtr& parent, const std::wstring& name) override {
        return change("makePrivateDirectory",
                      [&] { return m_disk.makePrivateDirectory(parent, name); });
    }
    DWORD copyFile(const DirectoryPtr& sourceParent, const std::wstring& sourceName,
                   const DirectoryPtr& parent, const std::wstring& name, Links links,
                   const Kind* known) override {
        return change("copyFile", [&] {
            return m_disk.copyFile(sourceParent, sourceName, parent, name, links, known);
        });
    }
    DWORD makeLink(const DirectoryPtr& parent, const std::wstring& name, const wchar_t* target,
                   bool isDirectory) override {
        return change("makeLink",
                      [&] { return m_disk.makeLink(parent, name, target, isDirectory); });
    }
    DWORD adopt(const DirectoryPtr& source, const DirectoryPtr& directory) override {
        return change("adopt", [&] { return m_disk.adopt(source, directory); });
    }
    DWORD removeFile(const DirectoryPtr& parent, const std::wstring& name) override {
        return change("removeFile", [&] { return m_disk.removeFile(parent, name); });
    }
    DWORD removeDirectory(const DirectoryPtr& parent, const std::wstring& name) override {
        return change("removeDirectory", [&] { return m_disk.removeDirectory(parent, name); });
    }
    DWORD rename(const DirectoryPtr& from, const std::wstring& fromName, const DirectoryPtr& to,
                 const std::wstring& toName) override {
        return change("rename", [&] { return m_disk.rename(from, fromName, to, toName); });
    }
    DWORD exchange(const DirectoryPtr& left, const std::wstring& leftName,
                   const DirectoryPtr& right, const std::wstring& rightName) override {
        return change("exchange",
                      [&] { return m_disk.exchange(left, leftName, right, rightName); });
    }

    DWORD syncVolume(const DirectoryPtr& directory) override {
        return change("syncVolume",
                      [&] { return m_isSyncing ? m_disk.syncVolume(directory) : ERROR_SUCCESS; });
    }
    DWORD syncDirectory(const DirectoryPtr& directory) override {
        return change("syncDirectory", [&] {
            return m_isSyncing ? m_disk.syncDirectory(directory) : ERROR_SUCCESS;
        });
    }
    DWORD writeFile(const DirectoryPtr& parent, const std::wstring& name,
                    const std::string& content) override {
        const DWORD error =
            change("writeFile", [&] { return m_disk.writeFile(parent, name, content); });
        if (error != ERROR_SUCCESS && m_isStopped && !std::exchange(m_isTorn, true)) {
            // What was being written when the process ended.
            (void)m_disk.writeFile(parent, name, content.substr(0, content.size() / 2));
        }
        return error;
    }
    DWORD readFile(const DirectoryPtr& parent, const std::wstring& name,
                   std::string& content) override {
        return read([&] { return m_disk.readFile(parent, name, content); });
    }

    DWORD lock(const DirectoryPtr& directory,
               std::unique_ptr<transactions::DirectoryLock>& lock) override {
        return change("lock", [&] { return m_disk.lock(directory, lock); });
    }
    DWORD removeLocked(const DirectoryPtr& parent, const std::wstring& name,
                       std::unique_ptr<transactions::DirectoryLock> lock) override {
        return change("removeLocked",
                      [&] { return m_disk.removeLocked(parent, name, std::move(lock)); });
    }
    DWORD checkPrivateOfOurs(const DirectoryPtr& directory) override {
        return read([&] { return m_disk.checkPrivateOfOurs(directory); });
    }
    std::wstring randomName() override { return m_disk.randomName(); }

private:
    template <class Body>
    DWORD read(Body body) {
        return m_isStopped ? DWORD{ERROR_OPERATION_ABORTED} : body();
    }
    template <class Body>
    DWORD change(const char* operation, Body body) {
        const DWORD error = m_isStopped ? DWORD{ERROR_OPERATION_ABORTED} : m_watch(operation);
        if (error == ERROR_SUCCESS && !m_isStopped) {
            return body();
        }
        return m_isStopped ? DWORD{ERROR_OPERATION_ABORTED} : error;
    }

    transactions::Disk& m_disk;
    Watch m_watch;
    bool m_isStopped = false;
    bool m_isTorn = false;
    bool m_isSyncing = true;
};

/// Puts a disk in the place of the system's for a scope.
class CurrentDisk {
public:
    explicit CurrentDisk(transactions::Disk& disk);
    ~CurrentDisk();
    CurrentDisk(const CurrentDisk&) = delete;
    CurrentDisk& operator=(const CurrentDisk&) = delete;
};

}  // namespace Tallowmere::platform::testing
