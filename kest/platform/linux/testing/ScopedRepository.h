#pragma once

#include <cstdlib>
#include <optional>
#include <string>

#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform::testing {

/// A file for the management service, named by KEST_WMI while this lives.
class ScopedRepository {
public:
    /// Without a text there is no file, and the variable names one that is not there.
    explicit ScopedRepository(const std::string& text) : ScopedRepository() { write(text); }
    ScopedRepository() {
        if (const char* const old = std::getenv("KEST_WMI")) {
            m_old = old;
        }
        set((m_tree / "points.mof").string());
    }
    ~ScopedRepository() {
        if (m_old) {
            set(*m_old);
        } else {
            ::unsetenv("KEST_WMI");
        }
    }
    ScopedRepository(const ScopedRepository&) = delete;
    ScopedRepository& operator=(const ScopedRepository&) = delete;

    void write(const std::string& text) const { m_tree.write("points.mof", text); }
    /// What was asked to be restored, one line each.
    std::string requests() const {
        return m_tree.exists("points.mof.restores") ? m_tree.read("points.mof.restores") : "";
    }
    const TempTree& tree() const { return m_tree; }
    static void set(const std::string& path) { ::setenv("KEST_WMI", path.c_str(), 1); }

private:
    TempTree m_tree;
    std::optional<std::string> m_old;
};

/// A declaration of a restore point.
inline std::string mofPoint(const std::string& description, int type, const std::string& time,
                            unsigned long number) {
    return "instance of SystemRestore { Description = \"" + description +
           "\"; RestorePointType = " + std::to_string(type) + "; CreationTime = \"" + time +
           "\"; SequenceNumber = " + std::to_string(number) + "; };\n";
}

}  // namespace Tallowmere::platform::testing
