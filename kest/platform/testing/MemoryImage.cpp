#include "kest/platform/testing/MemoryImage.h"

#include <vector>

namespace Tallowmere::platform::testing {

using transactions::Kind;

namespace {

std::uint64_t mix(std::uint64_t sum, std::uint64_t value) {
    sum = (sum ^ value) * 0x9E3779B97F4A7C15U;
    return sum ^ (sum >> 29);
}

template <class Text>
std::uint64_t mixText(std::uint64_t sum, const Text& text) {
    for (const auto unit : text) {
        sum = mix(sum, static_cast<std::uint64_t>(unit) + 1);
    }
    return mix(sum, text.size());
}

std::uint64_t mixKeeps(std::uint64_t sum, const MemoryKeeps& keeps) {
    const unsigned flags = (keeps.isReadable ? 1U : 0U) | (keeps.isWritable ? 2U : 0U) |
                           (keeps.isReadOnly ? 4U : 0U) | (keeps.isPrivate ? 8U : 0U);
    return mix(mixText(sum, keeps.label), flags);
}

}  // namespace

std::uint64_t MemoryNode::fingerprint() const {
    if (knownFingerprint == 0) {
        std::uint64_t sum = mix(mix(1, static_cast<std::uint64_t>(kind)), isJunction ? 1 : 0);
        sum = mix(mixKeeps(sum, keeps), static_cast<std::uint64_t>(owner));
        sum = mixText(mixText(sum, content), target);
        knownFingerprint = mixText(mix(sum, parent), name) | 1;
    }
    return knownFingerprint;
}

std::uint64_t MemoryChange::fingerprint() const {
    std::uint64_t sum = mix(2, static_cast<std::uint64_t>(what));
    sum = mixText(mix(mix(sum, node), parent), name);
    sum = mixText(mix(mix(sum, other), oldParent), oldName);
    return mixKeeps(mixText(mix(sum, made.fingerprint()), content), keeps);
}

std::uint64_t MemoryImage::fingerprint() const {
    std::uint64_t sum = 0;
    for (std::size_t id = 0; id < m_nodes.size(); ++id) {
        if (m_nodes[id] != nullptr) {
            sum += mix(m_nodes[id]->fingerprint(), id);
        }
    }
    return sum;
}

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

MemoryImage::MemoryImage(bool ignoresCase) : m_ignoresCase(ignoresCase), m_nodes(kRoot + 1) {
    m_nodes[kRoot] = std::make_shared<MemoryNode>();
    m_nodes[kRoot]->kind = Kind::Directory;
}

std::wstring MemoryImage::fold(const std::wstring& name, bool ignoresCase) {
    std::wstring result = name;
    if (ignoresCase) {
        for (wchar_t& unit : result) {
            if (unit >= L'a' && unit <= L'z') {
                unit = static_cast<wchar_t>(unit - L'a' + L'A');
            }
        }
    }
    return result;
}

const MemoryNode* MemoryImage::find(NodeId node) const {
    return node < m_nodes.size() ? m_nodes[node].get() : nullptr;
}

MemoryNode* MemoryImage::toChange(NodeId node) {
    if (find(node) == nullptr) {
        return nullptr;
    }
    std::shared_ptr<MemoryNode>& found = m_nodes[node];
    if (found.use_count() != 1) {
        found = std::make_shared<MemoryNode>(*found);
    }
    found->knownFingerprint = 0;
    return found.get();
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
    for (const auto& node : m_nodes) {
        result += node == nullptr ? 0 : 1 + node->content.size();
    }
    return result;
}

void MemoryImage::unlink(NodeId node) {
    const MemoryNode* const found = find(node);
    if (found == nullptr || found->parent == 0) {
        return;
    }
    if (MemoryNode* const directory = toChange(found->parent)) {
        directory->entries.erase(fold(found->name));
    }
    toChange(node)->parent = 0;
}

void MemoryImage::link(NodeId node, NodeId parent, const std::wstring& name) {
    unlink(node);
    if (find(node) == nullptr || find(parent) == nullptr) {
        return;
    }
    unlink(child(parent, name));
    toChange(parent)->entries[fold(name)] = node;
    MemoryNode& linked = *toChange(node);
    linked.parent = parent;
    linked.name = name;
}

void MemoryImage::apply(const MemoryChange& change) {
    switch (change.what) {
        case MemoryChange::What::Make:
            unlink(change.node);
            if (m_nodes.size() <= change.node) {
                m_nodes.resize(change.node + 1);
            }
            m_nodes[change.node] = std::make_shared<MemoryNode>(change.made);
            m_nodes[change.node]->parent = 0;
            m_nodes[change.node]->knownFingerprint = 0;
            link(change.node, change.parent, change.name);
            break;
        case MemoryChange::What::Write:
            if (MemoryNode* const file = toChange(change.node)) {
                file->content = change.content;
            }
            break;
        case MemoryChange::What::Keep:
            if (MemoryNode* const node = toChange(change.node)) {
                node->keeps = change.keeps;
            }
            break;
        case MemoryChange::What::Remove: {
            const MemoryNode* const node = find(change.node);
            if (node != nullptr && node->parent == change.parent) {
                unlink(change.node);
                m_nodes[change.node] = nullptr;
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
    std::vector<std::shared_ptr<MemoryNode>> reached(m_nodes.size());
    std::vector<NodeId> open = {kRoot};
    while (!open.empty()) {
        const NodeId id = open.back();
        open.pop_back();
        for (const auto& [name, child] : m_nodes[id]->entries) {
            open.push_back(child);
        }
        reached[id] = std::move(m_nodes[id]);
    }
    m_nodes = std::move(reached);
}

void MemoryImage::spoil(NodeId file) {
    const MemoryNode* const found = find(file);
    if (found != nullptr && found->kind == Kind::File) {
        toChange(file)->content = "whatever was there before";
    }
}

}  // namespace Tallowmere::platform::testing
