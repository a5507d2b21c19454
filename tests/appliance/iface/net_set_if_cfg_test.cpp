#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_set_if_cfg.cpp";

class NetSetIfCfg : public IfaceTest {
protected:
    // A kernel that takes both requests, unless it is told not to.
    void use_kernel(int address_error = 0, int mask_error = 0)
    {
        requests.clear();
        records.clear();
        support::answer_ioctl([=, this](int, unsigned long request, void *argument) {
            requests.push_back(request);
            records.push_back(*static_cast<ifreq *>(argument));
            errno = request == SIOCSIFADDR ? address_error : mask_error;
            return errno == 0 ? 0 : -1;
        });
    }

    static const sockaddr_in &inet(const sockaddr &address) { return reinterpret_cast<const sockaddr_in &>(address); }

    std::vector<unsigned long> requests;
    std::vector<ifreq> records;
    const uint32_t address = htonl(0xC0000207);
    const uint32_t mask = htonl(0xFFFFFF00);
};

TEST_F(NetSetIfCfg, WritesTheAddressThenTheMask)
{
    use_kernel();
    EXPECT_EQ(1, KLIBNetSetIfCfg("eth0", &address, &mask));
    EXPECT_THAT(requests, ElementsAre(SIOCSIFADDR, SIOCSIFNETMASK));
    EXPECT_STREQ("eth0", records[0].ifr_name);
    EXPECT_EQ(AF_INET, records[0].ifr_addr.sa_family);
    EXPECT_EQ(address, inet(records[0].ifr_addr).sin_addr.s_addr);
    EXPECT_EQ(0, inet(records[0].ifr_addr).sin_port);
    EXPECT_STREQ("eth0", records[1].ifr_name);
    EXPECT_EQ(0, records[1].ifr_netmask.sa_family) << "the mask has no family";
    EXPECT_EQ(mask, inet(records[1].ifr_netmask).sin_addr.s_addr);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetSetIfCfg, ReachesTheKernel)
{
    card("eth0", "", false);
    support::answer_ioctl(
        [](int, unsigned long request, void *) { return request == SIOCSIFNETMASK ? 0 : support::ASK_KERNEL; });
    EXPECT_EQ(1, KLIBNetSetIfCfg("eth0", &address, &mask));
    EXPECT_THAT(shell("ip -o -4 address show dev eth0"), testing::HasSubstr("192.0.2.7/24"));
}

TEST_F(NetSetIfCfg, GivesTheKernelsOpinionOfAMaskWithoutFamily)
{
    card("eth0", "", false);
    int answered = -7;
    support::answer_ioctl([&answered](int fd, unsigned long request, void *argument) {
        if (request == SIOCSIFNETMASK)
            answered = static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
        return request == SIOCSIFNETMASK ? answered : support::ASK_KERNEL;
    });
    EXPECT_EQ(answered == 0 ? 1 : 0, KLIBNetSetIfCfg("eth0", &address, &mask));
    EXPECT_NE(-7, answered);
}

TEST_F(NetSetIfCfg, AcceptsAnAddressThatIsThere)
{
    use_kernel(EEXIST);
    EXPECT_EQ(1, KLIBNetSetIfCfg("eth0", &address, &mask));
    EXPECT_THAT(requests, ElementsAre(SIOCSIFADDR, SIOCSIFNETMASK));
}

TEST_F(NetSetIfCfg, FailsAtEachStep)
{
    fail_call("socket");
    EXPECT_EQ(0, KLIBNetSetIfCfg("eth0", &address, &mask));
    for (const int error : {EPERM, ENODEV, EADDRNOTAVAIL}) {
        use_kernel(error);
        EXPECT_EQ(0, KLIBNetSetIfCfg("eth0", &address, &mask));
        EXPECT_THAT(requests, ElementsAre(SIOCSIFADDR));
        use_kernel(0, error);
        EXPECT_EQ(0, KLIBNetSetIfCfg("eth0", &address, &mask));
        EXPECT_EQ(2U, requests.size());
    }
    use_kernel(0, EEXIST);
    EXPECT_EQ(0, KLIBNetSetIfCfg("eth0", &address, &mask)) << "only the address may be there";
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetSetIfCfg, CutsNamesTo15Characters)
{
    use_kernel();
    EXPECT_EQ(1, KLIBNetSetIfCfg(NAME_OF_16, &address, &mask));
    EXPECT_STREQ(NAME_OF_15, records[0].ifr_name);
    EXPECT_STREQ(NAME_OF_15, records[1].ifr_name);
}

TEST_F(NetSetIfCfg, RefusesBadArguments)
{
    use_kernel();
    EXPECT_EQ(0, KLIBNetSetIfCfg("eth0", nullptr, &mask));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    forget();
    EXPECT_EQ(0, KLIBNetSetIfCfg("eth0", &address, nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    forget();
    EXPECT_EQ(0, KLIBNetSetIfCfg(nullptr, &address, &mask));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    for (const char *name : HOSTILE_NAMES) {
        forget();
        EXPECT_EQ(0, KLIBNetSetIfCfg(name, &address, &mask)) << name;
        EXPECT_TRUE(is_bad_parameter_in(FILE_NAME)) << name;
    }
    EXPECT_THAT(requests, IsEmpty());
}

} // namespace
