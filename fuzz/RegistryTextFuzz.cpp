// The reader of registry texts: whatever a file holds, reading ends, and every key and value that
// it gives is found again by its name.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "kest/platform/linux/RegistryText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Tallowmere::platform::RegistryTree;
    RegistryTree tree;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (!Tallowmere::platform::readRegistryText(bytes, tree)) {
        return 0;
    }
    std::vector<RegistryTree::Id> keys = {RegistryTree::LocalMachine, RegistryTree::CurrentUser,
                                          RegistryTree::Users, RegistryTree::CurrentConfig};
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const RegistryTree::Id key = keys[i];
        for (std::size_t v = 0; v < tree.valueCount(key); ++v) {
            const RegistryTree::Value& value = tree.value(key, v);
            if (value.key != key || value.removed || tree.findValue(key, value.name) != &value) {
                std::abort();
            }
        }
        for (const RegistryTree::Id child : tree.children(key)) {
            if (tree.parent(child) != key || tree.name(child).empty() ||
                tree.name(child).size() > 255 || tree.findKey(key, tree.name(child)) != child) {
                std::abort();
            }
            keys.push_back(child);
        }
    }
    return 0;
}
