#include "kest/platform/transactions/ListedBefore.h"

#include <utility>

namespace Tallowmere::platform::transactions {
namespace {

/// Some 60,000 entries.
constexpr std::size_t kMostBytes = std::size_t{1024} * 1024;

/// What a directory takes besides its entries, about.
constexpr std::size_t kEach = 64;

}  // namespace

void ListedBefore::add(std::uint64_t directory, const std::string& entries) {
    const std::size_t bytes = entries.size() + kEach;
    if (m_bytes + bytes <= kMostBytes && m_entries.try_emplace(directory, entries).second) {
        m_bytes += bytes;
    }
}

bool ListedBefore::take(std::uint64_t directory, std::string& entries) {
    const auto found = m_entries.find(directory);
    if (found == m_entries.end()) {
        return false;
    }
    entries = std::move(found->second);
    m_bytes -= entries.size() + kEach;
    m_entries.erase(found);
    return true;
}

}  // namespace Tallowmere::platform::transactions
