#include "appliance/resolve/route_test.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {

constexpr char FILE_NAME[] = "net_routetable_check.cpp";

class RoutetableCheck : public RouteTest {
protected:
    // The kernel tells of a link a little after its cable changes.
    static void await(const std::string &name, const std::string &state)
    {
        shell("until grep -q " + state + " /sys/class/net/" + name + "/operstate; do sleep 0.01; done");
    }

    static void plug_in(const std::string &name)
    {
        shell("/bin/ip link set " + name + "p up");
        await(name, "up");
        await(name + "p", "up");
    }

    // A card without carrier: its peer is down.
    static void add_dead_card(const std::string &name, const std::string &address)
    {
        add_card(name);
        shell("/bin/ip link set " + name + "p down");
        await(name, "down");
        write_ifcfg(name, "BOOTPROTO=static\nIPADDR=" + address + "\nNETMASK=255.255.255.0\n");
    }

    static std::string clear_call(const char *subnet, const char *device, const char *source)
    {
        return std::string("[/sbin/ip] [route] [del] [") + subnet + "] [dev] [" + device + "] [src] [" + source + "]";
    }

    static std::string clear_eth0() { return clear_call("192.0.2.0/24", "eth0", "192.0.2.5"); }
    static std::string clear_eth1() { return clear_call("198.51.100.0/24", "eth1", "198.51.100.5"); }

    static void add_two_dead_cards()
    {
        add_dead_card("eth0", "192.0.2.5");
        add_dead_card("eth1", "198.51.100.5");
    }

    static void expect_failure(const std::string &message)
    {
        EXPECT_EQ(-1, NetRoutetableCheck());
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
        EXPECT_THAT(calls(), IsEmpty());
    }
};

TEST_F(RoutetableCheck, ClearsTheRoutesOfAllInterfaces)
{
    add_two_dead_cards();
    EXPECT_EQ(0, NetRoutetableCheck());
    EXPECT_THAT(calls(), ElementsAre(clear_eth0(), clear_eth1()));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(RoutetableCheck, AnInterfaceWithCarrierKeepsItsRoute)
{
    add_two_dead_cards();
    plug_in("eth1");
    EXPECT_EQ(0, NetRoutetableCheck());
    EXPECT_THAT(calls(), ElementsAre(clear_eth0()));
    clear();
    plug_in("eth0");
    EXPECT_EQ(0, NetRoutetableCheck());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(RoutetableCheck, ASingleInterfaceKeepsItsRoute)
{
    add_dead_card("eth0", "192.0.2.5");
    EXPECT_EQ(0, NetRoutetableCheck());
    EXPECT_THAT(calls(), IsEmpty());
    // Nor is its configuration looked at.
    ASSERT_EQ(0, unlink(ifcfg("eth0").c_str()));
    EXPECT_EQ(0, NetRoutetableCheck());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(RoutetableCheck, WithoutInterfacesItFails)
{
    expect_failure("No interface.");
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(RoutetableCheck, AFailedListIsAFailure)
{
    add_two_dead_cards();
    plain_proc_net(); // without the kernel's list
    expect_failure("Get interface info fail.");
    EXPECT_STRNE(FILE_NAME, KLIBCErrorGetFile()) << "the lister's record stays";
}

TEST_F(RoutetableCheck, TheFirstFailureEndsTheWalk)
{
    add_two_dead_cards();
    add_dead_card("eth2", "203.0.113.5");
    write_ifcfg("eth1", "BOOTPROTO=static\n");
    EXPECT_EQ(-1, NetRoutetableCheck());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "NetRoutetableHandler clear [eth1] route table fail"));
    EXPECT_EQ(2U, log_lines().size());
    EXPECT_THAT(calls(), ElementsAre(clear_eth0()));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(RoutetableCheck, InterfacesWithoutRoutesOfTheirOwnArePassedOver)
{
    add_two_dead_cards();
    // Listed, but no usable interface: a point-to-point link.
    shell("/bin/ip tuntap add dev tun0 mode tun 2>/dev/null || true");
    shell("/bin/ip link set tun0 up 2>/dev/null || true");
    EXPECT_EQ(0, NetRoutetableCheck());
    EXPECT_THAT(calls(), ElementsAre(clear_eth0(), clear_eth1()));
}

TEST_F(RoutetableCheck, FailedCommandsAreNoFailure)
{
    add_two_dead_cards();
    record(IP, 2);
    record(ROUTE, 7);
    EXPECT_EQ(0, NetRoutetableCheck());
    EXPECT_EQ(4U, calls().size());
    EXPECT_EQ(4U, log_lines().size());
}

TEST_F(RoutetableCheck, WithoutTheLockNothingIsDone)
{
    add_two_dead_cards();
    fail_call("KLIBCFileLock");
    expect_failure("lock fail(5151)");
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
    EXPECT_EQ(0, NetRoutetableCheck()) << "a later call works";
}

TEST_F(RoutetableCheck, AHeldLockIsWaitedForAndThenGivenUp)
{
    add_two_dead_cards();
    std::atomic<bool> held = false;
    std::atomic<bool> done = false;
    std::thread holder([&] {
        held = KLIBCFileLock(0x106, 0) == 0;
        while (!done)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        KLIBCFileUnlock(0x100);
    });
    while (!held)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    expect_failure("lock fail(400)");
    EXPECT_EQ(5, support::last_lock_wait());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
    done = true;
    holder.join();
    EXPECT_EQ(0, NetRoutetableCheck()) << "a later call works";
}

TEST_F(RoutetableCheck, TheLockIsHeldForReadingDuringTheWalk)
{
    add_two_dead_cards();
    int looked = 0;
    support::on_call("KLIBCExecl", [&] {
        ++looked;
        EXPECT_FALSE(lock_is_free(0x106));
        EXPECT_TRUE(lock_is_free(0x105));
    });
    EXPECT_EQ(0, NetRoutetableCheck());
    EXPECT_EQ(2, looked);
}

TEST_F(RoutetableCheck, WorksInsideAHoldOfTheLock)
{
    add_two_dead_cards();
    ASSERT_EQ(0, KLIBCFileLock(0x106, 5));
    EXPECT_EQ(0, NetRoutetableCheck());
    EXPECT_FALSE(lock_is_free(0x105)) << "the caller's hold stays";
    KLIBCFileUnlock(0x100);
}

TEST_F(RoutetableCheck, MissingMemoryIsAFailure)
{
    add_two_dead_cards();
    EXPECT_EQ(0, NetRoutetableCheck()); // what is made once for the process is made now
    bool seen = false;
    // The platform asks for memory too: one of the first is the table.
    for (int n = 1; n <= 8; ++n) {
        clear();
        fail_call("calloc", n);
        const int result = NetRoutetableCheck();
        support::clear_faults();
        EXPECT_TRUE(lock_is_free(0x106));
        if (logged_in(FILE_NAME, "malloc fail") == -1)
            continue;
        seen = true;
        EXPECT_EQ(-1, result);
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "malloc fail"));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
        EXPECT_THAT(calls(), IsEmpty());
    }
#ifndef __SANITIZE_THREAD__
    EXPECT_TRUE(seen);
#endif
}

} // namespace
