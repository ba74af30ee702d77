// How a transaction's view becomes what everybody sees.

#include <algorithm>
#include <utility>

#include "kest/platform/HandleTable.h"
#include "kest/platform/transactions/Guard.h"
#include "kest/platform/transactions/Texts.h"
#include "kest/platform/transactions/Transaction.h"

namespace Tallowmere::platform::transactions {
namespace {

/// How often a change is tried when others put something in its way meanwhile.
constexpr int kTries = 8;

}  // namespace

Transaction::~Transaction() {
    (void)errorOf([&]() -> DWORD {
        rollBack();
        return ERROR_SUCCESS;
    });
}

void Transaction::end(State state) {
    m_state = state;
    if (m_stage != nullptr) {
        if (!m_keepsStage) {
            // What cannot be removed now stays an orphan, and is removed by whoever comes next.
            (void)errorOf([&] {
                m_stage->discard(m_toGo);
                return DWORD{ERROR_SUCCESS};
            });
        }
        m_stage.reset();
    }
    ++m_generation;
    m_changes.clear();
    m_views.clear();
    m_pinned.clear();
    for (auto& [handle, search] : m_searches) {
        (void)retireHandle(handle, HandleKind::Search);
    }
    m_searches.clear();
    m_toGo = {};
}

void Transaction::rollBack() {
    if (m_state == State::Open) {
        // Nothing may hold open what is to be removed.
        for (auto& [handle, search] : m_searches) {
            search->m_listing.reset();
        }
        end(State::RolledBack);
    }
}

DWORD Transaction::commit() {
    if (m_state != State::Open) {
        return m_state == State::Committed ? ERROR_TRANSACTION_ALREADY_COMMITTED
                                           : ERROR_TRANSACTION_ALREADY_ABORTED;
    }
    // Nothing may hold a directory open that is about to be renamed.
    for (auto& [handle, search] : m_searches) {
        search->m_listing.reset();
    }
    m_views.clear();
    m_pinned.clear();
    DWORD error = m_refusal;
    if (error == ERROR_SUCCESS) {
        error = errorOf([&] { return publish(); });
    }
    (void)errorOf([&]() -> DWORD {
        end(error == ERROR_SUCCESS ? State::Committed : State::RolledBack);
        return ERROR_SUCCESS;
    });
    return error;
}

DWORD Transaction::publish() {
    ChangedDirectories directories;
    DWORD error = changedDirectories(directories);
    if (error != ERROR_SUCCESS || directories.empty()) {
        return error;
    }
    error = settleStage(directories);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const std::vector<JournalEntry> entries = entriesOf(directories);
    const bool stages = std::any_of(entries.begin(), entries.end(),
                                    [](const JournalEntry& entry) { return entry.putsNew; });
    if (stages) {
        // Before anything is published: a name must never be durable before what it names.
        error = m_disk.syncVolume(m_stage->directory());
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (entries.size() == 1) {
        error = meetRivals(directories, entries);
        bool isDone = false;
        if (error == ERROR_SUCCESS) {
            error = checkSeen(directories, entries);
        }
        if (error == ERROR_SUCCESS) {
            error = publishOne(entries.front(), directories.front()->directory, isDone);
        }
        if (isDone || error != ERROR_SUCCESS) {
            return error;
        }
    }
    return publishAll(directories, entries);
}

bool Transaction::DirectoryChanges::publishesNothing() const {
    return removed.empty() && std::none_of(others.begin(), others.end(), [](const auto& other) {
               return other.second.what == Change::What::Staged;
           });
}

/// The directories with changes to publish. They must be on one volume, because only there an entry
/// can be published by renaming it.
DWORD Transaction::changedDirectories(ChangedDirectories& directories) {
    for (auto& [folded, changes] : m_changes) {
        for (const auto& [name, change] : changes.others) {
            if (change.what == Change::What::Emptied) {
                // A mount point that is to be gone: it can be emptied but not removed.
                return ERROR_BUSY;
            }
            if (change.what == Change::What::Refilled) {
                // Its entries change one by one because it is another volume. It must still be so.
                const DirectoryChanges* const inside = changesOf(join(changes.text, change.name));
                const DWORD error = inside == nullptr ? DWORD{ERROR_SUCCESS}
                                                      : m_disk.checkSameVolume(changes.directory,
                                                                               inside->directory);
                if (error != ERROR_NOT_SAME_DEVICE) {
                    return error == ERROR_SUCCESS ? DWORD{ERROR_TRANSACTIONAL_CONFLICT} : error;
                }
            }
        }
        if (changes.publishesNothing()) {
            continue;
        }
        if (!directories.empty()) {
            const DWORD error =
                m_disk.checkSameVolume(directories.front()->directory, changes.directory);
            if (error != ERROR_SUCCESS) {
                return error;
            }
        }
        // The one in which the stage stands comes first.
        directories.insert(folded == m_stageWhere ? directories.begin() : directories.end(),
                           &changes);
    }
    return ERROR_SUCCESS;
}

/// Sees to it that the stage stands in the first of the changed directories: there it is met by
/// whoever looks at what has changed, and it does not go with a directory that is itself replaced.
DWORD Transaction::settleStage(ChangedDirectories& directories) {
    DirectoryChanges& first = *directories.front();
    if (m_stage != nullptr && &first == changesOf(m_stageWhere)) {
        return ERROR_SUCCESS;
    }
    std::unique_ptr<Stage> settled;
    DWORD error = Stage::create(m_disk, first.directory, settled);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = errorOf([&]() -> DWORD {
        for (DirectoryChanges* const changes : directories) {
            for (auto& [name, change] : changes->others) {
                if (change.what != Change::What::Staged) {
                    continue;
                }
                const std::wstring slot = settled->newSlot();
                const DWORD moved =
                    m_disk.rename(m_stage->directory(), change.slot, settled->directory(), slot);
                if (moved != ERROR_SUCCESS) {
                    return moved;
                }
                change.slot = slot;
            }
        }
        return ERROR_SUCCESS;
    });
    // On failure everything is rolled back, whichever of the two it stands in.
    std::swap(m_stage, settled);
    if (settled != nullptr) {
        (void)errorOf([&] {
            ListedBefore nothing;
            settled->discard(nothing);
            return DWORD{ERROR_SUCCESS};
        });
    }
    m_stageWhere = foldPath(first.text);
    return error;
}

std::vector<JournalEntry> Transaction::entriesOf(const ChangedDirectories& directories) {
    std::vector<JournalEntry> entries;
    for (std::size_t i = 0; i < directories.size(); ++i) {
        // The old entry by the disk's own spelling, so that it comes back as it was if it has to.
        const auto spelled = [&](const std::wstring& name) {
            return m_disk.spelling(directories[i]->directory, name);
        };
        for (const std::wstring& name : directories[i]->removed.all()) {
            const std::wstring old = spelled(name);
            entries.push_back({i, old, old, m_stage->newSlot(), true, false});
        }
        for (const auto& [folded, change] : directories[i]->others) {
            if (change.what == Change::What::Staged) {
                entries.push_back({i, change.name,
                                   change.hadOld ? spelled(change.name) : change.name, change.slot,
                                   change.hadOld, true});
            }
        }
    }
    // What may be refused because a rival has come first is tried first: nothing has to be taken
    // back then that another rival may have replaced meanwhile.
    std::stable_partition(entries.begin(), entries.end(),
                          [](const JournalEntry& entry) { return !entry.takesOld; });
    return entries;
}

/// Brings what others have begun in the changed directories to its end, and refuses to interfere
/// with a rival that publishes the same names at this moment.
DWORD Transaction::meetRivals(const ChangedDirectories& directories,
                              const std::vector<JournalEntry>& entries) {
    std::unordered_set<std::wstring> names;
    for (const JournalEntry& entry : entries) {
        names.insert(m_disk.fold(entry.name));
    }
    for (const DirectoryChanges* const changes : directories) {
        std::vector<Met> stages;
        const DWORD error = meetStages(m_disk, changes->directory, m_stage->name(), stages);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        for (const Met& met : stages) {
            const auto& theirs = met.publishing.entries;
            const bool collides =
                met.isPublishing &&
                (theirs.empty() ||
                 std::any_of(theirs.begin(), theirs.end(), [&](const auto& entry) {
                     return names.count(m_disk.fold(entry.name)) != 0;
                 }));
            if (met.changed || collides) {
                // What this transaction has seen is no longer what is there.
                return ERROR_TRANSACTIONAL_CONFLICT;
            }
        }
    }
    return ERROR_SUCCESS;
}

/// Where a whole directory was listed and its entries then changed one by one, as those of a drive
/// are, nothing may have come or gone meanwhile: the result would be neither what was meant nor
/// what a rival meant.
DWORD Transaction::checkSeen(const ChangedDirectories& directories,
                             const std::vector<JournalEntry>& entries) {
    for (std::size_t i = 0; i < directories.size(); ++i) {
        if (directories[i]->seen < 0) {
            continue;
        }
        std::unordered_set<std::wstring> olds;
        for (const JournalEntry& entry : entries) {
            if (entry.directory == i && entry.takesOld) {
                olds.insert(m_disk.fold(entry.oldName));
            }
        }
        std::int64_t seen = 0;
        std::unique_ptr<Listing> listing;
        DWORD error = m_disk.list(directories[i]->directory, listing);
        Record record;
        while (error == ERROR_SUCCESS && (error = listing->next(record)) == ERROR_SUCCESS) {
            if (!isStageName(record.name)) {
                ++seen;
                olds.erase(m_disk.fold(record.name));
            }
        }
        if (error != ERROR_NO_MORE_FILES) {
            return error;
        }
        if (seen != directories[i]->seen || !olds.empty()) {
            return ERROR_TRANSACTIONAL_CONFLICT;
        }
    }
    return ERROR_SUCCESS;
}

/// One change in one step of the disk. `isDone` stays false when the disk has no such step.
DWORD Transaction::publishOne(const JournalEntry& entry, const DirectoryPtr& directory,
                              bool& isDone) {
    const DirectoryPtr& stage = m_stage->directory();
    const bool replaces = entry.takesOld && entry.putsNew;
    bool exchanged = false;
    DWORD error = ERROR_SUCCESS;
    for (int tries = 0; tries < kTries; ++tries) {
        if (replaces) {
            error = m_disk.exchange(stage, entry.slot, directory, entry.name);
            exchanged = error == ERROR_SUCCESS;
            if (error == ERROR_NOT_SUPPORTED) {
                return ERROR_SUCCESS;
            }
            if (error != ERROR_FILE_NOT_FOUND) {
                break;
            }
            // The old entry is gone by another hand: the new one takes the free place.
        }
        error = entry.putsNew ? m_disk.rename(stage, entry.slot, directory, entry.name)
                              : m_disk.rename(directory, entry.name, stage, entry.slot);
        if (!replaces || error != ERROR_ALREADY_EXISTS) {
            break;
        }
    }
    isDone = true;
    if (!entry.putsNew && error == ERROR_FILE_NOT_FOUND) {
        return m_disk.syncDirectory(directory);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const auto sync = [&] { return errorOf([&] { return m_disk.syncDirectory(directory); }); };
    // Until the step is durable the stage may hold what a power cut brings back.
    m_keepsStage = true;
    error = sync();
    if (error == ERROR_SUCCESS) {
        m_keepsStage = false;
        return ERROR_SUCCESS;
    }
    // It cannot be said that the change will last, so it is taken back.
    const DWORD back = errorOf([&] {
        if (exchanged) {
            return m_disk.exchange(stage, entry.slot, directory, entry.name);
        }
        return entry.putsNew ? m_disk.rename(directory, entry.name, stage, entry.slot)
                             : m_disk.rename(stage, entry.slot, directory, entry.oldName);
    });
    if (sync() == ERROR_SUCCESS) {
        m_keepsStage = false;
        // If taking back was refused, the change stands, and now it can be vouched for.
        return back == ERROR_SUCCESS ? error : DWORD{ERROR_SUCCESS};
    }
    return error;
}

DWORD Transaction::publishAll(const ChangedDirectories& directories,
                              const std::vector<JournalEntry>& entries) {
    const DirectoryPtr& stage = m_stage->directory();
    Journal journal;
    std::vector<DirectoryPtr> opened;
    for (const DirectoryChanges* const changes : directories) {
        journal.directories.push_back(opened.empty() ? std::wstring() : changes->text);
        opened.push_back(changes->directory);
    }
    journal.entries = entries;
    // The stage itself has to last before anything old is put into it.
    DWORD error = m_disk.syncDirectory(directories.front()->directory);
    if (error == ERROR_SUCCESS) {
        error = writeDraft(m_disk, stage, journal);
    }
    if (error == ERROR_SUCCESS) {
        error = meetRivals(directories, entries);
    }
    if (error == ERROR_SUCCESS) {
        error = checkSeen(directories, entries);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    m_keepsStage = true;
    const auto removed = [&] {
        m_keepsStage = errorOf([&] { return removeJournal(m_disk, stage); }) != ERROR_SUCCESS;
        return !m_keepsStage;
    };
    error = errorOf([&] {
        const DWORD committed = commitDraft(m_disk, stage);
        return committed == ERROR_SUCCESS ? redo(m_disk, stage, opened, entries, kTries)
                                          : committed;
    });
    if (error == ERROR_SUCCESS) {
        // What stays behind is cleared up by the next who comes by.
        (void)removed();
        return ERROR_SUCCESS;
    }
    const DWORD back = errorOf([&] { return undo(m_disk, stage, opened, entries); });
    if (back != ERROR_SUCCESS || !removed()) {
        // Old and new are both kept in the stage; the next who comes by takes the rest back.
        (void)errorOf([&] { return giveUpJournal(m_disk, stage); });
    }
    return error;
}

}  // namespace Tallowmere::platform::transactions
