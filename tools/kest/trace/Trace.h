#pragma once

#include <functional>
#include <string>

#include "trace/Options.h"
#include "trace/Output.h"

namespace Tallowmere::command::trace {

/// Waits for the files that are followed to grow. False when nobody wants to follow any more.
using Wait = std::function<bool()>;

/// For ever, a little while at a time.
bool waitForEver();

/// What is wrong with the options, for a person; empty when nothing is.
std::wstring mistakeIn(const Options& options);

/// Reads the traces and writes what is asked for to `out`; what a person should know besides goes
/// to `err`. The options are free of mistakes. Returns the program's exit status: 0, or 1 when a
/// file could not be read or written.
int run(const Options& options, Output& out, Output& err, const Wait& wait = waitForEver);

}  // namespace Tallowmere::command::trace
