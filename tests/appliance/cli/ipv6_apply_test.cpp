// kavonet ipv6 apply
#include "command.h"

namespace cli_test {

using testing::HasSubstr;
using testing::IsEmpty;

class Ipv6Apply : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (!IsSkipped())
            support::write_file(ACCEPT_RA, "1");
    }

    static std::string accepted() { return support::read_file(ACCEPT_RA); }
    static std::string file() { return support::read_file(ifcfg("eth0")); }

    static constexpr char ACCEPT_RA[] = "/proc/sys/net/ipv6/conf/eth0/accept_ra";
};

TEST_F(Ipv6Apply, SetsTheKernelAsTheFilesSay)
{
    write_ifcfg("eth0", "IPV6INIT=auto\nIPV6_ACCEPT_RA=0\n");
    const Result off = kavonet({"ipv6", "apply", "--json"});
    EXPECT_EQ(0, off.status);
    EXPECT_EQ("0\n", accepted());
    EXPECT_EQ("auto", Json(off.out).named("eth0")["configured"]["mode"].text());
    write_ifcfg("eth0", "IPV6INIT=auto\n");
    const Result on = kavonet({"ipv6", "apply"});
    EXPECT_EQ(0, on.status);
    EXPECT_EQ("2\n", accepted());
    EXPECT_EQ("IPV6INIT=auto\nIPV6_ACCEPT_RA=\"1\"\n", file());
    EXPECT_THAT(on.out, HasSubstr("eth0"));
    EXPECT_THAT(on.err, IsEmpty());
}

TEST_F(Ipv6Apply, AnInterfaceWithoutAFileIsLeftAlone)
{
    support::write_file("/proc/sys/net/ipv6/conf/eth0p/accept_ra", "1");
    EXPECT_EQ(0, kavonet({"ipv6", "apply"}).status);
    EXPECT_EQ("1\n", support::read_file("/proc/sys/net/ipv6/conf/eth0p/accept_ra"));
    EXPECT_FALSE(support::exists(ifcfg("eth0p")));
}

TEST_F(Ipv6Apply, AFileThatCannotBeWrittenIsAFailure)
{
    write_ifcfg("eth0", "IPV6INIT=auto\n");
    shell("mount --bind " + ifcfg("eth0") + " " + ifcfg("eth0") + "; mount -o remount,bind,ro " + ifcfg("eth0"));
    const Result result = kavonet({"ipv6", "apply"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_THAT(result.err, HasSubstr("cannot apply what the interfaces are to make of router advertisements"));
    EXPECT_EQ("IPV6INIT=auto\n", file());
    shell("umount " + ifcfg("eth0"));
}

} // namespace cli_test
