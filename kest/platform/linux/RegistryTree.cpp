#include "kest/platform/linux/RegistryTree.h"

#include <algorithm>
#include <utility>

#include "kest/platform/linux/UpperCase.h"

namespace Tallowmere::platform {
namespace {

bool isSameName(std::u16string_view a, std::u16string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char16_t x, char16_t y) {
        return x == y || upperCase(x) == upperCase(y);
    });
}

}  // namespace

std::uint32_t RegistryTree::Table::hash(Id owner, std::u16string_view name) {
    std::uint64_t hash = 0xCBF29CE484222325U ^ owner;
    hash *= 0x100000001B3U;
    for (const char16_t unit : name) {
        hash = (hash ^ upperCase(unit)) * 0x100000001B3U;
    }
    return static_cast<std::uint32_t>(hash ^ hash >> 32);
}

template <class IsIt>
RegistryTree::Id RegistryTree::Table::find(std::uint32_t hash, IsIt isIt) const {
    if (m_slots.empty()) {
        return kNone;
    }
    const std::size_t mask = m_slots.size() - 1;
    for (std::size_t at = hash & mask; m_slots[at].id != kNone; at = (at + 1) & mask) {
        const Slot& slot = m_slots[at];
        if (slot.hash == hash && slot.id != kGone && isIt(slot.id)) {
            return slot.id;
        }
    }
    return kNone;
}

void RegistryTree::Table::insert(std::uint32_t hash, Id id) {
    if (3 * (m_used + 1) > 2 * m_slots.size()) {
        grow();
    }
    const std::size_t mask = m_slots.size() - 1;
    std::size_t at = hash & mask;
    while (m_slots[at].id != kNone) {
        at = (at + 1) & mask;
    }
    m_slots[at] = {hash, id};
    ++m_used;
}

void RegistryTree::Table::erase(std::uint32_t hash, Id id) {
    const std::size_t mask = m_slots.size() - 1;
    std::size_t at = hash & mask;
    while (m_slots[at].id != id) {
        at = (at + 1) & mask;
    }
    m_slots[at].id = kGone;
}

/// Makes room for as many again; those that were taken away leave for good.
void RegistryTree::Table::grow() {
    std::vector<Slot> slots(std::max<std::size_t>(16, 2 * m_slots.size()), Slot{0, kNone});
    std::swap(slots, m_slots);
    m_used = 0;
    for (const Slot& slot : slots) {
        if (slot.id != kNone && slot.id != kGone) {
            insert(slot.hash, slot.id);
        }
    }
}

RegistryTree::RegistryTree() {
    m_keys.resize(kRoots, Key{{}, kNone, false, {}, {}});
}

RegistryTree::Id RegistryTree::makeKey(Id parent, std::u16string_view name) {
    const std::uint32_t hash = Table::hash(parent, name);
    const Id known = findKey(hash, parent, name);
    if (known != kNone) {
        return known;
    }
    const auto made = static_cast<Id>(m_keys.size());
    m_keys.push_back(Key{std::u16string(name), parent, false, {}, {}});
    m_keys[parent].children.push_back(made);
    m_keyTable.insert(hash, made);
    return made;
}

void RegistryTree::removeKey(Id key) {
    if (m_keys[key].parent == kNone) {
        return;
    }
    // Nothing below it is found any more, since finding goes from parent to child.
    m_keyTable.erase(Table::hash(m_keys[key].parent, m_keys[key].name), key);
    m_keys[key].removed = true;
}

void RegistryTree::setValue(Id key, std::u16string_view name, std::uint32_t type,
                            std::string data) {
    const std::uint32_t hash = Table::hash(key, name);
    const Id known = findValue(hash, key, name);
    if (known != kNone) {
        m_values[known].type = type;
        m_values[known].data = std::move(data);
        return;
    }
    const auto made = static_cast<Id>(m_values.size());
    m_values.push_back(Value{std::u16string(name), type, std::move(data), key, false});
    m_keys[key].values.push_back(made);
    m_valueTable.insert(hash, made);
}

void RegistryTree::removeValue(Id key, std::u16string_view name) {
    const std::uint32_t hash = Table::hash(key, name);
    const Id known = findValue(hash, key, name);
    if (known != kNone) {
        m_values[known].removed = true;
        m_valueTable.erase(hash, known);
    }
}

void RegistryTree::finish() {
    for (Key& key : m_keys) {
        std::erase_if(key.children, [this](Id child) { return m_keys[child].removed; });
        std::erase_if(key.values, [this](Id value) { return m_values[value].removed; });
    }
}

RegistryTree::Id RegistryTree::findKey(std::uint32_t hash, Id parent,
                                       std::u16string_view name) const {
    return m_keyTable.find(hash, [&](Id id) {
        return m_keys[id].parent == parent && isSameName(m_keys[id].name, name);
    });
}

RegistryTree::Id RegistryTree::findKey(Id parent, std::u16string_view name) const {
    return findKey(Table::hash(parent, name), parent, name);
}

RegistryTree::Id RegistryTree::findValue(std::uint32_t hash, Id key,
                                         std::u16string_view name) const {
    return m_valueTable.find(hash, [&](Id id) {
        return m_values[id].key == key && isSameName(m_values[id].name, name);
    });
}

const RegistryTree::Value* RegistryTree::findValue(Id key, std::u16string_view name) const {
    const Id found = findValue(Table::hash(key, name), key, name);
    return found == kNone ? nullptr : &m_values[found];
}

}  // namespace Tallowmere::platform
