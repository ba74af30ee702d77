// Mutexes, and the calling thread's identifier.
//
// A mutex is a robust, recursive one of the threads library: the kernel itself notices when its
// owner ends. What stands around it is for what Windows promises beyond that. Its memory is never
// given back to the system, only used again, so that a call that still has an old handle in its
// hands, a thing that Windows forgives, meets a mutex and no freed memory; having the lock, it
// looks once more whether the handle is still open.

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <deque>
#include <mutex>
#include <new>
#include <vector>

#include "kest/platform/HandleTable.h"
#include "kest/platform/linux/Closing.h"
#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/Standins.h"
#include "kest/platform/linux/ThreadSanitizer.h"

namespace Tallowmere::platform::standin {
namespace {

/// Tells one thread from every other one of the process, also from those that have ended, whose
/// numbers the system gives out again.
std::uint64_t thisThread() {
    static std::atomic<std::uint64_t> s_last{0};
    thread_local constinit std::uint64_t t_number = 0;
    if (t_number == 0) {
        t_number = ++s_last;
    }
    return t_number;
}

struct Mutex {
    pthread_mutex_t native;
    /// The number of the handle that stands for it, 0 for none.
    std::atomic<std::uintptr_t> handle{0};
    /// Who owns it, 0 for nobody. A thread finds its own number here only while it is the owner.
    std::atomic<std::uint64_t> owner{0};
    /// How often the owner has acquired it. Only the owner looks.
    unsigned int count = 0;
};

int initialize(pthread_mutex_t& native) {
    pthread_mutexattr_t attributes;
    if (const int error = pthread_mutexattr_init(&attributes); error != 0) {
        return error;
    }
    (void)pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    (void)pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    const int error = pthread_mutex_init(&native, &attributes);
    (void)pthread_mutexattr_destroy(&attributes);
    return error;
}

/// All mutexes that were ever made. Never destroyed: locks are used until the process ends.
class MutexStore {
public:
    /// One that nobody owns. Null, with the errno value in `error`, when none can be made; throws
    /// std::bad_alloc.
    Mutex* take(int& error) {
        const std::lock_guard<std::mutex> guard(m_mutex);
        if (m_idle.empty()) {
            // So that giving one back needs no memory.
            m_idle.reserve(m_all.size() + 1);
            Mutex& added = m_all.emplace_back();
            error = initialize(added.native);
            if (error != 0) {
                m_all.pop_back();
                return nullptr;
            }
            return &added;
        }
        Mutex* const used = m_idle.back();
        m_idle.pop_back();
        return used;
    }

    void giveBack(Mutex* unowned) {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_idle.push_back(unowned);
    }

private:
    std::mutex m_mutex;
    std::deque<Mutex> m_all;
    std::vector<Mutex*> m_idle;
};

MutexStore& store() {
    static MutexStore* const s_store = new MutexStore;
    return *s_store;
}

std::uintptr_t number(HANDLE handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}

/// Whether the handle is still open, asked of the mutex that it stood for.
bool isOpen(const Mutex& mutex, HANDLE handle) {
    return mutex.handle.load(std::memory_order_acquire) == number(handle);
}

/// What a thread looked up last: mostly it comes back for the same mutex, to release it. No handle
/// has the number 1.
struct Found {
    std::uintptr_t handle = 1;
    Mutex* mutex = nullptr;
};
thread_local constinit Found t_found{};

Mutex* lookUp(HANDLE handle) {
    auto* const mutex = static_cast<Mutex*>(findHandle(handle, HandleKind::Mutex));
    if (mutex != nullptr) {
        t_found = {number(handle), mutex};
    }
    return mutex;
}

Mutex* find(HANDLE handle) {
    Mutex* const last = t_found.mutex;
    return t_found.handle == number(handle) && isOpen(*last, handle) ? last : lookUp(handle);
}

template <class R>
R failWith(R failure, DWORD error) {
    SetLastError(error);
    return failure;
}

/// Tries until the time is over. 0, EOWNERDEAD, ETIMEDOUT or another error.
int lockWithin(Mutex& mutex, DWORD milliseconds) {
    constexpr long kNanosecondsPerSecond = 1000000000;
    timespec end{};
    (void)clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += milliseconds / 1000;
    end.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (end.tv_nsec >= kNanosecondsPerSecond) {
        end.tv_nsec -= kNanosecondsPerSecond;
        ++end.tv_sec;
    }
#ifdef KEST_THREAD_SANITIZER
    // The sanitizer does not know pthread_mutex_clocklock, and no call that waits for a limited
    // time tells it of an owner that has died. So under it, and nowhere else, the wait is made of
    // tries.
    for (;;) {
        const int result = pthread_mutex_trylock(&mutex.native);
        timespec now{};
        (void)clock_gettime(CLOCK_MONOTONIC, &now);
        const bool isOver =
            now.tv_sec > end.tv_sec || (now.tv_sec == end.tv_sec && now.tv_nsec >= end.tv_nsec);
        if (result != EBUSY || isOver) {
            return result;
        }
        constexpr timespec kPause{0, 200000};
        (void)clock_nanosleep(CLOCK_MONOTONIC, 0, &kPause, nullptr);
    }
#else
    return pthread_mutex_clocklock(&mutex.native, CLOCK_MONOTONIC, &end);
#endif
}

/// What a wait answers, from what the threads library said; the ownership is noted.
DWORD waited(Mutex& mutex, int result) {
    switch (result) {
        case 0:
            mutex.owner.store(thisThread(), std::memory_order_relaxed);
            ++mutex.count;
            return WAIT_OBJECT_0;
        case EOWNERDEAD:
            // However often the dead thread had acquired it, it is owned once now.
            (void)pthread_mutex_consistent(&mutex.native);
            mutex.owner.store(thisThread(), std::memory_order_relaxed);
            mutex.count = 1;
            return WAIT_ABANDONED;
        case EBUSY:
        case ETIMEDOUT:
            return WAIT_TIMEOUT;
        case EAGAIN:  // Acquired four thousand million times.
            return failWith(WAIT_FAILED, ERROR_NO_SYSTEM_RESOURCES);
        default:
            return failWith(WAIT_FAILED, errorFromErrno(result));
    }
}

/// False when the calling thread does not own it. That is found out before the threads library is
/// asked, because thread sanitizers take the mere question for a mistake.
bool release(Mutex& mutex) {
    if (mutex.owner.load(std::memory_order_relaxed) != thisThread()) {
        return false;
    }
    if (--mutex.count == 0) {
        mutex.owner.store(0, std::memory_order_relaxed);
    }
    // Fails in a child process for what its parent had owned.
    return pthread_mutex_unlock(&mutex.native) == 0;
}

thread_local constinit DWORD t_threadId = 0;

/// Whether child processes ask for their number again. Asked for once, at first use.
bool childForgetsThreadId() {
    static const bool s_isSet = pthread_atfork(nullptr, nullptr, [] { t_threadId = 0; }) == 0;
    return s_isSet;
}

}  // namespace

HANDLE CreateMutexW(SECURITY_ATTRIBUTES* /*security*/, BOOL initiallyOwned, const wchar_t* name) {
    if (name != nullptr && *name != L'\0') {
        // Our choice: the library makes unnamed ones only; a name would promise that other
        // processes see it.
        return failWith<HANDLE>(nullptr, ERROR_NOT_SUPPORTED);
    }
    Mutex* mutex = nullptr;
    HANDLE handle = INVALID_HANDLE_VALUE;
    try {
        int error = 0;
        mutex = store().take(error);
        if (mutex == nullptr) {
            return failWith<HANDLE>(nullptr, errorFromErrno(error));
        }
        handle = issueHandle(HandleKind::Mutex, mutex);
        if (handle != INVALID_HANDLE_VALUE) {
            mutex->handle.store(number(handle), std::memory_order_release);
        }
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    if (handle == INVALID_HANDLE_VALUE) {
        if (mutex != nullptr) {
            store().giveBack(mutex);
        }
        return nullptr;
    }
    if (initiallyOwned) {
        (void)waited(*mutex, pthread_mutex_lock(&mutex->native));
    }
    // As on Windows, which says in this way that no such mutex existed.
    SetLastError(ERROR_SUCCESS);
    return handle;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    Mutex* const mutex = find(handle);
    if (mutex == nullptr) {
        return failWith(WAIT_FAILED, ERROR_INVALID_HANDLE);
    }
    int result = pthread_mutex_trylock(&mutex->native);
    if (result == EBUSY && milliseconds == INFINITE) {
        result = pthread_mutex_lock(&mutex->native);
    } else if (result == EBUSY && milliseconds != 0) {
        result = lockWithin(*mutex, milliseconds);
    }
    const DWORD answer = waited(*mutex, result);
    if ((answer == WAIT_OBJECT_0 || answer == WAIT_ABANDONED) && !isOpen(*mutex, handle)) {
        // Our choice: who waits for a mutex that is closed meanwhile does not get it. On Windows
        // the waiting thread does, and nobody can ever release it.
        (void)release(*mutex);
        return failWith(WAIT_FAILED, ERROR_INVALID_HANDLE);
    }
    return answer;
}

BOOL ReleaseMutex(HANDLE handle) {
    Mutex* const mutex = find(handle);
    if (mutex == nullptr) {
        return failWith(FALSE, ERROR_INVALID_HANDLE);
    }
    return release(*mutex) ? TRUE : failWith(FALSE, ERROR_NOT_OWNER);
}

bool closeMutex(HANDLE handle) {
    auto* const mutex = static_cast<Mutex*>(retireHandle(handle, HandleKind::Mutex));
    if (mutex == nullptr) {
        return failWith(false, ERROR_INVALID_HANDLE);
    }
    mutex->handle.store(0, std::memory_order_release);
    const DWORD answer = waited(*mutex, pthread_mutex_trylock(&mutex->native));
    if (answer != WAIT_OBJECT_0 && answer != WAIT_ABANDONED) {
        // Another thread owns it. Nobody can release it any more, and until that thread ends the
        // kernel's list of what it owns leads through this memory: it is not used again.
        return true;
    }
    for (unsigned int left = mutex->count; left > 0; --left) {
        (void)release(*mutex);
    }
    store().giveBack(mutex);
    return true;
}

DWORD GetCurrentThreadId() {
    if (t_threadId == 0) {
        const auto id = static_cast<DWORD>(gettid());
        if (!childForgetsThreadId()) {
            return id;
        }
        t_threadId = id;
    }
    return t_threadId;
}

}  // namespace Tallowmere::platform::standin
