#include <climits>

#include <arpa/inet.h>
#include <dlfcn.h>

#include "appliance/ipv6/ipv6_test.h"

namespace {
bool no_ipv6 = false; // the system answers as one without IPv6
} // namespace

extern "C" int inet_pton(int family, const char *text, void *address) noexcept
{
    if (no_ipv6) {
        errno = EAFNOSUPPORT;
        return -1;
    }
    static const auto next = reinterpret_cast<int (*)(int, const char *, void *)>(dlsym(RTLD_NEXT, "inet_pton"));
    return next(family, text, address);
}

namespace {

constexpr char FILE_NAME[] = "net_ipv6_conf_get.cpp";

class Ipv6ConfGet : public Ipv6Test {
protected:
    void SetUp() override
    {
        Ipv6Test::SetUp();
        if (IsSkipped())
            return;
        add_card("lan0");
        no_ipv6 = false;
        mess_up();
    }
    void TearDown() override
    {
        no_ipv6 = false;
        Ipv6Test::TearDown();
    }

    void mess_up()
    {
        mode = prefix = 77;
        memset(address, 0x5a, sizeof address);
        memset(router, 0x5a, sizeof router);
    }

    int get(const std::string &name = "lan0")
    {
        return KAVONetIPv6ConfGet(name.c_str(), &mode, address, sizeof address, &prefix, router, sizeof router);
    }

    int get_of(const std::string &content)
    {
        write_ifcfg("lan0", content);
        clear();
        mess_up();
        return get();
    }

    static bool is_zero(const char *text, size_t size) { return std::string(text, size) == std::string(size, '\0'); }

    int mode, prefix;
    char address[46];
    char router[60];
};

TEST_F(Ipv6ConfGet, ReadsAWholeConfiguration)
{
    EXPECT_EQ(1, get_of("DEVICE=lan0\nIPV6INIT=\"static\"\nIPV6ADDR=\"2001:db8::5\"\nIPV6PREFIXLENG=\"56\"\n"
                        "IPV6_DEFAULTGW=\"fe80::1\"\n"));
    EXPECT_EQ(KAVO_IPV6_STATIC, mode);
    EXPECT_STREQ("2001:db8::5", address);
    EXPECT_EQ(56, prefix);
    EXPECT_STREQ("fe80::1", router);
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(Ipv6ConfGet, KnowsEveryModeInAnyCase)
{
    const std::vector<std::vector<const char *>> modes = {
        {"auto", "AUTO", "aUto"}, {"off", "OFF"}, {"dhcp", "Dhcp"}, {"static", "STATIC"}, {"auto_dhcp", "Auto_DHCP"}};
    for (size_t number = 0; number < modes.size(); ++number) {
        for (const char *text : modes[number]) {
            EXPECT_EQ(1, get_of(std::string("IPV6INIT=") + text + "\n")) << text;
            EXPECT_EQ(static_cast<int>(number), mode) << text;
            EXPECT_EQ(-1, prefix);
            EXPECT_TRUE(is_zero(address, sizeof address));
            EXPECT_TRUE(is_zero(router, sizeof router));
        }
    }
}

TEST_F(Ipv6ConfGet, WithoutAModeThereIsNoConfiguration)
{
    EXPECT_EQ(0, get_of("DEVICE=lan0\nIPV6ADDR=2001:db8::5\nIPV6PREFIXLENG=56\n"));
    EXPECT_EQ(0, mode);
    EXPECT_EQ(-1, prefix);
    EXPECT_TRUE(is_zero(address, sizeof address));
    EXPECT_TRUE(is_zero(router, sizeof router));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "no ipv6 configtype, first time set IPv6"));
}

TEST_F(Ipv6ConfGet, AnUnknownModeIsReadAsNoughtAndEndsTheReading)
{
    for (const char *text : {"", "on", "autodhcp", "auto_dhcp ", "0", "statica", "stati"}) {
        EXPECT_GT(get_of(std::string("IPV6INIT=\"") + text + "\"\nIPV6ADDR=2001:db8::5\nIPV6PREFIXLENG=9\n"), 0)
            << text;
        EXPECT_EQ(0, mode);
        EXPECT_EQ(-1, prefix);
        EXPECT_TRUE(is_zero(address, sizeof address));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "ipv6 init type undefined " + ifcfg("lan0") + ", " + text + ","));
    }
    EXPECT_GT(get_of("IPV6INIT=" + std::string(10'000, 'x') + "\n"), 0);
}

TEST_F(Ipv6ConfGet, ATextThatIsNoAddressIsHandedOutAsItStands)
{
    for (const char *text : {"none", "10.0.0.1", "fe80::1%lan0", "2001:db8:::1", "2001:db8::5/64", "%s%n"}) {
        EXPECT_EQ(1, get_of(std::string("IPV6INIT=static\nIPV6ADDR=") + text + "\nIPV6_DEFAULTGW=" + text + "x\n"));
        EXPECT_STREQ(text, address);
        EXPECT_EQ(std::string(text) + "x", router);
        EXPECT_THAT(log_lines(), IsEmpty());
    }
}

TEST_F(Ipv6ConfGet, OverLongTextsAreCut)
{
    const std::string text(100, 'a');
    EXPECT_EQ(1, get_of("IPV6INIT=static\nIPV6ADDR=" + text + "\nIPV6_DEFAULTGW=" + text + "\n"));
    EXPECT_EQ(text.substr(0, 45), address);
    EXPECT_EQ(text.substr(0, 59), router);
}

TEST_F(Ipv6ConfGet, ASystemWithoutIpv6Refuses)
{
    write_ifcfg("lan0", "IPV6INIT=static\nIPV6ADDR=2001:db8::5\nIPV6PREFIXLENG=64\n");
    no_ipv6 = true;
    EXPECT_EQ(-1, get());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "not valid ipv6 address " + ifcfg("lan0") + ", 2001:db8::5,"));
    EXPECT_EQ(-1, prefix);
    EXPECT_TRUE(is_zero(address, sizeof address));
    no_ipv6 = false;
    write_ifcfg("lan0", "IPV6INIT=static\nIPV6_DEFAULTGW=fe80::1\n");
    no_ipv6 = true;
    EXPECT_EQ(-1, get());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "not valid ipv6 address " + ifcfg("lan0") + ", fe80::1,"));
    EXPECT_TRUE(is_zero(router, sizeof router));
}

TEST_F(Ipv6ConfGet, APrefixThatIsNoNumberEndsTheReading)
{
    for (const char *text : {"", "x", "-", "/64", "x64", "+"}) {
        EXPECT_GT(get_of(std::string("IPV6INIT=static\nIPV6ADDR=2001:db8::5\nIPV6PREFIXLENG=\"") + text +
                         "\"\nIPV6_DEFAULTGW=fe80::1\n"),
                  0);
        EXPECT_EQ(KAVO_IPV6_STATIC, mode);
        EXPECT_STREQ("2001:db8::5", address);
        EXPECT_EQ(-1, prefix);
        EXPECT_TRUE(is_zero(router, sizeof router));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "not valid prefix length " + ifcfg("lan0") + ", " + text + ","));
    }
}

TEST_F(Ipv6ConfGet, APrefixIsWhateverNumberTheTextBeginsWith)
{
    for (const auto &[text, number] : std::vector<std::pair<const char *, int>>{
             {"0", 0}, {"128", 128}, {"999", 999}, {"-5", -5}, {" 64", 64}, {"64x", 64}}) {
        EXPECT_EQ(1, get_of(std::string("IPV6INIT=static\nIPV6PREFIXLENG=\"") + text + "\"\n")) << text;
        EXPECT_EQ(number, prefix);
    }
}

TEST_F(Ipv6ConfGet, EachReadThatFailsHasItsLine)
{
    const std::string whole = "IPV6INIT=static\nIPV6ADDR=2001:db8::5\nIPV6PREFIXLENG=64\nIPV6_DEFAULTGW=fe80::1\n";
    const std::string path = ifcfg("lan0");
    const std::string lines[] = {"can not get ipv6 key value " + path + ", IPV6INIT,",
                                 "error when get ipv6 key value " + path + ", IPV6ADDR,",
                                 "error when get ipv6 key value " + path + ", IPV6PREFIXLENG,",
                                 "can not get ipv6 key value " + path + ", IPV6_DEFAULTGW,"};
    write_ifcfg("lan0", whole);
    int reads = 0;
    for (const std::string &line : lines) {
        clear();
        mess_up();
        fail_call("KLIBCFileGetKeyValue", ++reads);
        EXPECT_EQ(-1, get());
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, line));
        EXPECT_STREQ("fault.c", KLIBCErrorGetFile());
        EXPECT_EQ(reads > 1 ? KAVO_IPV6_STATIC : 0, mode);
        EXPECT_STREQ(reads > 2 ? "2001:db8::5" : "", address);
        EXPECT_EQ(reads > 3 ? 64 : -1, prefix);
    }
    clear();
    ASSERT_EQ(0, unlink(path.c_str()));
    EXPECT_EQ(-1, get());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, lines[0]));
}

TEST_F(Ipv6ConfGet, DoesWithoutARoutersBuffer)
{
    write_ifcfg("lan0", "IPV6INIT=static\nIPV6_DEFAULTGW=fe80::1\n");
    for (const int size : {0, -1, 10, 46})
        EXPECT_EQ(1, KAVONetIPv6ConfGet("lan0", &mode, address, sizeof address, &prefix, nullptr, size));
    EXPECT_EQ(KAVO_IPV6_STATIC, mode);
    // The key is read all the same.
    fail_call("KLIBCFileGetKeyValue", 4);
    EXPECT_EQ(-1, KAVONetIPv6ConfGet("lan0", &mode, address, sizeof address, &prefix, nullptr, 0));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "can not get ipv6 key value " + ifcfg("lan0") + ", IPV6_DEFAULTGW,"));
}

TEST_F(Ipv6ConfGet, InterfacesThatAreNotUsableHaveNone)
{
    write_ifcfg("lan0", "IPV6INIT=static\n");
    write_ifcfg("none0", "IPV6INIT=static\n");
    shell("ip link set lan0 down");
    for (const char *name : {"lan0", "none0", "lo"}) {
        EXPECT_EQ(0, get(name)) << name;
        EXPECT_EQ(77, mode) << "the outputs are left alone";
        EXPECT_EQ(77, prefix);
        EXPECT_EQ(0x5a, address[0]);
        EXPECT_EQ(0x5a, router[0]);
    }
}

TEST_F(Ipv6ConfGet, RefusesNullAndShortBuffers)
{
    write_ifcfg("lan0", "IPV6INIT=static\n");
    const auto refused = [&](const char *name, int *pMode, char *szAddr, int cbAddr, int *pPrefix, char *szGateway,
                             int cbGateway) {
        clear();
        mess_up();
        EXPECT_EQ(-1, KAVONetIPv6ConfGet(name, pMode, szAddr, cbAddr, pPrefix, szGateway, cbGateway));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_EQ(77, mode);
        EXPECT_EQ(0x5a, address[0]);
        EXPECT_EQ(0x5a, router[0]);
    };
    refused(nullptr, &mode, address, 46, &prefix, router, 46);
    refused("lan0", nullptr, address, 46, &prefix, router, 46);
    refused("lan0", &mode, nullptr, 46, &prefix, router, 46);
    refused("lan0", &mode, address, 46, nullptr, router, 46);
    for (const int size : {45, 0, -1, INT_MIN}) {
        refused("lan0", &mode, address, size, &prefix, router, 46);
        refused("lan0", &mode, address, 46, &prefix, router, size);
    }
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names)
        refused(name.c_str(), &mode, address, 46, &prefix, router, 46);
}

} // namespace
