#pragma once

/// The part of Win32.h that is about COM and the management service, for Linux. Included by Win32.h
/// alone.

#include <cstdint>

using HRESULT = std::int32_t;
using ULONG = std::uint32_t;
using UINT = std::uint32_t;
using HMODULE = void*;
using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;
/// Text whose length stands in front of it; allocated and freed by the system alone.
using BSTR = wchar_t*;
/// The kind of a property; the library passes 0.
using CIMTYPE = LONG;

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    BYTE Data4[8];
};
using REFCLSID = const GUID&;
using REFIID = const GUID&;

constexpr bool SUCCEEDED(HRESULT code) {
    return code >= 0;
}
constexpr bool FAILED(HRESULT code) {
    return code < 0;
}

// Interfaces are opaque: what one is can only be found out by the calls that it was made for.
struct IUnknown {
protected:
    IUnknown() = default;
    IUnknown(const IUnknown&) = default;
    IUnknown& operator=(const IUnknown&) = default;
    virtual ~IUnknown() = default;
};
struct IWbemLocator : IUnknown {};
struct IWbemServices : IUnknown {};
struct IEnumWbemClassObject : IUnknown {};
struct IWbemClassObject : IUnknown {};

/// Only ever passed as null.
struct IWbemContext;
struct IWbemCallResult;
struct SOLE_AUTHENTICATION_SERVICE;

/// A value of one of several kinds, as `vt` says.
struct VARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONG lVal;
        std::int16_t iVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        BSTR bstrVal;
        void* parray;
    };
};

enum VARENUM : VARTYPE {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R8 = 5,
    VT_BSTR = 8,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_ARRAY = 0x2000,
};
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

// How a session is set up.
inline constexpr DWORD COINIT_MULTITHREADED = 0x0;
inline constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;
inline constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;
inline constexpr DWORD RPC_C_AUTHN_LEVEL_DEFAULT = 0;
inline constexpr DWORD RPC_C_AUTHN_LEVEL_CALL = 3;
inline constexpr DWORD RPC_C_IMP_LEVEL_IMPERSONATE = 3;
inline constexpr DWORD RPC_C_AUTHN_WINNT = 10;
inline constexpr DWORD RPC_C_AUTHZ_NONE = 0;
inline constexpr DWORD EOAC_NONE = 0;
inline constexpr LONG WBEM_FLAG_FORWARD_ONLY = 0x20;
inline constexpr LONG WBEM_FLAG_RETURN_IMMEDIATELY = 0x10;
inline constexpr LONG WBEM_INFINITE = -1;

// Result codes.
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001U);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002U);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003U);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005U);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFU);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005U);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000EU);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057U);
inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106U);
inline constexpr HRESULT RPC_E_TOO_LATE = static_cast<HRESULT>(0x80010119U);
inline constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008U);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110U);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154U);
inline constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0U);
inline constexpr HRESULT WBEM_S_NO_ERROR = 0;
inline constexpr HRESULT WBEM_S_FALSE = 1;
inline constexpr HRESULT WBEM_E_FAILED = static_cast<HRESULT>(0x80041001U);
inline constexpr HRESULT WBEM_E_NOT_FOUND = static_cast<HRESULT>(0x80041002U);
inline constexpr HRESULT WBEM_E_ACCESS_DENIED = static_cast<HRESULT>(0x80041003U);
inline constexpr HRESULT WBEM_E_PROVIDER_FAILURE = static_cast<HRESULT>(0x80041004U);
inline constexpr HRESULT WBEM_E_TYPE_MISMATCH = static_cast<HRESULT>(0x80041005U);
inline constexpr HRESULT WBEM_E_OUT_OF_MEMORY = static_cast<HRESULT>(0x80041006U);
inline constexpr HRESULT WBEM_E_INVALID_PARAMETER = static_cast<HRESULT>(0x80041008U);
inline constexpr HRESULT WBEM_E_NOT_AVAILABLE = static_cast<HRESULT>(0x80041009U);
inline constexpr HRESULT WBEM_E_CRITICAL_ERROR = static_cast<HRESULT>(0x8004100AU);
inline constexpr HRESULT WBEM_E_INVALID_NAMESPACE = static_cast<HRESULT>(0x8004100EU);
inline constexpr HRESULT WBEM_E_INVALID_CLASS = static_cast<HRESULT>(0x80041010U);
inline constexpr HRESULT WBEM_E_PROVIDER_LOAD_FAILURE = static_cast<HRESULT>(0x80041013U);
inline constexpr HRESULT WBEM_E_TRANSPORT_FAILURE = static_cast<HRESULT>(0x80041015U);
inline constexpr HRESULT WBEM_E_INVALID_OPERATION = static_cast<HRESULT>(0x80041016U);
inline constexpr HRESULT WBEM_E_INVALID_QUERY = static_cast<HRESULT>(0x80041017U);
inline constexpr HRESULT WBEM_E_INVALID_QUERY_TYPE = static_cast<HRESULT>(0x80041018U);
inline constexpr HRESULT WBEM_E_ILLEGAL_OPERATION = static_cast<HRESULT>(0x8004101EU);
inline constexpr HRESULT WBEM_E_INCOMPLETE_CLASS = static_cast<HRESULT>(0x80041020U);
inline constexpr HRESULT WBEM_E_INVALID_METHOD = static_cast<HRESULT>(0x8004102EU);
inline constexpr HRESULT WBEM_E_INVALID_METHOD_PARAMETERS = static_cast<HRESULT>(0x8004102FU);
