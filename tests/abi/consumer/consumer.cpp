// A program of somebody else, in C++.
#include <iostream>
#include <string>

#include <kavo/core.h>
#include <kavonetsdk/kavonetsdk.h>

int main()
{
    char subnet[64] = "192.168.1.77/24";
    if (ErrKLIBSubnetToIpMask(subnet, nullptr) != 0 || std::string(subnet) != "192.168.1.0/255.255.255.0")
        return 1;
    if (KAVONetIFGetInfo("..", nullptr, nullptr) != -1 || KLIBCErrGet() != NET_ERR_BAD_PARAMETER)
        return 2;
    std::cout << subnet << '\n';
    return 0;
}
