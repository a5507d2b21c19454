#include "appliance/virtual/vlan_test.h"

#include "support/kill_stepper.h"

namespace {

constexpr char FILE_NAME[] = "net_vlan_remove.cpp";
constexpr long long COMING_UP = 2'000'000; // microseconds

class VlanRemove : public VlanTest {
protected:
    static constexpr char ROW[] = "# kept\nDEVICE=eth0\nONBOOT=yes\nIPV6ADDR=2001:db8::1\nIPV6PREFIXLENG=64\n"
                                  "USERCTL=no\nBOOTPROTO=none\nIPV6INIT=off\n";
    static constexpr char VLAN[] = "DEVICE=eth0.100\nVLAN_ROW_DEVICE=eth0\nVLAN_ID=100\nONBOOT=yes\n"
                                   "BOOTPROTO=static\nIPADDR=10.9.0.1\nNETMASK=255.255.0.0\nIPV6INIT=static\n"
                                   "IPV6ADDR=2001:db8::2\nIPV6PREFIXLENG=48\nIPV6_DEFAULTGW=fe80::1\n"
                                   "IPV6DNS=2001:db8::53\n";
    static constexpr char NEW_ROW[] = "# kept\nDEVICE=eth0\nONBOOT=yes\nUSERCTL=no\n"
                                      "BOOTPROTO=static\nIPADDR=10.9.0.1\nNETMASK=255.255.0.0\nIPV6INIT=static\n"
                                      "IPV6ADDR=2001:db8::2\nIPV6PREFIXLENG=48\nIPV6_DEFAULTGW=fe80::1\n"
                                      "IPV6DNS=2001:db8::53\n";
    static constexpr char OLD_MTUS[] = "eth0_mtu=\"9000\"\neth0.100_mtu=\"8000\"\neth0.1_mtu=\"7000\"\n";
    static constexpr char NEW_MTUS[] = "eth0_mtu=\"9000\"\neth0.1_mtu=\"7000\"\n";

    void SetUp() override
    {
        VlanTest::SetUp();
        if (IsSkipped())
            return;
        has_vlan("eth0.100", "eth0", 100);
        put_back();
        follow(EVENT);
    }

    static void put_back()
    {
        write_ifcfg("eth0", ROW);
        write_ifcfg("eth0.100", VLAN);
        write_file(SETTINGS, OLD_MTUS);
    }

    static int remove_it() { return KLIBNetVlanRemove("eth0.100"); }

    static std::vector<std::string> stopped() { return {call({SCRIPT, "stop", "eth0", "eth0.100"})}; }
    static std::vector<std::string> started() { return {call({SCRIPT, "start", "eth0"})}; }
    static std::vector<std::string> post() { return {event("post")}; }
    static std::vector<std::string> pre() { return {event("pre")}; }

    static void expect_removed()
    {
        EXPECT_EQ(NEW_ROW, file_of("eth0"));
        EXPECT_THAT(files(), ElementsAre("ifcfg-eth0"));
        EXPECT_EQ(NEW_MTUS, settings());
    }

    static void expect_old_files()
    {
        EXPECT_EQ(ROW, file_of("eth0"));
        EXPECT_EQ(VLAN, file_of("eth0.100"));
        EXPECT_THAT(files(), ElementsAre("ifcfg-eth0", "ifcfg-eth0.100"));
    }

    static void expect_untouched()
    {
        expect_old_files();
        EXPECT_EQ(OLD_MTUS, settings());
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_EQ(0, support::waits());
    }

    static void expect_failure_told(const std::vector<std::string> &between)
    {
        EXPECT_EQ(joined(pre(), between, post()), calls());
        EXPECT_THAT(followed(), ElementsAre(told("pre", "eth0.100", "eth0", 0), told("post", "eth0.100", "eth0", -1)));
    }
};

TEST_F(VlanRemove, GivesTheDeviceItsAddressesBackAndTellsEverybodyInOrder)
{
    EXPECT_EQ(0, remove_it());
    expect_removed();
    EXPECT_EQ(0644U, mode_of("eth0"));
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0.100", "eth0"), post()), calls());
    EXPECT_THAT(followed(), ElementsAre(told("pre", "eth0.100", "eth0", 0), told("post", "eth0.100", "eth0", 0)));
    EXPECT_EQ(COMING_UP, support::waited());
    EXPECT_EQ(1, support::waits());
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(VlanRemove, WaitsBetweenTheScriptAndTheTools)
{
    support::on_wait([] { EXPECT_EQ(joined(pre(), stopped(), started()), calls()); });
    EXPECT_EQ(0, remove_it());
    support::on_wait(nullptr);
    EXPECT_EQ(1, support::waits());
}

TEST_F(VlanRemove, WhatWasMadeIsTakenBack)
{
    const std::string before = "DEVICE=eth1\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.1.0.1\nNETMASK=255.255.255.0\n"
                               "IPV6INIT=static\nIPV6ADDR=2001:db8::1\nIPV6PREFIXLENG=64\nIPV6_DEFAULTGW=fe80::1\n"
                               "IPV6DNS=2001:db8::53\n";
    has_device("eth1");
    write_ifcfg("eth1", before);
    KAVONETINFO info{};
    info.blStatic = 1;
    strcpy(info.szAddr, "10.1.0.1");
    strcpy(info.szMask, "255.255.255.0");
    ASSERT_EQ(0, KLIBNetVlanCreate("eth1", 4094, &info));
    EXPECT_EQ("DEVICE=eth1\nONBOOT=yes\nIPV6ADDR=2001:db8::1\nIPV6PREFIXLENG=64\nBOOTPROTO=none\nIPV6INIT=off\n",
              file_of("eth1"));
    has_vlan("eth1.4094", "eth1", 4094);
    EXPECT_EQ(0, KLIBNetVlanRemove("eth1.4094"));
    EXPECT_EQ(before, file_of("eth1"));
    EXPECT_FALSE(exists(ifcfg("eth1.4094")));
    EXPECT_EQ(OLD_MTUS, settings());
}

TEST_F(VlanRemove, TheDeviceIsTheKernelsWhateverTheNameSays)
{
    has_vlan("vlan7", "eth5", 7);
    write_ifcfg("eth5", "DEVICE=eth5\n");
    write_ifcfg("vlan7", "DEVICE=vlan7\nVLAN_ROW_DEVICE=eth0\nBOOTPROTO=dhcp\n");
    EXPECT_EQ(0, KLIBNetVlanRemove("vlan7"));
    EXPECT_EQ("DEVICE=eth5\nBOOTPROTO=dhcp\n", file_of("eth5"));
    EXPECT_THAT(followed().front(), told("pre", "vlan7", "eth5", 0));
    EXPECT_FALSE(exists(ifcfg("vlan7")));
    EXPECT_EQ(ROW, file_of("eth0"));
}

// ---- The device's file

TEST_F(VlanRemove, LinesOfTheDeviceThatOnlyBeginAlikeStay)
{
    // Address, mask, gateway and name servers of its own are not taken away: the making of a VLAN left none.
    const std::string kept = "IPADDR=10.1.0.1\nNETMASK=255.0.0.0\nIPV6_DEFAULTGW=fe80::9\nIPV6DNS=::1\nIPV6INITX=1\n"
                             " BOOTPROTO=none\nbootproto=none\n#BOOTPROTO=none\nIPV6PREFIXLEN=1\nIPV6ADDR2=::2\n\n" +
                             std::string(100'000, 'x') + "\n";
    write_ifcfg("eth0", "IPV6INIT=off\r\nBOOTPROTO=\nIPV6ADDR=\n" + kept + "IPV6PREFIXLENG=");
    write_ifcfg("eth0.100", "BOOTPROTO=dhcp\n");
    EXPECT_EQ(0, remove_it());
    EXPECT_EQ(kept + "BOOTPROTO=dhcp\n", file_of("eth0"));
}

TEST_F(VlanRemove, LinesOfTheVlanComeInItsOrder)
{
    write_ifcfg("eth0", "DEVICE=eth0");
    write_ifcfg("eth0.100", "NETMASK=255.0.0.0\nIPV6_DEFAULTGW=fe80::1\nDEVICE=eth0.100\nIPADDR=10.0.0.1\nMTU=9000\n"
                            "IPADDR2=10.0.0.2\n IPADDR=10.0.0.3\n#IPADDR=10.0.0.4\nGATEWAY=10.0.0.254\nBOOTPROTO=");
    EXPECT_EQ(0, remove_it());
    EXPECT_EQ("DEVICE=eth0\nNETMASK=255.0.0.0\nIPV6_DEFAULTGW=fe80::1\nIPADDR=10.0.0.1\nBOOTPROTO=\n", file_of("eth0"));
}

TEST_F(VlanRemove, WhateverBeginsLikeTheNameServersComesAlong)
{
    write_ifcfg("eth0", "DEVICE=eth0\n");
    write_ifcfg("eth0.100", "IPV6DNS=::1\nIPV6DNS2=::2\nIPV6DNS\nIPV6DNS_SEARCH=example\nIPV6DN=::3\n IPV6DNS=::4\n");
    EXPECT_EQ(0, remove_it());
    EXPECT_EQ("DEVICE=eth0\nIPV6DNS=::1\nIPV6DNS2=::2\nIPV6DNS\nIPV6DNS_SEARCH=example\n", file_of("eth0"));
}

TEST_F(VlanRemove, EmptyFilesAreNoFailure)
{
    write_ifcfg("eth0", "");
    write_ifcfg("eth0.100", "");
    EXPECT_EQ(0, remove_it());
    EXPECT_EQ("", file_of("eth0"));
    EXPECT_TRUE(exists(ifcfg("eth0")));
    EXPECT_FALSE(exists(ifcfg("eth0.100")));
}

TEST_F(VlanRemove, TheNewFileStandsBesideTheOldUntilBothAreStopped)
{
    script(SCRIPT, std::string("cp -a ") + FOLDER + " /run/at-$1; cp /etc/kavoinfo.conf /run/mtus-at-$1");
    EXPECT_EQ(0, remove_it());
    const std::vector<std::string> at_stop = support::entries("/run/at-stop");
    ASSERT_EQ(3U, at_stop.size());
    EXPECT_THAT(at_stop[0], testing::MatchesRegex("DEV_[A-Za-z0-9]{6}"));
    EXPECT_EQ(NEW_ROW, read_file("/run/at-stop/" + at_stop[0]));
    EXPECT_EQ(ROW, read_file("/run/at-stop/ifcfg-eth0"));
    EXPECT_EQ(VLAN, read_file("/run/at-stop/ifcfg-eth0.100"));
    EXPECT_EQ(NEW_MTUS, read_file("/run/mtus-at-stop"));
    EXPECT_THAT(support::entries("/run/at-start"), ElementsAre("ifcfg-eth0"));
    EXPECT_EQ(NEW_ROW, read_file("/run/at-start/ifcfg-eth0"));
}

// ---- MTU and PPPoE

TEST_F(VlanRemove, TheLongestNameHasItsMtuRemovedToo)
{
    has_vlan(support::NAME_OF_15, "eth0", 9);
    write_ifcfg(support::NAME_OF_15, "BOOTPROTO=dhcp\n");
    write_file(SETTINGS, std::string(support::NAME_OF_15) + "_mtu=\"1\"\n" + OLD_MTUS);
    EXPECT_EQ(0, KLIBNetVlanRemove(support::NAME_OF_15));
    EXPECT_EQ(OLD_MTUS, settings());
}

TEST_F(VlanRemove, AnMtuThatIsNotThereOrStaysIsIgnored)
{
    write_file(SETTINGS, NEW_MTUS);
    EXPECT_EQ(0, remove_it());
    expect_removed();
    put_back();
    fail_call("KLIBCINFORemoveKey");
    EXPECT_EQ(0, remove_it());
    EXPECT_EQ(OLD_MTUS, settings());
    EXPECT_THAT(files(), ElementsAre("ifcfg-eth0"));
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(VlanRemove, TurnsPppoeOffOnTheVlanBeforeItIsStopped)
{
    write_file(SETTINGS, std::string("pppoe_enable=\"yes\"\n") + OLD_MTUS);
    write_file("/etc/ppp/pppoe.conf", "ETH=eth0.100\nUSER='nobody'\nMTU=1412\nDEFAULTROUTE=no\n");
    write_file("/etc/ppp/pap-secrets", "'nobody' * pass\n", 0600);
    record("/usr/sbin/pppoe-stop");
    stand_ins::run_connections(1);
    EXPECT_EQ(0, remove_it());
    EXPECT_EQ(std::string("pppoe_enable=\"no\"\n") + NEW_MTUS, settings());
    EXPECT_EQ(joined(pre(), std::vector<std::string>{"[/usr/sbin/pppoe-stop]"}, stopped(), started(),
                     tools("eth0.100", "eth0"), post()),
              calls());
}

TEST_F(VlanRemove, APppoeThatCannotBeTurnedOffIsAFailure)
{
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, remove_it());
    EXPECT_THAT(said(), testing::Contains("3 net_vlan_remove.cpp Disable PPPoE interface eth0.100 Failed.[0x0400 "
                                          "service_pppoe.cpp:N]"));
    EXPECT_EQ(OLD_MTUS, settings()) << "the key goes afterwards";
    expect_old_files();
    expect_failure_told({});
}

// ---- Events

TEST_F(VlanRemove, AnEventThatCannotBeOpenedEndsItBeforeAnythingChanges)
{
    fail_call("KLIBPluginSDKInit");
    EXPECT_EQ(-1, remove_it());
    EXPECT_THAT(said(), ElementsAre("3 net_vlan_remove.cpp Fail to init plugin) [0x5151 fault.c:N]"));
    expect_untouched();
}

TEST_F(VlanRemove, WhatFailedIsToldAndNotTheEventBehindIt)
{
    follow(EVENT, 1);
    fail_call("KLIBCFileTempFileOpen");
    EXPECT_EQ(-1, remove_it());
    EXPECT_EQ(0x5151U, last_error().code);
}

TEST_F(VlanRemove, AFailedSubscriberStopsNothing)
{
    follow(EVENT, 1);
    EXPECT_EQ(0, remove_it());
    expect_removed();
    std::vector<std::string> lines = said(); // the platform tells of the subscriber itself
    std::erase_if(lines, [](const std::string &line) { return line.find(FILE_NAME) == std::string::npos; });
    ASSERT_EQ(2U, lines.size());
    EXPECT_THAT(lines[0],
                testing::MatchesRegex("3 net_vlan_remove\\.cpp Fail to execute net plugin \\(PRE\\) \\[0x.*:N\\]"));
    EXPECT_THAT(lines[1],
                testing::MatchesRegex("3 net_vlan_remove\\.cpp Fail to execute net plugin \\(POST\\) \\[0x.*:N\\]"));
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0.100", "eth0"), post()), calls());
}

TEST_F(VlanRemove, APhaseWhoseArgumentsCannotBeSetIsNotFired)
{
    fail_call("KLIBPluginSetArgByArray", 1);
    EXPECT_EQ(0, remove_it());
    EXPECT_THAT(said(), ElementsAre("3 net_vlan_remove.cpp Fail to execute net plugin (PRE) [0x5151 fault.c:N]"));
    EXPECT_EQ(joined(stopped(), started(), tools("eth0.100", "eth0"), post()), calls());
    clear();
    put_back();
    fail_call("KLIBPluginSetArgByInt", 2);
    EXPECT_EQ(0, remove_it());
    EXPECT_THAT(said(), ElementsAre("3 net_vlan_remove.cpp Fail to execute net plugin (POST) [0x5151 fault.c:N]"));
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0.100", "eth0")), calls());
    expect_removed();
}

TEST_F(VlanRemove, AnEventThatIsOpenNoMoreIsNotToldOfTheResult)
{
    fail_call("KLIBPluginHasInit");
    EXPECT_EQ(0, remove_it());
    expect_removed();
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0.100", "eth0")), calls());
    EXPECT_THAT(said(), IsEmpty());
}

// ---- Refusals

TEST_F(VlanRemove, WhatIsNoVlanFailsWithoutACode)
{
    EXPECT_EQ(-1, KLIBNetVlanRemove("eth0"));
    EXPECT_EQ(-1, KLIBNetVlanRemove("eth7"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(said(), IsEmpty());
    expect_untouched();
}

TEST_F(VlanRemove, AQuestionThatCannotBeAskedIsAFailure)
{
    fail_call("socket");
    EXPECT_EQ(-1, remove_it());
    EXPECT_TRUE(support::is_set_in("net_vlan_get.cpp", NET_ERR_SOCKET_FAILED));
    expect_untouched();
}

TEST_F(VlanRemove, RefusesNullAndHostileNames)
{
    const auto refuses = [](const char *name) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetVlanRemove(name));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << (name == nullptr ? "null" : name);
    };
    refuses(nullptr);
    for (const std::string &name : support::hostile_names())
        refuses(name.c_str());
    refuses(support::NAME_OF_16);
    EXPECT_EQ(0, support::ioctl_calls());
    expect_untouched();
}

// ---- Files that cannot be read or written

TEST_F(VlanRemove, ATemporaryFileThatCannotBeMadeIsAFailure)
{
    fail_call("KLIBCFileTempFileOpen");
    EXPECT_EQ(-1, remove_it());
    EXPECT_EQ(0x5151U, last_error().code) << "the platform's record stays";
    EXPECT_THAT(said(), IsEmpty());
    EXPECT_EQ(NEW_MTUS, settings());
    expect_old_files();
    expect_failure_told({});
}

TEST_F(VlanRemove, AFileThatCannotBeReadIsAFailure)
{
    for (const char *name : {"eth0", "eth0.100"}) {
        const auto fails = [&] {
            clear();
            EXPECT_EQ(-1, remove_it());
            EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED)) << name;
            EXPECT_THAT(said(), IsEmpty());
            for (const std::string &left : files())
                EXPECT_TRUE(left == "ifcfg-eth0" || left == "ifcfg-eth0.100") << left;
            expect_failure_told({});
        };
        put_back();
        unlink(ifcfg(name).c_str());
        fails();
        unopenable(ifcfg(name));
        fails();
        unlink(ifcfg(name).c_str());
        mkdir(ifcfg(name).c_str(), 0755); // it opens, but has no lines
        fails();
        rmdir(ifcfg(name).c_str());
    }
}

TEST_F(VlanRemove, AFullDiskIsAFailure)
{
    leave_room_for(0);
    EXPECT_EQ(-1, remove_it());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED));
    EXPECT_THAT(said(), IsEmpty());
    expect_old_files();
    expect_failure_told({});
    ASSERT_EQ(0, umount(FOLDER));
}

TEST_F(VlanRemove, EveryStepOfTheWritingCounts)
{
    // The setting's rewrite syncs its file and its folder before.
    for (const auto &[function, n] : {std::pair{"fflush", 1}, {"fsync", 3}}) {
        clear();
        put_back();
        fail_call(function, n);
        EXPECT_EQ(-1, remove_it()) << function << n;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED)) << function << n;
        expect_old_files();
        expect_failure_told({});
    }
    clear();
    EXPECT_EQ(0, remove_it());
    expect_removed();
}

TEST_F(VlanRemove, AFailedRenameLeavesBothFilesAsTheyWere)
{
    fail_call("rename");
    EXPECT_EQ(-1, remove_it());
    expect_old_files();
    EXPECT_THAT(said(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET.code, last_error().code) << "it has no code of its own";
    expect_failure_told(stopped());
    EXPECT_EQ(0, support::waits());
}

TEST_F(VlanRemove, AFailedChangeOfModeIsAFailureWithTheFileInPlace)
{
    fail_call("chmod");
    EXPECT_EQ(-1, remove_it());
    EXPECT_EQ(NEW_ROW, file_of("eth0"));
    EXPECT_EQ(VLAN, file_of("eth0.100"));
    EXPECT_THAT(said(), ElementsAre("3 net_vlan_remove.cpp change " + ifcfg("eth0") + "'s mode failed"));
    expect_failure_told(stopped());
}

TEST_F(VlanRemove, AVlanFileThatStaysIsLogged)
{
    fail_call("unlink");
    EXPECT_EQ(0, remove_it());
    EXPECT_THAT(said(),
                ElementsAre("3 net_vlan_remove.cpp Failed to remove " + ifcfg("eth0.100") + ". (Input/output error)"));
    EXPECT_EQ(NEW_ROW, file_of("eth0"));
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0.100", "eth0"), post()), calls());
}

// ---- The script and the tools

TEST_F(VlanRemove, AFailedScriptIsOnlyLogged)
{
    record(SCRIPT, 1);
    EXPECT_EQ(0, remove_it());
    expect_removed();
    EXPECT_THAT(said(), ElementsAre("4 net_vlan_remove.cpp Failed to deactivate eth0, eth0.100.",
                                    "3 net_vlan_remove.cpp Failed to activate eth0."));
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0.100", "eth0"), post()), calls());
    EXPECT_EQ(COMING_UP, support::waited());
    EXPECT_EQ(told("post", "eth0.100", "eth0", 0), followed().back());
}

TEST_F(VlanRemove, AFailedToolIsAFailureWithTheNewFilesInPlace)
{
    const std::vector<std::string> commands = tools("eth0.100", "eth0");
    for (size_t i = 0; i < commands.size(); ++i) {
        clear();
        put_back();
        fail_call("KLIBCExecl", static_cast<int>(i) + 3); // behind the script's two
        EXPECT_EQ(-1, remove_it());
        expect_removed();
        EXPECT_THAT(said(), ElementsAre(std::string("3 net_vlan_remove.cpp Failed to ") + (i < 2 ? FIREWALL : TRAFFIC) +
                                        " -change_interface eth0.100 eth0"));
        expect_failure_told(
            joined(stopped(), started(), std::vector(commands.begin(), commands.begin() + static_cast<long>(i))));
        EXPECT_EQ(COMING_UP, support::waited());
    }
}

// ---- Kills

TEST_F(VlanRemove, AKillAtAnySystemCallLeavesEachFileOldOrNewAndWhole)
{
    shell(std::string("rm -r /usr/kavo/etc/plugins/net; for f in ") + SCRIPT + " " + FIREWALL + " " + TRAFFIC +
          "; do rm $f; ln -s /bin/true $f; done");
    bool row_seen = false;
    bool vlan_gone = false;
    const int kills = support::kill_before_each_call(
        [] {
            if (remove_it() != 0)
                _exit(1);
        },
        [&](int n) {
            SCOPED_TRACE("killed before call " + std::to_string(n));
            const std::string row = file_of("eth0");
            const bool has_vlan_file = exists(ifcfg("eth0.100"));
            ASSERT_TRUE(row == ROW || row == NEW_ROW) << row;
            ASSERT_TRUE(!has_vlan_file || file_of("eth0.100") == VLAN) << file_of("eth0.100");
            ASSERT_TRUE(has_vlan_file || row == NEW_ROW) << "the addresses are always somewhere";
            ASSERT_TRUE(settings() == OLD_MTUS || settings() == NEW_MTUS) << settings();
            ASSERT_TRUE(row == ROW || settings() == NEW_MTUS) << "the setting goes first";
            row_seen = row_seen || row == NEW_ROW;
            vlan_gone = vlan_gone || !has_vlan_file;
            for (const std::string &name : files()) {
                ASSERT_TRUE(name == "ifcfg-eth0" || name == "ifcfg-eth0.100" || name.rfind("ifcfg-", 0) != 0) << name;
                unlink((std::string(FOLDER) + "/" + name).c_str());
            }
            put_back();
        });
    EXPECT_GT(kills, 50);
    EXPECT_TRUE(row_seen && vlan_gone) << "there are calls behind the changes too";
    expect_removed();
}

} // namespace
