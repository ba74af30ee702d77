#include "kest/restore/CreationTime.h"

#include <algorithm>
#include <cstddef>

#include "kest/platform/Win32.h"
#include "kest/text/Integer.h"

namespace Tallowmere {
namespace {

WORD field(std::wstring_view text, std::size_t start, std::size_t length) {
    return static_cast<WORD>(leadingInteger(text.substr(std::min(start, text.size()), length)));
}

}  // namespace

SYSTEMTIME readCreationTime(std::wstring_view text) {
    SYSTEMTIME time{};
    time.wYear = field(text, 0, 4);
    time.wMonth = field(text, 4, 2);
    time.wDayOfWeek = 0xFFFF;
    time.wDay = field(text, 6, 2);
    time.wHour = field(text, 8, 2);
    time.wMinute = field(text, 10, 2);
    time.wSecond = field(text, 12, 2);
    return time;
}

}  // namespace Tallowmere
