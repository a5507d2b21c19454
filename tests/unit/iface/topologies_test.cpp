#include "iface/topologies.h"

#include <clocale>
#include <string>

#include <gtest/gtest.h>

using namespace kavonet;

namespace {

TEST(Topologies, EachIdIsItsRow)
{
    for (uint32_t i = 0; i < TOPOLOGIES.size(); ++i)
        EXPECT_EQ(i, TOPOLOGIES[i].id);
}

TEST(Topologies, AreFoundByTheirNames)
{
    for (const KAVOTOPOLOGYINFO &row : TOPOLOGIES)
        EXPECT_EQ(row.id, topology_of_name(row.szName));
    EXPECT_EQ(1U, topology_of_name("CLIENT"));
    EXPECT_EQ(2U, topology_of_name("bRIDge"));
    EXPECT_EQ(3U, topology_of_name("Router"));
}

TEST(Topologies, OtherNamesAreUnknown)
{
    for (const char *name :
         {"", "r", "route", "routers", "router ", " router", "rou\ter", "2outer", "ROUTER\n", "\xe2"})
        EXPECT_EQ(0U, topology_of_name(name)) << name;
    // Neighbours of the letters in the character table are no letters.
    EXPECT_EQ(0U, topology_of_name("\x02ridge"));
    EXPECT_EQ(0U, topology_of_name(std::string(5000, 'b')));
}

TEST(Topologies, AreFoundInEveryLocale)
{
    // In some languages the small letter of "I" is another one.
    for (const char *locale : {"tr_TR.UTF-8", "tr_TR.ISO-8859-9", "C.UTF-8", "C"}) {
        setlocale(LC_ALL, locale);
        EXPECT_EQ(1U, topology_of_name("CLIENT")) << locale;
        EXPECT_EQ(2U, topology_of_name("BRIDGE")) << locale;
    }
    setlocale(LC_ALL, "C");
}

} // namespace
