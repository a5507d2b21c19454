#include "appliance/pppoe/relay_test.h"

#include <cstring>

namespace {

constexpr char FILE_NAME[] = "net_set_pppoe_relay_config.cpp";

class SetRelay : public RelayTest {
protected:
    static int set(int enable, const std::string &server)
    {
        const PPPoERelayConf conf = relay(enable, server);
        return KAVONetSetPPPoERelayConfig("lbr0", &conf);
    }
};

TEST_F(SetRelay, WritesTheSettings)
{
    write_relay("lbr0", "# relay\nserver=old0\nother=x\n");
    EXPECT_EQ(0, set(1, "wan0"));
    EXPECT_EQ("# relay\nserver=wan0\nother=x\nenable=yes\n", read_file(relay_file("lbr0")));
    EXPECT_EQ(0, set(0, ""));
    EXPECT_EQ("# relay\nserver=\nother=x\nenable=no\n", read_file(relay_file("lbr0")));
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre("lbr0"));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(SetRelay, OnlyOneIsEnabled)
{
    for (const int enable : {0, 2, -1}) {
        EXPECT_EQ(0, set(enable, "wan0"));
        EXPECT_THAT(read_file(relay_file("lbr0")), testing::HasSubstr("enable=no\n")) << enable;
    }
}

TEST_F(SetRelay, CreatesWhatIsMissing)
{
    const mode_t old = umask(0);
    EXPECT_EQ(0, set(1, "wan0"));
    umask(old);
    EXPECT_EQ(0755U, mode_of(RELAY_FOLDER));
    EXPECT_EQ("enable=yes\nserver=wan0\n", read_file(relay_file("lbr0")));
}

TEST_F(SetRelay, WhatIsWrittenComesBack)
{
    EXPECT_EQ(0, set(1, support::NAME_OF_15));
    PPPoERelayConf conf;
    EXPECT_EQ(0, KAVONetGetPPPoERelayConfig("lbr0", &conf));
    EXPECT_EQ(1, conf.enable);
    EXPECT_STREQ(support::NAME_OF_15, conf.szServer);
}

TEST_F(SetRelay, WithoutMemoryNothingIsWritten)
{
    write_relay("lbr0", "enable=no\n");
    for (const int n : {1, 2}) {
        clear();
        fail_call("KLIBCSzHashAlloc", n);
        EXPECT_EQ(-1, set(1, "wan0"));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
        clear();
        fail_call("KLIBCSzHashSetValue", n);
        EXPECT_EQ(-1, set(1, "wan0"));
    }
    EXPECT_EQ("enable=no\n", read_file(relay_file("lbr0")));
}

TEST_F(SetRelay, AFileThatCannotBeWrittenIsAFailure)
{
    write_relay("lbr0", "enable=no\n");
    fail_call("KLIBCFileSetKeys");
    EXPECT_EQ(-1, set(1, "wan0"));
    EXPECT_EQ("fault.c", last_error().file);
    EXPECT_EQ("enable=no\n", read_file(relay_file("lbr0")));
}

TEST_F(SetRelay, AFolderThatCannotBeMadeIsAFailure)
{
    fail_call("mkdir");
    EXPECT_EQ(-1, set(1, "wan0"));
    write_file(RELAY_FOLDER, "a file\n");
    EXPECT_EQ(-1, set(1, "wan0"));
    EXPECT_EQ("a file\n", read_file(RELAY_FOLDER));
}

TEST_F(SetRelay, RefusesNames)
{
    const PPPoERelayConf good = relay(1, "wan0");
    EXPECT_EQ(-1, KAVONetSetPPPoERelayConfig(nullptr, &good));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    std::vector<std::string> names = support::hostile_names();
    for (const std::string &name : names) {
        clear();
        EXPECT_EQ(-1, KAVONetSetPPPoERelayConfig(name.c_str(), &good)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
        if (name.empty())
            continue; // no server is a setting
        clear();
        EXPECT_EQ(-1, set(1, name)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(-1, KAVONetSetPPPoERelayConfig(support::NAME_OF_16, &good));
    PPPoERelayConf unended = good;
    memset(unended.szServer, 'w', sizeof unended.szServer);
    EXPECT_EQ(-1, KAVONetSetPPPoERelayConfig("lbr0", &unended));
    EXPECT_FALSE(exists(RELAY_FOLDER));
}

TEST_F(SetRelay, RefusesANullRecord)
{
    EXPECT_EQ(-1, KAVONetSetPPPoERelayConfig("lbr0", nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Wrong Parameter."));
    EXPECT_FALSE(exists(RELAY_FOLDER));
}

} // namespace
