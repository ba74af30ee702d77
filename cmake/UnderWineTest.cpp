// A program that ends in the way it is told to, for under-wine-test.sh.

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

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
    std::puts("said");
    return 0;
}
