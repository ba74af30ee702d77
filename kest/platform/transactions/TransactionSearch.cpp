// How a transaction lists a directory: the disk's own listing with the changes laid over it.

#include <algorithm>
#include <cwchar>
#include <utility>

#include "kest/platform/HandleTable.h"
#include "kest/platform/transactions/Texts.h"
#include "kest/platform/transactions/Transaction.h"

namespace Tallowmere::platform::transactions {
namespace {

DWORD fill(const Record& record, WIN32_FIND_DATAW& data) {
    if (record.name.size() >= MAX_PATH) {
        return ERROR_FILENAME_EXCED_RANGE;
    }
    // Our choice: a record tells what an entry is, not how large or how old it is; that would cost
    // a call to the system for each, and a tree walk does not ask.
    // What follows the names in their fields is left as it is, which is most of the record.
    data.ftCreationTime = {};
    data.ftLastAccessTime = {};
    data.ftLastWriteTime = {};
    data.nFileSizeHigh = 0;
    data.nFileSizeLow = 0;
    data.dwReserved1 = 0;
    data.cAlternateFileName[0] = L'\0';
    data.dwFileAttributes = record.attributes;
    data.dwReserved0 = record.reparseTag;
    std::wmemcpy(data.cFileName, record.name.c_str(), record.name.size() + 1);
    return ERROR_SUCCESS;
}

Record recordOf(const std::wstring& name, Kind kind, DWORD attributes) {
    const bool isLink = kind == Kind::FileLink || kind == Kind::DirectoryLink;
    return {name, kind, attributes, isLink ? IO_REPARSE_TAG_SYMLINK : 0};
}

}  // namespace

DWORD Transaction::findFirst(const wchar_t* pattern, WIN32_FIND_DATAW& data, HANDLE& handle) {
    DWORD error = checkOpen();
    std::wstring text;
    if (error == ERROR_SUCCESS) {
        error = normalize(pattern, text);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (nameOf(text) != L"*") {
        // Whole directories are all that is ever asked for.
        return ERROR_NOT_SUPPORTED;
    }
    const std::wstring created = std::exchange(m_justCreated, std::wstring());
    Place place;
    ViewPtr view;
    error = locateText(parentOf(text), place);
    if (error == ERROR_SUCCESS) {
        error = place.name.empty() ? (view = place.parent, ERROR_SUCCESS)
                                   : locateDirectory(parentOf(text), view);
    }
    if (error != ERROR_SUCCESS) {
        return error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error;
    }
    error = checkApart(*view);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    auto search = std::make_unique<Search>(*this);
    error = m_disk.list(view->directory, search->m_listing);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    search->m_view = view;
    search->m_text = view->text;
    search->m_canonical = view->canonical;
    search->m_staged = view->staged;
    // A directory that was made just before another is listed is being filled from it.
    // Our choice: it takes over what the system keeps about that one, so that a private directory
    // does not come out open to all.
    search->m_adopter = created;
    if (const DirectoryChanges* const changes = view->staged ? nullptr : changesOf(*view)) {
        for (const auto& [name, change] : changes->others) {
            if (change.what == Change::What::Staged) {
                search->m_staging.insert(name);
            }
        }
    }
    handle = issueHandle(HandleKind::Search, search.get());
    if (handle == INVALID_HANDLE_VALUE) {
        return ERROR_NO_SYSTEM_RESOURCES;
    }
    Search& kept = *(m_searches[handle] = std::move(search));
    return findNext(handle, kept, data);
}

/// Refuses to read by a second way what this transaction changes by another: the view would show it
/// as it is on the disk, and it would be removed, or be put into itself, while it is being read. A
/// mount is entered at one directory, and what is below that is reached by the same mount, so one
/// look does for all of it.
DWORD Transaction::checkApart(const View& view) {
    const auto isSameMount = [&](const DirectoryPtr& directory) {
        return m_disk.isSameMount(directory, view.directory);
    };
    if (m_changes.empty() || view.staged || (m_apart != nullptr && isSameMount(m_apart)) ||
        std::all_of(m_changes.begin(), m_changes.end(),
                    [&](const auto& changes) { return isSameMount(changes.second.directory); })) {
        return ERROR_SUCCESS;
    }
    const std::wstring place = m_disk.placeOnVolume(view.directory);
    for (auto& [folded, changes] : m_changes) {
        if (place.empty() || isSameMount(changes.directory)) {
            continue;
        }
        const std::wstring base = m_disk.placeOnVolume(changes.directory);
        if (base == place || isBelow(base, place)) {
            return ERROR_TRANSACTIONAL_CONFLICT;
        }
        if (base.empty() || !isBelow(place, base)) {
            continue;
        }
        const std::wstring rest = place.substr(base.size() + (base.back() == L'/' ? 0 : 1));
        const std::wstring name = m_disk.fold(rest.substr(0, rest.find(L'/')));
        if (changes.removed.contains(name) || changes.others.count(name) != 0) {
            return ERROR_TRANSACTIONAL_CONFLICT;
        }
    }
    m_apart = view.directory;
    return ERROR_SUCCESS;
}

DWORD Transaction::findNext(HANDLE handle, Search& search, WIN32_FIND_DATAW& data) {
    m_gaveDirectory = false;
    m_absent.clear();
    DWORD error = checkOpen();
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (search.m_dots < 2) {
        const std::wstring dots(static_cast<std::size_t>(++search.m_dots), L'.');
        return fill(recordOf(dots, Kind::Directory, FILE_ATTRIBUTE_DIRECTORY), data);
    }
    Record& record = search.m_record;
    error = nextRecord(search, record);
    if (error == ERROR_SUCCESS) {
        m_hasMisread = m_hasMisread || m_disk.isMisread(record.name);
        m_lastDirectory = search.m_view;
        m_lastName = record.name;
        m_lastKind = record.kind;
        if (record.kind == Kind::Directory) {
            m_gaveDirectory = true;
            joinInto(m_enteredText, search.m_text, record.name);
            joinInto(m_enteredCanonical, search.m_canonical, record.name);
        }
        m_lastSearch = search.m_number;
        return fill(record, data);
    }
    if (error == ERROR_NO_MORE_FILES) {
        const DWORD adopted = finishSearch(search);
        // The caller never closes a search: what it holds goes as soon as it has ended.
        (void)retireHandle(handle, HandleKind::Search);
        m_searches.erase(handle);
        return adopted == ERROR_SUCCESS ? ERROR_NO_MORE_FILES : adopted;
    }
    return error;
}

DWORD Transaction::nextRecord(Search& search, Record& record) {
    const auto staged = [&](const std::wstring& folded) -> DWORD {
        const DirectoryChanges* const changes = changesOf(search.m_canonical, search.m_asked);
        const auto found = changes->others.find(folded);
        Kind kind{};
        WIN32_FILE_ATTRIBUTE_DATA data{};
        const DWORD error = m_disk.describe(m_stage->directory(), found->second.slot, kind, &data);
        record = recordOf(found->second.name, kind, data.dwFileAttributes);
        return error;
    };
    DWORD error = ERROR_SUCCESS;
    while ((error = search.m_listing->next(record)) == ERROR_SUCCESS) {
        if (isOwnStage(record.name)) {
            continue;
        }
        if (isStageName(record.name)) {
            ViewPtr view;
            Met met;
            error = locateDirectory(search.m_text, view);
            if (error == ERROR_SUCCESS) {
                error = meetStage(m_disk, view->directory, record.name, met);
            }
            if (error != ERROR_SUCCESS) {
                return error;
            }
            if (met.changed) {
                // What was listed so far is no longer what is there. The next attempt finds it so.
                return ERROR_TRANSACTIONAL_CONFLICT;
            }
            if (met.isStage) {
                Kind kind{};
                search.m_hides = search.m_hides || m_disk.describe(view->directory, record.name,
                                                                   kind, nullptr) == ERROR_SUCCESS;
                continue;
            }
        }
        ++search.m_listed;
        search.m_seen += isStageName(record.name) ? 0 : 1;
        if (search.m_staged) {
            return ERROR_SUCCESS;
        }
        DirectoryChanges* const changes = changesOf(search.m_canonical, search.m_asked);
        if (changes == nullptr ||
            (changes->emptier == search.m_number && changes->others.empty())) {
            return ERROR_SUCCESS;
        }
        std::wstring scratch;
        const std::wstring& folded = this->folded(record.name, scratch);
        if (!changes->removed.empty() && changes->removed.contains(folded)) {
            continue;
        }
        const auto found = changes->others.find(folded);
        if (found == changes->others.end() || found->second.what == Change::What::Refilled) {
            return ERROR_SUCCESS;
        }
        if (found->second.what == Change::What::Staged) {
            if (search.m_staging.erase(folded) != 0) {
                return staged(folded);
            }
        }
    }
    if (error != ERROR_NO_MORE_FILES) {
        return error;
    }
    // What was staged here before the search began and is still staged.
    while (!search.m_staging.empty()) {
        const std::wstring folded = *search.m_staging.begin();
        search.m_staging.erase(search.m_staging.begin());
        const DirectoryChanges* const changes = changesOf(search.m_canonical, search.m_asked);
        if (changes != nullptr && changes->others.count(folded) != 0) {
            return staged(folded);
        }
    }
    return ERROR_NO_MORE_FILES;
}

DWORD Transaction::finishSearch(Search& search) {
    m_listedDirectory = search.m_canonical;
    m_listedCount = search.m_hides ? -1 : search.m_listed;
    m_listedSeen = search.m_seen;
    // A directory that another is filled from is not about to go.
    m_isListedKnown = !search.m_staged && search.m_adopter.empty() &&
                      search.m_listing->tellAll(m_listedNumber, m_listedEntries);
    DirectoryChanges* const changes =
        search.m_staged ? nullptr : changesOf(search.m_canonical, search.m_asked);
    if (changes != nullptr && changes->seen < 0) {
        changes->seen = search.m_seen;
    }
    if (search.m_adopter.empty()) {
        return ERROR_SUCCESS;
    }
    ViewPtr source;
    ViewPtr adopter;
    DWORD error = locateDirectory(search.m_text, source);
    if (error == ERROR_SUCCESS) {
        error = locateDirectory(search.m_adopter, adopter);
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
            error == ERROR_DIRECTORY) {
            // Made, and removed again while the other one was being listed.
            return ERROR_SUCCESS;
        }
    }
    if (error == ERROR_SUCCESS && adopter->staged) {
        error = m_disk.adopt(source->directory, adopter->directory);
    }
    return error;
}

DWORD Transaction::checkEmpty(const std::wstring& text, const std::wstring& canonical) {
    DirectoryChanges* const changes = changesOf(canonical);
    if (changes != nullptr && !changes->others.empty()) {
        const bool mounted = std::any_of(
            changes->others.begin(), changes->others.end(),
            [](const auto& other) { return other.second.what == Change::What::Emptied; });
        return mounted ? ERROR_BUSY : ERROR_DIR_NOT_EMPTY;
    }
    const std::size_t removed = changes == nullptr ? 0 : changes->removed.size();
    if (canonical == m_listedDirectory && m_listedCount >= 0 &&
        static_cast<std::size_t>(m_listedCount) == removed) {
        return ERROR_SUCCESS;
    }
    ViewPtr view;
    std::unique_ptr<Listing> listing;
    DWORD error = locateDirectory(text, view);
    if (error == ERROR_SUCCESS) {
        error = m_disk.list(view->directory, listing);
    }
    Record record;
    while (error == ERROR_SUCCESS && (error = listing->next(record)) == ERROR_SUCCESS) {
        if (isOwnStage(record.name)) {
            continue;
        }
        if (changes == nullptr || !changes->removed.contains(m_disk.fold(record.name))) {
            return ERROR_DIR_NOT_EMPTY;
        }
    }
    return error == ERROR_NO_MORE_FILES ? ERROR_SUCCESS : error;
}

}  // namespace Tallowmere::platform::transactions
