#include "Interruption.h"

#include <signal.h>

#include <atomic>
#include <iterator>

namespace Tallowmere::command {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
std::atomic<bool> s_isRequested = false;
struct sigaction s_before[std::size(kSignals)];
struct sigaction s_pipeBefore;

void take(int signal) {
    if (s_isRequested.exchange(true)) {
        // As if nobody had listened; it is delivered when this returns.
        ::signal(signal, SIG_DFL);
        (void)raise(signal);
    }
}

}  // namespace

Interruption::Interruption() {
    s_isRequested = false;
    struct sigaction action {};
    action.sa_handler = &take;
    // The library's calls to the system are not cut short.
    action.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        (void)sigaction(kSignals[i], nullptr, &s_before[i]);
        if (s_before[i].sa_handler != SIG_IGN) {
            (void)sigaction(kSignals[i], &action, nullptr);
        }
    }
    // A reader of the trace that goes away must not end a copy in the middle.
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    (void)sigaction(SIGPIPE, &ignored, &s_pipeBefore);
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        (void)sigaction(kSignals[i], &s_before[i], nullptr);
    }
    (void)sigaction(SIGPIPE, &s_pipeBefore, nullptr);
}

bool Interruption::isRequested() {
    return s_isRequested.load(std::memory_order_relaxed);
}

void Interruption::request() {
    s_isRequested = true;
}

}  // namespace Tallowmere::command
