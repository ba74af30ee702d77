#include "kest/text/HistoryPaths.h"

#include <cstddef>
#include <string_view>

#include "kest/platform/Calls.h"
#include "kest/text/Integer.h"
#include "kest/time/TimeText.h"

namespace Tallowmere {
namespace {

using platform::os;

constexpr std::size_t kNone = std::wstring::npos;
/// The marker and the character after it, which is a hyphen in a proper stamp.
constexpr std::size_t kMarkerLength = 5;
constexpr std::size_t kTimestampLength = 19;

bool hasTimestampForm(std::wstring_view text) {
    return text.size() == kTimestampLength && text[4] == L'.' && text[7] == L'.' &&
           text[10] == L'-' && text[13] == L'.' && text[16] == L'.';
}

}  // namespace

bool isHistoryPath(const std::wstring& path) {
    return path.find(kHistoryMarker) != kNone;
}

std::wstring getTimeFromHistoryPath(const std::wstring& path) {
    const std::size_t marker = path.find(kHistoryMarker);
    if (marker == kNone) {
        return L"Now";
    }
    const std::size_t start = marker + kMarkerLength;
    const std::size_t end = path.find_first_of(L"\\/", start);
    if (end == kNone) {
        // Deliberate: the root of a snapshot, written without a separator behind it, has no time.
        return {};
    }
    return localizeHistoryTime(path.substr(start, end - start));
}

std::wstring localizeHistoryTime(const std::wstring& timestamp) {
    if (!hasTimestampForm(timestamp)) {
        return {};
    }
    // Deliberate: the digits are not verified. A field without any reads as 0, and the conversion
    // below turns down what is no time.
    const auto field = [&timestamp](std::size_t start, std::size_t length) {
        return static_cast<WORD>(leadingInteger(std::wstring_view(timestamp).substr(start, length)));
    };
    SYSTEMTIME universal{};
    universal.wYear = field(0, 4);
    universal.wMonth = field(5, 2);
    universal.wDayOfWeek = 0xFFFF;
    universal.wDay = field(8, 2);
    universal.wHour = field(11, 2);
    universal.wMinute = field(14, 2);
    universal.wSecond = field(17, 2);
    universal.wMilliseconds = 0;

    TIME_ZONE_INFORMATION zone{};
    if (os().GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) {
        return {};
    }
    // With the zone given, its switch dates are applied to the year of the snapshot: what is shown
    // is the offset of that day, not today's.
    SYSTEMTIME local{};
    if (!os().SystemTimeToTzSpecificLocalTime(&zone, &universal, &local)) {
        return {};
    }
    return systemTimeToStringHuman(local, nullptr, nullptr);
}

}  // namespace Tallowmere
