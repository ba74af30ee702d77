#include "kest/platform/linux/testing/CapturedOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include "kest/platform/linux/Descriptor.h"

namespace Tallowmere::platform::testing {

std::string outputOf(const std::function<void()>& body) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    const Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    std::fflush(stdout);
    {
        const Descriptor before(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
        (void)dup2(writing.get(), STDOUT_FILENO);
        body();
        std::fflush(stdout);
        (void)dup2(before.get(), STDOUT_FILENO);
    }
    writing.reset();
    std::string output;
    char piece[4096];
    for (;;) {
        const ssize_t length = read(reading.get(), piece, sizeof piece);
        if (length > 0) {
            output.append(piece, static_cast<std::size_t>(length));
        } else if (length == 0 || errno != EINTR) {
            return output;
        }
    }
}

}  // namespace Tallowmere::platform::testing
