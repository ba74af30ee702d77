#include "kest/platform/transactions/RemovedNames.h"

#include <cstdint>
#include <utility>

namespace Tallowmere::platform::transactions {
namespace {

void put(std::uint64_t number, std::string& bytes) {
    for (; number >= 0x80; number >>= 7) {
        bytes.push_back(static_cast<char>(number | 0x80));
    }
    bytes.push_back(static_cast<char>(number));
}

std::uint64_t take(const std::string& bytes, std::size_t& at) {
    std::uint64_t number = 0;
    for (int shift = 0;; shift += 7) {
        const auto byte = static_cast<unsigned char>(bytes[at++]);
        number |= std::uint64_t{byte & 0x7FU} << shift;
        if (byte < 0x80) {
            return number;
        }
    }
}

}  // namespace

void RemovedNames::add(const std::wstring& name) {
    if (!m_names.empty()) {
        m_names.insert(name);
        return;
    }
    const std::size_t before = m_gathered.size();
    try {
        put(name.size(), m_gathered);
        for (const wchar_t unit : name) {
            put(static_cast<std::uint32_t>(unit), m_gathered);
        }
    } catch (...) {
        // Half a name would make all that follow it unreadable.
        m_gathered.resize(before);
        throw;
    }
    ++m_count;
}

void RemovedNames::erase(const std::wstring& name) {
    if (contains(name)) {
        m_names.erase(name);
    }
}

bool RemovedNames::contains(const std::wstring& name) {
    return all().count(name) != 0;
}

const std::unordered_set<std::wstring>& RemovedNames::all() {
    if (m_count != 0) {
        std::unordered_set<std::wstring> names;
        for (std::size_t at = 0; at < m_gathered.size();) {
            std::wstring name(static_cast<std::size_t>(take(m_gathered, at)), L'\0');
            for (wchar_t& unit : name) {
                unit = static_cast<wchar_t>(take(m_gathered, at));
            }
            names.insert(std::move(name));
        }
        m_names = std::move(names);
        m_gathered = {};
        m_count = 0;
    }
    return m_names;
}

}  // namespace Tallowmere::platform::transactions
