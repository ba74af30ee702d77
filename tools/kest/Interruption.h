#pragma once

#include <exception>

namespace Tallowmere::command {

/// Thrown into the library to make it take everything back.
class Interrupted : public std::exception {
public:
    const char* what() const noexcept override { return "interrupted"; }
};

/// While it lives, the first Ctrl-C (or the order to end, or the end of the terminal) only raises a
/// flag; the second ends the program at once, as without it. What the program was told to ignore
/// stays ignored. One at a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether the flag is up.
    static bool isRequested();
    /// Puts it up, as Ctrl-C does.
    static void request();
};

}  // namespace Tallowmere::command
