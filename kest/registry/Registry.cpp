#define KEST_MODULE "Registry"

#include "kest/registry/Registry.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <stdexcept>

#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/platform/TypeName.h"
#include "kest/platform/Utf16.h"
#include "kest/text/Strings.h"

namespace Tallowmere {

using platform::os;

namespace {

/// In bytes of registry data, two of which are a unit on every system.
constexpr DWORD kValueSize = 65536;
/// In characters, the terminating zero among them.
constexpr DWORD kNameSize = 32768;

std::wstring systemText(LONG code) {
    return getSystemErrorMessage(static_cast<unsigned long>(code), nullptr);
}

/// Traces the message, which is flushed with the line, and throws it. It is streamed as changeable
/// text, which is never taken for a marker, whatever a key is called.
[[noreturn]] void fail(std::wstring message) {
    LOG_ERROR(message.data());
    throw std::runtime_error(convertToString(message.c_str()));
}

/// Closes the key at the end of its scope. Our choice: also when an operation fails in the middle.
class OpenKey {
public:
    explicit OpenKey(HKEY key) : m_key(key) {}
    ~OpenKey() { (void)os().RegCloseKey(m_key); }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;

    HKEY get() const { return m_key; }

private:
    HKEY m_key;
};

LONG open(void* root, const wchar_t* subkey, HKEY& key) {
    return os().RegOpenKeyExW(static_cast<HKEY>(root), subkey, 0, KEY_READ, &key);
}

/// The name of the subkey at `index`; after a failure what the call left of it.
LONG enumerateKey(HKEY key, DWORD index, std::vector<wchar_t>& name) {
    auto size = static_cast<DWORD>(name.size());
    return os().RegEnumKeyExW(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
}

std::wstring display(const std::wstring& hive, const wchar_t* subkey) {
    return hive + L"\\" + (subkey == nullptr ? L"" : subkey);
}

}  // namespace

Registry::Function::~Function() = default;

void* Registry::hiveToKey(Hive hive) {
    switch (static_cast<int>(hive)) {
        case HKCR:
            return HKEY_CLASSES_ROOT;
        case HKCC:
            return HKEY_CURRENT_CONFIG;
        case HKCU:
            return HKEY_CURRENT_USER;
        case HKLM:
            return HKEY_LOCAL_MACHINE;
        case HKPD:
            return HKEY_PERFORMANCE_DATA;
        case HKPN:
            return HKEY_PERFORMANCE_NLSTEXT;
        case HKPT:
            return HKEY_PERFORMANCE_TEXT;
        case HKU:
            return HKEY_USERS;
        default:
            return nullptr;
    }
}

std::wstring Registry::hiveToName(Hive hive) {
    static constexpr const wchar_t* kNames[] = {L"HKCR", L"HKCC", L"HKCU", L"HKLM",
                                                L"HKPD", L"HKPN", L"HKPT", L"HKU"};
    const int number = static_cast<int>(hive);
    return number >= HKCR && number <= HKU ? kNames[number] : L"";
}

void Registry::readKeyValue(void* root, const wchar_t* subkey, const wchar_t* valueName,
                            std::wstring& value) {
    HKEY opened = nullptr;
    const LONG openCode = open(root, subkey, opened);
    if (openCode != static_cast<LONG>(ERROR_SUCCESS)) {
        fail(std::wstring(L"Failed to open registry key <") + (subkey == nullptr ? L"" : subkey) +
             L">: " + systemText(openCode));
    }
    const OpenKey key(opened);
    // Not cleared: that would be most of what a value costs, and what is read is what was written.
    const std::unique_ptr<BYTE[]> data(new BYTE[kValueSize]);
    DWORD size = kValueSize;
    const LONG code =
        os().RegQueryValueExW(key.get(), valueName, nullptr, nullptr, data.get(), &size);
    if (code != static_cast<LONG>(ERROR_SUCCESS)) {
        fail(std::wstring(L"Failed to get registry value <") +
             (valueName == nullptr ? L"Default" : valueName) + L">: " + systemText(code));
    }
    // Deliberate: the type is not looked at. The data may have any length and need not end with a
    // zero, so it ends where the system says or at the first zero unit.
    const std::u16string units = platform::utf16::fromBytes(data.get(), size);
    value = platform::utf16::widen(std::u16string_view(units).substr(0, units.find(u'\0')));
}

void Registry::getKeyValue(Hive hive, const wchar_t* subkey, const wchar_t* valueName,
                           std::wstring& value) {
    readKeyValue(hiveToKey(hive), subkey, valueName, value);
}

void Registry::getSubKeys(Hive hive, const wchar_t* subkey, std::vector<std::wstring>& names) {
    names.clear();
    if (subkey == nullptr) {
        return;
    }
    HKEY opened = nullptr;
    const LONG openCode = open(hiveToKey(hive), subkey, opened);
    if (openCode != static_cast<LONG>(ERROR_SUCCESS)) {
        // Deliberate: nothing stands between the hive and the key.
        fail(L"Failed to open " + hiveToName(hive) + subkey + L": " + systemText(openCode));
    }
    const OpenKey key(opened);
    std::vector<wchar_t> name(kNameSize);
    for (DWORD index = 0;; ++index) {
        const LONG code = enumerateKey(key.get(), index, name);
        if (code == static_cast<LONG>(ERROR_NO_MORE_ITEMS)) {
            return;
        }
        if (code != static_cast<LONG>(ERROR_SUCCESS)) {
            // Deliberate: the buffer as the call left it, usually with the name before.
            fail(L"Failed to enumerate " + hiveToName(hive) + name.data() + L": " +
                 systemText(code));
        }
        names.emplace_back(name.data());
    }
}

void Registry::getValues(Hive hive, const wchar_t* subkey, std::vector<std::wstring>& names) {
    names.clear();
    const std::wstring shown = display(hiveToName(hive), subkey);
    HKEY opened = nullptr;
    const LONG openCode = open(hiveToKey(hive), subkey, opened);
    if (openCode != static_cast<LONG>(ERROR_SUCCESS)) {
        fail(L"Failed to open <" + shown + L">: " + systemText(openCode));
    }
    const OpenKey key(opened);
    DWORD longest = kNameSize;
    const LONG infoCode =
        os().RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr, &longest, nullptr, nullptr, nullptr);
    if (infoCode != static_cast<LONG>(ERROR_SUCCESS)) {
        std::wstring message = L"Failed to open <" + shown + L">: " + systemText(infoCode);
        LOG_WARNING(message.data());
        longest = kNameSize;
    }
    std::vector<wchar_t> name(std::size_t{longest} + 1);
    for (DWORD index = 0;; ++index) {
        name.assign(name.size(), L'\0');
        auto size = static_cast<DWORD>(name.size());
        const LONG code = os().RegEnumValueW(key.get(), index, name.data(), &size, nullptr, nullptr,
                                             nullptr, nullptr);
        if (code == static_cast<LONG>(ERROR_NO_MORE_ITEMS)) {
            return;
        }
        if (code != static_cast<LONG>(ERROR_SUCCESS)) {
            fail(L"Failed to enumerate values for <" + shown + L">: " + systemText(code));
        }
        names.emplace_back(name.data());
    }
}

void Registry::forEachSubKey(Hive hive, const wchar_t* subkey, const wchar_t* valueName,
                             Function& function) {
    const std::wstring shown = display(hiveToName(hive), subkey);
    HKEY opened = nullptr;
    const LONG openCode = open(hiveToKey(hive), subkey, opened);
    if (openCode != static_cast<LONG>(ERROR_SUCCESS)) {
        fail(L"Failed to open <" + shown + L">: " + systemText(openCode));
    }
    const OpenKey key(opened);
    std::vector<wchar_t> name(kNameSize);
    // Deliberate: one text for all subkeys. When a read fails, the line about it shows the value of
    // an earlier subkey.
    std::wstring value;
    for (DWORD index = 0;; ++index) {
        const LONG code = enumerateKey(key.get(), index, name);
        if (code == static_cast<LONG>(ERROR_NO_MORE_ITEMS)) {
            return;
        }
        if (code != static_cast<LONG>(ERROR_SUCCESS)) {
            fail(L"Failed to enumerate subkeys for <" + shown + L">: " + systemText(code));
        }
        try {
            readKeyValue(key.get(), name.data(), valueName, value);
            function(value);
        } catch (const std::exception& failure) {
            // Deliberate: without a closing bracket.
            std::wstring message = convertToWString(platform::typeName(typeid(failure)).c_str()) +
                                   L" failed for value <" + value;
            LOG_ERROR(message.data());
        }
    }
}

}  // namespace Tallowmere
