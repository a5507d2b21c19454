#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/kernel_file.h"

using namespace kavonet;

int KAVONetLinkAggrExist(void)
{
    KernelFile file("/sys/class/net/bonding_masters");
    if (!file)
        return 0;
    Text<4096> line;
    if (file.next_line(line))
        return 1;
    return file.failed() ? fail(NET_ERR_READ_FAILED, -1) : 0;
}
