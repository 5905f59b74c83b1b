/* Loaded in front of a program, makes every write to a file take as long as on a disk of
 * BENCH_DISK_RATE bytes per second. Holds up the calling thread, as a real disk does, and no other
 * kind of descriptor. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>

static void hold_up(int descriptor, ssize_t written)
{
    static atomic_long rate;
    if (atomic_load(&rate) == 0) {
        const char *text = getenv("BENCH_DISK_RATE");
        atomic_store(&rate, text ? atol(text) : -1);
    }
    const long bytes_per_second = atomic_load(&rate);
    struct stat info;
    if (written <= 0 || bytes_per_second <= 0 || fstat(descriptor, &info) != 0 ||
        !S_ISREG(info.st_mode)) {
        return;
    }
    const double seconds = (double)written / (double)bytes_per_second;
    struct timespec time = {(time_t)seconds, (long)((seconds - (double)(time_t)seconds) * 1e9)};
    nanosleep(&time, NULL);
}

ssize_t write(int descriptor, const void *bytes, size_t count)
{
    static ssize_t (*real)(int, const void *, size_t);
    if (!real) {
        *(void **)&real = dlsym(RTLD_NEXT, "write");
    }
    const ssize_t written = real(descriptor, bytes, count);
    hold_up(descriptor, written);
    return written;
}

ssize_t pwrite(int descriptor, const void *bytes, size_t count, off_t offset)
{
    static ssize_t (*real)(int, const void *, size_t, off_t);
    if (!real) {
        *(void **)&real = dlsym(RTLD_NEXT, "pwrite");
    }
    const ssize_t written = real(descriptor, bytes, count, offset);
    hold_up(descriptor, written);
    return written;
}

ssize_t pwrite64(int descriptor, const void *bytes, size_t count, off64_t offset)
{
    return pwrite(descriptor, bytes, count, offset);
}
