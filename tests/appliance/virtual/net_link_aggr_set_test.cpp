#include "appliance/virtual/bond_test.h"

#include <sys/prctl.h>
#include <sys/wait.h>

#include "support/kill_stepper.h"

namespace {

constexpr char FILE_NAME[] = "net_link_aggr_set.cpp";
const std::vector<std::string> BOND_AND_PORTS = {"bond0", "eth0", "eth1"};

class LinkAggrSet : public BondTest {
protected:
    static int set(int mode, const std::vector<std::string> &ports)
    {
        KAVOLINKAGGROPT bond = record_of("bond0", mode, ports);
        return KAVONetLinkAggrSet(&bond);
    }
    static int create(int mode = 4) { return set(mode, {"eth0", "eth1"}); }

    static std::string names_event(const std::string &phase, const std::vector<std::string> &from,
                                   const std::vector<std::string> &to, const std::string &result)
    {
        return std::string(RENAMED) + " " + phase + array("ORIGIN_IFNAME", from) + array("IFNAME", to) +
               " RESULT=" + result;
    }

    // A file as it was when the script ran with a verb.
    static std::string file_at(const std::string &verb, const std::string &name)
    {
        const std::string path = "/run/at-" + verb + "/ifcfg-" + name;
        return exists(path) ? read_file(path) : "no file";
    }

    static std::string lease(const std::string &name) { return "/tmp/dhcpv4.leases." + name; }

    static std::vector<std::string> creation(const std::vector<std::string> &middle, bool announced = true)
    {
        std::vector<std::string> all;
        if (announced)
            all.push_back(event("pre"));
        all.push_back(network("stop", BOND_AND_PORTS));
        all.insert(all.end(), middle.begin(), middle.end());
        all.push_back(network("start", BOND_AND_PORTS));
        all.emplace_back(READ_AHEAD);
        if (announced)
            all.push_back(event("post"));
        return all;
    }
    static std::vector<std::string> writing()
    {
        return {cp(ifcfg("eth0"), ifcfg("bond0")), cp(lease("eth0"), lease("bond0")), save("eth0"), save("eth1")};
    }

    // The ports have the files they had and the bond has none.
    static void expect_put_back()
    {
        EXPECT_EQ(ETH0, file_of("eth0"));
        EXPECT_EQ(ETH1, file_of("eth1"));
        EXPECT_EQ("no file", file_of("bond0"));
    }

private:
    static std::string array(const std::string &key, const std::vector<std::string> &values)
    {
        std::string text;
        for (size_t i = 0; i < values.size(); ++i)
            text += " " + key + "_" + std::to_string(i) + "=" + values[i];
        text += " " + key + "_COUNT=" + std::to_string(values.size());
        return text;
    }
};

// ---- Creation

TEST_F(LinkAggrSet, CreatesABond)
{
    EXPECT_EQ(0, create());
    EXPECT_EQ(BOND0, file_of("bond0"));
    EXPECT_EQ(ENSLAVED_ETH0, file_of("eth0"));
    EXPECT_EQ(ENSLAVED_ETH1, file_of("eth1"));
    EXPECT_EQ((std::vector<std::string>{"ifcfg-bond0", "ifcfg-eth0", "ifcfg-eth1"}), support::entries(FOLDER));
    EXPECT_EQ(creation(writing()), calls());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrSet, TheScriptFindsTheOldFilesAtItsStopAndTheNewOnesAtItsStart)
{
    EXPECT_EQ(0, create());
    EXPECT_EQ(ETH0, file_at("stop", "eth0"));
    EXPECT_EQ("no file", file_at("stop", "bond0"));
    EXPECT_EQ(ENSLAVED_ETH0, file_at("start", "eth0"));
    EXPECT_EQ(BOND0, file_at("start", "bond0"));
    EXPECT_EQ("no file", file_at("start", "eth0.saved"));
}

TEST_F(LinkAggrSet, TellsThatPortsBecomeABond)
{
    EXPECT_EQ(0, create());
    EXPECT_THAT(followed(), ElementsAre(names_event("pre", {"eth0", "eth1"}, {"bond0"}, "0"),
                                        names_event("post", {"eth0", "eth1"}, {"bond0"}, "0")));
}

TEST_F(LinkAggrSet, EveryModeHasItsOptions)
{
    const std::map<int, std::string> options = {{1, "mode=6 use_carrier=0 miimon=100 updelay=100"},
                                                {2, "mode=4 use_carrier=0 miimon=100 updelay=100 lacp_rate=fast"},
                                                {3, "mode=2 use_carrier=0 miimon=100 updelay=100"},
                                                {4, "mode=1 use_carrier=0 miimon=100 updelay=100"},
                                                {5, "mode=0 use_carrier=0 miimon=100 updelay=100"}};
    for (const auto &[mode, text] : options) {
        write_ifcfg("eth0", ETH0);
        EXPECT_EQ(0, create(mode));
        EXPECT_THAT(file_of("bond0"), testing::HasSubstr("\nBONDING_OPTS=\"" + text + "\"\n"));
    }
}

TEST_F(LinkAggrSet, TheBondTakesOverTheFirstMembersFileAndLease)
{
    write_ifcfg("eth1", "# kept\nDEVICE=eth1\nBOOTPROTO=dhcp\nMASTER=bond7\nSLAVE=yes\nIPV6INIT=auto\n");
    write_file(lease("eth1"), "lease { interface \"eth1\"; option eth1eth1; }\nlease eth10\n");
    EXPECT_EQ(0, set(4, {"eth1", "eth0"}));
    EXPECT_EQ("# kept\nDEVICE=bond0\nBOOTPROTO=dhcp\nIPV6INIT=auto\nONBOOT=yes\nUSERCTL=no\n"
              "BONDING_OPTS=\"mode=1 use_carrier=0 miimon=100 updelay=100\"\n",
              file_of("bond0"));
    // Every occurrence of the name is replaced, wherever it stands.
    EXPECT_EQ("lease { interface \"bond0\"; option bond0bond0; }\nlease bond00\n", read_file(lease("bond0")));
    EXPECT_EQ("lease { interface \"eth1\"; option eth1eth1; }\nlease eth10\n", read_file(lease("eth1")));
}

// Everybody may put files where the leases are.
TEST_F(LinkAggrSet, NothingIsWrittenThroughWhatStandsInTheLeasesPlace)
{
    write_file("/etc/secret", "kept eth0\n");
    write_file("/tmp/other", "kept eth0\n");
    write_file(lease("eth0"), "lease of eth0\n");
    const std::vector<std::function<int()>> plants = {
        [] { return symlink("/etc/secret", lease("bond0").c_str()); },
        [] { return symlink("/etc/made", lease("bond0").c_str()); },
        [] { return link("/tmp/other", lease("bond0").c_str()); },
        [] { return mkfifo(lease("bond0").c_str(), 0666); },
    };
    for (const bool copied : {true, false}) {
        for (const auto &plant : plants) {
            write_ifcfg("eth0", ETH0);
            unlink(lease("bond0").c_str());
            ASSERT_EQ(0, plant());
            EXPECT_EQ(0, create());
            EXPECT_EQ("kept eth0\n", read_file("/etc/secret"));
            EXPECT_EQ("kept eth0\n", read_file("/tmp/other"));
            EXPECT_FALSE(exists("/etc/made"));
            EXPECT_EQ(copied, exists(lease("bond0")));
            if (copied) {
                EXPECT_EQ("lease of bond0\n", read_file(lease("bond0")));
            }
        }
        fail_command("cp -f " + lease("eth0") + " " + lease("bond0"));
    }
}

// cp would copy into it, through a link that it holds.
TEST_F(LinkAggrSet, AFolderInTheLeasesPlaceIsLeftAloneAndNothingIsCopied)
{
    write_file("/etc/secret", "kept\n");
    write_file(lease("eth0"), "lease of eth0\n");
    ASSERT_EQ(0, mkdir(lease("bond0").c_str(), 0777));
    ASSERT_EQ(0, symlink("/etc/secret", (lease("bond0") + "/dhcpv4.leases.eth0").c_str()));
    EXPECT_EQ(0, create());
    EXPECT_EQ("kept\n", read_file("/etc/secret"));
    EXPECT_EQ(LOG_WARNING, support::logged("net_link_aggr_set\\.cpp:[0-9]+ the lease of eth0 is not taken over"));
    EXPECT_THAT(calls(), testing::Not(testing::Contains(cp(lease("eth0"), lease("bond0")))));
    shell("rm -r " + lease("bond0"));
}

TEST_F(LinkAggrSet, WhatIsNoLeaseOfOursIsNotTakenOver)
{
    write_file("/etc/secret", "secret\n");
    write_file("/tmp/other", "secret\n");
    const std::vector<std::function<int()>> plants = {
        [] { return mkfifo(lease("eth0").c_str(), 0666); },
        [] { return symlink("/etc/secret", lease("eth0").c_str()); },
        [] { return mkdir(lease("eth0").c_str(), 0777); },
        [] { return link("/tmp/other", lease("eth0").c_str()); },
    };
    for (const auto &plant : plants) {
        write_ifcfg("eth0", ETH0);
        ASSERT_EQ(0, plant());
        EXPECT_EQ(0, create());
        EXPECT_FALSE(exists(lease("bond0")));
        shell("rm -rf " + lease("eth0"));
    }
}

TEST_F(LinkAggrSet, TheLeaseIsNotWrittenIntoAnotherUsersFile)
{
    write_file(lease("eth0"), "lease of eth0\n");
    write_file(lease("bond0"), "planted\n");
    if (chown(lease("bond0").c_str(), 1000, 1000) != 0)
        GTEST_SKIP() << "this user cannot give files away";
    EXPECT_EQ(0, create());
    EXPECT_EQ("lease of bond0\n", read_file(lease("bond0")));
    struct stat status {};
    ASSERT_EQ(0, stat(lease("bond0").c_str(), &status));
    EXPECT_EQ(0U, status.st_uid);
}

TEST_F(LinkAggrSet, TheBondNeverKeepsAMethodThatGetsNoAddress)
{
    write_ifcfg("eth2", ETH2);
    EXPECT_EQ(0, set(5, {"eth2", "eth1"}));
    EXPECT_EQ("DEVICE=bond0\nBOOTPROTO=dhcp\nIPADDR=\nNETMASK=\nONBOOT=yes\nUSERCTL=no\n"
              "BONDING_OPTS=\"mode=0 use_carrier=0 miimon=100 updelay=100\"\n",
              file_of("bond0"));
    // The member's own settings stay as they are.
    EXPECT_EQ("DEVICE=eth2\nBOOTPROTO=none\nIPADDR=10.0.0.7\nUSERCTL=no\nMASTER=bond0\nSLAVE=yes\n", file_of("eth2"));
}

TEST_F(LinkAggrSet, PortsWithoutFilesJoinToo)
{
    EXPECT_EQ(0, set(4, {"eth8", "eth9"}));
    EXPECT_EQ("BOOTPROTO=dhcp\nDEVICE=bond0\nONBOOT=yes\nUSERCTL=no\n"
              "BONDING_OPTS=\"mode=1 use_carrier=0 miimon=100 updelay=100\"\n",
              file_of("bond0"));
    EXPECT_EQ("DEVICE=eth8\nUSERCTL=no\nMASTER=bond0\nSLAVE=yes\n", file_of("eth8"));
    // There were no copies to delete.
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "remove file " + saved("eth8") + " failed"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "remove file " + saved("eth9") + " failed"));
}

TEST_F(LinkAggrSet, ThirtyTwoPortsJoin)
{
    std::vector<std::string> ports;
    std::vector<std::string> names = {"bond0"};
    for (int i = 10; i < 42; ++i)
        ports.push_back("longestname-" + std::to_string(i)); // fourteen characters
    names.insert(names.end(), ports.begin(), ports.end());
    EXPECT_EQ(0, set(3, ports));
    EXPECT_EQ(network("stop", names), calls().at(1));
    EXPECT_THAT(followed().at(0), testing::HasSubstr(" ORIGIN_IFNAME_31=longestname-41 ORIGIN_IFNAME_COUNT=32 "));
    EXPECT_THAT(file_of("longestname-41"), testing::HasSubstr("MASTER=bond0\n"));
}

TEST_F(LinkAggrSet, WhatTheScriptsAndSubscribersSayDoesNotCount)
{
    record("/etc/rc.network", 1);
    record("/usr/kavo/sbin/kavostoragecore", 1);
    follow(RENAMED, 1);
    EXPECT_EQ(0, create());
    EXPECT_EQ(BOND0, file_of("bond0"));
    EXPECT_EQ(creation(writing()), calls());
    unlink("/etc/rc.network");
    unlink("/usr/kavo/sbin/kavostoragecore");
    EXPECT_EQ(0, create(1));
}

// ---- Removal

TEST_F(LinkAggrSet, RemovesABond)
{
    configure_bond();
    KAVOLINKAGGROPT bond = record_of("bond0", 0, {});
    EXPECT_EQ(0, KAVONetLinkAggrSet(&bond));
    EXPECT_EQ("no file", file_of("bond0"));
    EXPECT_EQ(FREED_ETH0, file_of("eth0"));
    EXPECT_EQ(ETH1, file_of("eth1"));
    EXPECT_EQ(creation({cp(ifcfg("bond0"), ifcfg("eth0")), save("eth0"), save("eth1")}), calls());
    EXPECT_EQ(ENSLAVED_ETH0, file_at("stop", "eth0"));
    EXPECT_EQ(FREED_ETH0, file_at("start", "eth0"));
    EXPECT_THAT(followed(), ElementsAre(names_event("pre", {"bond0"}, {"eth0", "eth1"}, "0"),
                                        names_event("post", {"bond0"}, {"eth0", "eth1"}, "0")));
    // The caller learns which ports were freed.
    EXPECT_EQ(0, bond.mode);
    EXPECT_THAT(members(bond), ElementsAre("eth0", "eth1"));
}

TEST_F(LinkAggrSet, OfARemovedBondOnlyTheKernelsMembersCount)
{
    configure_bond();
    KAVOLINKAGGROPT bond = record_of("bond0", 0, {"../x", "eth7", "eth8"});
    bond.nSlave = 99;
    memset(bond.szSlave[3], 'x', sizeof bond.szSlave[3]);
    EXPECT_EQ(0, KAVONetLinkAggrSet(&bond));
    const KAVOLINKAGGROPT freed = record_of("bond0", 0, {"eth0", "eth1"});
    EXPECT_EQ(0, memcmp(&freed, &bond, sizeof bond));
    EXPECT_EQ(network("stop", BOND_AND_PORTS), calls().at(1));
}

TEST_F(LinkAggrSet, ABondOfWhichOnlyFilesAreLeftIsRemoved)
{
    configure_bond();
    std::filesystem::remove_all("/sys/class/net/bond0");
    KAVOLINKAGGROPT bond = record_of("bond0", 0, {"eth0"});
    EXPECT_EQ(0, KAVONetLinkAggrSet(&bond));
    EXPECT_EQ(0, bond.nSlave);
    EXPECT_EQ("no file", file_of("bond0"));
    EXPECT_EQ(FREED_ETH0, file_of("eth0"));
    EXPECT_EQ(ETH1, file_of("eth1"));
    EXPECT_THAT(calls(), testing::Contains(network("start", {"bond0"})));
    EXPECT_THAT(followed(),
                ElementsAre(names_event("pre", {"bond0"}, {}, "0"), names_event("post", {"bond0"}, {}, "0")));
}

TEST_F(LinkAggrSet, ARemovalThatFailsIsTold)
{
    configure_bond();
    fail_command("cp -f " + ifcfg("bond0") + " " + ifcfg("eth0"));
    EXPECT_EQ(-1, set(0, {}));
    EXPECT_TRUE(is_set_in("net_link_aggr_conf_del.cpp", NET_ERR_EXEC_FAILED));
    EXPECT_EQ(creation({cp(ifcfg("bond0"), ifcfg("eth0")), put_back("eth0"), put_back("eth1")}), calls());
    EXPECT_EQ(names_event("post", {"bond0"}, {"eth0", "eth1"}, "-1"), followed().at(1));
    EXPECT_EQ(BOND0, file_of("bond0"));
}

// ---- Modification

TEST_F(LinkAggrSet, ModifiesABondWithoutAnEvent)
{
    configure_bond();
    EXPECT_EQ(0, create(3));
    std::vector<std::string> expected = {cp(ifcfg("bond0"), ifcfg("eth0")), save("eth0"), save("eth1")};
    for (const std::string &call : writing())
        expected.push_back(call);
    EXPECT_EQ(creation(expected, false), calls());
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_THAT(file_of("bond0"), testing::HasSubstr("BONDING_OPTS=\"mode=2 use_carrier=0 miimon=100 updelay=100\"\n"));
    EXPECT_THAT(file_of("eth0"), testing::HasSubstr("MASTER=bond0\nSLAVE=yes\n"));
    EXPECT_EQ("no file", saved_of("eth0"));
}

TEST_F(LinkAggrSet, APortThatLeavesIsFree)
{
    configure_bond();
    write_ifcfg("eth2", "DEVICE=eth2\nBOOTPROTO=dhcp\n");
    EXPECT_EQ(0, set(4, {"eth0", "eth2"}));
    EXPECT_EQ(ETH1, file_of("eth1"));
    EXPECT_EQ("DEVICE=eth2\nBOOTPROTO=dhcp\nUSERCTL=no\nMASTER=bond0\nSLAVE=yes\n", file_of("eth2"));
    EXPECT_EQ(network("stop", {"bond0", "eth0", "eth2"}), calls().at(0));
}

TEST_F(LinkAggrSet, AnEqualRecordChangesNothing)
{
    configure_bond();
    KAVOLINKAGGROPT bond;
    ASSERT_EQ(0, KAVONetLinkAggrGet("bond0", &bond));
    EXPECT_EQ(0, KAVONetLinkAggrSet(&bond));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ(BOND0, file_of("bond0"));
}

TEST_F(LinkAggrSet, EveryByteOfTheRecordCounts)
{
    configure_bond();
    KAVOLINKAGGROPT same;
    ASSERT_EQ(0, KAVONetLinkAggrGet("bond0", &same));
    for (const auto &change : std::vector<std::function<void(KAVOLINKAGGROPT &)>>{
             [](auto &bond) { bond.blNoPartner = 1; }, [](auto &bond) { bond.szSlave[31][0] = 'x'; },
             [](auto &bond) { bond.szIfname[15] = 'x'; }, [](auto &bond) { bond.szSlave[0][15] = 'x'; }}) {
        unlink(support::RECORDED_CALLS);
        KAVOLINKAGGROPT bond = same;
        change(bond);
        if (bond.szIfname[15] == 'x')
            strcpy(bond.szIfname, "bond0"); // what follows the terminator
        EXPECT_EQ(0, KAVONetLinkAggrSet(&bond));
        EXPECT_EQ(network("stop", BOND_AND_PORTS), calls().at(0));
    }
}

TEST_F(LinkAggrSet, AModificationGoesOnWithoutTheOldFiles)
{
    configure_bond();
    fail_command("cp -f " + ifcfg("bond0") + " " + ifcfg("eth0")); // the old bond cannot be removed
    EXPECT_EQ(0, create(5));
    EXPECT_THAT(file_of("bond0"), testing::HasSubstr("mode=0 "));
    EXPECT_THAT(file_of("eth1"), testing::HasSubstr("MASTER=bond0\n"));
}

TEST_F(LinkAggrSet, AnUnknownKernelModeCountsAsNoBond)
{
    configure_bond("broadcast 3");
    EXPECT_EQ(0, create());
    EXPECT_THAT(followed(), testing::SizeIs(2));
    configure_bond("broadcast 3");
    KAVOLINKAGGROPT bond = record_of("bond0", 0, {});
    EXPECT_EQ(0, KAVONetLinkAggrSet(&bond));
    EXPECT_THAT(members(bond), ElementsAre("eth0", "eth1"));
}

// ---- What is refused, and when

TEST_F(LinkAggrSet, RefusesBadRecordsBeforeAnythingRuns)
{
    const auto expect_refused = [](KAVOLINKAGGROPT bond, const std::string &what) {
        clear();
        EXPECT_EQ(-1, KAVONetLinkAggrSet(&bond)) << what;
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << what;
    };
    EXPECT_EQ(-1, KAVONetLinkAggrSet(nullptr));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const int mode : {-1, 9, 100, INT32_MIN, INT32_MAX})
        expect_refused(record_of("bond0", mode, {"eth0", "eth1"}), "mode " + std::to_string(mode));
    for (const int count : {33, INT32_MAX}) {
        KAVOLINKAGGROPT bond = record_of("bond0", 4, {"eth0", "eth1"});
        bond.nSlave = count;
        expect_refused(bond, std::to_string(count) + " members");
    }
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        for (const int mode : {0, 4})
            expect_refused(record_of(name, mode, {"eth0", "eth1"}), name);
        if (!name.empty())
            expect_refused(record_of("bond0", 4, {"eth0", name}), name);
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(followed(), IsEmpty());
    expect_put_back();
}

TEST_F(LinkAggrSet, TheWriterRefusesWhenTheScriptHasStopped)
{
    for (const auto &ports : std::vector<std::vector<std::string>>{{}, {"eth0"}, {"eth0", ""}, {"", "eth1"}}) {
        unlink(support::RECORDED_CALLS);
        clear();
        EXPECT_EQ(-1, set(4, ports));
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        std::vector<std::string> names = {"bond0"};
        names.insert(names.end(), ports.begin(), ports.end());
        EXPECT_THAT(calls(), ElementsAre(event("pre"), network("stop", names), network("start", names), READ_AHEAD,
                                         event("post")));
        EXPECT_EQ(names_event("post", ports, {"bond0"}, "-1"), followed().back());
        expect_put_back();
    }
}

TEST_F(LinkAggrSet, WhatRunsAfterAFailureDoesNotHideItsCode)
{
    unlink("/etc/rc.network");
    unlink("/usr/kavo/sbin/kavostoragecore");
    follow(RENAMED, 1);
    EXPECT_EQ(-1, set(4, {"eth0"}));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
}

TEST_F(LinkAggrSet, ACountBelowZeroIsOneBelowTwo)
{
    for (const int count : {-1, INT32_MIN}) {
        unlink(support::RECORDED_CALLS);
        clear();
        KAVOLINKAGGROPT bond = record_of("bond0", 4, {"eth0", "eth1"});
        bond.nSlave = count;
        EXPECT_EQ(-1, KAVONetLinkAggrSet(&bond));
        EXPECT_EQ(unsigned{NET_ERR_BAD_PARAMETER}, last_error().code);
        // There is no such list of names to tell of.
        EXPECT_THAT(calls(), ElementsAre(network("stop", {"bond0"}), network("start", {"bond0"}), READ_AHEAD));
        EXPECT_THAT(log_lines(), testing::SizeIs(2));
        expect_put_back();
    }
}

TEST_F(LinkAggrSet, ModesOfOpenVSwitchAreNotWritten)
{
    for (const int mode : {6, 7, 8}) {
        unlink(support::RECORDED_CALLS);
        clear();
        EXPECT_EQ(-1, create(mode));
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_EQ(creation({}), calls());
        expect_put_back();
    }
}

TEST_F(LinkAggrSet, AKernelBondThatCannotBeReadEndsItAtOnce)
{
    kernel_bond("bond0", "eth0\n", "");
    unlink("/sys/class/net/bond0/bonding/mode");
    for (const int mode : {0, 4}) {
        EXPECT_EQ(-1, create(mode));
        EXPECT_TRUE(is_set_in("net_link_aggr_get.cpp", NET_ERR_OPEN_FAILED));
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LinkAggrSet, AnOpenVSwitchBondThatCannotBeReadIsNone)
{
    ovs_interface("ovs_bond0");
    KAVOLINKAGGROPT bond = record_of("ovs_bond0", 4, {"eth0", "eth1"});
    EXPECT_EQ(0, KAVONetLinkAggrSet(&bond));
    EXPECT_THAT(file_of("ovs_bond0"), testing::HasSubstr("DEVICE=ovs_bond0\n"));
}

// ---- Events that cannot be sent

TEST_F(LinkAggrSet, EveryChangeEndsWithTheClosingOfItsEvent)
{
    std::vector<std::vector<std::string>> made; // what had run when the event was closed
    const auto change = [&](int mode) {
        unlink(support::RECORDED_CALLS);
        clear();
        made.clear();
        support::on_call("KLIBPluginExit", [&] { made.push_back(calls()); });
        return create(mode);
    };
    EXPECT_EQ(0, change(4));
    EXPECT_THAT(made, ElementsAre(calls()));
    EXPECT_EQ(event("post"), calls().back());
    configure_bond();
    EXPECT_EQ(0, change(3)); // a modification opens none and closes all the same
    EXPECT_THAT(made, ElementsAre(calls()));
    EXPECT_EQ(READ_AHEAD, calls().back());
    configure_bond();
    EXPECT_EQ(0, change(0));
    EXPECT_THAT(made, ElementsAre(calls()));
    EXPECT_EQ(event("post"), calls().back());
    std::filesystem::remove_all("/sys/class/net/bond0");
    EXPECT_EQ(-1, change(6));
    EXPECT_THAT(made, ElementsAre(calls()));
    // One that cannot be opened is closed too.
    unlink(support::RECORDED_CALLS);
    clear();
    made.clear();
    support::on_call("KLIBPluginExit", [&] { made.push_back(calls()); });
    fail_call("KLIBPluginSDKInit");
    EXPECT_EQ(-1, create());
    EXPECT_THAT(made, ElementsAre(IsEmpty()));
}

TEST_F(LinkAggrSet, WithoutAnEventNothingRuns)
{
    for (const int mode : {0, 4}) {
        clear();
        fail_call("KLIBPluginSDKInit");
        EXPECT_EQ(-1, create(mode));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "plugin sdk init failed"));
    }
    EXPECT_THAT(calls(), IsEmpty());
    expect_put_back();
    // A modification opens none.
    configure_bond();
    clear();
    fail_call("KLIBPluginSDKInit");
    EXPECT_EQ(0, create(1));
}

TEST_F(LinkAggrSet, AnEventThatFailsIsLoggedAndStopsNothing)
{
    const struct {
        const char *call;
        int n;
        const char *phase;
    } failures[] = {
        {"KLIBPluginSetArgByArray", 1, "PRE"},  {"KLIBPluginSetArgByArray", 2, "PRE"},
        {"KLIBPluginSetArgByInt", 1, "PRE"},    {"KLIBPluginAction", 1, "PRE"},
        {"KLIBPluginSetArgByArray", 3, "POST"}, {"KLIBPluginSetArgByArray", 4, "POST"},
        {"KLIBPluginSetArgByInt", 2, "POST"},   {"KLIBPluginAction", 2, "POST"},
    };
    for (const auto &failure : failures) {
        SCOPED_TRACE(std::string(failure.call) + " " + std::to_string(failure.n));
        write_ifcfg("eth0", ETH0);
        write_ifcfg("eth1", ETH1);
        unlink(support::RECORDED_CALLS);
        clear();
        fail_call(failure.call, failure.n);
        EXPECT_EQ(0, create());
        const std::string message =
            std::string("Fail to execute net plugin (") + failure.phase + ") [0x5151 fault.c:51]";
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
        EXPECT_THAT(log_lines(), testing::SizeIs(1));
        EXPECT_EQ(BOND0, file_of("bond0"));
        // Only that phase is missing.
        const bool is_pre = std::string(failure.phase) == "PRE";
        EXPECT_THAT(calls(), testing::Not(testing::Contains(event(is_pre ? "pre" : "post"))));
        EXPECT_THAT(calls(), testing::Contains(event(is_pre ? "post" : "pre")));
        EXPECT_THAT(calls(), testing::Contains(network("start", BOND_AND_PORTS)));
    }
}

TEST_F(LinkAggrSet, AnEventThatIsOpenNoMoreIsNotToldOfTheResult)
{
    fail_call("KLIBPluginHasInit");
    EXPECT_EQ(0, create());
    std::vector<std::string> expected = creation(writing());
    expected.pop_back(); // the second phase
    EXPECT_EQ(expected, calls());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(BOND0, file_of("bond0"));
}

// ---- Each step of the writer fails

TEST_F(LinkAggrSet, CopiesThatFailAreNoFailure)
{
    for (const std::string &command :
         {"cp -f " + ifcfg("eth0") + " " + ifcfg("bond0"), "cp -f " + lease("eth0") + " " + lease("bond0")}) {
        write_ifcfg("eth0", ETH0);
        write_file(lease("eth0"), "eth0\n");
        unlink(ifcfg("bond0").c_str());
        unlink(lease("bond0").c_str());
        fail_command(command);
        EXPECT_EQ(0, create()) << command;
        EXPECT_THAT(file_of("bond0"), testing::HasSubstr("DEVICE=bond0\n"));
    }
    EXPECT_FALSE(exists(lease("bond0")));
    EXPECT_EQ("eth0\n", read_file(lease("eth0")));
}

TEST_F(LinkAggrSet, WithoutMemoryForTheKeysTheFilesArePutBack)
{
    for (int n = 1; n <= 2; ++n) {
        unlink(support::RECORDED_CALLS);
        clear();
        fail_call("KLIBCSzHashAlloc", n);
        EXPECT_EQ(-1, create());
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "remove file " + ifcfg("bond0") + " failed"));
        EXPECT_EQ(creation({put_back("eth0"), put_back("eth1")}), calls());
        EXPECT_EQ(names_event("post", {"eth0", "eth1"}, {"bond0"}, "-1"), followed().back());
        expect_put_back();
    }
}

TEST_F(LinkAggrSet, AMasterThatCannotBeWrittenIsTakenBack)
{
    const std::vector<std::string> copies = {cp(ifcfg("eth0"), ifcfg("bond0")), cp(lease("eth0"), lease("bond0"))};
    for (const std::string call : {"KLIBCFileSetKeys", "KLIBCSzHashSetValue"}) {
        unlink(support::RECORDED_CALLS);
        clear();
        fail_call(call.c_str());
        EXPECT_EQ(-1, create()) << call;
        EXPECT_EQ((Error{0x5151, "fault.c", 51}), last_error());
        EXPECT_EQ(creation({copies[0], copies[1], put_back("eth0"), put_back("eth1")}), calls());
        expect_put_back();
    }
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrSet, AMemberThatCannotBeWrittenEndsIt)
{
    for (int n = 1; n <= 2; ++n) {
        unlink(support::RECORDED_CALLS);
        clear();
        fail_call("KLIBCFileSetKeys", 1 + n);
        EXPECT_EQ(-1, create());
        std::vector<std::string> middle = writing();
        if (n == 1)
            middle.pop_back(); // the first failure is the last member's turn
        middle.push_back(put_back("eth0"));
        middle.push_back(put_back("eth1"));
        EXPECT_EQ(creation(middle), calls());
        EXPECT_EQ(names_event("post", {"eth0", "eth1"}, {"bond0"}, "-1"), followed().back());
        EXPECT_EQ(ETH0, file_at("start", "eth0")) << "the old configuration comes up again";
        EXPECT_EQ("no file", file_at("start", "bond0"));
        expect_put_back();
        EXPECT_EQ("no file", saved_of("eth0"));
    }
}

TEST_F(LinkAggrSet, EverySlotOfTheRecordIsPutBack)
{
    write_file(saved("eth5"), "DEVICE=eth5\n");
    KAVOLINKAGGROPT bond = record_of("bond0", 4, {"eth0", "eth1", "eth5", "../x"});
    bond.nSlave = 2;
    fail_call("KLIBCFileSetKeys");
    EXPECT_EQ(-1, KAVONetLinkAggrSet(&bond));
    EXPECT_THAT(calls(), testing::Contains(put_back("eth5")));
    EXPECT_EQ("DEVICE=eth5\n", file_of("eth5"));
    EXPECT_THAT(calls(), testing::Not(testing::Contains(testing::HasSubstr("/x"))));
}

TEST_F(LinkAggrSet, CopiesThatCannotBeDeletedAreLogged)
{
    fail_call("unlink", 0);
    EXPECT_EQ(0, create());
    for (const char *name : {"eth0", "eth1"})
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "remove file " + saved(name) + " failed"));
    EXPECT_EQ(ETH0, saved_of("eth0"));
    EXPECT_EQ(ETH1, saved_of("eth1"));
    EXPECT_EQ(ENSLAVED_ETH0, file_of("eth0"));
}

// ---- A caller that dies

class LinkAggrSetKilled : public LinkAggrSet {
protected:
    void SetUp() override
    {
        LinkAggrSet::SetUp();
        if (IsSkipped())
            return;
        std::filesystem::remove_all(std::string("/usr/kavo/etc/plugins/") + RENAMED);
        for (const std::string program : {"cp", "mv"})
            std::filesystem::copy_file("/run/real-" + program, "/bin/" + program,
                                       std::filesystem::copy_options::overwrite_existing);
        // Commands outlive the caller; the test waits for them.
        ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));
    }
    void TearDown() override
    {
        prctl(PR_SET_CHILD_SUBREAPER, 0);
        LinkAggrSet::TearDown();
    }

    static void wait_for_commands()
    {
        while (waitpid(-1, nullptr, 0) > 0) {
        }
    }

    static void reset()
    {
        std::filesystem::remove_all(FOLDER);
        write_ifcfg("eth0", ETH0);
        write_ifcfg("eth1", ETH1);
        // Copies from an earlier change, which must not be taken for this one's.
        write_file(saved("eth0"), "DEVICE=eth0\nBOOTPROTO=none\n");
        write_file(saved("eth1"), "DEVICE=eth1\nBOOTPROTO=none\n");
    }

    // What an administrator does about a bond that is not whole: the ports that name it get their copies back.
    static void restore()
    {
        for (const char *port : {"eth0", "eth1"}) {
            if (file_of(port).find("MASTER=bond0\n") != std::string::npos) {
                ASSERT_EQ(0, rename(saved(port).c_str(), ifcfg(port).c_str()));
            }
        }
        unlink(ifcfg("bond0").c_str());
    }
};

TEST_F(LinkAggrSetKilled, TheOldFilesCanBePutBackFromTheCopies)
{
    write_file("/etc/rc.network", "", 0755); // nothing that can be run, which takes no time
    unlink("/usr/kavo/sbin/kavostoragecore");
    reset();
    int whole = 0;
    int half = 0;
    // Waiting for a command takes now more, now fewer calls, so the states do not come in a strict order.
    const int kills = support::kill_before_each_call(
        [] {
            if (create() != 0)
                _exit(1);
        },
        [&](int n) {
            wait_for_commands();
            if (file_of("bond0") == BOND0 && file_of("eth0") == ENSLAVED_ETH0 && file_of("eth1") == ENSLAVED_ETH1) {
                ++whole; // the new configuration is all there; what was saved may go
            } else {
                half += exists(ifcfg("bond0")) ? 1 : 0;
                restore();
                ASSERT_EQ(ETH0, file_of("eth0")) << "killed before call " << n;
                ASSERT_EQ(ETH1, file_of("eth1")) << "killed before call " << n;
                ASSERT_EQ("no file", file_of("bond0")) << "killed before call " << n;
            }
            // Whatever else is left is no file that a reader of the folder takes.
            for (const std::string &name : support::entries(FOLDER))
                ASSERT_TRUE(name.rfind("ifcfg-", 0) == 0 || name[0] == '.') << name;
            reset();
        });
    wait_for_commands();
    EXPECT_GT(kills, 100);
    EXPECT_GT(half, 20);
    EXPECT_GT(whole, 0);
    EXPECT_EQ(BOND0, file_of("bond0")) << "the one that got through";
}

} // namespace
