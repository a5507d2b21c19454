#include "appliance/pppoe/relay_test.h"

#include <cstring>

namespace {

constexpr char FILE_NAME[] = "net_get_pppoe_relay_config.cpp";

class GetRelay : public RelayTest {
protected:
    static PPPoERelayConf get(int expected = 0)
    {
        PPPoERelayConf conf;
        memset(&conf, 'x', sizeof conf);
        EXPECT_EQ(expected, KAVONetGetPPPoERelayConfig("lbr0", &conf));
        return conf;
    }
};

TEST_F(GetRelay, ReadsTheSettings)
{
    write_relay("lbr0", "# relay\nenable=yes\nserver=wan0\n");
    const PPPoERelayConf conf = get();
    EXPECT_EQ(1, conf.enable);
    EXPECT_STREQ("wan0", conf.szServer);
    EXPECT_EQ("# relay\nenable=yes\nserver=wan0\n", read_file(relay_file("lbr0")));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetRelay, OnlyYesIsEnabled)
{
    for (const char *value : {"no", "", "YES", "1", "yes "}) {
        write_relay("lbr0", std::string("enable=") + value + "\nserver=wan0\n");
        EXPECT_EQ(0, get().enable) << value;
    }
}

TEST_F(GetRelay, CreatesWhatIsMissing)
{
    const mode_t old = umask(0);
    const PPPoERelayConf conf = get();
    umask(old);
    EXPECT_EQ(0, conf.enable);
    EXPECT_STREQ("", conf.szServer);
    EXPECT_EQ(0755U, mode_of(RELAY_FOLDER));
    EXPECT_EQ("", read_file(relay_file("lbr0")));
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre("lbr0"));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(GetRelay, LeavesTheModeOfAFolderAlone)
{
    ASSERT_EQ(0, mkdir(RELAY_FOLDER, 0700));
    get();
    EXPECT_EQ(0700U, mode_of(RELAY_FOLDER));
    EXPECT_TRUE(exists(relay_file("lbr0")));
}

TEST_F(GetRelay, AServerIsCutAt15Characters)
{
    write_relay("lbr0", "server=abcdefghijklmnopq\n");
    EXPECT_STREQ("abcdefghijklmno", get().szServer);
}

TEST_F(GetRelay, AServerThatCannotBeReadIsAFailure)
{
    write_relay("lbr0", "enable=yes\nserver=wan0\n");
    fail_call("KLIBCFileGetKeyValue");
    const PPPoERelayConf conf = get(-1);
    EXPECT_EQ(1, conf.enable);
    EXPECT_STREQ("", conf.szServer);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get key[server] in file[/etc/sysconfig/pppoe-relay/lbr0]."));
    EXPECT_EQ(1U, log_lines().size());
    clear();
    unlink(relay_file("lbr0").c_str());
    ASSERT_EQ(0, mkdir(relay_file("lbr0").c_str(), 0755));
    get(-1);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get key[server] in file[/etc/sysconfig/pppoe-relay/lbr0]."));
}

TEST_F(GetRelay, AFolderThatCannotBeMadeIsAFailure)
{
    fail_call("mkdir");
    get(-1);
    EXPECT_FALSE(exists(RELAY_FOLDER));
    write_file(RELAY_FOLDER, "a file\n");
    get(-1);
    EXPECT_EQ("a file\n", read_file(RELAY_FOLDER));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(GetRelay, AFolderThatAnotherMakesInBetweenWillDo)
{
    support::on_call("mkdir", [] { shell("mkdir -p /etc/sysconfig/pppoe-relay"); });
    EXPECT_EQ(0, get().enable);
    EXPECT_TRUE(exists(relay_file("lbr0")));
}

TEST_F(GetRelay, AFileThatCannotBeMadeIsAFailure)
{
    ASSERT_EQ(0, mkdir(RELAY_FOLDER, 0755));
    ASSERT_EQ(0, symlink("/etc/nowhere", relay_file("lbr0").c_str()));
    get(-1);
    EXPECT_FALSE(exists("/etc/nowhere"));
}

TEST_F(GetRelay, TakesNamesOf15CharactersAndRefusesLongerOnes)
{
    PPPoERelayConf conf;
    EXPECT_EQ(0, KAVONetGetPPPoERelayConfig(support::NAME_OF_15, &conf));
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre(support::NAME_OF_15));
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetGetPPPoERelayConfig(name.c_str(), &conf)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre(support::NAME_OF_15));
}

TEST_F(GetRelay, RefusesNull)
{
    PPPoERelayConf conf;
    EXPECT_EQ(-1, KAVONetGetPPPoERelayConfig(nullptr, &conf));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Wrong Parameter."));
    clear();
    EXPECT_EQ(-1, KAVONetGetPPPoERelayConfig("lbr0", nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Wrong Parameter."));
    EXPECT_FALSE(exists(RELAY_FOLDER));
}

} // namespace
