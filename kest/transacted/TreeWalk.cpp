#define KEST_MODULE "TransactedFS"

#include "kest/transacted/TreeWalk.h"

#include <string_view>

#include "kest/transacted/ExcludedPaths.h"
#include "kest/transacted/Failure.h"

namespace Tallowmere {

using platform::os;

namespace {

bool isDirectory(const WIN32_FIND_DATAW& record) {
    return (record.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool isDots(std::wstring_view name) {
    return !name.empty() && name.front() == L'.' && (name == L"." || name == L"..");
}

/// Other reparse tags (a placeholder of a cloud store, say) stand for ordinary files and
/// directories.
bool isLink(const WIN32_FIND_DATAW& record) {
    return (record.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (record.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT ||
            record.dwReserved0 == IO_REPARSE_TAG_SYMLINK);
}

}  // namespace

void TreeWalk::walk(const std::wstring& here, const std::wstring& there) {
    m_here = here;
    m_there = there;
    openLevel();
    while (!m_levels.empty()) {
        if (takeEntry()) {
            openLevel();
            continue;
        }
        while (!m_levels.empty() && !fetchRecord()) {
            closeLevel();
        }
    }
}

void TreeWalk::enter(const std::wstring&, const std::wstring&) {}

void TreeWalk::leave(const std::wstring&) {}

/// Begins to read the directory m_here: its first entry is the next one.
void TreeWalk::openLevel() {
    enter(m_here, m_there);
    // One text is the message of a failure and, from its second word on, what is searched: nothing
    // is put together between the call and the report of its error.
    constexpr std::wstring_view kCall = L"FindFirstFileTransacted ";
    std::wstring message;
    message.reserve(kCall.size() + m_here.size() + 2);
    message.append(kCall).append(m_here).append(L"\\*");
    // Deliberate: no search is ever closed. Each stays open until the process ends, and so does
    // what the system keeps for it.
    const HANDLE search =
        os().FindFirstFileTransactedW(message.c_str() + kCall.size(), FindExInfoStandard, &m_record,
                                      FindExSearchNameMatch, nullptr, 0, m_transaction);
    if (search == INVALID_HANDLE_VALUE) {
        reportFailure(message.c_str(), true, true);
    }
    m_levels.push_back({search, m_here.size(), m_there.size()});
}

/// Hands the next entry over. Whether it is a directory to be walked, whose paths are then in
/// m_here and m_there.
bool TreeWalk::takeEntry() {
    const std::wstring_view name = m_record.cFileName;
    m_here.push_back(L'\\');
    m_here.append(name);
    m_there.push_back(L'\\');
    m_there.append(name);
    if (!isDots(name) && !isExcludedPath(m_here)) {
        const bool directory = isDirectory(m_record);
        const bool link = isLink(m_record);
        visit({m_here, m_there, directory, link});
        if (directory && !link) {
            return true;
        }
    }
    returnToLevel();
    return false;
}

/// Asks for the next entry of the innermost directory. False when there is none left.
bool TreeWalk::fetchRecord() {
    if (os().FindNextFileW(m_levels.back().search, &m_record)) {
        return true;
    }
    if (os().GetLastError() != ERROR_NO_MORE_FILES) {
        reportFailure(L"FindNextFile", true, true);
    }
    return false;
}

void TreeWalk::closeLevel() {
    leave(m_here);
    m_levels.pop_back();
    if (!m_levels.empty()) {
        returnToLevel();
    }
}

/// Makes m_here and m_there the paths of the innermost directory again.
void TreeWalk::returnToLevel() {
    m_here.resize(m_levels.back().here);
    m_there.resize(m_levels.back().there);
}

}  // namespace Tallowmere
