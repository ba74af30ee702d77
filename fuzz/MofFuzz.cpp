// The reader of instance declarations: whatever a file holds, it ends, and what it has read is
// sound.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "kest/platform/linux/Mof.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace mof = Tallowmere::platform::mof;
    std::vector<mof::Instance> instances;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    (void)mof::read(bytes, instances);
    for (const mof::Instance& instance : instances) {
        if (instance.className.empty()) {
            std::abort();
        }
        for (const mof::Property& property : instance.properties) {
            const auto* const text = std::get_if<std::wstring>(&property.value);
            if (property.name.empty() ||
                (text != nullptr && text->find(L'\0') != std::wstring::npos)) {
                std::abort();
            }
        }
    }
    return 0;
}
