#include "kest/platform/windows/Patience.h"

#include <atomic>

namespace Tallowmere::platform {
namespace {

std::atomic<Pause> g_replaced{nullptr};

}  // namespace

void pause(DWORD milliseconds) {
    const Pause replaced = g_replaced.load(std::memory_order_relaxed);
    replaced != nullptr ? replaced(milliseconds) : ::Sleep(milliseconds);
}

void setPause(Pause pause) {
    g_replaced.store(pause, std::memory_order_relaxed);
}

}  // namespace Tallowmere::platform
