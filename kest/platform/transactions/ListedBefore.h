#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>

namespace Tallowmere::platform::transactions {

/// What the directories of a tree that is to go held when they were listed, so that removing it
/// need not list them once more: that is a good part of what the removal of a small file costs. As
/// much as fits into a fixed amount of memory; the rest is listed.
class ListedBefore {
public:
    /// In a form of the disk's own, under a number by which it knows the directory again.
    void add(std::uint64_t directory, const std::string& entries);
    /// Takes it out: whoever asks for a directory a second time has reason to look anew.
    bool take(std::uint64_t directory, std::string& entries);

    std::size_t size() const { return m_entries.size(); }

private:
    std::unordered_map<std::uint64_t, std::string> m_entries;
    std::size_t m_bytes = 0;
};

}  // namespace Tallowmere::platform::transactions
