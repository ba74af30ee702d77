#include "kest/platform/linux/Names.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kest/platform/Utf8.h"
#include "kest/platform/Win32.h"

namespace Tallowmere::platform::names {
namespace {

constexpr std::uint32_t kEscape = 0xF000;

bool isEscape(std::uint32_t c) {
    return c == kEscape + '\\' || (c >= kEscape + 0x80 && c <= kEscape + 0xFF);
}

/// How many bytes at the beginning are ASCII that stands for itself.
std::size_t plainBytes(std::string_view text) {
    std::size_t count = 0;
    while (count < text.size() && static_cast<unsigned char>(text[count]) < 0x80 &&
           text[count] != '\\') {
        ++count;
    }
    return count;
}

/// How many units at the beginning are ASCII.
std::size_t plainUnits(std::wstring_view text) {
    constexpr std::size_t kBlock = 8;
    std::size_t count = 0;
    for (; text.size() - count >= kBlock; count += kBlock) {
        std::uint32_t all = 0;
        for (std::size_t i = 0; i < kBlock; ++i) {
            all |= static_cast<std::uint32_t>(text[count + i]);
        }
        if (all >= 0x80) {
            break;
        }
    }
    while (count < text.size() && static_cast<std::uint32_t>(text[count]) < 0x80) {
        ++count;
    }
    return count;
}

/// Appends the bytes of `wide`, in which a backslash is a separator if it is a path. False for a
/// unit that no name can hold.
template <bool isPath>
bool narrowed(std::wstring_view wide, std::string& native) {
    for (std::size_t at = 0; at < wide.size();) {
        // Nearly all of nearly all names.
        const std::size_t run = plainUnits(wide.substr(at));
        const std::size_t end = native.size();
        native.resize(end + run);
        std::transform(
            wide.begin() + at, wide.begin() + at + run, native.begin() + end,
            [](wchar_t unit) { return isPath && unit == L'\\' ? '/' : static_cast<char>(unit); });
        at += run;
        for (; at < wide.size() && static_cast<std::uint32_t>(wide[at]) >= 0x80; ++at) {
            const auto c = static_cast<std::uint32_t>(wide[at]);
            if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
                return false;
            }
            if (isEscape(c)) {
                native.push_back(static_cast<char>(c - kEscape));
            } else {
                utf8::append(c, native);
            }
        }
    }
    return true;
}

constexpr std::wstring_view kPrefix = L"\\\\?\\";

}  // namespace

std::wstring widen(std::string_view native) {
    std::wstring wide;
    wide.reserve(native.size());
    widen(native, wide);
    return wide;
}

void widen(std::string_view native, std::wstring& wide) {
    // Nearly all names are short and plain.
    constexpr std::size_t kFew = 64;
    if (native.size() <= kFew) {
        wchar_t few[kFew];
        bool isPlain = true;
        for (std::size_t i = 0; i < native.size(); ++i) {
            const auto byte = static_cast<unsigned char>(native[i]);
            isPlain = isPlain && byte < 0x80 && byte != '\\';
            few[i] = byte;
        }
        if (isPlain) {
            wide.assign(few, native.size());
            return;
        }
    }
    wide.clear();
    for (std::size_t at = 0; at < native.size();) {
        // Nearly all of nearly all names.
        const std::size_t run = plainBytes(native.substr(at));
        if (run != 0) {
            const std::size_t end = wide.size();
            wide.resize(end + run);
            std::copy_n(native.begin() + static_cast<std::ptrdiff_t>(at), run, &wide[end]);
            at += run;
            continue;
        }
        std::uint32_t c = 0;
        std::size_t length = utf8::decode(native, at, c);
        if (length == 0 || isEscape(c) || c == '\\') {
            // Every byte of a character that looks like an escape is escaped itself.
            for (length = length == 0 ? 1 : length; length > 0; --length, ++at) {
                wide.push_back(
                    static_cast<wchar_t>(kEscape + static_cast<unsigned char>(native[at])));
            }
            continue;
        }
        wide.push_back(static_cast<wchar_t>(c));
        at += length;
    }
}

bool narrow(std::wstring_view wide, std::string& native) {
    native.reserve(native.size() + wide.size());
    return narrowed<false>(wide, native);
}

unsigned int toNativePath(const wchar_t* wide, std::string& native) {
    native.clear();
    std::wstring_view rest(wide);
    if (*wide == kPrefix.front() && rest.substr(0, kPrefix.size()) == kPrefix) {
        rest.remove_prefix(kPrefix.size());
        // Understood once: a second prefix names no place at all, as on Windows.
        if (rest.substr(0, kPrefix.size()) == kPrefix) {
            return ERROR_INVALID_NAME;
        }
    }
    if (rest.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    native.reserve(rest.size());
    return narrowed<true>(rest, native) ? ERROR_SUCCESS : ERROR_INVALID_NAME;
}

}  // namespace Tallowmere::platform::names
