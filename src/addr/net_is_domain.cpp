#include "kavonetsdk/addr.h"

#include "addr/bounded.h"

using namespace kavonet;

extern "C" int BlKLIBIsDomain(const char *sz)
{
    if (sz == nullptr)
        return 0;

    Text<512> copy = bounded_copy<512>(sz);
    char *label = copy.buffer();
    for (char *dot = strchr(label, '.'); dot != nullptr; dot = strchr(label, '.')) {
        *dot = '\0';
        if (BlKLIBIsAtom(label) == 0)
            return 0;
        label = dot + 1;
    }
    return BlKLIBIsAtom(label);
}
