#pragma once

#include <string>
#include <typeinfo>

namespace Tallowmere::platform {

/// The name of a type as a person would write it, for example "std::runtime_error"; how templates
/// and the like are spelled depends on the compiler.
std::string typeName(const std::type_info& type);

}  // namespace Tallowmere::platform
