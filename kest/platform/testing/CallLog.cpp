#include "kest/platform/testing/CallLog.h"

#include <algorithm>
#include <array>
#include <cwchar>
#include <iterator>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace Tallowmere::platform::testing {
namespace {

constexpr std::size_t kLevels = 4;

/// The logs that are open, the outermost first.
std::array<CallLog*, kLevels> g_logs{};
std::size_t g_open = 0;

/// Such as {DC12A687-737F-11CF-884D-00AA004B2E24}.
std::wstring identifierText(const GUID& identifier) {
    wchar_t text[40];
    const BYTE* const last = identifier.Data4;
    std::swprintf(text, std::size(text), L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(identifier.Data1), identifier.Data2, identifier.Data3,
                  last[0], last[1], last[2], last[3], last[4], last[5], last[6], last[7]);
    return text;
}

template <class T>
CallLog::Argument argument(const T& value) {
    if constexpr (std::is_same_v<std::decay_t<T>, const wchar_t*>) {
        return {value == nullptr ? L"null" : L"\"" + std::wstring(value) + L"\"", nullptr};
    } else if constexpr (std::is_same_v<T, GUID>) {
        return {identifierText(value), nullptr};
    } else if constexpr (std::is_pointer_v<T>) {
        return {L"", reinterpret_cast<const void*>(value)};
    } else if constexpr (std::is_enum_v<T>) {
        return {std::to_wstring(static_cast<int>(value)), nullptr};
    } else {
        return {std::to_wstring(value), nullptr};
    }
}

template <auto member>
struct Logged;

template <class R, class... A, R (*Calls::*member)(A...)>
struct Logged<member> {
    static inline const wchar_t* name = nullptr;

    /// One for each level of nesting, so that each log stands in front of what was there before it.
    template <std::size_t level>
    static R invoke(A... arguments) {
        CallLog& log = *g_logs[level];
        log.record(name, {argument(arguments)...});
        return (log.previous().*member)(arguments...);
    }

    template <std::size_t... levels>
    static constexpr auto invokers(std::index_sequence<levels...>) {
        return std::array<R (*)(A...), kLevels>{&invoke<levels>...};
    }
};

}  // namespace

CallLog::CallLog(std::uint32_t families) : m_previous(g_calls) {
    if (g_open == kLevels) {
        throw std::length_error("Too many logs of calls");
    }
    g_logs[g_open] = this;
#define KEST_CALL(family, result, function, parameters, ...)                            \
    if ((families & family) != 0) {                                                     \
        using Call = Logged<&Calls::function>;                                          \
        Call::name = L"" #function;                                                     \
        g_calls.function = Call::invokers(std::make_index_sequence<kLevels>())[g_open]; \
    }
#define KEST_SAFE(family, result, function, parameters) \
    KEST_CALL(family, result, function, parameters)
#define KEST_RELEASE(family, result, function, parameters, ...) \
    KEST_CALL(family, result, function, parameters)
#include "kest/platform/Calls.def"
#undef KEST_SAFE
#undef KEST_RELEASE
    ++g_open;
}

CallLog::~CallLog() {
    --g_open;
    g_calls = m_previous;
}

void CallLog::record(const wchar_t* name, const std::vector<Argument>& arguments) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    std::wstring call = std::wstring(name) + L"(";
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const Argument& argument = arguments[i];
        call += i == 0 ? L"" : L", ";
        call += argument.text.empty() ? pointerText(argument.pointer) : argument.text;
    }
    m_calls.push_back(call + L")");
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
