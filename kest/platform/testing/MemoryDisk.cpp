#include "kest/platform/testing/MemoryDisk.h"

#include <algorithm>
#include <climits>
#include <stdexcept>
#include <utility>

#include "kest/platform/transactions/Texts.h"

namespace Tallowmere::platform::testing {
namespace {

using transactions::Record;

class MemoryDirectory : public transactions::Directory {
public:
    explicit MemoryDirectory(const MemoryPosition& at) : position(at) {}
    const MemoryPosition position;
};

const MemoryPosition& at(const MemoryDisk::DirectoryPtr& directory) {
    return static_cast<const MemoryDirectory&>(*directory).position;
}

/// The lock is the store's, so that it can end before this object does.
class MemoryLock : public transactions::DirectoryLock {
public:
    MemoryLock(MemoryStore& store, const MemoryPosition& position, std::uint64_t number)
        : m_store(store), m_position(position), m_number(number) {}
    ~MemoryLock() override {
        const auto found = m_store.locks.find(m_position);
        if (found != m_store.locks.end() && found->second.second == m_number) {
            m_store.locks.erase(found);
        }
    }

private:
    MemoryStore& m_store;
    MemoryPosition m_position;
    std::uint64_t m_number;
};

DWORD attributesOf(const MemoryNode& node, transactions::Kind kind) {
    DWORD result = node.keeps.isReadOnly ? FILE_ATTRIBUTE_READONLY : 0U;
    if (kind == transactions::Kind::Directory || kind == transactions::Kind::DirectoryLink) {
        result |= FILE_ATTRIBUTE_DIRECTORY;
    } else {
        result |= FILE_ATTRIBUTE_ARCHIVE;
    }
    if (kind == transactions::Kind::FileLink || kind == transactions::Kind::DirectoryLink) {
        result |= FILE_ATTRIBUTE_REPARSE_POINT;
    }
    return result;
}

/// Gives the entries that were there when it was opened, in the order in which they were made.
class MemoryListing : public transactions::Listing {
public:
    MemoryListing(MemoryDisk& disk, const MemoryPosition& directory)
        : m_disk(disk), m_directory(directory) {
        MemoryStore& store = disk.store();
        for (const auto& [folded, child] : store.find(directory)->entries) {
            const MemoryPosition position = {directory.volume, child};
            const MemoryNode& node = *store.find(position);
            const transactions::Kind kind = store.kindOf(position);
            DWORD tag = 0;
            if ((attributesOf(node, kind) & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
                tag = node.isJunction ? IO_REPARSE_TAG_MOUNT_POINT : IO_REPARSE_TAG_SYMLINK;
            }
            m_records.emplace_back(child, Record{node.name, kind, attributesOf(node, kind), tag});
        }
        std::sort(m_records.begin(), m_records.end(),
                  [](const auto& left, const auto& right) { return left.first < right.first; });
        m_pin = store.pins.emplace(disk.process(), directory);
        m_isPinned = true;
    }
    ~MemoryListing() override { unpin(); }

    DWORD next(Record& record) override {
        const DWORD error = m_disk.step(Primitive::Next);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        if (m_next == m_records.size()) {
            unpin();
            return ERROR_NO_MORE_FILES;
        }
        record = m_records[m_next++].second;
        return ERROR_SUCCESS;
    }

    /// Each entry as its kind, its length and its units.
    bool tellAll(std::uint64_t& directory, std::string& entries) const override {
        directory = static_cast<std::uint64_t>(m_directory.node);
        entries.clear();
        for (const auto& [child, record] : m_records) {
            if (record.name.size() > UCHAR_MAX) {
                return false;
            }
            entries.push_back(static_cast<char>(record.kind));
            entries.push_back(static_cast<char>(record.name.size()));
            entries.append(reinterpret_cast<const char*>(record.name.data()),
                           record.name.size() * sizeof(wchar_t));
        }
        return true;
    }

private:
    void unpin() {
        // A process that has ended holds none any more.
        if (m_isPinned && !m_disk.clock.isDead()) {
            m_disk.store().pins.erase(m_pin);
        }
        m_isPinned = false;
    }

    MemoryDisk& m_disk;
    MemoryPosition m_directory;
    std::vector<std::pair<NodeId, Record>> m_records;
    std::size_t m_next = 0;
    std::multimap<int, MemoryPosition>::iterator m_pin;
    bool m_isPinned = false;
};

/// What a listing told before, whatever has become of it.
class MemoryListingAsBefore : public transactions::Listing {
public:
    explicit MemoryListingAsBefore(std::string entries) : m_entries(std::move(entries)) {}

    DWORD next(Record& record) override {
        if (m_at == m_entries.size()) {
            return ERROR_NO_MORE_FILES;
        }
        record = {};
        record.kind = static_cast<transactions::Kind>(m_entries[m_at]);
        record.name.resize(static_cast<unsigned char>(m_entries[m_at + 1]));
        const std::size_t bytes = record.name.size() * sizeof(wchar_t);
        m_entries.copy(reinterpret_cast<char*>(record.name.data()), bytes, m_at + 2);
        m_at += 2 + bytes;
        return ERROR_SUCCESS;
    }

private:
    std::string m_entries;
    std::size_t m_at = 0;
};

}  // namespace

MemoryDisk::MemoryDisk(MemoryStore& store, int user)
    : m_store(store), m_user(user), m_process(++store.processes) {}

MemoryDisk::~MemoryDisk() = default;

DWORD MemoryDisk::step(Primitive primitive) {
    return clock.step(primitive, [this] {
        std::erase_if(m_store.locks,
                      [&](const auto& lock) { return lock.second.first == m_process; });
        m_store.pins.erase(m_process);
    });
}

// Texts.

DWORD MemoryDisk::normalize(const wchar_t* path, std::wstring& text) {
    constexpr std::wstring_view kPrefix = L"\\\\?\\";
    std::wstring_view rest(path);
    if (rest.substr(0, kPrefix.size()) == kPrefix) {
        rest.remove_prefix(kPrefix.size());
        if (rest.substr(0, kPrefix.size()) == kPrefix) {
            return ERROR_INVALID_NAME;
        }
    }
    if (rest.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    const auto isSeparator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    text = isSeparator(rest.front()) ? L"/" : L"";
    for (std::size_t start = 0; start < rest.size();) {
        std::size_t end = start;
        while (end < rest.size() && !isSeparator(rest[end])) {
            ++end;
        }
        const std::wstring name(rest.substr(start, end - start));
        start = end + 1;
        if (name.empty() || name == L".") {
            continue;
        }
        if (name == L"..") {
            DirectoryPtr directory;
            std::wstring canonical;
            const DWORD error = openDirectory(text.empty() ? L"." : text, directory, canonical);
            if (error != ERROR_SUCCESS) {
                return error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error;
            }
            text = isRoot(canonical) ? canonical : transactions::parentOf(canonical);
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

bool MemoryDisk::isPlainName(std::wstring_view name) const {
    return !name.empty() && name.front() != L'.';
}

bool MemoryDisk::isRoot(std::wstring_view text) const {
    return m_store.options().hasDrives ? text.size() == 2 && text[1] == L':' : text == L"/";
}

std::wstring MemoryDisk::fold(const std::wstring& name) const {
    const auto& options = m_store.options();
    return MemoryImage::fold(name, options.ignoresCase && !options.foldsUnknown);
}

// Reading.

bool MemoryDisk::maySearch(const MemoryNode& directory) const {
    return !directory.keeps.isPrivate || m_user == 0 || directory.owner == m_user;
}

DWORD MemoryDisk::openAt(const MemoryPosition& position, DirectoryPtr& directory) {
    const MemoryNode* const node = m_store.find(position);
    if (node->kind != Kind::Directory) {
        const bool isLink = node->kind == Kind::FileLink || node->kind == Kind::DirectoryLink;
        return isLink ? ERROR_CANT_RESOLVE_FILENAME : ERROR_DIRECTORY;
    }
    if (!maySearch(*node)) {
        return ERROR_ACCESS_DENIED;
    }
    directory = std::make_shared<MemoryDirectory>(position);
    return ERROR_SUCCESS;
}

DWORD MemoryDisk::openDirectory(const std::wstring& text, DirectoryPtr& directory,
                                std::wstring& canonical) {
    DWORD error = step(Primitive::OpenDirectory);
    MemoryPosition position;
    std::wstring rest;
    if (error == ERROR_SUCCESS) {
        error = m_store.root(text, position, rest);
    }
    if (error == ERROR_SUCCESS) {
        error = m_store.resolve(position, rest, Links::Follow, position);
    }
    if (error == ERROR_SUCCESS) {
        error = openAt(position, directory);
    }
    if (error == ERROR_SUCCESS) {
        canonical = m_store.textOf(position);
    }
    return error;
}

DWORD MemoryDisk::openBelow(const DirectoryPtr& base, const std::wstring& relative, Links links,
                            DirectoryPtr& directory) {
    DWORD error = step(Primitive::OpenBelow);
    MemoryPosition position;
    if (error == ERROR_SUCCESS) {
        error = m_store.resolve(at(base), relative, links, position);
    }
    return error == ERROR_SUCCESS ? openAt(position, directory) : error;
}

DWORD MemoryDisk::findEntry(const DirectoryPtr& parent, const std::wstring& name,
                            Entry& entry) const {
    entry.parent = at(parent);
    const MemoryNode* const directory = m_store.find(entry.parent);
    if (directory == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    entry.position = {entry.parent.volume,
                      name == L"."
                          ? entry.parent.node
                          : m_store.volume(entry.parent).now.child(entry.parent.node, name)};
    entry.node = m_store.find(entry.position);
    return entry.node == nullptr ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
}

DWORD MemoryDisk::describe(const DirectoryPtr& parent, const std::wstring& name, Kind& kind,
                           WIN32_FILE_ATTRIBUTE_DATA* data) {
    DWORD error = step(Primitive::Describe);
    Entry entry;
    if (error == ERROR_SUCCESS) {
        error = findEntry(parent, name, entry);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    kind = m_store.kindOf(entry.position);
    if (data != nullptr) {
        *data = {};
        data->dwFileAttributes = attributesOf(*entry.node, kind);
        data->nFileSizeLow = static_cast<DWORD>(entry.node->content.size());
    }
    return ERROR_SUCCESS;
}

DWORD MemoryDisk::list(const DirectoryPtr& directory,
                       std::unique_ptr<transactions::Listing>& listing) {
    const DWORD error = step(Primitive::List);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const MemoryNode* const node = m_store.find(at(directory));
    if (node == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    if (!node->keeps.isReadable) {
        return ERROR_ACCESS_DENIED;
    }
    listing = std::make_unique<MemoryListing>(*this, at(directory));
    return ERROR_SUCCESS;
}

DWORD MemoryDisk::listForRemoval(const DirectoryPtr& directory, transactions::ListedBefore& before,
                                 std::unique_ptr<transactions::Listing>& listing) {
    std::string entries;
    if (before.take(at(directory).node, entries)) {
        listing = std::make_unique<MemoryListingAsBefore>(std::move(entries));
        return ERROR_SUCCESS;
    }
    return list(directory, listing);
}

DWORD MemoryDisk::mayRemoveFrom(const DirectoryPtr& directory) {
    const DWORD error = step(Primitive::MayRemoveFrom);
    return error == ERROR_SUCCESS ? mayChange(at(directory)) : error;
}

DWORD MemoryDisk::mayRemove(const DirectoryPtr& parent, const std::wstring& name) {
    DWORD error = step(Primitive::MayRemove);
    Entry entry;
    if (error == ERROR_SUCCESS) {
        error = findEntry(parent, name, entry);
    }
    return error == ERROR_SUCCESS && entry.node->keeps.isReadOnly ? DWORD{ERROR_ACCESS_DENIED}
                                                                  : error;
}

std::wstring MemoryDisk::spelling(const DirectoryPtr& parent, const std::wstring& name) {
    Entry entry;
    const bool isFound = step(Primitive::Spelling) == ERROR_SUCCESS &&
                         findEntry(parent, name, entry) == ERROR_SUCCESS;
    return isFound ? entry.node->name : name;
}

DWORD MemoryDisk::checkSameVolume(const DirectoryPtr& left, const DirectoryPtr& right) {
    const DWORD error = step(Primitive::CheckSameVolume);
    return error == ERROR_SUCCESS && at(left).volume != at(right).volume
               ? DWORD{ERROR_NOT_SAME_DEVICE}
               : error;
}

DWORD MemoryDisk::checkEntry(const DirectoryPtr& parent, const std::wstring& name,
                             const DirectoryPtr& directory) {
    Entry entry;
    DWORD error = step(Primitive::CheckEntry);
    if (error == ERROR_SUCCESS) {
        error = findEntry(parent, name, entry);
    }
    return error == ERROR_SUCCESS && entry.position != at(directory) ? DWORD{ERROR_FILE_NOT_FOUND}
                                                                     : error;
}

// Changing.

DWORD MemoryDisk::mayChange(const MemoryPosition& directory) const {
    const MemoryNode* const node = m_store.find(directory);
    if (node == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    return node->keeps.isWritable ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

DWORD MemoryDisk::mayMove(const Entry& entry) const {
    if (m_store.mountedOn(entry.position) >= 0) {
        return ERROR_BUSY;
    }
    const bool isPinned =
        m_store.options().listingsPin &&
        std::any_of(m_store.pins.begin(), m_store.pins.end(), [&](const auto& pin) {
            return pin.second.volume == entry.position.volume &&
                   m_store.volume(entry.position)
                       .now.isSameOrBelow(pin.second.node, entry.position.node);
        });
    return isPinned ? ERROR_SHARING_VIOLATION : mayChange(entry.parent);
}

DWORD MemoryDisk::make(const DirectoryPtr& parent, const std::wstring& name, MemoryNode node,
                       NodeId& made) {
    Entry entry;
    const DWORD error = findEntry(parent, name, entry);
    if (error == ERROR_SUCCESS) {
        return ERROR_ALREADY_EXISTS;
    }
    const DWORD refused = mayChange(entry.parent);
    if (refused != ERROR_SUCCESS) {
        return refused;
    }
    MemoryStore::Volume& volume = m_store.volume(entry.parent);
    if (volume.now.size() + 1 > volume.capacity) {
        return ERROR_DISK_FULL;
    }
    made = volume.nextNode++;
    MemoryChange change;
    change.node = made;
    change.parent = entry.parent.node;
    change.name = name;
    change.made = std::move(node);
    change.made.owner = m_user;
    m_store.change(entry.parent.volume, std::move(change));
    return ERROR_SUCCESS;
}

DWORD MemoryDisk::fill(const MemoryPosition& parent, NodeId file, const std::string& content) {
    const MemoryStore::Volume& volume = m_store.volume(parent);
    if (volume.now.size() + content.size() > volume.capacity) {
        return ERROR_DISK_FULL;
    }
    MemoryChange change;
    change.what = MemoryChange::What::Write;
    change.node = file;
    change.content = content;
    m_store.change(parent.volume, std::move(change));
    return ERROR_SUCCESS;
}

DWORD MemoryDisk::makeDirectory(const DirectoryPtr& parent, const std::wstring& name) {
    const DWORD error = step(Primitive::MakeDirectory);
    MemoryNode node;
    node.kind = Kind::Directory;
    NodeId made = 0;
    return error == ERROR_SUCCESS ? make(parent, name, std::move(node), made) : error;
}

DWORD MemoryDisk::makePrivateDirectory(const DirectoryPtr& parent, const std::wstring& name) {
    const DWORD error = step(Primitive::MakePrivateDirectory);
    MemoryNode node;
    node.kind = Kind::Directory;
    node.keeps.isPrivate = m_store.options().keepsPrivate;
    NodeId made = 0;
    return error == ERROR_SUCCESS ? make(parent, name, std::move(node), made) : error;
}

DWORD MemoryDisk::copyFile(const DirectoryPtr& sourceParent, const std::wstring& sourceName,
                           const DirectoryPtr& parent, const std::wstring& name, Links links,
                           const Kind* known) {
    DWORD error = step(Primitive::CopyFile);
    Entry source;
    if (error == ERROR_SUCCESS) {
        error = findEntry(sourceParent, sourceName, source);
    }
    if (error == ERROR_SUCCESS && links == Links::Follow) {
        error = m_store.resolve(source.parent, sourceName, Links::Follow, source.position);
        source.node = m_store.find(source.position);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (source.node->kind == Kind::Directory ||
        m_store.kindOf(source.position) == Kind::DirectoryLink) {
        return ERROR_ACCESS_DENIED;
    }
    if (known != nullptr && *known != m_store.kindOf(source.position)) {
        return ERROR_BUSY;
    }
    if (!source.node->keeps.isReadable) {
        return ERROR_ACCESS_DENIED;
    }
    const std::string content = source.node->content;
    MemoryNode node = *source.node;
    node.content.clear();
    node.parent = 0;
    NodeId made = 0;
    error = make(parent, name, std::move(node), made);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = step(Primitive::CopyContent);
    if (error == ERROR_SUCCESS) {
        error = fill(at(parent), made, content);
    }
    Entry copy;
    if (error != ERROR_SUCCESS && !clock.isDead() &&
        findEntry(parent, name, copy) == ERROR_SUCCESS) {
        (void)removeEntry(copy);
    }
    return error;
}

DWORD MemoryDisk::makeLink(const DirectoryPtr& parent, const std::wstring& name,
                           const wchar_t* target, bool isDirectory) {
    const DWORD error = step(Primitive::MakeLink);
    MemoryNode node;
    node.kind = isDirectory ? Kind::DirectoryLink : Kind::FileLink;
    node.target = target;
    NodeId made = 0;
    return error == ERROR_SUCCESS ? make(parent, name, std::move(node), made) : error;
}

DWORD MemoryDisk::adopt(const DirectoryPtr& source, const DirectoryPtr& directory) {
    const DWORD error = step(Primitive::Adopt);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const MemoryNode* const from = m_store.find(at(source));
    if (from == nullptr || m_store.find(at(directory)) == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    MemoryChange change;
    change.what = MemoryChange::What::Keep;
    change.node = at(directory).node;
    change.keeps = from->keeps;
    m_store.change(at(directory).volume, std::move(change));
    return ERROR_SUCCESS;
}

DWORD MemoryDisk::removeEntry(const Entry& entry) {
    MemoryChange change;
    change.what = MemoryChange::What::Remove;
    change.node = entry.position.node;
    change.parent = entry.parent.node;
    change.name = entry.node->name;
    m_store.change(entry.parent.volume, std::move(change));
    return ERROR_SUCCESS;
}

DWORD MemoryDisk::removeFile(const DirectoryPtr& parent, const std::wstring& name) {
    DWORD error = step(Primitive::RemoveFile);
    Entry entry;
    if (error == ERROR_SUCCESS) {
        error = findEntry(parent, name, entry);
    }
    if (error == ERROR_SUCCESS &&
        (entry.node->kind == Kind::Directory ||
         (m_store.options().hasDrives && entry.node->kind == Kind::DirectoryLink))) {
        error = ERROR_ACCESS_DENIED;
    }
    if (error == ERROR_SUCCESS) {
        error = mayMove(entry);
    }
    return error == ERROR_SUCCESS ? removeEntry(entry) : error;
}

DWORD MemoryDisk::removeDirectory(const DirectoryPtr& parent, const std::wstring& name) {
    DWORD error = step(Primitive::RemoveDirectory);
    Entry entry;
    if (error == ERROR_SUCCESS) {
        error = findEntry(parent, name, entry);
    }
    if (error == ERROR_SUCCESS && entry.node->kind == Kind::Directory) {
        error = entry.node->entries.empty() ? ERROR_SUCCESS : ERROR_DIR_NOT_EMPTY;
    } else if (error == ERROR_SUCCESS && m_store.kindOf(entry.position) != Kind::DirectoryLink) {
        error = ERROR_DIRECTORY;
    }
    if (error == ERROR_SUCCESS) {
        error = mayMove(entry);
    }
    return error == ERROR_SUCCESS ? removeEntry(entry) : error;
}

DWORD MemoryDisk::rename(const DirectoryPtr& from, const std::wstring& fromName,
                         const DirectoryPtr& to, const std::wstring& toName) {
    DWORD error = step(Primitive::Rename);
    Entry source;
    Entry target;
    if (error == ERROR_SUCCESS) {
        error = findEntry(from, fromName, source);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (source.parent.volume != at(to).volume) {
        return ERROR_NOT_SAME_DEVICE;
    }
    if (findEntry(to, toName, target) == ERROR_SUCCESS && target.position != source.position) {
        return ERROR_ALREADY_EXISTS;
    }
    error = mayMove(source);
    if (error == ERROR_SUCCESS) {
        error = mayChange(target.parent);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    MemoryImage& now = m_store.volume(source.parent).now;
    if (now.isSameOrBelow(target.parent.node, source.position.node)) {
        return ERROR_INVALID_PARAMETER;
    }
    MemoryChange change;
    change.what = MemoryChange::What::Move;
    change.node = source.position.node;
    change.oldParent = source.parent.node;
    change.parent = target.parent.node;
    change.name = toName;
    m_store.change(source.parent.volume, std::move(change));
    return ERROR_SUCCESS;
}

DWORD MemoryDisk::exchange(const DirectoryPtr& left, const std::wstring& leftName,
                           const DirectoryPtr& right, const std::wstring& rightName) {
    DWORD error = step(Primitive::Exchange);
    if (error == ERROR_SUCCESS && !m_store.options().canExchange) {
        error = ERROR_NOT_SUPPORTED;
    }
    Entry first;
    Entry second;
    if (error == ERROR_SUCCESS) {
        error = findEntry(left, leftName, first);
    }
    if (error == ERROR_SUCCESS) {
        error = findEntry(right, rightName, second);
    }
    if (error == ERROR_SUCCESS && first.parent.volume != second.parent.volume) {
        error = ERROR_NOT_SUPPORTED;
    }
    if (error == ERROR_SUCCESS) {
        error = mayMove(first);
    }
    if (error == ERROR_SUCCESS) {
        error = mayMove(second);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const MemoryImage& now = m_store.volume(first.parent).now;
    if (now.isSameOrBelow(first.parent.node, second.position.node) ||
        now.isSameOrBelow(second.parent.node, first.position.node)) {
        return ERROR_NOT_SUPPORTED;
    }
    MemoryChange change;
    change.what = MemoryChange::What::Exchange;
    change.node = first.position.node;
    change.other = second.position.node;
    change.parent = second.parent.node;
    change.name = second.node->name;
    change.oldParent = first.parent.node;
    change.oldName = first.node->name;
    m_store.change(first.parent.volume, std::move(change));
    return ERROR_SUCCESS;
}

// Lasting.

DWORD MemoryDisk::syncVolume(const DirectoryPtr& directory) {
    const DWORD error = step(Primitive::SyncVolume);
    if (error == ERROR_SUCCESS && m_store.options().syncsBelow) {
        m_store.syncBelow(at(directory));
    } else if (error == ERROR_SUCCESS) {
        m_store.syncVolume(at(directory).volume);
    }
    return error;
}

DWORD MemoryDisk::syncDirectory(const DirectoryPtr& directory) {
    const DWORD error = step(Primitive::SyncDirectory);
    if (error == ERROR_SUCCESS) {
        m_store.syncDirectory(at(directory));
    }
    return error;
}

DWORD MemoryDisk::writeFile(const DirectoryPtr& parent, const std::wstring& name,
                            const std::string& content) {
    DWORD error = step(Primitive::WriteFile);
    Entry entry;
    NodeId file = 0;
    if (error == ERROR_SUCCESS && findEntry(parent, name, entry) == ERROR_SUCCESS) {
        file = entry.position.node;
    } else if (error == ERROR_SUCCESS) {
        MemoryNode node;
        node.kind = Kind::File;
        error = make(parent, name, std::move(node), file);
    }
    if (error == ERROR_SUCCESS) {
        error = step(Primitive::WriteContent);
    }
    if (error == ERROR_SUCCESS) {
        error = fill(at(parent), file, content);
    }
    if (error == ERROR_SUCCESS) {
        // Its content; its name is an entry of the directory.
        m_store.syncFile({at(parent).volume, file});
    }
    return error;
}

DWORD MemoryDisk::readFile(const DirectoryPtr& parent, const std::wstring& name,
                           std::string& content) {
    DWORD error = step(Primitive::ReadFile);
    Entry entry;
    if (error == ERROR_SUCCESS) {
        error = findEntry(parent, name, entry);
    }
    if (error == ERROR_SUCCESS &&
        (entry.node->kind != Kind::File || !entry.node->keeps.isReadable)) {
        error = ERROR_ACCESS_DENIED;
    }
    if (error == ERROR_SUCCESS) {
        content = entry.node->content;
    }
    return error;
}

// Stages.

DWORD MemoryDisk::lock(const DirectoryPtr& directory,
                       std::unique_ptr<transactions::DirectoryLock>& lock) {
    const DWORD error = step(Primitive::Lock);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const std::uint64_t number = m_store.nextLock++;
    if (!m_store.locks.try_emplace(at(directory), m_process, number).second) {
        return ERROR_LOCK_VIOLATION;
    }
    lock = std::make_unique<MemoryLock>(m_store, at(directory), number);
    return ERROR_SUCCESS;
}

DWORD MemoryDisk::checkPrivateOfOurs(const DirectoryPtr& directory) {
    const DWORD error = step(Primitive::CheckPrivateOfOurs);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const MemoryNode* const node = m_store.find(at(directory));
    if (node == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    return node->keeps.isPrivate && node->owner == m_user ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

std::wstring MemoryDisk::randomName() {
    if (step(Primitive::RandomName) != ERROR_SUCCESS) {
        return std::wstring(32, L'0');
    }
    return m_store.nextRandomName();
}

}  // namespace Tallowmere::platform::testing
