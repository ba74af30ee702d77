#pragma once

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

namespace Tallowmere::platform::transactions {

/// The names that are gone from one directory. A walk that empties a directory only adds to them,
/// and mostly nobody ever asks which they were: they are gathered in a few bytes each, and put in
/// order when somebody does.
class RemovedNames {
public:
    /// A name that was added before may come again: it is then counted twice until somebody asks.
    void add(const std::wstring& name);
    void erase(const std::wstring& name);
    bool contains(const std::wstring& name);
    const std::unordered_set<std::wstring>& all();

    bool empty() const { return size() == 0; }
    std::size_t size() const { return m_count + m_names.size(); }

private:
    /// Each as its length and its units, a number being seven bits in each byte; in pieces, so that
    /// what is there is not copied to make room for more.
    std::vector<std::string> m_gathered;
    std::size_t m_count = 0;
    std::unordered_set<std::wstring> m_names;
};

}  // namespace Tallowmere::platform::transactions
