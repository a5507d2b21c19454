// What the tests of bridges share: real bridges and their configuration.
#pragma once

#include "appliance/virtual/virtual_test.h"

#include <cstdio>

using support::read_file;

class BridgeTest : public support::TidyRoot {
protected:
    static constexpr char FOLDER[] = "/etc/sysconfig/network-scripts";

    // A list that is given back at the end of the test.
    PKLIBSZLIST *list() { return &list_; }
    std::vector<std::string> listed() const
    {
        std::vector<std::string> names;
        for (int i = 0; i < list_->nItem; ++i)
            names.emplace_back(KLIBCSzListGet(list_, i));
        return names;
    }
    void empty_list() { KLIBCSzListRemoveAll(list_); }

    void SetUp() override
    {
        TidyRoot::SetUp();
        list_ = KLIBCSzListAlloc(0);
    }
    void TearDown() override
    {
        KLIBCSzListFree(list_);
        TidyRoot::TearDown();
    }

    static void add_bridge(const std::string &name, bool up = true)
    {
        shell("ip link add " + name + " type bridge");
        if (up)
            shell("ip link set " + name + " up");
    }
    static void add_port(const std::string &bridge, const std::string &name)
    {
        add_card(name);
        shell("ip link set " + name + " master " + bridge);
    }

    static std::string saved(const std::string &name) { return ifcfg(name) + ".saved"; }
    static std::vector<std::string> lines(const std::string &name) { return support::lines_of(read_file(ifcfg(name))); }

    static void clear()
    {
        support::clear_log();
        support::clear_error();
        support::clear_faults();
    }

    static void expect_silence()
    {
        EXPECT_THAT(log_lines(), IsEmpty());
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }

    static std::vector<const char *> refused_names()
    {
        std::vector<const char *> names = {nullptr, support::NAME_OF_16, support::NAME_OF_17};
        for (const std::string &name : support::hostile_names())
            names.push_back(name.c_str());
        return names;
    }

    static KLIBNETBRIDGEINFO bridge(int32_t role, const std::string &name, const std::string &peer)
    {
        KLIBNETBRIDGEINFO info{};
        info.type = role;
        name.copy(info.szIfname, sizeof info.szIfname);
        peer.copy(info.szPeer, sizeof info.szPeer);
        return info;
    }

    static KAVONETINFO address(const std::string &name, int is_static, int on_boot, const std::string &address = "",
                               const std::string &mask = "")
    {
        KAVONETINFO ip{};
        ip.blStatic = is_static;
        ip.blOnBoot = on_boot;
        name.copy(ip.szName, sizeof ip.szName);
        address.copy(ip.szAddr, sizeof ip.szAddr);
        mask.copy(ip.szMask, sizeof ip.szMask);
        return ip;
    }

private:
    PKLIBSZLIST list_ = nullptr;
};

inline bool operator==(const KLIBNETBRIDGEINFO &a, const KLIBNETBRIDGEINFO &b)
{
    return memcmp(&a, &b, sizeof a) == 0;
}

inline void PrintTo(const KLIBNETBRIDGEINFO &info, std::ostream *out)
{
    *out << info.type << " " << info.szIfname << " " << info.szPeer;
}

// A record whose every byte is something else.
template <class Record> Record dirty()
{
    Record record;
    memset(&record, 'x', sizeof record);
    return record;
}
