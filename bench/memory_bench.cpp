// The private memory of a C program that lists 256 interfaces, by the library and by getifaddrs().
#include <cstdio>
#include <string>

#include "cards.h"

namespace {

struct Figures {
    int listed = 0;
    long kilobytes = 0;
    long kept = 0;
};

// Without the allocator's own store of freed pieces, which counts as in use.
Figures run_program(const std::string &path)
{
    Figures figures;
    FILE *out = popen(("GLIBC_TUNABLES=glibc.malloc.tcache_count=0 " + path).c_str(), "r");
    if (out == nullptr || fscanf(out, "%d %ld %ld", &figures.listed, &figures.kilobytes, &figures.kept) != 3)
        bench::give_up(path.c_str());
    pclose(out);
    return figures;
}

} // namespace

int main()
{
    bench::enter_network(256);
    const Figures ours = run_program(LIST_BY_LIBRARY);
    const Figures theirs = run_program(LIST_BY_GETIFADDRS);
    printf("private memory after listing %d cards: library %ld KB, getifaddrs %ld KB, difference %ld KB; "
           "heap kept by the call: %ld bytes\n",
           ours.listed, ours.kilobytes, theirs.kilobytes, ours.kilobytes - theirs.kilobytes, ours.kept);
    bench::leave_network();
    return 0;
}
