#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Tallowmere::command {

using Operands = std::vector<std::wstring>;

/// Something that the command can do. Each is a line of the table in Verbs.cpp and a function in a
/// source of its own.
struct Verb {
    const wchar_t* name;
    /// As the usage text shows them.
    const wchar_t* operands;
    /// What is wrong with no operand, and with one; null where that is enough.
    const wchar_t* missing[2];
    /// The largest number of operands.
    std::size_t most;
    /// What is wrong with an operand that is empty; null where it means something.
    const wchar_t* empty;
    /// Throws what the library throws.
    void (*perform)(const Operands& operands);
};

/// All of them, in the order in which the usage text shows them.
const std::vector<Verb>& verbs();

/// The verb of that name; null when there is none.
const Verb* findVerb(const std::wstring& name);

void copyTree(const Operands& operands);
void deleteTree(const Operands& operands);
void copyLink(const Operands& operands);
void tellAbout(const Operands& operands);
void listShares(const Operands& operands);
void runProgram(const Operands& operands);

}  // namespace Tallowmere::command
