#include "kest/platform/transactions/Journal.h"

#include <cstdint>
#include <utility>

#include "kest/platform/transactions/StageNames.h"

namespace Tallowmere::platform::transactions {
namespace {

constexpr std::string_view kMagic = "KESTJOURNAL1";
const std::wstring kJournal = kJournalName;
const std::wstring kDraft = L"journal-draft";
const std::wstring kGivenUp = kGivenUpName;

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

/// Where an old entry is put that was taken away. More than one is taken when rivals are at work.
std::wstring oldSlot(const JournalEntry& entry, int number) {
    return entry.slot + (number == 0 ? L"-old" : L"-old-" + std::to_wstring(number));
}

/// ERROR_SUCCESS with the answer in `there`.
DWORD isThere(Disk& disk, const DirectoryPtr& parent, const std::wstring& name, bool& there) {
    Kind kind{};
    const DWORD error = disk.describe(parent, name, kind, nullptr);
    there = error == ERROR_SUCCESS;
    return error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error;
}

/// What is in the stage of an entry.
struct Signs {
    bool hasNew = false;
    int olds = 0;
};

DWORD look(Disk& disk, const DirectoryPtr& stage, const JournalEntry& entry, Signs& signs) {
    DWORD error = isThere(disk, stage, entry.slot, signs.hasNew);
    while (error == ERROR_SUCCESS) {
        bool hasOld = false;
        error = isThere(disk, stage, oldSlot(entry, signs.olds), hasOld);
        if (!hasOld) {
            break;
        }
        ++signs.olds;
    }
    return error;
}

/// Takes away what stands in the place of an entry.
DWORD take(Disk& disk, const DirectoryPtr& stage, const DirectoryPtr& directory,
           const JournalEntry& entry, Signs& signs) {
    const DWORD error = disk.rename(directory, entry.oldName, stage, oldSlot(entry, signs.olds));
    if (error == ERROR_SUCCESS) {
        ++signs.olds;
    }
    // Gone by another hand: what was to be taken away is away.
    return error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_SUCCESS} : error;
}

/// A disk without a journal of its own renames from one directory to another in two steps, and a
/// power cut may leave both names to the entry. Whether that has happened: ERROR_SUCCESS with the
/// answer in `isTwin`.
DWORD lookForTwin(Disk& disk, const DirectoryPtr& stage, const std::wstring& slot,
                  const DirectoryPtr& directory, const std::wstring& name, bool& isTwin) {
    const DWORD error = disk.checkSameFile(stage, slot, directory, name);
    isTwin = error == ERROR_SUCCESS;
    return error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_SUCCESS} : error;
}

DWORD redoEntry(Disk& disk, const DirectoryPtr& stage, const DirectoryPtr& directory,
                const JournalEntry& entry, int tries) {
    Signs signs;
    DWORD error = look(disk, stage, entry, signs);
    if (error != ERROR_SUCCESS || (entry.putsNew && !signs.hasNew)) {
        return error;
    }
    bool isTwin = false;
    if (entry.takesOld && signs.olds == 0) {
        error = take(disk, stage, directory, entry, signs);
    } else if (entry.takesOld) {
        error = lookForTwin(disk, stage, oldSlot(entry, signs.olds - 1), directory, entry.oldName,
                            isTwin);
        if (isTwin) {
            error = disk.removeFile(directory, entry.oldName);
        }
    }
    if (error != ERROR_SUCCESS || !entry.putsNew) {
        return error;
    }
    while ((error = disk.rename(stage, entry.slot, directory, entry.name)) ==
           ERROR_ALREADY_EXISTS) {
        const DWORD looked = lookForTwin(disk, stage, entry.slot, directory, entry.name, isTwin);
        if (looked != ERROR_SUCCESS) {
            return looked;
        }
        if (isTwin) {
            return disk.removeFile(stage, entry.slot);
        }
        if (!entry.takesOld || --tries <= 0) {
            break;
        }
        const DWORD taken = take(disk, stage, directory, entry, signs);
        if (taken != ERROR_SUCCESS) {
            return taken;
        }
    }
    return error;
}

DWORD sync(Disk& disk, const std::vector<DirectoryPtr>& directories) {
    for (const DirectoryPtr& directory : directories) {
        const DWORD error = disk.syncDirectory(directory);
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return ERROR_SUCCESS;
}

DWORD read(Disk& disk, const DirectoryPtr& stage, const std::wstring& name, Journal& journal) {
    journal = {};
    std::string content;
    const DWORD error = disk.readFile(stage, name, content);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (content.size() < kMagic.size() + 16 || content.compare(0, kMagic.size(), kMagic) != 0) {
        return ERROR_FILE_CORRUPT;
    }
    const std::string_view body = std::string_view(content).substr(0, content.size() - 8);
    Reader sum{std::string_view(content).substr(body.size())};
    if (sum.number(8) != checksum(body)) {
        return ERROR_FILE_CORRUPT;
    }
    Reader reader{body.substr(kMagic.size())};
    const std::uint64_t directories = reader.number(4);
    for (std::uint64_t i = 0; i < directories && reader.good; ++i) {
        journal.directories.push_back(reader.text());
    }
    const std::uint64_t count = reader.number(4);
    for (std::uint64_t i = 0; i < count && reader.good; ++i) {
        JournalEntry entry;
        entry.directory = reader.number(4);
        entry.name = reader.text();
        entry.oldName = reader.text();
        entry.slot = reader.text();
        const std::uint64_t flags = reader.number(1);
        entry.takesOld = (flags & 1) != 0;
        entry.putsNew = (flags & 2) != 0;
        reader.good = reader.good && flags <= 3 && entry.directory < directories &&
                      isName(entry.name) && isName(entry.oldName) && isName(entry.slot);
        journal.entries.push_back(std::move(entry));
    }
    if (!reader.good || !reader.rest.empty()) {
        journal = {};
        return ERROR_FILE_CORRUPT;
    }
    return ERROR_SUCCESS;
}

}  // namespace

DWORD writeDraft(Disk& disk, const DirectoryPtr& stage, const Journal& journal) {
    std::string content(kMagic);
    put(content, journal.directories.size(), 4);
    for (const std::wstring& directory : journal.directories) {
        put(content, directory);
    }
    put(content, journal.entries.size(), 4);
    for (const JournalEntry& entry : journal.entries) {
        put(content, entry.directory, 4);
        put(content, entry.name);
        put(content, entry.oldName);
        put(content, entry.slot);
        put(content, (entry.takesOld ? 1U : 0U) | (entry.putsNew ? 2U : 0U), 1);
    }
    put(content, checksum(content), 8);
    return disk.writeFile(stage, kDraft, content);
}

DWORD commitDraft(Disk& disk, const DirectoryPtr& stage) {
    const DWORD error = disk.rename(stage, kDraft, stage, kJournal);
    return error == ERROR_SUCCESS ? disk.syncDirectory(stage) : error;
}

DWORD readJournal(Disk& disk, const DirectoryPtr& stage, Journal& journal) {
    return read(disk, stage, kJournal, journal);
}

DWORD readDraft(Disk& disk, const DirectoryPtr& stage, Journal& journal) {
    return read(disk, stage, kDraft, journal);
}

DWORD redo(Disk& disk, const DirectoryPtr& stage, const std::vector<DirectoryPtr>& directories,
           const std::vector<JournalEntry>& entries, int tries) {
    for (const JournalEntry& entry : entries) {
        const DWORD error = redoEntry(disk, stage, directories.at(entry.directory), entry, tries);
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return sync(disk, directories);
}

DWORD undo(Disk& disk, const DirectoryPtr& stage, const std::vector<DirectoryPtr>& directories,
           const std::vector<JournalEntry>& entries) {
    for (const bool takesNewOut : {true, false}) {
        for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
            const DirectoryPtr& directory = directories.at(entry->directory);
            Signs signs;
            DWORD error = look(disk, stage, *entry, signs);
            if (error == ERROR_SUCCESS && takesNewOut && entry->putsNew && !signs.hasNew) {
                error = disk.rename(directory, entry->name, stage, entry->slot);
            } else if (error == ERROR_SUCCESS && takesNewOut && entry->putsNew) {
                bool isTwin = false;
                error = lookForTwin(disk, stage, entry->slot, directory, entry->name, isTwin);
                if (isTwin) {
                    error = disk.removeFile(directory, entry->name);
                }
            } else if (error == ERROR_SUCCESS && !takesNewOut && signs.olds > 0) {
                // The last one that was taken: an earlier one had been replaced by then.
                error =
                    disk.rename(stage, oldSlot(*entry, signs.olds - 1), directory, entry->oldName);
            }
            // What another hand has removed or replaced meanwhile is as that hand wanted it.
            if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND &&
                error != ERROR_ALREADY_EXISTS) {
                return error;
            }
        }
        const DWORD error = sync(disk, directories);
        if (error != ERROR_SUCCESS) {
            return error;
        }
    }
    return ERROR_SUCCESS;
}

DWORD giveUpJournal(Disk& disk, const DirectoryPtr& stage) {
    return disk.writeFile(stage, kGivenUp, std::string());
}

DWORD isJournalGivenUp(Disk& disk, const DirectoryPtr& stage, bool& isGivenUp) {
    return isThere(disk, stage, kGivenUp, isGivenUp);
}

DWORD removeJournal(Disk& disk, const DirectoryPtr& stage) {
    const DWORD error = disk.removeFile(stage, kJournal);
    return error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND ? disk.syncDirectory(stage)
                                                                   : error;
}

}  // namespace Tallowmere::platform::transactions
