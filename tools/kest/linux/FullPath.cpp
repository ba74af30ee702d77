#include "FullPath.h"

namespace Tallowmere::command {

std::wstring fullPath(const std::wstring& path) {
    return path;
}

}  // namespace Tallowmere::command
