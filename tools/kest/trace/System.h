#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "trace/Output.h"

/// What differs between the systems for the reader of traces.
namespace Tallowmere::command::trace {

/// Which file a file is, whatever it is called.
struct FileIdentity {
    std::uint64_t volume = 0;
    std::uint64_t index = 0;

    bool operator==(const FileIdentity&) const = default;
};

/// A file that is read while other programs may write, rename and delete it.
class SharedFile {
public:
    SharedFile() = default;
    ~SharedFile();
    SharedFile(SharedFile&& other) noexcept;
    SharedFile& operator=(SharedFile&& other) noexcept;

    /// False, with the reason for a person, when the file cannot be opened; `isMissing` then tells
    /// whether there is none.
    bool open(const std::wstring& path, std::string& reason, bool& isMissing);
    bool isOpen() const { return m_handle != kClosed; }

    /// Reads at `offset`, or simply on where there are no offsets, as in a pipe. Returns 0 at the
    /// end. Throws std::runtime_error with the system's reason.
    std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size);

    FileIdentity identity() const;

    /// Which file has that name now; false when there is none.
    static bool identityOf(const std::wstring& path, FileIdentity& identity);

private:
    static constexpr std::intptr_t kClosed = -1;

    void close();

    std::intptr_t m_handle = kClosed;
};

/// The program's own standard output and standard error.
std::unique_ptr<Output> standardOutput();
std::unique_ptr<Output> standardError();

/// A file that is created or emptied, its bytes as they are written. Null, with the reason for a
/// person, when it cannot be opened.
std::unique_ptr<Output> createFile(const std::wstring& path, std::string& reason);

/// Lets other programs run for so long.
void pauseFor(int milliseconds);

}  // namespace Tallowmere::command::trace
