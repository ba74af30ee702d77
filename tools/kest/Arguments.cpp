#include "Arguments.h"

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

/// What is wrong with the operands of a verb; null when nothing is.
const wchar_t* mistakeIn(const Verb& verb, const Operands& operands) {
    if (operands.size() < std::size(verb.missing) && verb.missing[operands.size()] != nullptr) {
        return verb.missing[operands.size()];
    }
    for (const std::wstring& operand : operands) {
        if (operand.empty() && verb.empty != nullptr) {
            return verb.empty;
        }
    }
    return nullptr;
}

}  // namespace

std::wstring usage() {
    std::wstring text;
    for (const Verb& verb : verbs()) {
        text += text.empty() ? L"usage: kest " : L"       kest ";
        text += verb.name;
        text += *verb.operands == L'\0' ? L"" : L" ";
        text += verb.operands;
        text += L" [--trace FILE]\n";
    }
    return text + L"       kest --help | --version\n";
}

std::optional<Request> parse(const std::vector<std::wstring>& arguments, std::wstring& mistake) {
    Request request;
    std::vector<std::wstring> operands;
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
    request.verb = findVerb(operands.front());
    if (request.verb == nullptr) {
        return mistaken(mistake, L"unknown command " + operands.front());
    }
    request.operands.assign(operands.begin() + 1, operands.end());
    if (request.operands.size() > request.verb->most) {
        return mistaken(mistake, L"one argument too many: " + request.operands[request.verb->most]);
    }
    if (const wchar_t* const wrong = mistakeIn(*request.verb, request.operands)) {
        return mistaken(mistake, wrong);
    }
    return request;
}

}  // namespace Tallowmere::command
