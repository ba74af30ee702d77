#include "kest/platform/SpareBlocks.h"

#include <pthread.h>

#include <atomic>
#include <new>

#ifdef KEST_HIDES_SPARE_BLOCKS
#include <sanitizer/asan_interface.h>
#endif

namespace Tallowmere::platform {

thread_local constinit SpareBlocks t_spareBlocks{};

namespace {

void giveBackAll(void*) {
    SpareBlocks& own = t_spareBlocks;
    while (void* const block = takeSpareBlock()) {
        ::operator delete(block);
    }
    // Another library's destructor may come back here and give back something: that is noticed
    // again.
    own = {};
}

/// Whether the library is being unloaded, or the process ends: the key is somebody else's then.
constinit std::atomic<bool> g_isUnloading{false};

/// What notices that threads end.
class Watch {
public:
    Watch() : m_isSet(pthread_key_create(&m_key, &giveBackAll) == 0) {}
    /// A thread that ends later may find no code here.
    ~Watch() {
        g_isUnloading.store(true, std::memory_order_relaxed);
        if (m_isSet) {
            (void)pthread_key_delete(m_key);
        }
        giveBackAll(nullptr);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// The calling thread.
    bool add() const { return m_isSet && pthread_setspecific(m_key, &t_spareBlocks) == 0; }

private:
    pthread_key_t m_key = 0;
    bool m_isSet;
};

}  // namespace

bool watchSpareBlocks() noexcept {
    if (g_isUnloading.load(std::memory_order_relaxed)) {
        return false;
    }
    static const Watch s_watch;
    t_spareBlocks.isWatched = s_watch.add();
    return t_spareBlocks.isWatched;
}

#ifdef KEST_HIDES_SPARE_BLOCKS

void hideSpareBlock(void* block) noexcept {
    __asan_poison_memory_region(block, kSpareBlockSize);
}

void* showSpareBlock(void* block) noexcept {
    __asan_unpoison_memory_region(block, kSpareBlockSize);
    return block;
}

#endif

}  // namespace Tallowmere::platform
