/* Asks the operating system to restore itself: c-restore-host NUMBER, a restore point's number */

#include <kest/c_api.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>

int main(int count, char** arguments) {
    setlocale(LC_ALL, "");
    char* end = NULL;
    const unsigned long number = count == 2 ? strtoul(arguments[1], &end, 10) : 0;
    if (count != 2 || end == arguments[1] || *end != '\0') {
        fputs("usage: c-restore-host NUMBER\n", stderr);
        return 2;
    }
    /* Without a file the trace goes to the console. What the system answered stands there alone. */
    wchar_t traceFile[] = L"c-restore-host.log";
    setRecorderFile(traceFile);

    wchar_t* error = NULL;
    if (restoreSystem(number, &error)) {
        puts("the system has answered");
        return 0;
    }
    fprintf(stderr, "c-restore-host: %ls\n", error);
    /* The library allocated the text, so the library frees it; `error` is null afterwards. */
    deleteKESTArray(&error);
    return 1;
}
