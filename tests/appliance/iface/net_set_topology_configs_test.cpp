#include "iface_test.h"

namespace {

constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
constexpr char FILE_NAME[] = "net_set_topology_configs.cpp";

class NetSetTopologyConfigs : public IfaceTest {
protected:
    static int set(const std::string &name, uint32_t id = 0)
    {
        KAVOTOPOLOGYINFO row{};
        row.id = id;
        name.copy(row.szName, sizeof row.szName);
        return KLIBNETSetTopologyConfigs(&row);
    }
};

TEST_F(NetSetTopologyConfigs, StoresTheName)
{
    write_file(SETTINGS, "support_net_topology=\"yes\"\n# kept\nnet_topology=\"client\"\nother=\"1\"\n");
    EXPECT_EQ(0, set("bridge"));
    EXPECT_EQ("support_net_topology=\"yes\"\n# kept\nnet_topology=\"bridge\"\nother=\"1\"\n", read_file(SETTINGS));
    EXPECT_EQ(2, KLIBNetTopologyGet(nullptr));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetSetTopologyConfigs, AddsTheKeyAndTheFile)
{
    EXPECT_EQ(0, set("router"));
    EXPECT_EQ("net_topology=\"router\"\n", read_file(SETTINGS));
    ASSERT_EQ(0, unlink(SETTINGS));
    EXPECT_EQ(0, set("router"));
    EXPECT_EQ("net_topology=\"router\"\n", read_file(SETTINGS));
}

TEST_F(NetSetTopologyConfigs, OnlyTheNameCounts)
{
    EXPECT_EQ(0, set("Client", 3));
    EXPECT_EQ(0, set("of my own", 99));
    EXPECT_EQ("net_topology=\"of my own\"\n", read_file(SETTINGS));
}

TEST_F(NetSetTopologyConfigs, WhatItStoresIsReadBack)
{
    for (uint32_t id = 1; id < 4; ++id) {
        write_file(SETTINGS, "support_net_topology=\"yes\"\n");
        KAVOTOPOLOGYINFO row{};
        row.id = id;
        EXPECT_EQ(static_cast<int>(id), KLIBNetTopologyGet(&row));
        EXPECT_EQ(0, KLIBNETSetTopologyConfigs(&row));
        EXPECT_EQ(static_cast<int>(id), KLIBNetTopologyGet(nullptr));
    }
}

TEST_F(NetSetTopologyConfigs, AFieldWithoutEndIsCut)
{
    EXPECT_EQ(0, set(std::string(64, 'a')));
    EXPECT_EQ("net_topology=\"" + std::string(63, 'a') + "\"\n", read_file(SETTINGS));
}

TEST_F(NetSetTopologyConfigs, RefusesNothing)
{
    write_file(SETTINGS, "net_topology=\"client\"\n");
    EXPECT_EQ(-1, KLIBNETSetTopologyConfigs(nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    forget();
    EXPECT_EQ(-1, set(""));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    EXPECT_EQ("net_topology=\"client\"\n", read_file(SETTINGS));
}

TEST_F(NetSetTopologyConfigs, ANameThatBreaksTheLineIsNotStored)
{
    write_file(SETTINGS, "net_topology=\"client\"\n");
    for (const char *name : {"bridge\nroot=1", "bridge\r", "a\"b"}) {
        EXPECT_EQ(-1, set(name)) << name;
        EXPECT_EQ("net_topology=\"client\"\n", read_file(SETTINGS));
    }
}

TEST_F(NetSetTopologyConfigs, AFailedWriteLeavesTheFile)
{
    write_file(SETTINGS, "net_topology=\"client\"\n");
    const auto before = support::entries("/etc");
    // From now on nothing can be written there.
    ASSERT_EQ(0, mount("/etc", "/etc", nullptr, MS_BIND, nullptr));
    ASSERT_EQ(0, mount(nullptr, "/etc", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr));
    EXPECT_EQ(-1, set("bridge"));
    EXPECT_EQ("net_topology=\"client\"\n", read_file(SETTINGS));
    EXPECT_EQ(before, support::entries("/etc"));
    ASSERT_EQ(0, umount("/etc"));
    EXPECT_EQ(0, set("bridge"));
    EXPECT_EQ("net_topology=\"bridge\"\n", read_file(SETTINGS));
}

} // namespace
