#define KEST_MODULE "Configurable"

#include "kest/config/Configurable.h"

#include "kest/config/ConfigurableImpl.h"
#include "kest/diagnostics/Log.h"

namespace Tallowmere {

Configurable::Configurable(const wchar_t* fileName) : impl(new ConfigurableImpl(fileName)) {}

Configurable::~Configurable() {
    delete impl;
    // Volatile, or the compiler would leave it away: an object that is used after its end then says
    // so instead of reading memory that is somebody else's.
    *const_cast<ConfigurableImpl* volatile*>(&impl) = nullptr;
}

std::wstring Configurable::getProperty(const std::wstring& name) const {
    if (impl == nullptr) {
        LOG_ERROR("Configurable implementation pointer is null");
        return {};
    }
    const auto found = impl->properties.find(name);
    if (found == impl->properties.end()) {
        // Streamed as changeable text, which is never taken for a marker, whatever the name is.
        std::wstring text = name;
        LOG_WARNING("Property " << text.data() << " was not found");
        return {};
    }
    return found->second;
}

}  // namespace Tallowmere
