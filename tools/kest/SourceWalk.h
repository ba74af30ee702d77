#pragma once

#include <string>

#include "Disk.h"

namespace Tallowmere::command {

/// Walks a tree in the order in which the library copies it, by the library's own rules for what is
/// left out.
class SourceWalk {
public:
    virtual ~SourceWalk() = default;

    /// Walks what is below `root`. Links are met, not followed.
    void walk(const std::wstring& root);

protected:
    /// For each entry; `relative` is its path below the root. False ends the walk.
    virtual bool meet(const std::wstring& relative, const disk::Entry& entry) = 0;
    /// For what a copy leaves out, with the reason.
    virtual void skip(const std::wstring& relative, const disk::Entry& entry,
                      const wchar_t* reason) = 0;
    /// For a folder that could not be listed to its end. The root's path is empty.
    virtual void fail(const std::wstring& relative, const std::wstring& reason) = 0;
};

}  // namespace Tallowmere::command
