#include "kest/text/HistoryPaths.h"

#include <cstddef>
#include <string_view>

#include "kest/platform/Calls.h"
#include "kest/platform/Characters.h"
#include "kest/time/TimeText.h"

namespace Tallowmere {
namespace {

using platform::os;

constexpr std::size_t kNone = std::wstring::npos;
/// The marker and the character after it, which is a hyphen in a proper stamp.
constexpr std::size_t kMarkerLength = 5;
constexpr std::size_t kTimestampLength = 19;

/// The value of a decimal digit of any script that the C runtime's `_wtoi` reads, -1 for others.
int digitValue(wchar_t c) {
    constexpr wchar_t kZeros[] = {0x0030, 0x0660, 0x06F0, 0x0966, 0x09E6, 0x0A66,
                                  0x0AE6, 0x0B66, 0x0C66, 0x0CE6, 0x0D66, 0x0E50,
                                  0x0ED0, 0x0F20, 0x1040, 0x17E0, 0x1810, 0xFF10};
    for (const wchar_t zero : kZeros) {
        if (c >= zero && c <= zero + 9) {
            return c - zero;
        }
    }
    return -1;
}

/// The C runtime's `_wtoi` for a field too short to overflow: white space, a sign, digits; 0
/// without any digit; what follows the digits does not count.
int leadingNumber(std::wstring_view field) {
    std::size_t at = 0;
    while (at < field.size() && platform::isSpaceCharacter(field[at])) {
        ++at;
    }
    bool negative = false;
    if (at < field.size() && (field[at] == L'-' || field[at] == L'+')) {
        negative = field[at] == L'-';
        ++at;
    }
    int value = 0;
    for (; at < field.size() && digitValue(field[at]) >= 0; ++at) {
        value = value * 10 + digitValue(field[at]);
    }
    return negative ? -value : value;
}

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
        return static_cast<WORD>(leadingNumber(std::wstring_view(timestamp).substr(start, length)));
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
