// The objects of the management service: locator, services, enumerator, and class objects, which
// stand for a class, an instance, or the parameters of a method. Methods take no account of flags,
// contexts and time-outs: everything is here at once.

#include "kest/platform/linux/ManagementObjects.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "kest/platform/linux/ManagementRepository.h"
#include "kest/platform/linux/Mof.h"
#include "kest/platform/linux/Standins.h"
#include "kest/platform/linux/WqlQuery.h"

namespace Tallowmere::platform {
namespace management {
namespace {

constinit std::atomic<int> g_objects = 0;

/// Counts references to an object, and the objects.
class Counted {
public:
    Counted() { ++g_objects; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    ULONG release() {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }

protected:
    virtual ~Counted() { --g_objects; }

private:
    std::atomic<ULONG> m_references = 1;
};

class Locator final : public IWbemLocator, public Counted {};

class Services final : public IWbemServices, public Counted {};

class Enumerator final : public IEnumWbemClassObject, public Counted {
public:
    explicit Enumerator(wql::Query query) : m_query(std::move(query)) {}

    HRESULT next(ULONG count, IWbemClassObject** objects, ULONG& returned);

private:
    HRESULT open();

    const wql::Query m_query;
    std::shared_ptr<const Instances> m_instances;
    std::size_t m_at = 0;
};

enum class Kind { Class, Instance, Input, InputSignature, Output };

class ClassObject final : public IWbemClassObject, public Counted {
public:
    /// `owner` keeps `instance` alive. Without `names` all properties can be read.
    ClassObject(Kind kind, std::shared_ptr<const mof::Instance> instance,
                std::vector<std::wstring> names = {})
        : m_kind(kind), m_instance(std::move(instance)), m_names(std::move(names)) {}

    Kind kind() const { return m_kind; }
    HRESULT get(std::wstring_view name, VARIANT& value) const;
    HRESULT put(std::wstring_view name, const VARIANT& value);
    /// The number that was put; false while there is none.
    bool number(std::uint32_t& value) const;

private:
    bool declares(std::wstring_view name) const;

    const Kind m_kind;
    std::shared_ptr<const mof::Instance> m_instance;
    const std::vector<std::wstring> m_names;
};

constexpr std::wstring_view kClassName = L"SystemRestore";
constexpr std::wstring_view kMethodName = L"Restore";
constexpr std::wstring_view kParameterName = L"SequenceNumber";
constexpr std::wstring_view kAnswerName = L"ReturnValue";

/// What every restore point has, be it NULL.
constexpr std::wstring_view kProperties[] = {L"Description", L"RestorePointType", L"EventType",
                                             L"SequenceNumber", L"CreationTime"};

std::shared_ptr<mof::Instance> newInstance(std::wstring_view className) {
    auto instance = std::make_shared<mof::Instance>();
    instance->className = className;
    return instance;
}

HRESULT setText(const std::wstring& text, VARIANT& value) {
    value.bstrVal = standin::SysAllocString(text.c_str());
    if (value.bstrVal == nullptr) {
        return WBEM_E_OUT_OF_MEMORY;
    }
    value.vt = VT_BSTR;
    return WBEM_S_NO_ERROR;
}

/// As the service gives numbers: what 32 bits hold, signed or not, as those bits; any other as
/// text.
HRESULT setInteger(const mof::Integer& number, VARIANT& value) {
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
    constexpr std::uint64_t kSmallest = std::uint64_t{1} << 31;
    if (number.value > (number.isNegative ? kSmallest : kLargest)) {
        return setText((number.isNegative ? L"-" : L"") + std::to_wstring(number.value), value);
    }
    const auto bits = static_cast<std::uint32_t>(number.value);
    value.vt = VT_I4;
    value.lVal = static_cast<LONG>(number.isNegative ? 0U - bits : bits);
    return WBEM_S_NO_ERROR;
}

struct SetValue {
    VARIANT& value;

    HRESULT operator()(const mof::Null&) const { return setKind(VT_NULL); }
    HRESULT operator()(const std::wstring& text) const { return setText(text, value); }
    HRESULT operator()(const mof::Integer& number) const { return setInteger(number, value); }
    HRESULT operator()(double number) const {
        value.dblVal = number;
        return setKind(VT_R8);
    }
    HRESULT operator()(bool isTrue) const {
        value.boolVal = isTrue ? VARIANT_TRUE : VARIANT_FALSE;
        return setKind(VT_BOOL);
    }
    HRESULT operator()(const mof::Character& character) const {
        value.iVal = static_cast<std::int16_t>(character.value);
        return setKind(VT_I2);
    }
    HRESULT operator()(const mof::Array&) const {
        value.parray = nullptr;
        return setKind(VT_ARRAY | VT_VARIANT);
    }

    HRESULT setKind(int kind) const {
        value.vt = static_cast<VARTYPE>(kind);
        return WBEM_S_NO_ERROR;
    }
};

const mof::Property* find(const mof::Instance& instance, std::wstring_view name) {
    const auto found = std::find_if(
        instance.properties.begin(), instance.properties.end(),
        [&](const mof::Property& property) { return mof::isSameName(property.name, name); });
    return found != instance.properties.end() ? &*found : nullptr;
}

bool ClassObject::declares(std::wstring_view name) const {
    switch (m_kind) {
        case Kind::Input:
        case Kind::InputSignature:
            return mof::isSameName(name, kParameterName);
        case Kind::Output:
            return mof::isSameName(name, kAnswerName);
        case Kind::Class:
        case Kind::Instance:
            break;
    }
    const auto isName = [&](std::wstring_view other) { return mof::isSameName(name, other); };
    if (!m_names.empty() && std::none_of(m_names.begin(), m_names.end(), isName)) {
        return false;
    }
    return find(*m_instance, name) != nullptr ||
           (mof::isSameName(m_instance->className, kClassName) &&
            std::any_of(std::begin(kProperties), std::end(kProperties), isName));
}

HRESULT ClassObject::get(std::wstring_view name, VARIANT& value) const {
    if (!declares(name)) {
        return WBEM_E_NOT_FOUND;
    }
    const mof::Property* const property = find(*m_instance, name);
    return property != nullptr ? std::visit(SetValue{value}, property->value)
                               : SetValue{value}.setKind(VT_NULL);
}

HRESULT ClassObject::put(std::wstring_view name, const VARIANT& value) {
    if (m_kind != Kind::Input) {
        return WBEM_E_ILLEGAL_OPERATION;
    }
    if (!declares(name)) {
        return WBEM_E_NOT_FOUND;
    }
    if (value.vt != VT_I4) {
        return WBEM_E_TYPE_MISMATCH;
    }
    auto instance = newInstance(m_instance->className);
    mof::Integer number;
    number.value = static_cast<std::uint32_t>(value.lVal);
    instance->properties.push_back({std::wstring(kParameterName), number});
    m_instance = std::move(instance);
    return WBEM_S_NO_ERROR;
}

bool ClassObject::number(std::uint32_t& value) const {
    const mof::Property* const property = find(*m_instance, kParameterName);
    if (m_kind != Kind::Input || property == nullptr) {
        return false;
    }
    value = static_cast<std::uint32_t>(std::get<mof::Integer>(property->value).value);
    return true;
}

/// When the first object is asked for, not before: that is when the service tells what is wrong.
HRESULT Enumerator::open() {
    std::shared_ptr<const Instances> instances;
    const HRESULT result = readInstances(instances);
    if (FAILED(result)) {
        return result;
    }
    const auto isOfClass = [&](const mof::Instance& instance) {
        return mof::isSameName(instance.className, m_query.className);
    };
    if (!mof::isSameName(m_query.className, kClassName) &&
        std::none_of(instances->begin(), instances->end(), isOfClass)) {
        return WBEM_E_INVALID_CLASS;
    }
    m_instances = std::move(instances);
    return WBEM_S_NO_ERROR;
}

HRESULT Enumerator::next(ULONG count, IWbemClassObject** objects, ULONG& returned) {
    returned = 0;
    if (m_instances == nullptr) {
        const HRESULT result = open();
        if (FAILED(result)) {
            return result;
        }
    }
    for (; returned < count && m_at < m_instances->size(); ++m_at) {
        const mof::Instance& instance = (*m_instances)[m_at];
        if (mof::isSameName(instance.className, m_query.className)) {
            objects[returned] = new ClassObject(
                Kind::Instance, std::shared_ptr<const mof::Instance>(m_instances, &instance),
                m_query.names);
            ++returned;
        }
    }
    return returned == count ? WBEM_S_NO_ERROR : WBEM_S_FALSE;
}

/// The namespace behind what may name a computer: "\\.\ROOT\DEFAULT".
HRESULT checkNamespace(std::wstring_view path) {
    const auto isSeparator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    if (path.size() > 2 && isSeparator(path[0]) && isSeparator(path[1])) {
        const std::size_t end = path.find_first_of(L"\\/", 2);
        const std::wstring_view computer = path.substr(2, end - 2);
        if (computer != L"." && !mof::isSameName(computer, L"localhost")) {
            return WBEM_E_TRANSPORT_FAILURE;
        }
        path.remove_prefix(end == path.npos ? path.size() : end + 1);
    }
    std::wstring name(path);
    std::replace(name.begin(), name.end(), L'/', L'\\');
    return mof::isSameName(name, L"ROOT\\DEFAULT") ? WBEM_S_NO_ERROR : WBEM_E_INVALID_NAMESPACE;
}

bool isEmpty(const wchar_t* text) {
    return text == nullptr || *text == L'\0';
}

/// Does `body`; memory that runs out is a result like others.
template <class Body>
HRESULT guarded(const Body& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return WBEM_E_OUT_OF_MEMORY;
    }
}

}  // namespace

IWbemLocator* createLocator() {
    return new (std::nothrow) Locator;
}

int liveObjects() {
    return g_objects;
}

}  // namespace management

namespace standin {

using namespace management;

HRESULT IWbemLocator_ConnectServer(IWbemLocator* /*locator*/, BSTR resource, BSTR /*user*/,
                                   BSTR /*password*/, BSTR /*locale*/, LONG /*securityFlags*/,
                                   BSTR /*authority*/, IWbemContext* /*context*/,
                                   IWbemServices** services) {
    if (isEmpty(resource) || services == nullptr) {
        return WBEM_E_INVALID_PARAMETER;
    }
    *services = nullptr;
    return guarded([&] {
        const HRESULT result = checkNamespace(resource);
        if (SUCCEEDED(result)) {
            *services = new Services;
        }
        return result;
    });
}

ULONG IWbemLocator_Release(IWbemLocator* locator) {
    return static_cast<Locator*>(locator)->release();
}

HRESULT IWbemServices_GetObject(IWbemServices* /*services*/, BSTR path, LONG /*flags*/,
                                IWbemContext* /*context*/, IWbemClassObject** object,
                                IWbemCallResult** /*result*/) {
    if (isEmpty(path) || object == nullptr) {
        return WBEM_E_INVALID_PARAMETER;
    }
    *object = nullptr;
    if (!mof::isSameName(path, kClassName)) {
        return WBEM_E_NOT_FOUND;
    }
    return guarded([&] {
        *object = new ClassObject(Kind::Class, newInstance(kClassName));
        return WBEM_S_NO_ERROR;
    });
}

HRESULT IWbemServices_ExecQuery(IWbemServices* /*services*/, BSTR language, BSTR query,
                                LONG /*flags*/, IWbemContext* /*context*/,
                                IEnumWbemClassObject** enumerator) {
    if (isEmpty(language) || isEmpty(query) || enumerator == nullptr) {
        return WBEM_E_INVALID_PARAMETER;
    }
    *enumerator = nullptr;
    if (!mof::isSameName(language, L"WQL")) {
        return WBEM_E_INVALID_QUERY_TYPE;
    }
    return guarded([&] {
        wql::Query parsed;
        if (!wql::parse(query, parsed)) {
            return WBEM_E_INVALID_QUERY;
        }
        *enumerator = new Enumerator(std::move(parsed));
        return WBEM_S_NO_ERROR;
    });
}

HRESULT IWbemServices_ExecMethod(IWbemServices* /*services*/, BSTR path, BSTR method,
                                 LONG /*flags*/, IWbemContext* /*context*/, IWbemClassObject* input,
                                 IWbemClassObject** output, IWbemCallResult** /*result*/) {
    if (isEmpty(path) || isEmpty(method)) {
        return WBEM_E_INVALID_PARAMETER;
    }
    if (output != nullptr) {
        *output = nullptr;
    }
    if (!mof::isSameName(path, kClassName)) {
        return WBEM_E_NOT_FOUND;
    }
    if (!mof::isSameName(method, kMethodName)) {
        return WBEM_E_INVALID_METHOD;
    }
    std::uint32_t number = 0;
    if (input == nullptr || !static_cast<ClassObject*>(input)->number(number)) {
        return WBEM_E_INVALID_METHOD_PARAMETERS;
    }
    return guarded([&] {
        auto answer = newInstance(L"__PARAMETERS");
        LONG returned = 0;
        const HRESULT result = requestRestore(number, returned);
        if (SUCCEEDED(result) && output != nullptr) {
            mof::Integer value;
            value.value = static_cast<std::uint32_t>(returned);
            answer->properties.push_back({std::wstring(kAnswerName), value});
            *output = new ClassObject(Kind::Output, std::move(answer));
        }
        return result;
    });
}

ULONG IWbemServices_Release(IWbemServices* services) {
    return static_cast<Services*>(services)->release();
}

HRESULT IEnumWbemClassObject_Next(IEnumWbemClassObject* enumerator, LONG /*timeout*/, ULONG count,
                                  IWbemClassObject** objects, ULONG* returned) {
    if (count == 0 || objects == nullptr || returned == nullptr) {
        return WBEM_E_INVALID_PARAMETER;
    }
    return guarded(
        [&] { return static_cast<Enumerator*>(enumerator)->next(count, objects, *returned); });
}

ULONG IEnumWbemClassObject_Release(IEnumWbemClassObject* enumerator) {
    return static_cast<Enumerator*>(enumerator)->release();
}

HRESULT IWbemClassObject_Get(IWbemClassObject* object, const wchar_t* name, LONG /*flags*/,
                             VARIANT* value, CIMTYPE* /*type*/, LONG* /*flavor*/) {
    if (isEmpty(name) || value == nullptr) {
        return WBEM_E_INVALID_PARAMETER;
    }
    return static_cast<ClassObject*>(object)->get(name, *value);
}

HRESULT IWbemClassObject_Put(IWbemClassObject* object, const wchar_t* name, LONG /*flags*/,
                             VARIANT* value, CIMTYPE /*type*/) {
    if (isEmpty(name) || value == nullptr) {
        return WBEM_E_INVALID_PARAMETER;
    }
    return guarded([&] { return static_cast<ClassObject*>(object)->put(name, *value); });
}

HRESULT IWbemClassObject_SpawnInstance(IWbemClassObject* object, LONG /*flags*/,
                                       IWbemClassObject** instance) {
    if (instance == nullptr) {
        return WBEM_E_INVALID_PARAMETER;
    }
    *instance = nullptr;
    if (static_cast<ClassObject*>(object)->kind() != Kind::InputSignature) {
        return WBEM_E_ILLEGAL_OPERATION;
    }
    return guarded([&] {
        *instance = new ClassObject(Kind::Input, newInstance(L"__PARAMETERS"));
        return WBEM_S_NO_ERROR;
    });
}

HRESULT IWbemClassObject_GetMethod(IWbemClassObject* object, const wchar_t* name, LONG /*flags*/,
                                   IWbemClassObject** input, IWbemClassObject** output) {
    if (isEmpty(name)) {
        return WBEM_E_INVALID_PARAMETER;
    }
    for (IWbemClassObject** const signature : {input, output}) {
        if (signature != nullptr) {
            *signature = nullptr;
        }
    }
    if (static_cast<ClassObject*>(object)->kind() != Kind::Class) {
        return WBEM_E_ILLEGAL_OPERATION;
    }
    if (!mof::isSameName(name, kMethodName)) {
        return WBEM_E_NOT_FOUND;
    }
    return guarded([&] {
        if (input != nullptr) {
            *input = new ClassObject(Kind::InputSignature, newInstance(L"__PARAMETERS"));
        }
        if (output != nullptr) {
            *output = new ClassObject(Kind::Output, newInstance(L"__PARAMETERS"));
        }
        return WBEM_S_NO_ERROR;
    });
}

ULONG IWbemClassObject_Release(IWbemClassObject* object) {
    return static_cast<ClassObject*>(object)->release();
}

}  // namespace standin
}  // namespace Tallowmere::platform
