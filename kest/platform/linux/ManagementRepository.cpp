#include "kest/platform/linux/ManagementRepository.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <variant>

#include "kest/platform/Calls.h"
#include "kest/platform/linux/Descriptor.h"

namespace Tallowmere::platform::management {
namespace {

/// Our choice: a file beyond this is taken for a damaged one, whatever is in it: all of it would have
/// to be held in memory at once, and no computer has that many restore points.
constexpr off_t kLargestFile = off_t{256} << 20;

/// The file's name; empty without one.
std::string repositoryPath() {
    const char* const path = std::getenv("KEST_WMI");
    return path != nullptr ? path : "";
}

bool readAll(int file, std::string& bytes) {
    char buffer[16384];
    for (;;) {
        const ssize_t count = ::read(file, buffer, sizeof(buffer));
        if (count > 0) {
            bytes.append(buffer, static_cast<std::size_t>(count));
        } else if (count == 0) {
            return true;
        } else if (errno != EINTR) {
            return false;
        }
    }
}

bool writeAll(int file, const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t count = ::write(file, bytes.data() + at, bytes.size() - at);
        if (count >= 0) {
            at += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

/// Without waiting for the other end of a pipe: what is no file cannot be read anyhow.
Descriptor openFile(const std::string& path) {
    return Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

HRESULT readFile(int file, Instances& instances) {
    struct stat status;
    std::string bytes;
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        return WBEM_E_PROVIDER_LOAD_FAILURE;
    }
    if (status.st_size > kLargestFile) {
        return WBEM_E_CRITICAL_ERROR;
    }
    if (!readAll(file, bytes)) {
        return WBEM_E_PROVIDER_LOAD_FAILURE;
    }
    return mof::read(bytes, instances) ? WBEM_S_NO_ERROR : WBEM_E_CRITICAL_ERROR;
}

HRESULT notOpened() {
    return errno == EACCES || errno == EPERM ? WBEM_E_ACCESS_DENIED : WBEM_E_PROVIDER_LOAD_FAILURE;
}

bool isPoint(const mof::Instance& instance, std::uint32_t sequenceNumber) {
    if (!mof::isSameName(instance.className, L"SystemRestore")) {
        return false;
    }
    return std::any_of(
        instance.properties.begin(), instance.properties.end(), [&](const mof::Property& property) {
            const auto* const number = std::get_if<mof::Integer>(&property.value);
            return number != nullptr && mof::isSameName(property.name, L"SequenceNumber") &&
                   !number->isNegative && number->value == sequenceNumber;
        });
}

std::string requestLine(std::uint32_t sequenceNumber) {
    SYSTEMTIME now;
    os().GetSystemTime(&now);
    char line[64];
    std::snprintf(line, sizeof(line), "%04d-%02d-%02dT%02d:%02d:%02dZ %lu\n", now.wYear, now.wMonth,
                  now.wDay, now.wHour, now.wMinute, now.wSecond,
                  static_cast<unsigned long>(sequenceNumber));
    return line;
}

/// Adds a line to a file that may not be there yet, all or nothing, whatever happens meanwhile: a
/// new file takes the old one's place. Nobody else does so at the same time.
bool addLine(const std::string& path, const std::string& line) {
    std::string bytes;
    if (const Descriptor old = openFile(path); old) {
        if (!readAll(old.get(), bytes)) {
            return false;
        }
    } else if (errno != ENOENT) {
        return false;
    }
    bytes += line;
    const std::string fresh = path + ".new";
    // What a process that ended in the middle has left.
    (void)::unlink(fresh.c_str());
    const Descriptor file(
        ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (!file) {
        return false;
    }
    if (writeAll(file.get(), bytes) && ::fsync(file.get()) == 0 &&
        ::rename(fresh.c_str(), path.c_str()) == 0) {
        return true;
    }
    (void)::unlink(fresh.c_str());
    return false;
}

Descriptor openFolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == path.npos ? "." : path.substr(0, slash + 1);
    return Descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// The lock goes with the descriptor.
bool lock(int file) {
    while (::flock(file, LOCK_EX) != 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace

HRESULT readInstances(std::shared_ptr<const Instances>& instances) {
    instances.reset();
    auto read = std::make_shared<Instances>();
    if (const std::string path = repositoryPath(); !path.empty()) {
        const Descriptor file = openFile(path);
        const HRESULT result = file ? readFile(file.get(), *read) : notOpened();
        if (FAILED(result)) {
            return result;
        }
    }
    instances = std::move(read);
    return WBEM_S_NO_ERROR;
}

HRESULT requestRestore(std::uint32_t sequenceNumber, LONG& answer) {
    answer = ERROR_INVALID_DATA;
    const std::string path = repositoryPath();
    if (path.empty()) {
        return WBEM_S_NO_ERROR;
    }
    const Descriptor file = openFile(path);
    if (!file) {
        return notOpened();
    }
    Instances instances;
    const HRESULT result = readFile(file.get(), instances);
    if (FAILED(result)) {
        return result;
    }
    if (std::none_of(instances.begin(), instances.end(), [&](const mof::Instance& instance) {
            return isPoint(instance, sequenceNumber);
        })) {
        return WBEM_S_NO_ERROR;
    }
    const std::string requests = path + ".restores";
    const Descriptor folder = openFolderOf(requests);
    if (!folder || !lock(folder.get()) || !addLine(requests, requestLine(sequenceNumber))) {
        return WBEM_E_PROVIDER_FAILURE;
    }
    // So that the new name outlasts a power cut. Some file systems do not know how, which is no
    // failure.
    (void)::fsync(folder.get());
    answer = ERROR_SUCCESS;
    return WBEM_S_NO_ERROR;
}

}  // namespace Tallowmere::platform::management
