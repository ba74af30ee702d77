#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace Tallowmere::platform::testing {

/// A folder of a test's own, removed with all that is in it at the end.
class TempTree {
public:
    TempTree();
    ~TempTree();
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    const std::filesystem::path& root() const { return m_root; }
    std::filesystem::path operator/(const std::string& relative) const { return m_root / relative; }
    /// The wide text of a path below the folder, as the library takes it.
    std::wstring wide(const std::string& relative) const;

    void makeDirectory(const std::string& relative) const;
    void write(const std::string& relative, const std::string& content) const;
    std::string read(const std::string& relative) const;
    bool exists(const std::string& relative) const;

    /// All that is below `relative`, by path with "/": "dir", "file CONTENT", "link TARGET" or
    /// "other". Empty when there is nothing.
    std::map<std::string, std::string> snapshot(const std::string& relative = "") const;

private:
    std::filesystem::path m_root;
};

}  // namespace Tallowmere::platform::testing
