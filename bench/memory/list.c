/* Lists the interfaces once, by the library or by getifaddrs(), and says how much private memory the process then keeps, in
 * kilobytes, and how much more of the heap is in use than before the call, in bytes. */
#include <ifaddrs.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef WITH_LIBRARY
#include <kavonetsdk/kavonetsdk.h>

static KAVONETIFENTRY entries[256];

static int list(void)
{
    return KLIBNetGetInterfaceInfo(entries, 256, NET_IF_SEL_USABLE);
}
#else
static int list(void)
{
    struct ifaddrs *all = NULL;
    int count = 0;
    if (getifaddrs(&all) != 0)
        return -1;
    for (const struct ifaddrs *one = all; one != NULL; one = one->ifa_next)
        ++count;
    freeifaddrs(all);
    return count;
}
#endif

static long private_memory(void)
{
    char line[256];
    long sum = 0;
    FILE *file = fopen("/proc/self/smaps_rollup", "r");
    if (file == NULL)
        return -1;
    while (fgets(line, sizeof line, file) != NULL) {
        long kilobytes = 0;
        if (sscanf(line, "Private_Clean: %ld", &kilobytes) == 1 || sscanf(line, "Private_Dirty: %ld", &kilobytes) == 1)
            sum += kilobytes;
    }
    fclose(file);
    return sum;
}

int main(void)
{
    void *volatile first = malloc(1); /* the allocator makes its own records at the first call */
    free(first);
    const size_t before = mallinfo2().uordblks;
    const int count = list();
    const size_t after = mallinfo2().uordblks;
    printf("%d %ld %ld\n", count, private_memory(), (long)(after - before));
    return count < 0;
}
