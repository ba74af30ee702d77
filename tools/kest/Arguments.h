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
    /// The first word of what to do; for a help on everything it is empty.
    std::wstring name;
    /// What to do, and with what, for a request of the kind `verb`. For a help it is the verb that
    /// was named, or null where several have the name.
    const Verb* verb = nullptr;
    Operands operands;
    Options options;
    /// Where the trace goes; nowhere without it.
    std::optional<std::wstring> traceFile;
};

/// What is wrong, and with which verb: its first word, empty when there is none.
struct Mistake {
    std::wstring text;
    std::wstring name;
};

/// Reads the arguments, the program's name not among them. Options may stand anywhere, "--"
/// ends them. On wrong use returns nothing and stores what is wrong in `mistake`.
std::optional<Request> parse(const std::vector<std::wstring>& arguments, Mistake& mistake);

}  // namespace Tallowmere::command
