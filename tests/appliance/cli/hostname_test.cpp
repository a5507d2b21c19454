// kavonet hostname
#include "command.h"

#include <unistd.h>

#include "kavo/core.h"

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class HostnameCommand : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        ASSERT_EQ(0, sethostname("nas1", 4));
        shell("rm -rf /etc/hosts /etc/hostname");
        support::write_file("/etc/hosts", "127.0.0.1\tlocalhost\n");
        support::write_file("/etc/hostname", "nas1\n");
    }

    static std::string kernel_name()
    {
        char name[65] = "";
        EXPECT_EQ(0, gethostname(name, sizeof name));
        return name;
    }

    static std::string hosts_of(const std::string &name)
    {
        return "# Any manual change will be lost if the host name is changed or system upgrades.\n"
               "127.0.0.1\tlocalhost\n::1\t\tlocalhost\n127.0.0.1\t" +
               name + "\n::1\t\t" + name + "\n";
    }
};

TEST_F(HostnameCommand, ShowPrintsTheFirstLabel)
{
    EXPECT_EQ("nas1\n", kavonet({"hostname", "show"}).out);
    ASSERT_EQ(0, sethostname("nas2.lab.test", 13));
    EXPECT_EQ("nas2\n", kavonet({"hostname", "show"}).out);
    EXPECT_EQ("{\"host\":\"nas2\"}\n", kavonet({"hostname", "show", "--json"}).out);
    ASSERT_EQ(0, sethostname("", 0));
    EXPECT_EQ("{\"host\":null}\n", kavonet({"hostname", "show", "--json"}).out);
}

TEST_F(HostnameCommand, SetChangesKernelAndFiles)
{
    subscribe("net/hostname_change");
    const Result result = kavonet({"hostname", "set", "nas2"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("host name: nas1 -> nas2\n", result.out);
    EXPECT_EQ("nas2", kernel_name());
    EXPECT_EQ("nas2\n", support::read_file("/etc/hostname"));
    EXPECT_EQ(hosts_of("nas2"), support::read_file("/etc/hosts"));
    EXPECT_THAT(calls(), ElementsAre(HasSubstr("[reload] [syslog-ng")));
    EXPECT_THAT(events(), ElementsAre("net/hostname_change post HOSTNAME=nas2"));
    const Json change(kavonet({"hostname", "set", "nas3.lab.test", "--json"}).out);
    EXPECT_EQ("set", change["action"].text());
    EXPECT_EQ("nas2", change["before"]["host"].text());
    EXPECT_EQ("nas3", change["after"]["host"].text());
    EXPECT_EQ("nas3.lab.test\n", support::read_file("/etc/hostname"));
}

TEST_F(HostnameCommand, SetTakes63Characters)
{
    const std::string longest(63, 'a');
    EXPECT_EQ(0, kavonet({"hostname", "set", longest}).status);
    EXPECT_EQ(longest, kernel_name());
    for (const std::string &name : {std::string(64, 'b'), std::string(5000, 'b'), std::string()}) {
        const Result result = kavonet({"hostname", "set", name});
        EXPECT_EQ(1, result.status) << name.size();
        EXPECT_THAT(result.err,
                    HasSubstr(": a host name that is empty, longer than 63 characters or more than one line (0x0E00, "
                              "net_lnx_set_hostname.cpp:"));
        EXPECT_THAT(result.err, HasSubstr("\n  what to do: give a host name of 1 to 63 characters\n"));
    }
    EXPECT_EQ(longest, kernel_name());
}

TEST_F(HostnameCommand, SetRefusesWhatWouldBreakTheFiles)
{
    for (const char *name :
         {"a b", "a\nb", "a\n127.0.0.1\tx", "a\t", "\x1b[31m", "a#b", "a/b", "n\xC3\xA4s", ".a", "a;b"}) {
        const Result result = kavonet({"hostname", "set", name});
        EXPECT_EQ(1, result.status) << name;
        EXPECT_THAT(result.err, HasSubstr(": it holds what no host name may hold\n  what to do: ")) << name;
        EXPECT_THAT(result.err, testing::Not(HasSubstr("\x1b"))) << name;
    }
    EXPECT_EQ(1, kavonet({"hostname", "set", "--", "-a"}).status);
    EXPECT_EQ("nas1", kernel_name());
    EXPECT_EQ("nas1\n", support::read_file("/etc/hostname"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(HostnameCommand, ALoggerThatDoesNotReloadIsToldWithWhatHolds)
{
    script("/usr/kavo/bin/unit", "[ \"$1\" != reload ]");
    const Result result = kavonet({"hostname", "set", "nas2"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err,
                StartsWith("kavonet: the host name is nas2 now, but not everything followed: the unit "
                           "syslog-ng could not be reloaded, or a subscriber of net/hostname_change failed"));
    EXPECT_EQ(hosts_of("nas2"), support::read_file("/etc/hosts"));
}

TEST_F(HostnameCommand, ASubscriberThatFailsIsTold)
{
    subscribe("net/hostname_change", 1);
    const Result result = kavonet({"hostname", "set", "nas2", "--json"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(Json(result.err)["error"]["message"].text(), StartsWith("the host name is nas2 now, but"));
    EXPECT_EQ("nas2\n", support::read_file("/etc/hostname"));
}

TEST_F(HostnameCommand, AFileThatCannotBeReplacedIsTold)
{
    shell("rm /etc/hosts; mkdir /etc/hosts");
    const Result result = kavonet({"hostname", "set", "nas2"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, StartsWith("kavonet: the host name is nas2 now, but not everything followed: a finished "
                                       "file could not be moved into its place (0x2800, "));
    shell("rmdir /etc/hosts");
    EXPECT_EQ(0, kavonet({"hostname", "set", "nas2"}).status);
    EXPECT_EQ(hosts_of("nas2"), support::read_file("/etc/hosts"));
}

TEST_F(HostnameCommand, AHeldLockChangesNothing)
{
    ASSERT_EQ(0, KLIBCFileLock(0x105, 0));
    const Result result = kavonet({"hostname", "set", "nas2"});
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err,
                StartsWith("kavonet: cannot set the host name to nas2: the configuration lock was not to be "
                           "had in time (0x0400, "));
    EXPECT_EQ("nas1", kernel_name());
}

TEST_F(HostnameCommand, WhoIsNotRootIsTold)
{
    const Result result = kavonet({"hostname", "set", "nas2"}, {.user = 65534});
    if (result.status == 125)
        GTEST_SKIP() << "no other user here";
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("what to do: run it as root: only root may take the lock\n"));
    EXPECT_EQ("nas1", kernel_name());
}

} // namespace cli_test
