// How a transaction changes its view.

#include <utility>

#include "kest/platform/transactions/Guard.h"
#include "kest/platform/transactions/Texts.h"
#include "kest/platform/transactions/Transaction.h"
#include "kest/platform/transactions/TreeRemoval.h"

namespace Tallowmere::platform::transactions {

namespace {

/// Whether an error tells that there is no such place, so that the caller may go on from that.
bool saysNothingIsThere(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_FILENAME_EXCED_RANGE:
        case ERROR_DIRECTORY:
        case ERROR_INVALID_DRIVE:
        case ERROR_NOT_SUPPORTED:
            return true;
        default:
            return false;
    }
}

}  // namespace

Transaction::Transaction(Disk& disk)
    : m_disk(disk), m_foldsCase(disk.fold(L"a") == disk.fold(L"A")) {}

DWORD Transaction::checkOpen() const {
    return m_state == State::Open ? m_refusal : DWORD{ERROR_TRANSACTION_NOT_ACTIVE};
}

DWORD Transaction::attributes(const wchar_t* path, WIN32_FILE_ATTRIBUTE_DATA& data) {
    m_justCreated.clear();
    DWORD error = checkOpen();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = errorOf([&] { return answer(path, data); });
    if (error != ERROR_SUCCESS && !saysNothingIsThere(error)) {
        // A caller that took this for "not there" would next copy into what is there, or report a
        // deletion that never was.
        m_refusal = error;
    }
    return error;
}

DWORD Transaction::answer(const wchar_t* path, WIN32_FILE_ATTRIBUTE_DATA& data) {
    Place place;
    DWORD error = locate(path, place);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = recover(place);
    if (error != ERROR_SUCCESS) {
        // Whatever the reason: what is there is neither the old nor the new.
        m_refusal = error;
        return error;
    }
    Kind kind{};
    if (place.name.empty()) {
        return m_disk.describe(place.parent->directory, L".", kind, &data);
    }
    const Standing stands = standing(place);
    return stands.exists() ? m_disk.describe(stands.directory(), stands.name(), kind, &data)
                           : ERROR_FILE_NOT_FOUND;
}

/// The first question about a place is when an orphaned stage beside it is met; beside, or in it
/// where it is the root of a volume, whose entries change one by one.
DWORD Transaction::recover(const Place& place) {
    const auto look = [&](const ViewPtr& view) -> DWORD {
        if (view->staged || view->recovered) {
            return ERROR_SUCCESS;
        }
        std::vector<Met> met;
        const DWORD error =
            meetStages(m_disk, view->directory, m_stage == nullptr ? L"" : m_stage->name(), met);
        view->recovered = error == ERROR_SUCCESS;
        return error;
    };
    DWORD error = look(place.parent);
    if (error != ERROR_SUCCESS || place.name.empty() || place.parent->staged) {
        return error;
    }
    Kind kind{};
    ViewPtr view;
    const Standing stands = standing(place);
    if (!stands.exists() || stands.staged) {
        return ERROR_SUCCESS;
    }
    error = m_disk.describe(stands.directory(), stands.name(), kind, nullptr);
    if (error != ERROR_SUCCESS || kind != Kind::Directory) {
        return error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_SUCCESS} : error;
    }
    error = locateDirectory(join(place.parent->text, place.name), view);
    if (error != ERROR_SUCCESS) {
        // It may be looked at all the same, and no volume is mounted where nobody may go.
        return error == ERROR_ACCESS_DENIED ? DWORD{ERROR_SUCCESS} : error;
    }
    error = m_disk.checkSameVolume(place.parent->directory, view->directory);
    return error == ERROR_NOT_SAME_DEVICE ? look(view) : error;
}

Transaction::DirectoryChanges& Transaction::changesFor(const View& view) {
    const auto [found, isNew] = m_changes.try_emplace(foldPath(view.canonical));
    DirectoryChanges& changes = found->second;
    if (isNew) {
        ++m_generation;
        changes.directory = view.directory;
        changes.text = view.canonical;
        changes.throughLink = view.throughLink;
        changes.seen = view.canonical == m_listedDirectory ? m_listedSeen : -1;
    } else if (changes.throughLink != view.throughLink) {
        changes.throughLink.clear();
    }
    return changes;
}

DWORD Transaction::stageFor(const View& where) {
    if (m_stage == nullptr) {
        const DWORD error = Stage::create(m_disk, where.directory, m_stage);
        if (error == ERROR_SUCCESS) {
            m_stageWhere = foldPath(where.canonical);
        }
        return error;
    }
    // A stage serves one volume, because only there an entry can be published by renaming it.
    return m_disk.checkSameVolume(m_stage->directory(), where.directory);
}

/// Whether something new may be made at a place on the disk. ERROR_ALREADY_EXISTS when the view has
/// something there; otherwise `hadOld` tells whether the disk has.
DWORD Transaction::newPlace(const Place& place, bool& hadOld) {
    if (const Change* const change = changeOf(place)) {
        hadOld = change->hadOld;
        return ERROR_ALREADY_EXISTS;
    }
    hadOld = isRemoved(place);
    if (hadOld) {
        return ERROR_SUCCESS;
    }
    Kind kind{};
    const DWORD error = m_disk.describe(place.parent->directory, place.name, kind, nullptr);
    hadOld = error == ERROR_SUCCESS;
    if (error == ERROR_FILE_NOT_FOUND) {
        return ERROR_SUCCESS;
    }
    return hadOld ? ERROR_ALREADY_EXISTS : error;
}

void Transaction::setStaged(const Place& place, const std::wstring& slot, bool hadOld) {
    DirectoryChanges& changes = changesFor(*place.parent);
    const std::wstring folded = m_disk.fold(place.name);
    changes.others[folded] = {Change::What::Staged, place.name, slot, hadOld};
    changes.removed.erase(folded);
    if (hadOld && !changes.removed.empty()) {
        changes.removed.erase(onDisk(place));
    }
}

DWORD Transaction::createDirectory(const wchar_t* path) {
    m_justCreated.clear();
    Place place;
    std::wstring text;
    DWORD error = checkOpen();
    if (error == ERROR_SUCCESS) {
        error = normalize(path, text);
    }
    if (error == ERROR_SUCCESS) {
        error = locateText(text, place);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (place.name.empty()) {
        return ERROR_ALREADY_EXISTS;
    }
    m_lastDirectory.reset();
    if (place.parent->staged) {
        error = m_disk.makeDirectory(place.parent->directory, place.name);
        if (error == ERROR_SUCCESS) {
            m_justCreated = text;
        }
        return error;
    }
    Change* const change = changeOf(place);
    if (change != nullptr && change->what == Change::What::Emptied) {
        change->what = Change::What::Refilled;
        return ERROR_SUCCESS;
    }
    bool hadOld = false;
    error = newPlace(place, hadOld);
    if (error == ERROR_SUCCESS) {
        error = stageFor(*place.parent);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const std::wstring slot = m_stage->newSlot();
    auto view = std::make_shared<View>();
    view->text = text;
    view->canonical = join(place.parent->canonical, place.name);
    view->staged = true;
    error = m_disk.makeDirectory(m_stage->directory(), slot);
    if (error == ERROR_SUCCESS) {
        error = m_disk.openBelow(m_stage->directory(), slot, Links::Refuse, view->directory);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    setStaged(place, slot, hadOld);
    forget(place);
    m_pinned.push_back(view);
    m_justCreated = text;
    return ERROR_SUCCESS;
}

DWORD Transaction::copyFile(const wchar_t* source, const wchar_t* destination, DWORD flags) {
    m_justCreated.clear();
    if ((flags & ~(COPY_FILE_COPY_SYMLINK | COPY_FILE_FAIL_IF_EXISTS)) != 0) {
        return ERROR_INVALID_PARAMETER;
    }
    const Links links = (flags & COPY_FILE_COPY_SYMLINK) != 0 ? Links::Refuse : Links::Follow;
    const Spot fromSpot(m_source);
    const Spot toSpot(m_target);
    Place& from = fromSpot.place();
    Place& to = toSpot.place();
    DWORD error = checkOpen();
    if (error == ERROR_SUCCESS) {
        error = locate(source, from);
    }
    if (error == ERROR_SUCCESS) {
        error = locate(destination, to);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (from.name.empty() || to.name.empty()) {
        return ERROR_ACCESS_DENIED;
    }
    const Standing stands = standing(from);
    if (!stands.exists()) {
        return ERROR_FILE_NOT_FOUND;
    }
    bool hadOld = false;
    if (to.parent->staged) {
        error = m_disk.copyFile(stands.directory(), stands.name(), to.parent->directory, to.name,
                                links, known(from));
        if (error != ERROR_ALREADY_EXISTS) {
            return error;
        }
    } else {
        error = newPlace(to, hadOld);
        if (error == ERROR_SUCCESS) {
            error = stageFor(*to.parent);
            if (error != ERROR_SUCCESS) {
                return error;
            }
            const std::wstring slot = m_stage->newSlot();
            error = m_disk.copyFile(stands.directory(), stands.name(), m_stage->directory(), slot,
                                    links, known(from));
            if (error == ERROR_SUCCESS) {
                setStaged(to, slot, hadOld);
            }
            return error;
        }
        if (error != ERROR_ALREADY_EXISTS) {
            return error;
        }
    }
    if ((flags & COPY_FILE_FAIL_IF_EXISTS) != 0) {
        return ERROR_FILE_EXISTS;
    }
    return replaceFile(to, stands, links);
}

/// Copies over an existing file. The new one is made apart first, so that a failure leaves the old.
DWORD Transaction::replaceFile(const Place& place, const Standing& source, Links links) {
    const Standing old = standing(place);
    Kind kind{};
    DWORD error = old.exists() ? m_disk.describe(old.directory(), old.name(), kind, nullptr)
                               : DWORD{ERROR_ACCESS_DENIED};
    if (error == ERROR_SUCCESS && (kind == Kind::Directory || kind == Kind::DirectoryLink)) {
        error = ERROR_ACCESS_DENIED;
    }
    if (error == ERROR_SUCCESS && old.staged) {
        // Our choice: a file of this transaction is not replaced by one that is called otherwise,
        // in another letter case or by what happens to be the other one's short name. Two files of
        // a source that tells them apart would become one, and nobody would hear of it.
        const Change* const change = changeOf(place);
        const std::wstring name =
            change != nullptr ? change->name : m_disk.spelling(old.directory(), old.name());
        error = name == place.name ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS;
    }
    if (error == ERROR_SUCCESS) {
        error = m_disk.mayRemove(old.directory(), old.name());
    }
    if (error == ERROR_SUCCESS) {
        error = stageFor(*place.parent);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const std::wstring slot = m_stage->newSlot();
    error = m_disk.copyFile(source.directory(), source.name(), m_stage->directory(), slot, links,
                            nullptr);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (!old.staged) {
        setStaged(place, slot, true);
        return ERROR_SUCCESS;
    }
    const std::wstring away = m_stage->newSlot();
    error = m_disk.rename(old.directory(), old.name(), m_stage->directory(), away);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = m_disk.rename(m_stage->directory(), slot, old.directory(), old.name());
    if (error != ERROR_SUCCESS) {
        (void)m_disk.rename(m_stage->directory(), away, old.directory(), old.name());
    }
    return error;
}

DWORD Transaction::createLink(const wchar_t* path, const wchar_t* target, bool isDirectory) {
    m_justCreated.clear();
    Place place;
    DWORD error = checkOpen();
    if (error == ERROR_SUCCESS) {
        error = locate(path, place);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (place.name.empty()) {
        return ERROR_ALREADY_EXISTS;
    }
    m_lastDirectory.reset();
    if (place.parent->staged) {
        return m_disk.makeLink(place.parent->directory, place.name, target, isDirectory);
    }
    bool hadOld = false;
    error = newPlace(place, hadOld);
    if (error == ERROR_SUCCESS) {
        error = stageFor(*place.parent);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const std::wstring slot = m_stage->newSlot();
    error = m_disk.makeLink(m_stage->directory(), slot, target, isDirectory);
    if (error == ERROR_SUCCESS) {
        setStaged(place, slot, hadOld);
    }
    return error;
}

DWORD Transaction::deleteFile(const wchar_t* path) {
    m_justCreated.clear();
    const Spot spot(m_target);
    Place& place = spot.place();
    Kind kind{};
    DWORD error = checkOpen();
    if (error == ERROR_SUCCESS) {
        error = locate(path, place);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (place.name.empty()) {
        return ERROR_ACCESS_DENIED;
    }
    const Standing stands = standing(place);
    error = kindOf(place, stands, kind);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (kind == Kind::Directory || kind == Kind::DirectoryLink) {
        return ERROR_ACCESS_DENIED;
    }
    return remove(place, stands, kind);
}

DWORD Transaction::removeDirectory(const wchar_t* path) {
    m_justCreated.clear();
    const Spot spot(m_target);
    Place& place = spot.place();
    Kind kind{};
    DWORD error = checkOpen();
    if (error == ERROR_SUCCESS) {
        error = locate(path, place);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (place.name.empty()) {
        return ERROR_BUSY;
    }
    const std::wstring canonical = join(place.parent->canonical, place.name);
    const bool isRead = canonical == m_listedDirectory && changeOf(place) == nullptr;
    // What was just read to its end is there and is a directory.
    const Standing stands =
        isRead ? Standing(place.parent->directory, place.name, place.parent->staged)
               : standing(place);
    if (isRead && !stands.staged) {
        kind = Kind::Directory;
    } else {
        error = kindOf(place, stands, kind);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (kind != Kind::Directory && kind != Kind::DirectoryLink) {
        return ERROR_DIRECTORY;
    }
    if (kind == Kind::DirectoryLink) {
        // Entries that were removed through the link go with the link alone: what it leads to is
        // somewhere else and stays as it is.
        const std::wstring link = foldPath(canonical);
        ++m_generation;
        for (auto at = m_changes.begin(); at != m_changes.end();) {
            at = at->second.throughLink == link ? m_changes.erase(at) : std::next(at);
        }
        forget(place);
        return remove(place, stands, kind);
    }
    if (stands.staged) {
        return remove(place, stands, kind);
    }
    joinInto(m_enteredText, place.parent->text, place.name);
    m_enteredCanonical = canonical;
    error = checkEmpty(m_enteredText, canonical);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    ViewPtr view;
    error = locateDirectory(m_enteredText, view);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = m_disk.checkSameVolume(place.parent->directory, view->directory);
    if (error == ERROR_NOT_SAME_DEVICE) {
        // A mount point cannot be renamed away. Its entries change one by one; whether it is to be
        // there again shows later.
        DirectoryChanges& changes = changesFor(*place.parent);
        changes.others[m_disk.fold(place.name)] = {Change::What::Emptied, place.name, L"", true};
        (void)changesFor(*view);
        m_listedDirectory.clear();
        return ERROR_SUCCESS;
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    ++m_generation;
    m_changes.erase(foldPath(canonical));
    view.reset();
    forget(place);
    if (isRead && m_isListedKnown) {
        m_isListedKnown = false;
        m_toGo.add(m_listedNumber, m_listedEntries);
    }
    return remove(place, stands, kind);
}

/// The search that gave an entry just now: before anything else, or, for a directory that a walk
/// has meanwhile been through, as the last that it gave so far. 0 when there is none.
std::uint64_t Transaction::giverOf(const Place& place, bool isDirectory) const {
    if (known(place) != nullptr) {
        return m_lastSearch;
    }
    if (isDirectory) {
        for (const auto& [handle, search] : m_searches) {
            if (search->m_record.name == place.name &&
                search->m_canonical == place.parent->canonical) {
                return search->m_number;
            }
        }
    }
    return 0;
}

DWORD Transaction::remove(const Place& place, const Standing& standing, Kind kind) {
    const bool isDirectory = kind == Kind::Directory || kind == Kind::DirectoryLink;
    const std::uint64_t giver = giverOf(place, isDirectory);
    m_lastDirectory.reset();
    if (isDirectory) {
        m_listedDirectory.clear();
    }
    DWORD error = m_disk.mayRemove(standing.directory(), standing.name());
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (standing.staged) {
        error = isDirectory ? m_disk.removeDirectory(standing.directory(), standing.name())
                            : m_disk.removeFile(standing.directory(), standing.name());
        if (error != ERROR_SUCCESS) {
            return error;
        }
        if (isDirectory) {
            forget(place);
        }
        if (place.parent->staged) {
            return ERROR_SUCCESS;
        }
        DirectoryChanges& changes = changesFor(*place.parent);
        const auto found = changes.others.find(m_disk.fold(place.name));
        if (found->second.hadOld) {
            changes.emptier = 0;
            changes.removed.add(found->first);
        }
        changes.others.erase(found);
        return ERROR_SUCCESS;
    }
    DirectoryChanges* changes = changesOf(*place.parent);
    if (changes == nullptr || changes->removed.empty()) {
        // Asked once for each directory: what could not be destroyed after the commit is refused
        // now.
        error = m_disk.mayRemoveFrom(place.parent->directory);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        changes = &changesFor(*place.parent);
        changes->emptier = giver;
    } else if (changes->throughLink != place.parent->throughLink) {
        changes->throughLink.clear();
    }
    if (changes->emptier != giver) {
        changes->emptier = 0;
    }
    std::wstring scratch;
    changes->removed.add(folded(place.name, scratch));
    return ERROR_SUCCESS;
}

}  // namespace Tallowmere::platform::transactions
