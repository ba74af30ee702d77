// What the library relies on in the calls of the family Com, in the words of Windows.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "kest/platform/Calls.h"
#include "kest/platform/contract/Differs.h"

namespace Tallowmere::platform {
namespace {

constexpr GUID kLocatorClass = {
    0x4590F811, 0x1D3A, 0x11D0, {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr GUID kLocatorInterface = {
    0xDC12A687, 0x737F, 0x11CF, {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr GUID kUnknownInterface = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr GUID kNothing = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

constexpr unsigned long kUntouchedError = 4711;

/// Runs on a thread that has not used COM yet.
template <class Body>
void onNewThread(const Body& body) {
    std::thread(body).join();
}

/// A text for a call, freed at the end.
class Text {
public:
    explicit Text(const wchar_t* text) : m_text(os().SysAllocString(text)) {}
    ~Text() { os().SysFreeString(m_text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    BSTR get() const { return m_text; }

private:
    BSTR m_text;
};

/// The codes of the service are an enumeration in its headers.
constexpr HRESULT code(unsigned value) {
    return static_cast<HRESULT>(value);
}

/// A thread's session.
class Session {
public:
    Session() {
        (void)os().CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        void* object = nullptr;
        EXPECT_EQ(S_OK, os().CoCreateInstance(kLocatorClass, nullptr, CLSCTX_INPROC_SERVER,
                                              kLocatorInterface, &object));
        locator = static_cast<IWbemLocator*>(object);
        EXPECT_EQ(S_OK, connect(L"ROOT\\DEFAULT", &services));
    }
    ~Session() {
        EXPECT_EQ(0U, os().IWbemServices_Release(services));
        EXPECT_EQ(0U, os().IWbemLocator_Release(locator));
        os().CoUninitialize();
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    HRESULT connect(const wchar_t* path, IWbemServices** result) const {
        const Text resource(path);
        return os().IWbemLocator_ConnectServer(locator, resource.get(), nullptr, nullptr, nullptr,
                                               0, nullptr, nullptr, result);
    }

    HRESULT query(const wchar_t* text, IEnumWbemClassObject** enumerator,
                  const wchar_t* language = L"WQL") const {
        const Text first(language);
        const Text second(text);
        *enumerator = nullptr;
        return os().IWbemServices_ExecQuery(services, first.get(), second.get(), 48, nullptr,
                                            enumerator);
    }

    IWbemLocator* locator = nullptr;
    IWbemServices* services = nullptr;
};

TEST(ComContract, AThreadInitialisesItselfInOneMode) {
    onNewThread([] {
        EXPECT_EQ(S_OK, os().CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        EXPECT_EQ(S_FALSE, os().CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        EXPECT_EQ(RPC_E_CHANGED_MODE, os().CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        os().CoUninitialize();
        os().CoUninitialize();
        // Given back as often as it was taken: the other mode is free.
        EXPECT_EQ(S_OK, os().CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        EXPECT_EQ(S_FALSE, os().CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
        EXPECT_EQ(RPC_E_CHANGED_MODE, os().CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        os().CoUninitialize();
        os().CoUninitialize();
        // Once more than taken does no harm.
        os().CoUninitialize();
        EXPECT_EQ(S_OK, os().CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        os().CoUninitialize();
    });
}

TEST(ComContract, SecurityIsSetOnceInAProcess) {
    onNewThread([] {
        EXPECT_EQ(S_OK, os().CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        const auto set = [] {
            return os().CoInitializeSecurity(nullptr, -1, nullptr, nullptr, 0, 3, nullptr, 0,
                                             nullptr);
        };
        const HRESULT first = set();
        EXPECT_TRUE(first == S_OK || first == RPC_E_TOO_LATE);
        KEST_DIFFERS_ON_WINE("sets it each time", set() == RPC_E_TOO_LATE);
        os().CoUninitialize();
    });
}

TEST(ComContract, NothingIsCreatedWithoutCom) {
    onNewThread([] {
        void* object = &object;
        EXPECT_EQ(CO_E_NOTINITIALIZED,
                  os().CoCreateInstance(kLocatorClass, nullptr, CLSCTX_INPROC_SERVER,
                                        kLocatorInterface, &object));
        EXPECT_EQ(nullptr, object);
    });
}

TEST(ComContract, AThreadMayUseTheComOfOthers) {
    onNewThread([] {
        const Session session;
        onNewThread([] {
            void* object = nullptr;
            EXPECT_EQ(S_OK, os().CoCreateInstance(kLocatorClass, nullptr, CLSCTX_INPROC_SERVER,
                                                  kLocatorInterface, &object));
            EXPECT_EQ(0U, os().IWbemLocator_Release(static_cast<IWbemLocator*>(object)));
        });
    });
}

TEST(ComContract, OnlyWhatIsThereIsCreated) {
    onNewThread([] {
        const Session session;
        void* object = &object;
        EXPECT_EQ(REGDB_E_CLASSNOTREG,
                  os().CoCreateInstance(kNothing, nullptr, CLSCTX_INPROC_SERVER, kLocatorInterface,
                                        &object));
        EXPECT_EQ(nullptr, object);
        object = &object;
        EXPECT_EQ(E_NOINTERFACE, os().CoCreateInstance(kLocatorClass, nullptr, CLSCTX_INPROC_SERVER,
                                                       kNothing, &object));
        EXPECT_EQ(nullptr, object);
        EXPECT_EQ(S_OK, os().CoCreateInstance(kLocatorClass, nullptr, CLSCTX_INPROC_SERVER,
                                              kUnknownInterface, &object));
        ASSERT_NE(nullptr, object);
        EXPECT_EQ(0U, os().IWbemLocator_Release(static_cast<IWbemLocator*>(object)));
    });
}

TEST(ComContract, NamespacesAreFoundInAnyCaseAndOnThisComputer) {
    onNewThread([] {
        const Session session;
        for (const wchar_t* path :
             {L"root\\default", L"Root\\Default", L"\\\\.\\ROOT\\DEFAULT", L"//./root/default"}) {
            IWbemServices* services = nullptr;
            EXPECT_EQ(S_OK, session.connect(path, &services)) << path;
            ASSERT_NE(nullptr, services) << path;
            EXPECT_EQ(0U, os().IWbemServices_Release(services));
        }
        IWbemServices* services = nullptr;
        EXPECT_EQ(code(0x8004100E), session.connect(L"ROOT\\NOSUCH", &services));
        EXPECT_EQ(nullptr, services);
    });
}

TEST(ComContract, AServicesProxyIsSecured) {
    onNewThread([] {
        const Session session;
        EXPECT_EQ(S_OK, os().CoSetProxyBlanket(session.services, 10, 0, nullptr, 3, 3, nullptr, 0));
    });
}

TEST(ComContract, AQueryThatIsNoneFailsAtOnce) {
    onNewThread([] {
        const Session session;
        IEnumWbemClassObject* enumerator = nullptr;
        EXPECT_EQ(code(0x80041017), session.query(L"nonsense", &enumerator));
        EXPECT_EQ(code(0x80041008), session.query(L"", &enumerator));
        EXPECT_EQ(code(0x80041018),
                  session.query(L"Select * from SystemRestore", &enumerator, L"SQL"));
        EXPECT_EQ(nullptr, enumerator);
    });
}

TEST(ComContract, AClassThatIsNotThereFailsWhenItIsRead) {
    onNewThread([] {
        const Session session;
        IEnumWbemClassObject* enumerator = nullptr;
        ASSERT_EQ(S_OK, session.query(L"Select * from Kest_NoSuchClass", &enumerator));
        IWbemClassObject* object = nullptr;
        ULONG count = 7;
        const HRESULT result = os().IEnumWbemClassObject_Next(
            enumerator, static_cast<LONG>(WBEM_INFINITE), 1, &object, &count);
        EXPECT_EQ(0U, count);
        KEST_DIFFERS_ON_WINE("reads nothing", result == code(0x80041010));
        EXPECT_EQ(0U, os().IEnumWbemClassObject_Release(enumerator));
    });
}

TEST(ComContract, AnEnumerationEndsWithoutAnObject) {
    onNewThread([] {
        const Session session;
        IEnumWbemClassObject* enumerator = nullptr;
        ASSERT_EQ(S_OK, session.query(L"Select * from SystemRestore", &enumerator));
        ULONG count = 0;
        HRESULT result = S_OK;
        for (;;) {
            IWbemClassObject* object = nullptr;
            result = os().IEnumWbemClassObject_Next(enumerator, static_cast<LONG>(WBEM_INFINITE), 1,
                                                    &object, &count);
            if (count == 0) {
                break;
            }
            VARIANT value{};
            EXPECT_EQ(code(0x80041002),
                      os().IWbemClassObject_Get(object, L"NoSuch", 0, &value, nullptr, nullptr));
            EXPECT_EQ(S_OK, os().IWbemClassObject_Get(object, L"description", 0, &value, nullptr,
                                                      nullptr));
            EXPECT_EQ(S_OK, os().VariantClear(&value));
            EXPECT_EQ(VT_EMPTY, value.vt);
            EXPECT_EQ(0U, os().IWbemClassObject_Release(object));
        }
        EXPECT_EQ(WBEM_S_FALSE, result);
        EXPECT_EQ(0U, os().IEnumWbemClassObject_Release(enumerator));
    });
}

TEST(ComContract, TheClassHasItsMethodAndNoOther) {
    onNewThread([] {
        const Session session;
        const Text name(L"SystemRestore");
        const Text other(L"Kest_NoSuchClass");
        IWbemClassObject* object = nullptr;
        EXPECT_EQ(code(0x80041002), os().IWbemServices_GetObject(session.services, other.get(), 0,
                                                                 nullptr, &object, nullptr));
        EXPECT_EQ(nullptr, object);
        ASSERT_EQ(S_OK, os().IWbemServices_GetObject(session.services, name.get(), 0, nullptr,
                                                     &object, nullptr));
        IWbemClassObject* input = nullptr;
        EXPECT_EQ(code(0x80041002),
                  os().IWbemClassObject_GetMethod(object, L"NoSuch", 0, &input, nullptr));
        EXPECT_EQ(S_OK, os().IWbemClassObject_GetMethod(object, L"Restore", 0, &input, nullptr));
        KEST_DIFFERS_ON_WINE("has no signature of the method", input != nullptr);
        if (input != nullptr) {
            IWbemClassObject* instance = nullptr;
            EXPECT_EQ(S_OK, os().IWbemClassObject_SpawnInstance(input, 0, &instance));
            ASSERT_NE(nullptr, instance);
            VARIANT number{};
            number.vt = VT_I4;
            number.lVal = 12;
            EXPECT_EQ(S_OK, os().IWbemClassObject_Put(instance, L"SequenceNumber", 0, &number, 0));
            VARIANT back{};
            EXPECT_EQ(S_OK, os().IWbemClassObject_Get(instance, L"SequenceNumber", 0, &back,
                                                      nullptr, nullptr));
            EXPECT_EQ(VT_I4, back.vt);
            EXPECT_EQ(12, back.lVal);
            EXPECT_EQ(0U, os().IWbemClassObject_Release(instance));
            EXPECT_EQ(0U, os().IWbemClassObject_Release(input));
        }
        EXPECT_EQ(0U, os().IWbemClassObject_Release(object));
    });
}

TEST(ComContract, TextsAreCopied) {
    wchar_t source[] = L"text";
    const BSTR text = os().SysAllocString(source);
    source[0] = L'n';
    EXPECT_STREQ(L"text", text);
    // In front stands the length in bytes.
    std::uint32_t length = 0;
    std::memcpy(&length, reinterpret_cast<const char*>(text) - sizeof(length), sizeof(length));
    EXPECT_EQ(4 * sizeof(wchar_t), length);
    os().SysFreeString(text);
    EXPECT_EQ(nullptr, os().SysAllocString(nullptr));
    os().SysFreeString(nullptr);
}

TEST(ComContract, ClearingAValueFreesItsText) {
    VARIANT value{};
    value.vt = VT_BSTR;
    value.bstrVal = os().SysAllocString(L"text");
    EXPECT_EQ(S_OK, os().VariantClear(&value));
    EXPECT_EQ(VT_EMPTY, value.vt);
    for (const int kind : {0, 1, 2, 3, 5, 11}) {
        value.vt = static_cast<VARTYPE>(kind);
        EXPECT_EQ(S_OK, os().VariantClear(&value)) << kind;
        EXPECT_EQ(VT_EMPTY, value.vt) << kind;
    }
    value.vt = 0x0FFF;
    EXPECT_EQ(DISP_E_BADVARTYPE, os().VariantClear(&value));
}

TEST(ComContract, TheSystemDirectoryNeedsRoom) {
    wchar_t path[MAX_PATH];
    os().SetLastError(kUntouchedError);
    const UINT length = os().GetSystemDirectoryW(path, static_cast<UINT>(MAX_PATH));
    EXPECT_EQ(length, std::wstring(path).size());
    EXPECT_LT(3U, length);
    EXPECT_NE(L'\\', path[length - 1]);
    wchar_t small[4] = L"~~~";
    EXPECT_EQ(length + 1, os().GetSystemDirectoryW(small, 3));
    EXPECT_EQ(length + 1, os().GetSystemDirectoryW(path, length));
    EXPECT_EQ(length, os().GetSystemDirectoryW(path, length + 1));
}

TEST(ComContract, AMissingModuleIsNull) {
    wchar_t path[MAX_PATH];
    const UINT length = os().GetSystemDirectoryW(path, static_cast<UINT>(MAX_PATH));
    const std::wstring missing = std::wstring(path, length) + L"\\wbem\\kest-no-such.dll";
    EXPECT_EQ(nullptr, os().LoadLibraryW(missing.c_str()));
    EXPECT_EQ(DWORD{ERROR_MOD_NOT_FOUND}, os().GetLastError());
}

}  // namespace
}  // namespace Tallowmere::platform
