#include <cstdlib>
#include <memory>

#include <gmock/gmock.h>
#include <syslog.h>

#include "kavonetsdk/diag.h"
#include "kavonetsdk/error.h"
#include "support/tidy_root.h"

namespace {

using support::is_set_in;
using support::last_error;
using support::NO_ERROR_SET;
using testing::ElementsAre;

constexpr char FILE_NAME[] = "net_external_ip_get.cpp";
constexpr char DAEMON[] = "/usr/kavo/sbin/ddnsd";
constexpr char RESULT[] = "/run/ddns/externalIP.result";

class NetExternalIpGet : public support::TidyRoot {
protected:
    // The address, or "null".
    static std::string get()
    {
        const std::unique_ptr<char, decltype(&free)> address(KAVOExternalIPGet(), free);
        return address ? address.get() : "null";
    }

    static void answer(const std::string &content) { support::write_file(RESULT, content); }

    static std::string no_key(const char *code)
    {
        return std::string("Failed to get external IP from /run/ddns/externalIP.result, kavo_errno=[") + code + "]";
    }
};

TEST_F(NetExternalIpGet, AsksTheDaemon)
{
    script(DAEMON,
           std::string("record_call \"$0\" \"$@\"\nmkdir -p /run/ddns; echo externalIP=203.0.113.7 >") + RESULT);
    EXPECT_EQ("203.0.113.7", get());
    EXPECT_THAT(calls(), ElementsAre("[/usr/kavo/sbin/ddnsd] [-e]"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetExternalIpGet, GivesTextThatTheCallerMayFill)
{
    record(DAEMON);
    answer("externalIP=\"255.255.255.255\"\n");
    char *address = KAVOExternalIPGet();
    ASSERT_STREQ("255.255.255.255", address);
    memset(address, 'x', 16);
    free(address);
    answer("externalIP=1.2.3.4\n");
    address = KAVOExternalIPGet();
    ASSERT_NE(nullptr, address);
    for (size_t i = 7; i < 16; ++i)
        EXPECT_EQ('\0', address[i]) << i;
    free(address);
}

TEST_F(NetExternalIpGet, CutsAt15Characters)
{
    record(DAEMON);
    answer("other=1\nexternalIP=123456789012345678901234567890\nlast=2\n");
    EXPECT_EQ("123456789012345", get());
}

TEST_F(NetExternalIpGet, TakesWhatTheFileHolds)
{
    record(DAEMON);
    answer("externalIP=\n");
    EXPECT_EQ("", get());
    answer("externalIP=1.1.1.1\nexternalIP=2.2.2.2\n");
    EXPECT_EQ("2.2.2.2", get());
}

TEST_F(NetExternalIpGet, FailsWhenTheDaemonDoes)
{
    answer("externalIP=203.0.113.7\n");
    for (const int status : {1, 2, 255}) {
        record(DAEMON, status);
        EXPECT_EQ("null", get());
        EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, "Failed to get external IP by /usr/kavo/sbin/ddnsd, err=" +
                                                             std::to_string(status)));
    }
    EXPECT_EQ(3U, support::log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetExternalIpGet, FailsWithoutTheDaemon)
{
    answer("externalIP=203.0.113.7\n");
    EXPECT_EQ("null", get());
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, "Failed to get external IP by /usr/kavo/sbin/ddnsd, err=-1"));
}

TEST_F(NetExternalIpGet, FailsWithoutTheKey)
{
    record(DAEMON);
    answer("externalip=1.2.3.4\n#externalIP=1.2.3.4\nxexternalIP=1.2.3.4\n");
    EXPECT_EQ("null", get());
    EXPECT_EQ(LOG_ERR, support::logged_by("KAVOExternalIPGet", no_key("0")));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetExternalIpGet, FailsWithoutTheFile)
{
    record(DAEMON);
    EXPECT_EQ("null", get());
    EXPECT_EQ(LOG_ERR, support::logged_by("KAVOExternalIPGet", no_key("900")));
    answer("externalIP=1.2.3.4\n");
    support::fail_call("KLIBCFileGetKeyValue");
    EXPECT_EQ("null", get());
    EXPECT_EQ(LOG_ERR, support::logged_by("KAVOExternalIPGet", no_key("5151")));
}

TEST_F(NetExternalIpGet, FailsWithoutMemory)
{
    record(DAEMON);
    answer("externalIP=1.2.3.4\n");
    support::fail_call("calloc");
    EXPECT_EQ("null", get());
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
    EXPECT_EQ(LOG_ERR,
              support::logged("\\(net_external_ip_get\\.cpp:[0-9]+:KAVOExternalIPGet\\)failed to allocate space "
                              "for parsing IP, errno=Cannot allocate memory"));
}

} // namespace
