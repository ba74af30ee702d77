#pragma once

#include <memory>
#include <vector>

#include "trace/Reader.h"

namespace Tallowmere::command::trace {

/// The entries of several files in the order of their times. Those of one file keep their order,
/// and of equal times those of an earlier file come first.
class Merge {
public:
    /// The readers must outlive this.
    explicit Merge(const std::vector<Reader*>& readers);

    /// Goes on to the next entry; null when no file has one, now or for good. Valid until the next
    /// call. A file that has nothing now does not hold up the others.
    const Entry* next();

private:
    struct Input {
        Reader* reader;
        bool isLoaded;
    };

    std::vector<Input> m_inputs;
    Input* m_current = nullptr;
};

}  // namespace Tallowmere::command::trace
