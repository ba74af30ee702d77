#include "kest/platform/testing/MemoryImage.h"

#include <vector>

namespace Tallowmere::platform::testing {

using transactions::Kind;

bool MemoryChange::touches(NodeId directory) const {
    switch (what) {
        case What::Make:
        case What::Remove:
            return parent == directory;
        case What::Move:
        case What::Exchange:
            return parent == directory || oldParent == directory;
        case What::Keep:
            return node == directory;
        case What::Write:
            break;
    }
    return false;
}

std::string MemoryChange::text() const {
    static constexpr const char* kWords[] = {"make", "write", "keep", "remove", "move", "exchange"};
    std::string result = kWords[static_cast<int>(what)];
    result += " #" + std::to_string(node);
    if (oldParent != 0) {
        result += " from #" + std::to_string(oldParent);
    }
    if (parent != 0) {
        result += " in #" + std::to_string(parent) + " \"";
        result.append(name.begin(), name.end());
        result += '"';
    }
    return result;
}

MemoryImage::MemoryImage(bool ignoresCase) : m_ignoresCase(ignoresCase) {
    m_nodes[kRoot].kind = Kind::Directory;
}

std::wstring MemoryImage::fold(const std::wstring& name) const {
    std::wstring result = name;
    if (m_ignoresCase) {
        for (wchar_t& unit : result) {
            if (unit >= L'a' && unit <= L'z') {
                unit = static_cast<wchar_t>(unit - L'a' + L'A');
            }
        }
    }
    return result;
}

const MemoryNode* MemoryImage::find(NodeId node) const {
    const auto found = m_nodes.find(node);
    return found == m_nodes.end() ? nullptr : &found->second;
}

NodeId MemoryImage::child(NodeId directory, const std::wstring& name) const {
    const MemoryNode* const node = find(directory);
    if (node == nullptr) {
        return 0;
    }
    const auto found = node->entries.find(fold(name));
    return found == node->entries.end() ? 0 : found->second;
}

bool MemoryImage::isSameOrBelow(NodeId node, NodeId ancestor) const {
    while (node != 0 && node != ancestor) {
        const MemoryNode* const found = find(node);
        node = found == nullptr ? 0 : found->parent;
    }
    return node == ancestor;
}

std::size_t MemoryImage::size() const {
    std::size_t result = 0;
    for (const auto& [id, node] : m_nodes) {
        result += 1 + node.content.size();
    }
    return result;
}

void MemoryImage::unlink(NodeId node) {
    const auto found = m_nodes.find(node);
    if (found == m_nodes.end() || found->second.parent == 0) {
        return;
    }
    const auto directory = m_nodes.find(found->second.parent);
    if (directory != m_nodes.end()) {
        directory->second.entries.erase(fold(found->second.name));
    }
    found->second.parent = 0;
}

void MemoryImage::link(NodeId node, NodeId parent, const std::wstring& name) {
    unlink(node);
    const auto found = m_nodes.find(node);
    const auto directory = m_nodes.find(parent);
    if (found == m_nodes.end() || directory == m_nodes.end()) {
        return;
    }
    unlink(child(parent, name));
    directory->second.entries[fold(name)] = node;
    found->second.parent = parent;
    found->second.name = name;
}

void MemoryImage::apply(const MemoryChange& change) {
    switch (change.what) {
        case MemoryChange::What::Make:
            m_nodes[change.node] = change.made;
            link(change.node, change.parent, change.name);
            break;
        case MemoryChange::What::Write:
        case MemoryChange::What::Keep: {
            const auto found = m_nodes.find(change.node);
            if (found != m_nodes.end() && change.what == MemoryChange::What::Write) {
                found->second.content = change.content;
            } else if (found != m_nodes.end()) {
                found->second.keeps = change.keeps;
            }
            break;
        }
        case MemoryChange::What::Remove: {
            const MemoryNode* const node = find(change.node);
            if (node != nullptr && node->parent == change.parent) {
                unlink(change.node);
                m_nodes.erase(change.node);
            }
            break;
        }
        case MemoryChange::What::Move:
            link(change.node, change.parent, change.name);
            break;
        case MemoryChange::What::Exchange:
            unlink(change.node);
            unlink(change.other);
            link(change.node, change.parent, change.name);
            link(change.other, change.oldParent, change.oldName);
            break;
    }
}

void MemoryImage::dropLost() {
    std::map<NodeId, MemoryNode> reached;
    std::vector<NodeId> open = {kRoot};
    while (!open.empty()) {
        const NodeId id = open.back();
        open.pop_back();
        for (const auto& [name, child] : m_nodes.at(id).entries) {
            open.push_back(child);
        }
        reached.insert(m_nodes.extract(id));
    }
    m_nodes = std::move(reached);
}

void MemoryImage::spoil(NodeId file) {
    const auto found = m_nodes.find(file);
    if (found != m_nodes.end() && found->second.kind == Kind::File) {
        found->second.content = "whatever was there before";
    }
}

}  // namespace Tallowmere::platform::testing
