#pragma once

#include <string_view>
#include <vector>

#include "kest/platform/linux/RegistryTree.h"

namespace Tallowmere::platform {

/// Reads a registry text of the form "Windows Registry Editor Version 5.00" into an empty `tree`,
/// UTF-16 with a byte-order mark or UTF-8. All kinds of values, values and keys that are removed
/// again ("-"), comments, and texts and byte lists over several lines are understood. False when
/// the text is not of that form throughout; the tree is then of no use.
bool readRegistryText(std::string_view bytes, RegistryTree& tree);

/// Splits a path at its backslashes; empty parts are left out. False when a part is longer than 255
/// units, which no key's name can be.
bool splitRegistryPath(std::u16string_view path, std::vector<std::u16string_view>& parts);

/// The parts below HKEY_LOCAL_MACHINE that HKEY_CLASSES_ROOT is another name for. Our choice: the
/// machine's classes alone; a user's own are not mixed in.
const std::vector<std::u16string_view>& classesPath();

}  // namespace Tallowmere::platform
