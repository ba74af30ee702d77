#include "kest/platform/testing/RegistryFixture.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "kest/platform/linux/RegistryFile.h"

namespace Tallowmere::platform::testing {
namespace {

void write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios_base::binary) << text;
}

}  // namespace

RegistryFixture::RegistryFixture(const std::string& text) : m_text(text) {
    char folder[] = "/tmp/kest-registry-XXXXXX";
    if (::mkdtemp(folder) == nullptr) {
        throw std::runtime_error("no folder for a registry");
    }
    m_place = folder;
    write(m_place + "/registry.reg", m_text);
    ::setenv("KEST_REGISTRY", (m_place + "/registry.reg").c_str(), 1);
    if (currentRegistry().error != 0) {
        throw std::runtime_error("the registry text is not understood");
    }
}

RegistryFixture::~RegistryFixture() {
    ::unsetenv("KEST_REGISTRY");
    (void)std::remove((m_place + "/registry.reg").c_str());
    (void)std::remove(m_place.c_str());
}

void RegistryFixture::removeMachineKey(const std::string& path) {
    m_text += "\r\n[-HKEY_LOCAL_MACHINE\\" + path + "]\r\n";
    write(m_place + "/registry.reg", m_text);
}

}  // namespace Tallowmere::platform::testing
