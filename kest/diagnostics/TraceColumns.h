#pragma once

#include <cstdint>
#include <string>

/// The columns of a trace line after the time stamp, each with the tab that ends it. Each is built
/// in a buffer of a fixed size, as by a bounded format: what does not fit, the tab included, is cut
/// off.
namespace Tallowmere {

/// `name` left-aligned in 8 columns. At most 33 characters.
std::wstring severityColumn(const std::wstring& name);

/// "T" and the thread's identifier.
std::wstring threadColumn(std::uint32_t thread);

/// At most 30 characters of `source`, ":L", `line` in at least 5 digits, padded to 36 columns. At
/// most 39 characters.
std::wstring locationColumn(const std::wstring& source, int line);

}  // namespace Tallowmere
