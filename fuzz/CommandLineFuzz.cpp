// Command lines: the arguments against a reader that goes character by character, and candidates
// for the program that lie where they say. Arguments that are quoted come back as they were.

#include <vector>

#include "fuzz/Input.h"
#include "kest/platform/linux/CommandLine.h"

namespace Tallowmere::platform::commandline {
namespace {

using Texts = std::vector<std::wstring>;

bool isBlank(wchar_t c) {
    return c == L' ' || c == L'\t';
}

/// One character at a time; backslashes wait until it is known what follows them.
Texts expected(const std::wstring& text) {
    Texts arguments;
    std::wstring argument;
    std::size_t waiting = 0;
    bool isInside = false;
    bool isQuoted = false;
    const auto give = [&](std::size_t count) {
        argument.append(count, L'\\');
        waiting = 0;
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        if (c == L'\\') {
            ++waiting;
            isInside = true;
        } else if (c == L'"') {
            const bool isOrdinary = waiting % 2 == 1;
            give(waiting / 2);
            isInside = true;
            if (isOrdinary) {
                argument += c;
            } else if (isQuoted && i + 1 < text.size() && text[i + 1] == L'"') {
                argument += c;
                ++i;
            } else {
                isQuoted = !isQuoted;
            }
        } else if (isBlank(c) && !isQuoted) {
            give(waiting);
            if (isInside) {
                arguments.push_back(argument);
            }
            argument.clear();
            isInside = false;
        } else {
            give(waiting);
            argument += c;
            isInside = true;
        }
    }
    give(waiting);
    if (isInside) {
        arguments.push_back(argument);
    }
    return arguments;
}

/// How a caller writes an argument so that it arrives.
std::wstring quote(const std::wstring& argument) {
    std::wstring result = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        if (c == L'"') {
            // What was written so far of them doubled, and one for the quote.
            std::size_t before = 0;
            while (before < result.size() - 1 && result[result.size() - 1 - before] == L'\\') {
                ++before;
            }
            result.append(before + 1, L'\\');
        }
        result += c;
    }
    result.append(backslashes, L'\\');
    return result + L"\"";
}

void check(const std::wstring& line) {
    KEST_LAW(splitArguments(line) == expected(line));
    Texts arguments = splitArguments(line);
    std::wstring written;
    for (const std::wstring& argument : arguments) {
        written += L"\t " + quote(argument);
    }
    KEST_LAW(splitArguments(written) == arguments);

    constexpr std::size_t kMost = 40;
    std::size_t last = 0;
    for (const Candidate& one : candidates(line, kMost)) {
        KEST_LAW(one.arguments <= line.size() && one.arguments >= last);
        KEST_LAW(one.arguments == line.size() || isBlank(line[one.arguments]));
        last = one.arguments;
        const std::size_t start = line.find_first_not_of(L" \t");
        if (line[start] == L'"') {
            KEST_LAW(one.program.find(L'"') == std::wstring::npos);
        } else {
            KEST_LAW(one.program == line.substr(start, one.arguments - start));
            KEST_LAW(one.program.size() <= kMost && !isBlank(one.program.back()));
        }
    }
}

}  // namespace
}  // namespace Tallowmere::platform::commandline

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Tallowmere::platform::commandline::check(Tallowmere::fuzz::Input(data, size).text());
    return 0;
}
