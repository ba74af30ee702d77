#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace Tallowmere::testing {

/// Takes what is written to the two standard error streams while it lives.
class CapturedStreams {
public:
    CapturedStreams()
        : m_narrowBefore(std::cerr.rdbuf(m_narrow.rdbuf())),
          m_wideBefore(std::wcerr.rdbuf(m_wide.rdbuf())) {}
    ~CapturedStreams() {
        std::cerr.rdbuf(m_narrowBefore);
        std::wcerr.rdbuf(m_wideBefore);
    }
    CapturedStreams(const CapturedStreams&) = delete;
    CapturedStreams& operator=(const CapturedStreams&) = delete;

    std::string narrow() const { return m_narrow.str(); }
    std::wstring wide() const { return m_wide.str(); }

private:
    std::ostringstream m_narrow;
    std::wostringstream m_wide;
    std::streambuf* m_narrowBefore;
    std::wstreambuf* m_wideBefore;
};

/// Whether `text` is `before`, then an address as the narrow stream writes one, then a line end.
inline bool isAddressBehind(const std::string& before, const std::string& text) {
    if (text.size() <= before.size() || text.compare(0, before.size(), before) != 0 ||
        text.back() != '\n') {
        return false;
    }
    const std::string address = text.substr(before.size(), text.size() - before.size() - 1);
    std::istringstream reader(address);
    void* value = nullptr;
    reader >> value;
    std::ostringstream again;
    again << value;
    return value != nullptr && again.str() == address;
}

}  // namespace Tallowmere::testing
