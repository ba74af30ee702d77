#include "kest/platform/testing/RegistryFixture.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace Tallowmere::platform::testing {

std::string registryText(const std::string& name) {
    std::ifstream file(std::string(KEST_SOURCE_DIR) + "/kest/registry/testing/" + name,
                       std::ios_base::binary);
    if (!file) {
        throw std::runtime_error("no registry text " + name);
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace Tallowmere::platform::testing
