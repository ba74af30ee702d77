#include "kest/platform/TypeName.h"

#if __has_include(<cxxabi.h>)
#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#endif

namespace Tallowmere::platform {

std::string typeName(const std::type_info& type) {
#if __has_include(<cxxabi.h>)
    // Our choice: readable. This compiler's own spelling of a type is meant for linkers.
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    int status = 0;
    const std::unique_ptr<char, Free> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status));
    if (name != nullptr && status == 0) {
        return name.get();
    }
#endif
    return type.name();
}

}  // namespace Tallowmere::platform
