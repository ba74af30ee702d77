#include "kest/platform/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace Tallowmere::platform {

class OutputFile::File {
public:
    explicit File(int descriptor) : m_descriptor(descriptor) {}
    ~File() { (void)::close(m_descriptor); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::streamsize write(const char* bytes, std::streamsize count) const {
        std::streamsize written = 0;
        while (written < count) {
            const ssize_t taken =
                ::write(m_descriptor, bytes + written, static_cast<std::size_t>(count - written));
            if (taken > 0) {
                written += taken;
            } else if (taken == 0 || errno != EINTR) {
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

std::streamsize OutputFile::write(const char* bytes, std::streamsize count) {
    return m_file == nullptr ? 0 : m_file->write(bytes, count);
}

std::streamsize OutputFile::xsputn(const char* bytes, std::streamsize count) {
    return write(bytes, count);
}

}  // namespace Tallowmere::platform
