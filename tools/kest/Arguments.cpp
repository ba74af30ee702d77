#include "Arguments.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace Tallowmere::command {

namespace {

constexpr std::wstring_view kTrace = L"--trace";
constexpr std::wstring_view kTraceIs = L"--trace=";

std::optional<Request> mistaken(std::wstring& mistake, const std::wstring& text) {
    mistake = text;
    return std::nullopt;
}

/// Whether it is the option of some verb.
bool isFlag(const std::wstring& argument) {
    return std::any_of(verbs().begin(), verbs().end(), [&](const Verb& verb) {
        return verb.flag != nullptr && argument == verb.flag;
    });
}

/// What is wrong with the operands of a verb; empty when nothing is.
std::wstring mistakeIn(const Verb& verb, const Operands& operands) {
    if (operands.size() < std::size(verb.missing) && verb.missing[operands.size()] != nullptr) {
        return verb.missing[operands.size()];
    }
    return verb.mistake == nullptr ? L"" : verb.mistake(operands);
}

}  // namespace

std::wstring usage() {
    std::wstring text;
    for (const Verb& verb : verbs()) {
        text += text.empty() ? L"usage: kest " : L"       kest ";
        text += verb.name;
        if (verb.action != nullptr) {
            text.append(L" ").append(verb.action);
        }
        text += *verb.operands == L'\0' ? L"" : L" ";
        text += verb.operands;
        if (verb.flag != nullptr) {
            text.append(L" [").append(verb.flag).append(L"]");
        }
        text += L" [--trace FILE]\n";
    }
    return text + L"       kest --help | --version\n";
}

std::optional<Request> parse(const std::vector<std::wstring>& arguments, std::wstring& mistake) {
    Request request;
    std::vector<std::wstring> operands;
    std::wstring flag;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& argument = arguments[i];
        const bool isOption = !optionsEnded && argument.size() > 1 && argument.front() == L'-';
        if (!isOption) {
            operands.push_back(argument);
        } else if (argument == L"--") {
            optionsEnded = true;
        } else if (argument == L"--help") {
            return request;
        } else if (argument == L"--version") {
            request.kind = Request::Kind::version;
            return request;
        } else if (argument == kTrace && i + 1 < arguments.size()) {
            request.traceFile = arguments[++i];
        } else if (argument.starts_with(kTraceIs)) {
            request.traceFile = argument.substr(kTraceIs.size());
        } else if (argument == kTrace) {
            request.traceFile = L"";
        } else if (isFlag(argument)) {
            flag = argument;
        } else {
            return mistaken(mistake, L"unknown option " + argument);
        }
    }
    if (request.traceFile == L"") {
        return mistaken(mistake, L"--trace needs a file");
    }
    if (operands.empty()) {
        return mistaken(mistake, L"what to do is missing");
    }

    request.kind = Request::Kind::verb;
    request.verb = findVerb(operands, mistake);
    if (request.verb == nullptr) {
        return std::nullopt;
    }
    request.flag = !flag.empty();
    if (request.flag && (request.verb->flag == nullptr || flag != request.verb->flag)) {
        return mistaken(mistake, L"unknown option " + flag);
    }
    request.operands.assign(operands.begin() + static_cast<std::ptrdiff_t>(request.verb->words()),
                            operands.end());
    if (request.operands.size() > request.verb->most) {
        return mistaken(mistake, L"one argument too many: " + request.operands[request.verb->most]);
    }
    const std::wstring wrong = mistakeIn(*request.verb, request.operands);
    if (!wrong.empty()) {
        return mistaken(mistake, wrong);
    }
    return request;
}

}  // namespace Tallowmere::command
