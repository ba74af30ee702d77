// COM's own calls: the thread's apartment, the process's security, texts and values, and the one
// class that there is. The objects themselves are in ManagementObjects.cpp.

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "kest/platform/linux/ManagementObjects.h"
#include "kest/platform/linux/Mof.h"
#include "kest/platform/linux/Standins.h"
#include "kest/platform/linux/WbemMessages.h"

namespace Tallowmere::platform::standin {
namespace {

/// How often multithreaded COM is in use in the process. A thread that did nothing itself belongs
/// to that apartment as long as there is one.
constinit std::atomic<int> g_multithreaded = 0;

/// Set once and for good.
constinit std::atomic<bool> g_isSecuritySet = false;

/// What a thread has initialised and not yet given back. A thread that ends gives back the rest.
struct Apartment {
    int uses = 0;
    bool isSingleThreaded = false;

    ~Apartment() {
        while (uses > 0) {
            leave();
        }
    }

    void enter() {
        ++uses;
        g_multithreaded += isSingleThreaded ? 0 : 1;
    }

    void leave() {
        --uses;
        g_multithreaded -= isSingleThreaded ? 0 : 1;
    }
};
thread_local Apartment t_apartment;

bool isInitialized() {
    return t_apartment.uses > 0 || g_multithreaded > 0;
}

constexpr GUID kUnknownInterface = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr GUID kLocatorClass = {
    0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr GUID kLocatorInterface = {
    0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};

bool isSame(const GUID& first, const GUID& second) {
    return std::memcmp(&first, &second, sizeof(GUID)) == 0;
}

/// In front of a text stands its length in bytes, right before the first character.
constexpr std::size_t kPrefix = 8;

}  // namespace

UINT GetSystemDirectoryW(wchar_t* buffer, UINT size) {
    const auto length = static_cast<UINT>(std::wcslen(kSystemDirectory));
    if (size <= length) {
        return length + 1;
    }
    std::wcscpy(buffer, kSystemDirectory);
    return length;
}

HMODULE LoadLibraryW(const wchar_t* path) {
    if (path == nullptr || *path == L'\0') {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    // Our choice: the only module is the one whose texts the library asks for, in its own place.
    if (!mof::isSameName(path, kWbemMessagePath)) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return wbemMessageModule();
}

HRESULT CoInitializeEx(void* reserved, DWORD model) {
    if (reserved != nullptr) {
        return E_INVALIDARG;
    }
    Apartment& apartment = t_apartment;
    const bool isSingleThreaded = (model & COINIT_APARTMENTTHREADED) != 0;
    const bool isFirst = apartment.uses == 0;
    if (!isFirst && apartment.isSingleThreaded != isSingleThreaded) {
        return RPC_E_CHANGED_MODE;
    }
    apartment.isSingleThreaded = isSingleThreaded;
    apartment.enter();
    return isFirst ? S_OK : S_FALSE;
}

void CoUninitialize() {
    if (t_apartment.uses > 0) {
        t_apartment.leave();
    }
}

HRESULT CoInitializeSecurity(void* /*descriptor*/, LONG /*serviceCount*/,
                             SOLE_AUTHENTICATION_SERVICE* /*services*/, void* /*reserved*/,
                             DWORD /*authenticationLevel*/, DWORD /*impersonationLevel*/,
                             void* /*authentications*/, DWORD /*capabilities*/,
                             void* /*reserved2*/) {
    if (!isInitialized()) {
        return CO_E_NOTINITIALIZED;
    }
    return g_isSecuritySet.exchange(true) ? RPC_E_TOO_LATE : S_OK;
}

HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId,
                         void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (!isInitialized()) {
        return CO_E_NOTINITIALIZED;
    }
    if (!isSame(classId, kLocatorClass) || (context & CLSCTX_INPROC_SERVER) == 0) {
        return REGDB_E_CLASSNOTREG;
    }
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    if (!isSame(interfaceId, kLocatorInterface) && !isSame(interfaceId, kUnknownInterface)) {
        return E_NOINTERFACE;
    }
    IWbemLocator* const locator = management::createLocator();
    *object = locator;
    return locator != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CoSetProxyBlanket(IUnknown* proxy, DWORD /*authentication*/, DWORD /*authorization*/,
                          wchar_t* /*principal*/, DWORD /*authenticationLevel*/,
                          DWORD /*impersonationLevel*/, void* /*identity*/,
                          DWORD /*capabilities*/) {
    // There is nobody on the other side to whom the caller would have to prove itself.
    return proxy != nullptr ? S_OK : E_INVALIDARG;
}

BSTR SysAllocString(const wchar_t* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t bytes = std::wcslen(text) * sizeof(wchar_t);
    auto* const memory = static_cast<char*>(std::malloc(kPrefix + bytes + sizeof(wchar_t)));
    if (memory == nullptr) {
        return nullptr;
    }
    const auto length = static_cast<std::uint32_t>(bytes);
    std::memcpy(memory + kPrefix - sizeof(length), &length, sizeof(length));
    std::memcpy(memory + kPrefix, text, bytes + sizeof(wchar_t));
    return static_cast<BSTR>(static_cast<void*>(memory + kPrefix));
}

void SysFreeString(BSTR text) {
    if (text != nullptr) {
        std::free(reinterpret_cast<char*>(text) - kPrefix);
    }
}

HRESULT VariantClear(VARIANT* value) {
    switch (value->vt) {
        case VT_BSTR:
            SysFreeString(value->bstrVal);
            break;
        case VT_EMPTY:
        case VT_NULL:
        case VT_I2:
        case VT_I4:
        case VT_R8:
        case VT_BOOL:
        // The arrays that are given out have no elements.
        case VT_ARRAY | VT_VARIANT:
            break;
        default:
            return DISP_E_BADVARTYPE;
    }
    value->vt = VT_EMPTY;
    return S_OK;
}

}  // namespace Tallowmere::platform::standin
