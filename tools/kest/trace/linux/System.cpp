#include "trace/System.h"

#include <fcntl.h>
#include <kest/kest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace Tallowmere::command::trace {
namespace {

int descriptorOf(std::intptr_t handle) {
    return static_cast<int>(handle);
}

FileIdentity identityOf(const struct stat& status) {
    return {status.st_dev, status.st_ino};
}

class Descriptor : public Output {
public:
    Descriptor(int descriptor, bool isOwned)
        : m_descriptor(descriptor), m_isOwned(isOwned), m_hasColours(!isOwned && knowsColours()) {}

    ~Descriptor() override {
        if (m_isOwned) {
            ::close(m_descriptor);
        }
    }

    void write(std::string_view text) override {
        m_waiting.append(text);
        if (m_waiting.size() >= kBlock) {
            flush();
        }
    }

    void flush() override {
        std::string text;
        text.swap(m_waiting);
        for (std::string_view rest = text; !rest.empty();) {
            const ssize_t count = ::write(m_descriptor, rest.data(), rest.size());
            if (count < 0 && errno != EINTR) {
                throw std::runtime_error(std::string("cannot write: ") + std::strerror(errno));
            }
            rest.remove_prefix(static_cast<std::size_t>(count < 0 ? 0 : count));
        }
        m_waiting.swap(text);
        m_waiting.clear();
    }

    bool hasColours() const override { return m_hasColours; }

private:
    static constexpr std::size_t kBlock = 1U << 16;

    bool knowsColours() const {
        const char* const refusal = std::getenv("NO_COLOR");
        const char* const kind = std::getenv("TERM");
        return isatty(m_descriptor) != 0 && (refusal == nullptr || *refusal == '\0') &&
               kind != nullptr && std::string_view(kind) != "dumb";
    }

    int m_descriptor;
    bool m_isOwned;
    bool m_hasColours;
    std::string m_waiting;
};

}  // namespace

SharedFile::~SharedFile() {
    close();
}

SharedFile::SharedFile(SharedFile&& other) noexcept
    : m_handle(std::exchange(other.m_handle, kClosed)) {}

SharedFile& SharedFile::operator=(SharedFile&& other) noexcept {
    if (this != &other) {
        close();
        m_handle = std::exchange(other.m_handle, kClosed);
    }
    return *this;
}

void SharedFile::close() {
    if (isOpen()) {
        ::close(descriptorOf(m_handle));
        m_handle = kClosed;
    }
}

bool SharedFile::open(const std::wstring& path, std::string& reason, bool& isMissing) {
    close();
    const int descriptor = ::open(toNative(path).c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) {
        isMissing = errno == ENOENT;
        reason = std::strerror(errno);
        return false;
    }
    m_handle = descriptor;
    return true;
}

std::size_t SharedFile::readAt(std::uint64_t offset, char* buffer, std::size_t size) {
    for (;;) {
        ssize_t count = ::pread(descriptorOf(m_handle), buffer, size, static_cast<off_t>(offset));
        if (count < 0 && errno == ESPIPE) {
            count = ::read(descriptorOf(m_handle), buffer, size);
        }
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            throw std::runtime_error(std::strerror(errno));
        }
    }
}

FileIdentity SharedFile::identity() const {
    struct stat status {};
    if (::fstat(descriptorOf(m_handle), &status) != 0) {
        throw std::runtime_error(std::strerror(errno));
    }
    return trace::identityOf(status);
}

bool SharedFile::identityOf(const std::wstring& path, FileIdentity& identity) {
    struct stat status {};
    if (::stat(toNative(path).c_str(), &status) != 0) {
        return false;
    }
    identity = trace::identityOf(status);
    return true;
}

std::unique_ptr<Output> standardOutput() {
    return std::make_unique<Descriptor>(STDOUT_FILENO, false);
}

std::unique_ptr<Output> standardError() {
    return std::make_unique<Descriptor>(STDERR_FILENO, false);
}

std::unique_ptr<Output> createFile(const std::wstring& path, std::string& reason) {
    const int descriptor =
        ::open(toNative(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY, 0666);
    if (descriptor < 0) {
        reason = std::strerror(errno);
        return nullptr;
    }
    return std::make_unique<Descriptor>(descriptor, true);
}

void pauseFor(int milliseconds) {
    ::poll(nullptr, 0, milliseconds);
}

}  // namespace Tallowmere::command::trace
