#pragma once

#include <string>
#include <vector>

#include "kest/platform/transactions/Disk.h"

/// The redo journal: the list of a commit's changes when there is more than one, or when the disk
/// cannot make the one in a single step.
///
/// It is a file in the stage that holds the new entries. Its appearance under its name is the
/// commit point: before it nothing outside the stage has changed; from then on whoever comes next
/// carries out what is left. Each step is told done or not by what is in the stage:
///
///   publish a new entry      the slot is there: to do              gone: done
///   take an old entry away   "<slot>-old" is not there: to do      there: done
///
/// The journal is removed, durably, before any old entry is destroyed, so an absent "-old" always
/// means "not yet taken away".
namespace Tallowmere::platform::transactions {

struct JournalEntry {
    std::wstring directory;  ///< the text of the directory whose entry changes
    std::wstring name;       ///< the entry
    std::wstring slot;       ///< its place in the stage
    bool takesOld = false;   ///< an old entry is taken away
    bool putsNew = false;    ///< a new entry is published
    /// How the old entry is spelled where that differs from `name`, so that taking the change back
    /// gives it its own name again. Empty when it does not differ.
    std::wstring oldName = {};
};

inline const std::wstring kJournalName = L"journal";

/// Writes the journal into the stage, durably: when this has answered ERROR_SUCCESS the changes are
/// committed, otherwise they are not.
DWORD writeJournal(Disk& disk, const DirectoryPtr& stage, const std::vector<JournalEntry>& entries);

/// Reads it. ERROR_FILE_NOT_FOUND when there is none, ERROR_FILE_CORRUPT when it is not one of
/// ours.
DWORD readJournal(Disk& disk, const DirectoryPtr& stage, std::vector<JournalEntry>& entries);

/// Carries out what is left of the entries, in order, and makes it durable.
DWORD redo(Disk& disk, const DirectoryPtr& stage, const std::vector<JournalEntry>& entries);

/// Takes back what was carried out, in reverse order.
DWORD undo(Disk& disk, const DirectoryPtr& stage, const std::vector<JournalEntry>& entries);

/// Removes the journal, durably.
DWORD removeJournal(Disk& disk, const DirectoryPtr& stage);

}  // namespace Tallowmere::platform::transactions
