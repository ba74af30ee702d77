#pragma once

#include <memory>
#include <streambuf>
#include <string>

namespace Tallowmere::platform {

/// A file of bytes in the system's text mode that is written and never read: each text that it is
/// given goes to the system at once, in one piece.
class OutputFile : public std::streambuf {
public:
    OutputFile();
    ~OutputFile() override;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Opens the file, which is created or emptied; other processes may read and write it
    /// meanwhile. Programs that are launched do not inherit it. False when it cannot be opened.
    /// `name` is handed to the system as it is. Once for each object.
    bool open(const std::string& name);

    bool isOpen() const;

    /// The same as sputn: how many bytes the system took, fewer than `count` when the disk is full,
    /// say.
    std::streamsize write(const char* bytes, std::streamsize count);

protected:
    int_type overflow(int_type byte) override;
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;

private:
    class File;
    std::unique_ptr<File> m_file;
};

}  // namespace Tallowmere::platform
