#include "appliance/ipv4/ipv4_test.h"

namespace {

constexpr char FILE_NAME[] = "net_lnx_set_ip_netmask.cpp";
constexpr char FUNCTION[] = "KAVOILnxSetIPNetmask";

class LnxSetIpNetmask : public Ipv4Test {
protected:
    static constexpr char BEFORE[] = "# kept\nDEVICE=other\nBOOTPROTO=dhcp\nMASTER=bond0\nSLAVE=yes\nIPV6INIT=auto\n";
    static constexpr char EVENT[] = "[event] [net/ipv4_change] [pre]";
    static constexpr char STOP[] = "[unit] [stop] [dhclient@eth0.service]";
    static constexpr char FLUSH[] = "[/sbin/ip] [-4] [address] [flush] [dev] [eth0] [label] [eth0]";
    static constexpr char ADD[] = "[/sbin/ip] [-4] [address] [add] [192.0.2.5/24] [broadcast] [+] [dev] [eth0]";

    void SetUp() override
    {
        Ipv4Test::SetUp();
        if (IsSkipped())
            return;
        write_ifcfg("eth0", BEFORE);
        has_address("eth0", "192.0.2.1", "255.255.255.0");
    }

    static int set() { return KAVOILnxSetIPNetmask("eth0", "192.0.2.5", "255.255.255.0"); }

    static std::vector<std::string> lines() { return support::lines_of(read_file(ifcfg("eth0"))); }

    static void expect_written()
    {
        EXPECT_THAT(lines(), testing::UnorderedElementsAre("# kept", "DEVICE=eth0", "BOOTPROTO=static", "IPV6INIT=auto",
                                                           "ONBOOT=yes", "IPADDR=192.0.2.5", "NETMASK=255.255.255.0"));
    }

    // The backup's name; the empty text when there is none.
    static std::string backup()
    {
        for (const std::string &name : entries(FOLDER)) {
            if (testing::internal::RE::FullMatch(name, "ifcfg-eth0\\.tmp[0-9]+"))
                return name;
        }
        return "";
    }

    static std::string backup_path() { return std::string(FOLDER) + "/" + backup(); }

    static void expect_restored()
    {
        EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
        EXPECT_EQ("", backup());
        EXPECT_TRUE(up_down_lock_is_free("eth0"));
    }
};

TEST_F(LnxSetIpNetmask, WritesTheFileStopsTheClientAndChangesTheKernelLast)
{
    EXPECT_EQ(0, set());
    expect_written();
    EXPECT_THAT(calls(), ElementsAre(STOP, EVENT, FLUSH, ADD));
    EXPECT_EQ("", backup());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(up_down_lock_is_free("eth0"));
}

TEST_F(LnxSetIpNetmask, TheBackupIsMadeBeforeTheLockAndTheFileWrittenUnderIt)
{
    std::string at_lock;
    bool free_at_lock = false;
    bool free_at_write = true;
    bool free_at_stop = true;
    std::string at_write;
    std::vector<std::string> at_stop;
    support::on_call("KLIBCFileLockTimeByFile", [&] {
        if (!at_lock.empty())
            return; // the later looks at the lock
        at_lock = read_file(backup_path());
        free_at_lock = up_down_lock_is_free("eth0");
    });
    support::on_call("KLIBCFileSetKeys", [&] {
        free_at_write = up_down_lock_is_free("eth0");
        at_write = read_file(ifcfg("eth0"));
    });
    support::on_unit([&](const std::string &, const std::string &) {
        free_at_stop = up_down_lock_is_free("eth0");
        at_stop = lines();
    });
    EXPECT_EQ(0, set());
    EXPECT_EQ(BEFORE, at_lock);
    EXPECT_TRUE(free_at_lock);
    EXPECT_FALSE(free_at_write);
    EXPECT_EQ(BEFORE, at_write);
    EXPECT_FALSE(free_at_stop);
    EXPECT_THAT(at_stop, testing::Contains("IPADDR=192.0.2.5"));
}

TEST_F(LnxSetIpNetmask, TheBackupIsNamedByTheTimeAndCopiedWithForce)
{
    script("/bin/cp", "record_call \"$0\" \"$@\"\ncat \"$2\" >\"$3\"");
    const long before = time(nullptr);
    EXPECT_EQ(0, set());
    const long after = time(nullptr);
    ASSERT_FALSE(calls().empty());
    const std::string original = ifcfg("eth0");
    bool found = false;
    for (long second = before; second <= after; ++second)
        found |= calls()[0] == "[/bin/cp] [-f] [" + original + "] [" + original + ".tmp" + std::to_string(second) + "]";
    EXPECT_TRUE(found) << calls()[0];
    EXPECT_EQ("", backup());
}

TEST_F(LnxSetIpNetmask, ANewInterfaceHasNothingToBackUp)
{
    EXPECT_EQ(0, KAVOILnxSetIPNetmask("eth1", "192.0.2.5", "255.255.255.0"));
    const std::string path = ifcfg("eth1");
    EXPECT_EQ(LOG_ERR, support::logged("net_lnx_set_ip_netmask\\.cpp:[0-9]+ copy \\(" + path + ", " + path +
                                       "\\.tmp[0-9]+\\) failed\\.\\(strerror=.*\\)"));
    EXPECT_THAT(support::lines_of(read_file(path)),
                testing::UnorderedElementsAre("DEVICE=eth1", "ONBOOT=yes", "IPADDR=192.0.2.5", "NETMASK=255.255.255.0",
                                              "BOOTPROTO=static"));
    EXPECT_THAT(entries(FOLDER), ElementsAre("ifcfg-eth0", "ifcfg-eth1"));
}

TEST_F(LnxSetIpNetmask, AFailedBackupIsForgottenAndNeverPutBack)
{
    record("/bin/cp", 1);
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, set());
    expect_written();
    EXPECT_EQ(-1, logged_by(FUNCTION, "rename fail."));
    EXPECT_EQ(-1, support::level_of(FUNCTION, "(", "): ", "rename fail."));
}

TEST_F(LnxSetIpNetmask, AHalfCopiedBackupIsTakenAwayAndNeverPutBack)
{
    script("/bin/cp", "head -c 10 \"$2\" >\"$3\"\n[ -s \"$3\" ] && record_call copied\nexit 1");
    std::string at_write = "not looked";
    support::on_call("KLIBCFileSetKeys", [&] { at_write = backup(); });
    EXPECT_EQ(0, set());
    EXPECT_EQ("", at_write);
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, support::logged("net_lnx_set_ip_netmask\\.cpp:[0-9]+ copy \\(.*\\) failed\\.\\(strerror=.*\\)"));
    EXPECT_THAT(calls(), ElementsAre("[copied]", STOP, EVENT, FLUSH, ADD));
    EXPECT_THAT(entries(FOLDER), ElementsAre("ifcfg-eth0"));
    clear();
    write_ifcfg("eth0", BEFORE);
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, set());
    expect_written();
    EXPECT_THAT(entries(FOLDER), ElementsAre("ifcfg-eth0"));
}

TEST_F(LnxSetIpNetmask, TheLockIsExclusive)
{
    int shared = -1;
    support::on_call("KLIBCFileSetKeys", [&] {
        constexpr int SHARED = 0;
        int fd = -1;
        shared = KLIBCFileLockTimeByFile("/tmp/interface_up_down_eth0.lock", SHARED, 0, &fd);
        if (shared != 0)
            KLIBCFileUnlockByFile(fd);
    });
    EXPECT_EQ(0, set());
    EXPECT_EQ(0, shared) << "others cannot share it";
}

TEST_F(LnxSetIpNetmask, WaitsTenSecondsForTheLock)
{
    int wait = 0;
    support::on_call("KLIBCFileSetKeys", [&] { wait = support::last_lock_wait(); });
    EXPECT_EQ(0, set());
    EXPECT_EQ(10, wait);
}

TEST_F(LnxSetIpNetmask, WithoutTheLockItGoesOn)
{
    bool unlocked = false;
    support::on_call("KLIBCFileUnlockByFile", [&] { unlocked = true; });
    fail_call("KLIBCFileLockTimeByFile");
    EXPECT_EQ(0, set());
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to lock /tmp/interface_up_down_eth0.lock, try to set it without "
                                            "lock then"));
    EXPECT_FALSE(unlocked);
    expect_written();
    EXPECT_THAT(calls(), ElementsAre(STOP, EVENT, FLUSH, ADD));
}

TEST_F(LnxSetIpNetmask, AFailedUnlockIsOnlyLogged)
{
    // The stand-in fails before the lock is given back, so the test gives it back itself.
    int fd = -1;
    support::on_call("KLIBCFileUnlockByFile", [&] {
        for (const std::string &number : support::open_descriptors()) {
            char target[256] = "";
            if (readlink(("/proc/self/fd/" + number).c_str(), target, sizeof target - 1) > 0 &&
                strstr(target, "interface_up_down_eth0.lock") != nullptr)
                fd = std::stoi(number);
        }
    });
    fail_call("KLIBCFileUnlockByFile");
    EXPECT_EQ(0, set());
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to unlock /tmp/interface_up_down_eth0.lock."));
    expect_written();
    support::clear_faults();
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
}

TEST_F(LnxSetIpNetmask, AFailedWriteStopsThereAndRestoresTheFile)
{
    fail_call("KLIBCFileSetKeys");
    EXPECT_EQ(-1, set());
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Set /etc/sysconfig/network-scripts/ifcfg-eth0 error."));
    expect_no_code_of_ours();
    EXPECT_THAT(calls(), IsEmpty());
    expect_restored();
}

TEST_F(LnxSetIpNetmask, AHalfFilledSetOfKeysIsNeverWritten)
{
    for (int n = 1; n <= 7; ++n) {
        fail_call("KLIBCSzHashSetValue", n);
        EXPECT_EQ(-1, set()) << n;
        EXPECT_THAT(calls(), IsEmpty()) << n;
        expect_restored();
    }
}

TEST_F(LnxSetIpNetmask, AFailedStopIsOnlyAWarning)
{
    support::answer_unit("stop", 0);
    EXPECT_EQ(0, set());
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_WARNING, logged_in(FILE_NAME, "unable to stop dhclient@eth0.service"));
    EXPECT_THAT(calls(), ElementsAre(STOP, EVENT, FLUSH, ADD));
}

TEST_F(LnxSetIpNetmask, AMaskThatIsNoneRestoresTheFile)
{
    EXPECT_EQ(-1, KAVOILnxSetIPNetmask("eth0", "192.0.2.5", "255.255.255.256"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "calculate prefix length failed"));
    EXPECT_THAT(calls(), ElementsAre(STOP)); // the client was stopped before
    expect_restored();
}

TEST_F(LnxSetIpNetmask, AFailedChangeOfTheKernelRestoresTheFile)
{
    fail_call("KLIBCExecl", 2);
    EXPECT_EQ(-1, set());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "excute command /usr/kavo/sbin/kavonet--set_ip failed"));
    EXPECT_THAT(calls(), ElementsAre(STOP, EVENT, FLUSH));
    expect_restored();
}

TEST_F(LnxSetIpNetmask, AnAddressThatIsNoneRestoresTheFile)
{
    EXPECT_EQ(-1, KAVOILnxSetIPNetmask("eth0", "192.0.2.500", "255.255.255.0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "excute command /usr/kavo/sbin/kavonet--set_ip failed"));
    EXPECT_THAT(calls(), ElementsAre(STOP));
    expect_restored();
}

TEST_F(LnxSetIpNetmask, TheLockIsGivenBackBeforeTheFileIsRestored)
{
    bool free_at_restore = false;
    support::on_call("rename", [&] { free_at_restore = up_down_lock_is_free("eth0"); });
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, set());
    EXPECT_TRUE(free_at_restore);
}

TEST_F(LnxSetIpNetmask, ARestoreThatFailsIsLogged)
{
    fail_call("rename");
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, set());
    EXPECT_EQ(LOG_ERR, support::level_of(FUNCTION, "(", "): ", "rename fail."));
    expect_written();
    EXPECT_EQ(BEFORE, read_file(backup_path()));
    EXPECT_EQ(0, unlink(backup_path().c_str()));
}

TEST_F(LnxSetIpNetmask, ABackupThatCannotBeDeletedIsLogged)
{
    fail_call("unlink");
    EXPECT_EQ(0, set());
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, support::level_of(FUNCTION, "(", "): ", "unlink fail."));
    EXPECT_EQ(BEFORE, read_file(backup_path()));
    EXPECT_EQ(0, unlink(backup_path().c_str()));
}

TEST_F(LnxSetIpNetmask, WithoutMemoryForTheKeysNothingIsTouched)
{
    record("/bin/cp");
    for (int n = 1; n <= 2; ++n) {
        fail_call("KLIBCSzHashAlloc", n);
        EXPECT_EQ(-1, set()) << n;
        EXPECT_THAT(calls(), IsEmpty()) << n;
        EXPECT_EQ(BEFORE, read_file(ifcfg("eth0"))) << n;
        EXPECT_THAT(log_lines(), IsEmpty());
    }
}

TEST_F(LnxSetIpNetmask, RefusesNullEmptyAndHostileTexts)
{
    const auto expect_refused = [&](const char *name, const char *address, const char *mask) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOILnxSetIPNetmask(name, address, mask)) << (name == nullptr ? "null" : name);
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    };
    expect_refused(nullptr, "192.0.2.5", "255.255.255.0");
    expect_refused("eth0", nullptr, "255.255.255.0");
    expect_refused("eth0", "", "255.255.255.0");
    expect_refused("eth0", "192.0.2.5", nullptr);
    expect_refused("eth0", "192.0.2.5", "");
    for (const std::string &name : support::hostile_names())
        expect_refused(name.c_str(), "192.0.2.5", "255.255.255.0");
    expect_refused(support::NAME_OF_16, "192.0.2.5", "255.255.255.0");
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(entries(FOLDER), ElementsAre("ifcfg-eth0"));
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
}

TEST_F(LnxSetIpNetmask, AnAddressCannotAddLinesToTheFile)
{
    for (const char *address : {"192.0.2.5\nMASTER=bond9", "192.0.2.5\r"}) {
        EXPECT_EQ(-1, KAVOILnxSetIPNetmask("eth0", address, "255.255.255.0"));
        expect_restored();
    }
    EXPECT_EQ(-1, KAVOILnxSetIPNetmask("eth0", "192.0.2.5", "255.255.255.0\nMASTER=bond9"));
    expect_restored();
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LnxSetIpNetmask, NamesAreArgumentsAndPathsAsTheyStand)
{
    const std::string name = "$(id)\"';";
    EXPECT_EQ(0, KAVOILnxSetIPNetmask(name.c_str(), "192.0.2.5", "255.255.255.0"));
    EXPECT_TRUE(exists(ifcfg(name)));
    EXPECT_THAT(calls(), testing::Contains("[unit] [stop] [dhclient@" + name + ".service]"));
    EXPECT_THAT(calls(),
                testing::Contains("[/sbin/ip] [-4] [address] [flush] [dev] [" + name + "] [label] [" + name + "]"));
    EXPECT_EQ(0, KAVOILnxSetIPNetmask(support::NAME_OF_15, "192.0.2.5", "255.255.255.0"));
    EXPECT_TRUE(exists(ifcfg(support::NAME_OF_15)));
}

TEST_F(LnxSetIpNetmask, ChangesARealCard)
{
    use_real_ip();
    add_card("lan0", "198.51.100.7/16");
    write_ifcfg("lan0", "BOOTPROTO=dhcp\n");
    EXPECT_EQ(0, KAVOILnxSetIPNetmask("lan0", "192.0.2.5", "255.255.255.0"));
    EXPECT_THAT(shell("/bin/ip -4 -o address show dev lan0"),
                testing::HasSubstr(" inet 192.0.2.5/24 brd 192.0.2.255 "));
    EXPECT_THAT(shell("/bin/ip -4 -o address show dev lan0"), testing::Not(testing::HasSubstr("198.51.100.7")));
    ASSERT_EQ(1U, followed().size());
    EXPECT_THAT(followed()[0], testing::HasSubstr("ORIGIN_ADDRESS=198.51.100.7 NEW_ADDRESS=192.0.2.5"));
}

} // namespace
