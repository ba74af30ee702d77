// neighbour FILE ROUNDS
// A program that has nothing to do with the change and keeps asking the disk for durability, until
// it is ended: without it a small change fits into one commit of the file system, and even the
// worst order of its steps looks atomic.

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: neighbour FILE ROUNDS\n", stderr);
        return 2;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int file = open(argv[1], O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    char line[512];
    std::memset(line, '.', sizeof line);
    const int rounds = std::atoi(argv[2]);
    constexpr timespec kPause{0, 200'000};
    for (int round = 1; file >= 0; ++round) {
        if (write(file, line, sizeof line) < 0 || fsync(file) != 0) {
            break;
        }
        // A file system that keeps a log for fsync commits all the rest only when asked to.
        if (rounds > 0 && round % rounds == 0 && syncfs(file) != 0) {
            break;
        }
        nanosleep(&kPause, nullptr);
    }
    std::perror(argv[1]);
    return 1;
}
