#pragma once

#include "kest/transacted/TreeWalk.h"

namespace Tallowmere {

/// Deletes each file, link and directory that it meets, a directory after all that it holds, inside
/// the transaction. The topmost directory goes too, unless it is a bare drive. A link is removed
/// and its target left alone.
class DeleteWalk : public TreeWalk {
public:
    explicit DeleteWalk(HANDLE transaction) : TreeWalk(transaction) {}

private:
    void visit(const Entry& entry) override;
    void leave(const std::wstring& here) override;
};

}  // namespace Tallowmere
