#pragma once

#include <string>

namespace Tallowmere::testing {

/// The name of a file of a test's own, in the system's folder for such; the file is removed in the
/// end. No two of them ever have the same name.
class ScratchFile {
public:
    ScratchFile();
    ~ScratchFile();
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const std::string& name() const { return m_name; }
    const std::wstring& path() const { return m_path; }

    bool exists() const;
    /// What the file holds, each line ended by a line feed. Empty also for a missing file.
    std::string text() const;
    /// What the file holds, byte by byte.
    std::string bytes() const;
    /// Makes the file `size` bytes long by writing its last byte, as another process would.
    void grow(long size) const;

private:
    std::string m_name;
    std::wstring m_path;
};

}  // namespace Tallowmere::testing
