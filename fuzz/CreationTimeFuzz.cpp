// The reader of the management service's date and time: any text gives a record, and the same one
// whatever follows the first 14 characters.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kest/restore/CreationTime.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Two bytes are a character.
    std::wstring text;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        text += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    }
    const SYSTEMTIME whole = Tallowmere::readCreationTime(text);
    const SYSTEMTIME front = Tallowmere::readCreationTime(text.substr(0, 14));
    if (std::memcmp(&whole, &front, sizeof(whole)) != 0 || whole.wDayOfWeek != 0xFFFF ||
        whole.wMilliseconds != 0) {
        std::abort();
    }
    return 0;
}
