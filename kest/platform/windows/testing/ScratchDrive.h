#pragma once

#include <memory>
#include <string>

#include "kest/platform/Win32.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform::testing {

/// A drive letter for a folder of a test's own. Under Wine it is a drive like any other, with a
/// root of its own; on Windows it is another name of the folder.
class ScratchDrive {
public:
    ScratchDrive();
    ~ScratchDrive();
    ScratchDrive(const ScratchDrive&) = delete;
    ScratchDrive& operator=(const ScratchDrive&) = delete;

    /// What stands on the drive.
    const TempTree& tree() const { return *m_tree; }
    /// "K:", say.
    const std::wstring& letter() const { return m_letter; }
    /// The path of something on it.
    std::wstring wide(const std::wstring& relative) const { return m_letter + L"\\" + relative; }

private:
    void define();
    void remove();

    std::unique_ptr<TempTree> m_tree;
    std::wstring m_letter;
    std::string m_link;
    HANDLE m_turn = nullptr;
};

}  // namespace Tallowmere::platform::testing
