#pragma once

#include <exception>
#include <string>

#include "kest/platform/transactions/Transaction.h"

/// Whole trees through a transaction, asked for in the order in which the library's two operations
/// ask: what the transaction manager is made for. Like the calls of the system these functions
/// throw nothing but what stops a process.
namespace Tallowmere::platform::transactions::testing {

/// One call of a transaction. What memory running out throws becomes an error.
template <class Body>
DWORD call(Body body) {
    try {
        return body();
    } catch (const std::exception&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

/// Deletes the tree at `path`; a drive's root is emptied and stays, and its recycle bin is left
/// alone. ERROR_SUCCESS or the first error.
DWORD deleteTree(Transaction& transaction, const std::wstring& path);

/// Copies a tree to a place where none is.
DWORD copyTree(Transaction& transaction, const std::wstring& source,
               const std::wstring& destination);

/// Deletes what is at the path, if anything is.
DWORD deleteIfThere(Transaction& transaction, const std::wstring& path);

DWORD commit(Transaction& transaction);

/// Replaces what is at the destination, if anything is, by a copy of the source; up to the commit.
DWORD replaceTree(Transaction& transaction, const std::wstring& source,
                  const std::wstring& destination);

}  // namespace Tallowmere::platform::transactions::testing
