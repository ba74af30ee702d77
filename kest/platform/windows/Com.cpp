#include "kest/platform/windows/Com.h"

namespace Tallowmere::platform::com {

UINT GetSystemDirectoryW(wchar_t* buffer, UINT size) {
    return ::GetSystemDirectoryW(buffer, size);
}

HMODULE LoadLibraryW(const wchar_t* path) {
    return ::LoadLibraryW(path);
}

HRESULT CoInitializeEx(void* reserved, DWORD model) {
    return ::CoInitializeEx(reserved, model);
}

void CoUninitialize() {
    ::CoUninitialize();
}

HRESULT CoInitializeSecurity(void* descriptor, LONG serviceCount,
                             SOLE_AUTHENTICATION_SERVICE* services, void* reserved,
                             DWORD authenticationLevel, DWORD impersonationLevel,
                             void* authentications, DWORD capabilities, void* reserved2) {
    return ::CoInitializeSecurity(descriptor, serviceCount, services, reserved, authenticationLevel,
                                  impersonationLevel, authentications, capabilities, reserved2);
}

HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId,
                         void** object) {
    return ::CoCreateInstance(classId, outer, context, interfaceId, object);
}

HRESULT CoSetProxyBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization,
                          wchar_t* principal, DWORD authenticationLevel, DWORD impersonationLevel,
                          void* identity, DWORD capabilities) {
    return ::CoSetProxyBlanket(proxy, authentication, authorization, principal, authenticationLevel,
                               impersonationLevel, identity, capabilities);
}

BSTR SysAllocString(const wchar_t* text) {
    return ::SysAllocString(text);
}

void SysFreeString(BSTR text) {
    ::SysFreeString(text);
}

HRESULT VariantClear(VARIANT* value) {
    return ::VariantClear(value);
}

HRESULT IWbemLocator_ConnectServer(IWbemLocator* locator, BSTR resource, BSTR user, BSTR password,
                                   BSTR locale, LONG securityFlags, BSTR authority,
                                   IWbemContext* context, IWbemServices** services) {
    return locator->ConnectServer(resource, user, password, locale, securityFlags, authority,
                                  context, services);
}

ULONG IWbemLocator_Release(IWbemLocator* locator) {
    return locator->Release();
}

HRESULT IWbemServices_GetObject(IWbemServices* services, BSTR path, LONG flags,
                                IWbemContext* context, IWbemClassObject** object,
                                IWbemCallResult** result) {
    return services->GetObject(path, flags, context, object, result);
}

HRESULT IWbemServices_ExecQuery(IWbemServices* services, BSTR language, BSTR query, LONG flags,
                                IWbemContext* context, IEnumWbemClassObject** enumerator) {
    return services->ExecQuery(language, query, flags, context, enumerator);
}

HRESULT IWbemServices_ExecMethod(IWbemServices* services, BSTR path, BSTR method, LONG flags,
                                 IWbemContext* context, IWbemClassObject* input,
                                 IWbemClassObject** output, IWbemCallResult** result) {
    return services->ExecMethod(path, method, flags, context, input, output, result);
}

ULONG IWbemServices_Release(IWbemServices* services) {
    return services->Release();
}

HRESULT IEnumWbemClassObject_Next(IEnumWbemClassObject* enumerator, LONG timeout, ULONG count,
                                  IWbemClassObject** objects, ULONG* returned) {
    return enumerator->Next(timeout, count, objects, returned);
}

ULONG IEnumWbemClassObject_Release(IEnumWbemClassObject* enumerator) {
    return enumerator->Release();
}

HRESULT IWbemClassObject_Get(IWbemClassObject* object, const wchar_t* name, LONG flags,
                             VARIANT* value, CIMTYPE* type, LONG* flavor) {
    return object->Get(name, flags, value, type, flavor);
}

HRESULT IWbemClassObject_Put(IWbemClassObject* object, const wchar_t* name, LONG flags,
                             VARIANT* value, CIMTYPE type) {
    return object->Put(name, flags, value, type);
}

HRESULT IWbemClassObject_SpawnInstance(IWbemClassObject* object, LONG flags,
                                       IWbemClassObject** instance) {
    return object->SpawnInstance(flags, instance);
}

HRESULT IWbemClassObject_GetMethod(IWbemClassObject* object, const wchar_t* name, LONG flags,
                                   IWbemClassObject** input, IWbemClassObject** output) {
    return object->GetMethod(name, flags, input, output);
}

ULONG IWbemClassObject_Release(IWbemClassObject* object) {
    return object->Release();
}

}  // namespace Tallowmere::platform::com
