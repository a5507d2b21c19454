#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/virtual.h"
#include "support/read_back.h"

namespace {

class OvsGetOriginalIf : public testing::Test {
protected:
    void SetUp() override { support::clear_error(); }

    int get(const char *name, size_t size = sizeof(char[16])) { return KLIBNetOVSGetOriginalIf(name, port, size); }

    static void expect_refused()
    {
        EXPECT_EQ(NET_ERR_BAD_PARAMETER, static_cast<int>(support::last_error().code));
        EXPECT_EQ("net_ovs_get_original_if.cpp", support::last_error().file);
        support::clear_error();
    }

    char port[32] = "before";
};

TEST_F(OvsGetOriginalIf, TakesThePrefixOff)
{
    EXPECT_EQ(0, get("ovs_eth0"));
    EXPECT_STREQ("eth0", port);
    EXPECT_EQ(0, get("ovs_ovs_bond0"));
    EXPECT_STREQ("ovs_bond0", port);
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(OvsGetOriginalIf, OtherNamesEmptyTheBuffer)
{
    for (const char *name : {"eth0", "xovs_eth0", "OVS_eth0", "ovs-eth0", "ovs_"}) {
        port[0] = 'x';
        EXPECT_EQ(-1, get(name)) << name;
        EXPECT_STREQ("", port) << name;
        expect_refused();
    }
}

TEST_F(OvsGetOriginalIf, NothingOfWhatTheBufferHeldIsLeftInIt)
{
    for (const char *name : {"ovs_eth0", "eth0"}) {
        memset(port, 'x', sizeof port);
        get(name);
        const std::string all(port, sizeof port);
        EXPECT_EQ(all.npos, all.substr(0, 16).find('x')) << name;
        EXPECT_EQ(std::string(16, 'x'), all.substr(16)) << name << " ends where its size says";
    }
}

TEST_F(OvsGetOriginalIf, ShortNamesAreRefusedBeforeTheBufferIsTouched)
{
    for (const char *name : {"ovs", "o", "eth"}) {
        EXPECT_EQ(-1, get(name)) << name;
        EXPECT_STREQ("before", port) << name;
        expect_refused();
    }
}

TEST_F(OvsGetOriginalIf, ThePortMustFit)
{
    EXPECT_EQ(-1, get("ovs_eth0", 4));
    EXPECT_STREQ("before", port);
    expect_refused();
    EXPECT_EQ(0, get("ovs_eth0", 5));
    EXPECT_STREQ("eth0", port);
    EXPECT_EQ('e', port[5]);
    EXPECT_EQ(-1, get("ovs_eth0", 0));
    expect_refused();
}

TEST_F(OvsGetOriginalIf, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, get(nullptr));
    expect_refused();
    EXPECT_EQ(-1, KLIBNetOVSGetOriginalIf("ovs_eth0", nullptr, 16));
    expect_refused();
    for (const char *name : {"", "ovs_..", "ovs_.", "ovs_../x", "ovs_eth 0", "ovs_\n", "ovs_eth0\n"}) {
        EXPECT_EQ(-1, get(name)) << name;
        expect_refused();
    }
}

} // namespace
