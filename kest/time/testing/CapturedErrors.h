#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace Tallowmere::testing {

/// Takes what goes to std::wcerr while it lives.
class CapturedErrors {
public:
    CapturedErrors() : m_before(std::wcerr.rdbuf(m_text.rdbuf())) {}
    ~CapturedErrors() { std::wcerr.rdbuf(m_before); }
    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    std::wstring text() const { return m_text.str(); }

private:
    std::wostringstream m_text;
    std::wstreambuf* m_before;
};

}  // namespace Tallowmere::testing
