#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cwchar>

#include "kest/platform/StreamNames.h"
#include "kest/platform/linux/Standins.h"

// The C runtime's text files as Windows has them: what a line ends with, where a text ends, and one
// unit for a byte that the locale does not know, so that reading goes on behind it. The numbers
// that report a failure are that runtime's, which knows fewer than this system.

namespace Tallowmere::platform::standin {
namespace {

/// The unit that ends a text file wherever it stands in it.
constexpr int kEndOfText = 0x1A;

int runtimeError(int code) {
    switch (code) {
        case ENOENT:
        case ENOTDIR:
        case ENAMETOOLONG:
            return ENOENT;
        case EACCES:
        case EPERM:
        case EISDIR:
            return EACCES;
        case EMFILE:
        case ENFILE:
            return EMFILE;
        case ENOMEM:
            return ENOMEM;
        default:
            return EINVAL;
    }
}

static_assert(ENOENT == 2 && ENOMEM == 12 && EACCES == 13 && EINVAL == 22 && EMFILE == 24);

int failed(int code) {
    errno = code;
    return code;
}

bool isDirectory(std::FILE* file) {
    struct stat status;
    return ::fstat(::fileno(file), &status) == 0 && S_ISDIR(status.st_mode);
}

/// The next character of the host's locale whose first byte is `first`; that byte alone when it
/// begins none.
wchar_t wideCharacter(int first, std::FILE* file) {
    if (first < 0x80) {
        return static_cast<wchar_t>(first);
    }
    const auto longest = static_cast<int>(MB_CUR_MAX);
    std::mbstate_t state{};
    char bytes[MB_LEN_MAX];
    int count = 0;
    for (int byte = first; byte != EOF && longest > 1; byte = ::getc_unlocked(file)) {
        bytes[count++] = static_cast<char>(byte);
        wchar_t c = 0;
        const std::size_t length = std::mbrtowc(&c, bytes + count - 1, 1, &state);
        if (length == 1) {
            return c;
        }
        if (length != static_cast<std::size_t>(-2) || count == longest) {
            break;
        }
    }
    // All but the first are read again, each on its own account.
    while (count > 1) {
        (void)::ungetc(static_cast<unsigned char>(bytes[--count]), file);
    }
    return static_cast<wchar_t>(first);
}

}  // namespace

int fopen_s(std::FILE** file, const char* name, const char* mode) {
    if (file == nullptr) {
        return failed(EINVAL);
    }
    *file = nullptr;
    // Reading alone is asked for by anybody.
    if (name == nullptr || mode == nullptr || mode[0] != 'r' || mode[1] != '\0') {
        return failed(EINVAL);
    }
    std::FILE* const opened = std::fopen(streamFileName(name).c_str(), "re");
    if (opened == nullptr) {
        return failed(runtimeError(errno));
    }
    // Here a directory opens like a file and only reading it fails.
    if (isDirectory(opened)) {
        (void)std::fclose(opened);
        return failed(EACCES);
    }
    *file = opened;
    return 0;
}

// One thread reads a file, so no byte is locked for on its own.
wchar_t* fgetws(wchar_t* buffer, int size, std::FILE* file) {
    if (buffer == nullptr || file == nullptr || size <= 0) {
        errno = EINVAL;
        return nullptr;
    }
    int count = 0;
    while (count < size - 1) {
        int byte = ::getc_unlocked(file);
        if (byte == kEndOfText) {
            // It is found again by the next call.
            (void)::ungetc(byte, file);
            byte = EOF;
        }
        if (byte == EOF) {
            break;
        }
        if (byte == '\r') {
            const int next = ::getc_unlocked(file);
            if (next != EOF && next != '\n') {
                (void)::ungetc(next, file);
            }
            byte = next == '\n' ? next : byte;
        }
        buffer[count++] = wideCharacter(byte, file);
        if (byte == '\n') {
            break;
        }
    }
    if (count == 0 && size > 1) {
        return nullptr;
    }
    buffer[count] = L'\0';
    return buffer;
}

int fclose(std::FILE* file) {
    if (file == nullptr) {
        errno = EINVAL;
        return EOF;
    }
    return std::fclose(file);
}

}  // namespace Tallowmere::platform::standin
