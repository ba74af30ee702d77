#include "Questions.h"

namespace Tallowmere::command {
namespace {

constexpr Question kQuestions[] = {
    {L"property", L"", 2, 2, L"property needs a file and a property's name", answerProperty},
    {L"registry", L"get", 1, 2, L"registry get needs a key", answerRegistryValue},
    {L"registry", L"keys", 1, 1, L"registry keys needs a key", answerRegistryKeys},
    {L"registry", L"values", 1, 1, L"registry values needs a key", answerRegistryValues},
    {L"programs", L"", 0, 1, L"", answerPrograms},
};

}  // namespace

const Question* findQuestion(const std::vector<std::wstring>& words) {
    for (const Question& question : kQuestions) {
        if (words.size() >= wordsOf(question) && words[0] == question.verb &&
            (question.action.empty() || words[1] == question.action)) {
            return &question;
        }
    }
    return nullptr;
}

std::size_t wordsOf(const Question& question) {
    return question.action.empty() ? 1 : 2;
}

}  // namespace Tallowmere::command
