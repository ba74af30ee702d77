#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// Instance declarations in Managed Object Format:
///
///     // a comment
///     instance of SystemRestore {
///         Description = "Before " "the update";
///         RestorePointType = 12;
///         SequenceNumber = 7;
///         EventType = NULL;
///     };
///
/// Understood: both kinds of comments; strings with escapes and concatenation; integers (decimal,
/// hexadecimal, octal, binary), real numbers, booleans, characters, NULL, arrays of these;
/// qualifiers and pragmas, which are skipped, and an alias behind the class, which nothing refers
/// to. Keywords and names are without regard to case. Nothing else: no classes, no references.
namespace Tallowmere::platform::mof {

/// NULL.
struct Null {};
/// An array: nobody asks for the elements.
struct Array {};
/// An integer as it was written; a value from 2^63 on is in `value` as two's complement.
struct Integer {
    bool isNegative = false;
    std::uint64_t value = 0;
};
struct Character {
    wchar_t value = 0;
};
using Value = std::variant<Null, std::wstring, Integer, double, bool, Character, Array>;

struct Property {
    std::wstring name;
    Value value;
};

struct Instance {
    std::wstring className;
    std::vector<Property> properties;
};

/// Reads a file: UTF-8, or UTF-16 with a byte-order mark. False when it is damaged; `instances`
/// then holds what stands before the damage.
bool read(std::string_view bytes, std::vector<Instance>& instances);

/// Whether two names are the same, without regard to the case of ASCII letters.
bool isSameName(std::wstring_view first, std::wstring_view second);

}  // namespace Tallowmere::platform::mof
