#pragma once

#include <string>
#include <vector>

#include "kest/platform/transactions/Disk.h"

/// The redo journal: the list of a commit's changes when there is more than one, or when the disk
/// cannot make the one in a single step.
///
/// It is a file in the stage that holds the new entries. States, by what is in the stage:
///
///   draft      Nothing outside the stage has changed. The draft tells rivals which names are about
///              to change.
///   journal    Committed: whoever comes next carries out what is left. What is done of an entry is
///              told by the stage, too:
///                publish a new entry      the slot is there: to do              gone: done
///                take an old entry away   "<slot>-old" is not there: to do      there: done
///              but nothing is taken away any more for a new entry that is published.
///   journal    Given up: whoever comes next takes back what was carried out, told by the same
///   and mark   signs the other way round.
///   neither    Nothing is to be done outside the stage.
///
/// What makes this hold through a power cut in which any of the changes that were not synced may be
/// lost, each for itself:
///   - the new entries and the stage itself are durable before the journal appears;
///   - the journal is durable before the first entry changes;
///   - all changed directories are durable before the journal goes, and when changes are taken
///   back,
///     also between taking new entries out and putting old ones in their place;
///   - the journal is gone for good before anything in the stage is destroyed, so an absent "-old"
///     always means "not yet taken away";
///   - whoever finds a stage makes everything durable before acting on what it sees (recoverStage).
///
/// On a disk without a journal of its own, where a rename to another directory is two steps, an
/// entry may be found under both names: then the rename is brought to its end.
namespace Tallowmere::platform::transactions {

struct JournalEntry {
    std::size_t directory = 0;  ///< in which of the journal's directories
    std::wstring name;          ///< the new entry's name
    std::wstring oldName;       ///< the old entry's name as the disk spells it
    std::wstring slot;          ///< its place in the stage
    bool takesOld = false;      ///< an old entry is taken away
    bool putsNew = false;       ///< a new entry is published
};

struct Journal {
    /// Where the entries are. The first is the directory in which the stage stands, whatever it is
    /// called by then, and has no text.
    std::vector<std::wstring> directories;
    std::vector<JournalEntry> entries;
};

/// Writes the draft into the stage.
DWORD writeDraft(Disk& disk, const DirectoryPtr& stage, const Journal& journal);

/// Makes the draft the journal, durably. ERROR_SUCCESS: committed. After an error it may be there
/// or not: see removeJournal.
DWORD commitDraft(Disk& disk, const DirectoryPtr& stage);

/// Reads the journal or the draft. ERROR_FILE_NOT_FOUND when there is none, ERROR_FILE_CORRUPT when
/// it is not one of ours.
DWORD readJournal(Disk& disk, const DirectoryPtr& stage, Journal& journal);
DWORD readDraft(Disk& disk, const DirectoryPtr& stage, Journal& journal);

/// Carries out what is left of the entries and makes it durable. `directories` are the journal's,
/// on the stage's volume. When somebody puts something in the way meanwhile, it is taken away as
/// well, so often; then ERROR_ALREADY_EXISTS.
DWORD redo(Disk& disk, const DirectoryPtr& stage, const std::vector<DirectoryPtr>& directories,
           const std::vector<JournalEntry>& entries, int tries);

/// Takes back what was carried out and makes that durable.
DWORD undo(Disk& disk, const DirectoryPtr& stage, const std::vector<DirectoryPtr>& directories,
           const std::vector<JournalEntry>& entries);

/// Marks the journal as given up, durably.
DWORD giveUpJournal(Disk& disk, const DirectoryPtr& stage);
/// ERROR_SUCCESS with the answer in `isGivenUp`.
DWORD isJournalGivenUp(Disk& disk, const DirectoryPtr& stage, bool& isGivenUp);

/// Removes the journal, if there is one, durably.
DWORD removeJournal(Disk& disk, const DirectoryPtr& stage);

}  // namespace Tallowmere::platform::transactions
