#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "kest/platform/transactions/Disk.h"

namespace Tallowmere::platform {

/// A directory of a Windows disk: where it stands and which one it is.
///
/// No handle is kept. An open one would keep the directory and all above it from being renamed,
/// which is how changes are published. So it is found by its path each time; that it is the same
/// one is looked at where it matters (see WindowsDisk::checkEntry).
class WindowsDirectory : public transactions::Directory {
public:
    /// `path` in the system's form, `number` its file number on the volume.
    WindowsDirectory(std::wstring path, bool isRoot, std::uint64_t number)
        : m_path(std::move(path)), m_isRoot(isRoot), m_number(number) {}

    /// The path, for putting something behind it.
    const std::wstring& path() const { return m_path; }
    /// The path that stands for the directory itself.
    std::wstring self() const { return m_isRoot ? m_path + L'\\' : m_path; }
    /// The path of an entry: one name or several with "/" between; "." is the directory itself.
    std::wstring entry(const std::wstring& name) const {
        if (name == L".") {
            return self();
        }
        std::wstring path = m_path;
        path.append(1, L'\\').append(name);
        std::replace(path.begin() + static_cast<std::ptrdiff_t>(m_path.size()), path.end(), L'/',
                     L'\\');
        return path;
    }
    std::uint64_t number() const { return m_number; }

    /// Where its volume is mounted; asked for once.
    std::wstring volume;
    /// Whether a lock of ours is held on it, whose file is no entry.
    bool isLocked = false;

private:
    std::wstring m_path;
    bool m_isRoot;
    std::uint64_t m_number;
};

}  // namespace Tallowmere::platform
