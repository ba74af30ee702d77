#pragma once

#include <memory>
#include <string>

#include "kest/platform/transactions/Disk.h"

/// The stage: a private directory in the directory whose entries change, so on the same volume, in
/// which new entries are made and old ones are destroyed. Its owner holds a lock on it that ends
/// with the owner, so a stage whose lock can be had is an orphan.
namespace Tallowmere::platform::transactions {

class Stage {
public:
    /// Makes a stage in `where` and locks it.
    static DWORD create(Disk& disk, const DirectoryPtr& where, std::unique_ptr<Stage>& stage);

    const DirectoryPtr& directory() const { return m_directory; }

    /// A name in the stage that is not used yet.
    std::wstring newSlot();

    /// Removes the stage and all that is in it. What cannot be removed stays for the next who comes
    /// by; the answer says why.
    DWORD discard();

private:
    friend DWORD recoverStage(Disk& disk, const DirectoryPtr& where, const std::wstring& name,
                              bool& isStage, bool& changed);

    Stage(Disk& disk, DirectoryPtr where, std::wstring name);

    Disk& m_disk;
    DirectoryPtr m_where;
    std::wstring m_name;
    DirectoryPtr m_directory;
    std::unique_ptr<DirectoryLock> m_lock;
    unsigned m_slots = 0;
};

/// Whether a name has the form of a stage's.
bool isStageName(const std::wstring& name);

/// Looks at an entry whose name has that form. `isStage` tells whether it is one: ours, a live one
/// or one of another user; such entries are no part of what a transaction shows. An orphan of ours
/// is finished when its commit point was reached and discarded when not; `changed` tells whether
/// that changed other entries of directories.
DWORD recoverStage(Disk& disk, const DirectoryPtr& where, const std::wstring& name, bool& isStage,
                   bool& changed);

/// Recovers all orphans in a directory. Fails only when a committed change could not be finished.
DWORD recoverStages(Disk& disk, const DirectoryPtr& where);

}  // namespace Tallowmere::platform::transactions
