// Mutexes, and the calling thread's identifier.
//
// A mutex is a word that the kernel lets threads wait at. What stands around it is for what Windows
// promises beyond that: it may be acquired again by its owner, nobody else can release it, and when
// a thread ends, whoever comes next to a mutex that it owned is told so. Each thread has a list of
// what it owns for that, which is worked off when it ends. A mutex's memory is never given back to
// the system, only used again, so that a call that still has an old handle in its hands, a thing
// that Windows forgives, meets a mutex and no freed memory; having the lock, it looks once more
// whether the handle is still open.
//
// Our choice: not the threads library's robust mutexes, which do the same with the kernel's help
// but cost three times as much. The difference: a thread that is ended without its destructors,
// which no call of the C library does, keeps what it owned.

#include <linux/futex.h>
#include <pthread.h>
#include <sys/single_threaded.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <deque>
#include <limits>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "kest/platform/HandleTable.h"
#include "kest/platform/linux/Closing.h"
#include "kest/platform/linux/Standins.h"

namespace Tallowmere::platform::standin {
namespace {

enum Word : std::uint32_t { kFree, kTaken, kTakenAndWaitedFor };

struct Mutex {
    std::atomic<std::uint32_t> word{kFree};
    /// The number of the handle that stands for it, 0 for none.
    std::atomic<std::uintptr_t> handle{0};
    /// Who owns it, 0 for nobody. A thread finds its own number here only while it is the owner.
    std::atomic<std::uint64_t> owner{0};

    // For the owner alone.

    /// How often the owner has acquired it beyond the first time.
    std::uint32_t again = 0;
    /// Whether the last owner ended without releasing it.
    bool isAbandoned = false;
    /// What the owner has acquired before it and still owns.
    Mutex* before = nullptr;
};

/// No handle stands for it.
constinit Mutex g_none;

struct Thread {
    /// Tells it from every other one of the process, also from those that have ended, whose numbers
    /// the system gives out again; 0 until it was asked for.
    std::uint64_t number = 0;
    /// What it acquired last and still owns.
    Mutex* owned = nullptr;
    /// What it looked up last: mostly it comes back for the same mutex, to release it. No handle
    /// has the number 1.
    std::uintptr_t foundHandle = 1;
    Mutex* found = &g_none;
    /// Whether its end will be noticed; it has a number then.
    bool isWatched = false;
};

thread_local constinit Thread t_thread{};
thread_local constinit DWORD t_threadId = 0;

long futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value,
           const timespec* end) {
    static_assert(sizeof(word) == sizeof(std::uint32_t));
    return ::syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word),
                     operation | FUTEX_PRIVATE_FLAG, value, end, nullptr, FUTEX_BITSET_MATCH_ANY);
}

void rest() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
}

// In a process with a single thread nothing has to be atomic, which is most of what an atomic
// operation costs. The C library says so, and does the same.

inline bool takesAtOnce(Mutex& mutex, Word taken = kTaken) {
    if (__libc_single_threaded) {
        if (mutex.word.load(std::memory_order_relaxed) != kFree) {
            return false;
        }
        mutex.word.store(taken, std::memory_order_relaxed);
        return true;
    }
    std::uint32_t expected = kFree;
    return mutex.word.compare_exchange_strong(expected, taken, std::memory_order_acquire,
                                              std::memory_order_relaxed);
}

/// Waits until it has the mutex, or until the clock of CLOCK_MONOTONIC shows `end`, if there is
/// one.
bool takesWithin(Mutex& mutex, const timespec* end) {
    // Whoever has it is mostly done sooner than a thread is sent to sleep and woken. But each look
    // takes the word away from the owner's processor, and each change of the owner all that the
    // mutex guards: so the looks become rarer, and an owner that comes back at once may go on for a
    // while.
    constexpr int kRestsAtMost = 8;
    static const int s_tries = ::sysconf(_SC_NPROCESSORS_ONLN) > 1 ? 100 : 0;
    for (Word taken = kTaken;; taken = kTakenAndWaitedFor) {
        for (int i = 0, rests = 1; i < s_tries; ++i) {
            if (mutex.word.load(std::memory_order_relaxed) == kFree && takesAtOnce(mutex, taken)) {
                return true;
            }
            for (int j = 0; j < rests; ++j) {
                rest();
            }
            rests = std::min(2 * rests, kRestsAtMost);
        }
        // A thread that was woken does not know whether others sleep as well: it takes the mutex as
        // one that is waited for. And it tries again before it sleeps again, or each release would
        // go to wake it, in vain.
        if (mutex.word.exchange(kTakenAndWaitedFor, std::memory_order_acquire) == kFree) {
            return true;
        }
        if (futex(mutex.word, FUTEX_WAIT_BITSET, kTakenAndWaitedFor, end) != 0 &&
            errno == ETIMEDOUT) {
            return false;
        }
    }
}

bool takesWithin(Mutex& mutex, DWORD milliseconds) {
    if (milliseconds == INFINITE) {
        return takesWithin(mutex, nullptr);
    }
    constexpr long kNanosecondsPerSecond = 1000000000;
    timespec end{};
    (void)clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += milliseconds / 1000;
    end.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (end.tv_nsec >= kNanosecondsPerSecond) {
        end.tv_nsec -= kNanosecondsPerSecond;
        ++end.tv_sec;
    }
    return takesWithin(mutex, &end);
}

inline void own(Mutex& mutex, Thread& self) {
    mutex.owner.store(self.number, std::memory_order_relaxed);
    mutex.before = self.owned;
    self.owned = &mutex;
}

[[gnu::always_inline]] inline void give(Mutex& mutex, Thread& self) {
    // Nearly always the last one.
    Mutex** place = &self.owned;
    while (*place != &mutex) {
        place = &(*place)->before;
    }
    *place = mutex.before;
    mutex.owner.store(0, std::memory_order_relaxed);
    if (__libc_single_threaded) {
        mutex.word.store(kFree, std::memory_order_relaxed);
    } else if (mutex.word.exchange(kFree, std::memory_order_release) == kTakenAndWaitedFor) {
        (void)futex(mutex.word, FUTEX_WAKE, 1, nullptr);
    }
}

/// The calling thread ends.
void abandonAll(void*) {
    Thread& self = t_thread;
    // Another library's destructor may come back here and acquire something: that is noticed again.
    self.isWatched = false;
    while (self.owned != nullptr) {
        self.owned->isAbandoned = true;
        self.owned->again = 0;
        give(*self.owned, self);
    }
}

/// Whether the library is being unloaded, or the process ends: the key is somebody else's then.
constinit std::atomic<bool> g_isUnloading{false};

/// What notices that threads end, and that this process is the child of another one.
class Watch {
public:
    Watch()
        : m_isSet(pthread_key_create(&m_key, &abandonAll) == 0 &&
                  pthread_atfork(nullptr, nullptr, &beginChild) == 0) {}
    /// A thread that ends later may find no code here.
    ~Watch() {
        if (m_isSet) {
            g_isUnloading.store(true, std::memory_order_relaxed);
            (void)pthread_key_delete(m_key);
        }
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    bool isSet() const { return m_isSet; }
    /// Gives the calling thread its number. Its end will be noticed.
    void add(Thread& self) const {
        static std::atomic<std::uint64_t> s_last{0};
        if (self.number == 0) {
            self.number = ++s_last;
        }
        self.isWatched = !g_isUnloading.load(std::memory_order_relaxed) &&
                         pthread_setspecific(m_key, &self) == 0;
    }

private:
    /// The one thread of a child process is none of its parent's: it owns nothing.
    static void beginChild() {
        t_thread = {};
        t_threadId = 0;
    }

    pthread_key_t m_key = 0;
    bool m_isSet;
};

const Watch& watch() {
    static const Watch s_watch;
    return s_watch;
}

/// All mutexes that were ever made. Never destroyed: locks are used until the process ends.
class MutexStore {
public:
    /// One that nobody owns. Throws std::bad_alloc.
    Mutex* take() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        if (m_idle.empty()) {
            // So that giving one back needs no memory.
            m_idle.reserve(m_all.size() + 1);
            return &m_all.emplace_back();
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

bool isFound(HANDLE handle, const Thread& self) {
    return self.foundHandle == number(handle) && isOpen(*self.found, handle);
}

Mutex* find(HANDLE handle) {
    Thread& self = t_thread;
    if (isFound(handle, self)) {
        return self.found;
    }
    auto* const mutex = static_cast<Mutex*>(findHandle(handle, HandleKind::Mutex));
    if (mutex != nullptr) {
        self.foundHandle = number(handle);
        self.found = mutex;
    }
    return mutex;
}

template <class R>
R failWith(R failure, DWORD error) {
    SetLastError(error);
    return failure;
}

DWORD acquire(Mutex& mutex, DWORD milliseconds) {
    Thread& self = t_thread;
    if (!self.isWatched) {
        watch().add(self);
    }
    if (mutex.owner.load(std::memory_order_relaxed) == self.number) {
        if (mutex.again == std::numeric_limits<std::uint32_t>::max()) {
            return failWith(WAIT_FAILED, ERROR_NO_SYSTEM_RESOURCES);
        }
        ++mutex.again;
        return WAIT_OBJECT_0;
    }
    if (!takesAtOnce(mutex) && (milliseconds == 0 || !takesWithin(mutex, milliseconds))) {
        return WAIT_TIMEOUT;
    }
    own(mutex, self);
    return std::exchange(mutex.isAbandoned, false) ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

/// False when the calling thread does not own it.
bool release(Mutex& mutex) {
    Thread& self = t_thread;
    if (self.number == 0 || mutex.owner.load(std::memory_order_relaxed) != self.number) {
        return false;
    }
    if (mutex.again != 0) {
        --mutex.again;
    } else {
        give(mutex, self);
    }
    return true;
}

/// The calling thread has the mutex, and `answer` would say so.
DWORD unlessClosed(Mutex& mutex, HANDLE handle, DWORD answer) {
    if (!isOpen(mutex, handle)) {
        // Our choice: who waits for a mutex that is closed meanwhile does not get it. On Windows
        // the waiting thread does, and nobody can ever release it.
        (void)release(mutex);
        return failWith(WAIT_FAILED, ERROR_INVALID_HANDLE);
    }
    return answer;
}

[[gnu::noinline]] DWORD waitForIt(HANDLE handle, DWORD milliseconds) {
    Mutex* const mutex = find(handle);
    if (mutex == nullptr) {
        return failWith(WAIT_FAILED, ERROR_INVALID_HANDLE);
    }
    const DWORD answer = acquire(*mutex, milliseconds);
    return answer == WAIT_OBJECT_0 || answer == WAIT_ABANDONED
               ? unlessClosed(*mutex, handle, answer)
               : answer;
}

[[gnu::noinline]] DWORD takeUnusual(Mutex& mutex, HANDLE handle) {
    return unlessClosed(mutex, handle,
                        std::exchange(mutex.isAbandoned, false) ? WAIT_ABANDONED : WAIT_OBJECT_0);
}

[[gnu::noinline]] DWORD askThreadId() {
    const auto id = static_cast<DWORD>(gettid());
    // Kept only where a child process, whose thread has another one, forgets it.
    if (watch().isSet()) {
        t_threadId = id;
    }
    return id;
}

[[gnu::noinline]] BOOL releaseIt(HANDLE handle) {
    Mutex* const mutex = find(handle);
    if (mutex == nullptr) {
        return failWith(FALSE, ERROR_INVALID_HANDLE);
    }
    return release(*mutex) ? TRUE : failWith(FALSE, ERROR_NOT_OWNER);
}

}  // namespace

HANDLE CreateMutexW(SECURITY_ATTRIBUTES* /*security*/, BOOL initiallyOwned, const wchar_t* name) {
    if (name != nullptr && *name != L'\0') {
        // Our choice: the library makes unnamed ones only; a name would promise that other
        // processes see it.
        return failWith<HANDLE>(nullptr, ERROR_NOT_SUPPORTED);
    }
    if (!watch().isSet()) {
        return failWith<HANDLE>(nullptr, ERROR_NO_SYSTEM_RESOURCES);
    }
    Mutex* mutex = nullptr;
    HANDLE handle = INVALID_HANDLE_VALUE;
    try {
        mutex = store().take();
        handle = issueHandle(HandleKind::Mutex, mutex);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    if (handle == INVALID_HANDLE_VALUE) {
        if (mutex != nullptr) {
            store().giveBack(mutex);
        }
        return nullptr;
    }
    mutex->handle.store(number(handle), std::memory_order_release);
    if (initiallyOwned) {
        (void)acquire(*mutex, INFINITE);
    }
    // As on Windows, which says in this way that no such mutex existed.
    SetLastError(ERROR_SUCCESS);
    return handle;
}

// The usual ways stand in the calls themselves, with nothing around them: a trace line takes both.

[[gnu::hot]] DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    Thread& self = t_thread;
    if (self.isWatched && isFound(handle, self) && takesAtOnce(*self.found)) {
        Mutex& mutex = *self.found;
        own(mutex, self);
        return isOpen(mutex, handle) && !mutex.isAbandoned ? WAIT_OBJECT_0
                                                           : takeUnusual(mutex, handle);
    }
    return waitForIt(handle, milliseconds);
}

[[gnu::hot]] BOOL ReleaseMutex(HANDLE handle) {
    Thread& self = t_thread;
    if (self.owned == self.found && isFound(handle, self) && self.owned->again == 0) {
        give(*self.found, self);
        return TRUE;
    }
    return releaseIt(handle);
}

bool closeMutex(HANDLE handle) {
    auto* const mutex = static_cast<Mutex*>(retireHandle(handle, HandleKind::Mutex));
    if (mutex == nullptr) {
        return failWith(false, ERROR_INVALID_HANDLE);
    }
    mutex->handle.store(0, std::memory_order_release);
    const DWORD answer = acquire(*mutex, 0);
    if (answer != WAIT_OBJECT_0 && answer != WAIT_ABANDONED) {
        // Another thread owns it. Nobody can release it any more, and until that thread ends the
        // list of what it owns leads through this memory: it is not used again.
        return true;
    }
    mutex->again = 0;
    (void)release(*mutex);
    store().giveBack(mutex);
    return true;
}

[[gnu::hot]] DWORD GetCurrentThreadId() {
    const DWORD id = t_threadId;
    return id != 0 ? id : askThreadId();
}

}  // namespace Tallowmere::platform::standin
