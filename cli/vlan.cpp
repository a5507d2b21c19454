// kavonet vlan: VLANs on ports and bonds.
#include <charconv>
#include <cstring>
#include <memory>

#include "address.h"
#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

constexpr char SCRIPT_ADVICE[] = "journalctl -t rc.network shows what the network script said";

struct Arguments {
    std::string interface; // the device, or the VLAN
    std::string id;
    std::string address;
    bool dhcp = false;
};

// A VLAN with what is configured for it and what the kernel has.
struct Vlan {
    KLIBNETVLANINFO info{};
    Interface interface {
    };
    Ipv4 configured{};
};

// 1; 0 when it is no VLAN; -1 with an error record when it cannot be told.
int read_vlan(const std::string &name, Vlan &vlan)
{
    forget_error();
    const int found = KLIBNetVlanGet(name.c_str(), &vlan.info);
    if (found != 1)
        return found;
    return read_interface(name, vlan.interface) && read_ipv4(name, vlan.configured) ? 1 : -1;
}

std::string text_of(const Vlan &vlan)
{
    return formatted("VLAN %d of ", vlan.info.vlanId) + printable(vlan.info.szRowDev) + ", " + vlan.configured.text();
}

void put_place(Json &json, const Vlan &vlan)
{
    json.field("device", vlan.info.szRowDev).field("id", vlan.info.vlanId);
}

void put_configured(Json &json, const Ipv4 &configured)
{
    json.key("configured").begin_object();
    put_ipv4(json, configured);
    json.end_object();
}

// ---- list

bool list_vlans(std::vector<Vlan> &vlans)
{
    KLIBNETVLANINFO *found = nullptr;
    int32_t count = 0;
    forget_error();
    if (KLIBNetVlanEnum(&found, &count) != 0)
        return false;
    const std::unique_ptr<KLIBNETVLANINFO, decltype(&free)> array(found, free);
    for (int i = 0; i < count; ++i) {
        Vlan &vlan = vlans.emplace_back(Vlan{found[i]});
        // One that goes at this moment is known by its name alone.
        if (!read_interface(vlan.info.szIfname, vlan.interface)) {
            memcpy(vlan.interface.entry.szName, vlan.info.szIfname, sizeof vlan.info.szIfname);
            vlan.interface.known = false;
        }
    }
    return true;
}

int list(const Session &session)
{
    std::vector<Vlan> vlans;
    if (!list_vlans(vlans))
        return fail(session, {"cannot list the VLANs"});
    if (session.json) {
        Json json(vlans.size() * 224);
        json.begin_array();
        for (const Vlan &vlan : vlans) {
            json.begin_object();
            put_interface(json, vlan.interface);
            put_place(json, vlan);
            json.end_object();
        }
        return print(json.end_array().text() + "\n");
    }
    Table table({{"NAME"}, {"DEVICE"}, {"ID", Column::RIGHT}, {"STATE"}, {"ADDRESS"}});
    for (const Vlan &vlan : vlans)
        table.row({vlan.info.szIfname, vlan.info.szRowDev, std::to_string(vlan.info.vlanId), state_cell(vlan.interface),
                   vlan.interface.address()});
    return print(table.text());
}

// ---- show

// Reads a VLAN for a verb; says why when there is none.
bool find_vlan(const Session &session, const std::string &what, const std::string &name, Vlan &vlan)
{
    const int found = read_vlan(name, vlan);
    if (found == 1)
        return true;
    Failure failure{what};
    if (found == 0) {
        forget_error();
        failure.reason = "it is no VLAN";
        failure.advice = "kavonet vlan list shows the VLANs";
    }
    fail_on(session, name, failure);
    return false;
}

int show(const Session &session, const std::string &name)
{
    Vlan vlan;
    if (!find_vlan(session, "cannot show the VLAN " + name, name, vlan))
        return FAILED;
    if (session.json) {
        Json json;
        json.begin_object();
        put_interface(json, vlan.interface);
        put_place(json, vlan);
        put_configured(json, vlan.configured);
        json.end_object();
        return print(json.text() + "\n");
    }
    Table table({{"NAME"}, {"DEVICE"}, {"ID", Column::RIGHT}, {"STATE"}, {"CONFIGURED"}, {"ADDRESS"}});
    table.row({vlan.info.szIfname, vlan.info.szRowDev, std::to_string(vlan.info.vlanId), state_cell(vlan.interface),
               vlan.configured.text(), vlan.interface.address()});
    return print(table.text());
}

// ---- changes

void put_or_null(Json &json, const char *key, const Vlan *vlan)
{
    json.key(key);
    if (vlan == nullptr) {
        json.null();
        return;
    }
    json.begin_object();
    put_place(json, *vlan);
    put_configured(json, vlan->configured);
    json.end_object();
}

int report_change(const Session &session, const char *action, const Vlan *before, const Vlan *after)
{
    const std::string name = (before != nullptr ? before : after)->info.szIfname;
    if (!session.json)
        return print(printable(name) + ": " + (before == nullptr ? "no VLAN" : text_of(*before)) + " -> " +
                     (after == nullptr ? "no VLAN" : text_of(*after)) + "\n");
    Json json;
    json.begin_object().field("name", name).field("action", action);
    put_or_null(json, "before", before);
    put_or_null(json, "after", after);
    json.end_object();
    return print(json.text() + "\n");
}

// ---- create

// The VLAN that a device carries; empty when it carries none.
std::string carried_by(const std::string &device)
{
    std::vector<Vlan> vlans;
    list_vlans(vlans);
    for (const Vlan &vlan : vlans) {
        if (device == vlan.info.szRowDev)
            return vlan.info.szIfname;
    }
    return "";
}

// Why a VLAN cannot be made on this device, as far as that can be told beforehand. False when it can.
bool is_unfit(const std::string &device, Failure &failure)
{
    KLIBNETVLANINFO vlan{};
    if (KLIBNetVlanGet(device.c_str(), &vlan) == 1) {
        failure.reason = device + " is a VLAN itself";
        failure.advice = std::string("give the device underneath, ") + vlan.szRowDev;
        return true;
    }
    const std::string other = carried_by(device);
    if (other.empty())
        return false;
    failure.reason = device + " carries the VLAN " + other + " already, and can carry one only";
    failure.advice = "kavonet vlan delete " + other + " takes it away";
    return true;
}

// What the VLAN shall have: what was typed, or what is configured for the device. Says why when there is neither.
bool choose_address(const Session &session, const std::string &what, const Arguments &arguments, KAVONETINFO &info)
{
    Ipv4 wanted;
    if (!arguments.address.empty()) {
        wanted.method = Ipv4::STATIC;
        if (!read_address(arguments.address, "", wanted.address, wanted.mask)) {
            fail(session, {what});
            return false;
        }
        if (!is_plain_address(wanted.address)) {
            fail(session, {what, NOT_PLAIN, NOT_PLAIN_ADVICE});
            return false;
        }
    } else if (!arguments.dhcp && !read_ipv4(arguments.interface, wanted)) {
        fail_on(session, arguments.interface, {what});
        return false;
    }
    if (wanted.method != Ipv4::STATIC)
        return true;
    info.blStatic = 1;
    snprintf(info.szAddr, sizeof info.szAddr, "%s", wanted.address.c_str());
    snprintf(info.szMask, sizeof info.szMask, "%s", wanted.mask.c_str());
    return true;
}

// The script behind the change may fail without the library's telling; the kernel tells.
int report_created(const Session &session, const std::string &device, int id)
{
    KLIBNETVLANINFO made{};
    Vlan vlan;
    if (KLIBNetVlanGetByRowDev(device.c_str(), id, &made) == 1 && read_vlan(made.szIfname, vlan) == 1)
        return report_change(session, "create", nullptr, &vlan);
    forget_error();
    return fail(session, {std::string(made.szIfname) + " is configured, but not in force",
                          "the kernel has no such VLAN", SCRIPT_ADVICE});
}

int create(const Session &session, const Arguments &arguments)
{
    const std::string &device = arguments.interface;
    int32_t id = 0;
    const char *end = arguments.id.data() + arguments.id.size();
    const auto [stopped, error] = std::from_chars(arguments.id.data(), end, id);
    if (error != std::errc() || stopped != end || KLIBNetVlanValidId(id) != 0)
        return misused(session, "\"" + printable(arguments.id) + "\" is no VLAN id", "give a number from 1 to 4094");

    const std::string what = "cannot create the VLAN " + arguments.id + " on " + device;
    Interface interface;
    if (!read_interface(device, interface))
        return fail_on(session, device, {what});
    Failure failure{what};
    if (is_unfit(device, failure)) {
        forget_error();
        return fail(session, failure);
    }
    KAVONETINFO info{};
    if (!choose_address(session, what, arguments, info))
        return FAILED;
    forget_error();
    const auto make = [&] { return KLIBNetVlanCreate(device.c_str(), id, &info); };
    if (with_progress(session, "creating the VLAN " + arguments.id + " on " + device, make) != 0)
        return fail_on(session, device, {.what = what, .needs_root = true});
    return report_created(session, device, id);
}

// ---- delete

int remove(const Session &session, const std::string &name)
{
    const std::string what = "cannot delete the VLAN " + name;
    Vlan before;
    if (!find_vlan(session, what, name, before))
        return FAILED;
    forget_error();
    const auto take_away = [&] { return KLIBNetVlanRemove(name.c_str()); };
    if (with_progress(session, "deleting the VLAN " + name, take_away) != 0)
        return fail(session, {.what = what, .needs_root = true});
    KLIBNETVLANINFO now{};
    if (KLIBNetVlanGet(name.c_str(), &now) != 1)
        return report_change(session, "delete", &before, nullptr);
    forget_error();
    return fail(session,
                {name + " is no longer configured, but still in force", "the kernel still has it", SCRIPT_ADVICE});
}

// ---- the command line

void build_list(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return list(session); }, "  kavonet vlan list");
}

void build_show(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface, "The VLAN, for example eth0.100")->required();
    set_action(
        verb, session, [&session, arguments] { return show(session, arguments->interface); },
        "  kavonet vlan show eth0.100\n"
        "  kavonet vlan show eth0.100 --json | jq -r .device");
}

void build_create(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface, "The port or bond that carries it, for example eth0")->required();
    verb.add_option("ID", arguments->id, "Its number, 1 to 4094")->required()->type_name("");
    CLI::Option *address =
        verb.add_option("--static", arguments->address, "Give it this address instead of the device's own");
    address->type_name("ADDRESS/PREFIX");
    verb.add_flag("--dhcp", arguments->dhcp, "Let it get its address by DHCP")->excludes(address);
    set_action(
        verb, session, [&session, arguments] { return create(session, *arguments); },
        "  kavonet vlan create eth0 100\n"
        "  kavonet vlan create bond0 7 --static 192.168.7.5/24");
}

void build_delete(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface, "The VLAN, for example eth0.100")->required();
    set_action(
        verb, session, [&session, arguments] { return remove(session, arguments->interface); },
        "  kavonet vlan delete eth0.100");
}

constexpr Word VERBS[] = {
    {"list", "List the VLANs that run", build_list},
    {"show", "Show a VLAN: its device, its id, its addresses", build_show},
    {"create", "Make a VLAN on a device and move its addresses there, now and at every start", build_create},
    {"delete", "Take a VLAN away; its device gets its addresses", build_delete},
};

} // namespace

void noun_vlan(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet vlan list\n"
              "  kavonet vlan create eth0 100 --static 192.168.1.5/24\n"
              "  kavonet vlan delete eth0.100");
}

} // namespace cli
