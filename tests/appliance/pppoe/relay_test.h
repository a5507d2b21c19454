// What the tests of the relays share: a bridge of the local LAN with a relay's settings.
#pragma once

#include "appliance/pppoe/pppoe_test.h"

inline constexpr char RELAY_FOLDER[] = "/etc/sysconfig/pppoe-relay";

class RelayTest : public PppoeTest {
protected:
    static std::string relay_file(const std::string &name) { return std::string(RELAY_FOLDER) + "/" + name; }

    // Creates the folder too.
    static void write_relay(const std::string &name, const std::string &content)
    {
        write_file(relay_file(name), content);
    }

    static PPPoERelayConf relay(int enable, const std::string &server)
    {
        PPPoERelayConf conf{};
        conf.enable = enable;
        snprintf(conf.szServer, sizeof conf.szServer, "%s", server.c_str());
        return conf;
    }

    // A bridge of the local LAN that is up and to be served from wan0.
    static void add_bridge(const std::string &name)
    {
        shell("ip link add " + name + " type bridge; ip link set " + name + " up");
        write_ifcfg(name, "DEVICE=" + name + "\nTYPE=bridge\nPRIMARY=wlan0\nLOCAL_LAN=yes\n");
        write_relay(name, "enable=yes\nserver=wan0\n");
    }

    static std::string command_line(const std::string &client, const std::string &server)
    {
        return "/usr/sbin/pppoe-relay -C " + client + " -S " + server;
    }

    // Calls as they are recorded.
    static std::string started(const std::string &client, const std::string &server)
    {
        return "[/usr/sbin/pppoe-relay] [-C] [" + client + "] [-S] [" + server + "]";
    }
    static std::string ended(const std::string &client)
    {
        return "[kill] [/usr/sbin/pppoe-relay -C " + client + "] [1]";
    }
};
