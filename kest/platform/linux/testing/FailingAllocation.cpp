#include "kest/platform/linux/testing/FailingAllocation.h"

#include <cstdlib>
#include <new>

namespace {

/// Allocations that still succeed; negative while nothing is to fail.
thread_local constinit int t_left = -1;
thread_local constinit int t_failed = 0;
thread_local constinit bool t_once = false;

}  // namespace

// The whole test program's, in every form that has no alignment of its own: memory of one form must
// not meet another one's release.

void* operator new(std::size_t size) {
    if (t_left == 0) {
        ++t_failed;
        t_left = t_once ? -1 : 0;
        throw std::bad_alloc();
    }
    if (t_left > 0) {
        --t_left;
    }
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new[](std::size_t size) {
    return ::operator new(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return ::operator new(size, tag);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}

namespace Tallowmere::platform::testing {

FailingAllocation::FailingAllocation(int first, bool once) {
    t_failed = 0;
    t_once = once;
    t_left = first - 1;
}

FailingAllocation::~FailingAllocation() {
    t_left = -1;
}

int FailingAllocation::failed() const {
    return t_failed;
}

}  // namespace Tallowmere::platform::testing
