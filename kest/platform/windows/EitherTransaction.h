#pragma once

#include <mutex>
#include <string>

#include "kest/platform/windows/SystemCalls.h"

namespace Tallowmere::platform::kernel {

/// What a call does with the path that it gets.
enum class Use {
    Ask,     ///< asks about the entry
    Search,  ///< searches the directory before the pattern
    Change,  ///< changes the directory that holds the entry
};

/// Which manager a call goes to.
struct Target {
    /// The kernel's manager; null stands for ours.
    const SystemCalls* system = nullptr;
    /// The transaction in that manager.
    HANDLE transaction = INVALID_HANDLE_VALUE;
    /// Why the call cannot be made at all.
    DWORD error = ERROR_SUCCESS;
    /// Held during the call while the manager is still to be chosen.
    std::unique_lock<std::mutex> choice;
};

/// A transaction that is the kernel's or ours as the volumes need that it has to do with. The
/// kernel's manager serves only volumes that say so, on the computer itself; on any other (a
/// removable drive, a share, a newer file system) each of its calls fails.
///
///   undecided   Nothing was changed. All that was met lies on volumes with transactions. The
///               kernel's transaction is open. Searches go to the kernel, so that they go on in the
///               transaction that is going to change what they find; questions about a path go to a
///               transaction of ours, which shows the same while nothing has changed, and in
///               passing brings to its end whatever a crash of ours may have left at the place.
///   kernel's    The first change is on a volume with transactions, like all that was met before.
///   ours        A volume without transactions, or one that cannot be asked, was met before the
///               first change, or nothing was changed until the commit.
///
/// Our choice: a volume that was only read counts as well, because the kernel's manager copies from
/// no other volumes than those that it can change; its call to copy a file opens the source in the
/// transaction. Ours serves every volume, so reading such a one is no obstacle.
///
/// A search that was begun while undecided in a transaction that turns out to be ours goes on as
/// the kernel's: it shows what the disk has, without what the transaction changes from then on. The
/// tree walk never meets that, since it asks for both of its paths before it searches.
class EitherTransaction {
public:
    explicit EitherTransaction(const SystemCalls& system) : m_system(system) {}
    /// Rolls back what was not committed.
    ~EitherTransaction();
    EitherTransaction(const EitherTransaction&) = delete;
    EitherTransaction& operator=(const EitherTransaction&) = delete;

    /// Takes over a new transaction of the kernel's. False when it is none. Before anything else.
    bool begin(HANDLE kernels);

    /// Where a call goes that uses `path`, and that reads `source` if it is not null. The last
    /// error is left alone.
    Target targetFor(Use use, const wchar_t* path, const wchar_t* source = nullptr);

    BOOL commit();

private:
    enum class Manager { Undecided, Kernels, Ours };

    DWORD decide(Use use, const wchar_t* path, const wchar_t* source);
    DWORD openOurs();
    DWORD becomeOurs();
    DWORD becomeKernels();
    void leaveKernels();

    const SystemCalls& m_system;
    std::mutex m_mutex;
    Manager m_manager = Manager::Undecided;
    HANDLE m_kernels = INVALID_HANDLE_VALUE;
    HANDLE m_ours = INVALID_HANDLE_VALUE;
    /// Whether a search of the kernel's was begun, which ends with its transaction.
    bool m_hasSearched = false;
};

/// Whether the kernel's manager serves the volume on which a directory stands, or would stand; its
/// path as a text (see WindowsPaths.h). A volume that cannot be asked is taken for one without
/// transactions.
bool hasTransactions(const SystemCalls& system, const std::wstring& text);

}  // namespace Tallowmere::platform::kernel
