#include "kest/platform/linux/CommandLine.h"

namespace Tallowmere::platform::commandline {
namespace {

bool isBlank(wchar_t c) {
    return c == L' ' || c == L'\t';
}

std::size_t skipBlanks(std::wstring_view text, std::size_t at) {
    while (at < text.size() && isBlank(text[at])) {
        ++at;
    }
    return at;
}

/// The program between quotes. Its name goes on to the next blank outside of quotes; backslashes
/// mean nothing special there.
Candidate quoted(std::wstring_view line, std::size_t start) {
    Candidate candidate;
    const std::size_t end = line.find(L'"', start + 1);
    candidate.program = line.substr(start + 1, end - start - 1);
    bool isQuoted = false;
    std::size_t at = start;
    for (; at < line.size() && (isQuoted || !isBlank(line[at])); ++at) {
        if (line[at] == L'"') {
            isQuoted = !isQuoted;
        } else {
            candidate.name.push_back(line[at]);
        }
    }
    candidate.arguments = at;
    return candidate;
}

}  // namespace

std::vector<Candidate> candidates(std::wstring_view line, std::size_t most) {
    std::vector<Candidate> all;
    const std::size_t start = skipBlanks(line, 0);
    if (start == line.size()) {
        return all;
    }
    if (line[start] == L'"') {
        all.push_back(quoted(line, start));
        return all;
    }
    for (std::size_t end = start + 1; end <= line.size() && end - start <= most; ++end) {
        // Names do not end in blanks.
        if ((end == line.size() || isBlank(line[end])) && !isBlank(line[end - 1])) {
            const std::wstring name(line.substr(start, end - start));
            all.push_back({name, name, end});
        }
    }
    return all;
}

std::vector<std::wstring> splitArguments(std::wstring_view text) {
    std::vector<std::wstring> arguments;
    std::size_t at = skipBlanks(text, 0);
    while (at < text.size()) {
        std::wstring argument;
        bool isQuoted = false;
        while (at < text.size() && (isQuoted || !isBlank(text[at]))) {
            std::size_t end = at;
            while (end < text.size() && text[end] == L'\\') {
                ++end;
            }
            const std::size_t backslashes = end - at;
            at = end;
            if (at == text.size() || text[at] != L'"') {
                argument.append(backslashes, L'\\');
                if (backslashes == 0) {
                    argument.push_back(text[at++]);
                }
                continue;
            }
            argument.append(backslashes / 2, L'\\');
            if (backslashes % 2 != 0) {
                argument.push_back(L'"');
            } else if (isQuoted && at + 1 < text.size() && text[at + 1] == L'"') {
                argument.push_back(L'"');
                ++at;
            } else {
                isQuoted = !isQuoted;
            }
            ++at;
        }
        arguments.push_back(std::move(argument));
        at = skipBlanks(text, at);
    }
    return arguments;
}

}  // namespace Tallowmere::platform::commandline
