// kest_load ROUNDS PROGRAM OTHER: starts the two programs in turn, each with nothing in its
// environment, and writes for each round how many nanoseconds they took from start to end.

#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

/// -1 when the program cannot be run or fails.
long long timeOf(char* program) {
    char* const arguments[] = {program, nullptr};
    char* const environment[] = {nullptr};
    const auto start = std::chrono::steady_clock::now();
    pid_t child = -1;
    int status = -1;
    if (::posix_spawn(&child, program, nullptr, nullptr, arguments, environment) != 0 ||
        ::waitpid(child, &status, 0) != child || status != 0) {
        return -1;
    }
    const auto took = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::nanoseconds>(took).count();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("kest_load ROUNDS PROGRAM OTHER\n", stderr);
        return 2;
    }
    // The first ones bring the files into memory.
    for (long round = -5; round < std::atol(argv[1]); ++round) {
        const long long first = timeOf(argv[2]);
        const long long second = timeOf(argv[3]);
        if (first < 0 || second < 0) {
            std::fputs("kest_load: a program could not be run\n", stderr);
            return 1;
        }
        if (round >= 0) {
            std::printf("%lld %lld\n", first, second);
        }
    }
    return 0;
}
