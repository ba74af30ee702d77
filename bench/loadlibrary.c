/* loadlibrary LIBRARY: how many microseconds Windows takes to load it, in a process of its own. */
#include <stdio.h>
#include <windows.h>

int main(int argc, char** argv) {
    LARGE_INTEGER frequency, begin, end;
    if (argc != 2) {
        fputs("loadlibrary LIBRARY\n", stderr);
        return 2;
    }
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&begin);
    if (LoadLibraryA(argv[1]) == NULL) {
        fprintf(stderr, "LoadLibrary failed: %lu\n", GetLastError());
        return 1;
    }
    QueryPerformanceCounter(&end);
    printf("%.0f\n", (double)(end.QuadPart - begin.QuadPart) * 1e6 / (double)frequency.QuadPart);
    return 0;
}
