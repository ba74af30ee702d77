#include "kest/platform/OutputFile.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace Tallowmere::platform {

class OutputFile::File {
public:
    explicit File(int descriptor) : m_descriptor(descriptor) {}
    ~File() { (void)::close(m_descriptor); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /// What the system takes at once. Not by the C library's function of that name, at which a
    /// thread can be cancelled: that is a tenth of the price in a process with threads, and in the
    /// midst of a trace line nobody wants to be.
    ssize_t write(const char* bytes, std::streamsize count) const {
        return ::syscall(SYS_write, m_descriptor, bytes, static_cast<std::size_t>(count));
    }

    /// How many bytes the system took, of which it took `taken` first.
    [[gnu::noinline]] std::streamsize writeRest(const char* bytes, std::streamsize count,
                                                ssize_t taken) const {
        std::streamsize written = 0;
        for (;; taken = write(bytes + written, count - written)) {
            if (taken > 0) {
                written += taken;
            } else if (taken == 0 || errno != EINTR) {
                break;
            }
            if (written >= count) {
                break;
            }
        }
        return written;
    }

private:
    int m_descriptor;
};

OutputFile::OutputFile() = default;
OutputFile::~OutputFile() = default;

bool OutputFile::open(const std::string& name) {
    const int descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        return false;
    }
    try {
        m_file = std::make_unique<File>(descriptor);
    } catch (...) {
        (void)::close(descriptor);
        throw;
    }
    return true;
}

bool OutputFile::isOpen() const {
    return m_file != nullptr;
}

OutputFile::int_type OutputFile::overflow(int_type byte) {
    if (traits_type::eq_int_type(byte, traits_type::eof())) {
        return traits_type::not_eof(byte);
    }
    const char value = traits_type::to_char_type(byte);
    return xsputn(&value, 1) == 1 ? byte : traits_type::eof();
}

[[gnu::hot]] std::streamsize OutputFile::write(const char* bytes, std::streamsize count) {
    if (m_file == nullptr || count <= 0) {
        return 0;
    }
    const ssize_t taken = m_file->write(bytes, count);
    return taken == count ? count : m_file->writeRest(bytes, count, taken);
}

std::streamsize OutputFile::xsputn(const char* bytes, std::streamsize count) {
    return write(bytes, count);
}

}  // namespace Tallowmere::platform
