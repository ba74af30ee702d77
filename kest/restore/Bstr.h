#pragma once

#include <new>

#include "kest/platform/Calls.h"

namespace Tallowmere {

/// A text in the form that COM takes, freed at the end of the scope.
class Bstr {
public:
    /// Throws std::bad_alloc when the system has no memory for it. Our choice: going on with null
    /// would be no failure that the service tells, it would end the process.
    explicit Bstr(const wchar_t* text) : m_text(allocate(text)) {}
    ~Bstr() { platform::os().SysFreeString(m_text); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;

    BSTR get() const { return m_text; }

    /// As the constructor; the caller frees the text.
    static BSTR allocate(const wchar_t* text) {
        const BSTR result = platform::os().SysAllocString(text);
        if (result == nullptr) {
            throw std::bad_alloc();
        }
        return result;
    }

private:
    BSTR m_text;
};

}  // namespace Tallowmere
