/* Stands in for the engine: prints the steady clock's time at its start, in nanoseconds. */

#include <stdio.h>
#include <time.h>

int main(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    printf("%lld\n", (long long)now.tv_sec * 1000000000LL + now.tv_nsec);
    return 0;
}
