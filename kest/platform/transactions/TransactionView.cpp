// How a transaction finds what a path means to it.

#include <algorithm>
#include <cwchar>
#include <utility>

#include "kest/platform/transactions/Texts.h"
#include "kest/platform/transactions/Transaction.h"

namespace Tallowmere::platform::transactions {
namespace {

/// How many directories are held open between calls. A walk works in the deepest few; what was put
/// aside is opened again.
constexpr std::size_t kOpenViews = 24;

/// How many of them are looked at first by how they were spelled: a copy goes to and fro between
/// two.
constexpr int kQuickLooks = 4;

bool isAnySeparator(wchar_t unit) {
    return unit == L'\\' || unit == L'/';
}

/// The last component of a path, taken off it with its separator; empty when there is none whose
/// meaning it tells alone.
std::wstring_view takeLast(std::wstring_view& path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    if (separator == std::wstring_view::npos) {
        path = {};
        return {};
    }
    const std::wstring_view name = path.substr(separator + 1);
    path = path.substr(0, separator);
    const bool isWhole = !name.empty() && name.back() != L'.' && name.back() != L' ';
    return isWhole ? name : std::wstring_view();
}

/// Whether a path was in normal form but for its separators.
bool isOnlySeparatorsAway(std::wstring_view path, std::wstring_view normal) {
    return std::equal(path.begin(), path.end(), normal.begin(), normal.end(),
                      [](wchar_t left, wchar_t right) {
                          return left == right || (right == L'/' && isAnySeparator(left));
                      });
}

}  // namespace

std::wstring Transaction::foldPath(const std::wstring& canonical) const {
    // Folding works on units, so a whole path folds like its names.
    return m_disk.fold(canonical);
}

const std::wstring& Transaction::folded(const std::wstring& text, std::wstring& scratch) const {
    if (!m_foldsCase) {
        return text;
    }
    scratch = m_disk.fold(text);
    return scratch;
}

Transaction::ViewPtr Transaction::cached(std::wstring_view text) {
    for (auto view = m_views.begin(); view != m_views.end(); ++view) {
        if ((*view)->text == text) {
            m_views.splice(m_views.begin(), m_views, view);
            return m_views.front();
        }
    }
    for (const ViewPtr& view : m_pinned) {
        if (view->text == text) {
            return view;
        }
    }
    return nullptr;
}

/// Puts aside what was used least recently. Before another directory is opened and not after, so
/// that the system's numbers for open files stay without gaps, and two that are opened one after
/// the other are neighbours, which can be closed in one call.
void Transaction::makeRoom() {
    while (m_views.size() >= kOpenViews) {
        m_views.pop_back();
    }
}

void Transaction::remember(const ViewPtr& view) {
    makeRoom();
    m_views.push_front(view);
}

/// Forgets what stands for a place and for all below it, found by where it is and by how it is
/// called: what was reached through a link is somewhere else.
void Transaction::forget(const Place& place) {
    std::wstring foldedCanonical;
    std::wstring foldedText;
    std::wstring foldedName;
    std::wstring scratch;
    const std::wstring& canonical = folded(place.parent->canonical, foldedCanonical);
    const std::wstring& text = folded(place.parent->text, foldedText);
    const std::wstring& name = folded(place.name, foldedName);
    const auto isGone = [&](const ViewPtr& view) {
        return isAtOrBelow(folded(view->canonical, scratch), canonical, name) ||
               isAtOrBelow(folded(view->text, scratch), text, name);
    };
    m_views.remove_if(isGone);
    m_pinned.erase(std::remove_if(m_pinned.begin(), m_pinned.end(), isGone), m_pinned.end());
    m_lastDirectory.reset();
}

Transaction::DirectoryChanges* Transaction::changesOf(const std::wstring& canonical) {
    if (m_changes.empty()) {
        return nullptr;
    }
    std::wstring scratch;
    const auto found = m_changes.find(folded(canonical, scratch));
    return found == m_changes.end() ? nullptr : &found->second;
}

/// A walk asks for the same directory several times for each of its entries.
Transaction::DirectoryChanges* Transaction::changesOf(const std::wstring& canonical, Asked& asked) {
    if (asked.generation != m_generation) {
        asked.changes = changesOf(canonical);
        asked.generation = m_generation;
    }
    return asked.changes;
}

Transaction::Change* Transaction::changeOf(const Place& place) {
    if (place.parent->staged) {
        return nullptr;
    }
    DirectoryChanges* const changes = changesOf(*place.parent);
    if (changes == nullptr) {
        return nullptr;
    }
    if (changes->others.empty()) {
        return nullptr;
    }
    std::wstring scratch;
    const auto found = changes->others.find(folded(place.name, scratch));
    return found == changes->others.end() ? nullptr : &found->second;
}

bool Transaction::isRemoved(const Place& place) {
    DirectoryChanges* const changes = place.parent->staged ? nullptr : changesOf(*place.parent);
    // What a search has just given is not among them.
    if (changes == nullptr || changes->removed.empty() || known(place) != nullptr) {
        return false;
    }
    std::wstring scratch;
    return changes->removed.contains(folded(place.name, scratch)) ||
           changes->removed.contains(onDisk(place));
}

/// The name, as names are told apart, of what a disk finds at a place: one that finds an entry in
/// another letter case, or by a short name, may have been told that it is removed by its own name.
std::wstring Transaction::onDisk(const Place& place) const {
    return m_disk.fold(m_disk.spelling(place.parent->directory, place.name));
}

Transaction::Standing Transaction::standing(const Place& place) {
    if (const Change* const change = changeOf(place)) {
        switch (change->what) {
            case Change::What::Emptied:
                return {};
            case Change::What::Staged:
                return Standing(m_stage->directory(), change->slot, true);
            case Change::What::Refilled:
                break;
        }
    } else if (isRemoved(place)) {
        return {};
    }
    return Standing(place.parent->directory, place.name, place.parent->staged);
}

/// What the search told about an entry that it has just given, or null for any other.
const Kind* Transaction::known(const Place& place) const {
    // Whether it is the same directory is asked in a way that does not count as holding it.
    return place.name == m_lastName && !m_lastDirectory.owner_before(place.parent) &&
                   !place.parent.owner_before(m_lastDirectory)
               ? &m_lastKind
               : nullptr;
}

DWORD Transaction::kindOf(const Place& place, const Standing& standing, Kind& kind) {
    if (!standing.exists()) {
        return ERROR_FILE_NOT_FOUND;
    }
    if (const Kind* const told = known(place)) {
        kind = *told;
        return ERROR_SUCCESS;
    }
    return m_disk.describe(standing.directory(), standing.name(), kind, nullptr);
}

/// Whether a name is that of this transaction's own stage, which is part of no view.
bool Transaction::isOwnStage(const std::wstring& name) const {
    return m_stage != nullptr && name == m_stage->name();
}

/// Opens what lies somewhere below a staged directory, one name after the other: a link between
/// would lead out of the stage, where every change is one at once.
DWORD Transaction::openInStage(const DirectoryPtr& base, const std::wstring& relative,
                               DirectoryPtr& directory) {
    directory = base;
    DWORD error = ERROR_SUCCESS;
    for (std::size_t at = 0; error == ERROR_SUCCESS && at < relative.size();) {
        const std::size_t end = std::min(relative.find(L'/', at), relative.size());
        DirectoryPtr next;
        error = m_disk.openBelow(directory, relative.substr(at, end - at), Links::Refuse, next);
        directory = std::move(next);
        at = end + 1;
    }
    return error == ERROR_CANT_RESOLVE_FILENAME ? DWORD{ERROR_NOT_SUPPORTED} : error;
}

/// Finds a place whose directory the same caller has spelled in the same way before, as a walk does
/// for each entry.
bool Transaction::locateQuickly(std::wstring_view path, Place& place) {
    const auto take = [&](const ViewPtr& view) {
        const std::wstring& parent = view->spelled;
        const std::size_t start = parent.size() + 1;
        if (parent.empty() || start >= path.size() || !isAnySeparator(path[start - 1])) {
            return false;
        }
        const std::wstring_view name = path.substr(start);
        if (std::any_of(name.begin(), name.end(), isAnySeparator) ||
            path.substr(0, start - 1) != parent || !m_disk.isPlainName(name)) {
            return false;
        }
        place.parent = view;
        place.name.assign(name);
        return true;
    };
    int looks = 0;
    for (auto view = m_views.begin(); view != m_views.end() && looks < kQuickLooks;
         ++view, ++looks) {
        if (take(*view)) {
            m_views.splice(m_views.begin(), m_views, view);
            return true;
        }
    }
    looks = 0;
    for (auto view = m_pinned.rbegin(); view != m_pinned.rend() && looks < kQuickLooks;
         ++view, ++looks) {
        if (take(*view)) {
            return true;
        }
    }
    return false;
}

/// Whether a directory is a staged one or lies below one.
bool Transaction::isBelowStaged(const std::wstring& text) const {
    const std::wstring folded = m_disk.fold(text);
    return std::any_of(m_pinned.begin(), m_pinned.end(), [&](const ViewPtr& view) {
        const std::wstring staged = m_disk.fold(view->text);
        return folded == staged || isBelow(folded, staged);
    });
}

/// Takes off the end of a path the names that the searches under way gave last: a walk puts those
/// of all its levels behind the directory that it began with. They are what stands on the disk, and
/// no rule for what users write has a say in them; "foo." read as "foo" would be another file.
std::wstring Transaction::takeGiven(std::wstring_view& path) const {
    std::vector<const Search*> searches;
    for (const auto& [handle, search] : m_searches) {
        searches.push_back(search.get());
    }
    std::sort(searches.begin(), searches.end(), [](const Search* left, const Search* right) {
        return left->m_number > right->m_number;
    });
    const auto endsIn = [](std::wstring_view text, std::wstring_view name) {
        return !name.empty() && text.size() > name.size() + 1 &&
               text.substr(text.size() - name.size()) == name &&
               isAnySeparator(text[text.size() - name.size() - 1]);
    };
    std::wstring_view head = path;
    std::wstring pattern;
    if (endsIn(head, L"*")) {
        head.remove_suffix(2);
        pattern = L"/*";
    }
    std::wstring given;
    for (const Search* const search : searches) {
        const std::wstring& name = search->m_record.name;
        if (!endsIn(head, name)) {
            break;
        }
        given = L'/' + name + given;
        head.remove_suffix(name.size() + 1);
    }
    if (given.empty()) {
        return given;
    }
    path = head;
    return given + pattern;
}

DWORD Transaction::normalize(const wchar_t* path, std::wstring& text) {
    std::wstring_view head = path == nullptr || !m_hasMisread ? L"" : path;
    const std::wstring given = takeGiven(head);
    if (given.empty()) {
        return normalizeSpelled(path, text);
    }
    // With its separator, which the root of a drive needs.
    const DWORD error = normalizeSpelled((std::wstring(head) + L'\\').c_str(), text);
    text += given;
    return error;
}

/// The normal form of a caller's path. Where a disk has a second, short name for an entry, it puts
/// the long one in its place; but it looks at what lies on the disk, where the view may have a
/// staged directory in which nothing goes by that name. There the caller's name is the name.
DWORD Transaction::normalizeSpelled(const wchar_t* path, std::wstring& text) {
    const DWORD error = m_disk.normalize(path, text);
    if (error != ERROR_SUCCESS || m_pinned.empty() || std::wcschr(path, L'~') == nullptr) {
        return error;
    }
    std::vector<std::wstring_view> spelled;
    std::vector<std::wstring_view> normal;
    std::wstring_view restSpelled(path);
    std::wstring_view restNormal(text);
    for (;;) {
        const std::wstring_view name = takeLast(restSpelled);
        if (name.empty() || restNormal.find(L'/') == std::wstring_view::npos) {
            break;
        }
        spelled.push_back(name);
        normal.push_back(restNormal.substr(restNormal.rfind(L'/') + 1));
        restNormal = restNormal.substr(0, restNormal.rfind(L'/'));
    }
    std::wstring result(restNormal);
    while (!spelled.empty()) {
        const bool isOwn = spelled.back().find(L'~') != std::wstring_view::npos &&
                           spelled.back() != normal.back() && isBelowStaged(result);
        result.append(1, L'/').append(isOwn ? spelled.back() : normal.back());
        spelled.pop_back();
        normal.pop_back();
    }
    text = std::move(result);
    return ERROR_SUCCESS;
}

DWORD Transaction::locate(const wchar_t* path, Place& place) {
    if (path == nullptr) {
        return ERROR_PATH_NOT_FOUND;
    }
    const std::wstring_view spelled(path);
    if (locateQuickly(spelled, place)) {
        return ERROR_SUCCESS;
    }
    const DWORD error = normalize(path, m_text);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    // Nearly always the directory is one of those at hand.
    const std::size_t separator = lastSeparator(m_text);
    if (separator != 0 && separator != std::wstring::npos && !m_disk.isRoot(m_text)) {
        place.parent = cached(std::wstring_view(m_text).substr(0, separator));
        if (place.parent != nullptr) {
            place.name.assign(m_text, separator + 1);
            if (isOnlySeparatorsAway(spelled, m_text)) {
                place.parent->spelled.assign(spelled.substr(0, separator));
            }
            return ERROR_SUCCESS;
        }
    }
    return locateText(m_text, place);
}

DWORD Transaction::locateText(const std::wstring& text, Place& place) {
    if (m_disk.isRoot(text)) {
        place.name.clear();
        return locateDirectory(text, place.parent);
    }
    if (text == L".") {
        // The current directory's own name has to be asked for.
        DirectoryPtr directory;
        std::wstring canonical;
        const DWORD error = m_disk.openDirectory(text, directory, canonical);
        return error == ERROR_SUCCESS ? locateText(canonical, place) : error;
    }
    place.name = nameOf(text);
    const DWORD error = locateDirectory(parentOf(text), place.parent);
    // A parent that is missing, or is no directory, is a path that cannot be found.
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_DIRECTORY ? ERROR_PATH_NOT_FOUND : error;
}

DWORD Transaction::locateDirectory(const std::wstring& text, ViewPtr& view) {
    view = cached(text);
    if (view != nullptr) {
        return ERROR_SUCCESS;
    }
    if (!m_disk.isRoot(text) && text != L".") {
        if (const ViewPtr parent = cached(parentOf(text))) {
            return stepInto(parent, nameOf(text), text, view);
        }
        makeRoom();
        // A long way below a staged directory.
        for (std::wstring at = parentOf(text); !m_disk.isRoot(at) && at != L".";
             at = parentOf(at)) {
            const ViewPtr base = cached(at);
            if (base == nullptr) {
                continue;
            }
            if (!base->staged) {
                break;
            }
            const std::wstring relative = text.substr(at.size() + 1);
            auto found = std::make_shared<View>();
            found->text = text;
            found->canonical = join(base->canonical, relative);
            found->staged = true;
            const DWORD error = openInStage(base->directory, relative, found->directory);
            if (error == ERROR_SUCCESS) {
                remember(found);
                view = found;
            }
            return error;
        }
    }
    return openText(text, view);
}

DWORD Transaction::openText(const std::wstring& text, ViewPtr& view) {
    makeRoom();
    auto found = std::make_shared<View>();
    found->text = text;
    DWORD error = m_disk.openDirectory(text, found->directory, found->canonical);
    if (error != ERROR_SUCCESS) {
        if ((error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
             error == ERROR_DIRECTORY) &&
            !m_disk.isRoot(text) && text != L"." && !m_changes.empty()) {
            // Not on the disk, or a file that is to go, but it may have been created here under
            // another spelling.
            ViewPtr parent;
            if (locateDirectory(parentOf(text), parent) == ERROR_SUCCESS) {
                return stepInto(parent, nameOf(text), text, view);
            }
        }
        return error;
    }
    bool isChanged = false;
    error = openChanged(text, found->canonical, isChanged, view);
    if (error != ERROR_SUCCESS || isChanged) {
        return error;
    }
    if (isElsewhere(text, found->canonical)) {
        return ERROR_CANT_RESOLVE_FILENAME;
    }
    remember(found);
    view = found;
    return ERROR_SUCCESS;
}

/// Whether a directory that is opened again by its text is not where it was found: a rival has put
/// a link in its place or in the place of one above it. What is done there is meant for another
/// place.
bool Transaction::isElsewhere(const std::wstring& text, const std::wstring& canonical) const {
    const auto differs = [&](const std::wstring& known) {
        return known != canonical && foldPath(known) != foldPath(canonical);
    };
    if (text == m_enteredText) {
        return differs(m_enteredCanonical);
    }
    return std::any_of(m_searches.begin(), m_searches.end(), [&](const auto& entry) {
        const Search& search = *entry.second;
        return !search.m_staged && search.m_text == text && differs(search.m_canonical);
    });
}

DWORD Transaction::openChanged(const std::wstring& text, const std::wstring& canonical,
                               bool& isChanged, ViewPtr& view) {
    isChanged = false;
    for (auto& [folded, changes] : m_changes) {
        if (!isBelow(foldPath(canonical), folded)) {
            continue;
        }
        const std::size_t start = folded.back() == L'/' ? folded.size() : folded.size() + 1;
        const std::size_t end = canonical.find(L'/', start);
        const std::wstring name = m_disk.fold(canonical.substr(start, end - start));
        if (changes.removed.contains(name)) {
            return ERROR_PATH_NOT_FOUND;
        }
        const auto found = changes.others.find(name);
        if (found == changes.others.end() || found->second.what == Change::What::Refilled) {
            continue;
        }
        if (found->second.what != Change::What::Staged) {
            return ERROR_PATH_NOT_FOUND;
        }
        isChanged = true;
        auto staged = std::make_shared<View>();
        staged->text = text;
        staged->canonical = canonical;
        staged->staged = true;
        const std::wstring relative =
            found->second.slot + (end == std::wstring::npos ? L"" : canonical.substr(end));
        const DWORD error = openInStage(m_stage->directory(), relative, staged->directory);
        if (error == ERROR_SUCCESS) {
            remember(staged);
            view = staged;
        }
        return error;
    }
    return ERROR_SUCCESS;
}

DWORD Transaction::stepInto(const ViewPtr& parent, const std::wstring& name,
                            const std::wstring& text, ViewPtr& view) {
    const Place place{parent, name};
    const Standing stands = standing(place);
    if (!stands.exists()) {
        return ERROR_FILE_NOT_FOUND;
    }
    makeRoom();
    auto found = std::make_shared<View>();
    found->text = text;
    found->canonical = join(parent->canonical, name);
    found->staged = stands.staged;
    DWORD error =
        m_disk.openBelow(stands.directory(), stands.name(), Links::Refuse, found->directory);
    if (error == ERROR_CANT_RESOLVE_FILENAME) {
        if (stands.staged) {
            // Work through a staged link would change its target at once.
            return ERROR_NOT_SUPPORTED;
        }
        if (text == m_enteredText) {
            return error;
        }
        const std::wstring link = found->canonical;
        error = m_disk.openDirectory(link, found->directory, found->canonical);
        if (error == ERROR_SUCCESS) {
            bool isChanged = false;
            error = openChanged(text, found->canonical, isChanged, view);
            if (error != ERROR_SUCCESS || isChanged) {
                return error;
            }
            found->throughLink = foldPath(link);
        }
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    remember(found);
    view = found;
    return ERROR_SUCCESS;
}

}  // namespace Tallowmere::platform::transactions
