#include "ethernet.h"

namespace cli {
namespace {

const char *duplex_name(int duplex)
{
    if (duplex < 0)
        return "";
    return duplex == 0 ? "half" : "full";
}

} // namespace

KAVOETHINFO read_ethernet(const std::string &name)
{
    KAVOETHINFO ethernet{};
    ethernet.nSpeed = ethernet.nDuplex = ethernet.nMTU = ethernet.nBestSpeed = ethernet.nBestDuplex = -1;
    // A failure leaves what was found out before it; there is nothing more to say about a link.
    (void)KAVONetGetEthInfo(&ethernet, name.c_str());
    if (ethernet.nMTU <= 0)
        ethernet.nMTU = KAVOGetMTU(name.c_str());
    return ethernet;
}

std::string speed_text(const KAVOETHINFO &ethernet)
{
    if (ethernet.nSpeed <= 0)
        return "";
    return std::to_string(ethernet.nSpeed) + " Mbit/s " + duplex_name(ethernet.nDuplex);
}

void put_ethernet(Json &json, const KAVOETHINFO &ethernet)
{
    if (ethernet.nSpeed > 0)
        json.field("speed", ethernet.nSpeed).field_or_null("duplex", duplex_name(ethernet.nDuplex));
    else
        json.null_field("speed").null_field("duplex");
    if (ethernet.nMTU > 0)
        json.field("mtu", ethernet.nMTU);
    else
        json.null_field("mtu");
}

} // namespace cli
