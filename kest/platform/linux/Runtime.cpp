#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cwchar>

#include "kest/platform/linux/Standins.h"

// The C runtime's bounded calls. They answer with an errno value (0, EINVAL 22, ERANGE 34; the
// numbers are the same on Windows), store it in errno too, and leave the last error alone. A
// destination that cannot be filled is emptied, so that no caller goes on with half a text. Windows
// would also call the process's invalid-parameter handler; there is none here, as there is none by
// default in the runtime that the Windows build uses.

static_assert(EINVAL == 22 && ERANGE == 34);

namespace Tallowmere::platform::standin {
namespace {

int failed(int code) {
    errno = code;
    return code;
}

}  // namespace

int _itow_s(int value, wchar_t* buffer, std::size_t size, int radix) {
    if (buffer == nullptr || size == 0) {
        return failed(EINVAL);
    }
    buffer[0] = L'\0';
    if (radix < 2 || radix > 36) {
        return failed(EINVAL);
    }
    // Only decimal numbers have a sign; in any other base the bits are shown as they are.
    const bool negative = radix == 10 && value < 0;
    auto rest = static_cast<unsigned int>(value);
    if (negative) {
        rest = 0U - rest;
    }
    // The longest: 32 binary digits.
    wchar_t digits[33];
    std::size_t count = 0;
    do {
        digits[count++] =
            L"0123456789abcdefghijklmnopqrstuvwxyz"[rest % static_cast<unsigned>(radix)];
        rest /= static_cast<unsigned>(radix);
    } while (rest != 0);
    if (negative) {
        digits[count++] = L'-';
    }
    if (count >= size) {
        return failed(ERANGE);
    }
    std::reverse_copy(digits, digits + count, buffer);
    buffer[count] = L'\0';
    return 0;
}

int memcpy_s(void* destination, std::size_t destinationSize, const void* source,
             std::size_t count) {
    if (count == 0) {
        return 0;
    }
    if (destination == nullptr) {
        return failed(EINVAL);
    }
    if (source == nullptr || count > destinationSize) {
        std::memset(destination, 0, destinationSize);
        return failed(source == nullptr ? EINVAL : ERANGE);
    }
    std::memcpy(destination, source, count);
    return 0;
}

int wcscpy_s(wchar_t* destination, std::size_t destinationSize, const wchar_t* source) {
    if (destination == nullptr || destinationSize == 0) {
        return failed(EINVAL);
    }
    if (source == nullptr) {
        destination[0] = L'\0';
        return failed(EINVAL);
    }
    // No further than the destination: a source that is longer need not be read to its end.
    for (std::size_t i = 0; i < destinationSize; ++i) {
        destination[i] = source[i];
        if (source[i] == L'\0') {
            return 0;
        }
    }
    destination[0] = L'\0';
    return failed(ERANGE);
}

}  // namespace Tallowmere::platform::standin
