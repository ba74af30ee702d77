#pragma once

#include <fstream>
#include <ostream>
#include <string>

#include "kest/diagnostics/Utf8Buffer.h"

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

private:
    std::filebuf m_file;
    Utf8Buffer m_buffer;
};

}  // namespace Tallowmere
