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

    /// Our choice: more than so many bytes of properties, some four million of them, are refused; no
    /// settings file has a thousandth of it, and a host must not lose its memory to a file. Lines
    /// that hold none cost nothing, however many there are.
    static std::size_t s_mostBytes;

private:
    void read();
    /// `bytes` is what the properties take of memory, about.
    void takeLine(const wchar_t* line, std::size_t& bytes);
};

}  // namespace Tallowmere
