/* Replaces a tree by a copy of another one, all or nothing: c-host SOURCE DESTINATION */

#include <kest/c_api.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>

/* The caller frees the text. Null when `text` means nothing in the user's locale. */
static wchar_t* widen(const char* text) {
    const size_t length = mbstowcs(NULL, text, 0);
    if (length == (size_t)-1) {
        return NULL;
    }
    wchar_t* wide = malloc((length + 1) * sizeof(wchar_t));
    if (wide != NULL) {
        mbstowcs(wide, text, length + 1);
    }
    return wide;
}

int main(int count, char** arguments) {
    setlocale(LC_ALL, "");
    if (count != 3) {
        fputs("usage: c-host SOURCE DESTINATION\n", stderr);
        return 2;
    }
    /* Without a file the trace goes to the console. */
    wchar_t traceFile[] = L"c-host.log";
    setRecorderFile(traceFile);

    int status = 1;
    wchar_t* source = widen(arguments[1]);
    wchar_t* destination = widen(arguments[2]);
    wchar_t* error = NULL;
    if (source == NULL || destination == NULL) {
        fputs("c-host: a name cannot be read in this locale\n", stderr);
    } else if (CopyDirectoryTransacted(source, destination, &error)) {
        puts("copied");
        status = 0;
    } else {
        fprintf(stderr, "c-host: %ls\n", error);
        /* The library allocated the text, so the library frees it; `error` is null afterwards. */
        deleteKESTArray(&error);
    }
    free(source);
    free(destination);
    return status;
}
