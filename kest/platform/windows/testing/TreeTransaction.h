#pragma once

#include <string>

#include "kest/platform/Calls.h"

namespace Tallowmere::platform::testing {

/// A transaction of our own manager that works on whole trees, as a tree walk does. Each operation
/// answers with the error of the first call that failed, 0 when none did; the transaction is closed
/// at the end of its scope. Paths may be of any length.
class TreeTransaction {
public:
    TreeTransaction();
    ~TreeTransaction();
    TreeTransaction(const TreeTransaction&) = delete;
    TreeTransaction& operator=(const TreeTransaction&) = delete;

    HANDLE get() const { return m_handle; }

    DWORD look(const std::wstring& path);
    DWORD copyFile(const std::wstring& source, const std::wstring& destination);
    DWORD removeFile(const std::wstring& path);
    DWORD removeDirectory(const std::wstring& path);
    /// The tree with its top.
    DWORD removeTree(const std::wstring& path);
    DWORD removeEntriesOf(const std::wstring& path);
    DWORD copyTree(const std::wstring& source, const std::wstring& destination);
    DWORD copyEntriesOf(const std::wstring& source, const std::wstring& destination);
    /// Removes what is at the destination and copies the source there.
    DWORD replaceTree(const std::wstring& source, const std::wstring& destination);
    DWORD commit();

private:
    HANDLE m_handle;
};

}  // namespace Tallowmere::platform::testing
