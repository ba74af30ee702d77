#pragma once

#include <string>

namespace Tallowmere::platform::testing {

/// A registry of a test's own while it lives, for this process: what a registry text holds, and
/// nothing else. The same texts are read by the stand-in on Linux and by the system's own registry
/// editor on Windows. One at a time.
class RegistryFixture {
public:
    /// `text` is a registry text in UTF-8.
    explicit RegistryFixture(const std::string& text);
    ~RegistryFixture();
    RegistryFixture(const RegistryFixture&) = delete;
    RegistryFixture& operator=(const RegistryFixture&) = delete;

    /// Removes a key and all below it, given by its path below HKEY_LOCAL_MACHINE, as somebody else
    /// might while it is in use.
    void removeMachineKey(const std::string& path);

private:
    std::string m_text;
    std::string m_place;
};

/// The text of a file of kest/registry/testing.
std::string registryText(const std::string& name);

/// What a registry text begins with.
inline constexpr const char* kRegistryHeader = "Windows Registry Editor Version 5.00\r\n\r\n";

}  // namespace Tallowmere::platform::testing
