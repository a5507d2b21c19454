#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_if_cfg.cpp";

class NetGetIfCfg : public IfaceTest {
protected:
    static std::string text(uint32_t address)
    {
        char buffer[INET_ADDRSTRLEN];
        return inet_ntop(AF_INET, &address, buffer, sizeof buffer);
    }

    uint32_t address = 0x11111111;
    uint32_t mask = 0x22222222;
};

TEST_F(NetGetIfCfg, ReadsTheLiveAddress)
{
    card("eth0", "192.0.2.7/26", false);
    EXPECT_EQ(1, KLIBNetGetIfCfg("eth0", &address, &mask));
    EXPECT_EQ("192.0.2.7", text(address));
    EXPECT_EQ("255.255.255.192", text(mask));
    EXPECT_EQ(htonl(0xC0000207), address) << "in network byte order";
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetIfCfg, ReadsThePrimaryAddress)
{
    card("eth0", "192.0.2.7/26");
    shell("ip address add 198.51.100.9/16 dev eth0");
    EXPECT_EQ(1, KLIBNetGetIfCfg("eth0", &address, &mask));
    EXPECT_EQ("192.0.2.7", text(address));
    EXPECT_EQ("255.255.255.192", text(mask));
}

TEST_F(NetGetIfCfg, CutsNamesTo15Characters)
{
    card(NAME_OF_15, "192.0.2.7/24");
    EXPECT_EQ(1, KLIBNetGetIfCfg(NAME_OF_16, &address, &mask));
    EXPECT_EQ("192.0.2.7", text(address));
}

TEST_F(NetGetIfCfg, FailsWithoutAnAddress)
{
    card("eth0");
    EXPECT_EQ(0, KLIBNetGetIfCfg("eth0", &address, &mask));
    EXPECT_EQ(0, KLIBNetGetIfCfg("eth7", &address, &mask));
    EXPECT_EQ(0x11111111U, address);
    EXPECT_EQ(0x22222222U, mask);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetIfCfg, FailsAtEachQuestion)
{
    card("eth0", "192.0.2.7/24");
    fail_call("socket");
    EXPECT_EQ(0, KLIBNetGetIfCfg("eth0", &address, &mask));
    for (const unsigned int request : {SIOCGIFADDR, SIOCGIFNETMASK}) {
        drivers.refused = {{{request, "eth0"}, EIO}};
        use_drivers();
        EXPECT_EQ(0, KLIBNetGetIfCfg("eth0", &address, &mask)) << request;
    }
    EXPECT_THAT(drivers.requests, ElementsAre(SIOCGIFADDR, SIOCGIFADDR, SIOCGIFNETMASK));
    EXPECT_EQ(0x22222222U, mask);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetIfCfg, RefusesBadArguments)
{
    card("eth0", "192.0.2.7/24");
    EXPECT_EQ(0, KLIBNetGetIfCfg("eth0", nullptr, &mask));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    forget();
    EXPECT_EQ(0, KLIBNetGetIfCfg("eth0", &address, nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    forget();
    EXPECT_EQ(0, KLIBNetGetIfCfg(nullptr, &address, &mask));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    for (const char *name : HOSTILE_NAMES) {
        forget();
        EXPECT_EQ(0, KLIBNetGetIfCfg(name, &address, &mask)) << name;
        EXPECT_TRUE(is_bad_parameter_in(FILE_NAME)) << name;
    }
    EXPECT_EQ(0x11111111U, address);
    EXPECT_EQ(0x22222222U, mask);
}

} // namespace
