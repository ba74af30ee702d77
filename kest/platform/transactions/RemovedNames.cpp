#include "kest/platform/transactions/RemovedNames.h"

#include <cstdint>
#include <utility>

namespace Tallowmere::platform::transactions {
namespace {

constexpr std::size_t kPiece = 1U << 16;

/// Enough for an ordinary directory, so that it asks for memory once.
constexpr std::size_t kFirst = 240;

void put(std::uint64_t number, std::string& bytes) {
    for (; number >= 0x80; number >>= 7) {
        bytes.push_back(static_cast<char>(number | 0x80));
    }
    bytes.push_back(static_cast<char>(number));
}

/// Nearly all names are short and ASCII: one byte for the length and for each unit. False, with
/// nothing put, for any other.
bool putPlain(const std::wstring& name, std::string& bytes) {
    std::uint32_t all = 0;
    for (const wchar_t unit : name) {
        all |= static_cast<std::uint32_t>(unit);
    }
    if (all >= 0x80 || name.size() >= 0x80) {
        return false;
    }
    const std::size_t before = bytes.size();
    bytes.resize(before + 1 + name.size());
    char* to = bytes.data() + before;
    *to++ = static_cast<char>(name.size());
    for (const wchar_t unit : name) {
        *to++ = static_cast<char>(unit);
    }
    return true;
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
    if (m_gathered.empty() || m_gathered.back().size() > kPiece) {
        std::string piece;
        piece.reserve(m_gathered.empty() ? kFirst : kPiece);
        m_gathered.push_back(std::move(piece));
    }
    std::string& piece = m_gathered.back();
    const std::size_t before = piece.size();
    try {
        if (!putPlain(name, piece)) {
            put(name.size(), piece);
            for (const wchar_t unit : name) {
                put(static_cast<std::uint32_t>(unit), piece);
            }
        }
    } catch (...) {
        // Half a name would make all that follow it unreadable.
        piece.resize(before);
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
        for (const std::string& piece : m_gathered) {
            for (std::size_t at = 0; at < piece.size();) {
                std::wstring name(static_cast<std::size_t>(take(piece, at)), L'\0');
                for (wchar_t& unit : name) {
                    unit = static_cast<wchar_t>(take(piece, at));
                }
                names.insert(std::move(name));
            }
        }
        m_names = std::move(names);
        m_gathered = {};
        m_count = 0;
    }
    return m_names;
}

}  // namespace Tallowmere::platform::transactions
