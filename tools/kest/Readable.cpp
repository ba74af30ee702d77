#include "Readable.h"

#include <iterator>

namespace Tallowmere::command {

std::wstring printable(std::wstring text) {
    for (wchar_t& c : text) {
        if (c < L' ' || (c >= 0x7F && c < 0xA0)) {
            c = L' ';
        }
    }
    return text;
}

std::wstring grouped(std::uint64_t number) {
    std::wstring text = std::to_wstring(number);
    for (std::size_t at = text.size(); at > 3;) {
        at -= 3;
        text.insert(at, 1, L',');
    }
    return text;
}

std::wstring counted(std::uint64_t number, const wchar_t* one, const wchar_t* many) {
    return grouped(number) + L" " + (number == 1 ? one : many);
}

std::wstring readableSize(std::uint64_t bytes) {
    constexpr const wchar_t* kUnits[] = {L" KiB", L" MiB", L" GiB", L" TiB", L" PiB", L" EiB"};
    constexpr std::uint64_t kStep = 1024;
    if (bytes < kStep) {
        return counted(bytes, L"byte", L"bytes");
    }
    std::size_t unit = 0;
    // Tenths, rounded to the nearest, without overflow for any number.
    std::uint64_t whole = bytes;
    std::uint64_t rest = 0;
    for (;;) {
        rest = whole % kStep;
        whole /= kStep;
        if (whole < kStep || unit + 1 == std::size(kUnits)) {
            break;
        }
        ++unit;
    }
    const std::uint64_t tenths = whole * 10 + (rest * 10 + kStep / 2) / kStep;
    if (tenths >= kStep * 10 && unit + 1 < std::size(kUnits)) {
        return std::wstring(L"1.0") + kUnits[unit + 1];
    }
    return grouped(tenths / 10) + L"." + std::to_wstring(tenths % 10) + kUnits[unit];
}

}  // namespace Tallowmere::command
