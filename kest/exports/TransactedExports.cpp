#include <exception>
#include <string>

#include "kest/c_api.h"
#include "kest/text/Strings.h"
#include "kest/transacted/TransactedFS.h"

extern "C" bool CopyDirectoryTransacted(const wchar_t* source, const wchar_t* destination,
                                        wchar_t** error) {
    *error = nullptr;
    try {
        // A null path is refused here, by the text type itself, and reported as any failure is.
        const std::wstring from(source);
        const std::wstring to(destination);
        Tallowmere::CopyDirectoryTransacted(from, to);
        return true;
    } catch (const std::exception& failure) {
        // Deliberate: the message has lost the upper bytes of its characters on its way through
        // what(), and gets each byte from 0x80 on back as 0xFF80 and up. Exceptions outside the
        // standard family pass through to the caller.
        *error = Tallowmere::allocateString(failure.what());
        return false;
    }
}
