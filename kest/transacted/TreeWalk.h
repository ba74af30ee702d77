#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kest/platform/Calls.h"

namespace Tallowmere {

/// A depth-first walk through a directory tree as one transaction sees it. Links are met but never
/// descended into, and excluded paths (ExcludedPaths.h) are not met at all. The walk itself only
/// reads; what is done is up to the class derived from it.
///
/// Every failure is reported through reportFailure and thrown. How deep a tree may be is a matter
/// of memory alone: the walk keeps a few bytes for each level, and nothing on the stack.
class TreeWalk {
public:
    virtual ~TreeWalk() = default;
    TreeWalk(const TreeWalk&) = delete;
    TreeWalk& operator=(const TreeWalk&) = delete;

    /// Walks the tree below `here`; `there` is its counterpart, to whose path each name is added in
    /// the same way. The paths are joined as they are, a separator at their end is kept.
    void walk(const std::wstring& here, const std::wstring& there);

protected:
    /// What the walk meets in a directory. The texts are good for the call only.
    struct Entry {
        const std::wstring& here;
        const std::wstring& there;
        bool isDirectory;
        /// A symbolic link or a junction; with `isDirectory`, one that stands for a directory.
        bool isLink;
    };

    /// The transaction stays the caller's.
    explicit TreeWalk(HANDLE transaction) : m_transaction(transaction) {}

    HANDLE transaction() const { return m_transaction; }

    /// A text that begins with `call`, for a trace line: its memory is used for one line after the
    /// other.
    std::wstring& line(std::wstring_view call) { return m_line.assign(call); }

private:
    /// Called before a directory is read, the topmost one included.
    virtual void enter(const std::wstring& here, const std::wstring& there);
    /// Called for each entry, before a directory among them is entered.
    virtual void visit(const Entry& entry) = 0;
    /// Called when all that a directory holds is done, the topmost one included.
    virtual void leave(const std::wstring& here);

    /// A directory that is being read: its search, and how long its two paths are.
    struct Level {
        HANDLE search;
        std::size_t here;
        std::size_t there;
    };

    void openLevel();
    bool takeEntry();
    bool fetchRecord();
    void closeLevel();
    void returnToLevel();

    HANDLE m_transaction;
    std::vector<Level> m_levels;
    /// The paths of the directory being read, or of the entry being handled. They grow and shrink
    /// with the walk, so that the memory for them does not grow with the square of the depth.
    std::wstring m_here;
    std::wstring m_there;
    std::wstring m_line;
    /// The entry that comes next in the innermost directory.
    WIN32_FIND_DATAW m_record{};
};

}  // namespace Tallowmere
