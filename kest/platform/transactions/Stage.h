#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kest/platform/transactions/Disk.h"
#include "kest/platform/transactions/Journal.h"
#include "kest/platform/transactions/StageNames.h"

/// The stage: a private directory in the directory whose entries change, so on the same volume, in
/// which new entries are made and old ones are destroyed. Its owner holds a lock on it that ends
/// with the owner, so a stage whose lock can be had is an orphan.
///
/// States of a stage, and what whoever finds it as an orphan does after having made everything
/// durable that its owner may have left in memory:
///
///   no journal            What is in it is new and was never published, or is old and was
///                         replaced or removed by one step of the disk. It is destroyed.
///                         (Everything durable first: else the destruction of an old tree could
///                         survive a power cut that takes back the step which put it here.)
///   journal               What is left of it is carried out; then as without one.
///   journal, given up     What was carried out is taken back; then as without one.
///   journal, unreadable   It may hold somebody's only copy: an error, and nothing is touched.
namespace Tallowmere::platform::transactions {

/// What an entry with the name of a stage has turned out to be.
struct Met {
    /// A stage: ours, a live one, one of another user, or one that was just removed. Such entries
    /// are no part of what a transaction shows.
    bool isStage = false;
    /// Entries outside the stage were changed to finish what it had begun.
    bool changed = false;
    /// Its owner lives and is about to publish, or publishes, these changes; any change when none
    /// can be read.
    bool isPublishing = false;
    Journal publishing;
};

class Stage {
public:
    /// Makes a stage in `where` and locks it.
    static DWORD create(Disk& disk, const DirectoryPtr& where, std::unique_ptr<Stage>& stage);

    const DirectoryPtr& directory() const { return m_directory; }
    const std::wstring& name() const { return m_name; }

    /// A name in the stage that is not used yet.
    std::wstring newSlot();

    /// Removes the stage and all that is in it. Only when there is surely no journal, and when no
    /// step that may still be lost has put anything old into it. What cannot be removed stays for
    /// the next who comes by. `before` is what is known of the trees that are in it.
    void discard(ListedBefore& before);

private:
    friend DWORD meetStage(Disk& disk, const DirectoryPtr& where, const std::wstring& name,
                           Met& met);

    Stage(Disk& disk, DirectoryPtr where, std::wstring name);
    DWORD own();

    Disk& m_disk;
    DirectoryPtr m_where;
    std::wstring m_name;
    DirectoryPtr m_directory;
    std::unique_ptr<DirectoryLock> m_lock;
    unsigned m_slots = 0;
};

/// Looks at an entry whose name has that form, and brings an orphan of ours to its end. Fails only
/// when a committed change could not be finished, or one that was given up not be taken back, or
/// when the machine had not the means to tell whether there is any.
DWORD meetStage(Disk& disk, const DirectoryPtr& where, const std::wstring& name, Met& met);

/// Meets all stages in a directory but the one named `own`, and goes on after a failure; the first
/// one is the answer.
DWORD meetStages(Disk& disk, const DirectoryPtr& where, const std::wstring& own,
                 std::vector<Met>& met);

}  // namespace Tallowmere::platform::transactions
