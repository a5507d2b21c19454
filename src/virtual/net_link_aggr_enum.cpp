#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/kernel_file.h"

using namespace kavonet;

namespace {

// Appends the bonds that are in use: those that have members. A name that cannot be asked for is in nobody's use.
bool add_used(const KLIBSZLIST *bonds, StringList &members, PKLIBSZLIST *used)
{
    for (int i = 0; i < bonds->nItem; ++i) {
        const char *bond = KLIBCSzListGet(bonds, i);
        KLIBCSzListRemoveAll(members.get());
        if (KAVONetLinkAggrPhyGet(bond, members.handle()) > 0 && KLIBCSzListPush(used, bond) < 0)
            return false;
    }
    return true;
}

} // namespace

int KAVONetLinkAggrEnum(PKLIBSZLIST *ppList)
{
    if (ppList == nullptr || *ppList == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    StringList bonds(KLIBCSzListAlloc(1024));
    StringList members(KLIBCSzListAlloc(1024));
    if (!bonds || !members)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    KernelFile file("/sys/class/net/bonding_masters");
    if (!file)
        return 0;
    Text<4096> line; // the kernel fills at most a page
    if (!file.next_line(line))
        return file.failed() ? fail(NET_ERR_READ_FAILED, -1) : 0;
    if (KLIBCStrTok(line.c_str(), " \t\n", bonds.handle()) < 0 || !add_used(bonds.get(), members, ppList))
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    // Bonds without members count although they are not listed: the result tells what the kernel knows, the list what
    // is in use.
    return bonds->nItem;
}
