#pragma once

namespace Tallowmere::platform::testing {

/// While it lives, the calling thread's allocations by `new` fail from the `first`-th on (1: the
/// next one), or that one alone, with std::bad_alloc; those of std::malloc and of other threads do
/// not. Here and not
/// beside the other tools because the C++ library of the Windows build cannot be made to fail so.
class FailingAllocation {
public:
    explicit FailingAllocation(int first, bool once = false);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// How many allocations have failed.
    int failed() const;
};

}  // namespace Tallowmere::platform::testing
