#include "kest/platform/linux/LockDescriptor.h"

#include <pthread.h>

#include <mutex>
#include <system_error>

namespace Tallowmere::platform {

/// All that there are in this process. The mutex is held while the process forks, so that the child
/// finds the list whole; it may then do no more than close.
struct LockDescriptors {
    std::mutex mutex;
    LockDescriptor* first = nullptr;

    LockDescriptors() {
        const int error = pthread_atfork([] { all().mutex.lock(); }, [] { all().mutex.unlock(); },
                                         [] { all().closeInChild(); });
        if (error != 0) {
            throw std::system_error(error, std::generic_category(), "pthread_atfork");
        }
    }

    void closeInChild() {
        for (LockDescriptor* lock = first; lock != nullptr; lock = lock->m_next) {
            lock->m_descriptor.reset();
        }
        mutex.unlock();
    }

    /// Never destroyed: a host may still work, or fork, while the process ends.
    static LockDescriptors& all() {
        static LockDescriptors* const s_all = new LockDescriptors;
        return *s_all;
    }
};

LockDescriptor::LockDescriptor(Descriptor descriptor) : m_descriptor(std::move(descriptor)) {
    LockDescriptors& all = LockDescriptors::all();
    const std::lock_guard<std::mutex> guard(all.mutex);
    m_next = all.first;
    all.first = this;
}

LockDescriptor::~LockDescriptor() {
    LockDescriptors& all = LockDescriptors::all();
    const std::lock_guard<std::mutex> guard(all.mutex);
    for (LockDescriptor** at = &all.first; *at != nullptr; at = &(*at)->m_next) {
        if (*at == this) {
            *at = m_next;
            break;
        }
    }
}

}  // namespace Tallowmere::platform
