#pragma once

#include <string>
#include <vector>

#include "trace/Options.h"

namespace Tallowmere::command::trace {

/// How the verb is used, with a line feed at its end.
std::wstring usage();

/// Reads the arguments behind the verb's name. False, with what is wrong in `mistake`, on wrong
/// use; with an empty `mistake` when help is asked for.
bool readArguments(const std::vector<std::wstring>& arguments, Options& options,
                   std::wstring& mistake);

/// The whole verb on the program's own standard output and error; returns its exit status.
int perform(const std::vector<std::wstring>& arguments);

}  // namespace Tallowmere::command::trace
