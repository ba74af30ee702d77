#include "kest/platform/windows/ConsoleText.h"

#include "kest/platform/Utf8.h"

namespace Tallowmere::platform::console {
namespace {

bool isHighSurrogate(wchar_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(wchar_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::wstring wellFormed(std::wstring_view text) {
    std::wstring result(text);
    for (std::size_t i = 0; i < result.size(); ++i) {
        if (isHighSurrogate(result[i]) && i + 1 < result.size() && isLowSurrogate(result[i + 1])) {
            ++i;
        } else if (isHighSurrogate(result[i]) || isLowSurrogate(result[i])) {
            result[i] = static_cast<wchar_t>(utf8::kReplacement);
        }
    }
    return result;
}

std::wstring withLineEnds(std::wstring_view text) {
    std::wstring result;
    for (const wchar_t unit : wellFormed(text)) {
        if (unit == L'\n') {
            result += L'\r';
        }
        result += unit;
    }
    return result;
}

std::size_t firstPiece(std::wstring_view text) {
    constexpr std::size_t kMostUnits = 16384;
    if (text.size() <= kMostUnits) {
        return text.size();
    }
    return isHighSurrogate(text[kMostUnits - 1]) ? kMostUnits - 1 : kMostUnits;
}

}  // namespace Tallowmere::platform::console
