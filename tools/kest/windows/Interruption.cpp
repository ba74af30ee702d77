#include "Interruption.h"

#include <atomic>

#include "kest/platform/Win32.h"

namespace Tallowmere::command {
namespace {

std::atomic<bool> s_isRequested = false;
std::atomic<bool> s_isOver = false;

/// Runs on a thread of its own.
BOOL WINAPI take(DWORD event) {
    const bool isSecond = s_isRequested.exchange(true);
    if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
        return isSecond ? FALSE : TRUE;
    }
    // The console is closed: the process ends when this returns, or after five seconds.
    constexpr int kTries = 48;
    constexpr DWORD kPause = 100;  // milliseconds
    for (int i = 0; i < kTries && !s_isOver; ++i) {
        Sleep(kPause);
    }
    return TRUE;
}

}  // namespace

Interruption::Interruption() {
    s_isRequested = false;
    s_isOver = false;
    (void)SetConsoleCtrlHandler(&take, TRUE);
}

Interruption::~Interruption() {
    (void)SetConsoleCtrlHandler(&take, FALSE);
    s_isOver = true;
}

bool Interruption::isRequested() {
    return s_isRequested.load(std::memory_order_relaxed);
}

void Interruption::request() {
    s_isRequested = true;
}

}  // namespace Tallowmere::command
