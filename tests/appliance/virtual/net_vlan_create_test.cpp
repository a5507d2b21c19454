#include "appliance/virtual/vlan_test.h"

#include "support/kill_stepper.h"

namespace {

constexpr char FILE_NAME[] = "net_vlan_create.cpp";
constexpr long long COMING_UP = 2'000'000; // microseconds

class VlanCreate : public VlanTest {
protected:
    static constexpr char ROW[] = "# kept\nDEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.1.0.1\n"
                                  "NETMASK=255.255.255.0\nIPV6INIT=static\nIPV6ADDR=2001:db8::1\nIPV6PREFIXLENG=64\n"
                                  "IPV6_DEFAULTGW=fe80::1\nIPV6DNS=2001:db8::53\nUSERCTL=no\n";
    static constexpr char NEW_ROW[] = "# kept\nDEVICE=eth0\nONBOOT=yes\nIPV6ADDR=2001:db8::1\nIPV6PREFIXLENG=64\n"
                                      "USERCTL=no\nBOOTPROTO=none\nIPV6INIT=off\n";
    static constexpr char NEW_VLAN[] = "DEVICE=eth0.100\nVLAN_ROW_DEVICE=eth0\nVLAN_ID=100\nONBOOT=yes\n"
                                       "BOOTPROTO=static\nIPADDR=10.9.0.1\nNETMASK=255.255.0.0\nIPV6INIT=static\n"
                                       "IPV6ADDR=2001:db8::1\nIPV6PREFIXLENG=64\nIPV6_DEFAULTGW=fe80::1\n"
                                       "IPV6DNS=2001:db8::53\n";
    static constexpr char MTUS[] = "eth0_mtu=\"9000\"\n";

    void SetUp() override
    {
        VlanTest::SetUp();
        if (IsSkipped())
            return;
        write_ifcfg("eth0", ROW);
        write_file(SETTINGS, MTUS);
        follow(EVENT);
    }

    static KAVONETINFO address(int is_static, const std::string &address = "10.9.0.1",
                               const std::string &mask = "255.255.0.0")
    {
        KAVONETINFO info{};
        info.blStatic = is_static;
        address.copy(info.szAddr, sizeof info.szAddr);
        mask.copy(info.szMask, sizeof info.szMask);
        return info;
    }

    static int create(const std::string &device = "eth0", int32_t id = 100, const KAVONETINFO &info = address(1))
    {
        return KLIBNetVlanCreate(device.c_str(), id, &info);
    }

    static std::vector<std::string> started() { return {call({SCRIPT, "start", "eth0", "eth0.100"})}; }
    static std::vector<std::string> stopped() { return {call({SCRIPT, "stop", "eth0"})}; }
    static std::vector<std::string> post() { return {event("post")}; }
    static std::vector<std::string> pre() { return {event("pre")}; }

    static void expect_created()
    {
        EXPECT_EQ(NEW_ROW, file_of("eth0"));
        EXPECT_EQ(NEW_VLAN, file_of("eth0.100"));
        EXPECT_THAT(files(), ElementsAre("ifcfg-eth0", "ifcfg-eth0.100"));
    }

    // Neither file has changed and nothing else is there.
    static void expect_old_files()
    {
        EXPECT_EQ(ROW, file_of("eth0"));
        EXPECT_THAT(files(), ElementsAre("ifcfg-eth0"));
    }

    // It was refused before anything happened.
    static void expect_untouched()
    {
        expect_old_files();
        EXPECT_EQ(MTUS, settings());
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_EQ(0, support::waits());
    }

    // A failure behind the first event is told by the second.
    static void expect_failure_told(const std::vector<std::string> &between)
    {
        EXPECT_EQ(joined(pre(), between, post()), calls());
        EXPECT_THAT(followed(), ElementsAre(told("pre", "eth0", "eth0.100", 0), told("post", "eth0", "eth0.100", -1)));
    }
};

TEST_F(VlanCreate, WritesBothFilesAndTellsEverybodyInOrder)
{
    EXPECT_EQ(0, create());
    expect_created();
    EXPECT_EQ(0644U, mode_of("eth0"));
    EXPECT_EQ(0644U, mode_of("eth0.100"));
    EXPECT_EQ("eth0_mtu=\"9000\"\neth0.100_mtu=\"9000\"\n", settings());
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0", "eth0.100"), post()), calls());
    EXPECT_THAT(followed(), ElementsAre(told("pre", "eth0", "eth0.100", 0), told("post", "eth0", "eth0.100", 0)));
    EXPECT_EQ(COMING_UP, support::waited());
    EXPECT_EQ(1, support::waits());
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(VlanCreate, WaitsBetweenTheScriptAndTheTools)
{
    support::on_wait([] { EXPECT_EQ(joined(pre(), stopped(), started()), calls()); });
    EXPECT_EQ(0, create());
    support::on_wait(nullptr);
    EXPECT_EQ(1, support::waits());
}

TEST_F(VlanCreate, TheFirstAndTheLastIdAreTaken)
{
    EXPECT_EQ(0, create("eth0", 1));
    EXPECT_THAT(file_of("eth0.1"), testing::StartsWith("DEVICE=eth0.1\nVLAN_ROW_DEVICE=eth0\nVLAN_ID=1\n"));
    write_ifcfg("eth0", ROW);
    EXPECT_EQ(0, create("eth0", 4094));
    EXPECT_THAT(file_of("eth0.4094"), testing::StartsWith("DEVICE=eth0.4094\nVLAN_ROW_DEVICE=eth0\nVLAN_ID=4094\n"));
}

TEST_F(VlanCreate, ADeviceThatIsDownIsGoodEnough)
{
    has_device("eth0", 0);
    EXPECT_EQ(0, create());
    expect_created();
}

TEST_F(VlanCreate, OtherDevicesMayCarryVlans)
{
    has_vlan("eth1.100", "eth1", 100);
    has_vlan("eth00.100", "eth00", 100);
    EXPECT_EQ(0, create());
    expect_created();
}

// ---- The VLAN's file

TEST_F(VlanCreate, WithoutAStaticAddressItIsOnDhcp)
{
    write_ifcfg("eth0", "DEVICE=eth0\nBOOTPROTO=static\nIPADDR=10.1.0.1\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(0, create("eth0", 100, address(0)));
    EXPECT_EQ("DEVICE=eth0.100\nVLAN_ROW_DEVICE=eth0\nVLAN_ID=100\nONBOOT=yes\nBOOTPROTO=dhcp\n", file_of("eth0.100"));
    EXPECT_EQ("DEVICE=eth0\nBOOTPROTO=none\nIPV6INIT=off\n", file_of("eth0"));
}

TEST_F(VlanCreate, TheAddressOfADhcpRecordIsNotLookedAt)
{
    EXPECT_EQ(0, create("eth0", 100, address(0, std::string(20, '\xff'), "no mask")));
    EXPECT_THAT(file_of("eth0.100"), testing::HasSubstr("\nBOOTPROTO=dhcp\nIPV6INIT="));
}

TEST_F(VlanCreate, AnythingButZeroIsStatic)
{
    for (const int is_static : {-1, 2, INT32_MIN}) {
        write_ifcfg("eth0", ROW);
        EXPECT_EQ(0, create("eth0", 100, address(is_static)));
        expect_created();
    }
}

TEST_F(VlanCreate, TheAddressIsWrittenAsItWasGiven)
{
    EXPECT_EQ(0, create("eth0", 100, address(1, "0x0a.9.0.1", "0xff.0xff.0.0")));
    EXPECT_THAT(file_of("eth0.100"), testing::HasSubstr("\nIPADDR=0x0a.9.0.1\nNETMASK=0xff.0xff.0.0\n"));
}

TEST_F(VlanCreate, Ipv6KeysComeInTheirOwnOrderAndWithoutQuotes)
{
    write_ifcfg("eth0",
                "IPV6DNS=\"2001:db8::53 2001:db8::54\"\nIPV6_DEFAULTGW=\nIPV6PREFIXLENG=64\nIPV6ADDR=2001:db8::1\n"
                "IPV6INIT=auto\nIPV6INIT=static\nIPV6_PRIVACY=yes\nIPV6PREFIXLEN=48\n");
    EXPECT_EQ(0, create("eth0", 100, address(0)));
    EXPECT_EQ("DEVICE=eth0.100\nVLAN_ROW_DEVICE=eth0\nVLAN_ID=100\nONBOOT=yes\nBOOTPROTO=dhcp\nIPV6INIT=static\n"
              "IPV6ADDR=2001:db8::1\nIPV6PREFIXLENG=64\nIPV6DNS=2001:db8::53 2001:db8::54\n",
              file_of("eth0.100"));
    EXPECT_EQ(
        "IPV6PREFIXLENG=64\nIPV6ADDR=2001:db8::1\nIPV6_PRIVACY=yes\nIPV6PREFIXLEN=48\nBOOTPROTO=none\nIPV6INIT=off\n",
        file_of("eth0"));
}

TEST_F(VlanCreate, ALongIpv6ValueIsCut)
{
    write_ifcfg("eth0", "IPV6DNS=" + std::string(2000, '5') + "\n");
    EXPECT_EQ(0, create());
    EXPECT_THAT(file_of("eth0.100"), testing::EndsWith("\nIPV6DNS=" + std::string(1023, '5') + "\n"));
}

// ---- The device's file

TEST_F(VlanCreate, OtherLinesStayAsTheyAre)
{
    const std::string others =
        "\n  BOOTPROTO=static\nbootproto=static\n#IPADDR=1\nIPADDR2=10.1.0.2\nIPADDR =1\nXNETMASK=1\n"
        "IPV6DNS2=1\nIPV6INIT\nIPV6_DEFAULTGW2=1\nIPV6_DEFAULTGW_X=1\nIPV6ADDR=\nBOOTPROTO\n"
        "no key\nBOOTPRO=1\r\n\xff\xfe=\x01\nGATEWAY=10.1.0.254\n" +
        std::string(100'000, 'x') + "\nNUL" + std::string(1, '\0') + "BOOTPROTO=kept\n";
    write_ifcfg("eth0", "BOOTPROTO=static\r\nIPADDR=\n" + others + "NETMASK=\nIPV6DNS=\nIPV6_DEFAULTGW=x");
    EXPECT_EQ(0, create());
    EXPECT_EQ(others + "BOOTPROTO=none\nIPV6INIT=off\n", file_of("eth0"));
}

TEST_F(VlanCreate, ALastLineWithoutEndGetsOne)
{
    write_ifcfg("eth0", "DEVICE=eth0");
    EXPECT_EQ(0, create());
    EXPECT_EQ("DEVICE=eth0\nBOOTPROTO=none\nIPV6INIT=off\n", file_of("eth0"));
    write_ifcfg("eth0", "");
    EXPECT_EQ(0, create());
    EXPECT_EQ("BOOTPROTO=none\nIPV6INIT=off\n", file_of("eth0"));
}

TEST_F(VlanCreate, AnOldFileOfThatNameIsReplacedAndReadable)
{
    write_file(ifcfg("eth0.100"), "left over\n", 0600);
    write_file(ifcfg("eth0"), ROW, 0600);
    EXPECT_EQ(0, create());
    expect_created();
    EXPECT_EQ(0644U, mode_of("eth0"));
    EXPECT_EQ(0644U, mode_of("eth0.100"));
}

TEST_F(VlanCreate, TheNewFilesStandBesideTheOldUntilTheDeviceIsStopped)
{
    script(SCRIPT, std::string("cp -a ") + FOLDER + " /run/at-$1");
    EXPECT_EQ(0, create());
    const std::vector<std::string> at_stop = support::entries("/run/at-stop");
    ASSERT_EQ(3U, at_stop.size());
    EXPECT_THAT(at_stop[0], testing::MatchesRegex("DEVICE_[A-Za-z0-9]{6}"));
    EXPECT_THAT(at_stop[1], testing::MatchesRegex("VLAN_[A-Za-z0-9]{6}"));
    EXPECT_EQ(NEW_ROW, read_file("/run/at-stop/" + at_stop[0]));
    EXPECT_EQ(NEW_VLAN, read_file("/run/at-stop/" + at_stop[1]));
    EXPECT_EQ(ROW, read_file("/run/at-stop/ifcfg-eth0"));
    EXPECT_THAT(support::entries("/run/at-start"), ElementsAre("ifcfg-eth0", "ifcfg-eth0.100"));
    EXPECT_EQ(NEW_ROW, read_file("/run/at-start/ifcfg-eth0"));
    EXPECT_EQ(NEW_VLAN, read_file("/run/at-start/ifcfg-eth0.100"));
}

// ---- MTU

TEST_F(VlanCreate, WithoutASettingTheUsualMtuIsStored)
{
    write_file(SETTINGS, "other=\"1\"\neth0.100_mtu=\"7\"\n");
    EXPECT_EQ(0, create());
    EXPECT_EQ("other=\"1\"\neth0.100_mtu=\"1500\"\n", settings());
}

TEST_F(VlanCreate, ALongMtuIsCut)
{
    write_file(SETTINGS, "eth0_mtu=\"12345678901234567890\"\n");
    EXPECT_EQ(0, create());
    EXPECT_EQ("eth0_mtu=\"12345678901234567890\"\neth0.100_mtu=\"123456789012345\"\n", settings());
}

TEST_F(VlanCreate, AnMtuThatCannotBeReadIsAFailure)
{
    fail_call("KLIBCFileGetKeyValue", 2); // the first question is for PPPoE
    EXPECT_EQ(-1, create());
    ASSERT_EQ(2U, said().size());
    EXPECT_EQ("3 net_vlan_create.cpp Set mtu config eth0.100 mtu= Failed.[0x5151 fault.c:N]", said()[1]);
    EXPECT_EQ(MTUS, settings());
    expect_old_files();
    expect_failure_told({});
}

TEST_F(VlanCreate, AnMtuThatCannotBeStoredIsAFailure)
{
    fail_call("KLIBCFileSetKeyValue");
    EXPECT_EQ(-1, create());
    EXPECT_THAT(said(),
                ElementsAre("3 net_conf_set_mtu_value.cpp Failed to set eth0.100 MTU config value[0x5151 fault.c:N]",
                            "3 net_vlan_create.cpp Set mtu config eth0.100 mtu=9000 Failed.[0x5151 fault.c:N]"));
    EXPECT_EQ(MTUS, settings());
    expect_old_files();
    expect_failure_told({});
    EXPECT_EQ(0, support::waits());
}

// ---- PPPoE

TEST_F(VlanCreate, TurnsPppoeOffOnTheDeviceBeforeItIsStopped)
{
    write_file(SETTINGS, std::string("pppoe_enable=\"yes\"\n") + MTUS);
    write_file("/etc/ppp/pppoe.conf", "ETH=eth0\nUSER='nobody'\nMTU=1412\nDEFAULTROUTE=no\n");
    write_file("/etc/ppp/pap-secrets", "'nobody' * pass\n", 0600);
    record("/usr/sbin/pppoe-stop");
    stand_ins::run_connections(1);
    EXPECT_EQ(0, create());
    EXPECT_EQ(std::string("pppoe_enable=\"no\"\n") + MTUS + "eth0.100_mtu=\"9000\"\n", settings());
    EXPECT_EQ(joined(pre(), std::vector<std::string>{"[/usr/sbin/pppoe-stop]"}, stopped(), started(),
                     tools("eth0", "eth0.100"), post()),
              calls());
}

TEST_F(VlanCreate, APppoeThatCannotBeTurnedOffIsAFailure)
{
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, create());
    EXPECT_THAT(said(), testing::Contains("3 net_vlan_create.cpp Disable PPPoE interface eth0 Failed.[0x0400 "
                                          "service_pppoe.cpp:N]"));
    EXPECT_TRUE(support::is_set_in("service_pppoe.cpp", NET_ERR_LOCK_FAILED));
    EXPECT_EQ(MTUS, settings());
    expect_old_files();
    expect_failure_told({});
}

// ---- Events

TEST_F(VlanCreate, AnEventThatCannotBeOpenedEndsItBeforeAnythingChanges)
{
    fail_call("KLIBPluginSDKInit");
    EXPECT_EQ(-1, create());
    EXPECT_THAT(said(), ElementsAre("3 net_vlan_create.cpp Fail to init plugin) [0x5151 fault.c:N]"));
    EXPECT_EQ(0x5151U, last_error().code);
    expect_untouched();
}

TEST_F(VlanCreate, AFailedSubscriberStopsNothing)
{
    follow(EVENT, 1);
    EXPECT_EQ(0, create());
    expect_created();
    std::vector<std::string> lines = said(); // the platform tells of the subscriber itself
    std::erase_if(lines, [](const std::string &line) { return line.find(FILE_NAME) == std::string::npos; });
    ASSERT_EQ(2U, lines.size());
    EXPECT_THAT(lines[0],
                testing::MatchesRegex("3 net_vlan_create\\.cpp Fail to execute net plugin \\(PRE\\) \\[0x.*:N\\]"));
    EXPECT_THAT(lines[1],
                testing::MatchesRegex("3 net_vlan_create\\.cpp Fail to execute net plugin \\(POST\\) \\[0x.*:N\\]"));
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0", "eth0.100"), post()), calls());
}

TEST_F(VlanCreate, WhatFailedIsToldAndNotTheEventBehindIt)
{
    follow(EVENT, 1);
    fail_call("KLIBCFileTempFileOpen");
    EXPECT_EQ(-1, create());
    EXPECT_EQ(0x5151U, last_error().code);
}

TEST_F(VlanCreate, APhaseWhoseArgumentsCannotBeSetIsNotFired)
{
    for (const auto &[function, n] :
         {std::pair{"KLIBPluginSetArgByArray", 1}, {"KLIBPluginSetArgByArray", 2}, {"KLIBPluginSetArgByInt", 1}}) {
        clear();
        write_ifcfg("eth0", ROW);
        fail_call(function, n);
        EXPECT_EQ(0, create());
        EXPECT_THAT(said(), ElementsAre("3 net_vlan_create.cpp Fail to execute net plugin (PRE) [0x5151 fault.c:N]"));
        EXPECT_EQ(joined(stopped(), started(), tools("eth0", "eth0.100"), post()), calls());
        expect_created();
    }
    for (const auto &[function, n] :
         {std::pair{"KLIBPluginSetArgByArray", 3}, {"KLIBPluginSetArgByArray", 4}, {"KLIBPluginSetArgByInt", 2}}) {
        clear();
        write_ifcfg("eth0", ROW);
        fail_call(function, n);
        EXPECT_EQ(0, create());
        EXPECT_THAT(said(), ElementsAre("3 net_vlan_create.cpp Fail to execute net plugin (POST) [0x5151 fault.c:N]"));
        EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0", "eth0.100")), calls());
        expect_created();
    }
}

TEST_F(VlanCreate, AnEventThatIsOpenNoMoreIsNotToldOfTheResult)
{
    fail_call("KLIBPluginHasInit");
    EXPECT_EQ(0, create());
    expect_created();
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0", "eth0.100")), calls());
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(VlanCreate, AnEventThatOpensOnlyHalfIsClosed)
{
    int closed = 0;
    support::on_call("KLIBPluginExit", [&] { ++closed; });
    fail_call("KLIBPluginSDKInit");
    support::leave_handle(4711);
    EXPECT_EQ(-1, create());
    EXPECT_EQ(1, closed);
    EXPECT_THAT(said(), ElementsAre("3 net_vlan_create.cpp Fail to init plugin) [0x5151 fault.c:N]"));
    expect_untouched();
}

TEST_F(VlanCreate, SubscribersSeeTheStateBeforeAndAfter)
{
    write_file(std::string("/usr/kavo/etc/plugins/") + EVENT + "/40-look",
               std::string("#!/bin/sh\ncp -a ") + FOLDER + " /run/at-$1; cp /etc/kavoinfo.conf /run/at-$1\n", 0755);
    EXPECT_EQ(0, create());
    EXPECT_THAT(support::entries("/run/at-pre"), ElementsAre("ifcfg-eth0", "kavoinfo.conf"));
    EXPECT_EQ(ROW, read_file("/run/at-pre/ifcfg-eth0"));
    EXPECT_EQ(MTUS, read_file("/run/at-pre/kavoinfo.conf"));
    EXPECT_THAT(support::entries("/run/at-post"), ElementsAre("ifcfg-eth0", "ifcfg-eth0.100", "kavoinfo.conf"));
    EXPECT_EQ(NEW_ROW, read_file("/run/at-post/ifcfg-eth0"));
}

TEST_F(VlanCreate, TemporaryFilesOfAFailureGoBehindTheEvent)
{
    write_file(std::string("/usr/kavo/etc/plugins/") + EVENT + "/40-look",
               std::string("#!/bin/sh\ncp -a ") + FOLDER + " /run/at-$1\n", 0755);
    fail_call("rename");
    EXPECT_EQ(-1, create());
    EXPECT_EQ(3U, support::entries("/run/at-post").size());
    expect_old_files();
}

// ---- Refusals

TEST_F(VlanCreate, RefusesNullAndHostileArguments)
{
    const KAVONETINFO info = address(1);
    const auto refuses = [](const char *device, int32_t id, const KAVONETINFO *record) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetVlanCreate(device, id, record));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER))
            << (device == nullptr ? "null" : device) << id;
    };
    refuses(nullptr, 100, &info);
    refuses("eth0", 100, nullptr);
    for (const int32_t id : {INT32_MIN, -1, 0, 4095, 4096, INT32_MAX})
        refuses("eth0", id, &info);
    for (const std::string &name : support::hostile_names())
        refuses(name.c_str(), 100, &info);
    refuses(support::NAME_OF_16, 100, &info);
    refuses(support::NAME_OF_17, 100, &info);
    EXPECT_EQ(0, support::ioctl_calls());
    EXPECT_THAT(said(), IsEmpty());
    expect_untouched();
}

TEST_F(VlanCreate, RefusesAStaticAddressThatIsNone)
{
    const std::vector<std::pair<std::string, std::string>> bad = {
        {"", ""},
        {"10.9.0.1", ""},
        {"", "255.255.0.0"},
        {"10.9.0", "255.255.0.0"},
        {"10.9.0.1", "255.0.255.0"},
        {"10.9.0.1", "0.0.0.0"},
        {"10.9.255.255", "255.255.0.0"}, // the subnet's broadcast address
        {"127.0.0.1", "255.0.0.0"},
        {"224.0.0.1", "255.0.0.0"},
        {"10.9.0.1\n", "255.255.0.0"},
        {"10.9.0.1\nX=1", "255.255.0.0"},
        {"\n10.9.0.1", "255.255.0.0"},
        {"10.\n9.0.1", "255.255.0.0"},
        {"10.9.0.1", "255.255.\n0.0"},
        {"10.9.0.1", "255.255.\r0.0"},
        {"10.9.0.1", "\n255.255.0.0"},
        {"10.9.0.1", "255.255.0.0 x"},
        {std::string(20, '1'), "255.255.0.0"},
        {"10.9.0.1", std::string(20, '2')},
    };
    for (const auto &[ip, mask] : bad) {
        support::clear_error();
        EXPECT_EQ(-1, create("eth0", 100, address(1, ip, mask))) << ip << " " << mask;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << ip << " " << mask;
    }
    EXPECT_EQ(0, support::ioctl_calls());
    expect_untouched();
}

TEST_F(VlanCreate, RefusesADeviceThatIsNotThere)
{
    EXPECT_EQ(-1, create("eth7"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_NO_SUCH_DEVICE));
    fail_call("socket");
    support::clear_error();
    EXPECT_EQ(-1, create());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_NO_SUCH_DEVICE)) << "nobody can say whether it is there";
    EXPECT_THAT(said(), IsEmpty());
    expect_untouched();
}

TEST_F(VlanCreate, RefusesAVlanOnAVlan)
{
    has_vlan("eth0.5", "eth1", 5);
    EXPECT_EQ(-1, create("eth0.5"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    expect_untouched();
}

TEST_F(VlanCreate, RefusesAVlanThatExists)
{
    has_vlan("eth0.100", "eth1", 100); // the name counts, whatever it stands on
    EXPECT_EQ(-1, create());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_ALREADY_EXISTS));
    expect_untouched();
}

TEST_F(VlanCreate, RefusesADeviceThatCarriesAnyVlan)
{
    has_vlan("aaa", "eth1", 6);
    has_vlan("eth0.7", "eth0", 7);
    has_vlan("zzz", "eth2", 8);
    EXPECT_EQ(-1, create());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_ALREADY_EXISTS));
    expect_untouched();
}

TEST_F(VlanCreate, QuestionsThatCannotBeAskedAreFailures)
{
    for (const int n : {2, 3}) {
        clear();
        fail_call("socket", n);
        EXPECT_EQ(-1, create());
        EXPECT_TRUE(support::is_set_in("net_vlan_get.cpp", NET_ERR_SOCKET_FAILED)) << n;
    }
    clear();
    write_file(VLAN_LIST, "one\ntwo\nnonsense\n");
    EXPECT_EQ(-1, create());
    EXPECT_TRUE(support::is_set_in("net_vlan_enum.cpp", NET_ERR_BAD_FORMAT));
    expect_untouched();
}

TEST_F(VlanCreate, ALongNameIsCut)
{
    has_device("abcdefghijklm");
    write_ifcfg("abcdefghijklm", "DEVICE=abcdefghijklm\n");
    EXPECT_EQ(0, create("abcdefghijklm", 4094, address(0)));
    EXPECT_EQ("DEVICE=abcdefghijklm.4\nVLAN_ROW_DEVICE=abcdefghijklm\nVLAN_ID=4094\nONBOOT=yes\nBOOTPROTO=dhcp\n",
              file_of("abcdefghijklm.4"));
    EXPECT_THAT(calls(), testing::Contains(call({SCRIPT, "start", "abcdefghijklm", "abcdefghijklm.4"})));
    EXPECT_EQ("eth0_mtu=\"9000\"\nabcdefghijklm.4_mtu=\"1500\"\n", settings());
}

TEST_F(VlanCreate, ADeviceWhoseNameLeavesNoRoomIsRefused)
{
    has_device(support::NAME_OF_15);
    write_ifcfg(support::NAME_OF_15, "DEVICE=x\n");
    EXPECT_EQ(-1, create(support::NAME_OF_15, 1));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ("DEVICE=x\n", file_of(support::NAME_OF_15));
    EXPECT_THAT(calls(), IsEmpty());
}

// ---- Files that cannot be read or written

TEST_F(VlanCreate, ATemporaryFileThatCannotBeMadeIsAFailure)
{
    for (const int n : {1, 2}) {
        clear();
        fail_call("KLIBCFileTempFileOpen", n);
        EXPECT_EQ(-1, create());
        EXPECT_EQ(0x5151U, last_error().code) << "the platform's record stays";
        EXPECT_THAT(said(), IsEmpty());
        expect_old_files();
        expect_failure_told({});
        EXPECT_EQ(0, support::waits());
    }
}

TEST_F(VlanCreate, ADeviceWithoutAFileIsAFailure)
{
    const auto fails = [] {
        clear();
        EXPECT_EQ(-1, create());
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
        EXPECT_THAT(said(), IsEmpty());
        EXPECT_FALSE(exists(ifcfg("eth0.100")));
        EXPECT_LE(files().size(), 1U);
        expect_failure_told({});
    };
    unlink(ifcfg("eth0").c_str());
    fails();
    unopenable(ifcfg("eth0"));
    fails();
    unlink(ifcfg("eth0").c_str());
    mkdir(ifcfg("eth0").c_str(), 0755); // it opens, but has no lines
    fails();
}

TEST_F(VlanCreate, AFullDiskIsAFailure)
{
    for (const int blocks : {0, 1}) { // for the VLAN's file; for that, but not for the device's
        clear();
        leave_room_for(blocks);
        EXPECT_EQ(-1, create());
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED)) << blocks;
        EXPECT_THAT(said(), IsEmpty());
        expect_old_files();
        expect_failure_told({});
        ASSERT_EQ(0, umount(FOLDER));
    }
    clear();
    leave_room_for(2);
    EXPECT_EQ(0, create());
    expect_created();
    ASSERT_EQ(0, umount(FOLDER));
}

TEST_F(VlanCreate, EveryStepOfTheWritingCounts)
{
    // The setting's rewrite syncs its file and its folder before.
    for (const auto &[function, n] :
         {std::pair{"fflush", 1}, {"fflush", 2}, {"fsync", 3}, {"fsync", 4}, {"fclose", 1}}) {
        clear();
        write_file(SETTINGS, MTUS);
        fail_call(function, n);
        EXPECT_EQ(-1, create()) << function << n;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_WRITE_FAILED)) << function << n;
        expect_old_files();
        expect_failure_told({});
    }
    clear();
    EXPECT_EQ(0, create());
    expect_created();
}

TEST_F(VlanCreate, AFailedRenameOfTheDevicesFileLeavesBothAsTheyWere)
{
    fail_call("rename", 1);
    EXPECT_EQ(-1, create());
    expect_old_files();
    expect_failure_told(stopped());
    EXPECT_THAT(said(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET.code, last_error().code) << "it has no code of its own";
    EXPECT_EQ("eth0_mtu=\"9000\"\neth0.100_mtu=\"9000\"\n", settings()) << "what was stored stays";
}

TEST_F(VlanCreate, AFailedRenameOfTheVlansFileLeavesTheNewOneOfTheDevice)
{
    fail_call("rename", 2);
    EXPECT_EQ(-1, create());
    EXPECT_EQ(NEW_ROW, file_of("eth0"));
    EXPECT_THAT(files(), ElementsAre("ifcfg-eth0"));
    expect_failure_told(stopped());
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(VlanCreate, AFailedChangeOfModeIsAFailureWithTheFileInPlace)
{
    fail_call("chmod", 1);
    EXPECT_EQ(-1, create());
    EXPECT_EQ(NEW_ROW, file_of("eth0"));
    EXPECT_THAT(files(), ElementsAre("ifcfg-eth0"));
    EXPECT_THAT(said(), ElementsAre("3 net_vlan_create.cpp change " + ifcfg("eth0") + "'s mode failed"));
    expect_failure_told(stopped());
    clear();
    write_ifcfg("eth0", ROW);
    fail_call("chmod", 2);
    EXPECT_EQ(-1, create());
    expect_created();
    EXPECT_THAT(said(), ElementsAre("3 net_vlan_create.cpp change " + ifcfg("eth0.100") + "'s mode failed"));
    expect_failure_told(stopped());
    EXPECT_EQ(0, support::waits());
}

// ---- The script and the tools

TEST_F(VlanCreate, AFailedScriptIsOnlyLogged)
{
    record(SCRIPT, 1);
    EXPECT_EQ(0, create());
    expect_created();
    EXPECT_THAT(said(), ElementsAre("4 net_vlan_create.cpp Failed to deactivate eth0.",
                                    "3 net_vlan_create.cpp Failed to activate eth0.100."));
    EXPECT_EQ(joined(pre(), stopped(), started(), tools("eth0", "eth0.100"), post()), calls());
    EXPECT_EQ(COMING_UP, support::waited());
    EXPECT_EQ(told("post", "eth0", "eth0.100", 0), followed().back());
}

TEST_F(VlanCreate, AMissingScriptIsOnlyLoggedToo)
{
    unlink(SCRIPT);
    EXPECT_EQ(0, create());
    EXPECT_THAT(said(), ElementsAre("4 net_vlan_create.cpp Failed to deactivate eth0.",
                                    "3 net_vlan_create.cpp Failed to activate eth0.100."));
}

TEST_F(VlanCreate, AFailedToolIsAFailureWithTheNewFilesInPlace)
{
    const std::vector<std::string> commands = tools("eth0", "eth0.100");
    for (size_t i = 0; i < commands.size(); ++i) {
        clear();
        write_ifcfg("eth0", ROW);
        fail_call("KLIBCExecl", static_cast<int>(i) + 3); // behind the script's two
        EXPECT_EQ(-1, create());
        expect_created();
        EXPECT_THAT(said(), ElementsAre(std::string("3 net_vlan_create.cpp Failed to ") + (i < 2 ? FIREWALL : TRAFFIC) +
                                        " -change_interface eth0 eth0.100"));
        expect_failure_told(
            joined(stopped(), started(), std::vector(commands.begin(), commands.begin() + static_cast<long>(i))));
        EXPECT_EQ(COMING_UP, support::waited());
    }
}

TEST_F(VlanCreate, AnyStatusButZeroOfAToolIsAFailure)
{
    for (const int status : {1, 2, 127, 255}) {
        clear();
        write_ifcfg("eth0", ROW);
        record(FIREWALL, status);
        EXPECT_EQ(-1, create());
        EXPECT_EQ(joined(pre(), stopped(), started(), std::vector{tools("eth0", "eth0.100")[0]}, post()), calls());
    }
    record(FIREWALL);
    record(TRAFFIC, 1);
    clear();
    EXPECT_EQ(-1, create());
    EXPECT_THAT(said(),
                ElementsAre("3 net_vlan_create.cpp Failed to /usr/kavo/bin/tctool -change_interface eth0 eth0.100"));
}

// ---- Kills

TEST_F(VlanCreate, AKillAtAnySystemCallLeavesEachFileOldOrNewAndWhole)
{
    shell(std::string("rm -r /usr/kavo/etc/plugins/net; for f in ") + SCRIPT + " " + FIREWALL + " " + TRAFFIC +
          "; do rm $f; ln -s /bin/true $f; done");
    const std::string new_settings = "eth0_mtu=\"9000\"\neth0.100_mtu=\"9000\"\n";
    bool row_seen = false;
    bool vlan_seen = false;
    const auto reset = [] {
        for (const std::string &name : files())
            unlink((std::string(FOLDER) + "/" + name).c_str());
        write_ifcfg("eth0", ROW);
        write_file(SETTINGS, MTUS);
    };
    const int kills = support::kill_before_each_call(
        [] {
            if (create() != 0)
                _exit(1);
        },
        [&](int n) {
            SCOPED_TRACE("killed before call " + std::to_string(n));
            const std::string row = file_of("eth0");
            const bool has_vlan_file = exists(ifcfg("eth0.100"));
            ASSERT_TRUE(row == ROW || row == NEW_ROW) << row;
            ASSERT_TRUE(!has_vlan_file || file_of("eth0.100") == NEW_VLAN) << file_of("eth0.100");
            ASSERT_TRUE(!has_vlan_file || row == NEW_ROW) << "the device gives its address up first";
            ASSERT_TRUE(settings() == MTUS || settings() == new_settings) << settings();
            ASSERT_TRUE(row == ROW || settings() == new_settings);
            row_seen = row_seen || row == NEW_ROW;
            vlan_seen = vlan_seen || has_vlan_file;
            // What is left over is nothing that a reader of configurations takes.
            for (const std::string &name : files())
                ASSERT_TRUE(name == "ifcfg-eth0" || name == "ifcfg-eth0.100" || name.rfind("ifcfg-", 0) != 0) << name;
            reset();
        });
    EXPECT_GT(kills, 50);
    EXPECT_TRUE(row_seen && vlan_seen) << "there are calls behind the renames too";
    expect_created();
}

} // namespace
