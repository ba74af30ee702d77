#include "kest/platform/testing/ScriptedTree.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere::platform::testing {
namespace {

constexpr std::uintptr_t kTransaction = 0x7A0000;
constexpr std::uintptr_t kSearches = 0x5E0000;
constexpr std::uintptr_t kFiles = 0xF10000;
constexpr std::uintptr_t kMost = 0xFFFF;

/// In a search's list, the entries "." and "..".
constexpr int kDots = ScriptedWorld::kRoot;

HANDLE handleOf(std::uintptr_t number) {
    return reinterpret_cast<HANDLE>(number);
}

std::uintptr_t numberOf(HANDLE handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}

std::wstring quoted(const wchar_t* text) {
    return text == nullptr ? L"null" : L'"' + std::wstring(text) + L'"';
}

template <class T>
std::wstring nullOr(const T* pointer, const wchar_t* name = L"some") {
    return pointer == nullptr ? L"null" : name;
}

template <class... Texts>
std::wstring callText(const wchar_t* name, const Texts&... texts) {
    std::wstring call = name;
    const wchar_t* separator = L"(";
    ((call.append(separator).append(texts), separator = L", "), ...);
    return call + L')';
}

std::wstring decimal(long long number) {
    return std::to_wstring(number);
}

/// Whether the first of `all` that `call` begins with was found; it is then taken out into `value`.
template <class T>
bool take(std::vector<std::pair<std::wstring, T>>& all, const std::wstring& call, T& value) {
    const auto found = std::find_if(all.begin(), all.end(), [&](const auto& one) {
        return call.compare(0, one.first.size(), one.first) == 0;
    });
    if (found == all.end()) {
        return false;
    }
    value = std::move(found->second);
    all.erase(found);
    return true;
}

void fill(const ScriptedWorld::Node& node, const std::wstring& name, WIN32_FIND_DATAW& data) {
    data = {};
    data.dwFileAttributes = node.attributes;
    data.dwReserved0 = node.tag;
    std::wmemcpy(data.cFileName, name.c_str(), std::min<std::size_t>(name.size(), MAX_PATH - 1));
}

}  // namespace

struct ScriptedTree::Replacements {
    explicit Replacements(ScriptedTree& tree);

    ScopedCall<&Calls::CreateTransaction> createTransaction;
    ScopedCall<&Calls::CommitTransaction> commitTransaction;
    ScopedCall<&Calls::CloseHandle> closeHandle;
    ScopedCall<&Calls::GetFileAttributesTransactedW> attributes;
    ScopedCall<&Calls::FindFirstFileTransactedW> findFirst;
    ScopedCall<&Calls::FindNextFileW> findNext;
    ScopedCall<&Calls::CreateDirectoryTransactedW> createDirectory;
    ScopedCall<&Calls::CopyFileTransactedW> copyFile;
    ScopedCall<&Calls::CreateSymbolicLinkTransactedW> createLink;
    ScopedCall<&Calls::DeleteFileTransactedW> deleteFile;
    ScopedCall<&Calls::RemoveDirectoryTransactedW> removeDirectory;
    ScopedCall<&Calls::CreateFileW> createFile;
    ScopedCall<&Calls::GetFinalPathNameByHandleW> finalPath;
    ScopedCall<&Calls::GetFileAttributesW> plainAttributes;
    ScopedCall<&Calls::CreateSymbolicLinkW> createPlainLink;
};

ScriptedTree::Replacements::Replacements(ScriptedTree& tree)
    : createTransaction([&tree](SECURITY_ATTRIBUTES* security, GUID* unit, DWORD options,
                                DWORD isolationLevel, DWORD isolationFlags, DWORD timeout,
                                wchar_t* description) {
          const std::wstring call =
              callText(L"CreateTransaction", nullOr(security), nullOr(unit), decimal(options),
                       decimal(isolationLevel), decimal(isolationFlags), decimal(timeout),
                       quoted(description));
          const bool made = tree.perform(call, [&] { return tree.beginTransaction(); });
          return made ? tree.m_transaction : INVALID_HANDLE_VALUE;
      }),
      commitTransaction([&tree](HANDLE handle) -> BOOL {
          return tree.perform(callText(L"CommitTransaction", tree.nameOf(handle)),
                              [&] { return tree.commit(handle); });
      }),
      closeHandle([this, &tree](HANDLE handle) -> BOOL {
          if (tree.nameOf(handle) == L"?") {
              return closeHandle.original(handle);
          }
          const std::wstring call = callText(L"CloseHandle", tree.nameOf(handle));
          const DWORD error = tree.close(handle);
          return tree.perform(call, [&] { return error; });
      }),
      attributes([&tree](const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* data,
                         HANDLE handle) -> BOOL {
          const std::wstring call =
              callText(L"GetFileAttributesTransactedW", quoted(path), decimal(level),
                       nullOr(data, L"data"), tree.nameOf(handle));
          return tree.perform(call, [&]() -> DWORD {
              return tree.isIn(handle)
                         ? tree.attributes(path, *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data))
                         : ERROR_INVALID_HANDLE;
          });
      }),
      findFirst([&tree](const wchar_t* pattern, FINDEX_INFO_LEVELS level, void* data,
                        FINDEX_SEARCH_OPS operation, void* filter, DWORD flags, HANDLE handle) {
          const std::wstring call = callText(
              L"FindFirstFileTransactedW", quoted(pattern), decimal(level), nullOr(data, L"data"),
              decimal(operation), nullOr(filter), decimal(flags), tree.nameOf(handle));
          HANDLE search = INVALID_HANDLE_VALUE;
          (void)tree.perform(call, [&]() -> DWORD {
              return tree.isIn(handle)
                         ? tree.findFirst(pattern, *static_cast<WIN32_FIND_DATAW*>(data), search)
                         : ERROR_INVALID_HANDLE;
          });
          return search;
      }),
      findNext([&tree](HANDLE handle, WIN32_FIND_DATAW* data) -> BOOL {
          const std::wstring call =
              callText(L"FindNextFileW", tree.nameOf(handle), nullOr(data, L"data"));
          return tree.perform(call, [&]() -> DWORD {
              const auto found = tree.m_searches.find(handle);
              return found == tree.m_searches.end() ? ERROR_INVALID_HANDLE
                                                    : tree.nextEntry(found->second, *data);
          });
      }),
      createDirectory([&tree](const wchar_t* pattern, const wchar_t* path,
                              SECURITY_ATTRIBUTES* security, HANDLE handle) -> BOOL {
          const std::wstring call = callText(L"CreateDirectoryTransactedW", quoted(pattern),
                                             quoted(path), nullOr(security), tree.nameOf(handle));
          return tree.perform(call, [&]() -> DWORD {
              return tree.isIn(handle) ? tree.createDirectory(path) : ERROR_INVALID_HANDLE;
          });
      }),
      copyFile([&tree](const wchar_t* source, const wchar_t* destination,
                       LPPROGRESS_ROUTINE progress, void* data, BOOL* cancel, DWORD flags,
                       HANDLE handle) -> BOOL {
          const std::wstring call =
              callText(L"CopyFileTransactedW", quoted(source), quoted(destination),
                       progress == nullptr ? L"null" : L"some", nullOr(data), nullOr(cancel),
                       decimal(flags), tree.nameOf(handle));
          return tree.perform(call, [&]() -> DWORD {
              return tree.isIn(handle) ? tree.copyFile(source, destination) : ERROR_INVALID_HANDLE;
          });
      }),
      createLink([&tree](const wchar_t* link, const wchar_t* target, DWORD flags,
                         HANDLE handle) -> BOOLEAN {
          const std::wstring call = callText(L"CreateSymbolicLinkTransactedW", quoted(link),
                                             quoted(target), decimal(flags), tree.nameOf(handle));
          return tree.perform(call, [&]() -> DWORD {
              return tree.isIn(handle) ? ScriptedTree::createLink(tree.m_view, link, target, flags)
                                       : ERROR_INVALID_HANDLE;
          });
      }),
      deleteFile([&tree](const wchar_t* path, HANDLE handle) -> BOOL {
          return tree.perform(callText(L"DeleteFileTransactedW", quoted(path), tree.nameOf(handle)),
                              [&]() -> DWORD {
                                  return tree.isIn(handle) ? tree.removeFile(path)
                                                           : ERROR_INVALID_HANDLE;
                              });
      }),
      removeDirectory([&tree](const wchar_t* path, HANDLE handle) -> BOOL {
          return tree.perform(
              callText(L"RemoveDirectoryTransactedW", quoted(path), tree.nameOf(handle)),
              [&]() -> DWORD {
                  return tree.isIn(handle) ? tree.removeDirectory(path) : ERROR_INVALID_HANDLE;
              });
      }),
      createFile([&tree](const wchar_t* path, DWORD access, DWORD share,
                         SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                         HANDLE pattern) {
          const std::wstring call =
              callText(L"CreateFileW", quoted(path), decimal(access), decimal(share),
                       nullOr(security), decimal(disposition), decimal(flags), nullOr(pattern));
          HANDLE file = INVALID_HANDLE_VALUE;
          (void)tree.perform(call, [&] { return tree.open(path, flags, file); });
          return file;
      }),
      finalPath([&tree](HANDLE handle, wchar_t* buffer, DWORD size, DWORD flags) {
          const std::wstring call =
              callText(L"GetFinalPathNameByHandleW", tree.nameOf(handle), nullOr(buffer, L"data"),
                       decimal(size), decimal(flags));
          DWORD length = 0;
          (void)tree.perform(call, [&] { return tree.finalPath(handle, buffer, size, length); });
          return length;
      }),
      plainAttributes([&tree](const wchar_t* path) {
          DWORD result = INVALID_FILE_ATTRIBUTES;
          (void)tree.perform(callText(L"GetFileAttributesW", quoted(path)), [&] {
              int node = 0;
              const DWORD error = tree.m_world.find(path, false, node);
              result =
                  error == ERROR_SUCCESS ? tree.m_world[node].attributes : INVALID_FILE_ATTRIBUTES;
              return error;
          });
          return result;
      }),
      createPlainLink([&tree](const wchar_t* link, const wchar_t* target, DWORD flags) -> BOOLEAN {
          const std::wstring call =
              callText(L"CreateSymbolicLinkW", quoted(link), quoted(target), decimal(flags));
          return tree.perform(
              call, [&] { return ScriptedTree::createLink(tree.m_world, link, target, flags); });
      }) {}

ScriptedTree::ScriptedTree()
    : transactionHandle(handleOf(kTransaction)),
      m_replacements(std::make_unique<Replacements>(*this)) {}

ScriptedTree::~ScriptedTree() = default;

void ScriptedTree::directory(const std::wstring& path) {
    entry(path, FILE_ATTRIBUTE_DIRECTORY, 0);
}

void ScriptedTree::file(const std::wstring& path, const std::wstring& content) {
    (void)m_world.make(path, {L"", FILE_ATTRIBUTE_ARCHIVE, 0, content, 0, {}});
}

void ScriptedTree::link(const std::wstring& path, const std::wstring& target, bool isDirectory,
                        DWORD tag) {
    const DWORD attributes = FILE_ATTRIBUTE_REPARSE_POINT |
                             (isDirectory ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE);
    (void)m_world.make(path, {L"", attributes, tag, target, 0, {}});
}

void ScriptedTree::entry(const std::wstring& path, DWORD attributes, DWORD tag) {
    (void)m_world.make(path, {L"", attributes, tag, L"", 0, {}});
}

void ScriptedTree::restore() {
    m_world = m_kept;
    m_isTransactionOpen = false;
    m_searches.clear();
    m_files.clear();
    m_searched = 0;
    m_opened = 0;
    m_calls.clear();
    m_failures.clear();
    m_actions.clear();
    m_commits = 0;
    m_rollbacks = 0;
}

bool ScriptedTree::perform(const std::wstring& call, const std::function<DWORD()>& body) {
    m_calls.push_back(call);
    std::function<void()> action;
    if (take(m_actions, call, action)) {
        action();
    }
    DWORD error = ERROR_SUCCESS;
    if (!take(m_failures, call, error)) {
        error = body();
    }
    if (error != ERROR_SUCCESS) {
        os().SetLastError(error);
    }
    return error == ERROR_SUCCESS;
}

std::wstring ScriptedTree::nameOf(HANDLE handle) const {
    const std::uintptr_t number = numberOf(handle);
    if (handle == m_transaction && (m_isTransactionOpen || m_commits > 0)) {
        return L"T";
    }
    if (number > kSearches && number <= kSearches + kMost) {
        return L'S' + decimal(static_cast<long long>(number - kSearches));
    }
    if (number > kFiles && number <= kFiles + kMost) {
        return L'F' + decimal(static_cast<long long>(number - kFiles));
    }
    return handle == INVALID_HANDLE_VALUE ? L"invalid" : L"?";
}

DWORD ScriptedTree::beginTransaction() {
    m_view = m_world;
    m_transaction = transactionHandle;
    m_isTransactionOpen = true;
    return ERROR_SUCCESS;
}

DWORD ScriptedTree::commit(HANDLE handle) {
    if (!isIn(handle)) {
        return ERROR_INVALID_HANDLE;
    }
    m_world = m_view;
    m_isTransactionOpen = false;
    ++m_commits;
    return ERROR_SUCCESS;
}

DWORD ScriptedTree::close(HANDLE handle) {
    if (isIn(handle)) {
        m_isTransactionOpen = false;
        ++m_rollbacks;
        return ERROR_SUCCESS;
    }
    return m_files.erase(handle) != 0 ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

DWORD ScriptedTree::attributes(const wchar_t* path, WIN32_FILE_ATTRIBUTE_DATA& data) const {
    int node = 0;
    const DWORD error = m_view.find(path, false, node);
    if (error == ERROR_SUCCESS) {
        data = {};
        data.dwFileAttributes = m_view[node].attributes;
        data.nFileSizeLow = static_cast<DWORD>(m_view[node].content.size());
    }
    return error;
}

DWORD ScriptedTree::findFirst(const std::wstring& pattern, WIN32_FIND_DATAW& data, HANDLE& handle) {
    if (pattern.size() < 2 || pattern.compare(pattern.size() - 2, 2, L"\\*") != 0) {
        return ERROR_INVALID_NAME;
    }
    // "C:\\*" is at the root, unlike "C:".
    std::wstring path = pattern.substr(0, pattern.size() - 2);
    path += path.size() == 2 && path[1] == L':' ? L"\\" : L"";
    int node = 0;
    const DWORD error = m_view.find(path, true, node);
    if (error != ERROR_SUCCESS) {
        return error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error;
    }
    if (!m_view[node].isDirectory()) {
        return ERROR_DIRECTORY;
    }
    Search search{m_view[node].children};
    // The root of a drive lists no dots.
    const bool isDriveRoot = m_view[node].parent == ScriptedWorld::kRoot;
    if (isDriveRoot && search.entries.empty()) {
        return ERROR_FILE_NOT_FOUND;
    }
    if (!isDriveRoot) {
        search.entries.insert(search.entries.begin(), 2, kDots);
    }
    const DWORD first = nextEntry(search, data);
    handle = handleOf(kSearches + ++m_searched);
    m_searches[handle] = std::move(search);
    return first;
}

DWORD ScriptedTree::nextEntry(Search& search, WIN32_FIND_DATAW& data) const {
    if (search.next == search.entries.size()) {
        return ERROR_NO_MORE_FILES;
    }
    const int node = search.entries[search.next++];
    if (node == kDots) {
        fill(m_view[node], search.next == 1 ? L"." : L"..", data);
    } else {
        fill(m_view[node], m_view[node].name, data);
    }
    return ERROR_SUCCESS;
}

DWORD ScriptedTree::createDirectory(const wchar_t* path) {
    int node = 0;
    if (m_view.find(path, false, node) == ERROR_SUCCESS) {
        return ERROR_ALREADY_EXISTS;
    }
    ScriptedWorld::Node made;
    const DWORD error = m_view.findPlace(path, node, made.name);
    if (error == ERROR_SUCCESS) {
        (void)m_view.add(node, std::move(made));
    }
    return error;
}

DWORD ScriptedTree::copyFile(const wchar_t* source, const wchar_t* destination) {
    int from = 0;
    DWORD error = m_view.find(source, false, from);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (m_view[from].isDirectory()) {
        return ERROR_ACCESS_DENIED;
    }
    ScriptedWorld::Node copy = m_view[from];
    int parent = 0;
    error = m_view.findPlace(destination, parent, copy.name);
    int old = 0;
    if (error == ERROR_SUCCESS && m_view.find(destination, false, old) == ERROR_SUCCESS) {
        if (m_view[old].isDirectory()) {
            return ERROR_ACCESS_DENIED;
        }
        m_view.erase(old);
    }
    if (error == ERROR_SUCCESS) {
        (void)m_view.add(parent, std::move(copy));
    }
    return error;
}

DWORD ScriptedTree::createLink(ScriptedWorld& world, const wchar_t* path, const wchar_t* target,
                               DWORD flags) {
    int node = 0;
    if (world.find(path, false, node) == ERROR_SUCCESS) {
        return ERROR_ALREADY_EXISTS;
    }
    ScriptedWorld::Node link;
    const DWORD error = world.findPlace(path, node, link.name);
    if (error == ERROR_SUCCESS) {
        link.attributes = FILE_ATTRIBUTE_REPARSE_POINT |
                          ((flags & SYMBOLIC_LINK_FLAG_DIRECTORY) != 0 ? FILE_ATTRIBUTE_DIRECTORY
                                                                       : FILE_ATTRIBUTE_ARCHIVE);
        link.tag = IO_REPARSE_TAG_SYMLINK;
        link.content = target;
        (void)world.add(node, std::move(link));
    }
    return error;
}

DWORD ScriptedTree::removeFile(const wchar_t* path) {
    int node = 0;
    const DWORD error = m_view.find(path, false, node);
    if (error == ERROR_SUCCESS) {
        if (m_view[node].isDirectory() ||
            (m_view[node].attributes & FILE_ATTRIBUTE_READONLY) != 0) {
            return ERROR_ACCESS_DENIED;
        }
        m_view.erase(node);
    }
    return error;
}

DWORD ScriptedTree::removeDirectory(const wchar_t* path) {
    int node = 0;
    const DWORD error = m_view.find(path, false, node);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (!m_view[node].isDirectory()) {
        return ERROR_DIRECTORY;
    }
    if (!m_view[node].children.empty()) {
        return ERROR_DIR_NOT_EMPTY;
    }
    if (m_view[node].parent == ScriptedWorld::kRoot) {
        return ERROR_ACCESS_DENIED;
    }
    m_view.erase(node);
    return ERROR_SUCCESS;
}

DWORD ScriptedTree::open(const wchar_t* path, DWORD flags, HANDLE& handle) {
    int node = 0;
    const DWORD error = m_world.find(path, true, node);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (m_world[node].isDirectory() && (flags & FILE_FLAG_BACKUP_SEMANTICS) == 0) {
        return ERROR_ACCESS_DENIED;
    }
    handle = handleOf(kFiles + ++m_opened);
    m_files[handle] = node;
    return ERROR_SUCCESS;
}

DWORD ScriptedTree::finalPath(HANDLE handle, wchar_t* buffer, DWORD size, DWORD& length) const {
    const auto found = m_files.find(handle);
    if (found == m_files.end()) {
        return ERROR_INVALID_HANDLE;
    }
    const std::wstring path = L"\\\\?\\" + m_world.pathOf(found->second);
    length = static_cast<DWORD>(path.size());
    if (path.size() >= size) {
        ++length;
    } else {
        std::wmemcpy(buffer, path.c_str(), path.size() + 1);
    }
    return ERROR_SUCCESS;
}

}  // namespace Tallowmere::platform::testing
