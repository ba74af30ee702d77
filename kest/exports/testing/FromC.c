#include "kest/exports/testing/FromC.h"

#include <wchar.h>

#include "kest/c_api.h"

_Static_assert(sizeof(CopyLink(L"", L"", NULL)) == 1, "the result is one byte");

const char* checkCopyLinkFromC(const wchar_t* source, const wchar_t* destination,
                               const wchar_t* text) {
    wchar_t left[] = L"left from before";
    wchar_t* error = left;
    if (CopyLink(source, destination, &error) != (text == NULL)) {
        if (error != left) {
            deleteKESTArray(&error);
        }
        return "the result";
    }
    if (error == left) {
        return "the reason was not set";
    }
    if (text == NULL) {
        return error == NULL ? NULL : "a reason after a success";
    }
    if (error == NULL) {
        return "no reason after a failure";
    }
    const bool same = wcscmp(text, error) == 0;
    deleteKESTArray(&error);
    if (error != NULL) {
        return "the reason was not taken back";
    }
    return same ? NULL : "the reason's text";
}
