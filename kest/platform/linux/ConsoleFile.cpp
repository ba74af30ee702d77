#include "kest/platform/ConsoleFile.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cwchar>

#include "kest/platform/Utf8.h"

namespace Tallowmere::platform::console {
namespace {

/// Other writers to the C stream wait, and errno comes out as it went in.
class Hold {
public:
    explicit Hold(std::FILE* file) : m_file(file), m_errno(errno) { flockfile(file); }
    ~Hold() {
        funlockfile(m_file);
        errno = m_errno;
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    std::FILE* m_file;
    int m_errno;
};

void writeToDescriptor(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {  // The host has told its console not to wait.
            pollfd waited{descriptor, POLLOUT, 0};
            (void)poll(&waited, 1, -1);
        } else if (errno != EINTR) {
            return;
        }
    }
}

}  // namespace

void write(std::FILE* file, std::wstring_view text, bool flushes) {
    write(file, utf8::encode(text), flushes);
}

void write(std::FILE* file, std::string_view bytes, bool flushes) {
    const Hold hold(file);
    // Our choice: the error stream takes narrow text from now on, unless it has taken wide text
    // before. With that, both of the host's C++ streams are heard in any order, which the reverse
    // does not hold for; only C's wide functions are not. The output is left undecided, for the
    // sake of hosts that write to it with those.
    const bool isNarrow = std::fwide(file, flushes ? -1 : 0) < 0;
    const int descriptor = fileno_unlocked(file);
    if (isNarrow && (!flushes || descriptor < 0)) {
        (void)fwrite_unlocked(bytes.data(), 1, bytes.size(), file);
        return;
    }
    // Behind the C stream's back, in order: it would turn wide text into the locale's bytes, which
    // may not have the character; narrow text would decide the undecided, and some of it is lost
    // when a pipe is full and may not wait.
    (void)fflush_unlocked(file);
    writeToDescriptor(descriptor, bytes);
}

void flush(std::FILE* file) {
    const Hold hold(file);
    (void)fflush_unlocked(file);
}

bool isWide(std::FILE* file) {
    return std::fwide(file, 0) > 0;
}

}  // namespace Tallowmere::platform::console
