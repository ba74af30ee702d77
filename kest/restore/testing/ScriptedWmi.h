#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kest/platform/Calls.h"

namespace Tallowmere::testing {

/// A management service of a test's own. While it lives it answers all calls of the family Com, on
/// every system alike, keeps each with its arguments as text, and knows what was not given back.
///
///     ScriptedWmi wmi;
///     wmi.points = {ScriptedWmi::point(L"Before", 0, L"20240131235959.000000-000", 12)};
///     wmi.answer(L"CoSetProxyBlanket", E_NOINTERFACE);
///
/// On one thread. What it gives out are no objects: only the calls know them.
class ScriptedWmi {
public:
    /// A property's value: of the kind VT_BSTR, VT_I4 or any other.
    struct Value {
        VARTYPE kind = VT_NULL;
        std::wstring text;
        LONG number = 0;
        /// A VT_BSTR that is null.
        bool isNull = false;
    };
    using Object = std::map<std::wstring, Value>;

    static Value text(const std::wstring& value) { return {VT_BSTR, value, 0, false}; }
    static Value number(LONG value) { return {VT_I4, L"", value, false}; }
    static Object point(const std::wstring& description, LONG type, const std::wstring& time,
                        LONG number);

    ScriptedWmi();
    ~ScriptedWmi();
    ScriptedWmi(const ScriptedWmi&) = delete;
    ScriptedWmi& operator=(const ScriptedWmi&) = delete;

    // --- What there is.

    /// What a query gives.
    std::vector<Object> points;
    /// What "Restore" answers.
    Value returnValue = number(0);
    /// Calls that then succeed with a null object.
    bool givesClass = true;
    bool givesSignature = true;
    bool givesOutput = true;

    // --- What goes wrong.

    /// The `which`-th call of that name gives this result; it does nothing else if that is a
    /// failure.
    void answer(const std::wstring& call, HRESULT result, int which = 1) {
        m_results[{call, which}] = result;
    }
    /// `action` runs before the `which`-th call of that name.
    void before(const std::wstring& call, std::function<void()> action, int which = 1) {
        m_actions[{call, which}] = std::move(action);
    }
    /// The `which`-th allocation of a text gives null.
    void failText(int which) { m_failedText = which; }

    // --- What happened.

    /// Such as `IWbemServices_ExecQuery(services, "WQL", "Select", 48, null)`: objects by name,
    /// objects of a query as object1, object2 ...; arguments that take a result are left out.
    /// Allocations and releases of texts are not among them.
    const std::vector<std::wstring>& calls() const { return m_calls; }
    /// The objects and texts that are still there, in the order in which they were made.
    std::vector<std::wstring> leftBehind() const;
    /// Initialisations of COM less the times it was given back.
    int comUses() const { return m_comUses; }

    /// Forgets calls, objects and texts, for another run.
    void restart();

private:
    struct Thing;
    struct Replacements;

    void record(const std::wstring& name, const std::wstring& arguments);
    HRESULT perform(const std::wstring& name, const std::wstring& arguments,
                    const std::function<void()>& body);
    Thing* make(const std::wstring& name, const Object& values = {});
    ULONG release(const wchar_t* call, void* object);
    static std::wstring nameOf(const void* object);
    BSTR allocate(const wchar_t* text);
    void free(BSTR text);
    void setValue(const Value& value, VARIANT& result);

    std::map<std::pair<std::wstring, int>, HRESULT> m_results;
    std::map<std::pair<std::wstring, int>, std::function<void()>> m_actions;
    std::map<std::wstring, int> m_counts;
    int m_failedText = 0;
    int m_texts = 0;
    std::size_t m_given = 0;
    int m_comUses = 0;
    std::vector<std::wstring> m_calls;
    std::vector<std::unique_ptr<Thing>> m_things;
    std::unique_ptr<Replacements> m_replacements;
};

}  // namespace Tallowmere::testing
