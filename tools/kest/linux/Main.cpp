#include <fcntl.h>
#include <kest/kest.h>
#include <unistd.h>

#include "Command.h"

namespace {

/// A program that was started without one of the standard files would get that number for the next
/// file it opens, a trace say, and write its messages into it. So the number is taken: what is
/// written there fails, what is read there has ended.
void occupyStandardFiles() {
    for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
        if (fcntl(file, F_GETFD) == -1) {
            (void)open("/dev/null", file == STDIN_FILENO ? O_RDONLY : O_PATH);
        }
    }
}

}  // namespace

int main(int count, char** arguments) {
    occupyStandardFiles();
    std::vector<std::wstring> texts;
    for (int i = 1; i < count; ++i) {
        texts.push_back(Tallowmere::fromNative(arguments[i]));
    }
    return Tallowmere::command::run(texts);
}
