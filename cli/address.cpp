#include "address.h"

#include <cstring>

#include "errors.h"
#include "kavonetsdk/kavonetsdk.h"

namespace cli {

bool read_address(const std::string &text, const std::string &mask_text, std::string &address, std::string &mask)
{
    forget_error();
    const size_t slash = text.find('/');
    address = text.substr(0, slash);
    if (BlKLIBIsIpAddr(address.c_str()) != 1)
        return false;
    if (slash != std::string::npos) {
        std::string whole = text.substr(0, 63);
        char subnet[64] = "";
        if (ErrKLIBSubnetToIpMask(whole.data(), subnet) != 0)
            return false;
        mask = strchr(subnet, '/') + 1;
    } else {
        mask = mask_text;
        if (BlKLIBIsIpMask(mask.data()) != 1)
            return false;
        mask.resize(strlen(mask.c_str()));
    }
    return BlKLIBIsValidIpMask(address.c_str(), mask.c_str()) == 1;
}

bool is_plain_address(const std::string &address)
{
    return KAVONetGetAddrType(address.c_str()) == 2;
}

} // namespace cli
