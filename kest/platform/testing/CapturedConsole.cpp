#include "kest/platform/testing/CapturedConsole.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "kest/platform/testing/TempTree.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace Tallowmere::platform::testing {
namespace {

void run(const std::function<void()>& body) {
    try {
        body();
    } catch (const std::exception& thrown) {
        std::fprintf(stderr, "thrown: %s", thrown.what());
    }
    std::cout.flush();
    std::wcout.flush();
    (void)std::fflush(stdout);
    (void)std::fflush(stderr);
}

#ifdef _WIN32

void runInto(const std::filesystem::path& file, const std::function<void()>& body) {
    std::FILE* const streams[] = {stdout, stderr};
    int kept[2];
    const int target =
        _wopen(file.c_str(), _O_CREAT | _O_WRONLY | _O_APPEND | _O_TEXT, _S_IREAD | _S_IWRITE);
    for (int i = 0; i < 2; ++i) {
        (void)std::fflush(streams[i]);
        kept[i] = _dup(_fileno(streams[i]));
        (void)_dup2(target, _fileno(streams[i]));
    }
    (void)_close(target);
    run(body);
    for (int i = 0; i < 2; ++i) {
        (void)_dup2(kept[i], _fileno(streams[i]));
        (void)_close(kept[i]);
    }
}

#else

void runInto(const std::filesystem::path& file, const std::function<void()>& body) {
    (void)std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        // Opened again, they have no orientation.
        if (std::freopen(file.c_str(), "a", stdout) == nullptr ||
            std::freopen(file.c_str(), "a", stderr) == nullptr ||
            std::setvbuf(stderr, nullptr, _IONBF, 0) != 0) {
            _exit(1);
        }
        std::cout.clear();
        std::wcout.clear();
        std::cerr.clear();
        std::wcerr.clear();
        run(body);
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("The captured process failed");
    }
}

#endif

}  // namespace

std::string capturedConsole(const std::function<void()>& body) {
    const TempTree folder;
    folder.write("console", "");
    runInto(folder / "console", body);
    return folder.read("console");
}

}  // namespace Tallowmere::platform::testing
