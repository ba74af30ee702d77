#define KEST_MODULE "SystemRestoreWin"

#include "kest/restore/SystemRestore.h"

#include <cstdint>
#include <exception>
#include <new>
#include <optional>
#include <string>

#include "kest/diagnostics/Log.h"
#include "kest/platform/Calls.h"
#include "kest/restore/Bstr.h"
#include "kest/restore/WmiSession.h"
#include "kest/text/Strings.h"

namespace Tallowmere {

using platform::os;

namespace {

/// Our choice: what stands for the result of a method of an object that is null, although the call
/// that should have given it succeeded or is not looked at. Some systems have the class without the
/// method's signature.
constexpr HRESULT kNoObject = E_POINTER;

/// All that one call of the method "Restore" needs. Deliberate: plain pointers, since after a
/// failure of the service nothing of it is given back.
class RestoreCall {
public:
    /// Returns whether the service answered; if not, `message` says why and nothing is given back.
    /// Our choice: after an exception of the standard family all is given back that is given back
    /// after a success; nobody else could do it any more.
    bool perform(IWbemServices* services, LONG sequenceNumber, std::string& message);

    void release();

private:
    bool request(IWbemServices* services, LONG sequenceNumber, std::string& message);
    HRESULT getMethod();
    HRESULT putNumber(LONG sequenceNumber);
    HRESULT getAnswer();

    BSTR m_path = nullptr;
    BSTR m_method = nullptr;
    IWbemClassObject* m_class = nullptr;
    IWbemClassObject* m_signature = nullptr;
    IWbemClassObject* m_input = nullptr;
    IWbemClassObject* m_output = nullptr;
    VARIANT m_number{};
    VARIANT m_answer{};
};

/// Notes the failure and returns false.
bool failed(std::string& message, const char* method, HRESULT result) {
    message = std::string(method) + " failed. Error code = 0x" + wmi::codeText(result);
    LOG_ERROR(message.c_str());
    return false;
}

HRESULT RestoreCall::getMethod() {
    return m_class == nullptr
               ? kNoObject
               : os().IWbemClassObject_GetMethod(m_class, m_method, 0, &m_signature, nullptr);
}

HRESULT RestoreCall::putNumber(LONG sequenceNumber) {
    if (m_signature != nullptr) {
        // Deliberate: its result is not looked at; without an instance there is nothing to put
        // into.
        (void)os().IWbemClassObject_SpawnInstance(m_signature, 0, &m_input);
    }
    m_number.vt = VT_I4;
    m_number.lVal = sequenceNumber;
    return m_input == nullptr
               ? kNoObject
               : os().IWbemClassObject_Put(m_input, L"SequenceNumber", 0, &m_number, 0);
}

HRESULT RestoreCall::getAnswer() {
    return m_output == nullptr ? kNoObject
                               : os().IWbemClassObject_Get(m_output, L"ReturnValue", 0, &m_answer,
                                                           nullptr, nullptr);
}

bool RestoreCall::perform(IWbemServices* services, LONG sequenceNumber, std::string& message) {
    try {
        return request(services, sequenceNumber, message);
    } catch (const std::exception&) {
        release();
        throw;
    }
}

bool RestoreCall::request(IWbemServices* services, LONG sequenceNumber, std::string& message) {
    m_path = Bstr::allocate(L"SystemRestore");
    m_method = Bstr::allocate(L"Restore");
    HRESULT result = os().IWbemServices_GetObject(services, m_path, 0, nullptr, &m_class, nullptr);
    if (FAILED(result)) {
        return failed(message, "IWbemServices::GetObject()", result);
    }
    result = getMethod();
    if (FAILED(result)) {
        return failed(message, "IWbemClassObject::GetMethod()", result);
    }
    result = putNumber(sequenceNumber);
    if (FAILED(result)) {
        return failed(message, "IWbemClassObject::Put()", result);
    }
    LOG_INFO("Put worked");
    result = os().IWbemServices_ExecMethod(services, m_path, m_method, 0, nullptr, m_input,
                                           &m_output, nullptr);
    if (FAILED(result)) {
        return failed(message, "IWbemServices::ExecMethod()", result);
    }
    result = getAnswer();
    if (FAILED(result)) {
        return failed(message, "IWbemClassObject::Get()", result);
    }
    // Our choice: an answer that is no integer counts as 0. Deliberate: no blank before the number,
    // and a number other than 0 is no failure; what came of the restore is to be asked elsewhere.
    const int answer = m_answer.vt == VT_I4 ? static_cast<int>(m_answer.lVal) : 0;
    LOG_INFO("SystemRestore::Restore() returned" << answer);
    return true;
}

void RestoreCall::release() {
    (void)os().VariantClear(&m_number);
    (void)os().VariantClear(&m_answer);
    os().SysFreeString(m_path);
    os().SysFreeString(m_method);
    // Deliberate: the instance that carried the number is not among them and stays behind.
    for (IWbemClassObject* const object : {m_class, m_signature, m_output}) {
        if (object != nullptr) {
            (void)os().IWbemClassObject_Release(object);
        }
    }
}

}  // namespace

bool restoreSystem(unsigned long sequenceNumber, wchar_t** error) {
    // Made inside of the handler's reach, since a caller in C could not catch what the trace
    // throws, and ended outside of it, since the clean-up after a failure belongs between its two
    // lines.
    std::optional<FunctionTrace> trace;
    IWbemLocator* locator = nullptr;
    IWbemServices* services = nullptr;
    RestoreCall call;
    try {
        trace.emplace("Tallowmere::restoreSystem", KEST_MODULE, __LINE__);
        *error = nullptr;
        wmi::setWmiInfo(L"ROOT\\DEFAULT", &locator, &services);
        std::string message;
        const auto number = static_cast<LONG>(static_cast<std::uint32_t>(sequenceNumber));
        if (!call.perform(services, number, message)) {
            // Deliberate: nothing is released and COM stays initialised on the thread.
            *error = allocateString(message.c_str());
            return false;
        }
        call.release();
        wmi::cleanPointers(nullptr, locator, services);
        return true;
    } catch (const std::exception& failure) {
        wmi::cleanPointers(nullptr, locator, services);
        *error = nullptr;
        try {
            *error = allocateString(failure.what());
        } catch (const std::bad_alloc&) {
            // Our choice: without memory for the text it stays null, and the result alone tells. A
            // caller in C could not catch anything.
        }
        return false;
    }
}

}  // namespace Tallowmere
