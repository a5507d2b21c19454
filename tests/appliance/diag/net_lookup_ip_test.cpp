#include "host_test.h"

#include <netdb.h>

namespace {

using support::is_set_in;
using support::last_error;
using support::NO_ERROR_SET;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char FILE_NAME[] = "net_lookup_ip.cpp";

class NetLookupIp : public HostTest {
protected:
    // "family address" of each record that is stored; the records beyond must be zero, and what lies behind them untouched.
    std::vector<std::string> look(const char *host, int capacity = 8, bool count_all = false)
    {
        std::vector<LookupIPEntry> entries(static_cast<size_t>(capacity) + 1);
        memset(entries.data(), 0x5a, entries.size() * sizeof(LookupIPEntry));
        const LookupIPEntry behind = entries.back();
        support::clear_error();
        result = KAVONetLookupIP(host, entries.data(), capacity, count_all ? 1 : 0);
        EXPECT_EQ(0, memcmp(&behind, &entries.back(), sizeof behind));
        std::vector<std::string> found;
        const LookupIPEntry zero = {};
        for (int i = 0; i < capacity; ++i) {
            const LookupIPEntry &entry = entries[static_cast<size_t>(i)];
            if (i >= result)
                EXPECT_EQ(0, memcmp(&zero, &entry, sizeof zero)) << i;
            else
                found.push_back(std::to_string(entry.family) + " " + entry.szAddr);
        }
        return found;
    }

    int result = -7;
};

// ---- The resolver

TEST_F(NetLookupIp, FindsIpv4)
{
    hosts("192.0.2.1 storage\n");
    EXPECT_THAT(look("storage"), ElementsAre("2 192.0.2.1"));
    EXPECT_EQ(1, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_FALSE(asked_netbios());
}

TEST_F(NetLookupIp, FindsIpv6)
{
    hosts("2001:db8:1:2:3:4:5:6 storage.lab.test\n");
    EXPECT_THAT(look("storage.lab.test"), ElementsAre("10 2001:db8:1:2:3:4:5:6"));
}

TEST_F(NetLookupIp, FindsAllAddressesOfBothFamilies)
{
    hosts("192.0.2.1 storage\n192.0.2.2 storage\n2001:db8::1 storage\n");
    EXPECT_THAT(look("storage"), UnorderedElementsAre("2 192.0.2.1", "2 192.0.2.2", "10 2001:db8::1"));
    EXPECT_EQ(3, result);
}

TEST_F(NetLookupIp, KeepsTheResolversOrder)
{
    hosts("192.0.2.1 storage\n192.0.2.2 storage\n2001:db8::1 storage\n");
    std::vector<std::string> order;
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *list = nullptr;
    ASSERT_EQ(0, getaddrinfo("storage", nullptr, &hints, &list));
    for (const addrinfo *at = list; at != nullptr; at = at->ai_next) {
        char text[64] = "";
        ASSERT_EQ(0, getnameinfo(at->ai_addr, at->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST));
        order.push_back(std::to_string(at->ai_family) + " " + text);
    }
    freeaddrinfo(list);
    EXPECT_EQ(order, look("storage"));
}

TEST_F(NetLookupIp, TakesAddressesForHosts)
{
    EXPECT_THAT(look("192.0.2.9"), ElementsAre("2 192.0.2.9"));
    EXPECT_THAT(look("2001:db8::9"), ElementsAre("10 2001:db8::9"));
    EXPECT_THAT(look("::ffff:192.0.2.9"), ElementsAre("10 ::ffff:192.0.2.9"));
    EXPECT_FALSE(asked_netbios());
}

TEST_F(NetLookupIp, StopsWhenTheArrayIsFull)
{
    hosts("192.0.2.1 storage\n192.0.2.2 storage\n192.0.2.3 storage\n");
    EXPECT_EQ(2U, look("storage", 2).size());
    EXPECT_EQ(2, result);
    EXPECT_EQ(3U, look("storage", 3).size());
    EXPECT_EQ(3, result);
}

TEST_F(NetLookupIp, CountsWhatDoesNotFit)
{
    hosts("192.0.2.1 storage\n192.0.2.2 storage\n192.0.2.3 storage\n");
    EXPECT_EQ(1U, look("storage", 1, true).size());
    EXPECT_EQ(3, result);
    EXPECT_THAT(look("storage", 0, true), IsEmpty());
    EXPECT_EQ(3, result);
    EXPECT_EQ(3, KAVONetLookupIP("storage", nullptr, 0, 1));
    EXPECT_EQ(3, KAVONetLookupIP("storage", nullptr, 100, 1)) << "no array has room for nothing";
    EXPECT_EQ(3, KAVONetLookupIP("storage", nullptr, INT_MIN, -1));
    LookupIPEntry entry = {};
    EXPECT_EQ(3, KAVONetLookupIP("storage", &entry, -1, 1));
    EXPECT_STREQ("", entry.szAddr);
    EXPECT_FALSE(asked_netbios());
}

TEST_F(NetLookupIp, CountsNothingWithoutRoom)
{
    hosts("192.0.2.1 storage\n192.0.2.1 storage.lab\n");
    netbios("192.0.2.7 storage<00>\n");
    EXPECT_EQ(0, KAVONetLookupIP("storage", nullptr, 8, 0));
    EXPECT_THAT(look("storage", 0), IsEmpty());
    EXPECT_EQ(2U, calls().size()) << "what counts nothing goes on to NetBIOS";
    EXPECT_EQ(0, KAVONetLookupIP("storage.lab", nullptr, 8, 0));
    EXPECT_EQ(2U, calls().size());
}

// ---- NetBIOS

TEST_F(NetLookupIp, AsksNetbiosForABareName)
{
    netbios("querying printer on 192.0.2.255\n192.0.2.5 printer<00>\n");
    EXPECT_THAT(look("printer"), ElementsAre("2 192.0.2.5"));
    EXPECT_EQ(1, result);
    EXPECT_THAT(calls(), ElementsAre("[/usr/local/bin/nmblookup] [printer]"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetLookupIp, AsksNobodyElseForADottedName)
{
    netbios("192.0.2.5 printer.lan<00>\n192.0.2.6 a:b<00>\n192.0.2.7 .<00>\n");
    for (const char *host : {"printer.lan", "a:b", ".", ":", "printer.", "::1::2"}) {
        EXPECT_THAT(look(host), IsEmpty()) << host;
        EXPECT_EQ(0, result) << host;
    }
    EXPECT_FALSE(asked_netbios());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetLookupIp, TakesTheFirstFieldOfMatchingLines)
{
    netbios("name_query failed to find name printer\n"
            "192.0.2.4 printers<00>\n"
            "192.0.2.3 PRINTER<00>\n"
            "  \t 192.0.2.5\tprinter<00>\n"
            "192.0.2.6 printer<20> and more\n"
            "192.0.2.7 laserprinter<00>\n"
            "192.0.2.8 printer <00>\n"
            "printer<00>\n"
            "192.0.2.9 printer<00>");
    EXPECT_THAT(look("printer"),
                ElementsAre("2 192.0.2.5", "2 192.0.2.6", "2 192.0.2.7", "2 printer<00>", "2 192.0.2.9"))
        << "fields are taken as they are";
}

TEST_F(NetLookupIp, CutsAFieldAt19Characters)
{
    netbios("123456789012345678901234567890 printer<00>\n");
    EXPECT_THAT(look("printer"), ElementsAre("2 1234567890123456789"));
}

TEST_F(NetLookupIp, ReadsLinesOfAnyLength)
{
    netbios("192.0.2.5 " + std::string(100'000, 'x') + " printer<00>\n" + std::string(100'000, 'y') +
            "\n192.0.2.6 printer<00>\n");
    EXPECT_THAT(look("printer"), ElementsAre("2 192.0.2.5", "2 192.0.2.6"));
}

TEST_F(NetLookupIp, ComparesLongNamesAsFarAsTheyFit)
{
    const std::string host(80, 'h');
    netbios("192.0.2.5 " + host.substr(0, 69) + "\n192.0.2.6 " + host.substr(0, 68) + "<00>\n192.0.2.7 " + host +
            "<00>\n");
    EXPECT_THAT(look(host.c_str()), ElementsAre("2 192.0.2.5", "2 192.0.2.7"));
    EXPECT_THAT(calls(), ElementsAre("[/usr/local/bin/nmblookup] [" + host + "]"));
    const std::string fits(68, 'h');
    netbios("192.0.2.5 " + fits + "\n192.0.2.6 " + fits + "<00>\n");
    EXPECT_THAT(look(fits.c_str()), ElementsAre("2 192.0.2.6"));
}

TEST_F(NetLookupIp, HasTheSameRulesForAFullArray)
{
    netbios("192.0.2.1 printer<00>\n192.0.2.2 printer<00>\n192.0.2.3 printer<00>\n");
    EXPECT_THAT(look("printer", 2), ElementsAre("2 192.0.2.1", "2 192.0.2.2"));
    EXPECT_EQ(2, result);
    EXPECT_THAT(look("printer", 1, true), ElementsAre("2 192.0.2.1"));
    EXPECT_EQ(3, result);
    EXPECT_EQ(3, KAVONetLookupIP("printer", nullptr, 5, 1));
    EXPECT_EQ(0, KAVONetLookupIP("printer", nullptr, 5, 0));
}

TEST_F(NetLookupIp, DoesNotMindHowTheProgramEnds)
{
    netbios("192.0.2.5 printer<00>\n", 1);
    EXPECT_THAT(look("printer"), ElementsAre("2 192.0.2.5"));
    netbios("", 1);
    EXPECT_THAT(look("printer"), IsEmpty());
    EXPECT_EQ(0, result);
}

TEST_F(NetLookupIp, FindsNothingWithoutTheProgram)
{
    ASSERT_EQ(0, unlink(NMBLOOKUP));
    EXPECT_THAT(look("printer"), IsEmpty());
    EXPECT_EQ(0, result);
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetLookupIp, EndsWithoutALineBuffer)
{
    netbios("192.0.2.5 printer<00>\n");
    EXPECT_TRUE(fails_for_want_of_a_line_buffer(FILE_NAME, [&] { look("printer"); }));
    EXPECT_EQ(0, result);
}

// ---- What is refused

TEST_F(NetLookupIp, RefusesNoHost)
{
    LookupIPEntry entry;
    memset(&entry, 0x5a, sizeof entry);
    const LookupIPEntry before = entry;
    EXPECT_EQ(0, KAVONetLookupIP(nullptr, &entry, 1, 1));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(0, memcmp(&before, &entry, sizeof entry));
    support::clear_error();
    EXPECT_EQ(0, KAVONetLookupIP("", &entry, 1, 1));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    const LookupIPEntry zeroed{};
    EXPECT_EQ(0, memcmp(&zeroed, &entry, sizeof entry));
    EXPECT_FALSE(asked_netbios());
}

TEST_F(NetLookupIp, HandsNoOptionToTheProgram)
{
    netbios("192.0.2.5 --help<00>\n192.0.2.5 -d10<00>\n");
    for (const char *host : {"-d10", "--help", "-", "--configfile=/tmp/x"})
        EXPECT_THAT(look(host), IsEmpty()) << host;
    EXPECT_FALSE(asked_netbios());
}

TEST_F(NetLookupIp, HandsHostileNamesToTheProgramAsTheyAre)
{
    for (const char *host :
         {"$(touch /tmp/x)", "`touch /tmp/x`", ";touch /tmp/x", "a b", "%s%n", "*", "a'b\"c", "\x01\xff"}) {
        unlink(support::RECORDED_CALLS);
        EXPECT_THAT(look(host), IsEmpty()) << host;
        EXPECT_THAT(calls(), ElementsAre(std::string("[/usr/local/bin/nmblookup] [") + host + "]"));
    }
    EXPECT_FALSE(support::exists("/tmp/x"));
    EXPECT_THAT(look(std::string(100'000, 'h').c_str()), IsEmpty());
    EXPECT_EQ(0, result);
}

TEST_F(NetLookupIp, TakesAMarkInTheNameForWhatItIs)
{
    netbios("192.0.2.5 a%s<00>\n");
    EXPECT_THAT(look("a%s"), ElementsAre("2 192.0.2.5"));
    netbios("192.0.2.6 a<b<00>\n");
    EXPECT_THAT(look("a<b"), ElementsAre("2 192.0.2.6"));
}

} // namespace
