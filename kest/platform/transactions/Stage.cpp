#include "kest/platform/transactions/Stage.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "kest/platform/transactions/Journal.h"
#include "kest/platform/transactions/TreeRemoval.h"

namespace Tallowmere::platform::transactions {
namespace {

constexpr std::wstring_view kStagePrefix = L".kest-";
constexpr std::size_t kRandomDigits = 32;
constexpr int kTries = 16;

}  // namespace

bool isStageName(const std::wstring& name) {
    if (name.size() != kStagePrefix.size() + kRandomDigits ||
        name.compare(0, kStagePrefix.size(), kStagePrefix) != 0) {
        return false;
    }
    return std::all_of(name.begin() + kStagePrefix.size(), name.end(), [](wchar_t c) {
        return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f');
    });
}

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
        // Between the making and the locking somebody may have taken it for an orphan and removed
        // it: then the next one is tried.
        error = disk.openBelow(where, made->m_name, Links::Refuse, made->m_directory);
        if (error == ERROR_SUCCESS) {
            error = disk.lock(made->m_directory, made->m_lock);
        }
        if (error == ERROR_SUCCESS && disk.isEntry(where, made->m_name, made->m_directory)) {
            if (disk.isPrivateOfOurs(made->m_directory)) {
                stage = std::move(made);
                return ERROR_SUCCESS;
            }
            // A volume that cannot keep it private: nothing of ours may stay there.
            (void)disk.removeLocked(where, made->m_name, std::move(made->m_lock));
        }
        if (error != ERROR_SUCCESS && error != ERROR_LOCK_VIOLATION &&
            error != ERROR_FILE_NOT_FOUND) {
            (void)disk.removeDirectory(where, made->m_name);
            return error;
        }
    }
    return error == ERROR_SUCCESS ? ERROR_BUSY : error;
}

std::wstring Stage::newSlot() {
    return L"slot-" + std::to_wstring(m_slots++);
}

DWORD Stage::discard() {
    DWORD first = ERROR_SUCCESS;
    const auto note = [&](DWORD error) {
        if (first == ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) {
            first = error;
        }
    };
    std::unique_ptr<Listing> listing;
    DWORD error = m_disk.list(m_directory, listing);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    std::vector<std::wstring> names;
    Record record;
    while ((error = listing->next(record)) == ERROR_SUCCESS) {
        names.push_back(record.name);
    }
    listing.reset();
    for (const std::wstring& name : names) {
        note(removeTree(m_disk, m_directory, name));
    }
    note(m_disk.removeLocked(m_where, m_name, std::move(m_lock)));
    return first;
}

DWORD recoverStage(Disk& disk, const DirectoryPtr& where, const std::wstring& name, bool& isStage,
                   bool& changed) {
    isStage = false;
    changed = false;
    Kind kind{};
    if (disk.describe(where, name, kind, nullptr) != ERROR_SUCCESS) {
        // Gone meanwhile, as a stage goes when its owner is done.
        isStage = true;
        return ERROR_SUCCESS;
    }
    if (kind != Kind::Directory) {
        return ERROR_SUCCESS;
    }
    isStage = true;
    Stage stage(disk, where, name);
    if (disk.openBelow(where, name, Links::Refuse, stage.m_directory) != ERROR_SUCCESS ||
        !disk.sameVolume(where, stage.m_directory) || !disk.isPrivateOfOurs(stage.m_directory)) {
        // Another user's: not for us to judge or to touch.
        return ERROR_SUCCESS;
    }
    if (disk.lock(stage.m_directory, stage.m_lock) != ERROR_SUCCESS ||
        !disk.isEntry(where, name, stage.m_directory)) {
        return ERROR_SUCCESS;
    }
    std::vector<JournalEntry> entries;
    DWORD error = readJournal(disk, stage.m_directory, entries);
    if (error == ERROR_SUCCESS) {
        changed = true;
        error = redo(disk, stage.m_directory, entries);
        if (error == ERROR_SUCCESS) {
            error = removeJournal(disk, stage.m_directory);
        }
        if (error != ERROR_SUCCESS) {
            return error;
        }
    } else if (error != ERROR_FILE_NOT_FOUND) {
        // It may hold somebody's only copy: better an error than a guess.
        return error;
    }
    (void)stage.discard();
    return ERROR_SUCCESS;
}

DWORD recoverStages(Disk& disk, const DirectoryPtr& where) {
    std::unique_ptr<Listing> listing;
    if (disk.list(where, listing) != ERROR_SUCCESS) {
        // A directory that may be passed through but not listed: nothing is met here.
        return ERROR_SUCCESS;
    }
    std::vector<std::wstring> names;
    Record record;
    while (listing->next(record) == ERROR_SUCCESS) {
        if (isStageName(record.name)) {
            names.push_back(record.name);
        }
    }
    DWORD first = ERROR_SUCCESS;
    for (const std::wstring& name : names) {
        bool isStage = false;
        bool changed = false;
        const DWORD error = recoverStage(disk, where, name, isStage, changed);
        if (first == ERROR_SUCCESS) {
            first = error;
        }
    }
    return first;
}

}  // namespace Tallowmere::platform::transactions
