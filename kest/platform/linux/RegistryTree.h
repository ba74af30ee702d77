#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
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
    /// kNone for a root. For the fuzz target, which looks whether both ways lead to the same keys.
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
    /// Numbers of keys or of values, found by what they belong to and by their name. Both are read
    /// where they stand; the table keeps of a name its hash alone, so that hardly a name is read
    /// that is not the one.
    class Table {
    public:
        /// The hash of a name, without regard to case, that belongs to `owner`.
        static std::uint32_t hash(Id owner, std::u16string_view name);
        /// The number of that hash for which `isIt` holds; kNone without one.
        template <class IsIt>
        Id find(std::uint32_t hash, IsIt isIt) const;
        void insert(std::uint32_t hash, Id id);
        void erase(std::uint32_t hash, Id id);

    private:
        struct Slot {
            std::uint32_t hash;
            Id id;
        };
        /// In a slot whose number was taken away: the search goes on behind it.
        static constexpr Id kGone = kNone - 1;

        void grow();

        /// As many as a power of two, at least a third of them free.
        std::vector<Slot> m_slots;
        std::size_t m_used = 0;
    };

    Id findKey(std::uint32_t hash, Id parent, std::u16string_view name) const;
    Id findValue(std::uint32_t hash, Id key, std::u16string_view name) const;

    std::vector<Key> m_keys;
    std::vector<Value> m_values;
    Table m_keyTable;
    Table m_valueTable;
};

}  // namespace Tallowmere::platform
