/* For readme-test.py, loaded in front of the C library: the time is the one that the README shows. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdlib.h>
#include <time.h>

static time_t shown(void) {
    return (time_t)atoll(getenv("README_CLOCK"));
}

int clock_gettime(clockid_t clock, struct timespec* time) {
    if (clock == CLOCK_REALTIME) {
        time->tv_sec = shown();
        time->tv_nsec = 0;
        return 0;
    }
    int (*real)(clockid_t, struct timespec*) =
        (int (*)(clockid_t, struct timespec*))dlsym(RTLD_NEXT, "clock_gettime");
    return real(clock, time);
}

time_t time(time_t* result) {
    const time_t now = shown();
    if (result != NULL) {
        *result = now;
    }
    return now;
}
