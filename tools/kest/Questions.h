#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "TraceTap.h"

/// The verbs that ask the library something and print the answer, a line for each item.
namespace Tallowmere::command {

struct Question {
    std::wstring_view verb;
    /// The word behind the verb; empty for a verb without one.
    std::wstring_view action;
    /// How many operands follow.
    std::size_t least;
    std::size_t most;
    /// What is said when there are fewer.
    const wchar_t* missing;
    /// Prints the answer; false, with the reason on standard error, when there is none. Throws what
    /// the library throws.
    bool (*answer)(const std::vector<std::wstring>& operands, const TraceTap& trace);
};

/// The question that the words begin with, null when they begin with none.
const Question* findQuestion(const std::vector<std::wstring>& words);

/// How many of the words belong to the question itself.
std::size_t wordsOf(const Question& question);

bool answerProperty(const std::vector<std::wstring>& operands, const TraceTap& trace);
bool answerRegistryValue(const std::vector<std::wstring>& operands, const TraceTap& trace);
bool answerRegistryKeys(const std::vector<std::wstring>& operands, const TraceTap& trace);
bool answerRegistryValues(const std::vector<std::wstring>& operands, const TraceTap& trace);
bool answerPrograms(const std::vector<std::wstring>& operands, const TraceTap& trace);

}  // namespace Tallowmere::command
