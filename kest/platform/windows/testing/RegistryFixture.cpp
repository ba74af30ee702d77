#include "kest/platform/testing/RegistryFixture.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

#include "kest/platform/Win32.h"
#include "kest/text/NativeText.h"

namespace Tallowmere::platform::testing {
namespace {

namespace fs = std::filesystem;

struct Hive {
    const char* name;
    const char* place;
    HKEY key;
};

/// The user's own stands last, because everything is put below it.
const Hive kHives[] = {{"HKEY_CLASSES_ROOT", "\\HKLM\\Software\\Classes", HKEY_CLASSES_ROOT},
                       {"HKEY_LOCAL_MACHINE", "\\HKLM", HKEY_LOCAL_MACHINE},
                       {"HKEY_USERS", "\\HKU", HKEY_USERS},
                       {"HKEY_CURRENT_CONFIG", "\\HKCC", HKEY_CURRENT_CONFIG},
                       {"HKEY_CURRENT_USER", "\\HKCU", HKEY_CURRENT_USER}};

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
        text.replace(at, from.size(), to);
        at += to.size();
    }
}

/// Hands the text to the system's own registry editor.
void import(const std::string& text, const std::string& name) {
    const fs::path file = fs::temp_directory_path() / (name + ".reg");
    const std::wstring wide = L"\uFEFF" + fromNative(text);
    std::ofstream(file, std::ios_base::binary)
        .write(reinterpret_cast<const char*>(wide.data()),
               static_cast<std::streamsize>(wide.size() * sizeof(wchar_t)));
    std::wstring command = L"regedit.exe /S \"" + file.wstring() + L"\"";
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    PROCESS_INFORMATION process{};
    DWORD result = 1;
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                       &start, &process)) {
        (void)WaitForSingleObject(process.hProcess, INFINITE);
        (void)GetExitCodeProcess(process.hProcess, &result);
        CloseHandle(process.hProcess);
        CloseHandle(process.hThread);
    }
    std::error_code ignored;
    fs::remove(file, ignored);
    if (result != 0) {
        throw std::runtime_error("the registry text is not understood");
    }
}

void expect(LONG code) {
    if (code != ERROR_SUCCESS) {
        throw std::runtime_error("the registry cannot be prepared: " + std::to_string(code));
    }
}

}  // namespace

RegistryFixture::RegistryFixture(const std::string& text) : m_text(text) {
    // The text goes below a key of the user's, and for this process the hives lead there.
    std::random_device random;
    const std::string name =
        "KestTest-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(random());
    m_place = "Software\\" + name;
    for (const char* const open : {"\n[", "\n[-"}) {
        const std::string user = std::string(open) + "HKEY_CURRENT_USER";
        // First, since the others lead there afterwards.
        replaceAll(m_text, user, user + "\\" + m_place + "\\HKCU");
        for (const Hive& hive : kHives) {
            if (hive.key != HKEY_CURRENT_USER) {
                replaceAll(m_text, std::string(open) + hive.name,
                           user + "\\" + m_place + hive.place);
            }
        }
    }
    import(m_text, name);
    for (const Hive& hive : kHives) {
        HKEY key = nullptr;
        expect(RegCreateKeyExW(HKEY_CURRENT_USER, fromNative(m_place + hive.place).c_str(), 0,
                               nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
        expect(RegOverridePredefKey(hive.key, key));
        RegCloseKey(key);
    }
}

RegistryFixture::~RegistryFixture() {
    for (const Hive& hive : kHives) {
        (void)RegOverridePredefKey(hive.key, nullptr);
    }
    (void)RegDeleteTreeW(HKEY_CURRENT_USER, fromNative(m_place).c_str());
}

void RegistryFixture::removeMachineKey(const std::string& path) {
    expect(RegDeleteTreeW(HKEY_LOCAL_MACHINE, fromNative(path).c_str()));
}

}  // namespace Tallowmere::platform::testing
