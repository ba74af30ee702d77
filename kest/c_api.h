#ifndef KEST_C_API_H
#define KEST_C_API_H

/* The entry points for callers that cannot use classes. Compiles as C11 and as C++.
 *
 * wchar_t has 2 bytes on Windows and 4 on Linux; bool has one byte everywhere. */

#include <stdbool.h>
#include <stddef.h>

#include "kest/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Writes one trace line. `file` is cut to its last path component; `severity` is 0 INFO, 1
 * WARNING, 2 ERROR, 3 CRITICAL, and any other value writes nothing; `message` is written as it
 * stands. */
KEST_API void logMessage(wchar_t* file, int line, int severity, wchar_t* message);

/** Directs the trace into the file at `path`, which is emptied. Only the first call has that
 * effect; a file that cannot be opened is no error, its trace is lost. */
KEST_API void setRecorderFile(wchar_t* path);

/** Frees a text that the library handed out and sets `*text` to null. A null `*text` is harmless.
 */
KEST_API void deleteKESTArray(wchar_t** text);

/** Replaces the tree at `destination` by a copy of the tree at `source`, all or nothing. True on
 * success. `*error` is set to null first and, on failure, to the reason: the caller frees it with
 * deleteKESTArray. It stays null on failure when there is no memory for the reason. */
KEST_API bool CopyDirectoryTransacted(const wchar_t* source, const wchar_t* destination,
                                      wchar_t** error);

/** Makes a symbolic link at `destination` that points where the link at `source` leads in the end.
 * True on success. `*error` is set to null first and, on failure, to the reason: the caller frees
 * it with deleteKESTArray. It stays null on failure when there is no memory for the reason. */
KEST_API bool CopyLink(const wchar_t* source, const wchar_t* destination, wchar_t** error);

/** Asks the operating system to restore itself to the restore point of that number, which it does
 * at the next start of the machine; the caller sees to that. True when the system has answered:
 * what it answered is in the trace alone, so a number that does not exist gives true as well.
 * `*error` is set to null first and, on failure, to the reason: the caller frees it with
 * deleteKESTArray. It stays null on failure when there is no memory for the reason. After a failure
 * of the service itself the session stays open and COM initialised on the thread. */
KEST_API bool restoreSystem(unsigned long sequenceNumber, wchar_t** error);

#ifdef __cplusplus
}
#endif

#endif
