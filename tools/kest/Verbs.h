#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "TraceTap.h"

namespace Tallowmere::command {

using Operands = std::vector<std::wstring>;

/// What a verb is to work with.
struct Call {
    const Operands& operands;
    /// Whether the verb's flag was given.
    bool flag;
    const TraceTap& trace;
};

/// Something that the command can do. Each is a line of the table in Verbs.cpp and a function in a
/// source of its own.
struct Verb {
    const wchar_t* name;
    /// The word behind the name that tells several of one name apart; null for a name alone.
    const wchar_t* action;
    /// As the usage text shows them.
    const wchar_t* operands;
    /// The one option of its own that the verb knows; null for none.
    const wchar_t* flag;
    /// What is wrong with no operand, and with one; null where that is enough.
    const wchar_t* missing[2];
    /// The largest number of operands.
    std::size_t most;
    /// What is wrong with operands of the right number, empty for nothing; null where all will do.
    std::wstring (*mistake)(const Operands& operands);
    /// False, with the reason on standard error, when it could not be done. Throws what the library
    /// throws.
    bool (*perform)(const Call& call);

    /// How many words name it.
    std::size_t words() const { return action == nullptr ? 1 : 2; }
};

/// All of them, in the order in which the usage text shows them.
const std::vector<Verb>& verbs();

/// The verb that the words begin with; null, with the reason in `mistake`, when there is none.
const Verb* findVerb(const Operands& words, std::wstring& mistake);

/// The number of a restore point: digits alone, of a number that 32 bits hold.
bool readNumber(const std::wstring& text, unsigned long& number);

bool copyTree(const Call& call);
bool deleteTree(const Call& call);
bool copyLink(const Call& call);
bool tellAbout(const Call& call);
bool listShares(const Call& call);
bool runProgram(const Call& call);
bool tellProperty(const Call& call);
bool tellRegistryValue(const Call& call);
bool listRegistryKeys(const Call& call);
bool listRegistryValues(const Call& call);
bool listPrograms(const Call& call);
bool listRestorePoints(const Call& call);
bool restore(const Call& call);

}  // namespace Tallowmere::command
