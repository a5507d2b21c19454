// kavonet wake: wakes a host by wake-on-LAN.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>

#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

using Mac = std::array<uint8_t, sizeof EtherWakeTarget::mac>;

struct Arguments {
    std::string mac;
    std::string interface;
};

int digit_of(char c)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    const char *found = c == '\0' ? nullptr : strchr(DIGITS, c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c);
    return found == nullptr ? -1 : static_cast<int>(found - DIGITS);
}

// Takes "00:11:22:aa:bb:cc", with dashes instead, and without either. Only the address of a single card: nobody would wake
// up for a group's.
std::optional<Mac> mac_of(std::string text)
{
    constexpr uint8_t GROUP = 1;
    Mac mac{};
    if (text.size() == 3 * mac.size() - 1) {
        const char separator = text[2];
        for (size_t i = mac.size() - 1; i > 0; --i) {
            if (text[3 * i - 1] != separator || (separator != ':' && separator != '-'))
                return {};
            text.erase(3 * i - 1, 1);
        }
    }
    if (text.size() != 2 * mac.size())
        return {};
    for (size_t i = 0; i < mac.size(); ++i) {
        const int high = digit_of(text[2 * i]);
        const int low = digit_of(text[2 * i + 1]);
        if (high < 0 || low < 0)
            return {};
        mac[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return mac == Mac{} || (mac[0] & GROUP) != 0 ? std::optional<Mac>() : mac;
}

// The library takes no more of an interface's name, and would take another interface that is called like its begin.
constexpr size_t LONGEST_NAME = 13;

// Why a frame does not leave the interface; false when it can.
bool cannot_send(const Interface &interface, Failure &failure)
{
    const std::string name = interface.entry.szName;
    if (name.size() > LONGEST_NAME) {
        failure.reason = formatted("its name is longer than %zu characters", LONGEST_NAME);
        failure.advice = "give it a shorter one: kavonet if rename " + name + " NEW";
    } else if (interface.is_loopback() || interface.mac().empty()) {
        failure.reason = "it is no Ethernet interface";
        failure.advice = "kavonet if list --kind usable lists the interfaces that can be used";
    } else if (!interface.is_up()) {
        failure.reason = "it is down";
        failure.advice = "bring it up first: kavonet if up " + name;
    } else if (!interface.has_link()) {
        failure.reason = "it has no link";
        failure.advice = "check the cable and what it is plugged into";
    }
    return !failure.reason.empty();
}

// The one interface, or all that can send. DONE, or a failure that has been told.
int choose(const Session &session, const Arguments &arguments, std::vector<Interface> &chosen)
{
    Failure failure{"cannot wake " + arguments.mac};
    if (arguments.interface.empty()) {
        if (!list_interfaces(Kind::USABLE, chosen))
            return fail(session, failure);
        std::erase_if(chosen, [](const Interface &interface) {
            Failure unused;
            return cannot_send(interface, unused);
        });
        if (!chosen.empty())
            return DONE;
        failure.reason = "no interface is up and has a link";
        failure.advice = "kavonet if list shows the interfaces";
        return fail(session, failure);
    }
    failure.what += " through " + arguments.interface;
    if (!read_interface(arguments.interface, chosen.emplace_back()))
        return fail_on(session, arguments.interface, failure);
    return cannot_send(chosen.front(), failure) ? fail(session, failure) : DONE;
}

bool send(const Mac &mac, const Interface &interface)
{
    EtherWakeTarget target{};
    std::copy(mac.begin(), mac.end(), target.mac);
    snprintf(target.szIfName, sizeof target.szIfName, "%s", interface.entry.szName);
    forget_error();
    return KLIBNetEtherWake(&target) == 0;
}

int report_sent(const Session &session, const Arguments &arguments, const std::vector<Interface> &chosen)
{
    Json json;
    json.begin_object().field("mac", arguments.mac).key("interfaces").begin_array();
    std::string text = "wake-on-LAN frame for " + arguments.mac + " sent on";
    for (const Interface &interface : chosen) {
        text += (&interface == chosen.data() ? " " : ", ") + printable(interface.entry.szName);
        json.value(interface.entry.szName);
    }
    json.end_array().end_object();
    return print((session.json ? json.text() : text) + "\n");
}

int wake(const Session &session, const Arguments &arguments)
{
    const Mac mac = *mac_of(arguments.mac);
    std::vector<Interface> chosen;
    if (choose(session, arguments, chosen) != DONE)
        return FAILED;
    for (const Interface &interface : chosen) {
        const std::string name = interface.entry.szName;
        if (!with_progress(session, "sending on " + name, [&] { return send(mac, interface); }))
            return fail_on(session, name,
                           {.what = "cannot wake " + arguments.mac + " through " + name, .needs_root = true});
    }
    return report_sent(session, arguments, chosen);
}

} // namespace

void noun_wake(CLI::App &noun, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    noun.add_option("MAC", arguments->mac, "The hardware address of the host's card")
        ->required()
        ->type_name("")
        ->check([](const std::string &text) {
            return mac_of(text) ? std::string() : text + " is no hardware address of a card, such as 00:11:22:aa:bb:cc";
        });
    add_interface(noun, arguments->interface, "The interface to send on; all that are in use when left out");
    set_action(
        noun, session, [&session, arguments] { return wake(session, *arguments); },
        "  kavonet wake 00:11:22:aa:bb:cc\n"
        "  kavonet wake 00:11:22:aa:bb:cc eth0");
}

} // namespace cli
