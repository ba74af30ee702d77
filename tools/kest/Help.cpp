#include "Help.h"

#include <algorithm>
#include <string_view>

namespace Tallowmere::command {
namespace {

constexpr std::wstring_view kUsage = L"usage: ";
/// Where a usage goes on that is longer than a line of a usual terminal.
constexpr std::size_t kWidth = 80;
constexpr std::size_t kIndent = 12;
constexpr Option kTrace = {L"--trace", L"write what the library does into FILE", L"FILE"};

std::wstring padded(std::wstring text, std::size_t width) {
    text.resize(std::max(text.size() + 2, width), L' ');
    return text;
}

/// The option with what it takes.
std::wstring written(const Option& option) {
    return option.value == nullptr ? option.name : std::wstring(option.name) + L" " + option.value;
}

std::wstring usageLine(const Verb& verb) {
    std::wstring text = L"kest " + fullName(verb);
    text += *verb.operands == L'\0' ? L"" : L" ";
    text += verb.operands;
    std::size_t column = kUsage.size() + text.size();
    std::vector<Option> options = verb.options;
    options.push_back(kTrace);
    for (const Option& option : options) {
        const std::wstring piece = L"[" + written(option) + L"]";
        if (column + 1 + piece.size() >= kWidth) {
            text += L"\n" + std::wstring(kIndent, L' ') + piece;
            column = kIndent + piece.size();
        } else {
            text += L" " + piece;
            column += 1 + piece.size();
        }
    }
    return text + L"\n";
}

/// The usage of all verbs of that name, one below the other.
std::wstring usageOf(const std::wstring& name) {
    std::wstring text;
    for (const Verb& verb : verbs()) {
        if (name == verb.name) {
            text += (text.empty() ? L"usage: " : L"       ") + usageLine(verb);
        }
    }
    return text;
}

}  // namespace

std::wstring overview() {
    std::wstring text =
        L"usage: kest COMMAND [ARGUMENT ...] [OPTION ...]\n"
        L"       kest COMMAND --help\n"
        L"       kest --help | --version\n"
        L"\n"
        L"Commands:\n";
    std::size_t width = 0;
    for (const Verb& verb : verbs()) {
        width = std::max(width, fullName(verb).size() + 4);
    }
    for (const Verb& verb : verbs()) {
        text += padded(L"  " + fullName(verb), width) + verb.summary + L"\n";
    }
    return text +
           L"\n"
           L"Options of every command:\n"
           L"  --trace FILE  " +
           kTrace.meaning +
           L"\n"
           L"  --help, -h    say how to use the command\n"
           L"  --            what follows is no option, whatever it begins with\n"
           L"\n"
           L"Exit status: 0 done, 1 failed, 2 wrong use.\n";
}

std::wstring helpOf(const Verb& verb) {
    std::wstring text = L"usage: " + usageLine(verb) + L"\n";
    std::wstring summary = verb.summary;
    summary[0] = static_cast<wchar_t>(summary[0] - L'a' + L'A');
    text += summary + L".\n";
    text += verb.text;
    text += L"\nOptions:\n";
    std::vector<Option> options = verb.options;
    options.push_back(kTrace);
    options.push_back({L"--help, -h", L"say this"});
    std::size_t width = 0;
    for (const Option& option : options) {
        width = std::max(width, written(option).size() + 4);
    }
    for (const Option& option : options) {
        text += padded(L"  " + written(option), width) + option.meaning + L"\n";
    }
    text += verb.examples.size() == 1 ? L"\nExample:\n" : L"\nExamples:\n";
    for (const Example& example : verb.examples) {
        text.append(L"  ").append(example.line).append(L"\n      ").append(example.meaning);
        text += L"\n";
    }
    return text;
}

std::wstring helpOf(const std::wstring& name) {
    std::wstring text;
    for (const Verb& verb : verbs()) {
        if (name == verb.name) {
            text += (text.empty() ? L"" : L"\n") + helpOf(verb);
        }
    }
    return text;
}

std::wstring shortUsage(const std::wstring& name) {
    const std::wstring usage = usageOf(name);
    if (usage.empty()) {
        return L"usage: kest COMMAND [ARGUMENT ...] [OPTION ...]\n"
               L"\"kest --help\" lists the commands.\n";
    }
    return usage + L"\"kest " + name + L" --help\" tells more.\n";
}

}  // namespace Tallowmere::command
