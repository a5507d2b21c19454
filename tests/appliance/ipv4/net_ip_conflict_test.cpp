#include <functional>
#include <memory>

#include "appliance/ipv4/ipv4_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ip_conflict.cpp";
constexpr char ARPING[] = "/sbin/arping";

// What the callback was told, "eth0 192.0.2.9".
std::vector<std::string> told;

void tell(const char *name, const char *address)
{
    told.push_back(std::string(name) + " " + address);
}

class Conflict : public Ipv4Test {
protected:
    static constexpr char WARNING[] = "There are over the maximum number (16) support of physical interfaces for IP "
                                      "conflict detection.";

    void SetUp() override
    {
        Ipv4Test::SetUp();
        if (IsSkipped())
            return;
        told.clear();
        record(ARPING);
        has_address("eth0", "192.0.2.1", "255.255.255.0");
        has_address("eth1", "198.51.100.1", "255.255.255.0");
    }

    // The call that one probe makes.
    static std::string probe(const std::string &name, const std::string &address, const std::string &filter = " [-F]")
    {
        return "[/sbin/arping] [-D] [-q] [-w] [3] [-c] [3] [-I] [" + name + "] [" + address + "]" + filter;
    }

    // arping ends with a status of its own for each address.
    static void answer(const std::map<std::string, int> &statuses)
    {
        std::string body = "record_call \"$0\" \"$@\"\ncase ${9} in\n";
        for (const auto &[address, status] : statuses)
            body += address + ") exit " + std::to_string(status) + " ;;\n";
        script(ARPING, body + "esac\nexit 0");
    }

    static void own_ports_answer_for_themselves_only()
    {
        support::write_file("/etc/kavoinfo.conf", "arp_ignore=\"yes\"\n");
    }

    struct FreeList {
        void operator()(PKLIBSZLIST list) const { KLIBCSzListFree(list); }
    };
    using List = std::unique_ptr<KLIBSZLIST, FreeList>;

    static List list_of(const std::vector<std::string> &items)
    {
        PKLIBSZLIST list = KLIBCSzListAlloc(0);
        for (const std::string &item : items)
            KLIBCSzListPush(&list, item.c_str());
        return List(list);
    }

    static int detect(const std::vector<std::string> &names, const std::vector<std::string> &addresses)
    {
        return IpConflictDetectInternal(list_of(names).get(), list_of(addresses).get(), tell);
    }

    static int detect_current(const std::vector<std::string> &names)
    {
        return IpConflictDetectInternal(list_of(names).get(), nullptr, tell);
    }

    static int count_of(const std::string &message)
    {
        return static_cast<int>(std::count_if(log_lines().begin(), log_lines().end(), [&](const auto &line) {
            return line.text.find(message) != std::string::npos;
        }));
    }
};

// ---- one interface and one address

class IpConflict : public Conflict {
protected:
    static int conflict(const char *address = "192.0.2.9", const char *name = "eth0")
    {
        return KAVOIIpConflict(name, address);
    }
};

TEST_F(IpConflict, NobodyAnswers)
{
    EXPECT_EQ(0, conflict());
    EXPECT_THAT(calls(), ElementsAre(probe("eth0", "192.0.2.9")));
    EXPECT_EQ(LOG_DEBUG, logged_in(FILE_NAME, "192.0.2.9 is not conflict at eth0"));
    EXPECT_EQ(1U, log_lines().size());
}

TEST_F(IpConflict, AnAnswerIsAConflict)
{
    record(ARPING, 1);
    EXPECT_EQ(1, conflict());
    EXPECT_THAT(calls(), ElementsAre(probe("eth0", "192.0.2.9")));
    EXPECT_EQ(LOG_DEBUG, support::logged_bare("192.0.2.9 is conflict at eth0"));
    EXPECT_EQ(1U, log_lines().size());
}

TEST_F(IpConflict, TheInterfacesOwnAddressIsNotProbed)
{
    record(ARPING, 1);
    EXPECT_EQ(0, conflict("192.0.2.1"));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(1, conflict("192.0.2.1", "eth1")) << "another interface's address is";
    EXPECT_THAT(calls(), ElementsAre(probe("eth1", "192.0.2.1")));
}

TEST_F(IpConflict, AddressesAreComparedAsText)
{
    EXPECT_EQ(0, conflict("192.0.2.01"));
    EXPECT_THAT(calls(), ElementsAre(probe("eth0", "192.0.2.01")));
}

TEST_F(IpConflict, AnInterfaceWithoutAnAddressHasTheAllZeroOne)
{
    record(ARPING, 1);
    has_address("eth0", "", "");
    EXPECT_EQ(0, conflict("0.0.0.0"));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(1, conflict("192.0.2.1"));
    EXPECT_THAT(calls(), ElementsAre(probe("eth0", "192.0.2.1")));
}

TEST_F(IpConflict, ACurrentAddressThatCannotBeReadIsAFailure)
{
    fail_call("socket");
    EXPECT_EQ(-1, conflict());
    EXPECT_EQ(LOG_ERR, logged_by("KAVOIIpConflict", "KAVOILnxGetIP failed.(3400)"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_TRUE(support::is_set_in("net_lnx_get_ip.cpp", NET_ERR_SOCKET_FAILED));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(IpConflict, WithoutMemoryNothingIsProbed)
{
    for (const int n : {1, 2}) {
        clear();
        fail_call("KLIBCSzListAlloc", n);
        EXPECT_EQ(-1, conflict()) << n;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to alloc list."));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
    }
    for (const int n : {1, 2}) {
        clear();
        fail_call("KLIBCSzListPush", n);
        EXPECT_EQ(-1, conflict()) << n;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to settle parameters."));
        EXPECT_EQ(1U, log_lines().size());
        expect_no_code_of_ours();
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(0, conflict());
}

TEST_F(IpConflict, AnAddressThatIsNoneIsPassedOver)
{
    record(ARPING, 1);
    for (const char *address : {"192.0.2", "192.0.2.256", "127.0.0.1", "224.0.0.1", "192.0.2.9/24", "192.0.2.9 ",
                                "192.0.2.9\n", "-I", "$(reboot)", "::1", "host.test"}) {
        clear();
        EXPECT_EQ(0, conflict(address)) << address;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("[") + address + "] is not a valid IP address for eth0"));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_THAT(calls(), IsEmpty());
    }
}

TEST_F(IpConflict, RefusesBadArguments)
{
    const auto expect_refused = [](const char *name, const char *address) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOIIpConflict(name, address)) << (name == nullptr ? "null" : name);
        EXPECT_EQ((support::Error{NET_ERR_BAD_PARAMETER, FILE_NAME, 54}), last_error());
    };
    expect_refused(nullptr, "192.0.2.9");
    expect_refused("eth0", nullptr);
    expect_refused("eth0", "");
    expect_refused(nullptr, nullptr);
    expect_refused(support::NAME_OF_16, "192.0.2.9");
    expect_refused(support::NAME_OF_17, "192.0.2.9");
    for (const std::string &name : support::hostile_names())
        expect_refused(name.c_str(), "192.0.2.9");
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(0, conflict("192.0.2.9", support::NAME_OF_15));
    EXPECT_THAT(calls(), ElementsAre(probe(support::NAME_OF_15, "192.0.2.9")));
}

TEST_F(IpConflict, NamesAreArgumentsAsTheyStand)
{
    EXPECT_EQ(0, conflict("192.0.2.9", "$(id)\"';"));
    EXPECT_EQ(0, conflict("192.0.2.9", "-V"));
    EXPECT_THAT(calls(), ElementsAre(probe("$(id)\"';", "192.0.2.9"), probe("-V", "192.0.2.9")));
}

// ---- lists

class IpConflictList : public Conflict {};

TEST_F(IpConflictList, EachInterfaceIsAskedForItsAddress)
{
    EXPECT_EQ(0, detect({"eth0", "eth1", "eth0"}, {"192.0.2.7", "192.0.2.8", "192.0.2.9"}));
    EXPECT_THAT(calls(),
                ElementsAre(probe("eth0", "192.0.2.7"), probe("eth1", "192.0.2.8"), probe("eth0", "192.0.2.9")));
    EXPECT_THAT(told, IsEmpty());
    EXPECT_EQ(3U, log_lines().size());
    EXPECT_EQ(LOG_DEBUG, logged_in(FILE_NAME, "192.0.2.8 is not conflict at eth1"));
}

TEST_F(IpConflictList, EveryConflictIsToldAndTheOthersAreStillAsked)
{
    answer({{"192.0.2.6", 1}, {"192.0.2.8", 1}});
    EXPECT_EQ(1, detect({"eth0", "eth1", "eth0", "eth1"}, {"192.0.2.6", "192.0.2.7", "192.0.2.8", "192.0.2.9"}));
    EXPECT_EQ(4U, calls().size());
    EXPECT_THAT(told, ElementsAre("eth0 192.0.2.6", "eth0 192.0.2.8"));
    EXPECT_EQ(2U, log_lines().size()) << "a conflict is the caller's to log";
}

TEST_F(IpConflictList, TheCallbackMayBeLeftOut)
{
    record(ARPING, 1);
    EXPECT_EQ(1, IpConflictDetectInternal(list_of({"eth0"}).get(), list_of({"192.0.2.9"}).get(), nullptr));
    EXPECT_EQ(1, IpConflictDetectInternal(list_of({"eth0"}).get(), nullptr, nullptr));
}

TEST_F(IpConflictList, WithoutAddressesTheCurrentOnesAreAskedFor)
{
    answer({{"198.51.100.1", 1}});
    EXPECT_EQ(1, detect_current({"eth0", "eth1"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth0", "192.0.2.1"), probe("eth1", "198.51.100.1")));
    EXPECT_THAT(told, ElementsAre("eth1 198.51.100.1"));
}

TEST_F(IpConflictList, AnInterfaceWithoutAnAddressIsAskedForTheAllZeroOne)
{
    has_address("eth0", "", "");
    EXPECT_EQ(0, detect_current({"eth0"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth0", "0.0.0.0")));
}

TEST_F(IpConflictList, AnAddressThatCannotBeReadIsPassedOver)
{
    record(ARPING, 1);
    fail_call("socket", 2); // the first one asks for the own ports
    EXPECT_EQ(1, detect_current({"eth0", "eth1"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth1", "198.51.100.1")));
    EXPECT_THAT(told, ElementsAre("eth1 198.51.100.1"));
    EXPECT_EQ(LOG_ERR, support::logged("net_ip_conflict\\.cpp:[0-9]+ IpConflictDetectInternal\\([0-9]+\\) "
                                       "KAVOILnxGetIP failed\\.\\(3400\\)"));
}

TEST_F(IpConflictList, WhatIsNoAddressIsPassedOver)
{
    record(ARPING, 1);
    EXPECT_EQ(1, detect({"eth0", "eth1", "eth0"}, {"192.0.2.300", "192.0.2.8", ""}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth1", "192.0.2.8")));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "[192.0.2.300] is not a valid IP address for eth0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "[] is not a valid IP address for eth0"));
    EXPECT_EQ(2U, log_lines().size());
}

TEST_F(IpConflictList, EveryResultOfArpingIsToldApart)
{
    answer({{"192.0.2.1", 1}, {"192.0.2.2", 2}, {"192.0.2.3", 3}, {"192.0.2.4", 127}, {"192.0.2.5", 255}});
    EXPECT_EQ(0, detect({"eth0"}, {"192.0.2.2"}));
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "Invalid parameter to execute arping for 192.0.2.2 at eth0"));
    EXPECT_EQ(0, detect({"eth0", "eth1", "eth0"}, {"192.0.2.3", "192.0.2.4", "192.0.2.5"}));
    for (const char *status : {"3", "127", "255"})
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Unknown return value [") + status + "] from arping"));
    EXPECT_EQ(4U, log_lines().size());
    EXPECT_THAT(told, IsEmpty());
    EXPECT_EQ(1, detect({"eth0", "eth0", "eth0"}, {"192.0.2.2", "192.0.2.1", "192.0.2.3"}))
        << "the next is still asked";
}

TEST_F(IpConflictList, AnArpingThatIsKilledIsUnknown)
{
    script(ARPING, "kill -9 $$");
    EXPECT_EQ(0, detect({"eth0"}, {"192.0.2.9"}));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Unknown return value [137] from arping"));
}

TEST_F(IpConflictList, AnArpingThatCannotBeRunIsNoConflict)
{
    ASSERT_EQ(0, unlink(ARPING));
    EXPECT_EQ(0, detect({"eth0", "eth1"}, {"192.0.2.8", "192.0.2.9"}));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to execute arping for 192.0.2.8 at eth0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to execute arping for 192.0.2.9 at eth1"));
    EXPECT_EQ(2U, log_lines().size());
    record(ARPING, 1);
    fail_call("KLIBCExecv", 1);
    EXPECT_EQ(1, detect({"eth0", "eth1"}, {"192.0.2.8", "192.0.2.9"}));
    EXPECT_THAT(told, ElementsAre("eth1 192.0.2.9"));
}

TEST_F(IpConflictList, NamesThatNoInterfaceHasReachNoCommand)
{
    record(ARPING, 1);
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        clear();
        EXPECT_EQ(0, detect({name}, {"192.0.2.9"})) << name;
        EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "Invalid parameter to execute arping for 192.0.2.9 at " + name));
        EXPECT_EQ(NET_ERR_BAD_PARAMETER, KLIBCErrGet()) << name;
        EXPECT_EQ(0, detect_current({name})) << name;
        EXPECT_THAT(calls(), IsEmpty());
    }
    EXPECT_EQ(1, detect({"..", "eth0"}, {"192.0.2.9", "192.0.2.9"})) << "the next is still asked";
    EXPECT_THAT(told, ElementsAre("eth0 192.0.2.9"));
}

TEST_F(IpConflictList, EmptyListsAreNothingToDo)
{
    EXPECT_EQ(0, detect({}, {}));
    EXPECT_EQ(0, detect_current({}));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(IpConflictList, RefusesListsThatDoNotFit)
{
    EXPECT_EQ(-1, IpConflictDetectInternal(nullptr, nullptr, tell));
    EXPECT_EQ((support::Error{NET_ERR_BAD_PARAMETER, FILE_NAME, 199}), last_error());
    support::clear_error();
    EXPECT_EQ(-1, IpConflictDetectInternal(nullptr, list_of({"192.0.2.9"}).get(), tell));
    EXPECT_EQ((support::Error{NET_ERR_BAD_PARAMETER, FILE_NAME, 199}), last_error());
    const std::vector<std::vector<std::string>> others = {{}, {"192.0.2.9"}, {"192.0.2.7", "192.0.2.8", "192.0.2.9"}};
    for (const auto &addresses : others) {
        support::clear_error();
        EXPECT_EQ(-1, detect({"eth0", "eth1"}, addresses));
        EXPECT_EQ((support::Error{NET_ERR_BAD_PARAMETER, FILE_NAME, 206}), last_error());
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

// ---- the own ports

class IpConflictOwnPorts : public Conflict {
protected:
    // Real cards with known hardware addresses; their other ends have names of another kind.
    static void add_ports(const std::vector<std::string> &names)
    {
        std::string commands;
        for (size_t i = 0; i < names.size(); ++i)
            commands += "ip link add name " + names[i] + " address " + mac(i, ":") + " type veth peer name o" +
                        std::to_string(i) + "\n";
        shell(commands);
    }

    static std::string mac(size_t i, const char *separator = "")
    {
        char text[24];
        snprintf(text, sizeof text, "02%sab%s00%s00%s00%s%02zx", separator, separator, separator, separator, separator,
                 i + 0xa0);
        return text;
    }

    static std::string filter(const std::vector<size_t> &ports)
    {
        std::string words = " [-F]";
        for (const size_t i : ports)
            words += " [" + mac(i) + "]";
        return words;
    }
};

TEST_F(IpConflictOwnPorts, AreLeftOutOfTheAnswers)
{
    add_ports({"eth10", "eth2", "lan0", "weth0", "ethernet", "eth2.5"});
    EXPECT_EQ(0, detect({"eth7", "eth8"}, {"192.0.2.8", "192.0.2.9"}));
    const std::string ports = filter({1, 5, 0, 4}); // as interfaces are listed: eth2, eth2.5, eth10, ethernet
    EXPECT_THAT(calls(), ElementsAre(probe("eth7", "192.0.2.8", ports), probe("eth8", "192.0.2.9", ports)));
}

TEST_F(IpConflictOwnPorts, OfAnyFurtherThanSixteenThereIsAWarning)
{
    std::vector<std::string> names;
    std::vector<size_t> ports;
    for (size_t i = 0; i < 16; ++i) {
        names.push_back("eth" + std::to_string(i));
        ports.push_back(i);
    }
    add_ports(names);
    EXPECT_EQ(0, detect({"eth30"}, {"192.0.2.9"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth30", "192.0.2.9", filter(ports))));
    EXPECT_EQ(0, count_of(WARNING));

    clear();
    shell("for i in 16 17 18 19; do ip link add eth$i type veth peer name o$i; done");
    EXPECT_EQ(0, detect({"eth30", "eth31"}, {"192.0.2.8", "192.0.2.9"}));
    EXPECT_THAT(calls(),
                ElementsAre(probe("eth30", "192.0.2.8", filter(ports)), probe("eth31", "192.0.2.9", filter(ports))));
    EXPECT_EQ(LOG_WARNING, logged_in(FILE_NAME, WARNING));
    EXPECT_EQ(1, count_of(WARNING));
}

TEST_F(IpConflictOwnPorts, AnAddressThatCannotBeReadIsLeftOut)
{
    add_ports({"eth2", "eth3", "eth4"});
    support::answer_ioctl([](int, unsigned long question, void *argument) {
        if (question != SIOCGIFHWADDR || strcmp(static_cast<ifreq *>(argument)->ifr_name, "eth3") != 0)
            return support::ASK_KERNEL;
        errno = ENODEV;
        return -1;
    });
    EXPECT_EQ(0, detect({"eth2"}, {"192.0.2.9"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth2", "192.0.2.9", filter({0, 2}))));
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "Failed to get MAC address for eth3"));
}

TEST_F(IpConflictOwnPorts, OneWhoseAddressCannotBeReadIsNoneOfTheSixteen)
{
    std::vector<std::string> names;
    std::vector<size_t> ports;
    for (size_t i = 0; i < 17; ++i) {
        names.push_back("eth" + std::to_string(i));
        if (i != 3)
            ports.push_back(i);
    }
    add_ports(names);
    support::answer_ioctl([](int, unsigned long question, void *argument) {
        if (question != SIOCGIFHWADDR || strcmp(static_cast<ifreq *>(argument)->ifr_name, "eth3") != 0)
            return support::ASK_KERNEL;
        errno = ENODEV;
        return -1;
    });
    EXPECT_EQ(0, detect({"eth30"}, {"192.0.2.9"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth30", "192.0.2.9", filter(ports))));
    EXPECT_EQ(0, count_of(WARNING));
}

TEST_F(IpConflictOwnPorts, AllAreLeftOutWithoutASocket)
{
    add_ports({"eth2", "eth3"});
    fail_call("socket", 1);
    EXPECT_EQ(0, detect({"eth2"}, {"192.0.2.9"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth2", "192.0.2.9")));
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "Failed to get MAC address for eth2"));
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "Failed to get MAC address for eth3"));
}

TEST_F(IpConflictOwnPorts, NoneAreKnownWithoutTheKernelsTable)
{
    add_ports({"eth2"});
    plain_proc_net();
    EXPECT_EQ(0, detect({"eth2"}, {"192.0.2.9"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth2", "192.0.2.9")));
    clear();
    fail_call("calloc", 1);
    EXPECT_EQ(0, detect({"eth2"}, {"192.0.2.9"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth2", "192.0.2.9")));
}

TEST_F(IpConflictOwnPorts, AreNotLookedAtWhereTheyAnswerForThemselvesOnly)
{
    add_ports({"eth2", "eth3"});
    own_ports_answer_for_themselves_only();
    EXPECT_EQ(0, detect({"eth2"}, {"192.0.2.9"}));
    EXPECT_EQ(0, KAVOIIpConflict("eth0", "192.0.2.8"));
    EXPECT_EQ(0, detect_current({"eth1"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth2", "192.0.2.9", ""), probe("eth0", "192.0.2.8", ""),
                                     probe("eth1", "198.51.100.1", "")));
    int asked = 0;
    support::answer_ioctl([&](int, unsigned long question, void *) {
        asked += question == SIOCGIFHWADDR ? 1 : 0;
        return support::ASK_KERNEL;
    });
    EXPECT_EQ(0, detect({"eth2"}, {"192.0.2.9"}));
    EXPECT_EQ(0, asked);
}

TEST_F(IpConflictOwnPorts, AreLeftOutUnderEveryOtherSetting)
{
    add_ports({"eth2"});
    for (const char *setting : {"", "arp_ignore=\"no\"\n", "arp_ignore=\"YES\"\n", "arp_ignore=\"yes, please do so\"\n",
                                "arp_ignore=\"ye\"\n", "arp_ignore=\n", "my_arp_ignore=\"yes\"\n"}) {
        clear();
        support::write_file("/etc/kavoinfo.conf", setting);
        EXPECT_EQ(0, detect({"eth2"}, {"192.0.2.9"}));
        EXPECT_THAT(calls(), ElementsAre(probe("eth2", "192.0.2.9", filter({0})))) << setting;
    }
    ASSERT_EQ(0, unlink("/etc/kavoinfo.conf"));
    clear();
    EXPECT_EQ(0, detect({"eth2"}, {"192.0.2.9"}));
    EXPECT_THAT(calls(), ElementsAre(probe("eth2", "192.0.2.9", filter({0}))));
}

} // namespace
