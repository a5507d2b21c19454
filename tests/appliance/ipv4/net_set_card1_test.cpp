#include "appliance/ipv4/ipv4_test.h"

namespace {

constexpr char FILE_NAME[] = "net_set_card1.cpp";

class SetCard1 : public Ipv4Test {
protected:
    static constexpr char STATIC_FILE[] = "DEVICE=eth0\nBOOTPROTO=static\n";

    void SetUp() override
    {
        Ipv4Test::SetUp();
        if (IsSkipped())
            return;
        write_ifcfg("eth0", STATIC_FILE);
        has_address("eth0", "192.0.2.1", "255.255.255.0");
        support::write_file("/etc/ppp/old_gateway.bak", "stale");
        support::write_file("/etc/resolv.conf.bak", "stale");
    }

    static KAVONETINFO info(bool is_static, const char *address = "192.0.2.5", const char *mask = "255.255.255.0")
    {
        KAVONETINFO record{};
        record.blStatic = is_static ? 1 : 0;
        snprintf(record.szName, sizeof record.szName, "eth0");
        snprintf(record.szAddr, sizeof record.szAddr, "%s", address);
        snprintf(record.szMask, sizeof record.szMask, "%s", mask);
        return record;
    }

    static bool has_backups() { return exists("/etc/ppp/old_gateway.bak") && exists("/etc/resolv.conf.bak"); }

    // The units that were asked about after the DHCP client.
    static std::vector<std::string> ddns_calls()
    {
        std::vector<std::string> found;
        for (const std::string &call : calls()) {
            if (call.find("[ddnsd]") != std::string::npos)
                found.push_back(call);
        }
        return found;
    }
};

TEST_F(SetCard1, AStaticRecordIsAppliedAndTheStaleBackupsRemoved)
{
    const KAVONETINFO record = info(true);
    EXPECT_EQ(0, KAVONetSetCard1(&record, nullptr));
    EXPECT_THAT(support::lines_of(read_file(ifcfg("eth0"))),
                testing::UnorderedElementsAre("DEVICE=eth0", "BOOTPROTO=static", "ONBOOT=yes", "IPADDR=192.0.2.5",
                                              "NETMASK=255.255.255.0"));
    EXPECT_THAT(calls(), ElementsAre("[unit] [stop] [dhclient@eth0.service]", "[event] [net/ipv4_change] [pre]",
                                     "[/sbin/ip] [-4] [address] [flush] [dev] [eth0] [label] [eth0]",
                                     "[/sbin/ip] [-4] [address] [add] [192.0.2.5/24] [broadcast] [+] [dev] [eth0]",
                                     "[unit] [active] [ddnsd]"));
    EXPECT_FALSE(exists("/etc/ppp/old_gateway.bak"));
    EXPECT_FALSE(exists("/etc/resolv.conf.bak"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(SetCard1, MissingBackupsAreNoFailure)
{
    unlink("/etc/ppp/old_gateway.bak");
    unlink("/etc/resolv.conf.bak");
    const KAVONETINFO record = info(true);
    EXPECT_EQ(0, KAVONetSetCard1(&record, nullptr));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(SetCard1, ADhcpRecordStartsTheClientAndKeepsTheBackups)
{
    const KAVONETINFO record = info(false);
    support::answer_unit("active", 1);
    EXPECT_EQ(0, KAVONetSetCard1(&record, nullptr));
    EXPECT_THAT(support::lines_of(read_file(ifcfg("eth0"))),
                testing::UnorderedElementsAre("DEVICE=eth0", "BOOTPROTO=dhcp", "ONBOOT=yes"));
    EXPECT_THAT(calls(),
                ElementsAre("[unit] [stop] [dhclient@eth0.service]", "[unit] [start] [dhclient@eth0.service]"));
    EXPECT_TRUE(has_backups());
}

TEST_F(SetCard1, AnyOtherValueThanZeroIsStatic)
{
    KAVONETINFO record = info(true);
    record.blStatic = -1;
    EXPECT_EQ(0, KAVONetSetCard1(&record, nullptr));
    EXPECT_THAT(read_file(ifcfg("eth0")), testing::HasSubstr("BOOTPROTO=static\n"));
}

TEST_F(SetCard1, TheResultsOfADhcpFailureAreHandedOn)
{
    const KAVONETINFO record = info(false);
    support::answer_unit("start", 0);
    EXPECT_EQ(-1, KAVONetSetCard1(&record, nullptr));
    EXPECT_EQ(NET_ERR_EXEC_FAILED, static_cast<int>(last_error().code));
    support::answer_unit("start", 1);
    fail_call("KLIBCFileSetKeys");
    EXPECT_EQ(-2, KAVONetSetCard1(&record, nullptr));
    EXPECT_TRUE(lock_is_free(0x106));
    EXPECT_EQ(STATIC_FILE, read_file(ifcfg("eth0")));
}

TEST_F(SetCard1, TheDynamicDnsServiceHearsOfANewAddressOnly)
{
    const KAVONETINFO record = info(true);
    const auto reloads = [&](const KAVONETINFO *old) {
        clear();
        EXPECT_EQ(0, KAVONetSetCard1(&record, old));
        return ddns_calls();
    };
    support::answer_unit("active", 1);
    EXPECT_THAT(reloads(nullptr), ElementsAre("[unit] [active] [ddnsd]", "[unit] [reload] [ddnsd]"));
    const KAVONETINFO other_address = info(true, "192.0.2.6");
    EXPECT_THAT(reloads(&other_address), ElementsAre("[unit] [active] [ddnsd]", "[unit] [reload] [ddnsd]"));
    const KAVONETINFO other_mask = info(true, "192.0.2.5", "255.255.0.0");
    EXPECT_THAT(reloads(&other_mask), ElementsAre("[unit] [active] [ddnsd]", "[unit] [reload] [ddnsd]"));
    const KAVONETINFO other_text = info(true, "192.0.2.05");
    EXPECT_THAT(reloads(&other_text), ElementsAre("[unit] [active] [ddnsd]", "[unit] [reload] [ddnsd]"));
    const KAVONETINFO other_mask_text = info(true, "192.0.2.5", "255.255.255.00");
    EXPECT_THAT(reloads(&other_mask_text), ElementsAre("[unit] [active] [ddnsd]", "[unit] [reload] [ddnsd]"));
    const KAVONETINFO was_dhcp = info(false);
    EXPECT_THAT(reloads(&was_dhcp), IsEmpty()); // only the texts count
    EXPECT_THAT(reloads(&record), IsEmpty());
}

TEST_F(SetCard1, TheStaleBackupsGoBeforeTheDynamicDnsServiceHears)
{
    std::vector<std::string> with_a_backup;
    support::on_unit([&](const std::string &verb, const std::string &) {
        if (exists("/etc/ppp/old_gateway.bak") || exists("/etc/resolv.conf.bak"))
            with_a_backup.push_back(verb);
    });
    support::answer_unit("active", 1);
    const KAVONETINFO record = info(true);
    EXPECT_EQ(0, KAVONetSetCard1(&record, nullptr));
    EXPECT_THAT(ddns_calls(), ElementsAre("[unit] [active] [ddnsd]", "[unit] [reload] [ddnsd]"));
    EXPECT_THAT(with_a_backup, ElementsAre("stop"));
}

TEST_F(SetCard1, AServiceThatIsNotActiveIsNotReloaded)
{
    const KAVONETINFO record = info(true);
    for (const int answer : {0, -1, 2}) {
        clear();
        support::answer_unit("active", answer);
        EXPECT_EQ(0, KAVONetSetCard1(&record, nullptr));
        EXPECT_THAT(ddns_calls(), ElementsAre("[unit] [active] [ddnsd]")) << answer;
    }
}

TEST_F(SetCard1, AFailedReloadIsNoFailure)
{
    const KAVONETINFO record = info(true);
    support::answer_unit("active", 1);
    support::answer_unit("reload", 0);
    EXPECT_EQ(0, KAVONetSetCard1(&record, nullptr));
}

TEST_F(SetCard1, HoldsTheConfigurationLockThroughout)
{
    std::vector<bool> free;
    support::on_unit([&](const std::string &, const std::string &) { free.push_back(lock_is_free(0x105)); });
    support::answer_unit("active", 1);
    const KAVONETINFO is_static = info(true);
    EXPECT_EQ(0, KAVONetSetCard1(&is_static, nullptr));
    EXPECT_THAT(free, ElementsAre(false, false, false)); // stop, active, reload
    EXPECT_TRUE(lock_is_free(0x106));
    free.clear();
    const KAVONETINFO dhcp = info(false);
    EXPECT_EQ(0, KAVONetSetCard1(&dhcp, nullptr));
    EXPECT_THAT(free, ElementsAre(false, false)); // stop, start
    EXPECT_TRUE(lock_is_free(0x106));
}

TEST_F(SetCard1, WithoutTheLockNothingIsTouched)
{
    for (const bool is_static : {true, false}) {
        const KAVONETINFO record = info(is_static);
        fail_call("KLIBCFileLock");
        EXPECT_EQ(-1, KAVONetSetCard1(&record, nullptr));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_EQ(STATIC_FILE, read_file(ifcfg("eth0")));
    }
    EXPECT_TRUE(has_backups());
    const KAVONETINFO record = info(true);
    EXPECT_EQ(0, KAVONetSetCard1(&record, nullptr));
}

TEST_F(SetCard1, AddressesThatNoHostCanHaveAreRefused)
{
    const char *const refused[][2] = {
        {"", "255.255.255.0"},           {"192.0.2.5", ""},          {"192.0.2.256", "255.255.255.0"},
        {"192.0.2.5", "255.0.255.0"},    {"127.0.0.1", "255.0.0.0"}, {"192.0.2.5\n", "255.255.255.0"},
        {"192.0.2.255", "255.255.255.0"}};
    for (const auto &[address, mask] : refused) {
        const KAVONETINFO record = info(true, address, mask);
        EXPECT_EQ(-1, KAVONetSetCard1(&record, nullptr)) << address << " " << mask;
        EXPECT_TRUE(lock_is_free(0x106));
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(STATIC_FILE, read_file(ifcfg("eth0")));
    EXPECT_TRUE(has_backups());
}

TEST_F(SetCard1, AFailedStaticChangeKeepsTheBackupsAndTellsNobody)
{
    const KAVONETINFO record = info(true);
    support::answer_unit("active", 1);
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, KAVONetSetCard1(&record, nullptr));
    EXPECT_THAT(ddns_calls(), IsEmpty());
    EXPECT_TRUE(has_backups());
    EXPECT_EQ(STATIC_FILE, read_file(ifcfg("eth0")));
    EXPECT_TRUE(lock_is_free(0x106));
}

TEST_F(SetCard1, FieldsWithoutATerminatorAreReadWithinTheirBytes)
{
    KAVONETINFO record = info(true);
    memset(record.szName, 'a', sizeof record.szName);
    EXPECT_EQ(-1, KAVONetSetCard1(&record, nullptr));
    EXPECT_EQ(NET_ERR_BAD_PARAMETER, static_cast<int>(last_error().code));
    record = info(true);
    memset(record.szMask, '1', sizeof record.szMask);
    EXPECT_EQ(-1, KAVONetSetCard1(&record, nullptr));
    KAVONETINFO old = info(true);
    memset(old.szAddr, '1', sizeof old.szAddr);
    record = info(true);
    EXPECT_EQ(0, KAVONetSetCard1(&record, &old));
    EXPECT_THAT(ddns_calls(), ElementsAre("[unit] [active] [ddnsd]"));
}

TEST_F(SetCard1, RefusesANullRecord)
{
    const KAVONETINFO old = info(true);
    EXPECT_EQ(-1, KAVONetSetCard1(nullptr, &old));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_THAT(calls(), IsEmpty());
}

} // namespace
