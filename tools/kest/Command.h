#pragma once

#include <string>
#include <vector>

namespace Tallowmere::command {

/// Does what the arguments (without the program's name) ask for. The exit status: 0 done, 1 failed,
/// 2 wrong use. Throws only when memory runs out.
int run(const std::vector<std::wstring>& arguments);

}  // namespace Tallowmere::command
