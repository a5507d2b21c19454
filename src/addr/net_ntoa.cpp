#include <arpa/inet.h>

#include "kavonetsdk/addr.h"

#include "addr/dotted.h"

using namespace kavonet;

extern "C" const char *KAVONetNtoa(uint32_t addr)
{
    // One buffer for all callers, as with inet_ntoa.
    static Text<18> text;
    text.format("%s", dotted(ntohl(addr)).c_str());
    return text.c_str();
}
