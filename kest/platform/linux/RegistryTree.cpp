#include "kest/platform/linux/RegistryTree.h"

#include <algorithm>
#include <utility>

#include "kest/platform/linux/UpperCase.h"

namespace Tallowmere::platform {

template <>
RegistryTree::Sought RegistryTree::Table<RegistryTree::Key>::sought(Id id) const {
    return {(*items)[id].parent, (*items)[id].name};
}

template <>
RegistryTree::Sought RegistryTree::Table<RegistryTree::Value>::sought(Id id) const {
    return {(*items)[id].key, (*items)[id].name};
}

template <class Item>
std::size_t RegistryTree::Table<Item>::operator()(const Sought& what) const {
    std::uint64_t hash = 0xCBF29CE484222325U ^ what.owner;
    hash *= 0x100000001B3U;
    for (const char16_t unit : what.name) {
        hash = (hash ^ upperCase(unit)) * 0x100000001B3U;
    }
    return static_cast<std::size_t>(hash ^ hash >> 32);
}

template <class Item>
bool RegistryTree::Table<Item>::operator()(const Sought& a, Id id) const {
    const Sought b = sought(id);
    return a.owner == b.owner &&
           std::equal(a.name.begin(), a.name.end(), b.name.begin(), b.name.end(),
                      [](char16_t x, char16_t y) { return upperCase(x) == upperCase(y); });
}

RegistryTree::RegistryTree()
    : m_keySet(0, Table<Key>{&m_keys}, Table<Key>{&m_keys}),
      m_valueSet(0, Table<Value>{&m_values}, Table<Value>{&m_values}) {
    m_keys.resize(kRoots, Key{{}, kNone, false, {}, {}});
}

RegistryTree::Id RegistryTree::makeKey(Id parent, std::u16string_view name) {
    const Id known = findKey(parent, name);
    if (known != kNone) {
        return known;
    }
    const auto made = static_cast<Id>(m_keys.size());
    m_keys.push_back(Key{std::u16string(name), parent, false, {}, {}});
    m_keys[parent].children.push_back(made);
    m_keySet.insert(made);
    return made;
}

void RegistryTree::removeKey(Id key) {
    if (m_keys[key].parent == kNone) {
        return;
    }
    // Nothing below it is found any more, since finding goes from parent to child.
    m_keySet.erase(key);
    m_keys[key].removed = true;
}

void RegistryTree::setValue(Id key, std::u16string_view name, std::uint32_t type,
                            std::string data) {
    const auto known = m_valueSet.find(Sought{key, name});
    if (known != m_valueSet.end()) {
        m_values[*known].type = type;
        m_values[*known].data = std::move(data);
        return;
    }
    const auto made = static_cast<Id>(m_values.size());
    m_values.push_back(Value{std::u16string(name), type, std::move(data), key, false});
    m_keys[key].values.push_back(made);
    m_valueSet.insert(made);
}

void RegistryTree::removeValue(Id key, std::u16string_view name) {
    const auto known = m_valueSet.find(Sought{key, name});
    if (known != m_valueSet.end()) {
        m_values[*known].removed = true;
        m_valueSet.erase(known);
    }
}

void RegistryTree::finish() {
    for (Key& key : m_keys) {
        std::erase_if(key.children, [this](Id child) { return m_keys[child].removed; });
        std::erase_if(key.values, [this](Id value) { return m_values[value].removed; });
    }
}

RegistryTree::Id RegistryTree::findKey(Id parent, std::u16string_view name) const {
    const auto found = m_keySet.find(Sought{parent, name});
    return found == m_keySet.end() ? kNone : *found;
}

const RegistryTree::Value* RegistryTree::findValue(Id key, std::u16string_view name) const {
    const auto found = m_valueSet.find(Sought{key, name});
    return found == m_valueSet.end() ? nullptr : &m_values[*found];
}

}  // namespace Tallowmere::platform
