#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/kernel_file.h"
#include "frame/name.h"
#include "frame/paths.h"

using namespace kavonet;

int KAVONetLinkAggrPhyGet(const char *szIf, PKLIBSZLIST *ppList)
{
    if (!is_interface_name(szIf) || ppList == nullptr || *ppList == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    KernelFile file(Path("/sys/class/net/%s/bonding/slaves", szIf).c_str());
    if (!file)
        return fail(NET_ERR_OPEN_FAILED, -1);
    Text<4096> line; // the kernel fills at most a page
    if (!file.next_line(line))
        return file.failed() ? fail(NET_ERR_READ_FAILED, -1) : 0;
    return KLIBCStrTok(line.c_str(), " \t\n", ppList);
}
