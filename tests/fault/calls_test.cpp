// Every call that can fail fails in turn, in every operation that touches more than one thing: whatever fails, files are
// old or new and whole, nothing is left lying about, no descriptor or lock is kept, and the next call works.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <linux/if_vlan.h>
#include <linux/sockios.h>
#include <syslog.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/fake_ioctl.h"
#include "support/faults.h"
#include "support/log_capture.h"
#include "support/private_root.h"
#include "support/read_back.h"
#include "support/recorded_units.h"

using support::entries;
using support::failed_call;
using support::open_descriptors;
using support::read_file;

namespace {

constexpr char FOLDER[] = "/etc/sysconfig/network-scripts";
const std::string STATIC = "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.1.0.1\nNETMASK=255.255.255.0\n";

KAVONETINFO record(bool is_static, const char *address)
{
    KAVONETINFO info = {};
    info.blStatic = is_static ? 1 : 0;
    snprintf(info.szName, sizeof info.szName, "eth0");
    snprintf(info.szAddr, sizeof info.szAddr, "%s", address);
    snprintf(info.szMask, sizeof info.szMask, "255.255.255.0");
    return info;
}

class Calls : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        add_card("eth0", "10.1.0.1/24");
        write_ifcfg("eth0", STATIC);
        write_lease("eth0", "IPADDR=10.1.0.9\nNETMASK=255.255.255.0\n");
        record("/sbin/ip");
        record("/sbin/route");
        record("/usr/kavo/sbin/kavonetdtool");
        support::record_units();
    }

    // Runs the call once for each call that it makes and that can fail. `reset` puts back what the call changes, `check`
    // looks at the files afterwards. Returns the functions that failed.
    static std::set<std::string> fail_each(const std::function<int()> &call, const std::function<void()> &reset,
                                           const std::function<void()> &check)
    {
        reset();
        call(); // whatever is made once for the process is made now
        std::set<std::string> failed;
        for (long n = 1; n < 10'000; ++n) {
            reset();
            support::clear_log();
            const auto descriptors = open_descriptors();
            support::fail_any_call(n);
            call();
            const char *function = failed_call();
            support::clear_faults();
            if (function == nullptr)
                return failed;
            failed.insert(function);
            SCOPED_TRACE("call " + std::to_string(n) + ": " + function);
            EXPECT_EQ(descriptors, open_descriptors());
            check();
            expect_locks_free();
            if (HasFailure())
                return failed;
        }
        ADD_FAILURE() << "there is no end of calls";
        return failed;
    }

    static void expect_locks_free()
    {
        std::thread([] {
            for (const int word : {0x106, 0x806}) {
                EXPECT_EQ(0, KLIBCFileLock(word, 0)) << "a lock was kept";
                KLIBCFileUnlock(word & 0xF00);
            }
        }).join();
    }

    static void nothing() {}
};

TEST_F(Calls, AStaticAddressIsSetWholeOrNotAtAll)
{
    const KAVONETINFO wanted = ::record(true, "10.1.0.2");
    const auto reset = [] {
        write_ifcfg("eth0", STATIC);
        for (const std::string &name : entries(FOLDER)) {
            if (name != "ifcfg-eth0")
                unlink((std::string(FOLDER) + "/" + name).c_str());
        }
    };
    int result = 0;
    const auto failed = fail_each(
        [&] { return result = KAVONetSetCard1(&wanted, nullptr); }, reset,
        [&] {
            const std::string now = read_file(ifcfg("eth0"));
            const bool is_new = now.find("IPADDR=10.1.0.2\n") != std::string::npos;
            EXPECT_TRUE(now == STATIC || (is_new && now.find("BOOTPROTO=static\n") != std::string::npos)) << now;
            EXPECT_TRUE(is_new || result != 0) << "success without the change";
            // Only the backup that could not be put back or deleted stays, and the log says so.
            for (const std::string &name : entries(FOLDER)) {
                EXPECT_TRUE(name == "ifcfg-eth0" || support::logged(".*(rename|unlink) fail\\.") != -1) << name;
            }
        });
    EXPECT_TRUE(failed.contains("realloc") && failed.contains("write") && failed.contains("fsync") &&
                failed.contains("renameat") && failed.contains("KLIBCFileLock") && failed.contains("socket"))
        << testing::PrintToString(failed);
}

TEST_F(Calls, AnInterfaceGoesToDhcpOnlyWhenItsClientRuns)
{
    const KAVONETINFO wanted = ::record(false, "");
    int result = 0;
    fail_each([&] { return result = KAVONetSetCard1(&wanted, nullptr); }, [] { write_ifcfg("eth0", STATIC); },
              [&] {
                  const std::string now = read_file(ifcfg("eth0"));
                  const bool is_new = now == "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=dhcp\n";
                  EXPECT_TRUE(now == STATIC || is_new) << now;
                  EXPECT_TRUE(is_new || result != 0) << "success without the change";
                  EXPECT_EQ(std::vector<std::string>{"ifcfg-eth0"}, entries(FOLDER));
              });
}

TEST_F(Calls, BlockFlagsAreSetKeyByKey)
{
    fail_each([] { return KAVONetSetIfBlock("eth0", NET_IF_BLOCK_HA | NET_IF_BLOCK_VIRTUAL, 1); },
              [] { write_ifcfg("eth0", STATIC); },
              [] {
                  const std::string now = read_file(ifcfg("eth0"));
                  EXPECT_EQ(0U, now.find(STATIC)) << now;
                  EXPECT_EQ('\n', now.back());
                  EXPECT_EQ(std::vector<std::string>{"ifcfg-eth0"}, entries(FOLDER));
              });
}

TEST_F(Calls, AMissingMethodIsRepairedWholeOrNotAtAll)
{
    const std::string without = "DEVICE=eth0\n# kept\n";
    fail_each([] { return BlKAVOLnxIsDHCP("eth0"); }, [&] { write_ifcfg("eth0", without); },
              [&] {
                  const std::string now = read_file(ifcfg("eth0"));
                  EXPECT_TRUE(now == without || now == without + "BOOTPROTO=static\n") << now;
                  EXPECT_EQ(std::vector<std::string>{"ifcfg-eth0"}, entries(FOLDER));
              });
}

// The files of /etc that a rewrite of the DNS servers or of the host name may have left beside its own.
std::vector<std::string> strays()
{
    std::vector<std::string> found;
    for (const std::string &name : entries("/etc")) {
        for (const char *file :
             {"resolv.conf.", "resolv.conf.static.", "hosts.", "hostname.", ".hosts", "kavoinfo.conf."}) {
            if (name.starts_with(file) && name != "resolv.conf.static" && name != "hosts.allow" && name != "hosts.deny")
                found.push_back(name);
        }
    }
    return found;
}

TEST_F(Calls, DnsServersAreSetWholeOrNotAtAll)
{
    const std::string old = "nameserver\t192.0.2.99\n";
    const std::string wanted = "nameserver\t192.0.2.1\n";
    const auto reset = [&] {
        support::write_file("/etc/resolv.conf", old);
        support::write_file("/etc/resolv.conf.static", old);
        support::write_file("/etc/kavoinfo.conf", "dns_mode=\"auto\"\n");
        for (const std::string &name : strays())
            unlink(("/etc/" + name).c_str());
    };
    int result = 0;
    const auto failed =
        fail_each([&] { return result = KAVONetDNSSet("192.0.2.1"); }, reset,
                  [&] {
                      const std::string resolv = read_file("/etc/resolv.conf");
                      const std::string list = read_file("/etc/resolv.conf.static");
                      const std::string settings = read_file("/etc/kavoinfo.conf");
                      EXPECT_TRUE(resolv == old || resolv == wanted) << resolv;
                      EXPECT_TRUE(list == old || list == wanted) << list;
                      EXPECT_TRUE(settings == "dns_mode=\"auto\"\n" || settings == "dns_mode=\"static\"\n") << settings;
                      EXPECT_TRUE(result != 0 || list == wanted) << "success without the list";
                      // A temporary file stays only when it is the deletion that failed.
                      EXPECT_TRUE(strays().empty() || strcmp(failed_call(), "unlink") == 0) << strays()[0];
                  });
    for (const char *function :
         {"KLIBCSzListAlloc", "KLIBCSzListPush", "KLIBCFileTempFileOpen", "fflush", "rename", "chmod",
          "KLIBCINFOSetKeyValue", "KLIBCFileLock", "KLIBCFileReadLines", "KLIBPluginAction"})
        EXPECT_TRUE(failed.contains(function)) << function;
}

TEST_F(Calls, TheHostNamesFilesAreWhole)
{
    const std::string old = "192.0.2.1\told\n";
    const auto reset = [&] {
        sethostname("old", 3);
        support::write_file("/etc/hosts", old);
        for (const std::string &name : strays())
            unlink(("/etc/" + name).c_str());
    };
    int result = 0;
    const auto failed = fail_each([&] { return result = KAVOLnxSetHostname("box"); }, reset,
                                  [&] {
                                      const std::string hosts = read_file("/etc/hosts");
                                      const bool is_new =
                                          hosts.ends_with("::1\t\tlocalhost\n127.0.0.1\tbox\n::1\t\tbox\n");
                                      EXPECT_TRUE(hosts == old || is_new) << hosts;
                                      EXPECT_TRUE(is_new || result != 0) << "success without the change";
                                      EXPECT_TRUE(strays().empty()) << strays()[0];
                                  });
    for (const char *function : {"KLIBCFileLock", "sethostname", "fopen64", "fclose", "KLIBCFileITmpName", "fflush",
                                 "fsync", "rename", "KLIBPluginSDKInit", "KLIBPluginSetArg", "KLIBPluginAction"})
        EXPECT_TRUE(failed.contains(function)) << function;
}

class MtuCalls : public Calls {
protected:
    static constexpr char OLD[] = "name=\"value\"\neth0_mtu=\"1500\"\n";
    static constexpr char WANTED[] = "name=\"value\"\neth0_mtu=\"1400\"\n";

    static void reset()
    {
        shell("ip link set eth0 mtu 1500 up");
        support::write_file("/etc/kavoinfo.conf", OLD);
        for (const std::string &name : strays())
            unlink(("/etc/" + name).c_str());
    }

    // An interface that cannot be asked whether it is a VLAN counts as stored: that question needs a socket.
    static void check_settings(int result)
    {
        const std::string settings = read_file("/etc/kavoinfo.conf");
        EXPECT_TRUE(settings == OLD || settings == WANTED) << settings;
        EXPECT_TRUE(settings == WANTED || result != 0 || strcmp(failed_call(), "socket") == 0)
            << "success without the value";
        EXPECT_TRUE(strays().empty()) << strays()[0];
    }
};

TEST_F(MtuCalls, AnMtuIsStoredWholeOrNotAtAll)
{
    int result = 0;
    const auto failed = fail_each([&] { return result = KAVOConfSetMTUValue("1400", "eth0"); }, reset,
                                  [&] {
                                      check_settings(result);
                                      EXPECT_EQ(1500, KAVOGetMTU("eth0"));
                                  });
    for (const char *function : {"KLIBCFileLock", "KLIBCFileSetKeyValue", "write", "fsync", "renameat", "socket"})
        EXPECT_TRUE(failed.contains(function)) << function << testing::PrintToString(failed);
}

TEST_F(MtuCalls, AnMtuIsSetOrTheOldOneStaysAndTheInterfaceIsUp)
{
    int result = 0;
    const auto failed = fail_each([&] { return result = KAVONetSetMTUValue("1400", "eth0"); }, reset,
                                  [&] {
                                      check_settings(result);
                                      const int mtu = KAVOGetMTU("eth0");
                                      EXPECT_TRUE(mtu == 1400 || (mtu == 1500 && result != 0)) << mtu;
                                      // It stays down only when it is the bringing up that failed.
                                      EXPECT_TRUE(KAVONetIsIFUp("eth0") == 1 || strcmp(failed_call(), "socket") == 0);
                                  });
    for (const char *function : {"KLIBCFileLock", "KLIBCFileSetKeyValue", "socket", "KLIBPluginSDKInit",
                                 "KLIBPluginSetArg", "KLIBPluginAction"})
        EXPECT_TRUE(failed.contains(function)) << function << testing::PrintToString(failed);
}

TEST_F(Calls, TheGatewayIsConfiguredWholeOrNotAtAll)
{
    const std::string file = "/etc/sysconfig/network";
    const std::string before = "NETWORKING=yes\nGATEWAY=10.1.0.254\n# kept\n";
    const auto reset = [&] { support::write_file(file, before); };
    const auto check = [&](const std::string &after, int result) {
        const std::string now = read_file(file);
        EXPECT_TRUE(now == before || now == after) << now;
        EXPECT_TRUE(now == after || result != 0) << "success without the change";
        EXPECT_EQ((std::vector<std::string>{"network", "network-scripts"}), entries("/etc/sysconfig"));
    };
    int result = 0;
    const auto failed = fail_each([&] { return result = KAVONetDefaultGatewaySetConf("10.1.0.1"); }, reset,
                                  [&] { check("NETWORKING=yes\nGATEWAY=10.1.0.1\n# kept\n", result); });
    EXPECT_TRUE(failed.contains("write") && failed.contains("fsync") && failed.contains("renameat"))
        << testing::PrintToString(failed);
    fail_each([&] { return result = KAVONetDefaultGatewaySetConf(""); }, reset,
              [&] { check("NETWORKING=yes\n# kept\n", result); });
}

TEST_F(Calls, RoutesAreChangedWithoutLeavingAnythingBehind)
{
    // Two interfaces without carrier, whose routes the check clears.
    add_card("eth1", "10.2.0.1/24");
    write_ifcfg("eth1", "BOOTPROTO=static\nIPADDR=10.2.0.1\nNETMASK=255.255.255.0\n");
    shell("ip link set eth0p down; ip link set eth1p down");
    const std::function<int()> writers[] = {
        [] { return KAVONetDefaultGatewaySet("10.1.0.254"); },
        [] { return NetRoutetableHandler(NET_ROUTE_ADD, "eth0"); },
        [] { return NetRoutetableEdit(NET_ROUTE_ADD, "10.1.0.1", "255.255.255.0", "eth0"); },
        [] { return NetRoutetableCheck(); },
    };
    for (size_t i = 0; i < std::size(writers); ++i) {
        SCOPED_TRACE("writer " + std::to_string(i));
        const auto failed = fail_each(writers[i], nothing, [] { EXPECT_EQ(STATIC, read_file(ifcfg("eth0"))); });
    }
}

// The store of aliases with all white space taken out.
constexpr char ALIAS_FOLDER[] = "/usr/kavo/etc/net";
constexpr char ALIAS_STORE[] = "/usr/kavo/etc/net/ip_alias";
const std::string ONE_ALIAS = R"({"eth0":{"ip_alias":[{"label":0,"IP":"10.9.0.1","prefixlen":24}]}})";
const std::string TWO_ALIASES = R"({"eth0":{"ip_alias":[{"label":0,"IP":"10.9.0.1","prefixlen":24},)"
                                R"({"label":1,"IP":"10.9.0.2","prefixlen":16}]}})";

std::string alias_store()
{
    std::string text = read_file(ALIAS_STORE);
    std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
    return text;
}

// Puts a store in place of what a call left. A new file whose deletion failed too stays until then.
void reset_aliases(const std::string &store)
{
    for (const std::string &name : entries(ALIAS_FOLDER))
        unlink((std::string(ALIAS_FOLDER) + "/" + name).c_str());
    support::write_file(ALIAS_STORE, store);
}

void expect_aliases(const std::string &before, const std::string &after, int result)
{
    const std::string now = alias_store();
    EXPECT_TRUE(now == before || now == after) << now;
    EXPECT_TRUE(now == after || result != 0) << "success without the change";
    const auto &lines = support::log_lines();
    EXPECT_TRUE(result == 0 ||
                std::any_of(lines.begin(), lines.end(), [](auto &line) { return line.level == LOG_ERR; }))
        << "a failure without a line";
    EXPECT_EQ(std::vector<std::string>{"ip_alias"}, entries(ALIAS_FOLDER));
}

// The same with so long a text and so many numbers beside the array that the buffers and tables for them must grow.
std::string with_more(std::string store)
{
    std::string numbers = "0";
    for (int i = 1; i < 40; ++i)
        numbers += "," + std::to_string(i);
    return store.insert(store.rfind("}}"),
                        R"(,"numbers":[)" + numbers + R"(],"text":")" + std::string(20'000, 'x') + R"(")");
}

TEST_F(Calls, AnAliasIsStoredWholeOrNotAtAll)
{
    int result = 0;
    const auto failed =
        fail_each([&] { return result = KAVONetIpAliasAdd("eth0", "10.9.0.2", 16); }, [] { reset_aliases(ONE_ALIAS); },
                  [&] { expect_aliases(ONE_ALIAS, TWO_ALIASES, result); });
    EXPECT_TRUE(failed.contains("malloc") && failed.contains("calloc") && failed.contains("write") &&
                failed.contains("fsync") && failed.contains("rename") && failed.contains("fchmod") &&
                failed.contains("KLIBCExecl") && failed.contains("KLIBPluginSetArg"))
        << testing::PrintToString(failed);
}

TEST_F(Calls, AnAliasIsDeletedWholeOrNotAtAll)
{
    int result = 0;
    fail_each([&] { return result = KAVONetIpAliasDelete("10.9.0.2"); }, [] { reset_aliases(TWO_ALIASES); },
              [&] { expect_aliases(TWO_ALIASES, ONE_ALIAS, result); });
}

TEST_F(Calls, ALongStoreIsChangedWithoutALossOrNotAtAll)
{
    const std::string one = with_more(ONE_ALIAS);
    const std::string two = with_more(TWO_ALIASES);
    int result = 0;
    const auto failed = fail_each([&] { return result = KAVONetIpAliasAdd("eth0", "10.9.0.2", 16); },
                                  [&] { reset_aliases(one); }, [&] { expect_aliases(one, two, result); });
    EXPECT_TRUE(failed.contains("realloc")) << testing::PrintToString(failed);
    fail_each([&] { return result = KAVONetIpAliasDelete("10.9.0.2"); }, [&] { reset_aliases(two); },
              [&] { expect_aliases(two, one, result); });
}

TEST_F(Calls, ApplyingAliasesLeavesTheStoreAlone)
{
    const std::function<int()> appliers[] = {
        [] { return IpAliasApply(nullptr, nullptr); },
        [] { return IpAliasApply("eth0", nullptr); },
        [] { return IpAliasUnapply("eth0", nullptr); },
        [] {
            PKLIBSZLIST subnets = KLIBCSzListAlloc(0);
            KLIBCSzListPush(&subnets, "10.9.0.0/24");
            const int result = IpAliasApply("eth0", subnets);
            KLIBCSzListFree(subnets);
            return result;
        },
        [] {
            PKLIBSZLIST list = KLIBCSzListAlloc(0);
            const int result = KAVONetIpAliasList("eth0", &list);
            KLIBCSzListFree(list);
            return result;
        },
    };
    for (const auto &apply : appliers) {
        const auto failed = fail_each(
            apply, [] { reset_aliases(TWO_ALIASES); }, [] { EXPECT_EQ(TWO_ALIASES, alias_store()); });
        EXPECT_FALSE(failed.empty());
    }
}

TEST_F(Calls, AnExportedFileIsWholeOrNotThere)
{
    const std::string other = STATIC + std::string(20000, 'x') + "\n";
    write_ifcfg("eth1", other);
    PKLIBSZHASH hash = nullptr;
    int result = 0;
    const auto failed = fail_each(
        [&] { return result = KAVOConfigExport(&hash, "/etc/none/*;/etc/sysconfig/network-scripts/ifcfg-*"); },
        [&] {
            KLIBCSzHashFree(hash);
            hash = KLIBCSzHashAlloc(1024);
        },
        [&] {
            for (const auto &[name, content] : {std::pair("eth0", &STATIC), std::pair("eth1", &other)}) {
                const char *value = KLIBCSzHashGetValue(hash, ifcfg(name).c_str());
                EXPECT_TRUE(value == nullptr || value == *content) << name;
                EXPECT_TRUE(value != nullptr || result != 0 || support::logged(".*skipping its backup: .*") == 3);
            }
        });
    KLIBCSzHashFree(hash);
    EXPECT_TRUE(failed.contains("malloc") && failed.contains("fopen64") && failed.contains("KLIBCSzHashSetValue"))
        << testing::PrintToString(failed);
}

TEST_F(Calls, AnImportedFileIsOldOrNewAndWhole)
{
    const std::string current = "[s]\nk=1\n";
    const std::string given = "new=" + std::string(20000, 'x') + "\n";
    const auto reset = [&] {
        for (const std::string &name : entries(FOLDER))
            unlink((std::string(FOLDER) + "/" + name).c_str());
        write_ifcfg("eth0", current);
    };
    PKLIBSZHASH hash = KLIBCSzHashAlloc(1024);
    KLIBCSzHashSetValue(&hash, ifcfg("eth0").c_str(), given.c_str());
    int result = 0;
    const auto failed = fail_each(
        [&] { return result = KAVOConfigImport(hash, "/etc/sysconfig/network-scripts/ifcfg-*", 0x10); }, reset,
        [&] {
            const std::string now = read_file(ifcfg("eth0"));
            const bool has_sections = now == given + "[s]\n\tk=1\n";
            EXPECT_TRUE(now == current || now == given || has_sections) << now.size();
            EXPECT_TRUE(has_sections || result != 0 || support::logged(".*Failed to .*") == 3) << "lost without a word";
            // Only a file that could not be moved stays beside its target.
            for (const std::string &name : entries(FOLDER)) {
                EXPECT_TRUE(name == "ifcfg-eth0" || support::logged(".*Failed to rename.*") == 3) << name;
            }
        });
    KLIBCSzHashFree(hash);
    for (const char *function : {"KLIBCSzListAlloc", "KLIBCSzHashAlloc", "KLIBCSzHashEnumKey", "KLIBCFileGetSection",
                                 "KLIBCFileAddSection", "fchmod", "fsync", "rename", "renameat"})
        EXPECT_TRUE(failed.contains(function)) << function;
}

TEST_F(Calls, ReadersKeepNoDescriptorAndNoLock)
{
    KAVONETIFENTRY entries_of_all[8];
    KAVONETIFENTRY entry;
    KAVONETINFO info;
    NetStat statistics;
    KAVOV6IPINFO addresses[4];
    KAVOLINKAGGROPT bond;
    KAVOETHINFO link;
    KLIBNETBRIDGEINFO bridge;
    PPPoEConf pppoe;
    PPPoERelayConf relay;
    char text[64];
    unsigned int flags = 0;
    int mode = 0;
    int prefix = 0;
    const std::function<int()> readers[] = {
        [&] { return KLIBNetGetInterfaceInfo(entries_of_all, 8, NET_IF_SEL_USABLE); },
        [&] { return KAVONetIFGetInfo("eth0", &entry, &info); },
        [&] { return KAVONetGetCard1(0, nullptr, &info); },
        [&] { return KLIBNetStatGetSingle("eth0", &statistics); },
        [&] { return KAVOLnxV6IPGet("eth0", addresses, 4); },
        [&] { return KAVONetIPv6ConfGet("eth0", &mode, text, sizeof text, &prefix, nullptr, 0); },
        [&] { return KAVONetIPv6RemoveDADFailedIP("eth0", addresses, 4); },
        [&] { return KAVONetLinkAggrGet("eth0", &bond); },
        [&] { return KAVONetGetEthInfo(&link, "eth0"); },
        [&] { return KAVOILnxGetIPFromCfg("eth0", text, sizeof text); },
        [&] { return KAVONetGetIfBlock("eth0", &flags); },
        [&] { return KAVONetIfIsBondingPassive("eth0"); },
        [&] { return KLIBNetInterfaceEnum(entries_of_all, 8, NET_IF_ENUM_NOT_LOCAL_LAN); },
        [&] { return KLIBNetEthEnum(entries_of_all, 8); },
        [&] { return KLIBNetIFIsLocalLan("eth0"); },
        [&] { return KAVONetDNSGet(text, sizeof text); },
        [&] { return KAVOLnxGetHostname(text); },
        [&] { return KAVONetDefaultGatewayGet(text, sizeof text); },
        [&] { return KAVONetDefaultGatewayGetConf(text, sizeof text); },
        [&] { return KLIBNETGetBridgeInfo("eth0", &bridge); },
        [&] { return KAVONetGetBridgeConfig("eth0", &info, &bridge); },
        [&] { return KAVONetIsIfBridgeType("eth0", NET_BRIDGE_PORT); },
        [&] { return PPPoEConfigGet(&pppoe); },
        [&] { return KAVONetGetPPPoERelayConfig("eth0", &relay); },
    };
    for (size_t i = 0; i < std::size(readers); ++i) {
        SCOPED_TRACE("reader " + std::to_string(i));
        const auto failed = fail_each(readers[i], nothing, [] { EXPECT_EQ(STATIC, read_file(ifcfg("eth0"))); });
        EXPECT_FALSE(failed.empty());
    }
}

TEST_F(Calls, AnIpv6ModeIsChangedOrItsFailureTold)
{
    PrivateRoot::record("/usr/sbin/rdisc6");
    constexpr char SWITCH[] = "/proc/sys/net/ipv6/conf/eth0/disable_ipv6";
    constexpr const char *MODES[] = {"auto", "off", "dhcp", "static", "auto_dhcp"};
    const std::string off = STATIC + "IPV6INIT=\"off\"\n";
    for (int mode = 0; mode < 5; ++mode) {
        SCOPED_TRACE(MODES[mode]);
        int result = 0;
        const auto reset = [&] {
            write_ifcfg("eth0", off);
            support::write_file(SWITCH, "1");
        };
        const auto failed =
            fail_each([&] { return result = KAVONetIPv6ConfSet(mode, "eth0", "2001:db8::5", 64, "fe80::1"); }, reset,
                      [&] {
                          const std::string now = read_file(ifcfg("eth0"));
                          EXPECT_EQ(0U, now.find(STATIC + "IPV6INIT=\"")) << now;
                          EXPECT_EQ('\n', now.back());
                          EXPECT_EQ(std::vector<std::string>{"ifcfg-eth0"}, entries(FOLDER));
                          EXPECT_TRUE(result == 0 || result == -1) << result;
                          EXPECT_TRUE(result != 0 ||
                                      KLIBCFileCheckKeyValue(ifcfg("eth0").c_str(), "IPV6INIT", MODES[mode], 0) == 1)
                              << now;
                          // A mode that was not reached leaves IPv6 off, where it was.
                          EXPECT_TRUE(result == 0 || mode < KAVO_IPV6_DHCP || read_file(SWITCH) == "1\n");
                      });
        EXPECT_TRUE(failed.contains("KLIBCFileSetKeyValue") && failed.contains("fopen64") &&
                    failed.contains("KLIBCModuleIsLoad"))
            << testing::PrintToString(failed);
    }
}

TEST_F(Calls, AtStartEveryInterfaceListensOrItsFailureIsTold)
{
    static constexpr char ACCEPT_RA[] = "/proc/sys/net/ipv6/conf/eth0/accept_ra";
    int result = 0;
    const auto failed = fail_each([&] { return result = KAVONetIpv6Init(); },
                                  [] {
                                      write_ifcfg("eth0", STATIC);
                                      support::write_file(ACCEPT_RA, "1");
                                  },
                                  [&] {
                                      const std::string now = read_file(ifcfg("eth0"));
                                      EXPECT_TRUE(now == STATIC || now == STATIC + "IPV6_ACCEPT_RA=\"1\"\n") << now;
                                      EXPECT_TRUE(now != STATIC || result == -1 || read_file(ACCEPT_RA) == "1\n")
                                          << "success with the switch but without the key";
                                  });
    EXPECT_TRUE(failed.contains("calloc") && failed.contains("socket") && failed.contains("KLIBCFileSetKeyValue"))
        << testing::PrintToString(failed);
}

TEST_F(Calls, TheTopologyIsStoredWholeOrNotAtAll)
{
    constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
    const std::string old = "support_net_topology=\"yes\"\nnet_topology=\"client\"\n# kept\n";
    const std::string wanted = "support_net_topology=\"yes\"\nnet_topology=\"bridge\"\n# kept\n";
    KAVOTOPOLOGYINFO row = {};
    snprintf(row.szName, sizeof row.szName, "bridge");
    const auto before = entries("/etc");
    int result = 0;
    const auto failed =
        fail_each([&] { return result = KLIBNETSetTopologyConfigs(&row); }, [&] { support::write_file(SETTINGS, old); },
                  [&] {
                      const std::string now = read_file(SETTINGS);
                      EXPECT_TRUE(now == old || now == wanted) << now;
                      EXPECT_TRUE(now == wanted || result != 0) << "success without the change";
                      EXPECT_EQ(before, entries("/etc"));
                  });
    EXPECT_TRUE(failed.contains("write") && failed.contains("fsync") && failed.contains("renameat"))
        << testing::PrintToString(failed);
}

TEST_F(Calls, VlansAreListedWholeOrNotAtAll)
{
    plain_proc_net();
    support::write_file("/proc/net/vlan/config", "one\ntwo\neth0.5 | 5 | eth0\neth0.6 | 6 | eth0\n");
    support::write_file("/etc/kavoinfo.conf", "support_net_topology=\"yes\"\nnet_topology=\"client\"\n");
    KLIBNETVLANINFO *vlans = nullptr;
    int32_t count = 0;
    int result = 0;
    const auto failed = fail_each(
        [&] {
            result = KLIBNetVlanEnum(&vlans, &count);
            free(vlans);
            return result;
        },
        nothing,
        [&] {
            // A list that cannot be looked for is as good as none.
            EXPECT_TRUE((vlans == nullptr) == (count == 0)) << count;
            EXPECT_TRUE(count == 2 || count == 0) << count;
            EXPECT_TRUE(result == 0 || count == 0) << count;
        });
    EXPECT_TRUE(failed.contains("KLIBCSzListAlloc") && failed.contains("calloc") &&
                failed.contains("KLIBCFileReadLines"))
        << testing::PrintToString(failed);
    KAVOTOPOLOGYINFO row = {};
    int id = 0;
    fail_each(
        [&] {
            row = {};
            return id = KLIBNetTopologyGet(&row);
        },
        nothing,
        [&] {
            EXPECT_TRUE(id == 1 || id == 0) << id;
            EXPECT_TRUE(std::string(row.szIfname) == "eth0" || std::string(row.szIfname) == "eth0.5" ||
                        (id == 0 && row.szIfname[0] == '\0'))
                << row.szIfname;
        });
}

// A copy is made before the file changes: it is the old file, or not yet whole when its maker failed.
void expect_old_copy(const std::string &old)
{
    const std::string copy = read_file(std::string(FOLDER) + "/ifcfg-eth0.saved");
    EXPECT_EQ(0U, old.find(copy)) << copy;
    for (const std::string &name : entries(FOLDER))
        EXPECT_TRUE(name == "ifcfg-eth0" || name == "ifcfg-eth0.saved") << name;
}

std::set<std::string> lines_of_eth0()
{
    const auto lines = support::lines_of(read_file(std::string(FOLDER) + "/ifcfg-eth0"));
    return {lines.begin(), lines.end()};
}

TEST_F(Calls, ABridgeIsConfiguredWholeOrNotAtAll)
{
    KLIBNETBRIDGEINFO bridge = {};
    bridge.type = NET_BRIDGE_LOCAL_LAN;
    snprintf(bridge.szIfname, sizeof bridge.szIfname, "eth0");
    snprintf(bridge.szPeer, sizeof bridge.szPeer, "wlan0");
    const KAVONETINFO dhcp = ::record(false, "");
    const std::set<std::string> wanted = {"DEVICE=eth0", "ONBOOT=no",     "BOOTPROTO=dhcp",
                                          "TYPE=bridge", "PRIMARY=wlan0", "LOCAL_LAN=yes"};
    int result = 0;
    const auto failed = fail_each([&] { return result = KAVONetSetBridgeConfig(&dhcp, &bridge); },
                                  [] {
                                      write_ifcfg("eth0", STATIC);
                                      unlink((ifcfg("eth0") + ".saved").c_str());
                                  },
                                  [&] {
                                      const bool is_new = lines_of_eth0() == wanted;
                                      EXPECT_TRUE(is_new || read_file(ifcfg("eth0")) == STATIC)
                                          << read_file(ifcfg("eth0"));
                                      EXPECT_TRUE(is_new || result != 0) << "success without the change";
                                      expect_old_copy(STATIC);
                                  });
    EXPECT_TRUE(failed.contains("KLIBCSzHashAlloc") && failed.contains("KLIBCSzHashSetValue") &&
                failed.contains("write") && failed.contains("fsync") && failed.contains("renameat"))
        << testing::PrintToString(failed);
}

TEST_F(Calls, APortLeavesItsBridgeWholeOrNotAtAll)
{
    const std::string port = "DEVICE=eth0\nTYPE=bridge\nBRIDGE=br0\nBOOTPROTO=none\n# kept\n";
    const KAVONETINFO plain = ::record(true, "10.1.0.2");
    const std::set<std::string> wanted = {"DEVICE=eth0",           "ONBOOT=yes", "BOOTPROTO=static", "IPADDR=10.1.0.2",
                                          "NETMASK=255.255.255.0", "# kept"};
    int result = 0;
    fail_each([&] { return result = KAVONetDisableBridgeSlave(&plain); },
              [&] {
                  write_ifcfg("eth0", port);
                  unlink((ifcfg("eth0") + ".saved").c_str());
              },
              [&] {
                  const bool is_new = lines_of_eth0() == wanted;
                  EXPECT_TRUE(is_new || read_file(ifcfg("eth0")) == port) << read_file(ifcfg("eth0"));
                  EXPECT_TRUE(is_new || result != 0) << "success without the change";
                  expect_old_copy(port);
              });
}

TEST_F(Calls, BridgesAndPortsAreListedInOrder)
{
    shell("ip link add br0 type bridge; ip link add br1 type bridge; ip link set eth0 master br0");
    const auto list_each = [](const std::function<int(PKLIBSZLIST *)> &call, const std::vector<std::string> &whole) {
        PKLIBSZLIST list = KLIBCSzListAlloc(0);
        int result = 0;
        fail_each([&] { return result = call(&list); }, [&] { KLIBCSzListRemoveAll(list); },
                  [&] {
                      ASSERT_LE(static_cast<size_t>(list->nItem), whole.size());
                      for (int i = 0; i < list->nItem; ++i)
                          EXPECT_EQ(whole[static_cast<size_t>(i)], KLIBCSzListGet(list, i));
                      EXPECT_TRUE(result == -1 || static_cast<size_t>(result) == whole.size()) << result;
                  });
        KLIBCSzListFree(list);
    };
    list_each([](PKLIBSZLIST *list) { return KLIBNetEnumBridge(list, NET_BRIDGE_MASTER); }, {"br0", "br1"});
    list_each([](PKLIBSZLIST *list) { return KLIBNetBridgeSlaveEnum("br0", list); }, {"eth0"});
}

constexpr char PPP_FOLDER[] = "/etc/ppp";
constexpr char SECRETS[] = "/etc/ppp/pap-secrets";
constexpr char SWITCH_FILE[] = "/etc/kavoinfo.conf";
const std::string CLIENT = "ETH=eth9\nDEFAULTROUTE=no\nUSER='old'\nMTU=1400\n";

void write_client_files()
{
    support::write_file("/etc/ppp/pppoe.conf", CLIENT);
    support::write_file(SECRETS, "'old'\t*\tbefore\n", 0600);
    support::write_file(SWITCH_FILE, "pppoe_enable=\"yes\"\n");
}

TEST_F(Calls, SecretsArePrivateAndOldOrNew)
{
    PPPoEConf conf = {};
    snprintf(conf.szEth, sizeof conf.szEth, "eth0");
    snprintf(conf.szUser, sizeof conf.szUser, "new");
    snprintf(conf.szPassword, sizeof conf.szPassword, "secret");
    snprintf(conf.szMTU, sizeof conf.szMTU, "1492");
    shell("rm -rf /etc/ppp; mkdir /etc/ppp");
    int result = 0;
    const auto failed =
        fail_each([&] { return result = PPPoEConfigSet(conf); }, write_client_files,
                  [&] {
                      const std::string now = read_file(SECRETS);
                      const bool is_new = now == "'new'\t*\tsecret\n";
                      EXPECT_TRUE(is_new || now == "'old'\t*\tbefore\n") << now;
                      EXPECT_TRUE(is_new || result != 0) << "success without the change";
                      EXPECT_EQ("-rw-------\n", shell("stat -c %A /etc/ppp/pap-secrets"));
                      EXPECT_EQ((std::vector<std::string>{"pap-secrets", "pppoe.conf"}), entries(PPP_FOLDER));
                      EXPECT_EQ(4U, support::lines_of(read_file("/etc/ppp/pppoe.conf")).size());
                  });
    for (const char *function : {"fdopen", "fflush", "fsync", "rename", "chmod", "unlink", "write", "renameat"})
        EXPECT_TRUE(failed.contains(function)) << function;
}

TEST_F(Calls, TheClientsSwitchIsWholeWhateverFails)
{
    shell("rm -rf /etc/ppp; mkdir /etc/ppp");
    record("/usr/sbin/pppoe-start", 19);
    record("/usr/sbin/pppoe-stop");
    const std::function<int()> changes[] = {[] { return KAVOPPPoEService(1); }, [] { return KAVOPPPoEService(0); },
                                            [] { return KAVOPPPoECheckStatus(1); },
                                            [] { return KLIBDisablePPPoEOnIf("eth9"); }};
    for (size_t i = 0; i < std::size(changes); ++i) {
        SCOPED_TRACE("change " + std::to_string(i));
        const auto failed = fail_each(changes[i], write_client_files, [] {
            const std::string now = read_file(SWITCH_FILE);
            EXPECT_TRUE(now == "pppoe_enable=\"yes\"\n" || now == "pppoe_enable=\"no\"\n") << now;
            std::thread([] {
                EXPECT_EQ(0, KLIBCFileLock(0x806, 0)) << "a lock was kept";
                KLIBCFileUnlock(0x800);
            }).join();
        });
        EXPECT_FALSE(failed.empty());
    }
}

TEST_F(Calls, TheNameOfThePppInterfaceIsRememberedWholeOrNotAtAll)
{
    plain_proc_net();
    support::write_file("/proc/net/dev", "one\ntwo\n ppp0: 1\n");
    record("/usr/sbin/pppoe-status", 0, "eth0 Point-to-Point");
    char address[16];
    char mask[16];
    int result = 0;
    const auto failed = fail_each(
        [&] { return result = KAVOPPPoeNetInfoGet(address, sizeof address, mask, sizeof mask); },
        [] { unlink("/tmp/kavopppoe.intf"); },
        [&] {
            const std::string now = read_file("/tmp/kavopppoe.intf");
            EXPECT_TRUE(now == "eth0" || now.empty()) << now;
            EXPECT_TRUE(result == -1 || (std::string("10.1.0.1") == address && std::string("255.255.255.0") == mask));
        });
    EXPECT_TRUE(failed.contains("write") && failed.contains("open64") && failed.contains("socket"))
        << testing::PrintToString(failed);
}

TEST_F(Calls, ARelayIsStoredWholeOrNotAtAll)
{
    constexpr char FILE[] = "/etc/sysconfig/pppoe-relay/eth0";
    const PPPoERelayConf wanted = {1, "wan0"};
    shell("rm -rf /etc/sysconfig/pppoe-relay");
    int result = 0;
    const auto set = [&] { return result = KAVONetSetPPPoERelayConfig("eth0", &wanted); };
    auto failed = fail_each(
        set, [] { shell("rm -rf /etc/sysconfig/pppoe-relay"); },
        [&] {
            const std::string now = read_file(FILE);
            EXPECT_TRUE(now.empty() || now == "enable=yes\nserver=wan0\n") << now;
            EXPECT_TRUE(!now.empty() || result != 0) << "success without the change";
            for (const std::string &name : entries("/etc/sysconfig/pppoe-relay"))
                EXPECT_EQ("eth0", name);
        });
    EXPECT_TRUE(failed.contains("mkdir") && failed.contains("KLIBCSzHashAlloc") && failed.contains("write"))
        << testing::PrintToString(failed);
    support::write_file(FILE, "enable=no\nserver=wan9\n");
    const std::function<int()> readers[] = {[] { return KAVONetApplyPPPoERelayConfig("eth0"); },
                                            [] { return KAVONetApplyPPPoERelayConfigAll(); }};
    for (const auto &reader : readers)
        fail_each(reader, nothing, [&] { EXPECT_EQ("enable=no\nserver=wan9\n", read_file(FILE)); });
    failed =
        fail_each([] { return KAVONetClearPPPoERelayConfigAll(); }, [&] { support::write_file(FILE, "enable=no\n"); },
                  [&] { EXPECT_TRUE(!support::exists(FILE) || read_file(FILE) == "enable=no\n"); });
    EXPECT_TRUE(failed.contains("unlink") && failed.contains("opendir")) << testing::PrintToString(failed);
}

// A kernel with or without the VLAN eth0.100.
void know_vlan(bool known)
{
    support::answer_ioctl([known](int, unsigned long question, void *argument) {
        if (question != SIOCGIFVLAN)
            return support::ASK_KERNEL;
        auto &request = *static_cast<vlan_ioctl_args *>(argument);
        if (!known || strcmp(request.device1, "eth0.100") != 0) {
            errno = EINVAL;
            return -1;
        }
        if (request.cmd == GET_VLAN_REALDEV_NAME_CMD)
            snprintf(request.u.device2, sizeof request.u.device2, "eth0");
        else
            request.u.VID = 100;
        return 0;
    });
}

constexpr char SETTINGS_FILE[] = "/etc/kavoinfo.conf";
constexpr char WITHOUT_VLAN[] = "eth0_mtu=\"9000\"\n";
constexpr char WITH_VLAN[] = "eth0_mtu=\"9000\"\neth0.100_mtu=\"9000\"\n";
const std::string VLAN_ROW = "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=none\nIPV6INIT=off\n";
const std::string VLAN_FILE = "DEVICE=eth0.100\nVLAN_ROW_DEVICE=eth0\nVLAN_ID=100\nONBOOT=yes\nBOOTPROTO=static\n"
                              "IPADDR=10.1.0.2\nNETMASK=255.255.255.0\n";

void leave_only(const std::set<std::string> &names)
{
    for (const std::string &name : entries(FOLDER)) {
        if (!names.contains(name))
            unlink((std::string(FOLDER) + "/" + name).c_str());
    }
}

// A temporary file stays only where its removal failed.
void expect_only(const std::set<std::string> &names)
{
    for (const std::string &name : entries(FOLDER))
        EXPECT_TRUE(names.contains(name) || std::string(failed_call()) == "unlink") << name;
}

TEST_F(Calls, AVlanIsMadeOfWholeFiles)
{
    for (const char *program : {"/etc/rc.network", "/usr/kavo/bin/kavofirewall", "/usr/kavo/bin/tctool"})
        record(program);
    know_vlan(false);
    const KAVONETINFO address = ::record(true, "10.1.0.2");
    int result = 0;
    const auto failed =
        fail_each([&] { return result = KLIBNetVlanCreate("eth0", 100, &address); },
                  [] {
                      leave_only({"ifcfg-eth0"});
                      write_ifcfg("eth0", STATIC);
                      support::write_file(SETTINGS_FILE, WITHOUT_VLAN);
                  },
                  [&] {
                      const std::string row = read_file(ifcfg("eth0"));
                      const bool has_vlan = support::exists(ifcfg("eth0.100"));
                      EXPECT_TRUE(row == STATIC || row == VLAN_ROW) << row;
                      EXPECT_TRUE(!has_vlan || (row == VLAN_ROW && read_file(ifcfg("eth0.100")) == VLAN_FILE))
                          << read_file(ifcfg("eth0.100"));
                      EXPECT_TRUE(has_vlan || result != 0) << "success without the change";
                      const std::string settings = read_file(SETTINGS_FILE);
                      // An interface that cannot be asked counts as stored.
                      const bool asked = std::string(failed_call()) != "socket";
                      EXPECT_TRUE(settings == WITH_VLAN || (settings == WITHOUT_VLAN && (row == STATIC || !asked)))
                          << settings;
                      expect_only({"ifcfg-eth0", "ifcfg-eth0.100"});
                  });
    for (const char *call : {"KLIBCFileTempFileOpen", "KLIBCExecl", "KLIBPluginSDKInit", "KLIBPluginAction", "fopen64",
                             "rename", "fsync", "socket"})
        EXPECT_TRUE(failed.contains(call)) << call << " is not among " << testing::PrintToString(failed);
}

TEST_F(Calls, AVlanGoesWithWholeFiles)
{
    for (const char *program : {"/etc/rc.network", "/usr/kavo/bin/kavofirewall", "/usr/kavo/bin/tctool"})
        record(program);
    know_vlan(true);
    const std::string new_row = "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.1.0.2\nNETMASK=255.255.255.0\n";
    int result = 0;
    const auto failed = fail_each([&] { return result = KLIBNetVlanRemove("eth0.100"); },
                                  [] {
                                      leave_only({});
                                      write_ifcfg("eth0", VLAN_ROW);
                                      write_ifcfg("eth0.100", VLAN_FILE);
                                      support::write_file(SETTINGS_FILE, WITH_VLAN);
                                  },
                                  [&] {
                                      const std::string row = read_file(ifcfg("eth0"));
                                      const bool has_vlan = support::exists(ifcfg("eth0.100"));
                                      EXPECT_TRUE(row == VLAN_ROW || row == new_row) << row;
                                      EXPECT_TRUE(!has_vlan || read_file(ifcfg("eth0.100")) == VLAN_FILE);
                                      EXPECT_TRUE(has_vlan || row == new_row) << "the address is lost";
                                      EXPECT_TRUE(row == new_row || result != 0) << "success without the change";
                                      const std::string settings = read_file(SETTINGS_FILE);
                                      EXPECT_TRUE(settings == WITH_VLAN || settings == WITHOUT_VLAN) << settings;
                                      expect_only({"ifcfg-eth0", "ifcfg-eth0.100"});
                                  });
    for (const char *call : {"KLIBCFileTempFileOpen", "KLIBCExecl", "KLIBCINFORemoveKey", "KLIBPluginAction", "fopen64",
                             "rename", "fsync", "unlink"})
        EXPECT_TRUE(failed.contains(call)) << call << " is not among " << testing::PrintToString(failed);
}

TEST_F(Calls, LocalLansAreListedInOrder)
{
    support::write_file("/etc.defaults/kavoinfo.conf", "local_lan=\"lbr0 eth1\"\n");
    const auto is_listed = [](const KLIBSZLIST *list, int i, const char *name) {
        return list->nItem <= i || strcmp(KLIBCSzListGet(list, i), name) == 0;
    };
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    int result = 0;
    const auto failed = fail_each([&] { return result = KLIBNetGetLocalLanConfig(&list); }, nothing,
                                  [&] {
                                      EXPECT_TRUE(result == -1 || (result == 2 && list->nItem == 2));
                                      EXPECT_TRUE(is_listed(list, 0, "lbr0") && is_listed(list, 1, "eth1"));
                                  });
    EXPECT_TRUE(failed.contains("KLIBCSzListPush"));
    KLIBCSzListFree(list);
}

TEST_F(Calls, AProbeThatIsNotMadeIsNoConflict)
{
    record("/sbin/arping", 1);
    shell("ip address add 10.1.0.3/24 dev eth0p");
    struct Lists {
        PKLIBSZLIST names = KLIBCSzListAlloc(2);
        Lists()
        {
            KLIBCSzListPush(&names, "eth0");
            KLIBCSzListPush(&names, "eth0p");
        }
        ~Lists() { KLIBCSzListFree(names); }
        Lists(const Lists &) = delete;
        Lists &operator=(const Lists &) = delete;
    } lists;
    int result = 0;
    const auto asked = [&] { return result = KAVOIIpConflict("eth0", "10.1.0.9"); };
    const auto failed = fail_each(asked, nothing, [&] {
        const std::string function = failed_call();
        if (function == "KLIBCSzListAlloc" || function == "KLIBCSzListPush") {
            EXPECT_EQ(-1, result);
        }
        if (function == "KLIBCExecv") {
            EXPECT_EQ(0, result);
        }
    });
    EXPECT_TRUE(failed.contains("KLIBCSzListAlloc") && failed.contains("KLIBCSzListPush") &&
                failed.contains("KLIBCExecv") && failed.contains("socket"))
        << testing::PrintToString(failed);
    // Of two, the other is still asked for.
    fail_each([&] { return result = IpConflictDetectInternal(lists.names, nullptr, nullptr); }, nothing,
              [&] { EXPECT_EQ(1, result); });
}

TEST_F(Calls, BondsAndMembersAreOnlyRead)
{
    char member[16];
    fail_each([&] { return KAVONetBondIPConflict("eth0", member, sizeof member); }, nothing,
              [] { EXPECT_EQ(STATIC, read_file(ifcfg("eth0"))); });
}

TEST_F(Calls, DiagnosticsKeepNoDescriptor)
{
    record("/usr/local/bin/nmblookup", 0, "127.0.0.1 printer<00>");
    record("/usr/sbin/dhclient");
    record("/usr/kavo/sbin/ddnsd");
    support::write_file("/run/ddns/externalIP.result", "externalIP=203.0.113.7\n");
    shell("ip link set lo up");
    int ports[8];
    int count = 8;
    LookupIPEntry found[4];
    const EtherWakeTarget target = {{2, 0, 0, 0, 0, 1}, "eth0"};
    const auto external = [] {
        char *address = KAVOExternalIPGet();
        const bool is_whole = address == nullptr || strcmp(address, "203.0.113.7") == 0;
        free(address);
        return is_whole ? 0 : -1;
    };
    const std::function<int()> diagnostics[] = {
        [&] { return KAVONetIsPortRangeUsed(1, 65535, 1); },
        [&] { return KAVONetGetPortUsedInRange(ports, &(count = 8), 1, 65535, 1); },
        [&] { return KAVONetLookupIP("printer", found, 4, 1); },
        [&] { return BlKLIBIsConnected("printer", 9, 1); },
        [&] { return KLIBNetEtherWake(&target); },
        [&] { return external(); },
        [&] {
            KAVONETINFO info = ::record(false, "");
            return KAVOIGetDHCPTestNetInfo(&info);
        },
    };
    for (size_t i = 0; i < std::size(diagnostics); ++i) {
        SCOPED_TRACE("diagnostic " + std::to_string(i));
        const auto failed = fail_each(diagnostics[i], nothing, [] { EXPECT_EQ(STATIC, read_file(ifcfg("eth0"))); });
        EXPECT_FALSE(failed.empty());
    }
}

// A bond over eth0 and eth1, whose files change together.
class BondCalls : public Calls {
protected:
    static constexpr char DRIVER[] = "/sys/class/net/bond0/bonding";
    const std::string SECOND = "DEVICE=eth1\nONBOOT=yes\nBOOTPROTO=dhcp\n";

    void SetUp() override
    {
        Calls::SetUp();
        if (IsSkipped())
            return;
        plain_sys();
        // What is written down would grow with each failure.
        for (const char *program : {"/etc/rc.network", "/usr/kavo/sbin/kavostoragecore"})
            support::write_file(program, "#!/bin/sh\n", 0755);
    }

    static KAVOLINKAGGROPT bond_of(int mode)
    {
        KAVOLINKAGGROPT bond = {};
        snprintf(bond.szIfname, sizeof bond.szIfname, "bond0");
        bond.mode = mode;
        bond.nSlave = 2;
        snprintf(bond.szSlave[0], sizeof bond.szSlave[0], "eth0");
        snprintf(bond.szSlave[1], sizeof bond.szSlave[1], "eth1");
        return bond;
    }

    void reset_to_ports() const
    {
        for (const std::string &name : entries(FOLDER))
            unlink((std::string(FOLDER) + "/" + name).c_str());
        write_ifcfg("eth0", STATIC);
        write_ifcfg("eth1", SECOND);
    }

    static bool is_member(const std::string &file)
    {
        return file.find("\nMASTER=bond0\nSLAVE=yes\n") != std::string::npos;
    }

    static std::string without_method(const std::string &file)
    {
        const size_t begin = file.find("BOOTPROTO=");
        return begin == std::string::npos ? file + "?" : file.substr(0, begin) + file.substr(file.find('\n', begin));
    }

    static void expect_no_temporaries()
    {
        for (const std::string &name : entries(FOLDER))
            EXPECT_EQ(0U, name.rfind("ifcfg-", 0)) << name;
    }
};

TEST_F(BondCalls, ABondIsCreatedWholeOrItsPortsStayAsTheyWere)
{
    int result = 0;
    const auto failed = fail_each(
        [&] {
            KAVOLINKAGGROPT bond = bond_of(4);
            return result = KAVONetLinkAggrSet(&bond);
        },
        [&] { reset_to_ports(); },
        [&] {
            const std::string first = read_file(ifcfg("eth0"));
            const std::string second = read_file(ifcfg("eth1"));
            const bool is_new = is_member(first) && is_member(second) &&
                                read_file(ifcfg("bond0")).find("\nBONDING_OPTS=\"mode=1 ") != std::string::npos;
            EXPECT_TRUE(is_new || (result != 0 && first == STATIC && second == SECOND)) << result << first << second;
            EXPECT_TRUE(is_new || !support::exists(ifcfg("bond0")));
            expect_no_temporaries();
        });
    EXPECT_TRUE(failed.contains("write") && failed.contains("fsync") && failed.contains("renameat") &&
                failed.contains("KLIBCFileSetKeys") && failed.contains("KLIBPluginAction"))
        << testing::PrintToString(failed);
}

TEST_F(BondCalls, ARemovedBondFreesItsPortsOrKeepsItsFile)
{
    KAVOLINKAGGROPT made = bond_of(4);
    reset_to_ports();
    ASSERT_EQ(0, KAVONetLinkAggrSet(&made));
    const std::string master = read_file(ifcfg("bond0"));
    const std::string first = read_file(ifcfg("eth0"));
    const std::string second = read_file(ifcfg("eth1"));
    support::write_file(std::string(DRIVER) + "/slaves", "eth0 eth1\n");
    support::write_file(std::string(DRIVER) + "/mode", "active-backup 1\n");
    int result = 0;
    fail_each(
        [&] {
            KAVOLINKAGGROPT bond = bond_of(0);
            return result = KAVONetLinkAggrSet(&bond);
        },
        [&] {
            reset_to_ports();
            write_ifcfg("bond0", master);
            write_ifcfg("eth0", first);
            write_ifcfg("eth1", second);
        },
        [&] {
            const std::string other = read_file(ifcfg("eth1"));
            if (support::exists(ifcfg("bond0"))) {
                EXPECT_NE(0, result) << "success with the bond's file";
                EXPECT_EQ(master, read_file(ifcfg("bond0")));
                EXPECT_EQ(second, other);
            } else {
                // A method that cannot be read counts as missing and gets another one.
                const std::string freed = read_file(ifcfg("eth0"));
                EXPECT_EQ(without_method(STATIC), without_method(freed));
                EXPECT_EQ(without_method(SECOND), without_method(other));
                EXPECT_THAT(freed + other, testing::Not(testing::HasSubstr("none")));
            }
            expect_no_temporaries();
        });
}

TEST_F(BondCalls, BondsAreCountedOrNot)
{
    support::write_file("/sys/class/net/bonding_masters", "bond0\n");
    support::write_file(std::string(DRIVER) + "/slaves", "eth0 eth1\n");
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    int result = 0;
    const auto failed =
        fail_each([&] { return result = KAVONetLinkAggrEnum(&list); }, [&] { KLIBCSzListRemoveAll(list); },
                  [&] {
                      // A driver that cannot be asked is as good as none.
                      EXPECT_TRUE(result == 1 || result == 0 || result == -1) << result;
                      EXPECT_TRUE(list->nItem == 0 || result == 1);
                  });
    EXPECT_TRUE(failed.contains("KLIBCSzListAlloc") && failed.contains("KLIBCSzListPush"));
    KLIBCSzListFree(list);
}

} // namespace
