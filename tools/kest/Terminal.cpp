#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Terminal.h"

namespace Tallowmere::command {

bool confirm(const std::wstring& question) {
    say(question);
    std::string answer;
    for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar()) {
        if (std::isspace(c) == 0) {
            answer += static_cast<char>(std::tolower(c));
        }
    }
    return answer == "y" || answer == "yes";
}

void complainLine(const std::wstring& text) {
    const char* const unwanted = std::getenv("NO_COLOR");
    const bool isColoured = (unwanted == nullptr || *unwanted == '\0') && understandsSequences();
    complain((isColoured ? L"\x1B[1;31mkest:\x1B[0m " : L"kest: ") + text + L"\n");
}

}  // namespace Tallowmere::command
