#include "kest/diagnostics/StreamGuard.h"

#include <mutex>
#include <utility>

namespace Tallowmere {
namespace {

/// Made at first use, since parts of the library log while it is being loaded, and never destroyed.
std::mutex& mutex() {
    static std::mutex* const s_mutex = new std::mutex;
    return *s_mutex;
}

unsigned int g_suspensions = 0;

thread_local unsigned int t_held = 0;

}  // namespace

StreamGuard::StreamGuard() {
    acquire();
}

StreamGuard::~StreamGuard() {
    release();
}

void StreamGuard::acquire() {
    if (t_held == 0) {
        mutex().lock();
    }
    ++t_held;
}

void StreamGuard::release() {
    --t_held;
    if (t_held == 0) {
        mutex().unlock();
    }
}

bool StreamGuard::isSuspended() {
    return g_suspensions != 0;
}

StreamGuard::Suspension::Suspension() : m_held(t_held) {
    if (m_held != 0) {
        ++g_suspensions;
        t_held = 0;
        mutex().unlock();
    }
}

StreamGuard::Suspension::~Suspension() {
    if (m_held != 0) {
        mutex().lock();
        t_held = m_held;
        --g_suspensions;
    }
}

}  // namespace Tallowmere
