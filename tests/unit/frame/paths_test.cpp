#include "frame/paths.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Paths, AreThoseOfTheAppliance)
{
    EXPECT_STREQ("/etc/sysconfig/network-scripts/ifcfg-eth0", kavonet::ifcfg_path("eth0").c_str());
    EXPECT_STREQ("/etc/dhclient/ipv4/dhcpcd-eth0.info", kavonet::lease_path("eth0").c_str());
    EXPECT_STREQ("/etc/kavoinfo.conf", kavonet::SETTINGS_FILE);
    EXPECT_STREQ("/etc.defaults/kavoinfo.conf", kavonet::DEFAULTS_FILE);
}

TEST(Paths, KnowWhetherTheyWereCut)
{
    EXPECT_FALSE(kavonet::ifcfg_path(std::string(4000, 'a').c_str()).cut());
    EXPECT_TRUE(kavonet::ifcfg_path(std::string(5000, 'a').c_str()).cut());
}

} // namespace
