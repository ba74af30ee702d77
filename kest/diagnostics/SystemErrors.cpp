#include "kest/diagnostics/SystemErrors.h"

#include <exception>
#include <iterator>
#include <ostream>

#include "kest/platform/Calls.h"
#include "kest/platform/Console.h"

namespace Tallowmere {

using platform::os;

namespace {

constexpr DWORD kModuleText = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_HMODULE |
                              FORMAT_MESSAGE_IGNORE_INSERTS;
constexpr DWORD kSystemText = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                              FORMAT_MESSAGE_IGNORE_INSERTS;
/// The neutral language with its default sublanguage.
constexpr DWORD kLanguage = 0x0400;

/// A text that the system allocated; freed also when copying it runs out of memory.
class SystemText {
public:
    SystemText() = default;
    ~SystemText() {
        if (m_text != nullptr) {
            (void)os().LocalFree(m_text);
        }
    }
    SystemText(const SystemText&) = delete;
    SystemText& operator=(const SystemText&) = delete;

    /// Where the system is to put the text: in truth the address of a pointer to it.
    wchar_t* target() { return reinterpret_cast<wchar_t*>(&m_text); }
    const wchar_t* text() const { return m_text; }

private:
    wchar_t* m_text = nullptr;
};

std::wstring unknownCode(DWORD code) {
    wchar_t digits[24];
    // As a signed number, which is what the call takes; in base 16 it comes out unsigned.
    if (os()._itow_s(static_cast<int>(code), digits, std::size(digits), 16) != 0) {
        return L"Unknown error code: 0xUnavailable";
    }
    return std::wstring(L"Unknown error code: 0x") + digits;
}

}  // namespace

std::wstring getSystemErrorMessage(unsigned long code, void* module) {
    auto number = static_cast<DWORD>(code);
    if (number == 0) {
        number = os().GetLastError();
    }
    SystemText message;
    const DWORD length =
        module != nullptr
            ? os().FormatMessageW(kModuleText, module, number, kLanguage, message.target(), 0, nullptr)
            : os().FormatMessageW(kSystemText, nullptr, number, kLanguage, message.target(), 0,
                                  nullptr);
    if (length == 0) {
        return unknownCode(number);
    }
    // Deliberate: with the line end that system texts carry.
    return std::wstring(message.text(), length);
}

void reportSystemError(unsigned long code, const wchar_t* operation) {
    // Before anything else, because the code may stand for the last error.
    const std::wstring text = getSystemErrorMessage(code, nullptr);
    std::wostream& errors = platform::consoleErrors();
    try {
        if (operation != nullptr) {
            errors << operation << L" failed: ";
        }
        errors << text << std::endl;
    } catch (const std::exception&) {
        // A host can tell its std::wcerr to throw when writing fails. Reporting a failure must not
        // become a second one.
    }
}

}  // namespace Tallowmere
