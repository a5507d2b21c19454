#include "kavonetsdk/resolve.h"

#include <bit>

#include <arpa/inet.h>

#include "frame/dotted.h"
#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "resolve/route_command.h"

using namespace kavonet;

namespace {

// The route that binds an interface's subnet to it. What a command says is only logged: routes are best effort.
class SubnetRoute {
public:
    SubnetRoute(const char *address, const char *mask, const char *device)
        : address_(address),
          mask_(mask),
          device_(device)
    {
    }

    bool parse()
    {
        in_addr mask_bits{};
        in_addr address_bits{};
        if (!parse(mask_, mask_bits) || !parse(address_, address_bits))
            return false;
        write_dotted(address_bits.s_addr & mask_bits.s_addr, network_);
        subnet_.format("%s/%d", network_, std::popcount(mask_bits.s_addr));
        return true;
    }

    void remove() const
    {
        if (run_ip("del"))
            return;
        log_info("%s ip route del failed, instead of route", device_);
        if (!run_route("del"))
            log_info("cmd route del -net %s netmask %s dev %s failded", network_, mask_, device_);
    }

    void add() const
    {
        if (run_ip("add"))
            return;
        log_info("%s ip route add failed, might be the same subnet, instead of route", device_);
        if (!run_route("add"))
            log_info("cmd route add -net %s netmask %s dev %s failded", network_, mask_, device_);
    }

private:
    static bool parse(const char *text, in_addr &bits)
    {
        if (inet_pton(AF_INET, text, &bits) == 1)
            return true;
        log_err("inet_pton error (%s)", text);
        return false;
    }

    bool run_ip(const char *verb) const
    {
        return run(IP_COMMAND, "route", verb, subnet_.c_str(), "dev", device_, "src", address_);
    }

    bool run_route(const char *verb) const
    {
        return run(ROUTE_COMMAND, verb, "-net", network_, "netmask", mask_, "dev", device_);
    }

    const char *address_;
    const char *mask_;
    const char *device_;
    char network_[DOTTED_SIZE] = "";
    Text<128> subnet_; // "network/prefix"
};

// "route" takes a word that begins with "-" for an option wherever it stands.
bool is_device(const char *name)
{
    return is_short_interface_name(name) && name[0] != '-';
}

} // namespace

int NetRoutetableEdit(unsigned int action, const char *szAddr, const char *szMask, const char *szDev)
{
    if (szAddr == nullptr || szMask == nullptr || !is_device(szDev)) {
        log_err("bad parameter");
        return fail(NET_ERR_BAD_PARAMETER, -1);
    }
    if (action > NET_ROUTE_CLEAR) {
        log_err("error type");
        return -1;
    }
    SubnetRoute route(szAddr, szMask, szDev);
    if (!route.parse())
        return -1;
    // Adding replaces, so the old route goes in either case.
    route.remove();
    if (action == NET_ROUTE_ADD)
        route.add();
    return 0;
}
