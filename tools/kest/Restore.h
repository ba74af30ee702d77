#pragma once

#include <string>

namespace Tallowmere {
struct RestorePoint;
}

namespace Tallowmere::command {

/// The point as a line of the table, padded to these widths, without a line end. Characters that
/// would direct a terminal are blanks.
std::wstring tableLine(const RestorePoint& point, std::size_t numberWidth, std::size_t typeWidth);

}  // namespace Tallowmere::command
