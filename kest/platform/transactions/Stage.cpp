#include "kest/platform/transactions/Stage.h"

#include <utility>
#include <vector>

#include "kest/platform/transactions/Guard.h"
#include "kest/platform/transactions/TreeRemoval.h"

namespace Tallowmere::platform::transactions {
namespace {

constexpr int kTries = 16;

}  // namespace

Stage::Stage(Disk& disk, DirectoryPtr where, std::wstring name)
    : m_disk(disk), m_where(std::move(where)), m_name(std::move(name)) {}

DWORD Stage::create(Disk& disk, const DirectoryPtr& where, std::unique_ptr<Stage>& stage) {
    DWORD error = ERROR_SUCCESS;
    for (int tries = 0; tries < kTries; ++tries) {
        std::unique_ptr<Stage> made(
            new Stage(disk, where, std::wstring(kStagePrefix) + disk.randomName()));
        error = disk.makePrivateDirectory(where, made->m_name);
        if (error == ERROR_ALREADY_EXISTS) {
            continue;
        }
        if (error != ERROR_SUCCESS) {
            return error;
        }
        error = errorOf([&] { return made->own(); });
        if (error == ERROR_SUCCESS) {
            stage = std::move(made);
            return ERROR_SUCCESS;
        }
        // Whoever may have taken it for an orphan is removing it, too.
        (void)(made->m_lock != nullptr
                   ? disk.removeLocked(where, made->m_name, std::move(made->m_lock))
                   : disk.removeDirectory(where, made->m_name));
        if (error != ERROR_LOCK_VIOLATION && error != ERROR_FILE_NOT_FOUND) {
            return error;
        }
    }
    return error == ERROR_SUCCESS ? ERROR_BUSY : error;
}

/// Takes what was just made. Until it is locked anybody may take it for an orphan and remove it:
/// ERROR_LOCK_VIOLATION or ERROR_FILE_NOT_FOUND.
DWORD Stage::own() {
    DWORD error = m_disk.openBelow(m_where, m_name, Links::Refuse, m_directory);
    if (error == ERROR_SUCCESS) {
        error = m_disk.lock(m_directory, m_lock);
    }
    if (error == ERROR_SUCCESS) {
        error = m_disk.checkEntry(m_where, m_name, m_directory);
    }
    // Not ours on a disk that gives everybody the same rights: what is in the stage could be
    // changed by others, and nobody could tell an orphan of ours.
    return error == ERROR_SUCCESS ? m_disk.checkPrivateOfOurs(m_directory) : error;
}

std::wstring Stage::newSlot() {
    return L"slot-" + std::to_wstring(m_slots++);
}

void Stage::discard(ListedBefore& before) {
    std::unique_ptr<Listing> listing;
    if (m_disk.list(m_directory, listing) != ERROR_SUCCESS) {
        return;
    }
    std::vector<std::wstring> names;
    Record record;
    while (listing->next(record) == ERROR_SUCCESS) {
        names.push_back(record.name);
    }
    listing.reset();
    for (const std::wstring& name : names) {
        (void)removeTree(m_disk, m_directory, name, before);
    }
    (void)m_disk.removeLocked(m_where, m_name, std::move(m_lock));
}

namespace {

/// Carries a journal out, or takes back what was carried out of one that was given up.
DWORD finish(Disk& disk, const DirectoryPtr& where, const DirectoryPtr& stage,
             const Journal& journal) {
    std::vector<DirectoryPtr> directories = {where};
    for (std::size_t i = 1; i < journal.directories.size(); ++i) {
        std::wstring canonical;
        DirectoryPtr directory;
        DWORD error = disk.openDirectory(journal.directories[i], directory, canonical);
        if (error == ERROR_SUCCESS) {
            error = disk.checkSameVolume(stage, directory);
        }
        if (error != ERROR_SUCCESS) {
            return error;
        }
        directories.push_back(std::move(directory));
    }
    bool isGivenUp = false;
    DWORD error = isJournalGivenUp(disk, stage, isGivenUp);
    if (error == ERROR_SUCCESS) {
        // What somebody has put in the way since is not taken away: the user must decide.
        error = isGivenUp ? undo(disk, stage, directories, journal.entries)
                          : redo(disk, stage, directories, journal.entries, 1);
    }
    return error == ERROR_SUCCESS ? removeJournal(disk, stage) : error;
}

/// Whether an error says nothing about an entry, but for instance that the machine runs short or
/// the disk breaks. What was to be looked at may then be an orphan with a journal, and who went on
/// from there would build on what is neither old nor new, and see it changed once more by the next
/// who looks. The errors that do say something are those of an entry that is gone, is none of ours
/// or is on a volume where nobody can change it or take a lock.
bool leavesOpen(DWORD error) {
    switch (error) {
        case ERROR_SUCCESS:
        case ERROR_INVALID_FUNCTION:
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
        case ERROR_DIRECTORY:
        case ERROR_CANT_RESOLVE_FILENAME:
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_WRITE_PROTECT:
        case ERROR_NOT_SAME_DEVICE:
        case ERROR_NOT_SUPPORTED:
            return false;
        default:
            return true;
    }
}

}  // namespace

DWORD meetStage(Disk& disk, const DirectoryPtr& where, const std::wstring& name, Met& met) {
    met = {};
    Kind kind{};
    const DWORD described = disk.describe(where, name, kind, nullptr);
    if (described != ERROR_SUCCESS) {
        // Gone meanwhile, as a stage goes when its owner is done.
        met.isStage = true;
        return leavesOpen(described) ? described : DWORD{ERROR_SUCCESS};
    }
    if (kind != Kind::Directory) {
        return ERROR_SUCCESS;
    }
    met.isStage = true;
    Stage stage(disk, where, name);
    DWORD looked = disk.openBelow(where, name, Links::Refuse, stage.m_directory);
    if (looked == ERROR_SUCCESS) {
        looked = disk.checkSameVolume(where, stage.m_directory);
    }
    if (looked == ERROR_SUCCESS) {
        looked = disk.checkPrivateOfOurs(stage.m_directory);
    }
    if (looked != ERROR_SUCCESS) {
        // Gone meanwhile, or another user's: not for us to judge or to touch.
        return leavesOpen(looked) ? looked : DWORD{ERROR_SUCCESS};
    }
    looked = disk.lock(stage.m_directory, stage.m_lock);
    if (looked == ERROR_LOCK_VIOLATION) {
        // A draft that is not whole yet does not count: when it is, its owner will look for rivals.
        DWORD error = readDraft(disk, stage.m_directory, met.publishing);
        // One that cannot be read now may be about any entry.
        met.isPublishing =
            error == ERROR_SUCCESS || (error != ERROR_FILE_CORRUPT && leavesOpen(error));
        if (error == ERROR_FILE_NOT_FOUND) {
            // It may have become the journal.
            error = readJournal(disk, stage.m_directory, met.publishing);
            met.isPublishing = error != ERROR_FILE_NOT_FOUND;
        }
        return ERROR_SUCCESS;
    }
    if (looked == ERROR_SUCCESS) {
        looked = disk.checkEntry(where, name, stage.m_directory);
    }
    if (looked != ERROR_SUCCESS) {
        return leavesOpen(looked) ? looked : DWORD{ERROR_SUCCESS};
    }
    Journal journal;
    DWORD error = readJournal(disk, stage.m_directory, journal);
    const bool isCommitted = error == ERROR_SUCCESS;
    if (!isCommitted && error != ERROR_FILE_NOT_FOUND) {
        // It may hold somebody's only copy: better an error than a guess.
        return error;
    }
    error = disk.syncDirectory(stage.m_directory);
    if (error == ERROR_SUCCESS) {
        error = disk.syncDirectory(where);
    }
    if (error == ERROR_SUCCESS && isCommitted) {
        met.changed = true;
        error = finish(disk, where, stage.m_directory, journal);
    }
    if (error == ERROR_SUCCESS) {
        ListedBefore nothing;
        stage.discard(nothing);
    }
    // An orphan that is only to be destroyed is in nobody's way.
    return isCommitted ? error : DWORD{ERROR_SUCCESS};
}

DWORD meetStages(Disk& disk, const DirectoryPtr& where, const std::wstring& own,
                 std::vector<Met>& met) {
    met.clear();
    std::unique_ptr<Listing> listing;
    DWORD error = disk.list(where, listing);
    if (error == ERROR_ACCESS_DENIED) {
        // A directory that may be passed through but not listed: nothing is met here.
        return ERROR_SUCCESS;
    }
    std::vector<std::wstring> names;
    Record record;
    while (error == ERROR_SUCCESS && (error = listing->next(record)) == ERROR_SUCCESS) {
        if (isStageName(record.name) && record.name != own) {
            names.push_back(record.name);
        }
    }
    if (error != ERROR_NO_MORE_FILES) {
        return error;
    }
    listing.reset();
    DWORD first = ERROR_SUCCESS;
    for (const std::wstring& name : names) {
        met.emplace_back();
        error = meetStage(disk, where, name, met.back());
        if (first == ERROR_SUCCESS) {
            first = error;
        }
    }
    return first;
}

}  // namespace Tallowmere::platform::transactions
