#pragma once

#include "kest/transacted/TreeWalk.h"

namespace Tallowmere {

/// Copies each directory, file and link that it meets to its counterpart, inside the transaction.
class CopyWalk : public TreeWalk {
public:
    explicit CopyWalk(HANDLE transaction) : TreeWalk(transaction) {}

private:
    void enter(const std::wstring& here, const std::wstring& there) override;
    void visit(const Entry& entry) override;

    void createDirectory(const std::wstring& path);
    void copyDirectoryLink(const std::wstring& source, const std::wstring& destination) const;
};

}  // namespace Tallowmere
