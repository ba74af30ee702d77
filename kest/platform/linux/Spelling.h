#pragma once

#include <string>

namespace Tallowmere::platform {

/// Whether a directory may find an entry by more names than its own, in another letter case for
/// instance, as a volume of another system does. Linux does not tell; true for every kind of file
/// system that is not known to tell all names apart.
bool mayFoldNames(int directory);

/// The name of an entry as the directory lists it. What is not there, or cannot be told, is
/// answered as it was given.
std::string spellingOf(int directory, const char* name);

}  // namespace Tallowmere::platform
