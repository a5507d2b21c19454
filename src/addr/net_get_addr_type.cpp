#include "kavonetsdk/addr.h"

#include "addr/binary.h"
#include "frame/error.h"

using namespace kavonet;

extern "C" int KAVONetGetAddrType(const char *szAddr)
{
    return szAddr == nullptr ? fail(NET_ERR_BAD_PARAMETER, 0) : parse_any(szAddr).family;
}
