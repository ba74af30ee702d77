// The last error and the message texts.

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "kest/platform/linux/Standins.h"
#include "kest/platform/linux/SystemMessages.h"
#include "kest/platform/linux/WbemMessages.h"

namespace Tallowmere::platform::standin {
namespace {

thread_local constinit DWORD t_lastError = ERROR_SUCCESS;

constexpr std::string_view kLineEnd = "\r\n";

// A text that the caller brings along: the library has no use for it.
constexpr DWORD kFormatFromString = 0x00000400;

DWORD failWith(DWORD error) {
    t_lastError = error;
    return 0;
}

/// The table is in English: it answers to that language and to none in particular.
bool isEnglish(DWORD language) {
    constexpr DWORD kPrimaryLanguage = 0x3FF;
    constexpr DWORD kEnglish = 0x09;
    return (language & kPrimaryLanguage) == 0 || (language & kPrimaryLanguage) == kEnglish;
}

DWORD findIn(const char* (*table)(DWORD), DWORD code, DWORD language, std::string_view& text) {
    if (!isEnglish(language)) {
        return ERROR_RESOURCE_LANG_NOT_FOUND;
    }
    const char* const found = table(code);
    if (found == nullptr) {
        return ERROR_MR_MID_NOT_FOUND;
    }
    text = found;
    return ERROR_SUCCESS;
}

/// Looks the text up where the flags say, in the module first; the error when there is none.
DWORD findText(DWORD flags, const void* module, DWORD code, DWORD language,
               std::string_view& text) {
    DWORD error = ERROR_INVALID_PARAMETER;
    if ((flags & FORMAT_MESSAGE_FROM_HMODULE) != 0) {
        // The one module of this system that has a message table.
        error = module == wbemMessageModule() ? findIn(wbemMessage, code, language, text)
                                              : DWORD{ERROR_RESOURCE_TYPE_NOT_FOUND};
    }
    if ((flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0 && error != ERROR_SUCCESS) {
        error = findIn(systemMessage, code, language, text);
    }
    return error;
}

/// Writes as much of the text and its line end as `size` units hold, always with a terminator.
void write(std::string_view text, wchar_t* buffer, std::size_t size) {
    std::size_t room = size - 1;
    for (const std::string_view part : {text, kLineEnd}) {
        for (std::size_t i = 0; i < part.size() && room > 0; ++i, --room) {
            *buffer++ = static_cast<wchar_t>(static_cast<unsigned char>(part[i]));
        }
    }
    *buffer = L'\0';
}

/// Into the caller's buffer; what does not fit is cut off and the call then fails all the same.
DWORD fill(std::string_view text, wchar_t* buffer, DWORD size) {
    const auto length = static_cast<DWORD>(text.size() + kLineEnd.size());
    if (size > 0) {
        write(text, buffer, size);
    }
    return length < size ? length : failWith(ERROR_INSUFFICIENT_BUFFER);
}

/// Into a buffer of at least `leastSize` units that the caller gives to LocalFree.
DWORD allocate(std::string_view text, wchar_t*& result, DWORD leastSize) {
    const std::size_t length = text.size() + kLineEnd.size();
    const std::size_t size = std::max<std::size_t>(length + 1, leastSize);
    auto* const memory = static_cast<wchar_t*>(std::malloc(size * sizeof(wchar_t)));
    if (memory == nullptr) {
        return failWith(ERROR_NOT_ENOUGH_MEMORY);
    }
    write(text, memory, size);
    result = memory;
    return static_cast<DWORD>(length);
}

}  // namespace

DWORD GetLastError() {
    return t_lastError;
}

void SetLastError(DWORD code) {
    t_lastError = code;
}

DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, va_list* /*arguments*/) {
    if (buffer == nullptr) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    // With that flag `buffer` is in truth the address of a pointer, null unless there is a text.
    const bool isAllocated = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
    auto** const result = reinterpret_cast<wchar_t**>(buffer);
    if (isAllocated) {
        *result = nullptr;
    }
    if ((flags & kFormatFromString) != 0) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    std::string_view text;
    if (const DWORD error = findText(flags, source, code, language, text); error != ERROR_SUCCESS) {
        return failWith(error);
    }
    // Our choice: nothing is ever inserted. The library always asks for the text as it stands; who
    // asks for insertions gets the texts that need none.
    if ((flags & FORMAT_MESSAGE_IGNORE_INSERTS) == 0 && text.find('%') != text.npos) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    return isAllocated ? allocate(text, *result, size) : fill(text, buffer, size);
}

HLOCAL LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

}  // namespace Tallowmere::platform::standin
