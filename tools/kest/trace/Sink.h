#pragma once

#include <string>
#include <vector>

#include "trace/Entry.h"

namespace Tallowmere::command::trace {

/// The names by which files are told apart, by Entry::file.
using FileNames = std::vector<std::string>;

/// Makes something of the entries that are shown.
class Sink {
public:
    virtual ~Sink() = default;
    virtual void take(const Entry& entry) = 0;
    /// After the last one.
    virtual void finish() {}
};

}  // namespace Tallowmere::command::trace
