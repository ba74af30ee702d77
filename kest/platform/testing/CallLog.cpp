#include "kest/platform/testing/CallLog.h"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace Tallowmere::platform::testing {
namespace {

CallLog* g_log = nullptr;

template <class T>
std::wstring text(CallLog& log, const T& value) {
    if constexpr (std::is_same_v<std::decay_t<T>, const wchar_t*>) {
        return value == nullptr ? L"null" : L"\"" + std::wstring(value) + L"\"";
    } else if constexpr (std::is_pointer_v<T>) {
        return log.pointerText(reinterpret_cast<const void*>(value));
    } else if constexpr (std::is_enum_v<T>) {
        return std::to_wstring(static_cast<int>(value));
    } else {
        return std::to_wstring(value);
    }
}

template <auto member>
struct Logged;

template <class R, class... A, R (*Calls::*member)(A...)>
struct Logged<member> {
    static inline R (*previous)(A...) = nullptr;
    static inline const wchar_t* name = nullptr;

    static R invoke(A... arguments) {
        std::wstring call = name;
        call += L'(';
        bool first = true;
        const auto append = [&](const std::wstring& argument) {
            call += (std::exchange(first, false) ? L"" : L", ") + argument;
        };
        (append(text(*g_log, arguments)), ...);
        (void)append;
        g_log->record(call + L')');
        return previous(arguments...);
    }
};

}  // namespace

CallLog::CallLog(std::uint32_t families)
    : m_previous(g_calls), m_outer(std::exchange(g_log, this)) {
#define KEST_CALL(family, result, function, parameters, ...) \
    if ((families & family) != 0) {                          \
        using Call = Logged<&Calls::function>;               \
        Call::previous = g_calls.function;                   \
        Call::name = L"" #function;                          \
        g_calls.function = &Call::invoke;                    \
    }
#define KEST_SAFE(family, result, function, parameters) \
    KEST_CALL(family, result, function, parameters)
#define KEST_RELEASE(family, result, function, parameters, ...) \
    KEST_CALL(family, result, function, parameters)
#include "kest/platform/Calls.def"
#undef KEST_SAFE
#undef KEST_RELEASE
}

CallLog::~CallLog() {
    g_calls = m_previous;
    g_log = m_outer;
}

std::vector<std::wstring> CallLog::names() const {
    std::vector<std::wstring> result;
    for (const std::wstring& call : m_calls) {
        result.push_back(call.substr(0, call.find(L'(')));
    }
    return result;
}

std::wstring CallLog::pointerText(const void* pointer) {
    if (pointer == nullptr) {
        return L"null";
    }
    if (pointer == INVALID_HANDLE_VALUE) {
        return L"invalid";
    }
    auto found = std::find(m_pointers.begin(), m_pointers.end(), pointer);
    if (found == m_pointers.end()) {
        found = m_pointers.insert(found, pointer);
    }
    return L"#" + std::to_wstring(found - m_pointers.begin() + 1);
}

}  // namespace Tallowmere::platform::testing
