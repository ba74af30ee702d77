#include "kest/platform/windows/WindowsListing.h"

#include <cstring>
#include <cwchar>
#include <utility>
#include <vector>

#include "kest/platform/windows/Handle.h"

namespace Tallowmere::platform {
namespace {

using transactions::Kind;
using transactions::Record;

class Search {
public:
    Search() = default;
    ~Search() { close(); }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;
    bool open(const std::wstring& pattern, WIN32_FIND_DATAW& data) {
        m_handle = ::FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &data,
                                      FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
        return m_handle != INVALID_HANDLE_VALUE;
    }
    bool next(WIN32_FIND_DATAW& data) { return ::FindNextFileW(m_handle, &data) != FALSE; }
    bool isOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
    void close() {
        if (isOpen()) {
            ::FindClose(std::exchange(m_handle, INVALID_HANDLE_VALUE));
        }
    }

private:
    HANDLE m_handle = INVALID_HANDLE_VALUE;
};

/// What stands before each name in the piece.
struct Head {
    DWORD attributes;
    DWORD tag;
    DWORD length;
};

class WindowsListing : public transactions::Listing {
public:
    WindowsListing(const wchar_t* hidden, std::size_t most) : m_hidden(hidden), m_most(most) {}

    DWORD open(const std::wstring& path) {
        WIN32_FIND_DATAW data{};
        if (!m_search.open(path + L"\\*", data)) {
            const DWORD error = failure();
            // The root of an empty volume, which has no "." either.
            return error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_SUCCESS} : error;
        }
        keep(data);
        return fill();
    }

    DWORD next(Record& record) override {
        const LastErrorGuard kept;
        if (m_at == m_piece.size()) {
            m_piece.clear();
            m_at = 0;
            const DWORD error = fill();
            if (error != ERROR_SUCCESS) {
                return error;
            }
            if (m_piece.empty()) {
                return ERROR_NO_MORE_FILES;
            }
        }
        Head head{};
        std::memcpy(&head, m_piece.data() + m_at, sizeof head);
        m_at += sizeof head;
        record.name.resize(head.length);
        std::memcpy(record.name.data(), m_piece.data() + m_at, head.length * sizeof(wchar_t));
        m_at += head.length * sizeof(wchar_t);
        record.kind = kindOf(head.attributes, head.tag);
        record.attributes = head.attributes;
        record.reparseTag = tagOf(head.attributes, head.tag);
        return ERROR_SUCCESS;
    }

private:
    /// Reads on until the piece is full or the search has ended, which closes it.
    DWORD fill() {
        WIN32_FIND_DATAW data{};
        while (m_search.isOpen() && m_piece.size() < m_most) {
            if (!m_search.next(data)) {
                const DWORD error = failure();
                m_search.close();
                return error == ERROR_NO_MORE_FILES ? DWORD{ERROR_SUCCESS} : error;
            }
            keep(data);
        }
        return ERROR_SUCCESS;
    }

    void keep(const WIN32_FIND_DATAW& data) {
        const wchar_t* const name = data.cFileName;
        if (std::wcscmp(name, L".") == 0 || std::wcscmp(name, L"..") == 0 ||
            std::wcscmp(name, m_hidden) == 0) {
            return;
        }
        const bool isReparsePoint = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        const Head head{data.dwFileAttributes, isReparsePoint ? data.dwReserved0 : 0,
                        static_cast<DWORD>(std::wcslen(name))};
        const std::size_t start = m_piece.size();
        m_piece.resize(start + sizeof head + head.length * sizeof(wchar_t));
        std::memcpy(m_piece.data() + start, &head, sizeof head);
        std::memcpy(m_piece.data() + start + sizeof head, name, head.length * sizeof(wchar_t));
    }

    const wchar_t* m_hidden;
    std::size_t m_most;
    Search m_search;
    std::vector<char> m_piece;
    std::size_t m_at = 0;
};

bool isLink(DWORD attributes, DWORD reparseTag) {
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (reparseTag == IO_REPARSE_TAG_SYMLINK || reparseTag == IO_REPARSE_TAG_MOUNT_POINT ||
            reparseTag == 0);
}

}  // namespace

Kind kindOf(DWORD attributes, DWORD reparseTag) {
    const bool isDirectory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (isLink(attributes, reparseTag)) {
        return isDirectory ? Kind::DirectoryLink : Kind::FileLink;
    }
    return isDirectory ? Kind::Directory : Kind::File;
}

DWORD tagOf(DWORD attributes, DWORD reparseTag) {
    // Without a tag a tree walk would take it for a plain directory and go into it.
    return isLink(attributes, reparseTag) && reparseTag == 0 ? DWORD{IO_REPARSE_TAG_SYMLINK}
                                                             : reparseTag;
}

DWORD listDirectory(const std::wstring& path, const wchar_t* hidden,
                    std::unique_ptr<transactions::Listing>& listing, std::size_t piece) {
    auto made = std::make_unique<WindowsListing>(hidden, piece);
    const DWORD error = made->open(path);
    if (error == ERROR_SUCCESS) {
        listing = std::move(made);
    }
    return error;
}

}  // namespace Tallowmere::platform
