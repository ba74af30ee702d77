#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace Tallowmere {

/// What a Configurable points to.
class ConfigurableImpl {
public:
    /// Reads the file; throws as Configurable's constructor does.
    explicit ConfigurableImpl(const wchar_t* fileName);

    /// Whether the file has been read to its end.
    bool loaded = false;
    /// The path as passed.
    std::wstring fileName;
    std::map<std::wstring, std::wstring> properties;

private:
    void read();
    void takeLine(const wchar_t* line);

    /// What the properties take of memory, about.
    std::size_t m_bytes = 0;
};

}  // namespace Tallowmere
