/* Loaded in front of a program, makes its wall clock jump: the file that $CLOCK_JUMP names says by
 * how many seconds, and may be changed at any time. The word "wild" in place of a number makes each
 * look at the clock ten years off, into the past and into the future in turns. Clocks that no
 * administrator can set are left alone. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

static const long tenYears = 10L * 365 * 24 * 60 * 60;

static long jump(void)
{
    static atomic_uint looks;
    const int saved = errno;
    const char *name = getenv("CLOCK_JUMP");
    char text[32] = "";
    /* Not kept open: programs that count their descriptors shall find none of ours. */
    const int file = name ? open(name, O_RDONLY | O_CLOEXEC) : -1;
    if (file >= 0) {
        if (read(file, text, sizeof text - 1) < 0) {
            text[0] = '\0';
        }
        close(file);
    }
    errno = saved;
    if (strncmp(text, "wild", 4) == 0) {
        return atomic_fetch_add(&looks, 1) % 2 == 0 ? tenYears : -tenYears;
    }
    return strtol(text, NULL, 10);
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
    static int (*real)(struct timeval *, void *);
    if (!real) {
        *(void **)&real = dlsym(RTLD_NEXT, "gettimeofday");
    }
    const int result = real(now, zone);
    now->tv_sec += jump();
    return result;
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
