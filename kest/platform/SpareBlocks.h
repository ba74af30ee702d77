#pragma once

#include <cstddef>
#include <utility>

/// Small blocks of the heap that a thread has given back and takes again: for objects that come and
/// go in great numbers, a few at a time, of which half the cost would be their memory.
///
/// Our choice: each thread keeps a few blocks to itself, so nothing has to be locked, and a block
/// may be given back on another thread than the one that took it. They go back to the heap when
/// their thread ends. A thread that lives on when the library is unloaded keeps its own for good.
///
/// On Windows all of them come from the heap: what is kept for a thread costs as much there.
namespace Tallowmere::platform {

/// What all blocks have room for.
inline constexpr std::size_t kSpareBlockSize = 16;

#ifdef _WIN32

inline void* takeSpareBlock() noexcept {
    return nullptr;
}

inline bool keepSpareBlock(void* /*block*/) noexcept {
    return false;
}

#else

struct SpareBlocks {
    /// Null where there is none. Not a chain of blocks, nor a count: each step would have to wait
    /// for what the one before it has written.
    void* first;
    void* second;
    bool isWatched;
};

extern thread_local constinit SpareBlocks t_spareBlocks;

/// Whether the end of the calling thread will be noticed.
bool watchSpareBlocks() noexcept;

/// A sanitizer takes a block that nobody has for freed, as it is for everybody else.
#if defined(__SANITIZE_ADDRESS__)
#define KEST_HIDES_SPARE_BLOCKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KEST_HIDES_SPARE_BLOCKS 1
#endif
#endif
#ifdef KEST_HIDES_SPARE_BLOCKS
void hideSpareBlock(void* block) noexcept;
void* showSpareBlock(void* block) noexcept;
#else
inline void hideSpareBlock(void* /*block*/) noexcept {}
inline void* showSpareBlock(void* block) noexcept {
    return block;
}
#endif

/// A block that the thread has kept; null when it has none.
inline void* takeSpareBlock() noexcept {
    SpareBlocks& own = t_spareBlocks;
    if (own.first != nullptr) {
        return showSpareBlock(std::exchange(own.first, nullptr));
    }
    if (own.second != nullptr) {
        return showSpareBlock(std::exchange(own.second, nullptr));
    }
    return nullptr;
}

/// Keeps a block that came from the heap; false when it is to go back there.
inline bool keepSpareBlock(void* block) noexcept {
    SpareBlocks& own = t_spareBlocks;
    void*& place = own.first == nullptr ? own.first : own.second;
    if (place != nullptr || (!own.isWatched && !watchSpareBlocks())) {
        return false;
    }
    place = block;
    hideSpareBlock(block);
    return true;
}

#endif

}  // namespace Tallowmere::platform
