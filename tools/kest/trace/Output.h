#pragma once

#include <string_view>

namespace Tallowmere::command::trace {

/// Where text for a person or a program goes.
class Output {
public:
    virtual ~Output() = default;

    /// `text` is UTF-8. Throws std::runtime_error, with a text for a person, when it cannot be
    /// written.
    virtual void write(std::string_view text) = 0;

    /// Hands on what was written so far. Throws like write.
    virtual void flush() {}

    /// Whether a person is looking, and the terminal knows colours.
    virtual bool hasColours() const { return false; }
};

}  // namespace Tallowmere::command::trace
