#include "kest/text/Strings.h"

#include <algorithm>
#include <bitset>
#include <boost/lexical_cast.hpp>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "kest/platform/Calls.h"
#include "kest/platform/Characters.h"

namespace Tallowmere {
namespace {

using platform::os;

/// The value of a unit as the 16 bits that it has on Windows.
std::uint16_t low16(wchar_t unit) {
    return static_cast<std::uint16_t>(unit);
}

/// A distinct unit of a delimiter set, and what is known of it.
struct Delimiter {
    wchar_t unit;
    /// Where it stands in the set for the last time.
    std::size_t order;
    /// How often it stands in the set.
    std::size_t times;
    /// Where it was found last in the text, npos if nowhere.
    std::size_t last;
};

/// The distinct members of the zero-terminated set, sorted by unit.
std::vector<Delimiter> distinctDelimiters(std::wstring_view set) {
    std::vector<Delimiter> members;
    members.reserve(set.size());
    for (std::size_t order = 0; order < set.size(); ++order) {
        members.push_back({set[order], order, 1, std::wstring::npos});
    }
    std::sort(members.begin(), members.end(), [](const Delimiter& a, const Delimiter& b) {
        return a.unit != b.unit ? a.unit < b.unit : a.order < b.order;
    });
    std::size_t kept = 0;
    for (std::size_t i = 0; i < members.size(); ++i) {
        if (kept > 0 && members[kept - 1].unit == members[i].unit) {
            members[kept - 1].order = members[i].order;
            ++members[kept - 1].times;
        } else {
            members[kept++] = members[i];
        }
    }
    members.erase(members.begin() + static_cast<std::ptrdiff_t>(kept), members.end());
    return members;
}

std::size_t lowHalf(wchar_t unit) {
    return static_cast<unsigned char>(unit);
}

/// `text` without the white space at both its ends.
std::wstring_view withoutSpace(std::wstring_view text) {
    std::size_t first = 0;
    while (first < text.size() && platform::isSpaceCharacter(text[first])) {
        ++first;
    }
    std::size_t end = text.size();
    while (end > first && platform::isSpaceCharacter(text[end - 1])) {
        --end;
    }
    return text.substr(first, end - first);
}

/// Whether `field` is the decimal number of one byte.
bool isOctet(const std::wstring& field) {
    const std::string text = convertToString(field.c_str());
    // The conversion would also take the thousands separators of a locale that the host has made
    // C++'s global one.
    const std::size_t sign = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
    if (text.find_first_not_of("0123456789", sign) != std::string::npos) {
        return false;
    }
    try {
        // Deliberate: a minus sign is taken and counts down from 65536, so "-0" passes and
        // "-65535", which is 1, does too.
        return boost::lexical_cast<std::uint16_t>(text) < 256;
    } catch (const boost::bad_lexical_cast&) {
        return false;
    }
}

}  // namespace

std::wstring toLower(const std::wstring& text) {
    // Deliberate: the narrow lowering, cut to 16 bits. Letters beyond ASCII keep their case unless
    // the host's locale says otherwise, and where units are wider than 16 bits a character above
    // U+FFFF loses its upper bits, so two names that differ in those alone compare as equal.
    std::wstring lower = text;
    platform::lowerNarrow(lower.data(), lower.size());
    return lower;
}

std::wstring chomp(const std::wstring& text) {
    return std::wstring(withoutSpace(text));
}

void findStringDelimiters(const std::wstring& text, wchar_t delimiter,
                          std::vector<std::uint64_t>& positions) {
    positions.clear();
    if (delimiter == L'\0') {
        // It ends the set, which is empty then.
        return;
    }
    for (std::size_t at = text.find(delimiter); at != std::wstring::npos;
         at = text.find(delimiter, at + 1)) {
        positions.push_back(at);
    }
    if (!positions.empty() && positions.back() != text.size() - 1) {
        positions.push_back(text.size());
    }
}

void findStringDelimiters(const std::wstring& text, const wchar_t* delimiters,
                          std::vector<std::uint64_t>& positions) {
    positions.clear();
    std::vector<Delimiter> members = distinctDelimiters(delimiters);
    // Most units are none of them, and most of those show it in their lower half.
    std::bitset<256> lowHalves;
    for (const Delimiter& member : members) {
        lowHalves.set(lowHalf(member.unit));
    }
    // One pass over the text, however many delimiters there are: the list comes out sorted.
    for (std::size_t at = 0; at < text.size(); ++at) {
        const wchar_t unit = text[at];
        if (!lowHalves[lowHalf(unit)]) {
            continue;
        }
        const auto found = std::lower_bound(
            members.begin(), members.end(), unit,
            [](const Delimiter& member, wchar_t sought) { return member.unit < sought; });
        if (found != members.end() && found->unit == unit) {
            found->last = at;
            positions.push_back(at);
            positions.insert(positions.end(), found->times - 1, at);
        }
    }
    if (positions.empty()) {
        return;
    }
    // Deliberate: what decides is the right-most hit of the last set member that occurs, not the
    // right-most hit of all. A text that ends in another member of the set is therefore treated as
    // if it did not end in a delimiter.
    const Delimiter* decisive = nullptr;
    for (const Delimiter& member : members) {
        if (member.last != std::wstring::npos &&
            (decisive == nullptr || member.order > decisive->order)) {
            decisive = &member;
        }
    }
    if (decisive->last != text.size() - 1) {
        positions.push_back(text.size());
    }
}

void split(const std::wstring& text, wchar_t delimiter, std::vector<std::wstring>& fields) {
    fields.clear();
    // The fields between the positions of findStringDelimiters, which finds none of a null
    // character. What follows the last one is a field, too, or empty and no field.
    std::wstring_view rest = text;
    for (;;) {
        const std::size_t end = delimiter == L'\0' ? std::wstring_view::npos : rest.find(delimiter);
        const std::wstring_view field = withoutSpace(rest.substr(0, end));
        if (!field.empty()) {
            fields.emplace_back(field);
        }
        if (end == std::wstring_view::npos) {
            return;
        }
        rest.remove_prefix(end + 1);
    }
}

void stringReplace(std::wstring& text, wchar_t from, wchar_t to) {
    if (to == L'\0') {
        std::erase(text, from);
        return;
    }
    // Each unit that was written is looked at again before the search goes on, which can be seen
    // with equal units alone: that search would never come to an end. Our choice: it ends at once,
    // with the text as it would be all the while. No caller passes equal units, and a host that
    // does so by mistake should not lose a thread.
    std::replace(text.begin(), text.end(), from, to);
}

std::wstring nextLine(const std::wstring& text, std::uint64_t& position) {
    const std::size_t end = text.find(L'\n', position);
    if (end == std::wstring::npos) {
        // Deliberate: a last line without a line feed is not returned, so a reader that stops when
        // `position` no longer moves never sees it.
        return {};
    }
    std::wstring line = text.substr(position, end - position);
    position = end + 1;
    return line;
}

std::string convertToString(const wchar_t* text) {
    const std::wstring_view wide(text);
    std::string narrow;
    narrow.reserve(wide.size());
    for (const wchar_t unit : wide) {
        // Deliberate: no code page; what does not fit into 8 bits is cut off.
        narrow.push_back(static_cast<char>(static_cast<unsigned char>(unit)));
    }
    return narrow;
}

std::wstring convertToWString(const char* text) {
    const std::string_view narrow(text);
    std::wstring wide;
    wide.reserve(narrow.size());
    for (const char byte : narrow) {
        // Deliberate: sign-extended to 16 bits, so byte 0xE9 becomes U+FFE9 and not U+00E9. Sixteen
        // bits also where units are wider.
        wide.push_back(
            static_cast<wchar_t>(static_cast<std::uint16_t>(static_cast<signed char>(byte))));
    }
    return wide;
}

const unsigned short* transcode(const wchar_t* text, std::basic_string<unsigned short>& out,
                                unsigned long& length) {
    length = 0;
    if (text == nullptr) {
        return nullptr;
    }
    std::basic_string<unsigned short> accepted;
    for (; *text != L'\0'; ++text) {
        // Deliberate: the range test takes in the next unit as the upper half, so that every text
        // of two or more units is out of range at its first one.
        const std::uint32_t pair = low16(text[0]) | std::uint32_t{low16(text[1])} << 16;
        if (pair > 0xFFFF) {
            return nullptr;
        }
        accepted.push_back(low16(*text));
    }
    out += accepted;
    length = static_cast<unsigned long>(accepted.size());
    return out.c_str();
}

const wchar_t* transcode(const unsigned short* text, std::wstring& out, unsigned long& length) {
    length = 0;
    if (text == nullptr) {
        return nullptr;
    }
    // The range test of the other direction can never fail here: no two units make more than 32
    // bits.
    for (; *text != 0; ++text) {
        out.push_back(static_cast<wchar_t>(*text));
        ++length;
    }
    return out.c_str();
}

bool isIpv4Address(const std::wstring& text) {
    const std::size_t first = text.find(L'.');
    if (first == std::wstring::npos) {
        return false;
    }
    const std::size_t second = text.find(L'.', first + 1);
    if (second == std::wstring::npos) {
        return false;
    }
    const std::size_t third = text.find(L'.', second + 1);
    if (third == std::wstring::npos) {
        return false;
    }
    // Deliberate: what follows the third full stop is not examined, so "1.2.3.", "10.0.0.x" and
    // "1.2.3.4.5" are addresses too.
    return isOctet(text.substr(0, first)) && isOctet(text.substr(first + 1, second - first - 1)) &&
           isOctet(text.substr(second + 1, third - second - 1));
}

bool isAlpha(wchar_t c) {
    return platform::isLetter(c);
}

wchar_t* allocateString(const std::wstring& text) {
    const std::size_t size = text.size() + 1;
    // Zeroed, so that the array is a text even if the copy should fail.
    auto* const copy = new wchar_t[size]();
    os().wcscpy_s(copy, size, text.c_str());
    return copy;
}

wchar_t* allocateString(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    // Widened first: nothing is left behind should memory run out in between.
    const std::wstring wide = convertToWString(text);
    auto* const copy = new wchar_t[size]();
    os().wcscpy_s(copy, size, wide.c_str());
    return copy;
}

void memcpy(void* destination, std::uint64_t destinationSize, const void* source,
            std::uint64_t count) {
    (void)os().memcpy_s(destination, destinationSize, source, count);
}

wchar_t* wcscpy(wchar_t* destination, std::uint64_t destinationSize, const wchar_t* source) {
    return os().wcscpy_s(destination, destinationSize, source) == 0 ? destination : nullptr;
}

}  // namespace Tallowmere
