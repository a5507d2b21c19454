#include "kavonetsdk/virtual.h"

#include <cstdio>
#include <cstdlib>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"

using namespace kavonet;

namespace {

constexpr char VLAN_LIST[] = "/proc/net/vlan/config";
constexpr int HEADERS = 2;

// Reads one line of the kernel's list. Names are read as long as the kernel's can be: the longest stand right before
// their bar, without a blank.
bool read_vlan(const char *line, KLIBNETVLANINFO &vlan)
{
    if (line == nullptr) {
        log_err("Get NULL string from %s", VLAN_LIST);
        return false;
    }
    // NOLINTNEXTLINE(cert-err34-c): the kernel writes ids of at most four digits
    if (sscanf(line, "%15s\t| %d  | %15s", vlan.szIfname, &vlan.vlanId, vlan.szRowDev) != 3) {
        log_err("Get wrong format from %s: %s", VLAN_LIST, line);
        return fail(NET_ERR_BAD_FORMAT, false);
    }
    return true;
}

} // namespace

int KLIBNetVlanEnum(KLIBNETVLANINFO **ppArray, int32_t *pCount)
{
    if (ppArray == nullptr || pCount == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    *ppArray = nullptr;
    *pCount = 0;
    // Without VLAN support the kernel has no such list.
    if (KLIBCFileExist(VLAN_LIST) == 0)
        return 0;
    StringList lines(KLIBCSzListAlloc(512));
    if (!lines)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    if (KLIBCFileReadLines(VLAN_LIST, lines.handle()) < 0)
        return -1;
    const int count = lines->nItem - HEADERS;
    if (count <= 0)
        return 0;
    Allocated<KLIBNETVLANINFO> vlans(
        static_cast<KLIBNETVLANINFO *>(calloc(static_cast<size_t>(count), sizeof(KLIBNETVLANINFO))));
    if (!vlans)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    for (int i = 0; i < count; ++i) {
        if (!read_vlan(KLIBCSzListGet(lines.get(), HEADERS + i), vlans[i]))
            return -1;
    }
    *ppArray = vlans.release();
    *pCount = count;
    return 0;
}
