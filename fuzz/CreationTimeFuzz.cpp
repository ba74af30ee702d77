// The reader of the management service's date and time: any text gives a record, and the same one
// whatever follows the first 14 characters; digits give what they say.

#include <algorithm>
#include <cstring>

#include "fuzz/Input.h"
#include "kest/restore/CreationTime.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Two bytes are a character.
    std::wstring text;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        text += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    }
    const SYSTEMTIME whole = Tallowmere::readCreationTime(text);
    const SYSTEMTIME front = Tallowmere::readCreationTime(text.substr(0, 14));
    KEST_LAW(std::memcmp(&whole, &front, sizeof(whole)) == 0);
    KEST_LAW(whole.wDayOfWeek == 0xFFFF && whole.wMilliseconds == 0);
    if (text.size() >= 14 && std::all_of(text.begin(), text.begin() + 14,
                                         [](wchar_t c) { return c >= L'0' && c <= L'9'; })) {
        const auto number = [&](std::size_t at, std::size_t length) {
            return static_cast<std::uint16_t>(std::stoi(text.substr(at, length)));
        };
        KEST_LAW(whole.wYear == number(0, 4) && whole.wMonth == number(4, 2) &&
                 whole.wDay == number(6, 2) && whole.wHour == number(8, 2) &&
                 whole.wMinute == number(10, 2) && whole.wSecond == number(12, 2));
    }
    return 0;
}
