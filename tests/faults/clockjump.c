/* A library to preload into a program. The program then reads its wall clock ten years ahead and
 * ten years behind in turn. Leaves clocks alone that no administrator can set. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdatomic.h>
#include <sys/time.h>
#include <time.h>

static time_t jump(void)
{
    static atomic_uint looks;
    const time_t tenYears = 10L * 365 * 24 * 60 * 60;
    return atomic_fetch_add(&looks, 1) % 2 == 0 ? tenYears : -tenYears;
}

int clock_gettime(clockid_t clock, struct timespec *now)
{
    static int (*real)(clockid_t, struct timespec *);
    if (!real) {
        *(void **)&real = dlsym(RTLD_NEXT, "clock_gettime");
    }
    const int result = real(clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        now->tv_sec += jump();
    }
    return result;
}

int gettimeofday(struct timeval *restrict now, void *restrict zone)
{
    (void)zone;
    struct timespec precise;
    clock_gettime(CLOCK_REALTIME, &precise);
    now->tv_sec = precise.tv_sec;
    now->tv_usec = precise.tv_nsec / 1000;
    return 0;
}

time_t time(time_t *where)
{
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    if (where) {
        *where = now.tv_sec;
    }
    return now.tv_sec;
}
