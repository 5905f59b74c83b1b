/* A child for the benchmarks to run.
 *
 * bench_child lines N   prints N lines such as an engine prints
 * bench_child bytes N   prints N bytes without the end of a line
 * bench_child paced R S prints R lines a second for S seconds
 * otherwise             prints the steady clock's time at which it began, in nanoseconds */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static void print_lines(long count)
{
    for (long i = 0; i < count; ++i) {
        printf("WARNING: Unit %ld: navigation target out of reach, trying again\n", i);
    }
}

static void print_bytes(long count)
{
    static char piece[65536];
    memset(piece, 'x', sizeof piece);
    while (count > 0) {
        const ssize_t written =
            write(STDOUT_FILENO, piece, count < (long)sizeof piece ? (size_t)count : sizeof piece);
        if (written < 0) {
            exit(1);
        }
        count -= written;
    }
}

static void print_paced(long rate, long seconds)
{
    /* A hundred bursts a second, each at its own time whatever the earlier ones took. */
    const long bursts = seconds * 100;
    struct timespec next;
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (long i = 0; i < bursts; ++i) {
        print_lines(rate / 100);
        fflush(stdout);
        next.tv_nsec += 10000000;
        if (next.tv_nsec >= 1000000000) {
            next.tv_nsec -= 1000000000;
            ++next.tv_sec;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, NULL);
    }
}

int main(int argc, char **argv)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (argc == 3 && strcmp(argv[1], "lines") == 0) {
        print_lines(atol(argv[2]));
    } else if (argc == 3 && strcmp(argv[1], "bytes") == 0) {
        print_bytes(atol(argv[2]));
    } else if (argc == 4 && strcmp(argv[1], "paced") == 0) {
        print_paced(atol(argv[2]), atol(argv[3]));
    } else {
        printf("%lld\n", (long long)now.tv_sec * 1000000000LL + now.tv_nsec);
    }
    return 0;
}
