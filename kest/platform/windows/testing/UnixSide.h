#pragma once

#include <string>
#include <vector>

namespace Tallowmere::platform::testing {

/// The Unix path of a path of Wine's. Under Wine only.
std::string unixPath(const std::wstring& path);

/// Runs a Unix program with its arguments (ASCII, without quotation marks) and waits for its end.
/// Under Wine only: it is how a test makes what Windows cannot make there, such as a symbolic link.
void runOnUnix(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace Tallowmere::platform::testing
