// The string and path functions against the same rules written down a second time.

#include <cwctype>

#include "fuzz/Input.h"
#include "kest/platform/Characters.h"
#include "kest/text/HistoryPaths.h"
#include "kest/text/NativeText.h"
#include "kest/text/Paths.h"
#include "kest/text/Strings.h"
#include "kest/text/testing/NaiveText.h"

namespace Tallowmere {
namespace {

namespace naive = testing::naive;

wchar_t upper(wchar_t c) {
    return static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c)));
}

/// The narrow lowering keeps 16 bits of a unit.
std::wstring cutTo16Bits(std::wstring text) {
    for (wchar_t& unit : text) {
        unit = static_cast<wchar_t>(static_cast<std::uint16_t>(unit));
    }
    return text;
}

void strings(const std::wstring& text, const std::wstring& set) {
    const wchar_t delimiter = set.empty() ? L',' : set[0];
    const wchar_t other = set.size() < 2 ? L'\0' : set[1];
    KEST_LAW(toLower(text) == cutTo16Bits(naive::toLower(text)));
    KEST_LAW(chomp(text) == naive::chomp(text, platform::isSpaceCharacter));

    naive::Positions positions = {7};
    findStringDelimiters(text, set.c_str(), positions);
    KEST_LAW(positions == naive::delimiters(text, set.c_str()));
    findStringDelimiters(text, delimiter, positions);
    KEST_LAW(positions ==
             naive::delimiters(text, delimiter == 0 ? L"" : std::wstring(1, delimiter)));

    if (delimiter != 0) {
        naive::Texts fields = {L"left"};
        split(text, delimiter, fields);
        KEST_LAW(fields == naive::split(text, delimiter, platform::isSpaceCharacter));
    }
    if (delimiter != other) {
        std::wstring replaced = text;
        stringReplace(replaced, delimiter, other);
        KEST_LAW(replaced == naive::replace(text, delimiter, other));
    }
    std::uint64_t position = 0;
    std::uint64_t expected = 0;
    do {
        const std::uint64_t before = position;
        KEST_LAW(nextLine(text, position) == naive::nextLine(text, expected));
        KEST_LAW(position == expected);
        if (position == before) {
            break;
        }
    } while (true);
    KEST_LAW(isIpv4Address(text) == naive::isIpv4Address(text));
}

void conversions(const std::wstring& text) {
    const std::string narrow = convertToString(text.c_str());
    const std::wstring wide = convertToWString(narrow.c_str());
    // A unit whose low byte is 0 ends the text on its way back.
    KEST_LAW(convertToString(wide.c_str()) == narrow.substr(0, narrow.find('\0')));
    for (std::size_t i = 0; i < wide.size(); ++i) {
        const auto unit = static_cast<std::uint32_t>(wide[i]);
        KEST_LAW((unit & 0xFF) == static_cast<unsigned char>(narrow[i]));
        KEST_LAW(unit >> 7 == 0 || unit >> 7 == 0x1FF);
    }
    std::basic_string<unsigned short> units = {1};
    unsigned long length = 7;
    const unsigned short* const result = transcode(text.c_str(), units, length);
    const std::size_t size = std::wstring(text.c_str()).size();
    // The units are what they are in 16 bits, so a character whose low half is 0 ends the pair
    // test.
    if (size >= 2 && static_cast<std::uint16_t>(text[1]) != 0) {
        KEST_LAW(result == nullptr && length == 0 && units.size() == 1);
    } else if (size <= 1) {
        KEST_LAW(result == units.c_str() && length == size && units.size() == 1 + size);
    }
    std::wstring back = L"x";
    if (transcode(units.c_str(), back, length) != nullptr) {
        KEST_LAW(length + 1 == back.size());
    }
    wchar_t* copy = allocateString(text);
    KEST_LAW(std::wstring(copy) == text.c_str());
    delete[] copy;
}

void paths(const std::wstring& path, const std::wstring& other) {
    KEST_LAW(baseName(path) == naive::baseName(path));
    KEST_LAW(getFileExtension(path) == naive::getFileExtension(path));
    std::wstring changed = path;
    changeExtension(changed, other.c_str());
    KEST_LAW(changed == naive::changeExtension(path, other.c_str()));
    KEST_LAW(getPathLastComponent(path) == naive::getPathLastComponent(path));
    KEST_LAW(normalizePath(path) == cutTo16Bits(naive::normalizePath(path)));
    KEST_LAW(normalizePath(normalizePath(path)) == normalizePath(path) ||
             cutTo16Bits(path) != path);
    KEST_LAW(getDrive(path) == naive::getDrive(path, platform::isLetter, upper));
    KEST_LAW(isDriveRootedPath(path) == naive::isDriveRootedPath(path, platform::isLetter));
    const wchar_t drive = naive::getDrive(path, platform::isLetter, upper);
    KEST_LAW(arePathsOnTheSameDrive(path, other) ==
             (drive != 0 && drive == naive::getDrive(other, platform::isLetter, upper)));
    KEST_LAW(getCurrentPath(path) == naive::getCurrentPath(path));
    KEST_LAW(getCurrentPathNoDrive(path) == naive::getCurrentPathNoDrive(path));
    KEST_LAW(isHistoryPath(path) == (path.find(L"@GMT") != naive::kNone));
}

void native(const std::string& bytes) {
    // Whatever a file is called, its name comes back.
    KEST_LAW(toNative(fromNative(bytes)) == bytes);
    const std::string valid = toUtf8(fromNative(bytes));
    std::uint32_t c = 0;
    for (std::size_t at = 0; at < valid.size();) {
        const std::size_t length = platform::utf8::decode(valid, at, c);
        KEST_LAW(length > 0);
        at += length;
    }
}

}  // namespace
}  // namespace Tallowmere

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Tallowmere::fuzz::Input input(data, size);
    Tallowmere::native(std::string(input.rest().substr(0, input.rest().find('\0'))));
    const std::wstring first = input.text();
    const std::wstring second = input.text();
    Tallowmere::strings(first, second);
    Tallowmere::conversions(first);
    Tallowmere::paths(first, second);
    return 0;
}
