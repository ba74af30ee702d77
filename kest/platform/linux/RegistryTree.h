#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace Tallowmere::platform {

/// A registry in memory: keys and values in the order in which they were made, found by name
/// without regard to case in constant time. Keys and values are numbers, valid as long as the tree.
/// It is built once and then only read, by any number of threads.
class RegistryTree {
public:
    using Id = std::uint32_t;
    static constexpr Id kNone = 0xFFFFFFFFU;

    /// The root keys that stand for themselves.
    enum Root : Id { LocalMachine, CurrentUser, Users, CurrentConfig, kRoots };

    struct Value {
        std::u16string name;
        std::uint32_t type;
        /// As the registry keeps it: text has two bytes a unit.
        std::string data;
        Id key;
        bool removed;
    };

    RegistryTree();
    RegistryTree(const RegistryTree&) = delete;
    RegistryTree& operator=(const RegistryTree&) = delete;

    // Building.

    /// The key of that name below `parent`, made if it is not there.
    Id makeKey(Id parent, std::u16string_view name);
    /// Removes a key and all below it; the roots stay.
    void removeKey(Id key);
    /// The value of that name; an empty name is the key's default value.
    void setValue(Id key, std::u16string_view name, std::uint32_t type, std::string data);
    void removeValue(Id key, std::u16string_view name);
    /// Ends the building: what was removed leaves the lists.
    void finish();

    // Reading.

    /// kNone when there is no such key.
    Id findKey(Id parent, std::u16string_view name) const;
    /// Null when there is no such value.
    const Value* findValue(Id key, std::u16string_view name) const;
    const std::u16string& name(Id key) const { return m_keys[key].name; }
    /// kNone for a root.
    Id parent(Id key) const { return m_keys[key].parent; }
    const std::vector<Id>& children(Id key) const { return m_keys[key].children; }
    std::size_t valueCount(Id key) const { return m_keys[key].values.size(); }
    const Value& value(Id key, std::size_t index) const {
        return m_values[m_keys[key].values[index]];
    }

private:
    struct Key {
        std::u16string name;
        Id parent;
        bool removed;
        std::vector<Id> children;
        std::vector<Id> values;
    };
    /// What is looked for.
    struct Sought {
        Id owner;
        std::u16string_view name;
    };
    /// Both tables keep numbers alone; owner and name are read where they stand.
    template <class Item>
    struct Table {
        using is_transparent = void;
        const std::vector<Item>* items;
        Sought sought(Id id) const;
        std::size_t operator()(const Sought& what) const;
        std::size_t operator()(Id id) const { return (*this)(sought(id)); }
        bool operator()(Id a, Id b) const { return a == b; }
        bool operator()(const Sought& a, Id b) const;
        bool operator()(Id a, const Sought& b) const { return (*this)(b, a); }
    };
    template <class Item>
    using Set = std::unordered_set<Id, Table<Item>, Table<Item>>;

    std::vector<Key> m_keys;
    std::vector<Value> m_values;
    Set<Key> m_keySet;
    Set<Value> m_valueSet;
};

}  // namespace Tallowmere::platform
