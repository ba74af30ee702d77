#define KEST_MODULE "SystemRestoreWin"

#include "kest/restore/WmiSession.h"

#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <exception>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/restore/Bstr.h"
#include "kest/restore/MessageModule.h"
#include "kest/text/Strings.h"

namespace Tallowmere::wmi {
namespace {

using platform::os;

/// The class of the locator and the interface that is asked of it.
constexpr GUID kLocatorClass = {
    0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr GUID kLocatorInterface = {
    0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};

/// Lets COM choose the authentication services.
constexpr LONG kAnyServices = -1;

[[noreturn]] void fail(const std::string& message) {
    LOG_ERROR(message.c_str());
    throw std::runtime_error(message);
}

void initializeCom() {
    const HRESULT result = os().CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (result == S_FALSE) {
        LOG_WARNING("The COM library is already initialized");
    } else if (result == RPC_E_CHANGED_MODE) {
        // The thread keeps its mode; a session works in either.
        LOG_WARNING("CoInitializeEx failed with mode change");
    } else if (result != S_OK) {
        fail("Failed to initialize COM library. Error code = 0x" + codeText(result));
    }
}

/// Once in a process, by whoever comes first.
void initializeSecurity() {
    const HRESULT result = os().CoInitializeSecurity(
        nullptr, kAnyServices, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
        RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
    if (result == RPC_E_TOO_LATE) {
        LOG_WARNING("CoInitializeSecurity() has already been called");
    } else if (FAILED(result)) {
        fail("Failed to initialize security. Error code = 0x" + codeText(result));
    }
}

void createLocator(IWbemLocator** locator) {
    *locator = nullptr;
    void* object = nullptr;
    const HRESULT result = os().CoCreateInstance(kLocatorClass, nullptr, CLSCTX_INPROC_SERVER,
                                                 kLocatorInterface, &object);
    if (FAILED(result)) {
        // Deliberate: "Err" and a line end, in this message alone.
        fail("Failed to create IWbemLocator object. Err code = 0x" + codeText(result) + "\n");
    }
    *locator = static_cast<IWbemLocator*>(object);
}

void connect(const wchar_t* namespacePath, IWbemLocator* locator, IWbemServices** services) {
    *services = nullptr;
    const Bstr path(namespacePath);
    const HRESULT result = os().IWbemLocator_ConnectServer(locator, path.get(), nullptr, nullptr,
                                                           nullptr, 0, nullptr, nullptr, services);
    if (FAILED(result)) {
        fail("Could not connect to WMI. Error code = 0x" + codeText(result));
    }
}

void setProxySecurity(IWbemServices* services) {
    const HRESULT result = os().CoSetProxyBlanket(services, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE,
                                                  nullptr, RPC_C_AUTHN_LEVEL_CALL,
                                                  RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
    if (FAILED(result)) {
        fail("Could not set proxy blanket. Error code = 0x" + codeText(result));
    }
}

/// An object of an enumeration, released at the end of the scope.
struct ReleasedObject {
    IWbemClassObject* object;

    explicit ReleasedObject(IWbemClassObject* object) : object(object) {}
    ~ReleasedObject() { (void)os().IWbemClassObject_Release(object); }
    ReleasedObject(const ReleasedObject&) = delete;
    ReleasedObject& operator=(const ReleasedObject&) = delete;
};

/// A value that was taken, cleared at the end of the scope.
struct ClearedValue {
    VARIANT& value;

    explicit ClearedValue(VARIANT& value) : value(value) {}
    ~ClearedValue() { (void)os().VariantClear(&value); }
    ClearedValue(const ClearedValue&) = delete;
    ClearedValue& operator=(const ClearedValue&) = delete;
};

void addProperty(IWbemClassObject* object, const std::wstring& name, Row& row) {
    VARIANT value{};
    if (FAILED(os().IWbemClassObject_Get(object, name.c_str(), 0, &value, nullptr, nullptr))) {
        return;
    }
    if (value.vt == VT_BSTR) {
        const ClearedValue cleared(value);
        // A null text is COM's other way to say an empty one.
        row.emplace_back(value.bstrVal != nullptr ? value.bstrVal : L"");
    } else if (value.vt == VT_I4) {
        const ClearedValue cleared(value);
        wchar_t digits[16];
        std::swprintf(digits, std::size(digits), L"%d", static_cast<int>(value.lVal));
        row.emplace_back(digits);
    }
    // Deliberate: a value of any other kind is not cleared either. One that holds memory of its own
    // (an array, an object) is lost; the properties that the library asks for never do.
}

}  // namespace

std::string codeText(HRESULT code) {
    char digits[16];
    std::snprintf(digits, std::size(digits), "%x", static_cast<unsigned int>(code));
    return digits;
}

void setWmiInfo(const wchar_t* namespacePath, IWbemLocator** locator, IWbemServices** services) {
    const FunctionTrace trace("`anonymous-namespace'::setWmiInfo", KEST_MODULE, __LINE__);
    initializeCom();
    initializeSecurity();
    createLocator(locator);
    connect(namespacePath, *locator, services);
    setProxySecurity(*services);
}

void executeQuery(const wchar_t* query, IEnumWbemClassObject** enumerator,
                  IWbemServices** services) {
    *enumerator = nullptr;
    const Bstr language(L"WQL");
    const Bstr text(query);
    const HRESULT result = os().IWbemServices_ExecQuery(
        *services, language.get(), text.get(),
        WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, enumerator);
    if (FAILED(result)) {
        // Deliberate: whatever was asked for, and with two blanks.
        fail("Query for operating system name failed.  Error code = 0x" + codeText(result));
    }
}

void getInfo(IEnumWbemClassObject* enumerator, const std::vector<std::wstring>& propertyNames,
             std::vector<Row>& rows, const wchar_t* query) {
    const FunctionTrace trace("`anonymous-namespace'::getInfo", KEST_MODULE, __LINE__);
    if (enumerator == nullptr) {
        return;
    }
    for (;;) {
        IWbemClassObject* next = nullptr;
        ULONG count = 0;
        const HRESULT result = os().IEnumWbemClassObject_Next(
            enumerator, static_cast<LONG>(WBEM_INFINITE), 1, &next, &count);
        if (FAILED(result)) {
            const std::wstring message =
                std::wstring(L"Wmi query <") + query + L"> failed: " +
                getSystemErrorMessage(static_cast<std::uint32_t>(result), s_messageModule);
            LOG_ERROR(message);
            throw std::runtime_error(convertToString(message.c_str()));
        }
        // The code says that this was the last object even when there is one: the count tells.
        if (count == 0 || next == nullptr) {
            return;
        }
        const ReleasedObject object(next);
        Row row;
        for (const std::wstring& name : propertyNames) {
            addProperty(object.object, name, row);
        }
        rows.push_back(std::move(row));
    }
}

void cleanPointers(IEnumWbemClassObject* enumerator, IWbemLocator* locator,
                   IWbemServices* services) noexcept {
    std::optional<FunctionTrace> trace;
    try {
        trace.emplace("`anonymous-namespace'::cleanPointers", KEST_MODULE, __LINE__);
    } catch (...) {
        // Without memory for a trace line there is the more to give back.
    }
    if (services != nullptr) {
        (void)os().IWbemServices_Release(services);
    }
    if (locator != nullptr) {
        (void)os().IWbemLocator_Release(locator);
    }
    if (enumerator != nullptr) {
        (void)os().IEnumWbemClassObject_Release(enumerator);
    }
    // Deliberate: also when the session found COM initialised already, or in the other mode, or
    // could not initialise it at all. A host that initialised COM on this thread in the other mode,
    // or whose initialisation was the one found, has one less to undo than it thinks.
    os().CoUninitialize();
}

void getWmiInfo(const wchar_t* namespacePath, const wchar_t* query,
                const std::vector<std::wstring>& propertyNames, std::vector<Row>& rows) {
    const FunctionTrace trace("`anonymous-namespace'::getWmiInfo", KEST_MODULE, __LINE__);
    rows.clear();
    IWbemLocator* locator = nullptr;
    IWbemServices* services = nullptr;
    IEnumWbemClassObject* enumerator = nullptr;
    try {
        setWmiInfo(namespacePath, &locator, &services);
        executeQuery(query, &enumerator, &services);
        getInfo(enumerator, propertyNames, rows, query);
    } catch (const std::exception&) {
        cleanPointers(enumerator, locator, services);
        throw;
    }
    cleanPointers(enumerator, locator, services);
}

}  // namespace Tallowmere::wmi
