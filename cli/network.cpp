#include "network.h"

#include <new>

#include "errors.h"
#include "kavo/core.h"
#include "text.h"

namespace cli {
namespace {

constexpr char SETTINGS_FILE[] = "/etc/kavoinfo.conf";
constexpr int ADDRESS_SIZE = 64;

PKLIBSZLIST allocated(int room)
{
    PKLIBSZLIST list = KLIBCSzListAlloc(room);
    if (list == nullptr)
        throw std::bad_alloc();
    return list;
}

} // namespace

// ---- Name servers

TextList::TextList() : list_(allocated(0)) {}

TextList::TextList(const std::vector<std::string> &texts) : list_(allocated(static_cast<int>(texts.size())))
{
    for (const std::string &text : texts) {
        if (KLIBCSzListPush(&list_, text.c_str()) != 0) {
            KLIBCSzListFree(list_); // A constructor that throws has no destructor.
            throw std::bad_alloc();
        }
    }
}

TextList::~TextList()
{
    KLIBCSzListFree(list_);
}

std::vector<std::string> TextList::texts() const
{
    std::vector<std::string> result;
    result.reserve(static_cast<size_t>(list_->nItem));
    for (int i = 0; i < list_->nItem; ++i)
        result.emplace_back(KLIBCSzListGet(list_, i));
    return result;
}

bool read_dns(Dns &dns)
{
    TextList servers;
    TextList configured;
    forget_error();
    if (KAVONetDNSListGet(servers.address()) != 0 || KAVONetStaticDNSListGet(configured.address()) != 0)
        return false;
    dns.servers = servers.texts();
    dns.configured = configured.texts();
    // Everything but "static" is mode auto, an appliance without the setting included.
    dns.is_static = KLIBCFileCheckKeyValue(SETTINGS_FILE, "dns_mode", "static", 0) > 0;
    return true;
}

std::string Dns::text() const
{
    std::string text = mode();
    text += servers.empty() ? ", no servers" : " ";
    return text + joined(servers);
}

void put_dns(Json &json, const Dns &dns)
{
    json.field("mode", dns.mode()).key("servers").begin_array();
    for (const std::string &server : dns.servers)
        json.value(server);
    json.end_array().key("static_servers").begin_array();
    for (const std::string &server : dns.configured)
        json.value(server);
    json.end_array();
}

std::string joined(const std::vector<std::string> &texts)
{
    std::string result;
    for (const std::string &text : texts)
        result += (result.empty() ? "" : ", ") + (text.empty() ? "(empty)" : printable(text));
    return result;
}

// ---- The default gateway

bool read_live_gateway(Gateway &gateway)
{
    char address[ADDRESS_SIZE] = "";
    char interface[16] = "";
    forget_error();
    if (KAVONetDefaultGatewayGet(address, sizeof address) != 0 ||
        KAVONetDefaultGatewayInterfaceGet(interface, sizeof interface) != 0)
        return false;
    gateway.address = address;
    gateway.interface = interface;
    return true;
}

bool read_configured_gateway(Gateway &gateway)
{
    char address[ADDRESS_SIZE] = "";
    gateway.configured.clear();
    // Where nothing was ever configured there is no file, which the library reports as a failure.
    if (KLIBCFileExist(GATEWAY_FILE) == 0)
        return true;
    forget_error();
    if (KAVONetDefaultGatewayGetConf(address, sizeof address) != 0)
        return false;
    gateway.configured = address;
    return true;
}

bool read_gateway(Gateway &gateway)
{
    return read_live_gateway(gateway) && read_configured_gateway(gateway);
}

std::string Gateway::text() const
{
    return address.empty() ? "none" : printable(address) + " on " + printable(interface);
}

void put_gateway(Json &json, const Gateway &gateway)
{
    json.field_or_null("gateway", gateway.address).field_or_null("interface", gateway.interface);
    json.field_or_null("configured", gateway.configured);
}

// ---- The host name

bool read_host(std::string &name)
{
    char text[ADDRESS_SIZE] = "";
    forget_error();
    if (KAVOLnxGetHostname(text) < 0)
        return false;
    name = text;
    return true;
}

} // namespace cli
