#include "kest/platform/testing/MemoryStore.h"

#include <algorithm>
#include <stdexcept>

#include "kest/platform/transactions/Texts.h"

namespace Tallowmere::platform::testing {
namespace {

using transactions::Kind;
using transactions::Links;

constexpr int kMostLinks = 32;

std::string narrow(const std::wstring& text) {
    std::string result;
    for (const wchar_t unit : text) {
        result += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return result;
}

std::string describe(const MemoryNode& node) {
    std::string result;
    switch (node.kind) {
        case Kind::Directory:
            result = "dir";
            break;
        case Kind::FileLink:
        case Kind::DirectoryLink:
            result = (node.isJunction ? "junction " : "link ") + narrow(node.target);
            break;
        default:
            result = "file " + node.content;
            break;
    }
    if (!node.keeps.label.empty()) {
        result += " [" + node.keeps.label + "]";
    }
    if (!node.keeps.isWritable) {
        result += " unwritable";
    }
    if (!node.keeps.isReadable) {
        result += " unreadable";
    }
    if (node.keeps.isReadOnly) {
        result += " read-only";
    }
    if (node.keeps.isPrivate) {
        result += " private";
    }
    return result;
}

}  // namespace

MemoryStore::MemoryStore(const MemoryOptions& options) : m_options(options) {
    m_volumes.emplace_back(options.ignoresCase);
    if (options.hasDrives) {
        m_volumes.back().drive = L"C:";
    }
}

// Furnishing.

void MemoryStore::addVolume(const std::wstring& at) {
    Volume made(m_options.ignoresCase);
    if (m_options.hasDrives) {
        made.drive = at;
    } else {
        made.mountedAt = this->at(at, Links::Refuse);
    }
    m_volumes.push_back(std::move(made));
}

MemoryPosition MemoryStore::at(const std::wstring& path, Links last) const {
    MemoryPosition position;
    std::wstring rest;
    DWORD error = root(path, position, rest);
    if (error == ERROR_SUCCESS) {
        error = resolve(position, rest, last, position);
    }
    if (error != ERROR_SUCCESS) {
        throw std::runtime_error("nothing at " + narrow(path));
    }
    return position;
}

MemoryPosition MemoryStore::parentOf(const std::wstring& path, std::wstring& name) const {
    name = transactions::nameOf(path);
    return at(transactions::parentOf(path), Links::Follow);
}

void MemoryStore::make(const std::wstring& path, MemoryNode node) {
    MemoryChange made;
    const MemoryPosition parent = parentOf(path, made.name);
    if (m_volumes[parent.volume].now.child(parent.node, made.name) != 0) {
        throw std::runtime_error("already there: " + narrow(path));
    }
    made.what = MemoryChange::What::Make;
    made.node = m_volumes[parent.volume].nextNode++;
    made.parent = parent.node;
    made.made = std::move(node);
    change(parent.volume, made);
    syncVolume(parent.volume);
}

void MemoryStore::makeDirectory(const std::wstring& path) {
    MemoryNode node;
    node.kind = Kind::Directory;
    make(path, node);
}

void MemoryStore::write(const std::wstring& path, const std::string& content) {
    MemoryNode node;
    node.content = content;
    make(path, node);
}

void MemoryStore::makeLink(const std::wstring& path, const std::wstring& target, bool isDirectory,
                           bool isJunction) {
    MemoryNode node;
    node.kind = isDirectory ? Kind::DirectoryLink : Kind::FileLink;
    node.target = target;
    node.isJunction = isJunction;
    make(path, node);
}

void MemoryStore::setKeeps(const std::wstring& path, const MemoryKeeps& keeps) {
    const MemoryPosition position = at(path, Links::Refuse);
    MemoryChange kept;
    kept.what = MemoryChange::What::Keep;
    kept.node = position.node;
    kept.keeps = keeps;
    change(position.volume, kept);
    syncVolume(position.volume);
}

void MemoryStore::setOwner(const std::wstring& path, int owner) {
    std::wstring name;
    const MemoryPosition parent = parentOf(path, name);
    const MemoryPosition position = at(path, Links::Refuse);
    MemoryChange changed;
    changed.node = position.node;
    changed.parent = parent.node;
    changed.name = name;
    changed.made = *find(position);
    changed.made.owner = owner;
    change(position.volume, changed);
    syncVolume(position.volume);
}

void MemoryStore::remove(const std::wstring& path) {
    const MemoryPosition position = at(path, Links::Refuse);
    const MemoryNode node = *find(position);
    for (const auto& [name, child] : node.entries) {
        remove(path + L"/" + name);
    }
    MemoryChange removed;
    removed.what = MemoryChange::What::Remove;
    removed.node = position.node;
    removed.parent = node.parent;
    removed.name = node.name;
    change(position.volume, removed);
    syncVolume(position.volume);
}

void MemoryStore::move(const std::wstring& from, const std::wstring& to) {
    const MemoryPosition position = at(from, Links::Refuse);
    MemoryChange moved;
    moved.what = MemoryChange::What::Move;
    moved.node = position.node;
    moved.oldParent = find(position)->parent;
    moved.parent = parentOf(to, moved.name).node;
    change(position.volume, moved);
    syncVolume(position.volume);
}

void MemoryStore::setCapacity(int volume, std::size_t capacity) {
    m_volumes[volume].capacity = capacity;
}

// Looking.

bool MemoryStore::exists(const std::wstring& path) const {
    MemoryPosition position;
    std::wstring rest;
    return root(path, position, rest) == ERROR_SUCCESS &&
           resolve(position, rest, Links::Refuse, position) == ERROR_SUCCESS;
}

std::map<std::string, std::string> MemoryStore::snapshot(const std::wstring& top) const {
    std::map<std::string, std::string> result;
    if (!exists(top)) {
        return result;
    }
    std::vector<std::pair<MemoryPosition, std::string>> open = {{at(top, Links::Refuse), ""}};
    while (!open.empty()) {
        const auto [directory, path] = open.back();
        open.pop_back();
        for (const auto& [folded, child] : find(directory)->entries) {
            MemoryPosition position = {directory.volume, child};
            const MemoryNode& node = *find(position);
            const std::string name = path + narrow(node.name);
            result[name] = describe(node);
            if (const int mounted = mountedOn(position); mounted >= 0) {
                position = {mounted, MemoryImage::kRoot};
            }
            open.emplace_back(position, name + "/");
        }
    }
    return result;
}

std::vector<std::wstring> MemoryStore::roots() const {
    if (!m_options.hasDrives) {
        return {L"/"};
    }
    std::vector<std::wstring> result;
    for (const Volume& volume : m_volumes) {
        result.push_back(volume.drive);
    }
    return result;
}

std::string MemoryStore::state() const {
    std::string result;
    for (const Volume& volume : m_volumes) {
        std::vector<std::pair<NodeId, std::string>> open = {{MemoryImage::kRoot, "/"}};
        while (!open.empty()) {
            const auto [id, path] = open.back();
            open.pop_back();
            const MemoryNode& node = *volume.now.find(id);
            result += path + " #" + std::to_string(id) + ' ' + describe(node) + '\n';
            for (const auto& [folded, child] : node.entries) {
                open.emplace_back(child, path + narrow(volume.now.find(child)->name) + "/");
            }
        }
        for (const Volume::Logged& logged : volume.log) {
            result += (logged.lasts ? "! " : "? ") + logged.change->text() + '\n';
        }
        result += '\n';
    }
    return result;
}

std::uint64_t MemoryStore::fingerprint() const {
    std::uint64_t sum = 0;
    for (const Volume& volume : m_volumes) {
        sum = sum * 31 + volume.now.fingerprint();
        // What a power cut brings back may have left no trace in the image of now.
        sum += volume.log.empty() ? 0 : volume.sure->fingerprint() * 7;
        for (const Volume::Logged& logged : volume.log) {
            sum = sum * 31 + logged.fingerprint + (logged.lasts ? 1 : 0);
        }
    }
    return sum;
}

// The end.

std::vector<const MemoryChange*> MemoryStore::unsynced() const {
    std::vector<const MemoryChange*> result;
    for (const Volume& volume : m_volumes) {
        for (const Volume::Logged& logged : volume.log) {
            if (!logged.lasts) {
                result.push_back(logged.change.get());
            }
        }
    }
    return result;
}

std::vector<MemoryImage> MemoryStore::leftBy(const MemoryLoss& loss) const {
    std::vector<MemoryImage> result;
    result.reserve(m_volumes.size());
    std::size_t next = 0;
    for (const Volume& volume : m_volumes) {
        MemoryImage& image = result.emplace_back(*volume.sure);
        std::vector<NodeId> spoilt;
        for (const Volume::Logged& logged : volume.log) {
            if (logged.lasts || loss.survives.at(next++)) {
                image.apply(*logged.change);
            } else if (loss.spoils && logged.change->what == MemoryChange::What::Write) {
                spoilt.push_back(logged.change->node);
            }
        }
        for (const NodeId node : spoilt) {
            image.spoil(node);
        }
        if (!volume.log.empty()) {
            image.dropLost();
        }
    }
    return result;
}

std::uint64_t MemoryStore::fingerprintOf(const std::vector<MemoryImage>& left) {
    std::uint64_t sum = 0;
    for (const MemoryImage& image : left) {
        sum = sum * 31 + image.fingerprint();
    }
    return sum;
}

void MemoryStore::cutPowerTo(std::vector<MemoryImage> left) {
    for (std::size_t i = 0; i < m_volumes.size(); ++i) {
        Volume& volume = m_volumes[i];
        volume.now = left.at(i);
        volume.sure = std::make_shared<MemoryImage>(std::move(left[i]));
        volume.log.clear();
    }
    endProcesses();
}

void MemoryStore::cutPower(const MemoryLoss& loss) {
    cutPowerTo(leftBy(loss));
}

void MemoryStore::endProcesses() {
    locks.clear();
    pins.clear();
}

// For MemoryDisk.

const MemoryNode* MemoryStore::find(const MemoryPosition& position) const {
    return m_volumes[position.volume].now.find(position.node);
}

void MemoryStore::change(int volume, MemoryChange change) {
    Volume& changed = m_volumes[volume];
    changed.now.apply(change);
    const std::uint64_t fingerprint = change.fingerprint();
    changed.log.push_back(
        {std::make_shared<const MemoryChange>(std::move(change)), false, fingerprint});
}

void MemoryStore::syncVolume(int volume) {
    Volume& synced = m_volumes[volume];
    if (m_options.syncs) {
        synced.sure = std::make_shared<MemoryImage>(synced.now);
        synced.log.clear();
    }
}

void MemoryStore::syncDirectory(const MemoryPosition& directory) {
    for (Volume::Logged& logged : m_volumes[directory.volume].log) {
        logged.lasts = logged.lasts || (m_options.syncs && logged.change->touches(directory.node));
    }
}

void MemoryStore::syncBelow(const MemoryPosition& directory) {
    Volume& volume = m_volumes[directory.volume];
    for (Volume::Logged& logged : volume.log) {
        const MemoryChange& change = *logged.change;
        const auto isBelow = [&](NodeId node) {
            return node != 0 && volume.now.isSameOrBelow(node, directory.node);
        };
        const bool isContent =
            change.what == MemoryChange::What::Write || change.what == MemoryChange::What::Keep;
        logged.lasts =
            logged.lasts ||
            (m_options.syncs && (isContent ? isBelow(change.node)
                                           : isBelow(change.parent) || isBelow(change.oldParent)));
    }
}

void MemoryStore::syncFile(const MemoryPosition& file) {
    for (Volume::Logged& logged : m_volumes[file.volume].log) {
        const bool isContent = logged.change->what == MemoryChange::What::Write;
        logged.lasts =
            logged.lasts || (m_options.syncs && isContent && logged.change->node == file.node);
    }
}

DWORD MemoryStore::root(const std::wstring& text, MemoryPosition& position,
                        std::wstring& rest) const {
    if (!m_options.hasDrives) {
        // The current directory is the root.
        position = {0, MemoryImage::kRoot};
        rest = text.substr(!text.empty() && text.front() == L'/' ? 1 : 0);
        return ERROR_SUCCESS;
    }
    if (text == L"." || text.size() < 2 || text[1] != L':') {
        position = {0, MemoryImage::kRoot};
        rest = text;
        return ERROR_SUCCESS;
    }
    for (std::size_t i = 0; i < m_volumes.size(); ++i) {
        if (m_volumes[i].now.fold(text.substr(0, 2)) == m_volumes[i].drive) {
            position = {static_cast<int>(i), MemoryImage::kRoot};
            rest = text.substr(text.size() > 2 ? 3 : 2);
            return ERROR_SUCCESS;
        }
    }
    return ERROR_PATH_NOT_FOUND;
}

DWORD MemoryStore::resolve(MemoryPosition from, const std::wstring& relative, Links last,
                           MemoryPosition& position) const {
    return resolveFor(from, relative, last, 0, position);
}

DWORD MemoryStore::resolveFor(MemoryPosition from, const std::wstring& relative, Links last,
                              int links, MemoryPosition& position) const {
    if (links > kMostLinks) {
        return ERROR_CANT_RESOLVE_FILENAME;
    }
    position = from;
    for (std::size_t at = 0; at < relative.size();) {
        const std::size_t end = std::min(relative.find(L'/', at), relative.size());
        const std::wstring name = relative.substr(at, end - at);
        const bool isLast = end == relative.size();
        at = end + 1;
        if (name == L".") {
            continue;
        }
        const MemoryNode* const directory = find(position);
        const DWORD missing =
            isLast || !m_options.hasDrives ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
        if (directory == nullptr) {
            return missing;
        }
        if (directory->kind != Kind::Directory) {
            return m_options.hasDrives ? ERROR_PATH_NOT_FOUND : ERROR_DIRECTORY;
        }
        const MemoryPosition found = {position.volume,
                                      m_volumes[position.volume].now.child(position.node, name)};
        const MemoryNode* const node = find(found);
        if (node == nullptr) {
            return missing;
        }
        const bool isLink = node->kind == Kind::FileLink || node->kind == Kind::DirectoryLink;
        if (isLink && (!isLast || last == Links::Follow)) {
            MemoryPosition start = position;
            std::wstring rest = node->target;
            const bool isAbsolute =
                m_options.hasDrives ? rest.size() >= 2 && rest[1] == L':' : rest[0] == L'/';
            DWORD error = isAbsolute ? root(node->target, start, rest) : DWORD{ERROR_SUCCESS};
            if (error == ERROR_SUCCESS) {
                error = resolveFor(start, rest, Links::Follow, links + 1, position);
            }
            if (error != ERROR_SUCCESS) {
                return error;
            }
            continue;
        }
        const int mounted = mountedOn(found);
        position = mounted >= 0 ? MemoryPosition{mounted, MemoryImage::kRoot} : found;
    }
    return ERROR_SUCCESS;
}

int MemoryStore::mountedOn(const MemoryPosition& directory) const {
    for (std::size_t i = 0; i < m_volumes.size(); ++i) {
        if (m_volumes[i].mountedAt == directory && directory.node != 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::wstring MemoryStore::textOf(const MemoryPosition& position) const {
    const Volume& volume = m_volumes[position.volume];
    if (position.node == MemoryImage::kRoot) {
        if (volume.mountedAt.node != 0) {
            return textOf(volume.mountedAt);
        }
        return m_options.hasDrives ? volume.drive : L"/";
    }
    const MemoryNode& node = *find(position);
    return transactions::join(textOf({position.volume, node.parent}), node.name);
}

Kind MemoryStore::kindOf(const MemoryPosition& position) const {
    const MemoryNode& node = *find(position);
    if (m_options.hasDrives || (node.kind != Kind::FileLink && node.kind != Kind::DirectoryLink)) {
        return node.kind;
    }
    MemoryPosition target;
    const bool isDirectory = resolve({position.volume, node.parent}, node.name, Links::Follow,
                                     target) == ERROR_SUCCESS &&
                             find(target)->kind == Kind::Directory;
    return isDirectory ? Kind::DirectoryLink : Kind::FileLink;
}

std::wstring MemoryStore::nextRandomName() {
    constexpr wchar_t kDigits[] = L"0123456789abcdef";
    std::wstring name(32, L'0');
    std::uint64_t rest = ++m_random;
    for (std::size_t at = name.size(); rest != 0; rest >>= 4) {
        name[--at] = kDigits[rest & 15];
    }
    return name;
}

}  // namespace Tallowmere::platform::testing
