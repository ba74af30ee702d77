#pragma once

#include <atomic>
#include <ostream>
#include <string>
#include <string_view>

#include "kest/diagnostics/LineText.h"
#include "kest/diagnostics/Utf8Buffer.h"
#include "kest/platform/OutputFile.h"

namespace Tallowmere {

/// The trace file as a wide output stream. The file is opened for output alone, in text mode, which
/// empties it and denies other processes nothing. Our choice: its text is UTF-8 on every system, so
/// that no name can stop the trace; numbers are written as in the classic locale.
///
/// A file that cannot be opened leaves the stream failed for good. A write that fails later does
/// not fail the stream: see Utf8Buffer.
class TraceFile : public std::wostream {
public:
    /// `name` is handed to the system as it is.
    explicit TraceFile(const std::string& name);
    ~TraceFile() override;
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    /// Our choice: a piece whose own insertion failed must not take the following lines with it.
    /// Forgets such a failure, but not that the file could not be opened.
    void beginLine();

    /// Whether the stream is in the state in which it was opened, so that text and numbers may be
    /// gathered beside it with the same result: as of the last look. On any thread.
    bool isPlain() const { return m_isPlain.load(std::memory_order_relaxed); }
    /// Looks: after each insertion into the stream, since a host's insertion operator may leave
    /// anything behind.
    void look();

    /// Gathers `line`, which is left empty, behind what was inserted so far.
    void gather(LineText& line) { m_buffer.gather(line); }
    /// Writes what was inserted so far and behind it `line`, which is left empty.
    void writeLine(LineText& line) { m_buffer.handOn(line); }
    /// The same for a line with which nothing is unusual; false, and nothing has happened, for any
    /// other.
    bool writeUsualLine(LineText& line) {
        const std::string_view bytes = line.bytes();
        if (!m_buffer.isAtRest() || line.isPairOpen() || bytes.empty()) [[unlikely]] {
            return false;
        }
        const std::streamsize written =
            m_file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        m_buffer.hasHandedOn(bytes, static_cast<std::size_t>(written));
        line.clearBytes();
        return true;
    }

private:
    platform::OutputFile m_file;
    Utf8Buffer m_buffer;
    std::atomic<bool> m_isPlain{false};
};

}  // namespace Tallowmere
