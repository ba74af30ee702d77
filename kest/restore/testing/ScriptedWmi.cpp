#include "kest/restore/testing/ScriptedWmi.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "kest/platform/testing/ScopedCall.h"

namespace Tallowmere::testing {
namespace {

using platform::Calls;
using platform::testing::ScopedCall;

std::wstring quoted(const wchar_t* text) {
    return text == nullptr ? L"null" : L"\"" + std::wstring(text) + L"\"";
}

std::wstring nullOr(const void* pointer) {
    return pointer == nullptr ? L"null" : L"some";
}

std::wstring identifier(const GUID& id) {
    wchar_t text[16];
    std::swprintf(text, std::size(text), L"%08X-%02X", static_cast<unsigned>(id.Data1),
                  static_cast<unsigned>(id.Data4[7]));
    return text;
}

std::wstring joined(const std::vector<std::wstring>& parts) {
    std::wstring result;
    for (const std::wstring& part : parts) {
        result += (result.empty() ? L"" : L", ") + part;
    }
    return result;
}

}  // namespace

/// An object or a text.
struct ScriptedWmi::Thing {
    std::wstring name;
    Object values;
    int references = 1;
    std::wstring text;
};

struct ScriptedWmi::Replacements {
    ScriptedWmi& wmi;

    explicit Replacements(ScriptedWmi& world) : wmi(world) {}

    ScopedCall<&Calls::CoInitializeEx> initialize{[this](void* reserved, DWORD model) {
        return wmi.perform(L"CoInitializeEx", nullOr(reserved) + L", " + std::to_wstring(model),
                           [this] { ++wmi.m_comUses; });
    }};
    ScopedCall<&Calls::CoUninitialize> uninitialize{[this] {
        wmi.record(L"CoUninitialize", L"");
        --wmi.m_comUses;
    }};
    ScopedCall<&Calls::CoInitializeSecurity> security{
        [this](void* descriptor, LONG count, SOLE_AUTHENTICATION_SERVICE* services, void* reserved,
               DWORD authentication, DWORD impersonation, void* list, DWORD capabilities,
               void* reserved2) {
            return wmi.perform(L"CoInitializeSecurity",
                               joined({nullOr(descriptor), std::to_wstring(count), nullOr(services),
                                       nullOr(reserved), std::to_wstring(authentication),
                                       std::to_wstring(impersonation), nullOr(list),
                                       std::to_wstring(capabilities), nullOr(reserved2)}),
                               [] {});
        }};
    ScopedCall<&Calls::CoCreateInstance> create{[this](REFCLSID classId, IUnknown* outer,
                                                       DWORD context, REFIID interfaceId,
                                                       void** object) {
        return wmi.perform(L"CoCreateInstance",
                           joined({identifier(classId), nullOr(outer), std::to_wstring(context),
                                   identifier(interfaceId)}),
                           [&] { *object = wmi.make(L"locator"); });
    }};
    ScopedCall<&Calls::CoSetProxyBlanket> blanket{
        [this](IUnknown* proxy, DWORD authentication, DWORD authorization, wchar_t* principal,
               DWORD level, DWORD impersonation, void* identity, DWORD capabilities) {
            return wmi.perform(L"CoSetProxyBlanket",
                               joined({nameOf(proxy), std::to_wstring(authentication),
                                       std::to_wstring(authorization), quoted(principal),
                                       std::to_wstring(level), std::to_wstring(impersonation),
                                       nullOr(identity), std::to_wstring(capabilities)}),
                               [] {});
        }};
    ScopedCall<&Calls::SysAllocString> allocate{
        [this](const wchar_t* text) { return wmi.allocate(text); }};
    ScopedCall<&Calls::SysFreeString> free{[this](BSTR text) { wmi.free(text); }};
    ScopedCall<&Calls::VariantClear> clear{[this](VARIANT* value) {
        return wmi.perform(L"VariantClear", std::to_wstring(value->vt), [&] {
            if (value->vt == VT_BSTR) {
                wmi.free(value->bstrVal);
            }
            value->vt = VT_EMPTY;
        });
    }};
    ScopedCall<&Calls::IWbemLocator_ConnectServer> connect{
        [this](IWbemLocator* locator, BSTR resource, BSTR user, BSTR password, BSTR locale,
               LONG flags, BSTR authority, IWbemContext* context, IWbemServices** services) {
            return wmi.perform(
                L"IWbemLocator_ConnectServer",
                joined({nameOf(locator), quoted(resource), quoted(user), quoted(password),
                        quoted(locale), std::to_wstring(flags), quoted(authority),
                        nullOr(context)}),
                [&] { *services = reinterpret_cast<IWbemServices*>(wmi.make(L"services")); });
        }};
    ScopedCall<&Calls::IWbemLocator_Release> releaseLocator{
        [this](IWbemLocator* locator) { return wmi.release(L"IWbemLocator_Release", locator); }};
    ScopedCall<&Calls::IWbemServices_GetObject> getObject{
        [this](IWbemServices* services, BSTR path, LONG flags, IWbemContext* context,
               IWbemClassObject** object, IWbemCallResult** result) {
            return wmi.perform(L"IWbemServices_GetObject",
                               joined({nameOf(services), quoted(path), std::to_wstring(flags),
                                       nullOr(context), nullOr(result)}),
                               [&] { give(object, L"class", wmi.givesClass); });
        }};
    ScopedCall<&Calls::IWbemServices_ExecQuery> execQuery{
        [this](IWbemServices* services, BSTR language, BSTR query, LONG flags,
               IWbemContext* context, IEnumWbemClassObject** enumerator) {
            return wmi.perform(
                L"IWbemServices_ExecQuery",
                joined({nameOf(services), quoted(language), quoted(query), std::to_wstring(flags),
                        nullOr(context)}),
                [&] {
                    *enumerator = reinterpret_cast<IEnumWbemClassObject*>(wmi.make(L"enumerator"));
                });
        }};
    ScopedCall<&Calls::IWbemServices_ExecMethod> execMethod{
        [this](IWbemServices* services, BSTR path, BSTR method, LONG flags, IWbemContext* context,
               IWbemClassObject* input, IWbemClassObject** output, IWbemCallResult** result) {
            return wmi.perform(
                L"IWbemServices_ExecMethod",
                joined({nameOf(services), quoted(path), quoted(method), std::to_wstring(flags),
                        nullOr(context), nameOf(input), nullOr(result)}),
                [&] {
                    give(output, L"output", wmi.givesOutput, {{L"ReturnValue", wmi.returnValue}});
                });
        }};
    ScopedCall<&Calls::IWbemServices_Release> releaseServices{[this](IWbemServices* services) {
        return wmi.release(L"IWbemServices_Release", services);
    }};
    ScopedCall<&Calls::IEnumWbemClassObject_Next> next{
        [this](IEnumWbemClassObject* enumerator, LONG timeout, ULONG count,
               IWbemClassObject** objects, ULONG* returned) {
            HRESULT result = WBEM_S_NO_ERROR;
            *returned = 0;
            const HRESULT scripted = wmi.perform(
                L"IEnumWbemClassObject_Next",
                joined({nameOf(enumerator), std::to_wstring(timeout), std::to_wstring(count)}),
                [&] {
                    if (wmi.m_given == wmi.points.size()) {
                        result = WBEM_S_FALSE;
                        return;
                    }
                    const Object& values = wmi.points[wmi.m_given++];
                    give(objects, L"object" + std::to_wstring(wmi.m_given), true, values);
                    *returned = 1;
                });
            return scripted != S_OK ? scripted : result;
        }};
    ScopedCall<&Calls::IEnumWbemClassObject_Release> releaseEnumerator{
        [this](IEnumWbemClassObject* enumerator) {
            return wmi.release(L"IEnumWbemClassObject_Release", enumerator);
        }};
    ScopedCall<&Calls::IWbemClassObject_Get> get{
        [this](IWbemClassObject* object, const wchar_t* name, LONG flags, VARIANT* value,
               CIMTYPE* type, LONG* flavor) {
            HRESULT result = S_OK;
            const HRESULT scripted =
                wmi.perform(L"IWbemClassObject_Get",
                            joined({nameOf(object), quoted(name), std::to_wstring(flags),
                                    nullOr(type), nullOr(flavor)}),
                            [&] {
                                const Object& values = reinterpret_cast<Thing*>(object)->values;
                                const auto found = values.find(name);
                                if (found == values.end()) {
                                    result = static_cast<HRESULT>(WBEM_E_NOT_FOUND);
                                    return;
                                }
                                wmi.setValue(found->second, *value);
                            });
            return scripted != S_OK ? scripted : result;
        }};
    ScopedCall<&Calls::IWbemClassObject_Put> put{[this](IWbemClassObject* object,
                                                        const wchar_t* name, LONG flags,
                                                        VARIANT* value, CIMTYPE type) {
        return wmi.perform(L"IWbemClassObject_Put",
                           joined({nameOf(object), quoted(name), std::to_wstring(flags),
                                   std::to_wstring(value->vt) + L" " + std::to_wstring(value->lVal),
                                   std::to_wstring(type)}),
                           [] {});
    }};
    ScopedCall<&Calls::IWbemClassObject_SpawnInstance> spawn{
        [this](IWbemClassObject* object, LONG flags, IWbemClassObject** instance) {
            return wmi.perform(L"IWbemClassObject_SpawnInstance",
                               nameOf(object) + L", " + std::to_wstring(flags),
                               [&] { give(instance, L"input", true); });
        }};
    ScopedCall<&Calls::IWbemClassObject_GetMethod> getMethod{
        [this](IWbemClassObject* object, const wchar_t* name, LONG flags, IWbemClassObject** input,
               IWbemClassObject** output) {
            return wmi.perform(
                L"IWbemClassObject_GetMethod",
                joined({nameOf(object), quoted(name), std::to_wstring(flags), nullOr(output)}),
                [&] { give(input, L"signature", wmi.givesSignature); });
        }};
    ScopedCall<&Calls::IWbemClassObject_Release> releaseObject{[this](IWbemClassObject* object) {
        return wmi.release(L"IWbemClassObject_Release", object);
    }};

    void give(IWbemClassObject** object, const std::wstring& name, bool isGiven,
              const Object& values = {}) const {
        *object = isGiven ? reinterpret_cast<IWbemClassObject*>(wmi.make(name, values)) : nullptr;
    }
};

ScriptedWmi::Object ScriptedWmi::point(const std::wstring& description, LONG type,
                                       const std::wstring& time, LONG number) {
    return {{L"Description", text(description)},
            {L"RestorePointType", ScriptedWmi::number(type)},
            {L"CreationTime", text(time)},
            {L"SequenceNumber", ScriptedWmi::number(number)}};
}

ScriptedWmi::ScriptedWmi() : m_replacements(std::make_unique<Replacements>(*this)) {}

ScriptedWmi::~ScriptedWmi() = default;

std::vector<std::wstring> ScriptedWmi::leftBehind() const {
    std::vector<std::wstring> result;
    for (const std::unique_ptr<Thing>& thing : m_things) {
        if (thing->references > 0) {
            result.push_back(thing->name);
        }
    }
    return result;
}

void ScriptedWmi::restart() {
    m_counts.clear();
    m_texts = 0;
    m_given = 0;
    m_comUses = 0;
    m_calls.clear();
    m_things.clear();
}

void ScriptedWmi::record(const std::wstring& name, const std::wstring& arguments) {
    m_calls.push_back(name + L"(" + arguments + L")");
}

HRESULT ScriptedWmi::perform(const std::wstring& name, const std::wstring& arguments,
                             const std::function<void()>& body) {
    record(name, arguments);
    const std::pair<std::wstring, int> call(name, ++m_counts[name]);
    if (const auto action = m_actions.find(call); action != m_actions.end()) {
        action->second();
    }
    const auto result = m_results.find(call);
    if (result != m_results.end() && FAILED(result->second)) {
        return result->second;
    }
    body();
    return result != m_results.end() ? result->second : S_OK;
}

ScriptedWmi::Thing* ScriptedWmi::make(const std::wstring& name, const Object& values) {
    m_things.push_back(std::make_unique<Thing>());
    m_things.back()->name = name;
    m_things.back()->values = values;
    return m_things.back().get();
}

ULONG ScriptedWmi::release(const wchar_t* call, void* object) {
    record(call, nameOf(object));
    Thing* const thing = static_cast<Thing*>(object);
    --thing->references;
    EXPECT_EQ(0, thing->references) << call;
    return 0;
}

std::wstring ScriptedWmi::nameOf(const void* object) {
    return object == nullptr ? L"null" : static_cast<const Thing*>(object)->name;
}

BSTR ScriptedWmi::allocate(const wchar_t* text) {
    if (++m_texts == m_failedText) {
        return nullptr;
    }
    Thing* const thing = make(L"text " + std::wstring(text));
    thing->text = text;
    return thing->text.data();
}

void ScriptedWmi::free(BSTR text) {
    if (text == nullptr) {
        return;
    }
    const auto found = std::find_if(m_things.begin(), m_things.end(), [&](const auto& thing) {
        return thing->text.data() == text && thing->references > 0;
    });
    ASSERT_NE(m_things.end(), found) << "a text that is not there was freed";
    --(*found)->references;
}

void ScriptedWmi::setValue(const Value& value, VARIANT& result) {
    result.vt = value.kind;
    if (value.kind == VT_BSTR) {
        Thing* const thing = value.isNull ? nullptr : make(L"text " + value.text);
        if (thing != nullptr) {
            thing->text = value.text;
        }
        result.bstrVal = thing != nullptr ? thing->text.data() : nullptr;
    } else {
        result.lVal = value.number;
    }
}

}  // namespace Tallowmere::testing
