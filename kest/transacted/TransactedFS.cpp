#include "kest/transacted/TransactedFS.h"

#include <exception>

#include "kest/platform/Calls.h"
#include "kest/transacted/Containment.h"
#include "kest/transacted/CopyWalk.h"
#include "kest/transacted/DeleteWalk.h"
#include "kest/transacted/Failure.h"

namespace Tallowmere {

using platform::os;

namespace {

/// Runs `body` inside a new transaction and commits it. The transaction's invalid value is all
/// ones; null is a handle like any other.
template <class Body>
void inTransaction(wchar_t* description, const Body& body) {
    HANDLE transaction = INVALID_HANDLE_VALUE;
    try {
        transaction = os().CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, description);
        if (transaction == INVALID_HANDLE_VALUE) {
            reportFailure(L"CreateTransaction", true, true);
        }
        body(transaction);
        if (!os().CommitTransaction(transaction)) {
            reportFailure(L"CommitTransaction", true, true);
        }
        // Deliberate: the handle of a committed transaction stays open. Each successful call costs
        // the process one handle.
    } catch (const std::exception&) {
        // Closed without a commit, a transaction is rolled back. Deliberate: an exception of any
        // other type leaves it open, and what was done in it pending until the process ends.
        if (transaction != INVALID_HANDLE_VALUE) {
            (void)os().CloseHandle(transaction);
        }
        throw;
    }
}

/// Whether there is something at `path`. When there is not, the last error says why.
bool exists(HANDLE transaction, const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    return os().GetFileAttributesTransactedW(path.c_str(), GetFileExInfoStandard, &data,
                                             transaction) != FALSE;
}

/// Deletes the tree at `path`. Deliberate: a tree that is not there, the normal case of a new
/// destination, costs an ERROR trace line and no more.
void deleteTree(HANDLE transaction, const std::wstring& path) {
    if (exists(transaction, path)) {
        DeleteWalk(transaction).walk(path, std::wstring());
    } else {
        reportFailure(L"GetFileAttributesTransacted", false, true);
    }
}

}  // namespace

void CopyDirectoryTransacted(const std::wstring& source, const std::wstring& destination) {
    wchar_t description[] = L"CopyDirectoryTransacted";
    inTransaction(description, [&](HANDLE transaction) {
        if (!exists(transaction, source)) {
            reportFailure(L"GetFileAttributesTransacted", false, true);
            reportFailure((L"Copy failed: " + source + L" does not exist").c_str(), true, false);
        }
        refuseCopyIntoItself(source, destination);
        deleteTree(transaction, destination);
        CopyWalk(transaction).walk(source, destination);
    });
}

void DeleteDirectoryTransacted(std::wstring path) {
    wchar_t description[] = L"DeleteDirectoryTransacted";
    inTransaction(description, [&](HANDLE transaction) { deleteTree(transaction, path); });
}

}  // namespace Tallowmere
