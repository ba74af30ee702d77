#include <exception>
#include <new>
#include <string>

#include "kest/c_api.h"
#include "kest/text/Strings.h"
#include "kest/transacted/Links.h"
#include "kest/transacted/TransactedFS.h"

namespace {

/// Runs an operation on two paths. False, and the reason in `*error`, when it throws an exception
/// of the standard family; any other passes through to the caller.
bool perform(void (*operation)(const std::wstring&, const std::wstring&), const wchar_t* source,
             const wchar_t* destination, wchar_t** error) {
    *error = nullptr;
    try {
        // A null path is refused here, by the text type itself, and reported as any failure is.
        const std::wstring from(source);
        const std::wstring to(destination);
        operation(from, to);
        return true;
    } catch (const std::exception& failure) {
        // Deliberate: the message has lost the upper bytes of its characters on its way through
        // what(), and gets each byte from 0x80 on back as 0xFF80 and up.
        try {
            *error = Tallowmere::allocateString(failure.what());
        } catch (const std::bad_alloc&) {
            // Our choice: without memory for the text it stays null, and the result alone tells. A
            // caller in C could not catch anything.
        }
        return false;
    }
}

}  // namespace

extern "C" bool CopyDirectoryTransacted(const wchar_t* source, const wchar_t* destination,
                                        wchar_t** error) {
    return perform(&Tallowmere::CopyDirectoryTransacted, source, destination, error);
}

extern "C" bool CopyLink(const wchar_t* source, const wchar_t* destination, wchar_t** error) {
    return perform(&Tallowmere::CopyLink, source, destination, error);
}
