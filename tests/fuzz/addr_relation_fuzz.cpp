// Three texts, one a line, through the functions that compare addresses.
#include <array>
#include <cstdint>
#include <sstream>

#include <arpa/inet.h>

#include "fuzz/property.h"
#include "kavonetsdk/addr.h"
#include "support/log_capture.h"

namespace {

void check_range(const char *a, const char *b, const char *c)
{
    for (const int family : {AF_INET, AF_INET6}) {
        const bool parses =
            KAVONetGetAddrType(a) == family && KAVONetGetAddrType(b) == family && KAVONetGetAddrType(c) == family;
        const int inside = KLIBIsIpInRange(a, b, c, family);
        HOLDS(parses ? inside == 0 || inside == 1 : inside == -1, a);
        HOLDS(inside == KLIBIsIpInRange(a, c, b, family), a);
        // Of three addresses one lies between the others.
        HOLDS(!parses || inside == 1 || KLIBIsIpInRange(b, a, c, family) == 1 || KLIBIsIpInRange(c, a, b, family) == 1,
              a);
        HOLDS(!parses || KLIBIsIpInRange(b, b, c, family) == 1, b);
    }
    HOLDS(KLIBIsIpInRange(a, b, c, 0) == -1, a);
}

void check_same_subnet(const char *a, const char *b, const char *mask)
{
    const int family = KAVONetGetAddrType(a);
    const bool comparable = family != 0 && KAVONetGetAddrType(b) == family && KAVONetGetAddrType(mask) == family;
    const int same = KAVONetIsSameSubnet(a, b, mask);
    HOLDS(same == 0 || (same == 1 && comparable), a);
    HOLDS(same == KAVONetIsSameSubnet(b, a, mask), a);
    HOLDS(!comparable || KAVONetIsSameSubnet(a, a, mask) == 1, a);
}

// An address lies in a subnet exactly when both give the same network under the subnet's length.
void check_in_subnet(const std::string &address, const std::string &subnet)
{
    const int inside = KAVONetIsIpInSubnet(address.c_str(), subnet.c_str());
    HOLDS(inside == 0 || inside == 1, subnet.c_str());
    std::array<char, 20> network{};
    unsigned prefix = 0;
    const bool split = KAVONetSeperateSubnet(subnet.c_str(), network.data(), network.size(), &prefix) == 0;
    HOLDS(inside == 0 || split, subnet.c_str());
    if (!split || prefix == 0 || KAVONetGetAddrType(address.c_str()) != AF_INET ||
        KAVONetGetAddrType(network.data()) != AF_INET)
        return;
    std::string length(1, '/');
    length += std::to_string(prefix);
    ExactText own(64, address + length);
    ExactText given(64, network.data() + length);
    HOLDS(ErrKLIBSubnetToIpMask(own.get(), nullptr) == 0 && ErrKLIBSubnetToIpMask(given.get(), nullptr) == 0,
          subnet.c_str());
    const bool is_network = given.str().rfind(std::string(network.data()) + "/", 0) == 0;
    HOLDS(inside == (is_network && own.str() == given.str() ? 1 : 0), subnet.c_str());
}

void check_host_under_mask(const char *address, const std::string &mask)
{
    ExactText copy(mask);
    const bool each = BlKLIBIsIpAddr(address) == 1 && BlKLIBIsIpMask(copy.get()) == 1;
    HOLDS(BlKLIBIsValidIpMask(address, mask.c_str()) == 0 || each, address);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    std::istringstream lines(bytes.substr(0, bytes.find('\0')));
    std::string a;
    std::string b;
    std::string c;
    std::getline(lines, a);
    std::getline(lines, b);
    std::getline(lines, c);
    check_range(a.c_str(), b.c_str(), c.c_str());
    check_same_subnet(a.c_str(), b.c_str(), c.c_str());
    check_in_subnet(a, b);
    check_host_under_mask(a.c_str(), b);
    support::clear_log();
    return 0;
}
