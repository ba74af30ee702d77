#include "SourceWalk.h"

#include <vector>

#include "kest/platform/transactions/StageNames.h"
#include "kest/transacted/ExcludedPaths.h"

namespace Tallowmere::command {
namespace {

struct Level {
    std::wstring relative;
    std::vector<disk::Entry> entries;
    std::size_t next = 0;
};

/// Why a copy leaves the entry out; null when it does not.
const wchar_t* reasonToSkip(const std::wstring& root, const std::wstring& relative,
                            const disk::Entry& entry) {
    // As the walk of the library puts paths together.
    if (isExcludedPath(root + L'\\' + relative)) {
        return L"a folder of the system at the root of a drive";
    }
    if (entry.kind == disk::Kind::folder && platform::transactions::isStageName(entry.name)) {
        return L"what a copy or deletion works in, or has left behind";
    }
    return nullptr;
}

}  // namespace

void SourceWalk::walk(const std::wstring& root) {
    std::vector<Level> levels;
    const auto open = [&](const std::wstring& relative) {
        Level level;
        level.relative = relative;
        std::wstring reason;
        if (!disk::list(relative.empty() ? root : disk::join(root, relative), level.entries,
                        reason)) {
            fail(relative, reason);
        }
        levels.push_back(std::move(level));
    };
    open(L"");
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.entries.size()) {
            levels.pop_back();
            continue;
        }
        const disk::Entry& entry = level.entries[level.next++];
        const std::wstring relative =
            level.relative.empty() ? entry.name : disk::join(level.relative, entry.name);
        if (const wchar_t* const reason = reasonToSkip(root, relative, entry)) {
            skip(relative, entry, reason);
            continue;
        }
        const bool isFolder = entry.kind == disk::Kind::folder;
        if (!meet(relative, entry)) {
            return;
        }
        if (isFolder) {
            open(relative);
        }
    }
}

}  // namespace Tallowmere::command
