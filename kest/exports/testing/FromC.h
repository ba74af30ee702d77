#ifndef KEST_EXPORTS_TESTING_FROM_C_H
#define KEST_EXPORTS_TESTING_FROM_C_H

/* Checks of the C entry points that are compiled as C. */

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Calls CopyLink and compares: its result is to be `text == NULL`, and the reason it hands over is
 * to be `text`. Gives that text back. Null when all was so, else what was wrong. */
const char* checkCopyLinkFromC(const wchar_t* source, const wchar_t* destination,
                               const wchar_t* text);

#ifdef __cplusplus
}
#endif

#endif
