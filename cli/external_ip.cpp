// kavonet external-ip: the address that the appliance has for the world.
#include <cstdlib>
#include <memory>

#include <unistd.h>

#include "errors.h"
#include "json.h"
#include "kavo/core.h"
#include "kavonetsdk/kavonetsdk.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

constexpr char DAEMON[] = "/usr/kavo/sbin/ddnsd";
constexpr char WHAT[] = "cannot tell the external address";

// The daemon says why in its log only; what is known here is how far it got.
Failure explained()
{
    Failure failure{.what = WHAT, .needs_root = true};
    if (KLIBCErrGet() == NET_ERR_OUT_OF_MEMORY)
        return failure;
    if (access(DAEMON, X_OK) != 0) {
        failure.reason = std::string(DAEMON) + " cannot be run";
        failure.advice = "install the dynamic-DNS daemon";
    } else {
        failure.reason = "the dynamic-DNS daemon gave none";
        failure.advice =
            "check that the appliance has a way to the Internet (kavonet status); with -v the log lines say how "
            "the daemon ended";
    }
    return failure;
}

int show(const Session &session)
{
    using Address = std::unique_ptr<char, decltype(&free)>;
    forget_error();
    const Address address =
        with_progress(session, "asking the dynamic-DNS daemon", [] { return Address(KAVOExternalIPGet(), free); });
    if (!address)
        return fail(session, explained());
    if (BlKLIBIsIpAddr(address.get()) != 1) {
        forget_error();
        return fail(session, {WHAT, std::string("the dynamic-DNS daemon gave \"") + address.get() + "\", which is none",
                              "look at /run/ddns/externalIP.result, which it wrote"});
    }
    if (!session.json)
        return print(std::string(address.get()) + "\n");
    Json json;
    json.begin_object().field("address", address.get()).end_object();
    return print(json.text() + "\n");
}

} // namespace

void noun_external_ip(CLI::App &noun, Session &session)
{
    set_action(
        noun, session, [&session] { return show(session); },
        "  kavonet external-ip\n"
        "  kavonet external-ip --json | jq -r .address");
}

} // namespace cli
