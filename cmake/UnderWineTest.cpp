// A program that ends in the way it is told to, for under-wine-test.sh.

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// Mistakes that only a build with KEST_TRAPS stops. What they need to know is volatile: the
/// compiler must not see them coming.
void makeMistake(const std::string& which) {
    if (which == "overflow") {
        volatile int most = INT_MAX;
        most = most + 1;
    }
    if (which == "shift") {
        volatile int by = 40;
        by = 1 << by;
    }
    if (which == "element") {
        const std::vector<int> numbers(3);
        const volatile std::size_t beyond = 3;
        std::printf("%d\n", numbers[beyond]);
    }
    if (which == "stack") {
        char room[8];
        const volatile std::size_t tooMuch = 64;
        std::memset(room, 'x', tooMuch);
        std::printf("%.1s\n", room);
    }
}

}  // namespace

int main(int count, char** arguments) {
    const std::string how = count > 1 ? arguments[1] : "";
    if (how == "exit") {
        return count > 2 ? std::atoi(arguments[2]) : 0;
    }
    if (how == "crash") {
        int* volatile nowhere = nullptr;
        *nowhere = 1;
    }
    if (how == "trap") {
        __builtin_trap();
    }
    if (how == "abort") {
        std::abort();
    }
    if (how == "throw") {
        throw std::runtime_error("nobody catches this");
    }
    makeMistake(how);
    std::puts("said");
    return 0;
}
