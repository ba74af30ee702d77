#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kest/platform/transactions/Disk.h"

namespace Tallowmere::platform::testing {

/// Stands for an entry whatever it is called and wherever it is moved, as an inode does. 0 is none.
using NodeId = std::uint32_t;

/// What the system keeps about an entry beside its content, and what a copy takes over.
struct MemoryKeeps {
    /// Stands for the owner, the times and the like.
    std::string label;
    bool isReadable = true;
    /// For a directory: whether its entries may change.
    bool isWritable = true;
    /// The Windows attribute.
    bool isReadOnly = false;
    bool isPrivate = false;
};

struct MemoryNode {
    transactions::Kind kind = transactions::Kind::File;
    MemoryKeeps keeps;
    int owner = 0;
    std::string content;
    /// Where a link leads to.
    std::wstring target;
    bool isJunction = false;
    /// Of a directory, by folded name.
    std::map<std::wstring, NodeId> entries;
    /// Where it stands; no parent for a root and for what has been lost.
    NodeId parent = 0;
    std::wstring name;

    /// The same for equal nodes, whatever they hold below; worked out once.
    std::uint64_t fingerprint() const;
    mutable std::uint64_t knownFingerprint = 0;
};

/// One change of a volume, made as a whole or not at all.
struct MemoryChange {
    enum class What {
        Make,      ///< `made` appears as `node` at `parent`, `name`
        Write,     ///< the content of `node`
        Keep,      ///< what is kept about `node`
        Remove,    ///< `node` disappears from `parent`
        Move,      ///< `node` goes from `oldParent` to `parent`, `name`
        Exchange,  ///< `node` goes to `parent`, `name`; `other` to `oldParent`, `oldName`
    };
    What what = What::Make;
    NodeId node = 0;
    NodeId parent = 0;
    std::wstring name;
    NodeId other = 0;
    NodeId oldParent = 0;
    std::wstring oldName;
    MemoryNode made;
    std::string content;
    MemoryKeeps keeps;

    /// Whether it changes the entries of a directory, or the directory itself.
    bool touches(NodeId directory) const;
    /// For a test's output.
    std::string text() const;
    std::uint64_t fingerprint() const;
};

/// What is on a volume at one moment.
class MemoryImage {
public:
    static constexpr NodeId kRoot = 1;

    explicit MemoryImage(bool ignoresCase);

    static std::wstring fold(const std::wstring& name, bool ignoresCase);
    std::wstring fold(const std::wstring& name) const { return fold(name, m_ignoresCase); }
    const MemoryNode* find(NodeId node) const;
    /// 0 when there is none.
    NodeId child(NodeId directory, const std::wstring& name) const;
    bool isSameOrBelow(NodeId node, NodeId ancestor) const;
    /// One for each entry and one for each byte of content.
    std::size_t size() const;
    /// The same for equal images, and surely not for others.
    std::uint64_t fingerprint() const;

    /// Carries out a change as far as it has a meaning here: after a power cut others, which it was
    /// made upon, may be missing. What stands where something else comes to stand is lost.
    void apply(const MemoryChange& change);
    /// Forgets what no name leads to.
    void dropLost();
    /// Puts a mark in place of what a file was to hold.
    void spoil(NodeId file);

private:
    MemoryNode* toChange(NodeId node);
    void link(NodeId node, NodeId parent, const std::wstring& name);
    void unlink(NodeId node);

    bool m_ignoresCase;
    /// By number; null for what is gone. Images share the nodes in which they agree, so that a copy
    /// costs next to nothing: tests make millions.
    std::vector<std::shared_ptr<MemoryNode>> m_nodes;
};

}  // namespace Tallowmere::platform::testing
