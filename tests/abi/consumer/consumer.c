/* A program of somebody else, in C. */
#include <stdio.h>
#include <string.h>

#include <kavo/core.h>
#include <kavonetsdk/kavonetsdk.h>

int main(void)
{
    KAVONETIFENTRY entry;
    if (KAVONetIFGetInfo("lo", &entry, NULL) < 0 || strcmp(entry.szName, "lo") != 0)
        return 1;
    if (BlKLIBIsIpAddr("1.2.3.") != 0 || KLIBCErrGet() != NET_ERR_BAD_ADDRESS)
        return 2;
    if (strcmp(KLIBCErrorGetFile(), "net_is_ip_addr.cpp") != 0)
        return 3;
    printf("lo: %d\n", entry.nLink);
    return 0;
}
