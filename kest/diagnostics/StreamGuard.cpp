#include "kest/diagnostics/StreamGuard.h"

#include <mutex>
#include <type_traits>

namespace Tallowmere {
namespace {

/// Ready before any constructor runs and until the process ends, since parts of the library log
/// while it is being loaded and while it is unloaded.
constinit std::mutex g_mutex;
static_assert(std::is_trivially_destructible_v<std::mutex>);

unsigned int g_suspensions = 0;

}  // namespace

void StreamGuard::lock() {
    g_mutex.lock();
}

void StreamGuard::unlock() {
    g_mutex.unlock();
}

bool StreamGuard::isSuspended() {
    return g_suspensions != 0;
}

void StreamGuard::Suspension::letGo() {
    ++g_suspensions;
    t_threadState.held = 0;
    g_mutex.unlock();
}

void StreamGuard::Suspension::takeBack() const {
    g_mutex.lock();
    t_threadState.held = m_held;
    --g_suspensions;
}

}  // namespace Tallowmere
