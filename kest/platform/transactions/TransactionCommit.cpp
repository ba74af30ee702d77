// How a transaction's view becomes what everybody sees.

#include <algorithm>
#include <utility>

#include "kest/platform/HandleTable.h"
#include "kest/platform/transactions/Transaction.h"

namespace Tallowmere::platform::transactions {

Transaction::~Transaction() {
    rollBack();
}

void Transaction::end(State state) {
    m_state = state;
    for (auto& [handle, search] : m_searches) {
        (void)retireHandle(handle, HandleKind::Search);
    }
    m_searches.clear();
    m_changes.clear();
    m_views.clear();
    m_pinned.clear();
    if (m_stage != nullptr) {
        // What cannot be removed now stays an orphan, and is removed by whoever comes next.
        (void)m_stage->discard();
        m_stage.reset();
    }
}

void Transaction::rollBack() {
    if (m_state == State::Open) {
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
    const DWORD error = publish();
    end(error == ERROR_SUCCESS ? State::Committed : State::RolledBack);
    return error;
}

DWORD Transaction::publish() {
    std::vector<JournalEntry> entries;
    DirectoryPtr only;
    bool stages = false;
    for (const auto& [folded, changes] : m_changes) {
        for (const std::wstring& name : changes.removed) {
            entries.push_back(
                {changes.text, m_disk.spelling(changes.directory, name), L"", true, false});
            only = changes.directory;
        }
        for (const auto& [name, change] : changes.others) {
            if (change.what == Change::What::Emptied) {
                // A mount point that is to be gone: it can be emptied but not removed.
                return ERROR_BUSY;
            }
            if (change.what == Change::What::Staged) {
                entries.push_back({changes.text, change.name, change.slot, change.hadOld, true});
                if (change.hadOld) {
                    const std::wstring old = m_disk.spelling(changes.directory, change.name);
                    entries.back().oldName = old == change.name ? std::wstring() : old;
                }
                only = changes.directory;
                stages = true;
            }
        }
    }
    if (entries.empty()) {
        return ERROR_SUCCESS;
    }
    DWORD error = stageFor(only);
    for (const auto& [folded, changes] : m_changes) {
        // A mount point that is there again is no change of the directory that it stands in.
        const bool isChanged =
            !changes.removed.empty() ||
            std::any_of(changes.others.begin(), changes.others.end(), [](const auto& other) {
                return other.second.what == Change::What::Staged;
            });
        if (error == ERROR_SUCCESS && isChanged &&
            !m_disk.sameVolume(m_stage->directory(), changes.directory)) {
            error = ERROR_NOT_SAME_DEVICE;
        }
    }
    for (JournalEntry& entry : entries) {
        if (entry.slot.empty() && error == ERROR_SUCCESS) {
            entry.slot = m_stage->newSlot();
        }
    }
    if (error == ERROR_SUCCESS && stages) {
        // Before anything is published: a name must never be durable before what it names.
        error = m_disk.syncVolume(m_stage->directory());
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (entries.size() == 1) {
        bool isDone = false;
        error = publishOne(entries.front(), only, isDone);
        if (isDone || error != ERROR_SUCCESS) {
            return error;
        }
    }
    return publishAll(entries);
}

/// One change in one step of the disk. `isDone` stays false when the disk has no such step.
DWORD Transaction::publishOne(const JournalEntry& entry, const DirectoryPtr& directory,
                              bool& isDone) {
    const DirectoryPtr& stage = m_stage->directory();
    bool exchanged = entry.takesOld && entry.putsNew;
    DWORD error = ERROR_SUCCESS;
    if (exchanged) {
        error = m_disk.exchange(stage, entry.slot, directory, entry.name);
        if (error == ERROR_NOT_SUPPORTED) {
            return ERROR_SUCCESS;
        }
        if (error == ERROR_FILE_NOT_FOUND) {
            // The old entry is gone by another hand: the new one takes the free place.
            exchanged = false;
            error = m_disk.rename(stage, entry.slot, directory, entry.name);
        }
    } else if (entry.putsNew) {
        error = m_disk.rename(stage, entry.slot, directory, entry.name);
    } else {
        error = m_disk.rename(directory, entry.name, stage, entry.slot);
        if (error == ERROR_FILE_NOT_FOUND) {
            isDone = true;
            return ERROR_SUCCESS;
        }
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    isDone = true;
    error = m_disk.syncDirectory(directory);
    if (error == ERROR_SUCCESS) {
        return ERROR_SUCCESS;
    }
    // It cannot be said that the change will last, so it is taken back.
    DWORD back = ERROR_SUCCESS;
    if (exchanged) {
        back = m_disk.exchange(stage, entry.slot, directory, entry.name);
    } else if (entry.putsNew) {
        back = m_disk.rename(directory, entry.name, stage, entry.slot);
    } else {
        back = m_disk.rename(stage, entry.slot, directory, entry.name);
    }
    // If even that is refused, the change stands and is told as what it is: done.
    return back == ERROR_SUCCESS ? error : ERROR_SUCCESS;
}

DWORD Transaction::publishAll(const std::vector<JournalEntry>& entries) {
    const DirectoryPtr& stage = m_stage->directory();
    DWORD error = writeJournal(m_disk, stage, entries);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    error = redo(m_disk, stage, entries);
    if (error == ERROR_SUCCESS) {
        if (removeJournal(m_disk, stage) != ERROR_SUCCESS) {
            // Committed, and the next who comes by clears up.
            m_stage.reset();
        }
        return ERROR_SUCCESS;
    }
    if (undo(m_disk, stage, entries) != ERROR_SUCCESS ||
        removeJournal(m_disk, stage) != ERROR_SUCCESS) {
        // Neither forward nor back: old and new are both kept in the stage with the journal, and
        // the next who comes by carries it out.
        m_stage.reset();
    }
    return error;
}

}  // namespace Tallowmere::platform::transactions
