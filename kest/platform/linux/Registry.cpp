#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "kest/platform/HandleTable.h"
#include "kest/platform/Utf16.h"
#include "kest/platform/linux/RegistryFile.h"
#include "kest/platform/linux/RegistryText.h"
#include "kest/platform/linux/Standins.h"

// The registry calls over a registry text. A handle stands for a place, not for a state: each call
// looks at the registry as it is then, and a key that is no longer there answers as one that was
// deleted. All of them return the error code; the last error is left alone.

namespace Tallowmere::platform::standin {
namespace {

using Id = RegistryTree::Id;

/// What a handle stands for. Never changed, so that threads may share it.
struct OpenKey {
    /// The state in which it was opened, and its number there.
    std::shared_ptr<const RegistryTree> tree;
    Id key;
    /// Its place in any state; the classes' root is one of the places below the machine's.
    Id root;
    std::vector<std::u16string> path;
    /// HKEY_CLASSES_ROOT itself, which is there even when the machine has no classes.
    bool isClassesRoot;
};

/// A key in the present state. kNone for a root that is there but empty.
struct Place {
    std::shared_ptr<const RegistryTree> tree;
    Id key;
};

LONG code(DWORD error) {
    return static_cast<LONG>(error);
}

/// Which of the predefined keys; for those, all below is in the tree.
bool isPredefined(HKEY key, OpenKey& open) {
    open.isClassesRoot = key == HKEY_CLASSES_ROOT;
    open.root = open.isClassesRoot || key == HKEY_LOCAL_MACHINE ? RegistryTree::LocalMachine
                : key == HKEY_CURRENT_USER                      ? RegistryTree::CurrentUser
                : key == HKEY_USERS                             ? RegistryTree::Users
                : key == HKEY_CURRENT_CONFIG                    ? RegistryTree::CurrentConfig
                                                                : RegistryTree::kNone;
    open.key = RegistryTree::kNone;
    if (open.isClassesRoot) {
        for (const std::u16string_view part : classesPath()) {
            open.path.emplace_back(part);
        }
    }
    return open.root != RegistryTree::kNone;
}

OpenKey* found(HKEY key) {
    return static_cast<OpenKey*>(findHandle(key, HandleKind::RegistryKey));
}

Id walk(const RegistryTree& tree, Id root, const std::vector<std::u16string>& path) {
    Id key = root;
    for (const std::u16string& part : path) {
        key = tree.findKey(key, part);
        if (key == RegistryTree::kNone) {
            break;
        }
    }
    return key;
}

/// Where `open` is in the present state.
DWORD locate(const OpenKey& open, Place& place) {
    RegistryState state = currentRegistry();
    if (state.error != ERROR_SUCCESS) {
        return state.error;
    }
    place.key = open.tree == state.tree ? open.key : walk(*state.tree, open.root, open.path);
    place.tree = std::move(state.tree);
    return place.key == RegistryTree::kNone && !open.isClassesRoot ? ERROR_KEY_DELETED
                                                                   : ERROR_SUCCESS;
}

/// The key behind a handle, predefined or open, for a call that asks something of it.
DWORD resolve(HKEY key, Place& place) {
    OpenKey predefined{};
    if (isPredefined(key, predefined)) {
        return locate(predefined, place);
    }
    const OpenKey* const open = found(key);
    return open == nullptr ? ERROR_INVALID_HANDLE : locate(*open, place);
}

const std::vector<Id>& childrenOf(const Place& place) {
    static const auto* const s_none = new std::vector<Id>;
    return place.key == RegistryTree::kNone ? *s_none : place.tree->children(place.key);
}

std::size_t valuesOf(const Place& place) {
    return place.key == RegistryTree::kNone ? 0 : place.tree->valueCount(place.key);
}

/// Gives out data of `needed` bytes; null buffers ask for the size alone.
DWORD giveData(const std::string& from, BYTE* data, DWORD* size) {
    const auto needed = static_cast<DWORD>(from.size());
    if (size == nullptr) {
        return ERROR_SUCCESS;
    }
    const DWORD room = *size;
    *size = needed;
    if (data == nullptr) {
        return ERROR_SUCCESS;
    }
    if (room < needed) {
        return ERROR_MORE_DATA;
    }
    std::copy(from.begin(), from.end(), data);
    return ERROR_SUCCESS;
}

/// Gives out a name with its terminating zero; the room counts the zero, the length given back does
/// not.
DWORD giveName(const std::u16string& from, wchar_t* name, DWORD* size) {
    const std::wstring wide = utf16::widen(from);
    if (wide.size() >= *size) {
        return ERROR_MORE_DATA;
    }
    std::copy_n(wide.c_str(), wide.size() + 1, name);
    *size = static_cast<DWORD>(wide.size());
    return ERROR_SUCCESS;
}

/// Keys of registry texts have no class.
void giveNoClass(wchar_t* className, DWORD* size) {
    if (className != nullptr && size != nullptr && *size > 0) {
        className[0] = L'\0';
    }
    if (size != nullptr) {
        *size = 0;
    }
}

DWORD openKey(HKEY root, const wchar_t* subkey, HKEY* result) {
    auto open = std::make_unique<OpenKey>();
    const bool isPerformanceData = root == HKEY_PERFORMANCE_DATA;
    const bool hasPath = subkey != nullptr && *subkey != L'\0';
    if (isPerformanceData && !hasPath) {
        // As on Windows, it can be opened, and then has neither keys nor names.
        *result = root;
        return ERROR_SUCCESS;
    }
    if (!isPredefined(root, *open)) {
        const OpenKey* const parent = found(root);
        if (parent == nullptr) {
            return ERROR_INVALID_HANDLE;
        }
        *open = *parent;
    } else if (!hasPath) {
        *result = root;
        return currentRegistry().error;
    }
    Place place;
    const DWORD error = locate(*open, place);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    if (hasPath && *subkey == L'\\') {
        return ERROR_BAD_PATHNAME;
    }
    const std::u16string path = utf16::narrow(hasPath ? subkey : L"");
    std::vector<std::u16string_view> parts;
    if (!splitRegistryPath(path, parts)) {
        return ERROR_INVALID_PARAMETER;
    }
    Id key = place.key;
    for (const std::u16string_view part : parts) {
        key = key == RegistryTree::kNone ? key : place.tree->findKey(key, part);
        open->path.emplace_back(part);
        open->isClassesRoot = false;
    }
    if (key == RegistryTree::kNone && !open->isClassesRoot) {
        return ERROR_FILE_NOT_FOUND;
    }
    open->tree = std::move(place.tree);
    open->key = key;
    const HANDLE handle = issueHandle(HandleKind::RegistryKey, open.get());
    if (handle == INVALID_HANDLE_VALUE) {
        return ERROR_NO_SYSTEM_RESOURCES;
    }
    (void)open.release();
    *result = static_cast<HKEY>(handle);
    return ERROR_SUCCESS;
}

/// Runs a call that may need memory.
template <class Body>
LONG answered(const Body& body) {
    try {
        return code(body());
    } catch (const std::bad_alloc&) {
        return code(ERROR_NOT_ENOUGH_MEMORY);
    }
}

}  // namespace

LONG RegOpenKeyExW(HKEY key, const wchar_t* subkey, DWORD, REGSAM, HKEY* result) {
    if (result == nullptr) {
        return code(ERROR_INVALID_PARAMETER);
    }
    *result = nullptr;
    return answered([&] { return openKey(key, subkey, result); });
}

LONG RegQueryValueExW(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) {
    if ((data != nullptr && size == nullptr) || reserved != nullptr) {
        return code(ERROR_INVALID_PARAMETER);
    }
    return answered([&]() -> DWORD {
        Place place;
        const DWORD error = resolve(key, place);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        const std::u16string sought = utf16::narrow(name == nullptr ? L"" : name);
        const RegistryTree::Value* const value =
            place.key == RegistryTree::kNone ? nullptr : place.tree->findValue(place.key, sought);
        if (value == nullptr) {
            return ERROR_FILE_NOT_FOUND;
        }
        if (type != nullptr) {
            *type = value->type;
        }
        return giveData(value->data, data, size);
    });
}

LONG RegQueryInfoKeyW(HKEY key, wchar_t* className, DWORD* classSize, DWORD* reserved,
                      DWORD* subkeys, DWORD* longestSubkey, DWORD* longestClass, DWORD* values,
                      DWORD* longestValueName, DWORD* longestData, DWORD* securitySize,
                      FILETIME* lastWrite) {
    if ((className != nullptr && classSize == nullptr) || reserved != nullptr) {
        return code(ERROR_INVALID_PARAMETER);
    }
    return answered([&]() -> DWORD {
        Place place;
        const DWORD error = resolve(key, place);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        std::size_t longestKey = 0;
        if (longestSubkey != nullptr) {
            for (const Id child : childrenOf(place)) {
                longestKey = std::max(longestKey, utf16::widen(place.tree->name(child)).size());
            }
        }
        std::size_t longestName = 0;
        std::size_t mostData = 0;
        for (std::size_t i = 0; i < valuesOf(place); ++i) {
            const RegistryTree::Value& value = place.tree->value(place.key, i);
            longestName = std::max(longestName, utf16::widen(value.name).size());
            mostData = std::max(mostData, value.data.size());
        }
        const auto give = [](DWORD* to, std::size_t number) {
            if (to != nullptr) {
                *to = static_cast<DWORD>(number);
            }
        };
        giveNoClass(className, classSize);
        give(subkeys, childrenOf(place).size());
        give(longestSubkey, longestKey);
        give(longestClass, 0);
        give(values, valuesOf(place));
        give(longestValueName, longestName);
        give(longestData, mostData);
        give(securitySize, 0);
        if (lastWrite != nullptr) {
            *lastWrite = {};
        }
        return ERROR_SUCCESS;
    });
}

LONG RegEnumKeyExW(HKEY key, DWORD index, wchar_t* name, DWORD* size, DWORD* reserved,
                   wchar_t* className, DWORD* classSize, FILETIME* lastWrite) {
    if (name == nullptr || size == nullptr || reserved != nullptr) {
        return code(ERROR_INVALID_PARAMETER);
    }
    return answered([&]() -> DWORD {
        Place place;
        DWORD error = resolve(key, place);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        if (index >= childrenOf(place).size()) {
            return ERROR_NO_MORE_ITEMS;
        }
        error = giveName(place.tree->name(childrenOf(place)[index]), name, size);
        if (error == ERROR_SUCCESS) {
            giveNoClass(className, classSize);
            if (lastWrite != nullptr) {
                *lastWrite = {};
            }
        }
        return error;
    });
}

LONG RegEnumValueW(HKEY key, DWORD index, wchar_t* name, DWORD* size, DWORD* reserved, DWORD* type,
                   BYTE* data, DWORD* dataSize) {
    if (name == nullptr || size == nullptr || reserved != nullptr ||
        (data != nullptr && dataSize == nullptr)) {
        return code(ERROR_INVALID_PARAMETER);
    }
    return answered([&]() -> DWORD {
        Place place;
        const DWORD error = resolve(key, place);
        if (error != ERROR_SUCCESS) {
            return error;
        }
        if (index >= valuesOf(place)) {
            return ERROR_NO_MORE_ITEMS;
        }
        const RegistryTree::Value& value = place.tree->value(place.key, index);
        const DWORD nameError = giveName(value.name, name, size);
        if (nameError != ERROR_SUCCESS) {
            return nameError;
        }
        if (type != nullptr) {
            *type = value.type;
        }
        return giveData(value.data, data, dataSize);
    });
}

LONG RegCloseKey(HKEY key) {
    OpenKey predefined{};
    if (key == HKEY_PERFORMANCE_DATA || isPredefined(key, predefined)) {
        return code(ERROR_SUCCESS);
    }
    auto* const open = static_cast<OpenKey*>(retireHandle(key, HandleKind::RegistryKey));
    delete open;
    return code(open == nullptr ? ERROR_INVALID_HANDLE : ERROR_SUCCESS);
}

}  // namespace Tallowmere::platform::standin
