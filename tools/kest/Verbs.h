#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "TraceTap.h"

namespace Tallowmere::command {

using Operands = std::vector<std::wstring>;

/// The verb's own options that were given, such as "--json", with their values where they take any.
using Options = std::map<std::wstring, std::vector<std::wstring>>;

/// What a verb is to work with.
struct Call {
    const Operands& operands;
    const Options& options;
    TraceTap& trace;

    bool has(const wchar_t* option) const { return options.count(option) != 0; }
};

/// An option of a verb.
struct Option {
    const wchar_t* name;
    const wchar_t* meaning;
    /// What its value is, for one that takes a value, and may be given several times; else null.
    const wchar_t* value = nullptr;
};

struct Example {
    const wchar_t* line;
    const wchar_t* meaning;
};

/// Something that the command can do. Each is a line of the table in Verbs.cpp and a function in a
/// source of its own.
struct Verb {
    const wchar_t* name;
    /// The word behind the name that tells several of one name apart; null for a name alone.
    const wchar_t* action;
    /// As the usage text shows them.
    const wchar_t* operands;
    /// One line for the list of all verbs.
    const wchar_t* summary;
    /// What its help says beyond that, in lines; may be empty.
    const wchar_t* text;
    std::vector<Option> options;
    std::vector<Example> examples;
    /// What is wrong with no operand, and with one; null where that is enough.
    const wchar_t* missing[2];
    /// The largest number of operands.
    std::size_t most;
    /// What is wrong with operands of the right number, or with the options; empty for nothing,
    /// null where all will do.
    std::wstring (*mistake)(const Operands& operands, const Options& options);
    /// False, with the reason on standard error, when it could not be done. Throws what the library
    /// throws, and OutputFailed.
    bool (*perform)(const Call& call);
};

/// All of them, in the order in which the usage text shows them.
const std::vector<Verb>& verbs();

/// The name of the verb, with its action.
std::wstring fullName(const Verb& verb);

/// "get, keys or values": the actions of the verbs of one name.
std::wstring actionsOf(const std::wstring& name);

/// What is wrong with what readTraces is to do; empty for nothing.
std::wstring mistakeInTraces(const Operands& operands, const Options& options);

/// The number of a restore point: digits alone, of a number that 32 bits hold.
bool readNumber(const std::wstring& text, unsigned long& number);

bool copyTree(const Call& call);
bool deleteTree(const Call& call);
bool copyLink(const Call& call);
bool recoverTree(const Call& call);
bool tellLivePath(const Call& call);
bool tellWhen(const Call& call);
bool tellAbout(const Call& call);
bool listShares(const Call& call);
bool runProgram(const Call& call);
bool tellProperty(const Call& call);
bool tellRegistryValue(const Call& call);
bool listRegistryKeys(const Call& call);
bool listRegistryValues(const Call& call);
bool listPrograms(const Call& call);
bool readTraces(const Call& call);
bool listRestorePoints(const Call& call);
bool restore(const Call& call);

}  // namespace Tallowmere::command
