#include "kest/platform/transactions/Journal.h"

#include <cstdint>

namespace Tallowmere::platform::transactions {
namespace {

constexpr std::string_view kMagic = "KESTJOURNAL1";
const std::wstring kDraft = L"journal-draft";

/// FNV-1a: against a torn or foreign file, not against an attacker, who cannot reach the stage.
std::uint64_t checksum(std::string_view bytes) {
    std::uint64_t sum = 0xCBF29CE484222325U;
    for (const char byte : bytes) {
        sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
    }
    return sum;
}

void put(std::string& out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
    }
}

void put(std::string& out, const std::wstring& text) {
    put(out, text.size(), 4);
    for (const wchar_t unit : text) {
        put(out, static_cast<std::uint32_t>(unit), 4);
    }
}

/// Takes the content apart; `good` stays false once anything does not fit.
struct Reader {
    std::string_view rest;
    bool good = true;

    std::uint64_t number(int bytes) {
        if (rest.size() < static_cast<std::size_t>(bytes)) {
            good = false;
            rest = {};
            return 0;
        }
        std::uint64_t value = 0;
        for (int i = 0; i < bytes; ++i) {
            value |= std::uint64_t{static_cast<unsigned char>(rest[static_cast<std::size_t>(i)])}
                     << (8 * i);
        }
        rest.remove_prefix(static_cast<std::size_t>(bytes));
        return value;
    }

    std::wstring text() {
        const std::uint64_t length = number(4);
        std::wstring result;
        if (length > rest.size() / 4) {
            good = false;
            return result;
        }
        for (std::uint64_t i = 0; i < length; ++i) {
            result.push_back(static_cast<wchar_t>(number(4)));
        }
        return result;
    }
};

bool isName(const std::wstring& name) {
    return !name.empty() && name != L"." && name != L".." &&
           name.find_first_of(std::wstring_view(L"/\\\0", 3)) == std::wstring::npos;
}

std::wstring oldSlot(const JournalEntry& entry) {
    return entry.slot + L"-old";
}

const std::wstring& oldName(const JournalEntry& entry) {
    return entry.oldName.empty() ? entry.name : entry.oldName;
}

/// ERROR_SUCCESS with the answer in `there`.
DWORD isThere(Disk& disk, const DirectoryPtr& parent, const std::wstring& name, bool& there) {
    Kind kind{};
    const DWORD error = disk.describe(parent, name, kind, nullptr);
    there = error == ERROR_SUCCESS;
    return error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error;
}

struct Target {
    DirectoryPtr directory;
    bool hasNew = false;
    bool hasOld = false;
};

DWORD look(Disk& disk, const DirectoryPtr& stage, const JournalEntry& entry, Target& target) {
    std::wstring canonical;
    DWORD error = disk.openDirectory(entry.directory, target.directory, canonical);
    if (error == ERROR_SUCCESS && !disk.sameVolume(stage, target.directory)) {
        error = ERROR_NOT_SAME_DEVICE;
    }
    if (error == ERROR_SUCCESS) {
        error = isThere(disk, stage, entry.slot, target.hasNew);
    }
    if (error == ERROR_SUCCESS) {
        error = isThere(disk, stage, oldSlot(entry), target.hasOld);
    }
    return error;
}

}  // namespace

DWORD writeJournal(Disk& disk, const DirectoryPtr& stage,
                   const std::vector<JournalEntry>& entries) {
    std::string content(kMagic);
    put(content, entries.size(), 4);
    for (const JournalEntry& entry : entries) {
        put(content, entry.directory);
        put(content, entry.name);
        put(content, entry.slot);
        const bool hasOldName = !entry.oldName.empty();
        put(content,
            (entry.takesOld ? 1U : 0U) | (entry.putsNew ? 2U : 0U) | (hasOldName ? 4U : 0U), 1);
        if (hasOldName) {
            put(content, entry.oldName);
        }
    }
    put(content, checksum(content), 8);
    DWORD error = disk.writeFile(stage, kDraft, content);
    if (error == ERROR_SUCCESS) {
        error = disk.rename(stage, kDraft, stage, kJournalName);
    }
    if (error == ERROR_SUCCESS) {
        error = disk.syncDirectory(stage);
        if (error != ERROR_SUCCESS) {
            // Not known to be durable, so not committed: it must not be found later either.
            (void)disk.removeFile(stage, kJournalName);
        }
    }
    return error;
}

DWORD readJournal(Disk& disk, const DirectoryPtr& stage, std::vector<JournalEntry>& entries) {
    entries.clear();
    std::string content;
    const DWORD error = disk.readFile(stage, kJournalName, content);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (content.size() < kMagic.size() + 12 || content.compare(0, kMagic.size(), kMagic) != 0) {
        return ERROR_FILE_CORRUPT;
    }
    const std::string_view body = std::string_view(content).substr(0, content.size() - 8);
    Reader sum{std::string_view(content).substr(body.size())};
    if (sum.number(8) != checksum(body)) {
        return ERROR_FILE_CORRUPT;
    }
    Reader reader{body.substr(kMagic.size())};
    const std::uint64_t count = reader.number(4);
    for (std::uint64_t i = 0; i < count && reader.good; ++i) {
        JournalEntry entry;
        entry.directory = reader.text();
        entry.name = reader.text();
        entry.slot = reader.text();
        const std::uint64_t flags = reader.number(1);
        entry.takesOld = (flags & 1) != 0;
        entry.putsNew = (flags & 2) != 0;
        if ((flags & 4) != 0) {
            entry.oldName = reader.text();
        }
        reader.good = reader.good && flags <= 7 && isName(entry.name) && isName(entry.slot) &&
                      ((flags & 4) == 0 || isName(entry.oldName));
        entries.push_back(std::move(entry));
    }
    if (!reader.good || !reader.rest.empty()) {
        entries.clear();
        return ERROR_FILE_CORRUPT;
    }
    return ERROR_SUCCESS;
}

DWORD redo(Disk& disk, const DirectoryPtr& stage, const std::vector<JournalEntry>& entries) {
    for (const JournalEntry& entry : entries) {
        Target target;
        DWORD error = look(disk, stage, entry, target);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        const bool isPublished = entry.putsNew && !target.hasNew;
        if (entry.takesOld && !target.hasOld && !isPublished) {
            error = disk.rename(target.directory, oldName(entry), stage, oldSlot(entry));
            // Gone by another hand: what was to be taken away is away.
            if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) {
                return error;
            }
        }
        if (entry.putsNew && target.hasNew) {
            error = disk.rename(stage, entry.slot, target.directory, entry.name);
            if (error != ERROR_SUCCESS) {
                return error;
            }
        }
        error = disk.syncDirectory(target.directory);
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return ERROR_SUCCESS;
}

DWORD undo(Disk& disk, const DirectoryPtr& stage, const std::vector<JournalEntry>& entries) {
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        Target target;
        DWORD error = look(disk, stage, *entry, target);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        if (entry->putsNew && !target.hasNew) {
            error = disk.rename(target.directory, entry->name, stage, entry->slot);
            if (error != ERROR_SUCCESS) {
                return error;
            }
        }
        if (target.hasOld) {
            error = disk.rename(stage, oldSlot(*entry), target.directory, oldName(*entry));
            if (error != ERROR_SUCCESS) {
                return error;
            }
        }
        // Before the journal goes: what it would have carried out is taken back for good.
        error = disk.syncDirectory(target.directory);
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return ERROR_SUCCESS;
}

DWORD removeJournal(Disk& disk, const DirectoryPtr& stage) {
    const DWORD error = disk.removeFile(stage, kJournalName);
    return error == ERROR_SUCCESS ? disk.syncDirectory(stage) : error;
}

}  // namespace Tallowmere::platform::transactions
