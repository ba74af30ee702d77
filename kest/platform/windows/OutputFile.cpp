#include "kest/platform/OutputFile.h"

#include <fstream>

namespace Tallowmere::platform {

/// The run-time's own file: it knows the text mode.
class OutputFile::File : public std::filebuf {};

OutputFile::OutputFile() = default;
OutputFile::~OutputFile() = default;

bool OutputFile::open(const std::string& name) {
    auto file = std::make_unique<File>();
    // Bytes pass through as they are and at once.
    file->pubimbue(std::locale::classic());
    file->pubsetbuf(nullptr, 0);
    if (file->open(name.c_str(), std::ios_base::out) == nullptr) {
        return false;
    }
    m_file = std::move(file);
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

std::streamsize OutputFile::xsputn(const char* bytes, std::streamsize count) {
    return write(bytes, count);
}

std::streamsize OutputFile::write(const char* bytes, std::streamsize count) {
    if (m_file == nullptr) {
        return 0;
    }
    const std::streamsize written = m_file->sputn(bytes, count);
    return m_file->pubsync() == 0 ? written : 0;
}

}  // namespace Tallowmere::platform
