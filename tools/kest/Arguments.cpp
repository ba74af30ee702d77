#include "Arguments.h"

#include <string_view>

namespace Tallowmere::command {

const wchar_t kUsage[] =
    L"usage: kest copy SOURCE DESTINATION [--trace FILE]\n"
    L"       kest delete PATH [--trace FILE]\n"
    L"       kest restore-points [--trace FILE]\n"
    L"       kest restore NUMBER [--yes] [--trace FILE]\n"
    L"       kest --help | --version\n";

namespace {

constexpr std::wstring_view kTrace = L"--trace";
constexpr std::wstring_view kTraceIs = L"--trace=";

std::optional<Request> mistaken(std::wstring& mistake, const std::wstring& text) {
    mistake = text;
    return std::nullopt;
}

/// Digits alone, of a number that 32 bits hold.
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

}  // namespace

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
            request.verb = Request::Verb::version;
            return request;
        } else if (argument == L"--yes") {
            request.yes = true;
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

    std::size_t expected = 0;
    if (operands.front() == L"copy") {
        request.verb = Request::Verb::copy;
        expected = 2;
    } else if (operands.front() == L"delete") {
        request.verb = Request::Verb::remove;
        expected = 1;
    } else if (operands.front() == L"restore-points") {
        request.verb = Request::Verb::restorePoints;
    } else if (operands.front() == L"restore") {
        request.verb = Request::Verb::restore;
        expected = 1;
    } else {
        return mistaken(mistake, L"unknown command " + operands.front());
    }
    if (request.yes && request.verb != Request::Verb::restore) {
        return mistaken(mistake, L"unknown option --yes");
    }
    request.paths.assign(operands.begin() + 1, operands.end());
    if (request.paths.size() < expected) {
        return mistaken(mistake, request.paths.empty() && expected == 2
                                     ? L"copy needs a source and a destination"
                                 : expected == 2 ? L"copy needs a destination"
                                 : request.verb == Request::Verb::restore
                                     ? L"restore needs a restore point's number"
                                     : L"delete needs a path");
    }
    if (request.paths.size() > expected) {
        return mistaken(mistake, L"one argument too many: " + request.paths[expected]);
    }
    if (request.verb == Request::Verb::restore) {
        const std::wstring text = request.paths[0];
        request.paths.clear();
        if (!readNumber(text, request.number)) {
            return mistaken(mistake, L"not a restore point's number: " + text);
        }
    }
    for (const std::wstring& path : request.paths) {
        // A shell variable that was never set: better told than taken for a tree that is not there.
        if (path.empty()) {
            return mistaken(mistake, L"a path is empty");
        }
    }
    return request;
}

}  // namespace Tallowmere::command
