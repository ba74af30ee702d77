#pragma once

#include <string>

#include "TraceTap.h"

namespace Tallowmere {
struct RestorePoint;
}

namespace Tallowmere::command {

/// The point as a line of the table, padded to these widths, without a line end. Characters that
/// would direct a terminal are blanks.
std::wstring tableLine(const RestorePoint& point, std::size_t numberWidth, std::size_t typeWidth);

/// Prints the table of the restore points. Throws what the library throws.
void listRestorePoints();

/// Has the system restored to a point, after asking unless `yes`. False, with the reason on
/// standard error, when that was not requested. Throws what the library throws.
bool restore(unsigned long number, bool yes, const TraceTap& trace);

}  // namespace Tallowmere::command
