#include "kest/platform/transactions/TreeRemoval.h"

#include <utility>
#include <vector>

namespace Tallowmere::platform::transactions {
namespace {

/// How many levels are held open at once.
constexpr std::size_t kDepth = 32;

struct Level {
    DirectoryPtr parent;
    std::wstring name;
    DirectoryPtr directory;
    std::unique_ptr<Listing> listing;
    /// Whether it was found to hold more than was listed, and listed once more.
    bool isListedAgain = false;
};

class Removal {
public:
    Removal(Disk& disk, DirectoryPtr top, ListedBefore& before)
        : m_disk(disk), m_top(std::move(top)), m_before(before) {}

    DWORD run(const std::wstring& name) {
        Kind kind{};
        const DWORD error = m_disk.describe(m_top, name, kind, nullptr);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        remove(m_top, name, kind);
        while (!m_levels.empty() || !m_deep.empty()) {
            if (m_levels.empty()) {
                const std::wstring next = std::move(m_deep.back());
                m_deep.pop_back();
                enter(m_top, next);
                continue;
            }
            step();
        }
        return m_first;
    }

private:
    void note(DWORD error) {
        if (m_first == ERROR_SUCCESS) {
            m_first = error;
        }
    }

    void remove(const DirectoryPtr& parent, const std::wstring& name, Kind kind) {
        switch (kind) {
            case Kind::Directory:
                enter(parent, name);
                return;
            case Kind::DirectoryLink:
                note(m_disk.removeDirectory(parent, name));
                return;
            default:
                note(m_disk.removeFile(parent, name));
                return;
        }
    }

    void enter(const DirectoryPtr& parent, const std::wstring& name) {
        if (m_levels.size() >= kDepth) {
            const std::wstring moved = L"deep-" + m_disk.randomName();
            const DWORD error = m_disk.rename(parent, name, m_top, moved);
            if (error == ERROR_SUCCESS) {
                m_deep.push_back(moved);
            } else {
                note(error);
            }
            return;
        }
        Level level{parent, name, nullptr, nullptr, false};
        DWORD error = m_disk.openBelow(parent, name, Links::Refuse, level.directory);
        if (error == ERROR_SUCCESS) {
            // Something may have been mounted here meanwhile: that is not ours to empty.
            error = m_disk.checkSameVolume(m_top, level.directory);
            error = error == ERROR_NOT_SAME_DEVICE ? DWORD{ERROR_BUSY} : error;
        }
        if (error == ERROR_SUCCESS) {
            error = m_disk.listForRemoval(level.directory, m_before, level.listing);
        }
        if (error != ERROR_SUCCESS) {
            note(error);
            return;
        }
        m_levels.push_back(std::move(level));
    }

    void step() {
        Record record;
        const DWORD error = m_levels.back().listing->next(record);
        if (error == ERROR_SUCCESS) {
            // A copy, because entering a directory may move the levels.
            const DirectoryPtr directory = m_levels.back().directory;
            remove(directory, record.name, record.kind);
            return;
        }
        if (error != ERROR_NO_MORE_FILES) {
            note(error);
        }
        Level done = std::move(m_levels.back());
        m_levels.pop_back();
        const DWORD removed = m_disk.removeDirectory(done.parent, done.name);
        if (removed == ERROR_DIR_NOT_EMPTY && !done.isListedAgain) {
            // What was listed was not all: something came meanwhile, by the hand of a program that
            // works in there.
            done.isListedAgain = true;
            done.listing.reset();
            const DWORD listed = m_disk.listForRemoval(done.directory, m_before, done.listing);
            if (listed == ERROR_SUCCESS) {
                m_levels.push_back(std::move(done));
                return;
            }
        }
        note(removed);
    }

    Disk& m_disk;
    DirectoryPtr m_top;
    ListedBefore& m_before;
    std::vector<Level> m_levels;
    std::vector<std::wstring> m_deep;
    DWORD m_first = ERROR_SUCCESS;
};

}  // namespace

DWORD removeTree(Disk& disk, const DirectoryPtr& top, const std::wstring& name,
                 ListedBefore& before) {
    return Removal(disk, top, before).run(name);
}

}  // namespace Tallowmere::platform::transactions
