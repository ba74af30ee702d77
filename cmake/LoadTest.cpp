// load-test LIBRARY: loads the library 1,000 times, each time in a process of its own, with every
// kind of registry text. It may complain on the console; it may not end the process, wait or throw.
// Then it loads it some times in this process, which may not grow by what the registry held.

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Kind {
    const char* name;
    /// The value of KEST_REGISTRY; empty for none.
    std::string path;
    /// How many ERROR lines the library writes while it is loaded.
    int complaints;
    int times;
};

const std::string kHeader = "Windows Registry Editor Version 5.00\r\n\r\n";
const std::string kFolders =
    "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders]\r\n";

std::string products(int count) {
    std::string text = kHeader + kFolders + "[HKEY_CLASSES_ROOT\\Installer\\Products]\r\n";
    for (int i = 0; i < count; ++i) {
        text += "[HKEY_CLASSES_ROOT\\Installer\\Products\\" + std::to_string(i) +
                "]\r\n\"ProductName\"=\"Program " + std::to_string(i) + "\"\r\n";
    }
    return text;
}

/// Loads and unloads the library in a process of its own; what that wrote, and whether it ended
/// well.
bool load(const char* library, const Kind& kind, std::string& said) {
    int ends[2];
    if (::pipe(ends) != 0) {
        return false;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(ends[1], 1);
        ::dup2(ends[1], 2);
        ::close(ends[0]);
        ::close(ends[1]);
        if (kind.path.empty()) {
            ::unsetenv("KEST_REGISTRY");
        } else {
            ::setenv("KEST_REGISTRY", kind.path.c_str(), 1);
        }
        ::alarm(120);
        void* const handle = ::dlopen(library, RTLD_NOW);
        if (handle == nullptr) {
            std::puts(::dlerror());
            std::exit(2);
        }
        ::dlclose(handle);
        std::exit(0);
    }
    ::close(ends[1]);
    char buffer[4096];
    said.clear();
    for (ssize_t count = 0; (count = ::read(ends[0], buffer, sizeof(buffer))) > 0;) {
        said.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(ends[0]);
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int complaintsIn(const std::string& text) {
    int count = 0;
    const std::string sign = "\tERROR   \t";
    for (std::size_t at = text.find(sign); at != std::string::npos; at = text.find(sign, at + 1)) {
        ++count;
    }
    return count;
}

/// What of this process is in memory, in MiB.
long residentSize() {
    std::ifstream pages("/proc/self/statm");
    long all = 0;
    long resident = 0;
    pages >> all >> resident;
    return resident * ::sysconf(_SC_PAGESIZE) / (1024 * 1024);
}

/// By how many MiB this process grows while it loads and unloads the library `times` times more
/// than once; -1 when it cannot.
long growth(const char* library, const std::string& registry, int times) {
    ::setenv("KEST_REGISTRY", registry.c_str(), 1);
    long first = 0;
    for (int i = 0; i <= times; ++i) {
        void* const handle = ::dlopen(library, RTLD_NOW);
        if (handle == nullptr) {
            return -1;
        }
        ::dlclose(handle);
        first = i == 0 ? residentSize() : first;
    }
    return residentSize() - first;
}

}  // namespace

int main(int count, char** arguments) {
    char folder[] = "/tmp/kest-load-XXXXXX";
    if (count != 2 || ::mkdtemp(folder) == nullptr) {
        return 2;
    }
    const fs::path place = folder;
    const auto file = [&](const char* name, const std::string& text) {
        std::ofstream(place / name, std::ios_base::binary) << text;
        return (place / name).string();
    };
    std::string random = kHeader;
    for (unsigned i = 0, state = 1; i < 100000; ++i, state = state * 1664525U + 1013904223U) {
        random.push_back(static_cast<char>(state >> 24));
    }
    const std::string locked = file("locked", products(1));
    fs::permissions(locked, fs::perms::none);
    // Whoever may read everything reads that one, too.
    const bool isLocked = !std::ifstream(locked).is_open();
    const std::vector<Kind> kinds = {
        {"none", "", 0, 150},
        {"products", file("products", products(100)), 0, 150},
        {"empty", file("empty", ""), 4, 150},
        {"header alone", file("header", kHeader), 4, 150},
        {"damaged", file("damaged", products(10) + "[HKEY_LOCAL"), 4, 140},
        {"random", file("random", random), 4, 100},
        {"unreadable", locked, isLocked ? 4 : 0, 50},
        {"a folder", folder, 4, 50},
        {"missing", (place / "missing").string(), 4, 50},
        {"huge", file("huge", products(200000)), 0, 10},
    };
    int wrong = 0;
    int loads = 0;
    for (const Kind& kind : kinds) {
        for (int i = 0; i < kind.times; ++i, ++loads) {
            std::string said;
            if (!load(arguments[1], kind, said) || complaintsIn(said) != kind.complaints) {
                std::printf("%s: %s\n", kind.name, said.c_str());
                std::fflush(stdout);
                ++wrong;
                break;
            }
        }
    }
    // Each time the registry takes some 6 MiB; what is never destroyed takes an eighth of one.
    const long grown = growth(arguments[1], file("many", products(20000)), 20);
    fs::remove_all(place);
    std::printf("%d loads, %d wrong; 20 more, %ld MiB grown\n", loads, wrong, grown);
    return wrong == 0 && loads == 1000 && grown >= 0 && grown < 50 ? 0 : 1;
}
