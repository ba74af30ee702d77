#include "kest/platform/testing/FaultSweep.h"

#include <stdexcept>

namespace Tallowmere::platform::testing {
namespace {

struct Sweep {
    int made = 0;
    int failAt = 0;
    FaultSpan span = FaultSpan::Once;
    Fault fault;

    bool failsNow(const wchar_t* name, DWORD error) {
        ++made;
        const bool fails =
            failAt != 0 && (made == failAt || (span == FaultSpan::FromThereOn && made > failAt));
        if (fails && fault.call.empty()) {
            fault = {failAt, name, error};
        }
        return fails;
    }
};

Sweep g_sweep;
bool g_running = false;

template <auto member>
struct Faulty;

template <class R, class... A, R (*Calls::*member)(A...)>
struct Faulty<member> {
    static inline R (*previous)(A...) = nullptr;
    static inline const wchar_t* name = nullptr;
    static inline R failure{};
    static inline DWORD error = 0;
    static inline bool performs = false;

    static R invoke(A... arguments) {
        if (!g_sweep.failsNow(name, error)) {
            return previous(arguments...);
        }
        if (performs) {
            (void)previous(arguments...);
        }
        os().SetLastError(error);
        return failure;
    }
};

void install(std::uint32_t families) {
#define KEST_FAULTY(family, function, value, code, gives)            \
    if ((families & family) != 0) {                                  \
        using Call = Faulty<&Calls::function>;                       \
        Call::previous = g_calls.function;                           \
        Call::name = L"" #function;                                  \
        Call::failure = static_cast<decltype(Call::failure)>(value); \
        Call::error = code;                                          \
        Call::performs = gives;                                      \
        g_calls.function = &Call::invoke;                            \
    }
#define KEST_CALL(family, result, function, parameters, value, code) \
    KEST_FAULTY(family, function, value, code, false)
#define KEST_RELEASE(family, result, function, parameters, value, code) \
    KEST_FAULTY(family, function, value, code, true)
#define KEST_SAFE(family, result, function, parameters)
#include "kest/platform/Calls.def"
#undef KEST_SAFE
#undef KEST_RELEASE
#undef KEST_FAULTY
}

}  // namespace

int sweepFaults(std::uint32_t families, FaultSpan span, const std::function<void()>& body,
                const std::function<void(const Fault&)>& check) {
    int tried = 0;
    for (int number = 0;; ++number) {
        if (g_running) {
            throw std::logic_error("A fault sweep inside another");
        }
        const Calls before = g_calls;
        g_sweep = {0, number, span, {}};
        struct Restore {
            const Calls& calls;
            ~Restore() {
                g_calls = calls;
                g_running = false;
            }
        };
        {
            Restore restore{before};
            g_running = true;
            install(families);
            body();
        }
        const Fault fault = g_sweep.fault;
        if (number > 0 && fault.call.empty()) {
            return tried;
        }
        tried = number;
        check(fault);
    }
}

}  // namespace Tallowmere::platform::testing
