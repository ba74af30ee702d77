#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace Tallowmere::platform {

/// Starts the program in the file `program`, with this process's environment, directory and
/// standard input, output and errors, but with no other descriptor of it, whether that is marked to
/// be closed or not, and with all signals as a program finds them. Returns 0 or an errno value;
/// `process` is the new process's number.
///
/// It is nobody's child in the end: the system takes it over at once, so it never remains as a
/// zombie and never disturbs a host that waits for children of its own. Nor does it belong to the
/// caller's terminal, whose end and whose interrupt key do not reach it.
int launch(const std::string& program, const std::vector<std::string>& arguments, pid_t& process);

}  // namespace Tallowmere::platform
