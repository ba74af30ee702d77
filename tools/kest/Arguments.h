#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Tallowmere::command {

/// What the user asks for.
struct Request {
    enum class Verb { help, version, copy, remove, restorePoints, restore };

    Verb verb = Verb::help;
    /// copy: source and destination. remove: the path.
    std::vector<std::wstring> paths;
    /// restore: the point's number, and whether nobody is to be asked.
    unsigned long number = 0;
    bool yes = false;
    /// Where the trace goes; nowhere without it.
    std::optional<std::wstring> traceFile;
};

/// The usage text, with a line feed at its end.
extern const wchar_t kUsage[];

/// Reads the arguments, the program's name not among them. Options may stand anywhere after the
/// verb,
/// "--" ends them. On wrong use returns nothing and stores what is wrong in `mistake`.
std::optional<Request> parse(const std::vector<std::wstring>& arguments, std::wstring& mistake);

}  // namespace Tallowmere::command
