#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/testing/ScriptedWorld.h"

namespace Tallowmere::platform::testing {

/// A world in memory for tests of the tree walk and of links. While it lives it answers the eleven
/// calls of the family Transactions, and GetFileAttributesW, CreateFileW, GetFinalPathNameByHandleW
/// and CreateSymbolicLinkW, by the rules of Windows:
/// names without regard to case, links followed on the way, "\\?\" understood once, a transaction
/// that sees its own changes while all others see the state from before its commit. It keeps each
/// call with all its arguments as text.
///
///     ScriptedTree tree;
///     tree.file(L"C:\\from\\file", L"content");
///     CopyDirectoryTransacted(L"C:\\from", L"C:\\to");
///     EXPECT_EQ(L"file content", tree.snapshot()[L"C:\\to\\file"]);
///
/// One transaction at a time, on one thread. CloseHandle goes on to what stood there before for
/// handles that are not from here.
class ScriptedTree {
public:
    ScriptedTree();
    ~ScriptedTree();
    ScriptedTree(const ScriptedTree&) = delete;
    ScriptedTree& operator=(const ScriptedTree&) = delete;

    // --- What there is. Directories on the way are made; listings have the order of making.

    void directory(const std::wstring& path);
    void file(const std::wstring& path, const std::wstring& content = L"");
    /// A link to the absolute path `target`, or a junction with the other tag.
    void link(const std::wstring& path, const std::wstring& target, bool isDirectory,
              DWORD tag = IO_REPARSE_TAG_SYMLINK);
    /// Anything else that a directory's record can say.
    void entry(const std::wstring& path, DWORD attributes, DWORD tag);
    /// What relative paths are relative to; "C:\" at the start.
    void currentDirectory(const std::wstring& path) { m_world.currentDirectory = path; }

    /// Makes the present state the one to which `restore` returns.
    void keep() { m_kept = m_world; }
    /// Brings that state back; forgets calls, counts, open handles and what was to go wrong.
    void restore();

    // --- What goes wrong.

    /// The first call from now on whose text begins with `text` fails with `error`. CloseHandle
    /// still closes.
    void fail(const std::wstring& text, DWORD error) { m_failures.emplace_back(text, error); }
    /// `action` runs before the first call from now on whose text begins with `text`.
    void before(const std::wstring& text, std::function<void()> action) {
        m_actions.emplace_back(text, std::move(action));
    }
    /// The handle that the next transaction gets.
    HANDLE transactionHandle;

    // --- What happened.

    /// The committed world; see ScriptedWorld::snapshot.
    std::map<std::wstring, std::wstring> snapshot() const { return m_world.snapshot(); }

    /// Such as `CreateDirectoryTransactedW(null, "C:\to", null, T)`. Texts are quoted; T is the
    /// transaction; S1, S2 ... are searches and F1, F2 ... files in the order of their opening;
    /// `data` is a record to be filled; an argument that should be null and is not is `some`.
    const std::vector<std::wstring>& calls() const { return m_calls; }
    int commits() const { return m_commits; }
    /// How often a transaction was closed before its commit.
    int rollbacks() const { return m_rollbacks; }
    bool isTransactionOpen() const { return m_isTransactionOpen; }
    std::size_t openSearches() const { return m_searches.size(); }
    std::size_t openFiles() const { return m_files.size(); }

private:
    struct Search {
        std::vector<int> entries;
        std::size_t next = 0;
    };
    struct Replacements;

    /// Records the call and does `body`, which returns 0 or an error, unless it is to fail.
    bool perform(const std::wstring& call, const std::function<DWORD()>& body);
    std::wstring nameOf(HANDLE handle) const;
    bool isIn(HANDLE handle) const { return m_isTransactionOpen && handle == m_transaction; }
    DWORD nextEntry(Search& search, WIN32_FIND_DATAW& data) const;

    DWORD beginTransaction();
    DWORD commit(HANDLE handle);
    DWORD close(HANDLE handle);
    DWORD attributes(const wchar_t* path, WIN32_FILE_ATTRIBUTE_DATA& data) const;
    DWORD findFirst(const std::wstring& pattern, WIN32_FIND_DATAW& data, HANDLE& handle);
    DWORD createDirectory(const wchar_t* path);
    DWORD copyFile(const wchar_t* source, const wchar_t* destination);
    static DWORD createLink(ScriptedWorld& world, const wchar_t* path, const wchar_t* target,
                            DWORD flags);
    DWORD removeFile(const wchar_t* path);
    DWORD removeDirectory(const wchar_t* path);
    DWORD open(const wchar_t* path, DWORD flags, HANDLE& handle);
    DWORD finalPath(HANDLE handle, wchar_t* buffer, DWORD size, DWORD& length) const;

    ScriptedWorld m_world;
    ScriptedWorld m_kept;
    /// As the open transaction sees it.
    ScriptedWorld m_view;
    bool m_isTransactionOpen = false;
    HANDLE m_transaction = INVALID_HANDLE_VALUE;
    std::map<HANDLE, Search> m_searches;
    std::map<HANDLE, int> m_files;
    std::uintptr_t m_searched = 0;
    std::uintptr_t m_opened = 0;
    std::vector<std::wstring> m_calls;
    std::vector<std::pair<std::wstring, DWORD>> m_failures;
    std::vector<std::pair<std::wstring, std::function<void()>>> m_actions;
    int m_commits = 0;
    int m_rollbacks = 0;
    std::unique_ptr<Replacements> m_replacements;
};

}  // namespace Tallowmere::platform::testing
