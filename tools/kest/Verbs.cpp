#include "Verbs.h"

#include <algorithm>

namespace Tallowmere::command {
namespace {

std::wstring emptyPath(const Operands& operands) {
    // A shell variable that was never set: better told than taken for a tree that is not there.
    const bool isOneEmpty = std::any_of(operands.begin(), operands.end(),
                                        [](const std::wstring& path) { return path.empty(); });
    return isOneEmpty ? L"a path is empty" : L"";
}

std::wstring emptyCommandLine(const Operands& operands) {
    return operands[0].empty() ? L"the command line is empty" : L"";
}

std::wstring noNumber(const Operands& operands) {
    unsigned long number = 0;
    return readNumber(operands[0], number) ? L"" : L"not a restore point's number: " + operands[0];
}

/// "get, keys or values"
std::wstring actionsOf(const std::wstring& name) {
    std::vector<std::wstring> actions;
    for (const Verb& verb : verbs()) {
        if (name == verb.name) {
            actions.emplace_back(verb.action);
        }
    }
    std::wstring text;
    for (std::size_t i = 0; i < actions.size(); ++i) {
        text += i == 0 ? L"" : i + 1 == actions.size() ? L" or " : L", ";
        text += actions[i];
    }
    return text;
}

}  // namespace

const std::vector<Verb>& verbs() {
    static const std::vector<Verb> s_verbs = {
        {L"copy",
         nullptr,
         L"SOURCE DESTINATION",
         nullptr,
         {L"copy needs a source and a destination", L"copy needs a destination"},
         2,
         &emptyPath,
         &copyTree},
        {L"delete",
         nullptr,
         L"PATH",
         nullptr,
         {L"delete needs a path"},
         1,
         &emptyPath,
         &deleteTree},
        {L"link",
         nullptr,
         L"SOURCE DESTINATION",
         nullptr,
         {L"link needs a source and a destination", L"link needs a destination"},
         2,
         &emptyPath,
         &copyLink},
        {L"about", nullptr, L"", nullptr, {}, 0, nullptr, &tellAbout},
        {L"shares", nullptr, L"[SERVER]", nullptr, {}, 1, nullptr, &listShares},
        {L"run",
         nullptr,
         L"COMMANDLINE",
         nullptr,
         {L"run needs a command line"},
         1,
         &emptyCommandLine,
         &runProgram},
        {L"property",
         nullptr,
         L"FILE NAME",
         nullptr,
         {L"property needs a file and a property's name",
          L"property needs a file and a property's name"},
         2,
         nullptr,
         &tellProperty},
        {L"registry",
         L"get",
         L"KEY [NAME]",
         nullptr,
         {L"registry get needs a key"},
         2,
         nullptr,
         &tellRegistryValue},
        {L"registry",
         L"keys",
         L"KEY",
         nullptr,
         {L"registry keys needs a key"},
         1,
         nullptr,
         &listRegistryKeys},
        {L"registry",
         L"values",
         L"KEY",
         nullptr,
         {L"registry values needs a key"},
         1,
         nullptr,
         &listRegistryValues},
        {L"programs", nullptr, L"[NAME]", nullptr, {}, 1, nullptr, &listPrograms},
        {L"restore-points", nullptr, L"", nullptr, {}, 0, nullptr, &listRestorePoints},
        {L"restore",
         nullptr,
         L"NUMBER",
         L"--yes",
         {L"restore needs a restore point's number"},
         1,
         &noNumber,
         &restore},
    };
    return s_verbs;
}

const Verb* findVerb(const Operands& words, std::wstring& mistake) {
    bool needsAction = false;
    for (const Verb& verb : verbs()) {
        if (words[0] != verb.name) {
            continue;
        }
        if (verb.action == nullptr || (words.size() > 1 && words[1] == verb.action)) {
            return &verb;
        }
        needsAction = true;
    }
    if (!needsAction) {
        mistake = L"unknown command " + words[0];
    } else if (words.size() == 1) {
        mistake = words[0] + L" needs " + actionsOf(words[0]);
    } else {
        mistake = L"unknown command " + words[0] + L" " + words[1];
    }
    return nullptr;
}

bool readNumber(const std::wstring& text, unsigned long& number) {
    constexpr unsigned long kLargest = 0xFFFFFFFFUL;
    number = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9') {
            return false;
        }
        const auto digit = static_cast<unsigned long>(c - L'0');
        if (number > (kLargest - digit) / 10) {
            return false;
        }
        number = number * 10 + digit;
    }
    return !text.empty();
}

}  // namespace Tallowmere::command
