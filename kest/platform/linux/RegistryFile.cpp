#include "kest/platform/linux/RegistryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "kest/platform/linux/Descriptor.h"
#include "kest/platform/linux/Errno.h"
#include "kest/platform/linux/RegistryText.h"

namespace Tallowmere::platform {
namespace {

constexpr std::int64_t kNanosPerSecond = 1000000000;
/// How far behind the clock a file's time stamp can be: a change that soon after another one may
/// leave the stamp as it was.
constexpr std::int64_t kStampGranularity = kNanosPerSecond / 10;

/// Our choice: a file beyond this is taken for a damaged one, whatever is in it. All of a computer's
/// registry as text is smaller; all of a larger file would have to be held in memory at once.
constexpr off_t kLargestFile = off_t{512} << 20;

std::int64_t nanos(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * kNanosPerSecond + time.tv_nsec;
}

/// What tells one state of a file from another.
struct Stamp {
    dev_t device = 0;
    ino_t file = 0;
    off_t size = 0;
    std::int64_t written = 0;
    std::int64_t changed = 0;

    bool operator==(const Stamp&) const = default;
};

Stamp stampOf(const struct stat& status) {
    return {status.st_dev, status.st_ino, status.st_size, nanos(status.st_mtim),
            nanos(status.st_ctim)};
}

/// The last file that was read.
struct Cache {
    /// As before the first file.
    void forget() {
        isSettled = false;
        path = {};
        state = {};
    }

    std::mutex mutex;
    std::string path;
    Stamp stamp;
    /// Whether a later change is certain to have another stamp.
    bool isSettled = false;
    RegistryState state{};
};

Cache& cache() {
    // Never destroyed: the registry may be read until the process ends.
    static Cache* const s_cache = new Cache;
    // A host may load and unload the library many times: what a file held goes with it. Who reads
    // after that reads the file again.
    struct Unload {
        ~Unload() {
            const std::lock_guard<std::mutex> guard(s_cache->mutex);
            s_cache->forget();
        }
    };
    static const Unload s_unload;
    return *s_cache;
}

RegistryState emptyMachine() {
    static const auto* const s_tree = [] {
        auto tree = std::make_shared<RegistryTree>();
        // What the catalogue of installed programs reads is there on every Windows.
        for (const std::u16string_view path :
             {u"Software\\Classes\\Installer\\Products",
              u"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\Folders"}) {
            std::vector<std::u16string_view> parts;
            (void)splitRegistryPath(path, parts);
            RegistryTree::Id key = RegistryTree::LocalMachine;
            for (const std::u16string_view part : parts) {
                key = tree->makeKey(key, part);
            }
        }
        return new std::shared_ptr<const RegistryTree>(std::move(tree));
    }();
    return {ERROR_SUCCESS, *s_tree};
}

/// All bytes of the file, or the error.
DWORD readAll(int file, off_t size, std::string& bytes) {
    bytes.resize(static_cast<std::size_t>(size) + 1);
    std::size_t filled = 0;
    for (;;) {
        const ssize_t count = ::read(file, bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return errno == EISDIR ? ERROR_ACCESS_DENIED : ERROR_REGISTRY_IO_FAILED;
        }
        if (count == 0) {
            bytes.resize(filled);
            return ERROR_SUCCESS;
        }
        filled += static_cast<std::size_t>(count);
        if (filled == bytes.size()) {
            bytes.resize(bytes.size() * 2);
        }
    }
}

/// Reads the file and says in which state of it.
RegistryState readFile(const std::string& path, Stamp& stamp, bool& isSettled) {
    // Not to wait, whatever the name leads to: the library may be in the middle of being loaded.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) {
        return {errorFromErrno(errno), nullptr};
    }
    struct stat status;
    if (::fstat(file.get(), &status) != 0) {
        return {errorFromErrno(errno), nullptr};
    }
    stamp = stampOf(status);
    timespec now{};
    (void)::clock_gettime(CLOCK_REALTIME, &now);
    isSettled = nanos(now) - std::max(stamp.written, stamp.changed) > kStampGranularity;
    if (!S_ISREG(status.st_mode)) {
        return {S_ISDIR(status.st_mode) ? ERROR_ACCESS_DENIED : ERROR_BADDB, nullptr};
    }
    if (status.st_size > kLargestFile) {
        return {ERROR_BADDB, nullptr};
    }
    std::string bytes;
    const DWORD error = readAll(file.get(), status.st_size, bytes);
    if (error != ERROR_SUCCESS) {
        return {error, nullptr};
    }
    auto tree = std::make_shared<RegistryTree>();
    if (!readRegistryText(bytes, *tree)) {
        return {ERROR_BADDB, nullptr};
    }
    return {ERROR_SUCCESS, std::move(tree)};
}

RegistryState readThroughCache(const std::string& path) {
    Cache& last = cache();
    const std::lock_guard<std::mutex> guard(last.mutex);
    struct stat status;
    const bool isThere = ::stat(path.c_str(), &status) == 0;
    if (isThere && last.isSettled && last.path == path && last.stamp == stampOf(status)) {
        return last.state;
    }
    last.forget();
    last.path = path;
    last.state = readFile(path, last.stamp, last.isSettled);
    return last.state;
}

}  // namespace

RegistryState currentRegistry() {
    const char* const path = std::getenv("KEST_REGISTRY");
    try {
        return path == nullptr || *path == '\0' ? emptyMachine() : readThroughCache(path);
    } catch (const std::bad_alloc&) {
        return {ERROR_NOT_ENOUGH_MEMORY, nullptr};
    } catch (const std::length_error&) {
        return {ERROR_NOT_ENOUGH_MEMORY, nullptr};
    }
}

}  // namespace Tallowmere::platform
