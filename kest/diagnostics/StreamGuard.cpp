#include "kest/diagnostics/StreamGuard.h"

#include <mutex>

#include "kest/diagnostics/ThreadMarkers.h"

namespace Tallowmere {
namespace {

/// Made at first use, since parts of the library log while it is being loaded, and never destroyed.
std::mutex& mutex() {
    static std::mutex* const s_mutex = new std::mutex;
    return *s_mutex;
}

unsigned int g_suspensions = 0;

}  // namespace

StreamGuard::StreamGuard() {
    acquire();
}

StreamGuard::~StreamGuard() {
    release();
}

void StreamGuard::acquire() {
    unsigned int& held = t_threadState.held;
    if (held == 0) {
        mutex().lock();
    }
    ++held;
}

void StreamGuard::release() {
    if (--t_threadState.held == 0) {
        mutex().unlock();
    }
}

bool StreamGuard::isSuspended() {
    return g_suspensions != 0;
}

StreamGuard::Suspension::Suspension() : m_held(t_threadState.held) {
    if (m_held != 0) {
        ++g_suspensions;
        t_threadState.held = 0;
        mutex().unlock();
    }
}

StreamGuard::Suspension::~Suspension() {
    if (m_held != 0) {
        mutex().lock();
        t_threadState.held = m_held;
        --g_suspensions;
    }
}

}  // namespace Tallowmere
