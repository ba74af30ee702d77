// What the service of this system does that no other one can be held to, or that the library never
// asks for.

#include "kest/platform/linux/ManagementObjects.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "kest/platform/Calls.h"
#include "kest/platform/linux/testing/ScopedRepository.h"

namespace Tallowmere::platform::management {
namespace {

using testing::mofPoint;
using testing::ScopedRepository;

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

class ManagementObjects : public ::testing::Test {
protected:
    ManagementObjects() {
        EXPECT_EQ(S_OK, connect(L"ROOT\\DEFAULT", services));
        const Text name(L"SystemRestore");
        EXPECT_EQ(S_OK,
                  os().IWbemServices_GetObject(services, name.get(), 0, nullptr, &type, nullptr));
        EXPECT_EQ(S_OK, os().IWbemClassObject_GetMethod(type, L"RESTORE", 0, &signature, nullptr));
        EXPECT_EQ(S_OK, os().IWbemClassObject_SpawnInstance(signature, 0, &input));
    }
    ~ManagementObjects() override {
        for (IWbemClassObject* const object : {input, signature, type}) {
            EXPECT_EQ(0U, os().IWbemClassObject_Release(object));
        }
        EXPECT_EQ(0U, os().IWbemServices_Release(services));
        EXPECT_EQ(0U, os().IWbemLocator_Release(locator));
        EXPECT_EQ(before, liveObjects());
    }

    HRESULT connect(const wchar_t* path, IWbemServices*& result) const {
        const Text text(path);
        return os().IWbemLocator_ConnectServer(locator, text.get(), nullptr, nullptr, nullptr, 0,
                                               nullptr, nullptr, &result);
    }

    IEnumWbemClassObject* query(const wchar_t* text) const {
        const Text language(L"wql");
        const Text sentence(text);
        IEnumWbemClassObject* result = nullptr;
        EXPECT_EQ(S_OK, os().IWbemServices_ExecQuery(services, language.get(), sentence.get(), 48,
                                                     nullptr, &result));
        return result;
    }

    HRESULT execute(const wchar_t* path, const wchar_t* method, IWbemClassObject* parameters,
                    IWbemClassObject** output) const {
        const Text first(path);
        const Text second(method);
        return os().IWbemServices_ExecMethod(services, first.get(), second.get(), 0, nullptr,
                                             parameters, output, nullptr);
    }

    static HRESULT put(IWbemClassObject* object, const wchar_t* name, VARTYPE kind, LONG number) {
        VARIANT value{};
        value.vt = kind;
        value.lVal = number;
        return os().IWbemClassObject_Put(object, name, 0, &value, 0);
    }

    const int before = liveObjects();
    IWbemLocator* locator = createLocator();
    IWbemServices* services = nullptr;
    IWbemClassObject* type = nullptr;
    IWbemClassObject* signature = nullptr;
    IWbemClassObject* input = nullptr;
};

TEST_F(ManagementObjects, OtherComputersCannotBeReached) {
    IWbemServices* other = nullptr;
    EXPECT_EQ(WBEM_E_TRANSPORT_FAILURE, connect(L"\\\\other\\ROOT\\DEFAULT", other));
    EXPECT_EQ(WBEM_E_INVALID_NAMESPACE, connect(L"\\\\.", other));
    EXPECT_EQ(WBEM_E_INVALID_PARAMETER, connect(L"", other));
    EXPECT_EQ(nullptr, other);
    EXPECT_EQ(S_OK, connect(L"\\\\LocalHost\\root\\default", other));
    EXPECT_EQ(0U, os().IWbemServices_Release(other));
}

TEST_F(ManagementObjects, AnEnumerationGivesSeveralAtOnce) {
    const ScopedRepository file(mofPoint("a", 0, "", 1) + mofPoint("b", 0, "", 2) +
                                mofPoint("c", 0, "", 3));
    IEnumWbemClassObject* const enumerator = query(L"select * from systemrestore");
    IWbemClassObject* objects[2] = {};
    ULONG count = 0;
    EXPECT_EQ(WBEM_S_NO_ERROR, os().IEnumWbemClassObject_Next(enumerator, 0, 2, objects, &count));
    EXPECT_EQ(2U, count);
    for (IWbemClassObject* const object : objects) {
        os().IWbemClassObject_Release(object);
    }
    // The last one comes with the code of the end.
    EXPECT_EQ(WBEM_S_FALSE, os().IEnumWbemClassObject_Next(enumerator, 0, 2, objects, &count));
    EXPECT_EQ(1U, count);
    VARIANT value{};
    EXPECT_EQ(S_OK, os().IWbemClassObject_Get(objects[0], L"SEQUENCENUMBER", 0, &value, nullptr,
                                              nullptr));
    EXPECT_EQ(VT_I4, value.vt);
    EXPECT_EQ(3, value.lVal);
    // An object lives on without its enumeration.
    os().IEnumWbemClassObject_Release(enumerator);
    EXPECT_EQ(S_OK,
              os().IWbemClassObject_Get(objects[0], L"EventType", 0, &value, nullptr, nullptr));
    EXPECT_EQ(VT_NULL, value.vt);
    EXPECT_EQ(WBEM_E_NOT_FOUND,
              os().IWbemClassObject_Get(objects[0], L"Other", 0, &value, nullptr, nullptr));
    EXPECT_EQ(WBEM_E_ILLEGAL_OPERATION, put(objects[0], L"Description", VT_I4, 1));
    os().IWbemClassObject_Release(objects[0]);
}

TEST_F(ManagementObjects, AQueryForNamesGivesThoseAlone) {
    const ScopedRepository file(mofPoint("a", 0, "", 1));
    IEnumWbemClassObject* const enumerator = query(L"select sequencenumber from SystemRestore");
    IWbemClassObject* object = nullptr;
    ULONG count = 0;
    EXPECT_EQ(S_OK, os().IEnumWbemClassObject_Next(enumerator, -1, 1, &object, &count));
    VARIANT value{};
    EXPECT_EQ(S_OK,
              os().IWbemClassObject_Get(object, L"SequenceNumber", 0, &value, nullptr, nullptr));
    EXPECT_EQ(WBEM_E_NOT_FOUND,
              os().IWbemClassObject_Get(object, L"Description", 0, &value, nullptr, nullptr));
    os().IWbemClassObject_Release(object);
    os().IEnumWbemClassObject_Release(enumerator);
}

TEST_F(ManagementObjects, AnUnknownClassFailsEachTimeItIsRead) {
    const ScopedRepository file("");
    IEnumWbemClassObject* const enumerator = query(L"select * from Other");
    IWbemClassObject* object = nullptr;
    ULONG count = 7;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(WBEM_E_INVALID_CLASS,
                  os().IEnumWbemClassObject_Next(enumerator, -1, 1, &object, &count));
        EXPECT_EQ(0U, count);
    }
    EXPECT_EQ(WBEM_E_INVALID_PARAMETER,
              os().IEnumWbemClassObject_Next(enumerator, -1, 0, &object, &count));
    os().IEnumWbemClassObject_Release(enumerator);
}

TEST_F(ManagementObjects, OnlyTheClassHasMethodsAndOnlyASignatureInstances) {
    IWbemClassObject* object = nullptr;
    EXPECT_EQ(WBEM_E_ILLEGAL_OPERATION,
              os().IWbemClassObject_GetMethod(input, L"Restore", 0, &object, nullptr));
    EXPECT_EQ(WBEM_E_ILLEGAL_OPERATION, os().IWbemClassObject_SpawnInstance(type, 0, &object));
    EXPECT_EQ(WBEM_E_ILLEGAL_OPERATION, os().IWbemClassObject_SpawnInstance(input, 0, &object));
    EXPECT_EQ(nullptr, object);
    IWbemClassObject* output = nullptr;
    EXPECT_EQ(S_OK, os().IWbemClassObject_GetMethod(type, L"Restore", 0, nullptr, &output));
    os().IWbemClassObject_Release(output);
}

TEST_F(ManagementObjects, OnlyTheNumberCanBePut) {
    EXPECT_EQ(WBEM_E_NOT_FOUND, put(input, L"Other", VT_I4, 1));
    EXPECT_EQ(WBEM_E_TYPE_MISMATCH, put(input, L"SequenceNumber", VT_NULL, 1));
    EXPECT_EQ(WBEM_E_ILLEGAL_OPERATION, put(signature, L"SequenceNumber", VT_I4, 1));
    EXPECT_EQ(WBEM_E_ILLEGAL_OPERATION, put(type, L"SequenceNumber", VT_I4, 1));
    EXPECT_EQ(S_OK, put(input, L"sequencenumber", VT_I4, 1));
    EXPECT_EQ(WBEM_E_INVALID_PARAMETER, put(input, L"", VT_I4, 1));
}

TEST_F(ManagementObjects, AMethodNeedsItsNameAndItsNumber) {
    const ScopedRepository file(mofPoint("a", 0, "", 1));
    IWbemClassObject* output = nullptr;
    EXPECT_EQ(WBEM_E_INVALID_METHOD_PARAMETERS,
              execute(L"SystemRestore", L"Restore", nullptr, &output));
    EXPECT_EQ(WBEM_E_INVALID_METHOD_PARAMETERS,
              execute(L"SystemRestore", L"Restore", input, &output));
    EXPECT_EQ(S_OK, put(input, L"SequenceNumber", VT_I4, 1));
    EXPECT_EQ(WBEM_E_NOT_FOUND, execute(L"Other", L"Restore", input, &output));
    EXPECT_EQ(WBEM_E_INVALID_METHOD, execute(L"SystemRestore", L"Enable", input, &output));
    EXPECT_EQ(WBEM_E_INVALID_PARAMETER, execute(L"", L"Restore", input, &output));
    EXPECT_EQ(nullptr, output);
    EXPECT_EQ("", file.requests());
    // Whoever does not want the answer need not take it.
    EXPECT_EQ(S_OK, execute(L"SystemRestore", L"Restore", input, nullptr));
    EXPECT_NE("", file.requests());
}

TEST_F(ManagementObjects, TheClassItselfHasNoValues) {
    VARIANT value{};
    EXPECT_EQ(S_OK, os().IWbemClassObject_Get(type, L"Description", 0, &value, nullptr, nullptr));
    EXPECT_EQ(VT_NULL, value.vt);
    EXPECT_EQ(WBEM_E_NOT_FOUND,
              os().IWbemClassObject_Get(type, L"Other", 0, &value, nullptr, nullptr));
    EXPECT_EQ(WBEM_E_INVALID_PARAMETER,
              os().IWbemClassObject_Get(type, L"", 0, &value, nullptr, nullptr));
}

TEST_F(ManagementObjects, AFileThatMayNotBeReadSaysSo) {
    const ScopedRepository file("");
    const std::string path = (file.tree() / "points.mof").string();
    ASSERT_EQ(0, ::chmod(path.c_str(), 0));
    IEnumWbemClassObject* const enumerator = query(L"select * from SystemRestore");
    std::thread([&] {
        // The superuser may read everything, so this thread becomes somebody else. (The C library's
        // own call would do that to the whole process.)
        constexpr long kNobody = 65534;
        if (::geteuid() == 0) {
            ASSERT_EQ(0, ::syscall(SYS_setresuid, -1L, kNobody, -1L));
        }
        IWbemClassObject* object = nullptr;
        ULONG count = 0;
        EXPECT_EQ(WBEM_E_ACCESS_DENIED,
                  os().IEnumWbemClassObject_Next(enumerator, -1, 1, &object, &count));
    }).join();
    os().IEnumWbemClassObject_Release(enumerator);
}

}  // namespace
}  // namespace Tallowmere::platform::management
