#include <cstring>

#include <gmock/gmock.h>
#include <syslog.h>

#include "kavonetsdk/diag.h"
#include "kavonetsdk/error.h"
#include "support/tidy_root.h"

namespace {

using support::Error;
using support::exists;
using support::last_error;
using support::NO_ERROR_SET;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char FILE_NAME[] = "net_get_dhcp_test_net_info.cpp";
constexpr char FUNCTION[] = "KAVOIGetDHCPTestNetInfo";
constexpr char CLIENT[] = "/usr/sbin/dhclient";
constexpr char SYSTEM_SCRIPT[] = "/etc/dhclient/dhclient-script";
constexpr char SCRIPT[] = "/var/run/dhclient-script";
const std::string ANSWER = "IPADDR=192.0.2.10\nNETMASK=255.255.255.0\n";

std::string client_call(const std::string &name)
{
    return "[/usr/sbin/dhclient] [-d] [-q] [--kavo_test] [-lf] [/tmp/dhcpv4.leases." + name +
           "] [-pf] [/etc/dhclient/ipv4/dhcpcd-" + name + ".pid] [-sf] [/var/run/dhclient-script] [" + name + "]";
}

class NetGetDhcpTestNetInfo : public support::TidyRoot {
protected:
    void SetUp() override
    {
        TidyRoot::SetUp();
        if (IsSkipped())
            return;
        // Whatever the machine has there, it leads to the private /run.
        shell("[ /var/run -ef /run ] || { rm -rf /var/run; ln -s /run /var/run; }");
        write_file(SYSTEM_SCRIPT, "#!/bin/sh\n# the system's\n", 0755);
        client_answers(ANSWER);
        memset(&info_, 0x5a, sizeof info_);
        strcpy(info_.szName, "eth0");
        strcpy(info_.szAddr, "1.1.1.1");
        strcpy(info_.szMask, "2.2.2.2");
        before_ = info_;
    }

    // A client that writes the information file of the interface, its last argument.
    static void client_answers(const std::string &content, int status = 0)
    {
        write_file("/run/answer", content);
        script(CLIENT, "record_call \"$0\" \"$@\"\nfor name; do :; done\ncat /run/answer "
                       ">\"/etc/dhclient/ipv4/dhcpcd-$name.info\"\n"
                       "exit " +
                           std::to_string(status));
    }

    bool untouched() const { return memcmp(&before_, &info_, sizeof info_) == 0; }

    KAVONETINFO info_;
    KAVONETINFO before_;
};

TEST_F(NetGetDhcpTestNetInfo, TellsWhatTheServerWouldGive)
{
    EXPECT_EQ(0, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_STREQ("192.0.2.10", info_.szAddr);
    EXPECT_STREQ("255.255.255.0", info_.szMask);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
    // All else of the record stays.
    memcpy(info_.szAddr, before_.szAddr, sizeof info_.szAddr);
    memcpy(info_.szMask, before_.szMask, sizeof info_.szMask);
    EXPECT_TRUE(untouched());
}

TEST_F(NetGetDhcpTestNetInfo, RunsTheClientOnce)
{
    ASSERT_EQ(0, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_THAT(calls(), ElementsAre(client_call("eth0")));
}

TEST_F(NetGetDhcpTestNetInfo, CopiesTheScriptFirst)
{
    script(CLIENT, "record_call \"$0\" \"$@\"\n[ -x /var/run/dhclient-script ] || exit 1\n"
                   "cat /run/answer >/etc/dhclient/ipv4/dhcpcd-eth0.info");
    ASSERT_EQ(0, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ(read_file(SYSTEM_SCRIPT), read_file(SCRIPT));
}

TEST_F(NetGetDhcpTestNetInfo, CopiesTheScriptWithCp)
{
    record("/bin/cp");
    ASSERT_EQ(0, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_THAT(calls(), ElementsAre("[/bin/cp] [-f] [/etc/dhclient/dhclient-script] [/var/run/dhclient-script]",
                                     client_call("eth0")));
}

TEST_F(NetGetDhcpTestNetInfo, CopiesTheScriptOnlyOnce)
{
    ASSERT_EQ(0, KAVOIGetDHCPTestNetInfo(&info_));
    write_file(SYSTEM_SCRIPT, "#!/bin/sh\n# a newer one\n", 0755);
    ASSERT_EQ(0, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ("#!/bin/sh\n# the system's\n", read_file(SCRIPT));
    EXPECT_THAT(calls(), ElementsAre(client_call("eth0"), client_call("eth0")));
}

TEST_F(NetGetDhcpTestNetInfo, FailsWhenTheScriptCannotBeCopied)
{
    ASSERT_EQ(0, unlink(SYSTEM_SCRIPT));
    EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ(LOG_ERR,
              support::logged_in(FILE_NAME, "copy /etc/dhclient/dhclient-script to /var/run/dhclient-script failed"));
    EXPECT_EQ(1U, support::log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_TRUE(untouched());
}

TEST_F(NetGetDhcpTestNetInfo, FailsWhenTheCopyCannotBeRun)
{
    support::fail_call("KLIBCExecl");
    EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ(LOG_ERR,
              support::logged_in(FILE_NAME, "copy /etc/dhclient/dhclient-script to /var/run/dhclient-script failed"));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_TRUE(untouched());
}

TEST_F(NetGetDhcpTestNetInfo, FailsWhenTheServerOffersNothing)
{
    for (const int status : {1, 2, 255}) {
        client_answers(ANSWER, status);
        support::clear_error();
        support::clear_log();
        EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_));
        EXPECT_EQ((Error{NET_ERR_EXEC_FAILED, FILE_NAME, 44}), last_error());
        EXPECT_EQ(LOG_ERR,
                  support::logged("net_get_dhcp_test_net_info\\.cpp:[0-9]+ /usr/sbin/dhclient -d -q --kavo_test -lf "
                                  "/tmp/dhcpv4\\.leases\\.eth0 -pf /etc/dhclient/ipv4/dhcpcd-eth0\\.pid -sf "
                                  "/var/run/dhclient-script eth0 failed\\([A-Z][a-z A-Z]*\\)\\."));
        EXPECT_EQ(1U, support::log_lines().size());
        EXPECT_TRUE(untouched());
    }
}

TEST_F(NetGetDhcpTestNetInfo, FailsWithoutAClient)
{
    ASSERT_EQ(0, unlink(CLIENT));
    EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ((Error{NET_ERR_EXEC_FAILED, FILE_NAME, 44}), last_error());
    EXPECT_EQ(LOG_ERR, support::logged(".* eth0 failed\\(No such file or directory\\)\\."));
    EXPECT_TRUE(untouched());
}

TEST_F(NetGetDhcpTestNetInfo, FailsWithoutAnAddress)
{
    client_answers("NETMASK=255.255.255.0\n");
    EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ(LOG_ERR, support::logged_by(FUNCTION, "KLIBCFileGetKeyValue(IPADDR) failed(0)."));
    EXPECT_EQ(1U, support::log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(untouched());
}

TEST_F(NetGetDhcpTestNetInfo, FailsWithoutAMask)
{
    client_answers("IPADDR=192.0.2.10\n");
    EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ(LOG_ERR, support::logged_by(FUNCTION, "KLIBCFileGetKeyValue(NETMASK) failed(0)."));
    EXPECT_STREQ("192.0.2.10", info_.szAddr) << "what was read stays";
    EXPECT_STREQ("2.2.2.2", info_.szMask);
}

TEST_F(NetGetDhcpTestNetInfo, FailsWithoutTheInformationFile)
{
    record(CLIENT);
    EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ(LOG_ERR, support::logged_by(FUNCTION, "KLIBCFileGetKeyValue(IPADDR) failed(900)."));
    EXPECT_TRUE(untouched());
    client_answers(ANSWER);
    support::fail_call("KLIBCFileGetKeyValue", 2);
    EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ(LOG_ERR, support::logged_by(FUNCTION, "KLIBCFileGetKeyValue(NETMASK) failed(5151)."));
}

TEST_F(NetGetDhcpTestNetInfo, CutsWhatDoesNotFit)
{
    client_answers("IPADDR=" + std::string(50, '1') + "\nNETMASK=" + std::string(50, '2') + "\n");
    EXPECT_EQ(0, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_EQ(std::string(19, '1'), info_.szAddr);
    EXPECT_EQ(std::string(19, '2'), info_.szMask);
}

TEST_F(NetGetDhcpTestNetInfo, TakesANameOf15Characters)
{
    strcpy(info_.szName, support::NAME_OF_15);
    EXPECT_EQ(0, KAVOIGetDHCPTestNetInfo(&info_));
    EXPECT_THAT(calls(), ElementsAre(client_call(support::NAME_OF_15)));
}

TEST_F(NetGetDhcpTestNetInfo, RefusesBadArguments)
{
    const Error refused{NET_ERR_BAD_PARAMETER, FILE_NAME, 26};
    EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(nullptr));
    EXPECT_EQ(refused, last_error());
    std::vector<std::string> names = support::hostile_names();
    names.insert(names.end(), {"-4", "-x", "--version"}); // options of the client
    for (const std::string &name : names) {
        support::clear_error();
        strcpy(info_.szName, name.c_str());
        before_ = info_;
        EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_)) << name;
        EXPECT_EQ(refused, last_error()) << name;
        EXPECT_TRUE(untouched()) << name;
    }
    support::clear_error();
    memset(info_.szName, 'a', sizeof info_.szName);
    EXPECT_EQ(-1, KAVOIGetDHCPTestNetInfo(&info_)) << "a name without its end";
    EXPECT_EQ(refused, last_error());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_FALSE(exists(SCRIPT));
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetDhcpTestNetInfo, HandsHostileNamesToNoShell)
{
    for (const char *name : {"$(id>x)", "`id`", ";id", "%s%n", "*"}) {
        unlink(support::RECORDED_CALLS);
        strcpy(info_.szName, name);
        KAVOIGetDHCPTestNetInfo(&info_);
        EXPECT_THAT(calls(), ElementsAre(client_call(name)));
    }
}

} // namespace
