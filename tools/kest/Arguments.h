#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Verbs.h"

namespace Tallowmere::command {

/// What the user asks for.
struct Request {
    enum class Kind { help, version, verb };

    Kind kind = Kind::help;
    /// What to do, and with what, for a request of the kind `verb`.
    const Verb* verb = nullptr;
    Operands operands;
    /// Whether the verb's own option was given.
    bool flag = false;
    /// Where the trace goes; nowhere without it.
    std::optional<std::wstring> traceFile;
};

/// The usage text, with a line feed at its end.
std::wstring usage();

/// Reads the arguments, the program's name not among them. Options may stand anywhere, "--"
/// ends them. On wrong use returns nothing and stores what is wrong in `mistake`.
std::optional<Request> parse(const std::vector<std::wstring>& arguments, std::wstring& mistake);

}  // namespace Tallowmere::command
